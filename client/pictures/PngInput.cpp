// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/PngInput.h"

#include "client/Errors.h"
#include "client/files/Descriptor.h"

#include <fmt/format.h>
#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <new>

namespace vek::client {

namespace {

// As large as frames can be.
constexpr png_uint_32 kLargestSide = 65535;

void onReadError(png_structp png, png_const_charp message) {
    *static_cast<std::string*>(png_get_error_ptr(png)) = message;
    png_longjmp(png, 1);
}

void onReadWarning(png_structp, png_const_charp) {
    // Only the samples count.
}

struct SPngReader {
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::string error;

    SPngReader() {
        png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &error, onReadError, onReadWarning);
        info = png != nullptr ? png_create_info_struct(png) : nullptr;
        if (info == nullptr) {
            png_destroy_read_struct(&png, nullptr, nullptr);
            throw std::bad_alloc();
        }
    }
    ~SPngReader() { png_destroy_read_struct(&png, &info, nullptr); }
    SPngReader(const SPngReader&) = delete;
    SPngReader& operator=(const SPngReader&) = delete;
};

/// This and the next function: the part between setjmp and longjmp. They make no object that would need a destructor.
bool readHead(SPngReader& reader, std::FILE* file) {
    if (setjmp(png_jmpbuf(reader.png)) != 0) {
        return false;
    }
    png_init_io(reader.png, file);
    png_set_user_limits(reader.png, kLargestSide, kLargestSide);
    png_read_info(reader.png, reader.info);
    return true;
}

/// rows: one pointer for each row, which has two bytes a sample.
bool readRows(SPngReader& reader, png_bytepp rows) {
    if (setjmp(png_jmpbuf(reader.png)) != 0) {
        return false;
    }
    png_read_image(reader.png, rows);
    png_read_end(reader.png, nullptr);
    return true;
}

} // namespace

SImage readGrayPng16(const std::string& path) {
    const FilePointer file(std::fopen(path.c_str(), "rbe"));
    if (file == nullptr) {
        throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
    }
    SPngReader reader;
    if (!readHead(reader, file.get())) {
        throw CFailure(fmt::format("{}: cannot read: {}", path, reader.error));
    }
    if (png_get_color_type(reader.png, reader.info) != PNG_COLOR_TYPE_GRAY ||
        png_get_bit_depth(reader.png, reader.info) != 16) {
        throw CFailure(fmt::format("{}: no grey picture of 16 bits", path));
    }
    SImage image{
        png_get_image_width(reader.png, reader.info), png_get_image_height(reader.png, reader.info), 1, 16, {}};
    const std::size_t rowBytes = 2 * std::size_t{image.width};
    std::vector<std::uint8_t> bytes(rowBytes * image.height);
    std::vector<png_bytep> rows(image.height);
    for (std::size_t y = 0; y < rows.size(); ++y) {
        rows[y] = bytes.data() + y * rowBytes;
    }
    if (!readRows(reader, rows.data())) {
        throw CFailure(fmt::format("{}: cannot read: {}", path, reader.error));
    }
    image.samples.resize(bytes.size() / 2);
    for (std::size_t i = 0; i < image.samples.size(); ++i) {
        image.samples[i] = static_cast<std::uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]); // high byte first
    }
    return image;
}

} // namespace vek::client
