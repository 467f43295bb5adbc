// SPDX-License-Identifier: Apache-2.0
#include "imageproc/FormatConversion/FormatConversionModel.h"

#include <cstring>

namespace vek::test {

Element modelElement(unsigned long transferFormat) {
    switch (transferFormat) {
    case 0:
    case 5:
        return Element::Bytes;
    case 1:
    case 3:
    case 6:
    case 8:
    case 18:
    case 19:
    case 20:
    case 21:
        return Element::Words;
    case 2:
    case 7:
        return Element::Packed10;
    case 4:
    case 9:
        return Element::Packed12;
    default:
        return Element::None;
    }
}

int modelShift(unsigned long transferFormat) {
    switch (transferFormat) {
    case 1:
    case 2:
    case 6:
    case 7:
        return 2;
    case 3:
    case 4:
    case 8:
    case 9:
        return 4;
    case 18:
    case 20:
        return 6;
    case 19:
    case 21:
        return 8;
    default:
        return 0;
    }
}

unsigned long modelPixelBytes(unsigned long outFormat) {
    switch (outFormat) {
    case 1:
        return 1;
    case 4:
        return 3;
    case 8:
        return 4;
    default:
        return 0;
    }
}

namespace {

bool isPacked(Element element) {
    return element == Element::Packed10 || element == Element::Packed12;
}

unsigned long packedRowBytes(unsigned long width, unsigned long bits) {
    return (bits * width + 7) / 8;
}

} // namespace

std::size_t modelSourceBytes(const SConversion& call, Element element) {
    if (call.width == 0 || call.height == 0) {
        return 0;
    }
    if (isPacked(element)) {
        const unsigned long row = packedRowBytes(call.width, element == Element::Packed10 ? 10 : 12);
        return (call.height - 1) * (call.srcPitch != 0 ? call.srcPitch : row) + row;
    }
    const unsigned long samples = (call.height - 1) * (call.srcPitch != 0 ? call.srcPitch : call.width) + call.width;
    return samples * (element == Element::Words ? 2 : 1);
}

unsigned long modelOutputPitch(const SConversion& call, Element element) {
    if (isPacked(element)) {
        return call.width;
    }
    return (call.width * modelPixelBytes(call.outFormat) + 3) / 4 * 4;
}

std::size_t modelOutputBytes(const SConversion& call, Element element, unsigned long dstPitch) {
    if (call.width == 0 || call.height == 0) {
        return 0;
    }
    if (isPacked(element)) {
        return call.width * call.height;
    }
    const unsigned long pitch = dstPitch != 0 ? dstPitch : modelOutputPitch(call, element);
    return (call.height - 1) * pitch + call.width * modelPixelBytes(call.outFormat);
}

template <class Src>
void modelBitShift(const SConversion& call, const Src* src, unsigned long* dstPitch, std::uint8_t* dst, long shift) {
    const unsigned long srcPitch = call.srcPitch != 0 ? call.srcPitch : call.width;
    const unsigned long pixelBytes = modelPixelBytes(call.outFormat);
    unsigned long pitch = modelOutputPitch(call, Element::Bytes);
    if (dstPitch != nullptr) {
        if (*dstPitch != 0) {
            pitch = *dstPitch;
        } else {
            *dstPitch = pitch;
        }
    }
    for (unsigned long y = 0; y < call.height; ++y) {
        if (shift == 0 && pixelBytes == 1) {
            std::memcpy(dst + y * pitch, src + y * srcPitch, call.width); // a block of bytes, of words, too
            continue;
        }
        for (unsigned long x = 0; x < call.width; ++x) {
            std::uint64_t value = src[y * srcPitch + x];
            if (shift > 0) {
                value = shift < 64 ? value >> shift : 0;
            } else {
                value <<= static_cast<unsigned long>(-shift) % 32;
            }
            for (unsigned long channel = 0; channel < (pixelBytes == 1 ? 1 : 3); ++channel) {
                dst[y * pitch + x * pixelBytes + channel] = static_cast<std::uint8_t>(value & 0xFF);
            }
        }
    }
}

template void modelBitShift(const SConversion&, const std::uint8_t*, unsigned long*, std::uint8_t*, long);
template void modelBitShift(const SConversion&, const std::uint16_t*, unsigned long*, std::uint8_t*, long);

/// Pixel x of a row stands in bits srcBits x x and following of the row, least significant bit first.
void modelUnpack(const SConversion& call, const std::uint8_t* src, unsigned long* dstPitch, std::uint8_t* dst,
                 unsigned srcBits) {
    const unsigned long pitch = call.srcPitch != 0 ? call.srcPitch : packedRowBytes(call.width, srcBits);
    for (unsigned long y = 0; y < call.height; ++y) {
        for (unsigned long x = 0; x < call.width; ++x) {
            unsigned value = 0;
            for (unsigned bit = 0; bit < srcBits; ++bit) {
                const unsigned long at = x * srcBits + bit;
                value |= (src[y * pitch + at / 8] >> (at % 8) & 1U) << bit;
            }
            dst[y * call.width + x] = static_cast<std::uint8_t>(value >> (srcBits - 8));
        }
    }
    if (dstPitch != nullptr) {
        *dstPitch = call.width;
    }
}

bool modelConvGray(const SConversion& call, unsigned long transferFormat, const std::uint8_t* src,
                   unsigned long* dstPitch, std::uint8_t* dst) {
    if (modelPixelBytes(call.outFormat) == 0) {
        return false;
    }
    switch (modelElement(transferFormat)) {
    case Element::Bytes:
        modelBitShift(call, src, dstPitch, dst, modelShift(transferFormat));
        return true;
    case Element::Words:
        modelBitShift(call, reinterpret_cast<const std::uint16_t*>(src), dstPitch, dst, modelShift(transferFormat));
        return true;
    case Element::Packed10:
        modelUnpack(call, src, dstPitch, dst, 10);
        return true;
    case Element::Packed12:
        modelUnpack(call, src, dstPitch, dst, 12);
        return true;
    default:
        return false;
    }
}

std::size_t modelBgrSourceBytes(const SConversion& call, unsigned long transferFormat) {
    return call.width * call.height * (transferFormat == 10 ? 3UL : 8UL);
}

void modelConvBgr(const SConversion& call, unsigned long transferFormat, const std::uint8_t* src, std::uint8_t* dst) {
    const unsigned long pixelBytes = modelPixelBytes(call.outFormat);
    if (pixelBytes == 0 || (transferFormat != 10 && transferFormat != 11)) {
        return;
    }
    for (unsigned long pixel = 0; pixel < call.width * call.height; ++pixel) {
        std::uint8_t levels[3];
        if (transferFormat == 10) {
            std::memcpy(levels, src + 3 * pixel, 3);
        } else {
            std::uint64_t word = 0;
            for (unsigned byte = 0; byte < 8; ++byte) {
                word |= std::uint64_t{src[8 * pixel + byte]} << (8 * byte);
            }
            for (unsigned channel = 0; channel < 3; ++channel) {
                levels[channel] = static_cast<std::uint8_t>((word >> (10 * channel) & 0x3FF) >> 2);
            }
        }
        if (pixelBytes == 1) {
            dst[pixel] = levels[1];
        } else {
            std::memcpy(dst + pixelBytes * pixel, levels, 3);
        }
    }
}

} // namespace vek::test
