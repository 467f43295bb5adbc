// SPDX-License-Identifier: Apache-2.0
#include "PngFile.h"

#include "support/Files.h"

#include <png.h>

#include <csetjmp>
#include <cstring>
#include <stdexcept>

namespace vek::test {

namespace {

struct SReader {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    std::span<const std::uint8_t> left;

    explicit SReader(std::span<const std::uint8_t> bytes) : left(bytes) { png_set_read_fn(png, this, Read); }
    ~SReader() { png_destroy_read_struct(&png, &info, nullptr); }
    SReader(const SReader&) = delete;
    SReader& operator=(const SReader&) = delete;

    static void Read(png_structp png, png_bytep to, std::size_t count) {
        auto* const self = static_cast<SReader*>(png_get_io_ptr(png));
        if (count > self->left.size()) {
            png_error(png, "the file ends too early");
        }
        std::memcpy(to, self->left.data(), count);
        self->left = self->left.subspan(count);
    }
};

bool decode(SReader& reader, SPng& image, std::vector<std::uint8_t>& row) {
    if (setjmp(png_jmpbuf(reader.png)) != 0) {
        return false;
    }
    png_read_info(reader.png, reader.info);
    image.width = png_get_image_width(reader.png, reader.info);
    image.height = png_get_image_height(reader.png, reader.info);
    image.bits = png_get_bit_depth(reader.png, reader.info);
    image.channels = png_get_channels(reader.png, reader.info);
    image.sRgb = png_get_valid(reader.png, reader.info, PNG_INFO_sRGB) != 0;
    row.resize(png_get_rowbytes(reader.png, reader.info));
    for (unsigned y = 0; y < image.height; ++y) {
        png_read_row(reader.png, row.data(), nullptr);
        for (std::size_t i = 0; i < std::size_t{image.width} * image.channels; ++i) {
            image.samples.push_back(image.bits == 16 ? static_cast<std::uint16_t>(row[2 * i] << 8 | row[2 * i + 1])
                                                     : row[i]);
        }
    }
    png_read_end(reader.png, nullptr);
    return true;
}

} // namespace

double SPng::Mean(unsigned x, unsigned y, unsigned columns, unsigned rows, unsigned channel) const {
    double sum = 0;
    for (unsigned j = y; j < y + rows; ++j) {
        for (unsigned i = x; i < x + columns; ++i) {
            sum += samples.at((std::size_t{j} * width + i) * channels + channel);
        }
    }
    return sum / (columns * rows);
}

SPng decodePng(std::span<const std::uint8_t> bytes) {
    SReader reader(bytes);
    SPng image;
    std::vector<std::uint8_t> row;
    if (!decode(reader, image, row)) {
        throw std::runtime_error("not a whole PNG file");
    }
    return image;
}

SPng readPng(const std::string& path) {
    return decodePng(readFile(path));
}

} // namespace vek::test
