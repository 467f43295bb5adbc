// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/PnmOutput.h"

#include <fmt/format.h>

#include <vector>

namespace vek::client {

namespace {

void write(COutputFile& file, const SPictureView& image, bool color) {
    const std::size_t copies = color && image.channels == 1 ? 3 : 1;
    file.Write(fmt::format("{}\n{} {}\n{}\n", color ? "P6" : "P5", image.width, image.height, maxSample(image.depth)));
    if (image.depth == 8 && copies == 1) {
        file.Write({image.Row(0), image.RowBytes() * image.height});
        return;
    }
    const std::size_t sampleBytes = image.depth / 8U;
    std::vector<std::uint8_t> row(image.RowBytes());
    std::vector<std::uint8_t> bytes(row.size() * copies);
    for (std::size_t y = 0; y < image.height; ++y) {
        packRow(image, y, row.data());
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = row[i / sampleBytes / copies * sampleBytes + i % sampleBytes];
        }
        file.Write(bytes);
    }
}

} // namespace

void writePnm(COutputFile& file, const SPictureView& image, const SPictureOptions&) {
    write(file, image, image.channels != 1);
}

void writePpm(COutputFile& file, const SPictureView& image, const SPictureOptions&) {
    write(file, image, true);
}

} // namespace vek::client
