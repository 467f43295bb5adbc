// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/capture/CameraFailure.h"

#include <exception>
#include <span>
#include <string>
#include <string_view>

namespace vek::tools {

/// Exit codes of the program.
enum ExitCode : int {
    kSuccess = 0,
    kFailure = 1,
    kBadArguments = 2,
    kDifference = 3,
    kSomeFailed = 4,
    // Of a camera whose frames do not come.
    kInterrupted = 5,
    kNoFrame = 6,
    kTransferFailed = 7,
    kUnplugged = 8,
    kInUse = 9,
    kNoBandwidth = 10,
    kFormatChanged = 11,
    kStreamEnded = 12,
    kFramesLost = 13,
    kDiskFull = 14 ///< while frames were recorded
};
/// That of a kind of failure.
ExitCode exitCodeOf(client::ECameraFailure failure);

/// Ends a command that has told all there is to tell with an exit code of its own.
class CExit : public std::exception {
public:
    explicit CExit(int code) : mCode(code) {}
    int Code() const { return mCode; }
    const char* what() const noexcept override { return "exit"; }

private:
    int mCode;
};

/// text with its control characters replaced, so that a message stays one line whatever the arguments hold.
std::string oneLine(std::string_view text);

/// Notes what is odd and no failure. The program tells it in one line on standard error when the command is done; a
/// command that fails has one line only, on the failure. What was noted already is not noted again.
void warn(std::string message);
/// What was noted, in that order.
std::span<const std::string> warnings();

/// Tells a failure in one line on standard error at once, where a command goes on.
void complain(std::string_view message);

/// Writes to standard output. That it could not be written shows at the program's end.
void print(std::string_view text);
/// The same, to be seen before the command works on.
void printNow(std::string_view text);

/// Where the program lies; empty where the system does not tell.
std::string programPath();

} // namespace vek::tools
