// SPDX-License-Identifier: Apache-2.0
#include "client/files/OutputPath.h"

#include "client/Errors.h"
#include "client/files/Descriptor.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace vek::client {

namespace {

/// Type bits of what lies at a path; 0 where nothing does.
mode_t typeOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

bool isTerminal(const std::string& path) {
    if (path == "-") {
        return isatty(STDOUT_FILENO) != 0;
    }
    if (typeOf(path) != S_IFCHR) {
        return false; // opening a pipe would wait for its other end
    }
    const CDescriptor device(open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    return device.IsOpen() && isatty(device.Get()) != 0;
}

} // namespace

std::string bytesComplaint(const std::string& path) {
    return isTerminal(path)
               ? fmt::format("{} is a terminal: a file or a pipe is needed", path == "-" ? "standard output" : path)
               : std::string();
}

bool isDeviceOrPipe(const std::string& path) {
    const mode_t type = typeOf(path);
    return type == S_IFCHR || type == S_IFIFO;
}

void makeDirectory(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) {
        throw CFailure(fmt::format("{}: cannot make the directory: {}", path, error.message()));
    }
}

std::string pathInside(const std::string& directory, const std::string& file) {
    return (std::filesystem::path(directory) / file).string();
}

} // namespace vek::client
