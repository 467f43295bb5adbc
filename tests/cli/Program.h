// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vek::test {

/// What a run of the program left behind.
struct SResult {
    int exitCode = -1; ///< -1: it was ended by a signal or did not start
    std::string out;
    std::string err;
};

/// Where a run's standard streams go when they are not the captured ones.
struct SStreams {
    std::vector<std::uint8_t> in = {};         ///< what standard input delivers, through a pipe
    std::string outFile = {};                  ///< standard output goes there instead
    bool outIsBrokenPipe = false;              ///< standard output is a pipe that nobody reads
    bool outIsTerminal = false;                ///< standard output is a terminal
    bool errIsTerminal = false;                ///< standard error is a terminal
    std::vector<std::string> environment = {}; ///< NAME=VALUE, beside the variables of the test itself
};

/// Runs vekcam and waits for its end.
SResult runVekcam(const std::vector<std::string>& arguments, const SStreams& streams = {});

/// Arguments as one line for the names of tests; what is no letter, digit or plain mark becomes an underscore.
std::string commandLine(const std::vector<std::string>& arguments);

/// True when text is exactly one line that starts with "vekcam: ".
bool isOneLineMessage(const std::string& text);

} // namespace vek::test
