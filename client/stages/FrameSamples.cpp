// SPDX-License-Identifier: Apache-2.0
#include "client/stages/FrameSamples.h"

#include "client/frames/RawFrame.h"
#include "client/stages/Conversion.h"

#include <algorithm>

namespace vek::client {

namespace {

/// Blue, green and red of each pixel, which stand in bytes, or in the low bits of groups of eight.
SImage bgrSamples(const STransferredFrame& frame) {
    constexpr unsigned kChannels = 3;
    const STransferFormat& format = *frame.format;
    SImage image{frame.width, frame.height, kChannels, format.depth, {}};
    image.samples.resize(image.RowSamples() * image.height);
    for (std::size_t i = 0; i < std::size_t{frame.width} * frame.height; ++i) {
        const std::uint8_t* const bytes = frame.bytes.data() + i * format.groupBytes;
        std::uint32_t pixel = 0;
        for (unsigned k = 0; k < std::min<unsigned>(format.groupBytes, 4); ++k) {
            pixel |= std::uint32_t{bytes[k]} << (8 * k);
        }
        for (unsigned k = 0; k < kChannels; ++k) {
            image.samples[kChannels * i + kChannels - 1 - k] =
                static_cast<std::uint16_t>(pixel >> (format.depth * k) & maxSample(format.depth));
        }
    }
    return image;
}

} // namespace

SImage frameSamples(const CLibraryHandle& library, STransferredFrame frame, unsigned threads) {
    if (frame.format->content == EContent::Bgr) {
        return bgrSamples(frame);
    }
    if (!frame.format->IsRaw()) {
        SConversion conversion;
        conversion.format = frame.format;
        conversion.width = frame.width;
        conversion.height = frame.height;
        conversion.colorArray = frame.colorArray;
        conversion.method = VEK_DEMOSAIC_BILINEAR_SIMPLE;
        complete(conversion);
        return CConverter(library, conversion).Developed(frame.bytes);
    }
    frame = unpackedFrame(library, std::move(frame), threads);
    const std::uint16_t largest = maxSample(frame.format->depth);
    SImage image{frame.width, frame.height, 1, frame.format->depth, {}};
    image.samples.resize(image.RowSamples() * image.height);
    if (frame.format->layout == ELayout::Bytes) {
        std::copy_n(frame.bytes.begin(), image.samples.size(), image.samples.begin());
        return image;
    }
    for (std::size_t i = 0; i < image.samples.size(); ++i) {
        image.samples[i] = std::min(wordAt(frame.bytes, i), largest);
    }
    return image;
}

} // namespace vek::client
