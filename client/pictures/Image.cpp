// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/Image.h"

#include <algorithm>

namespace vek::client {

namespace {

/// from <= 16, and to is at most twice from: one repetition fills it.
std::uint16_t scaledSample(std::uint16_t sample, unsigned from, unsigned to) {
    if (to <= from) {
        return static_cast<std::uint16_t>(sample >> (from - to));
    }
    const unsigned up = to - from;
    return static_cast<std::uint16_t>((static_cast<unsigned>(sample) << up) | (sample >> (from - up)));
}

} // namespace

SImage scaledToDepth(SImage image, unsigned short depth) {
    if (image.depth != depth) {
        std::transform(image.samples.begin(), image.samples.end(), image.samples.begin(),
                       [&](std::uint16_t sample) { return scaledSample(sample, image.depth, depth); });
        image.depth = depth;
    }
    return image;
}

void packSamples(const std::uint16_t* samples, std::size_t count, unsigned depth, std::uint8_t* bytes) {
    if (depth == 8) {
        std::transform(samples, samples + count, bytes,
                       [](std::uint16_t sample) { return static_cast<std::uint8_t>(sample); });
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        bytes[2 * i] = static_cast<std::uint8_t>(samples[i] >> 8);
        bytes[2 * i + 1] = static_cast<std::uint8_t>(samples[i] & 0xFF);
    }
}

} // namespace vek::client
