// SPDX-License-Identifier: Apache-2.0
#include "imageproc/FormatConversion.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/PixelFormat.h"
#include "formats/TransferFormats.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace vek {

namespace {

auto shiftRow(const rows::SRowTable& rows, const unsigned char*, std::size_t pixel) {
    return rows.bytes.shift8[pixel];
}
auto shiftRow(const rows::SRowTable& rows, const unsigned short*, std::size_t pixel) {
    return rows.bytes.shift16[pixel];
}

/// A pixel of VEK_TRANSFER_BGR10 stands in the low 30 bits of 8 bytes.
constexpr unsigned long kBgr10Bytes = 8;

unsigned char mBgr10Sample(std::uint64_t pixel, unsigned channel) {
    return static_cast<unsigned char>((pixel >> (10 * channel) & 0x3FF) >> 2);
}

} // namespace

template <class Src, class Dst>
void ImageBitShift(const rows::SRowTable& rows, unsigned long width, unsigned long height, unsigned long srcPitch,
                   const Src* src, unsigned long* dstPitch, unsigned long outFormat, Dst* dst, long shift) {
    static_assert(sizeof(Dst) == 1);
    const unsigned pixelBytes = byteSamples(outFormat);
    const unsigned long rowSamples = srcPitch != 0 ? srcPitch : width;
    unsigned long rowBytes = roundUpTo4(width * pixelBytes);
    if (dstPitch != nullptr) {
        if (*dstPitch == 0) {
            *dstPitch = rowBytes;
        }
        rowBytes = *dstPitch;
    }
    if (width == 0 || pixelBytes == 0) {
        return;
    }
    // A shift to the left counts modulo 32; one to the right by 31 leaves nothing of a sample.
    const auto rowShift = static_cast<int>(
        shift >= 0 ? std::min(shift, 31L) : -static_cast<long>((0 - static_cast<unsigned long>(shift)) & 31));
    const auto shiftOne = shiftRow(rows, src, rows::bytePixel(pixelBytes));
    for (unsigned long y = 0; y < height; ++y) {
        const Src* const from = src + y * rowSamples;
        Dst* const to = dst + y * rowBytes;
        if (pixelBytes == 1 && shift == 0) {
            std::memcpy(to, from, width); // bytes as they stand, of words, too
        } else {
            shiftOne(from, to, width, rowShift);
        }
    }
}
template void ImageBitShift(const rows::SRowTable&, unsigned long, unsigned long, unsigned long, const unsigned char*,
                            unsigned long*, unsigned long, unsigned char*, long);
template void ImageBitShift(const rows::SRowTable&, unsigned long, unsigned long, unsigned long, const unsigned short*,
                            unsigned long*, unsigned long, unsigned char*, long);

void ImageUnpackAndBitShift(const rows::SRowTable& rows, unsigned long width, unsigned long height,
                            unsigned long srcPitch, const unsigned char* src, unsigned long* dstPitch,
                            unsigned long /*outFormat*/, unsigned char* dst, long srcBits, long dstBits) {
    if (dstPitch != nullptr) {
        *dstPitch = width;
    }
    if (width == 0) {
        return;
    }
    const auto bits = static_cast<unsigned long>(srcBits);
    const unsigned long rowBytes = srcPitch != 0 ? srcPitch : (bits * width + 7) / 8;
    const auto unpack = srcBits == 10 ? rows.bytes.unpack10 : rows.bytes.unpack12;
    for (unsigned long y = 0; y < height; ++y) {
        unpack(src + y * rowBytes, dst + y * width, width, static_cast<int>(srcBits - dstBits));
    }
}

bool ConvGrayToBGRImage(const rows::SRowTable& rows, unsigned long width, unsigned long height, unsigned long srcPitch,
                        unsigned long code, const void* src, unsigned long* dstPitch, unsigned long outFormat,
                        unsigned char* dst) {
    if (byteSamples(outFormat) == 0) {
        return false;
    }
    const STransferFormat* const format = transferFormat(code);
    if (format == nullptr || !format->IsRaw()) {
        return false;
    }
    const auto* const bytes = static_cast<const unsigned char*>(src);
    switch (format->layout) {
    case ELayout::Packed:
        ImageUnpackAndBitShift(rows, width, height, srcPitch, bytes, dstPitch, outFormat, dst, format->depth, 8);
        break;
    case ELayout::Words:
        ImageBitShift(rows, width, height, srcPitch, static_cast<const unsigned short*>(src), dstPitch, outFormat, dst,
                      format->ShiftToByte());
        break;
    default:
        ImageBitShift(rows, width, height, srcPitch, bytes, dstPitch, outFormat, dst, 0);
        break;
    }
    return true;
}

void ConvBGRToBGR(unsigned long width, unsigned long height, unsigned long transferFormat, const void* src,
                  unsigned long outFormat, unsigned char* dst) {
    const unsigned long pixels = width * height;
    const unsigned pixelBytes = byteSamples(outFormat);
    if (pixels == 0 || pixelBytes == 0) {
        return;
    }
    const auto* const bytes = static_cast<const unsigned char*>(src);
    if (transferFormat == VEK_TRANSFER_BGR8) {
        if (pixelBytes == 3) {
            std::memcpy(dst, bytes, 3 * pixels);
            return;
        }
        for (unsigned long i = 0; i < pixels; ++i) {
            if (pixelBytes == 1) {
                dst[i] = bytes[3 * i + 1];
            } else {
                std::copy(bytes + 3 * i, bytes + 3 * i + 3, dst + pixelBytes * i);
            }
        }
        return;
    }
    for (unsigned long i = 0; i < pixels; ++i) {
        std::uint64_t pixel = 0;
        std::memcpy(&pixel, bytes + kBgr10Bytes * i, sizeof pixel);
        if (pixelBytes == 1) {
            dst[i] = mBgr10Sample(pixel, 1);
            continue;
        }
        for (unsigned channel = 0; channel < 3; ++channel) {
            dst[pixelBytes * i + channel] = mBgr10Sample(pixel, channel);
        }
    }
}

} // namespace vek
