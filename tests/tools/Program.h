// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <sys/resource.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace vek::test {

using Arguments = std::vector<std::string>;

/// Lists of arguments, one behind the other.
Arguments joined(std::initializer_list<Arguments> lists);

/// The arguments of a frame of width x height pixels, and more behind them.
Arguments sized(unsigned width, unsigned height, const Arguments& more = {});

/// What a run of the program left behind.
struct SResult {
    int exitCode = -1; ///< -1: it was ended by a signal or did not start
    int signal = 0;    ///< that ended it
    std::string out;
    std::string err;
};

/// Where a run's standard streams go when they are not the captured ones, and what else is special about it.
struct SStreams {
    std::vector<std::uint8_t> in = {};         ///< what standard input delivers, through a pipe
    std::string inFile = {};                   ///< standard input comes from there instead
    std::string outFile = {};                  ///< standard output goes there instead
    bool outIsBrokenPipe = false;              ///< standard output is a pipe that nobody reads
    bool outIsTerminal = false;                ///< standard output is a terminal
    bool errIsTerminal = false;                ///< standard error is a terminal
    Arguments environment = {};                ///< NAME=VALUE, beside the variables of the test itself
    std::string directory = {};                ///< the program starts there instead of here
    std::optional<rlim_t> fileSize = {};       ///< bytes that a file may grow to
    bool unprivileged = false;                 ///< as a user for whom permissions count
    std::function<void(pid_t)> meanwhile = {}; ///< while it runs, or after its end; its number is not another's yet
};

/// Runs vekcam and waits for its end. The signals that end a program do so, even where the test ignores them.
SResult runVekcam(const Arguments& arguments, const SStreams& streams = {});

/// Expects that a run succeeded and said nothing on standard error.
void expectDone(const SResult& result);
/// Runs vekcam, expects that of it, and returns what it printed.
std::string printed(const Arguments& arguments, const SStreams& streams = {});
/// The same as JSON.
nlohmann::json printedJson(const Arguments& arguments, const SStreams& streams = {});

/// Expects an exit code and one line on standard error, which holds message.
void expectOneLine(const SResult& result, int code, const std::string& message = "");
/// The same, and nothing on standard output.
void expectRefused(const SResult& result, int code, const std::string& message = "");

/// Expects a part in a text.
void expectPart(const std::string& text, const std::string& part);

/// Arguments that are refused.
struct SRefusal {
    Arguments arguments;
    std::string message; ///< a part of what is said
};
void PrintTo(const SRefusal& refusal, std::ostream* stream);

/// True when a run without privileges is possible: the test may start one, and the program can be reached.
bool canRunUnprivileged();

/// Arguments as one line for the names of tests; what is no letter, digit or plain mark becomes an underscore.
std::string commandLine(const Arguments& arguments);

/// True when text is exactly one line that starts with "vekcam: ".
bool isOneLineMessage(const std::string& text);

} // namespace vek::test
