// SPDX-License-Identifier: Apache-2.0
#include "client/frames/Dng.h"

#include "client/frames/RawFrame.h"
#include "client/pictures/Image.h"
#include "formats/ColorArrays.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace vek::client {

namespace {

/// Linear sRGB of CIE XYZ, both with the white of D65 (IEC 61966-2-1).
constexpr DngMatrix kXyzToSrgb = {3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570};

/// The smallest unpacked format that holds samples up to white.
const STransferFormat& formatFor(bool mono, bool bytes, unsigned white) {
    const EContent content = mono ? EContent::Mono : EContent::Raw;
    const STransferFormat* found = nullptr;
    for (const STransferFormat& format : kTransferFormats) {
        const bool fits = format.content == content && format.layout == (bytes ? ELayout::Bytes : ELayout::Words) &&
                          maxSample(format.depth) >= white;
        if (fits && (found == nullptr || format.depth < found->depth)) {
            found = &format;
        }
    }
    return *found;
}

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

STransferredFrame transferredFrameOf(const SDngFrame& frame) {
    const std::vector<std::uint16_t>& table = frame.tags.linearization;
    const bool words = frame.bits == 16 || !table.empty();
    STransferredFrame transferred;
    transferred.format = &formatFor(frame.colorArray == VEK_COLOR_ARRAY_MONO, !words, frame.White());
    transferred.width = frame.width;
    transferred.height = frame.height;
    transferred.colorArray = frame.colorArray;
    if (table.empty()) {
        transferred.bytes = frame.bytes;
        return transferred;
    }
    const std::size_t samples = std::size_t{frame.width} * frame.height;
    transferred.bytes.reserve(2 * samples);
    for (std::size_t i = 0; i < samples; ++i) {
        const std::size_t stored = frame.bits == 8 ? frame.bytes[i] : wordAt(frame.bytes, i);
        const std::uint16_t linear = table[std::min(stored, table.size() - 1)];
        transferred.bytes.push_back(static_cast<std::uint8_t>(linear & 0xFF));
        transferred.bytes.push_back(static_cast<std::uint8_t>(linear >> 8));
    }
    return transferred;
}

double blackLevelOf(const SDngTags& tags) {
    return std::accumulate(tags.black.begin(), tags.black.end(), 0.0) / static_cast<double>(tags.black.size());
}

} // namespace vek::client
