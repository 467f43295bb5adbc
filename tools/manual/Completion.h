// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/manual/CommandTree.h"

#include <string>

namespace vek::tools {

// What shells read to complete a program's command line: commands, options, the words that options take, files.

std::string bashCompletion(const SCommand& program);
std::string zshCompletion(const SCommand& program);
std::string fishCompletion(const SCommand& program);

} // namespace vek::tools
