// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/recording/RecordingWriter.h"

#include "tools/commands/Commands.h"
#include "tools/options/Options.h"
#include "tools/text/Messages.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace vek::tools;

int tell(int code, std::string_view message) {
    std::fputs(fmt::format("vekcam: {}\n", oneLine(message)).c_str(), stderr);
    return code;
}

/// Texts wait in a buffer: a full disk or a closed pipe shows when they are written out.
int finished(int code) {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        return code == kSuccess ? tell(kFailure, "standard output: cannot write: " + systemMessage(errno)) : code;
    }
    return code;
}

/// Puts something behind descriptors 0 to 2 that the caller closed: a file that is opened later would get the number
/// and then the texts. Nothing can be written to the replacement, so that a lost text is an error.
void openStandardDescriptors() {
    int fd = 0;
    do {
        fd = open("/dev/null", O_RDONLY);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd >= 0) {
        close(fd);
    }
}

int run(int argc, char** argv) {
    CLI::App app;
    describeProgram(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success)) {
            // The parser would only miss the command it did not find.
            const std::vector<std::string> unknown = app.remaining();
            const bool noCommand = app.get_subcommands().empty() && !unknown.empty();
            return tell(kBadArguments, noCommand ? "unknown command or option: " + unknown.front() : error.what());
        }
        std::ostringstream text;
        app.exit(error, text, text);
        std::fputs(text.str().c_str(), stdout);
    }
    return kSuccess;
}

} // namespace

int main(int argc, char** argv) {
    openStandardDescriptors();
    // A reader that went away is an error of write, told like any other.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // the same of a file that may not become larger
    int code = kFailure;
    try {
        code = run(argc, argv);
    } catch (const CExit& end) {
        code = end.Code();
    } catch (const CCameraFailure& failure) {
        code = tell(exitCodeOf(failure.Kind()), failure.what());
    } catch (const CDiskFull& full) {
        code = tell(kDiskFull, full.what());
    } catch (const CMisfit& error) {
        code = tell(kBadArguments, error.Text([](std::string_view setting) { return "--" + std::string(setting); }));
    } catch (const CBadArguments& error) {
        code = tell(kBadArguments, error.what());
    } catch (const std::bad_alloc&) {
        code = tell(kFailure, "not enough memory");
    } catch (const std::length_error&) {
        code = tell(kFailure, "not enough memory");
    } catch (const std::exception& error) {
        code = tell(kFailure, error.what());
    }
    code = finished(code);
    if (code == kSuccess) {
        for (const std::string& warning : warnings()) {
            tell(code, "warning: " + warning);
        }
    }
    return code;
}
