// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vek::client {

/// What keeps bytes that are no text from being written to a path, "-" being standard output: a terminal stands there.
/// Empty where nothing does.
std::string bytesComplaint(const std::string& path);

/// Whether a device or a pipe lies at a path.
bool isDeviceOrPipe(const std::string& path);

/// Makes a directory and those above it, where they are missing. Throws CFailure.
void makeDirectory(const std::string& path);
/// The path of a file in a directory.
std::string pathInside(const std::string& directory, const std::string& file);

} // namespace vek::client
