// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/commands/ConvertMakers.h"

namespace vek::tools {

/// Adds --frames, --json, --keep-going and --resume. arguments stays where it is while the command lives.
void addSeriesOptions(CLI::App& command, SConvertArguments& arguments);

/// Whether many frames are asked for: several inputs, a pattern among them or as output, or an option of a series.
bool isSeries(const SConvertArguments& arguments);

/// Makes a file of each frame of a series. Throws CBadArguments, CFailure, and CExit where frames failed and it went
/// on.
void convertSeries(const SConvertArguments& arguments);

/// Whether a file of that name holds the untouched frames of a recording one after the other.
bool isVideoName(const std::string& path);
/// Writes such a file. Throws CFailure, CBadArguments.
void convertToVideo(const SConvertArguments& arguments);

} // namespace vek::tools
