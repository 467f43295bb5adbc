// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/TiffOutput.h"

#include "client/pictures/TiffFile.h"

#include <algorithm>
#include <vector>

namespace vek::client {

void writeTiff(COutputFile& file, const SImage& image, const SPictureOptions&) {
    CTiffWriter tiff(file.Name());
    tiff.SetForm(image.width, image.height, image.channels, image.depth);
    tiff.Set(TIFFTAG_PHOTOMETRIC, image.channels == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    tiff.WriteRows([&](std::uint32_t y, std::uint8_t* bytes) {
        const std::uint16_t* const row = image.samples.data() + y * image.RowSamples();
        if (image.depth == 16) {
            std::copy_n(reinterpret_cast<const std::uint8_t*>(row), 2 * image.RowSamples(), bytes);
        } else {
            packSamples(row, image.RowSamples(), image.depth, bytes);
        }
    });
    file.Write(tiff.Finish());
}

} // namespace vek::client
