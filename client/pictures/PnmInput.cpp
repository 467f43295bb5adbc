// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/PnmInput.h"

#include "client/Errors.h"
#include "client/files/Descriptor.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>

namespace vek::client {

namespace {

bool isBlank(int c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// A number of the head, up to most, and the character behind it; comments in front of it are passed over. 0 where
/// there is none.
unsigned headNumber(std::FILE* file, unsigned most) {
    int c = std::getc(file);
    while (isBlank(c) || c == '#') {
        for (const bool comment = c == '#'; comment && c != '\n' && c != EOF;) {
            c = std::getc(file);
        }
        c = std::getc(file);
    }
    unsigned number = 0;
    for (; c >= '0' && c <= '9' && number <= most; c = std::getc(file)) {
        number = 10 * number + static_cast<unsigned>(c - '0');
    }
    return isBlank(c) && number <= most ? number : 0;
}

} // namespace

SImage readPnm(const std::string& path) {
    const FilePointer file(std::fopen(path.c_str(), "rbe"));
    if (file == nullptr) {
        throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
    }
    const int letter = std::getc(file.get());
    const int kind = std::getc(file.get());
    SImage image;
    image.width = headNumber(file.get(), kLargestSide);
    image.height = headNumber(file.get(), kLargestSide);
    const unsigned largest = headNumber(file.get(), maxSample(16));
    image.channels = kind == '6' ? 3 : 1;
    image.depth = static_cast<unsigned short>(std::bit_width(largest));
    if (letter != 'P' || (kind != '5' && kind != '6') || image.width == 0 || image.height == 0 || largest == 0) {
        throw CFailure(
            fmt::format("{}: no head of a PGM or PPM picture up to {} x {} pixels", path, kLargestSide, kLargestSide));
    }
    if (image.depth < 8 || largest != maxSample(image.depth)) {
        throw CFailure(
            fmt::format("{}: largest sample {}: only those of 8 to 16 bits are read, as 255 and 65535", path, largest));
    }
    // Memory grows with what really comes.
    const std::size_t sampleBytes = image.depth > 8 ? 2 : 1;
    std::vector<std::uint8_t> row(image.RowSamples() * sampleBytes);
    for (std::uint32_t y = 0; y < image.height; ++y) {
        if (std::fread(row.data(), 1, row.size(), file.get()) != row.size()) {
            throw CFailure(std::ferror(file.get()) != 0
                               ? fmt::format("{}: cannot read: {}", path, systemMessage(errno))
                               : fmt::format("{}: too short: it ends in row {} of {}", path, y, image.height));
        }
        unpackSamples(row, sampleBytes, image.samples);
    }
    if (std::any_of(image.samples.begin(), image.samples.end(), [&](unsigned sample) { return sample > largest; })) {
        throw CFailure(fmt::format("{}: samples above {}, its largest", path, largest));
    }
    return image;
}

} // namespace vek::client
