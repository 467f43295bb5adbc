// SPDX-License-Identifier: Apache-2.0
#include "tools/text/Messages.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <utility>
#include <vector>

namespace vek::tools {

namespace {

std::vector<std::string> noted;

} // namespace

std::string oneLine(std::string_view text) {
    std::string line(text);
    while (!line.empty() && (line.back() == '\n' || line.back() == ' ')) {
        line.pop_back();
    }
    for (char& c : line) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n' || c == '\t') {
            c = ' ';
        } else if (byte < 0x20 || byte == 0x7F) {
            c = '?';
        }
    }
    return line;
}

void warn(std::string message) {
    if (std::find(noted.begin(), noted.end(), message) == noted.end()) {
        noted.push_back(std::move(message));
    }
}

std::span<const std::string> warnings() {
    return noted;
}

void complain(std::string_view message) {
    std::fputs(("vekcam: " + oneLine(message) + "\n").c_str(), stderr);
}

void print(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void printNow(std::string_view text) {
    print(text);
    std::fflush(stdout);
}

ExitCode exitCodeOf(client::ECameraFailure failure) {
    switch (failure) {
    case client::ECameraFailure::Interrupted:
        return kInterrupted;
    case client::ECameraFailure::NoFrame:
        return kNoFrame;
    case client::ECameraFailure::Transfer:
        return kTransferFailed;
    case client::ECameraFailure::Unplugged:
        return kUnplugged;
    case client::ECameraFailure::InUse:
        return kInUse;
    case client::ECameraFailure::NoBandwidth:
        return kNoBandwidth;
    case client::ECameraFailure::FormatChanged:
        return kFormatChanged;
    case client::ECameraFailure::StreamEnded:
        return kStreamEnded;
    }
    return kFailure;
}

std::string programPath() {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : path.string();
}

} // namespace vek::tools
