// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vek::tools {

/// What --version prints: the program's version and the library's, the build, its compiler, and the library's row
/// kernels. Neither the clock nor a folder of the build is in it.
std::string versionText();

} // namespace vek::tools
