// SPDX-License-Identifier: Apache-2.0
#include "client/frames/Dng.h"

#include "client/frames/RawFrame.h"
#include "client/pictures/Image.h"
#include "formats/ColorArrays.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <numeric>
#include <utility>

namespace vek::client {

namespace {

/// Linear sRGB of CIE XYZ, both with the white of D65 (IEC 61966-2-1).
constexpr DngMatrix kXyzToSrgb = {3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570};

} // namespace

unsigned SDngFrame::White() const {
    return tags.white != 0 ? tags.white : maxSample(tags.linearization.empty() ? bits : 16U);
}

SGainMap gainMapOf(std::optional<unsigned> phase, std::uint32_t width, std::uint32_t height, std::uint32_t rows,
                   std::uint32_t columns, std::vector<float> gains) {
    SGainMap map;
    map.top = phase.value_or(0) / 2;
    map.left = phase.value_or(0) % 2;
    map.bottom = height;
    map.right = width;
    map.rowStep = map.columnStep = phase ? 2 : 1;
    map.rows = rows;
    map.columns = columns;
    map.rowSpacing = rows > 1 ? 1.0 / (rows - 1) : 1;
    map.columnSpacing = columns > 1 ? 1.0 / (columns - 1) : 1;
    map.gains = std::move(gains);
    return map;
}

SDngFrame dngFrameOf(const STransferredFrame& frame) {
    const bool bytes = frame.format->layout == ELayout::Bytes;
    const bool mono = frame.format->IsMono() || !isBayer(frame.colorArray);
    SDngFrame dng;
    dng.width = frame.width;
    dng.height = frame.height;
    dng.colorArray = mono ? static_cast<unsigned short>(VEK_COLOR_ARRAY_MONO) : frame.colorArray;
    dng.bits = bytes ? 8 : 16;
    dng.bytes = frame.bytes;
    dng.tags.white = maxSample(frame.format->depth);
    if (!mono) {
        dng.tags.colors = {{kLightD65, kXyzToSrgb}};
    }
    return dng;
}

void takeMeta(SDngTags& tags, const SFrameMeta& meta) {
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    const std::int64_t rest = ((meta.wallNs % kNanoseconds) + kNanoseconds) % kNanoseconds;
    const std::time_t seconds = (meta.wallNs - rest) / kNanoseconds;
    std::tm utc{};
    if (gmtime_r(&seconds, &utc) != nullptr) {
        tags.dateTime = fmt::format("{:%Y:%m:%d %H:%M:%S}", utc);
        tags.description = fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:09}Z, ", utc, rest);
    }
    tags.description += fmt::format("sequence {}", meta.sequence);
    if (meta.exposure) {
        tags.description += fmt::format(", exposure {} clocks", *meta.exposure);
    }
    if (meta.gain) {
        tags.description += fmt::format(", gain {}", *meta.gain);
    }
    if (meta.gainMilliDb) {
        tags.description += fmt::format(" ({:.3f} dB)", *meta.gainMilliDb / 1000.0);
    }
    if (meta.exposureNs) {
        tags.exposureTime = static_cast<double>(*meta.exposureNs) / static_cast<double>(kNanoseconds);
    }
}

bool hasStandInColors(const SDngTags& tags) {
    constexpr double kRounding = 1e-4; // of the file's rationals
    return tags.colors.size() == 1 && !tags.colors[0].forwardMatrix &&
           std::ranges::equal(tags.colors[0].colorMatrix, kXyzToSrgb,
                              [](double a, double b) { return std::abs(a - b) < kRounding; });
}

STransferredFrame transferredFrameOf(const SDngFrame& frame) {
    const std::vector<std::uint16_t>& table = frame.tags.linearization;
    const bool words = frame.bits == 16 || !table.empty();
    STransferredFrame transferred;
    transferred.format = &unpackedFormat(frame.colorArray == VEK_COLOR_ARRAY_MONO, words, frame.White());
    transferred.width = frame.width;
    transferred.height = frame.height;
    transferred.colorArray = frame.colorArray;
    transferred.bytes = table.empty() ? frame.bytes : linearizedWords(frame.bytes, frame.bits == 16, table);
    return transferred;
}

double blackLevelOf(const SDngTags& tags) {
    return std::accumulate(tags.black.begin(), tags.black.end(), 0.0) / static_cast<double>(tags.black.size());
}

} // namespace vek::client
