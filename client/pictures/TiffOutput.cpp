// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/TiffOutput.h"

#include "client/pictures/TiffFile.h"

#include <algorithm>

namespace vek::client {

void writeTiff(COutputFile& file, const SPictureView& image, const SPictureOptions&) {
    CTiffWriter tiff(file.Name());
    tiff.SetForm(image.width, image.height, image.channels, image.depth);
    tiff.Set(TIFFTAG_PHOTOMETRIC, image.channels == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    tiff.WriteRows([&](std::uint32_t y, std::uint8_t* bytes) {
        std::copy_n(image.Row(y), image.RowBytes(), bytes); // words in the machine's order
    });
    file.Write(tiff.Finish());
}

} // namespace vek::client
