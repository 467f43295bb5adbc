// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vek::emulator {

/// Looks a program up as a shell does, and looks at its file: whether a library that is preloaded gets into it. Scripts
/// are what runs them. Throws CRefusal.
void checkProgram(const std::string& name);

} // namespace vek::emulator
