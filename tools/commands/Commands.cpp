// SPDX-License-Identifier: Apache-2.0
#include "tools/commands/Commands.h"

#include "tools/text/VersionText.h"

namespace vek::tools {

void describeProgram(CLI::App& app) {
    app.name("vekcam");
    app.description("Learns about a trigger camera, tries its image pipeline and converts raw frames.");
    app.require_subcommand(1);
    app.set_version_flag("--version", versionText, "Print version, build, compiler and row kernels, and exit");
    app.footer("Exit codes: 0 done, 1 a file, a device or the system refused, 2 bad arguments, 3 \"diff\" found\n"
               "differences, 4 some of many frames failed. Of a camera's stream: 5 a signal ended it, 6 no\n"
               "frame came in time, 7 the transfer failed, 8 unplugged, 9 someone else streams, 10 no\n"
               "bandwidth on the bus, 11 frames of another form, 12 the camera ended it, 13 frames were\n"
               "lost and --no-loss was given, 14 the disk became full.\n"
               "\"vekcam COMMAND --help\" tells the options of a command.");
#define VEKCAM_COMMAND(name) add##name##Command(app);
#include "CommandList.inc"
#undef VEKCAM_COMMAND
}

} // namespace vek::tools
