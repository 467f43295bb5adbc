// SPDX-License-Identifier: Apache-2.0
// Frames of real cameras, which are no part of the project: VEKCAM_DATA_DIR names the directory that holds them. Tests
// of one that is not there are skipped.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace vek::test {

/// 1920 x 1080 words of 12 bits, BGGR: a colour chart.
inline constexpr const char* kColorChartFrame = "ColorCheckerRAW_1920x1080_12bit_BGGR.raw";
/// 768 x 512 words of 14 bits, RGGB, black 600 and white 15520: a flower.
inline constexpr const char* kFlowerFrame = "DSC_1339_768x512_rggb.raw";
/// The same with 200 samples of 600 and 200 of 65535.
inline constexpr const char* kDefectFlowerFrame = "DSC_1339_768x512_rggb_bpc_test.raw";

/// Path of a frame; empty when it is not there.
inline std::string realFrame(const std::string& name) {
    const char* const directory = std::getenv("VEKCAM_DATA_DIR");
    const std::string path = directory != nullptr ? std::string(directory) + "/" + name : std::string();
    return !path.empty() && std::filesystem::exists(path) ? path : std::string();
}

} // namespace vek::test
