// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/PnmOutput.h"

#include <fmt/format.h>

#include <vector>

namespace vek::client {

namespace {

void write(COutputFile& file, const SImage& image, bool color) {
    const std::size_t copies = color && image.channels == 1 ? 3 : 1;
    file.Write(fmt::format("{}\n{} {}\n{}\n", color ? "P6" : "P5", image.width, image.height, maxSample(image.depth)));
    std::vector<std::uint16_t> samples(image.RowSamples() * copies);
    std::vector<std::uint8_t> bytes(samples.size() * (image.depth / 8));
    for (std::size_t y = 0; y < image.height; ++y) {
        const std::uint16_t* const row = image.samples.data() + y * image.RowSamples();
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] = row[i / copies];
        }
        packSamples(samples.data(), samples.size(), image.depth, bytes.data());
        file.Write(bytes);
    }
}

} // namespace

void writePnm(COutputFile& file, const SImage& image, const SPictureOptions&) {
    write(file, image, image.channels != 1);
}

void writePpm(COutputFile& file, const SImage& image, const SPictureOptions&) {
    write(file, image, true);
}

} // namespace vek::client
