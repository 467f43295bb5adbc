// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/PngOutput.h"

#include "client/Errors.h"
#ifdef VEKCAM_ISAL
#include "client/pictures/PngBands.h"
#endif

#include <fmt/format.h>
#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <new>

namespace vek::client {

namespace {

/// What libpng said, and the system's error number at that moment.
struct SPngError {
    std::string text;
    int error = 0;
};

void onWriteError(png_structp png, png_const_charp message) {
    auto* const report = static_cast<SPngError*>(png_get_error_ptr(png));
    report->error = errno;
    report->text = message;
    png_longjmp(png, 1);
}

void onWriteWarning(png_structp, png_const_charp) {
    // Warnings are about chunks that this writer does not make.
}

struct SPngWriter {
    png_structp png = nullptr;
    png_infop info = nullptr;
    SPngError error;

    SPngWriter() {
        png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &error, onWriteError, onWriteWarning);
        info = png != nullptr ? png_create_info_struct(png) : nullptr;
        if (info == nullptr) {
            png_destroy_write_struct(&png, nullptr);
            throw std::bad_alloc();
        }
    }
    ~SPngWriter() { png_destroy_write_struct(&png, &info); }
    SPngWriter(const SPngWriter&) = delete;
    SPngWriter& operator=(const SPngWriter&) = delete;
};

/// The part between setjmp and longjmp: it makes no object that would need a destructor. row holds one packed row.
bool encode(SPngWriter& writer, std::FILE* file, const SPictureView& image, bool displayCurve, std::uint8_t* row) {
    if (setjmp(png_jmpbuf(writer.png)) != 0) {
        return false;
    }
    errno = 0; // libpng leaves it alone where no file is the reason
    png_init_io(writer.png, file);
    png_set_user_limits(writer.png, 0x7FFFFFFF, 0x7FFFFFFF);
    png_set_IHDR(writer.png, writer.info, image.width, image.height, image.depth,
                 image.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (displayCurve) {
        png_set_sRGB(writer.png, writer.info, PNG_sRGB_INTENT_PERCEPTUAL);
    }
    // Noise of the sensor hardly compresses; higher levels only take time, and so does a choice of filters.
    png_set_compression_level(writer.png, 1);
    png_set_filter(writer.png, PNG_FILTER_TYPE_BASE, PNG_FILTER_UP);
    png_write_info(writer.png, writer.info);
    for (std::size_t y = 0; y < image.height; ++y) {
        packRow(image, y, row);
        png_write_row(writer.png, row);
    }
    png_write_end(writer.png, nullptr);
    return true;
}

} // namespace

void writePngByLibpng(COutputFile& file, const SPictureView& image, const SPictureOptions& options) {
    SPngError error;
    bool done = false;
    try {
        std::vector<std::uint8_t> row(image.RowBytes());
        SPngWriter writer;
        done = encode(writer, file.Stream(), image, options.displayCurve, row.data());
        error = writer.error;
    } catch (const std::bad_alloc&) {
        error = {"not enough memory", 0};
    }
    if (!done) {
        throw CFailure(fmt::format("{}: cannot write: {}", file.Name(),
                                   error.error != 0 ? systemMessage(error.error) : error.text));
    }
}

void writePng(COutputFile& file, const SPictureView& image, const SPictureOptions& options) {
#ifdef VEKCAM_ISAL
    for (const std::vector<std::uint8_t>& piece : pngInBands(image, options)) {
        file.Write(piece);
    }
#else
    writePngByLibpng(file, image, options);
#endif
}

void writePng(COutputFile& file, const SImage& image, const SPictureOptions& options) {
    std::vector<std::uint8_t> bytes;
    writePng(file, viewOf(image, bytes), options);
}

void writePng(const std::string& path, const SImage& image, const SPictureOptions& options) {
    COutputFiles files;
    writePng(files.Open(path), image, options);
    files.Publish();
}

} // namespace vek::client
