// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/JpegInput.h"

#include "client/Errors.h"
#include "client/files/Descriptor.h"

#include <fmt/format.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio> // jpeglib.h needs it in front

#include <jpeglib.h>

namespace vek::client {

namespace {

/// What libjpeg calls in its manager's place.
struct SReadError {
    jpeg_error_mgr manager{}; ///< comes first: libjpeg knows this object by it
    std::jmp_buf jump{};
    char text[JMSG_LENGTH_MAX] = "";
};

void onReadError(j_common_ptr jpeg) {
    auto* const report = reinterpret_cast<SReadError*>(jpeg->err);
    report->manager.format_message(jpeg, report->text);
    std::longjmp(report->jump, 1);
}

/// A warning tells of damaged parts, for which libjpeg makes something up.
void onReadMessage(j_common_ptr jpeg, int level) {
    if (level < 0) {
        onReadError(jpeg);
    }
}

struct SJpegReader {
    jpeg_decompress_struct jpeg{};
    SReadError error;

    SJpegReader() {
        jpeg.err = jpeg_std_error(&error.manager);
        error.manager.error_exit = onReadError;
        error.manager.emit_message = onReadMessage;
    }
    ~SJpegReader() { jpeg_destroy_decompress(&jpeg); }
    SJpegReader(const SJpegReader&) = delete;
    SJpegReader& operator=(const SJpegReader&) = delete;
};

/// This and the next function: the part between setjmp and longjmp. They make no object that would need a destructor.
bool start(SJpegReader& reader, std::FILE* file) {
    if (setjmp(reader.error.jump) != 0) {
        return false;
    }
    jpeg_decompress_struct& jpeg = reader.jpeg;
    jpeg_create_decompress(&jpeg);
    jpeg_stdio_src(&jpeg, file);
    jpeg_read_header(&jpeg, TRUE);
    jpeg.out_color_space = jpeg.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_start_decompress(&jpeg);
    return true;
}

/// row: holds one row of bytes; null: there is none left.
bool advance(SJpegReader& reader, std::uint8_t* row) {
    if (setjmp(reader.error.jump) != 0) {
        return false;
    }
    if (row == nullptr) {
        jpeg_finish_decompress(&reader.jpeg);
        return true;
    }
    return jpeg_read_scanlines(&reader.jpeg, &row, 1) == 1;
}

} // namespace

SImage readJpeg(const std::string& path) {
    const FilePointer file(std::fopen(path.c_str(), "rbe"));
    if (file == nullptr) {
        throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
    }
    SJpegReader reader;
    const auto require = [&](bool done) {
        if (!done) {
            throw CFailure(fmt::format("{}: cannot read: {}", path, reader.error.text));
        }
    };
    require(start(reader, file.get()));
    SImage image{reader.jpeg.output_width,
                 reader.jpeg.output_height,
                 static_cast<unsigned short>(reader.jpeg.output_components),
                 8,
                 {}};
    // Memory grows with what really comes.
    std::vector<std::uint8_t> row(image.RowSamples());
    for (std::uint32_t y = 0; y < image.height; ++y) {
        require(advance(reader, row.data()));
        unpackSamples(row, 1, image.samples);
    }
    require(advance(reader, nullptr));
    return image;
}

} // namespace vek::client
