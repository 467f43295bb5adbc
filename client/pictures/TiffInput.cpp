// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/TiffInput.h"

#include "client/Errors.h"
#include "client/pictures/TiffFile.h"

#include <fmt/format.h>

namespace vek::client {

namespace {

std::uint16_t shortTag(TIFF* tiff, std::uint32_t tag) {
    std::uint16_t value = 0;
    TIFFGetFieldDefaulted(tiff, tag, &value);
    return value;
}

} // namespace

SImage readTiff(const std::string& path) {
    std::string complaint;
    const auto refuse = [&](const std::string& reason) {
        throw CFailure(fmt::format("{}: cannot read: {}", path, complaint.empty() ? reason : complaint));
    };
    const CTiffOptions options(complaint);
    // Not mapped: a file that becomes shorter meanwhile would be a fault.
    const std::unique_ptr<TIFF, SCloseTiff> tiff(TIFFOpenExt(path.c_str(), "rm", options.Get()));
    if (!tiff) {
        refuse("damaged");
    }
    SImage image;
    TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &image.width);
    TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &image.height);
    image.channels = shortTag(tiff.get(), TIFFTAG_SAMPLESPERPIXEL);
    image.depth = shortTag(tiff.get(), TIFFTAG_BITSPERSAMPLE);
    const std::uint16_t meaning = image.channels == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB;
    if (image.width == 0 || image.height == 0 || image.width > kLargestSide || image.height > kLargestSide) {
        refuse(fmt::format("{} x {} pixels", image.width, image.height));
    }
    if ((image.channels != 1 && image.channels != 3) || (image.depth != 8 && image.depth != 16) ||
        shortTag(tiff.get(), TIFFTAG_PHOTOMETRIC) != meaning ||
        shortTag(tiff.get(), TIFFTAG_SAMPLEFORMAT) != SAMPLEFORMAT_UINT) {
        refuse("neither grey nor red, green and blue of 8 or 16 bits");
    }
    if (TIFFIsTiled(tiff.get()) != 0 || shortTag(tiff.get(), TIFFTAG_PLANARCONFIG) != PLANARCONFIG_CONTIG) {
        refuse("in tiles or planes");
    }
    const auto rowBytes = static_cast<std::size_t>(TIFFScanlineSize(tiff.get()));
    const std::size_t rowSamples = image.RowSamples();
    std::vector<std::uint16_t> words(rowSamples);
    auto* const bytes = reinterpret_cast<std::uint8_t*>(words.data());
    if (rowBytes != rowSamples * (image.depth / 8U)) {
        refuse("damaged");
    }
    // Memory grows with what really comes.
    for (std::uint32_t y = 0; y < image.height; ++y) {
        if (TIFFReadScanline(tiff.get(), bytes, y) != 1) {
            refuse("damaged");
        }
        if (image.depth == 8) {
            image.samples.insert(image.samples.end(), bytes, bytes + rowSamples);
        } else {
            image.samples.insert(image.samples.end(), words.begin(), words.end());
        }
    }
    return image;
}

} // namespace vek::client
