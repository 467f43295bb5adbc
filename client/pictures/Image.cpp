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

SImage imageOf(const SPictureView& picture) {
    SImage image{picture.width, picture.height, picture.channels, picture.depth, {}};
    const std::size_t count = image.RowSamples() * image.height;
    if (picture.depth == 8) {
        const auto* const bytes = static_cast<const std::uint8_t*>(picture.samples);
        image.samples.assign(bytes, bytes + count);
    } else {
        const auto* const words = static_cast<const std::uint16_t*>(picture.samples);
        image.samples.assign(words, words + count);
    }
    return image;
}

SPictureView viewOf(const SImage& image, std::vector<std::uint8_t>& bytes) {
    SPictureView picture{image.width, image.height, image.channels, image.depth, image.samples.data()};
    if (image.depth == 8) {
        bytes.resize(image.samples.size());
        std::ranges::transform(image.samples, bytes.begin(),
                               [](std::uint16_t sample) { return static_cast<std::uint8_t>(sample); });
        picture.samples = bytes.data();
    }
    return picture;
}

void packRow(const SPictureView& picture, std::size_t y, std::uint8_t* bytes) {
    const std::uint8_t* const row = picture.Row(y);
    if (picture.depth == 8) {
        std::copy_n(row, picture.RowBytes(), bytes);
        return;
    }
    const auto* const words = reinterpret_cast<const std::uint16_t*>(row);
    for (std::size_t i = 0; i < picture.RowSamples(); ++i) {
        bytes[2 * i] = static_cast<std::uint8_t>(words[i] >> 8);
        bytes[2 * i + 1] = static_cast<std::uint8_t>(words[i] & 0xFF);
    }
}

void unpackSamples(std::span<const std::uint8_t> bytes, std::size_t sampleBytes, std::vector<std::uint16_t>& samples) {
    if (sampleBytes == 1) {
        samples.insert(samples.end(), bytes.begin(), bytes.end());
        return;
    }
    const std::size_t before = samples.size();
    samples.resize(before + bytes.size() / 2);
    for (std::size_t i = 0; i < bytes.size() / 2; ++i) {
        samples[before + i] = static_cast<std::uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    }
}

} // namespace vek::client
