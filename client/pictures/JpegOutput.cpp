// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/JpegOutput.h"

#include "client/Errors.h"

#include <fmt/format.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio> // jpeglib.h needs it in front

#include <jpeglib.h>

namespace vek::client {

namespace {

static_assert(kLargestJpegSide == JPEG_MAX_DIMENSION);

/// What libjpeg calls in its manager's place.
struct SJpegError {
    jpeg_error_mgr manager{}; ///< comes first: libjpeg knows this object by it
    std::jmp_buf jump{};
    int error = 0; ///< the system's error number at that moment
    char text[JMSG_LENGTH_MAX] = "";
};

void onError(j_common_ptr jpeg) {
    const int error = errno;
    auto* const report = reinterpret_cast<SJpegError*>(jpeg->err);
    report->error = error;
    report->manager.format_message(jpeg, report->text);
    std::longjmp(report->jump, 1);
}

void onMessage(j_common_ptr) {
    // There are only warnings about what this writer does not make.
}

struct SJpegWriter {
    jpeg_compress_struct jpeg{};
    SJpegError error;

    SJpegWriter() {
        jpeg.err = jpeg_std_error(&error.manager);
        error.manager.error_exit = onError;
        error.manager.output_message = onMessage;
    }
    ~SJpegWriter() { jpeg_destroy_compress(&jpeg); }
    SJpegWriter(const SJpegWriter&) = delete;
    SJpegWriter& operator=(const SJpegWriter&) = delete;
};

/// The part between setjmp and longjmp: it makes no object that would need a destructor. row holds one row of bytes.
bool encode(SJpegWriter& writer, std::FILE* file, const SPictureView& image, int quality, std::uint8_t* row) {
    if (setjmp(writer.error.jump) != 0) {
        return false;
    }
    errno = 0; // libjpeg leaves it alone where no file is the reason
    jpeg_compress_struct& jpeg = writer.jpeg;
    jpeg_create_compress(&jpeg);
    jpeg_stdio_dest(&jpeg, file);
    jpeg.image_width = image.width;
    jpeg.image_height = image.height;
    jpeg.input_components = image.channels;
    jpeg.in_color_space = image.channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, quality, TRUE);
    for (int i = 0; i < jpeg.num_components; ++i) {
        jpeg.comp_info[i].h_samp_factor = 1;
        jpeg.comp_info[i].v_samp_factor = 1;
    }
    jpeg_start_compress(&jpeg, TRUE);
    for (std::size_t y = 0; y < image.height; ++y) {
        packRow(image, y, row);
        JSAMPROW rows[] = {row};
        jpeg_write_scanlines(&jpeg, rows, 1);
    }
    jpeg_finish_compress(&jpeg);
    return true;
}

} // namespace

void writeJpeg(COutputFile& file, const SPictureView& image, const SPictureOptions& options) {
    if (image.depth != 8) {
        throw CFailure(fmt::format("{}: cannot write: JPEG pictures have 8 bits", file.Name()));
    }
    std::vector<std::uint8_t> row(image.RowBytes());
    SJpegWriter writer;
    if (!encode(writer, file.Stream(), image, options.quality, row.data())) {
        throw CFailure(
            fmt::format("{}: cannot write: {}", file.Name(),
                        writer.error.error != 0 ? systemMessage(writer.error.error) : std::string(writer.error.text)));
    }
}

} // namespace vek::client
