// SPDX-License-Identifier: Apache-2.0
#include "imageproc/FormatConversion.h"

#include "common/Image.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace vek {

namespace {

/// A pixel of VEK_TRANSFER_BGR10 stands in the low 30 bits of 8 bytes.
constexpr unsigned long kBgr10Bytes = 8;

unsigned char bgr10Sample(std::uint64_t pixel, unsigned channel) {
    return static_cast<unsigned char>((pixel >> (10 * channel) & 0x3FF) >> 2);
}

void bgr8Row(const unsigned char* src, unsigned char* dst, unsigned long width, unsigned pixelBytes) {
    if (pixelBytes == 3) {
        std::memcpy(dst, src, 3 * width);
        return;
    }
    for (unsigned long x = 0; x < width; ++x) {
        if (pixelBytes == 1) {
            dst[x] = src[3 * x + 1];
        } else {
            std::copy_n(src + 3 * x, 3, dst + 4 * x);
        }
    }
}

void bgr10Row(const unsigned char* src, unsigned char* dst, unsigned long width, unsigned pixelBytes) {
    for (unsigned long x = 0; x < width; ++x) {
        std::uint64_t pixel = 0;
        std::memcpy(&pixel, src + kBgr10Bytes * x, sizeof pixel);
        if (pixelBytes == 1) {
            dst[x] = bgr10Sample(pixel, 1);
            continue;
        }
        for (unsigned channel = 0; channel < 3; ++channel) {
            dst[pixelBytes * x + channel] = bgr10Sample(pixel, channel);
        }
    }
}

/// The whole image as a band.
void convert(const rows::SRowTable& kernels, const SFormatConversionStage& stage,
             const SImage<const unsigned char>& src, unsigned long dstPitch, unsigned char* dst) {
    stage.Rows(kernels, {src.width, src.height}, SBand<unsigned char>{src, {dstPitch, dst}, 0, src.height});
}

} // namespace

STraits SFormatConversionStage::Traits(const SFrame& /*frame*/) const {
    return {.kind = EStage::Pointwise};
}

void SFormatConversionStage::Rows(const rows::SRowTable& kernels, const SFrame& frame,
                                  const SBand<unsigned char>& band) const {
    const rows::SByteRows& bytes = kernels.bytes;
    const std::size_t pixel = rows::bytePixel(pixelBytes);
    const auto forRows = [&](auto row) {
        for (unsigned long y = band.first; y < band.end; ++y) {
            row(band.src.Row(y), band.dst.Row(y));
        }
    };
    if (layout == ELayout::Bgr) {
        const auto convertRow = depth == 8 ? bgr8Row : bgr10Row;
        forRows([&](const auto* from, auto* to) { convertRow(from, to, frame.width, pixelBytes); });
    } else if (layout == ELayout::Packed) {
        const auto unpack = depth == 10 ? bytes.unpack10 : bytes.unpack12;
        forRows([&](const auto* from, auto* to) { unpack(from, to, frame.width, shift); });
    } else if (layout == ELayout::Words) {
        forRows([&](const auto* from, auto* to) {
            bytes.shift16[pixel](reinterpret_cast<const std::uint16_t*>(from), to, frame.width, shift);
        });
    } else if (pixelBytes == 1 && shift == 0) {
        forRows([&](const auto* from, auto* to) { std::memcpy(to, from, frame.width); });
    } else {
        forRows([&](const auto* from, auto* to) { bytes.shift8[pixel](from, to, frame.width, shift); });
    }
}

void imageBitShift(const rows::SRowTable& kernels, ELayout layout, const SImage<const unsigned char>& src,
                   unsigned long* dstPitch, unsigned pixelBytes, unsigned char* dst, long shift) {
    unsigned long rowBytes = roundUpTo4(src.width * pixelBytes);
    if (dstPitch != nullptr) {
        if (*dstPitch == 0) {
            *dstPitch = rowBytes;
        }
        rowBytes = *dstPitch;
    }
    if (src.width == 0) {
        return;
    }
    // A shift to the left counts modulo 32; one to the right by 31 leaves nothing of a sample.
    const auto rowShift = static_cast<int>(
        shift >= 0 ? std::min(shift, 31L) : -static_cast<long>((0 - static_cast<unsigned long>(shift)) & 31));
    // Without a shift, rows of one channel are the first bytes of the source's, of words, too.
    const bool copied = pixelBytes == 1 && shift == 0;
    convert(kernels, {copied ? ELayout::Bytes : layout, 8, rowShift, pixelBytes}, src, rowBytes, dst);
}

void imageUnpackAndBitShift(const rows::SRowTable& kernels, const SImage<const unsigned char>& src, unsigned srcBits,
                            unsigned long* dstPitch, unsigned char* dst) {
    if (dstPitch != nullptr) {
        *dstPitch = src.width;
    }
    if (src.width == 0) {
        return;
    }
    convert(kernels, {ELayout::Packed, srcBits, static_cast<int>(srcBits) - 8, 1}, src, src.width, dst);
}

void convGrayToBGRImage(const rows::SRowTable& kernels, const STransferFormat& format,
                        const SImage<const unsigned char>& src, unsigned long* dstPitch, unsigned pixelBytes,
                        unsigned char* dst) {
    if (format.IsPacked()) {
        imageUnpackAndBitShift(kernels, src, format.depth, dstPitch, dst);
    } else {
        imageBitShift(kernels, format.layout, src, dstPitch, pixelBytes, dst, format.ShiftToByte());
    }
}

void convBGRToBGR(const rows::SRowTable& kernels, const STransferFormat& format, unsigned long pixels,
                  const unsigned char* src, unsigned pixelBytes, unsigned char* dst) {
    if (pixels == 0) {
        return;
    }
    // One long row: there is no padding.
    convert(kernels, {ELayout::Bgr, format.depth, 0, pixelBytes}, {pixels, 1, 0, src}, 0, dst);
}

} // namespace vek
