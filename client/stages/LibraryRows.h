// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vek::client {

/// Samples from row to row of the library's colour and grey images, whose rows are padded to a multiple of 4 bytes.
template <class T>
std::size_t paddedRowSamples(const SImage& image) {
    return (image.RowSamples() * sizeof(T) + 3) / 4 * 4 / sizeof(T);
}

/// The library's image, grey or blue-green-red, of an image's size and channels.
template <class T>
std::vector<T> libraryRows(const SImage& image) {
    const std::size_t step = paddedRowSamples<T>(image);
    const std::size_t rowSamples = image.RowSamples();
    std::vector<T> padded(step * image.height);
    for (std::size_t y = 0; y < image.height; ++y) {
        const std::uint16_t* const src = image.samples.data() + y * rowSamples;
        T* const dst = padded.data() + y * step;
        for (std::size_t i = 0; i < rowSamples; i += image.channels) {
            for (std::size_t c = 0; c < image.channels; ++c) {
                dst[i + c] = static_cast<T>(src[i + image.channels - 1 - c]);
            }
        }
    }
    return padded;
}

/// The way back: image, whose size and channels are set, gets the samples. step: samples from row to row.
template <class T>
void takeLibraryRows(const std::vector<T>& padded, SImage& image, std::size_t step) {
    const std::size_t rowSamples = image.RowSamples();
    image.samples.resize(rowSamples * image.height);
    for (std::size_t y = 0; y < image.height; ++y) {
        const T* const src = padded.data() + y * step;
        std::uint16_t* const dst = image.samples.data() + y * rowSamples;
        for (std::size_t i = 0; i < rowSamples; i += image.channels) {
            for (std::size_t c = 0; c < image.channels; ++c) {
                dst[i + c] = src[i + image.channels - 1 - c];
            }
        }
    }
}
template <class T>
void takeLibraryRows(const std::vector<T>& padded, SImage& image) {
    takeLibraryRows(padded, image, paddedRowSamples<T>(image));
}

} // namespace vek::client
