// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/PngInput.h"

#include "client/Errors.h"
#include "client/files/Descriptor.h"

#include <fmt/format.h>
#include <png.h>
#include <sys/stat.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <new>

namespace vek::client {

namespace {

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

/// This and the next two functions: the part between setjmp and longjmp. They make no object that would need a
/// destructor.
bool readHead(SPngReader& reader, std::FILE* file) {
    if (setjmp(png_jmpbuf(reader.png)) != 0) {
        return false;
    }
    png_init_io(reader.png, file);
    png_set_user_limits(reader.png, kLargestSide, kLargestSide);
    png_read_info(reader.png, reader.info);
    return true;
}

/// rows: one pointer for each row.
bool readRows(SPngReader& reader, png_bytepp rows) {
    if (setjmp(png_jmpbuf(reader.png)) != 0) {
        return false;
    }
    png_read_image(reader.png, rows);
    png_read_end(reader.png, nullptr);
    return true;
}

/// Has the rows hold grey or red, green, blue, in bytes or in words with the high byte first.
bool chooseRows(SPngReader& reader) {
    if (setjmp(png_jmpbuf(reader.png)) != 0) {
        return false;
    }
    png_set_expand(reader.png);
    png_set_interlace_handling(reader.png);
    png_read_update_info(reader.png, reader.info);
    return true;
}

SPngForm formOf(const SPngReader& reader) {
    SPngForm form;
    form.width = png_get_image_width(reader.png, reader.info);
    form.height = png_get_image_height(reader.png, reader.info);
    form.bits = png_get_bit_depth(reader.png, reader.info);
    const unsigned type = png_get_color_type(reader.png, reader.info);
    form.gray = (type & PNG_COLOR_MASK_COLOR) == 0;
    form.transparent = (type & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(reader.png, reader.info, PNG_INFO_tRNS) != 0;
    return form;
}

/// An open file, whose head was read.
struct SOpenPng {
    FilePointer file;
    SPngReader reader;
    std::uint64_t fileBytes = 0;

    /// Throws CFailure.
    explicit SOpenPng(const std::string& path) : file(std::fopen(path.c_str(), "rbe")) {
        struct stat status {};
        if (file == nullptr || fstat(fileno(file.get()), &status) != 0) {
            throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
        }
        fileBytes = static_cast<std::uint64_t>(status.st_size);
        if (!readHead(reader, file.get())) {
            Refuse(path);
        }
    }
    [[noreturn]] void Refuse(const std::string& path) const {
        throw CFailure(fmt::format("{}: cannot read: {}", path, reader.error));
    }
};

SImage imageOf(SOpenPng& png, const std::string& path) {
    // Deflate makes no more than this of a byte: what is too short is told before memory is taken.
    constexpr std::uint64_t kMostOfByte = 1032;
    if (formOf(png.reader).transparent) {
        throw CFailure(fmt::format("{}: a picture with transparent parts", path));
    }
    const std::uint64_t storedBytes = png_get_rowbytes(png.reader.png, png.reader.info) *
                                      std::uint64_t{png_get_image_height(png.reader.png, png.reader.info)};
    if (storedBytes / kMostOfByte > png.fileBytes) {
        throw CFailure(fmt::format("{}: cannot read: too short for its size", path));
    }
    if (!chooseRows(png.reader)) {
        png.Refuse(path);
    }
    const SPngForm form = formOf(png.reader);
    SImage image{form.width, form.height, static_cast<unsigned short>(form.gray ? 1 : 3), form.bits, {}};
    const std::size_t sampleBytes = form.bits / 8U;
    const std::size_t rowBytes = png_get_rowbytes(png.reader.png, png.reader.info);
    std::vector<std::uint8_t> bytes(rowBytes * image.height);
    std::vector<png_bytep> rows(image.height);
    for (std::size_t y = 0; y < rows.size(); ++y) {
        rows[y] = bytes.data() + y * rowBytes;
    }
    if (!readRows(png.reader, rows.data())) {
        png.Refuse(path);
    }
    unpackSamples(bytes, sampleBytes, image.samples);
    return image;
}

} // namespace

std::optional<SPngForm> pngFormOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    const FilePointer file(std::fopen(path.c_str(), "rbe"));
    SPngReader reader;
    return file != nullptr && readHead(reader, file.get()) ? std::optional(formOf(reader)) : std::nullopt;
}

SImage readPng(const std::string& path) {
    SOpenPng png(path);
    return imageOf(png, path);
}

SImage readGrayPng16(const std::string& path) {
    SOpenPng png(path);
    const SPngForm form = formOf(png.reader);
    if (!form.gray || form.transparent || form.bits != 16) {
        throw CFailure(fmt::format("{}: no grey picture of 16 bits", path));
    }
    return imageOf(png, path);
}

} // namespace vek::client
