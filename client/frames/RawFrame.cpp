// SPDX-License-Identifier: Apache-2.0
#include "client/frames/RawFrame.h"

#include "client/pictures/Image.h"

#include <algorithm>
#include <utility>

namespace vek::client {

SRawFrame rawFrame(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::uint32_t width,
                   std::uint32_t height, unsigned short colorArray) {
    const std::size_t pixels = static_cast<std::size_t>(width) * height;
    SRawFrame frame{width, height, colorArray, libraryDepth(format), {}};
    if (format.layout == ELayout::Bytes) {
        std::vector<std::uint8_t> samples;
        samples.reserve(pixels + 1);
        samples.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(pixels));
        appendSpareSample(samples, width);
        frame.samples = std::move(samples);
        return frame;
    }
    const std::uint16_t largest = maxSample(format.depth);
    const int shift = format.depth - frame.depth;
    std::vector<std::uint16_t> samples;
    samples.reserve(pixels + 1);
    for (std::size_t i = 0; i < pixels; ++i) {
        samples.push_back(static_cast<std::uint16_t>(std::min(wordAt(bytes, i), largest) >> shift));
    }
    appendSpareSample(samples, width);
    frame.samples = std::move(samples);
    return frame;
}

} // namespace vek::client
