// SPDX-License-Identifier: Apache-2.0
#include "client/frames/RawFrame.h"

#include "client/pictures/Image.h"

#include <algorithm>
#include <utility>

namespace vek::client {

namespace {

/// The words of a format, those above its range as its largest, without their low bits.
template <class T>
std::vector<T> shiftedWords(std::span<const std::uint8_t> bytes, std::size_t pixels, unsigned formatDepth,
                            unsigned depth) {
    const std::uint16_t largest = maxSample(formatDepth);
    const unsigned shift = formatDepth - depth;
    std::vector<T> samples;
    samples.reserve(pixels + 1); // room for the spare one
    samples.resize(pixels);
    for (std::size_t i = 0; i < pixels; ++i) {
        samples[i] = static_cast<T>(std::min(wordAt(bytes, i), largest) >> shift);
    }
    return samples;
}

} // namespace

bool exceedsRange(std::span<const std::uint8_t> bytes, const STransferFormat& format) {
    if (format.layout != ELayout::Words) {
        return false;
    }
    // The largest sample is all ones: what is above it has a bit beyond.
    unsigned highBits = 0;
    for (std::size_t i = 1; i < bytes.size(); i += 2) {
        highBits |= bytes[i];
    }
    return highBits >> format.ShiftToByte() != 0;
}

void limitWords(std::span<std::uint8_t> bytes, std::uint16_t largest) {
    for (std::size_t i = 0; i < bytes.size() / 2; ++i) {
        const std::uint16_t word = std::min(wordAt(bytes, i), largest);
        bytes[2 * i] = static_cast<std::uint8_t>(word & 0xFF);
        bytes[2 * i + 1] = static_cast<std::uint8_t>(word >> 8);
    }
}

SRawFrame rawFrame(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::uint32_t width,
                   std::uint32_t height, unsigned short colorArray, unsigned short depth) {
    const std::size_t pixels = static_cast<std::size_t>(width) * height;
    SRawFrame frame{width, height, colorArray, depth, {}};
    if (format.layout == ELayout::Bytes) {
        std::vector<std::uint8_t> samples;
        samples.reserve(pixels + 1);
        samples.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(pixels));
        frame.samples = std::move(samples);
    } else if (depth == 8) {
        frame.samples = shiftedWords<std::uint8_t>(bytes, pixels, format.depth, depth);
    } else {
        frame.samples = shiftedWords<std::uint16_t>(bytes, pixels, format.depth, depth);
    }
    std::visit([&](auto& samples) { appendSpareSample(samples, width); }, frame.samples);
    return frame;
}

const STransferFormat& unpackedFormat(bool mono, bool words, unsigned white) {
    const EContent content = mono ? EContent::Mono : EContent::Raw;
    const STransferFormat* found = nullptr;
    for (const STransferFormat& format : kTransferFormats) {
        const bool fits = format.content == content && format.layout == (words ? ELayout::Words : ELayout::Bytes) &&
                          maxSample(format.depth) >= white;
        if (fits && (found == nullptr || format.depth < found->depth)) {
            found = &format;
        }
    }
    return *found;
}

std::vector<std::uint8_t> linearizedWords(std::span<const std::uint8_t> bytes, bool words,
                                          std::span<const std::uint16_t> table) {
    const std::size_t samples = words ? bytes.size() / 2 : bytes.size();
    std::vector<std::uint8_t> linear(2 * samples);
    for (std::size_t i = 0; i < samples; ++i) {
        const std::size_t sample = words ? wordAt(bytes, i) : bytes[i];
        const std::uint16_t value = table[std::min(sample, table.size() - 1)];
        linear[2 * i] = static_cast<std::uint8_t>(value & 0xFF);
        linear[2 * i + 1] = static_cast<std::uint8_t>(value >> 8);
    }
    return linear;
}

} // namespace vek::client
