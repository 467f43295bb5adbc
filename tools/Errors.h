// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vek::tools {

/// Exit codes of the program.
enum ExitCode : int { kSuccess = 0, kFailure = 1, kBadArguments = 2 };

/// Something outside the command line went wrong: files, devices, memory. Exit code 1.
class CFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Arguments that each parse but do not fit together. Exit code 2.
class CBadArguments : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

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
/// command that fails has one line only, on the failure.
void warn(std::string message);
/// What was noted, in that order.
std::span<const std::string> warnings();

/// What errno's value means, in the words of the C library.
std::string systemMessage(int error);

} // namespace vek::tools
