// SPDX-License-Identifier: Apache-2.0
#include "imageproc/FormatConversion.h"

#include "Operations.h"
#include "Picture.h"
#include "VekTrgApi.h"

#include <cstdint>

namespace vek::bench {
namespace {

/// bits: of a pixel in the frame; the result has pixelBytes.
template <class T>
SOperation raw(const char* name, unsigned long transferFormat, unsigned bits, unsigned pixelBytes, bool extra = false) {
    return {name, bits, bits / 8.0 + static_cast<double>(pixelBytes),
            [=](const rows::SRowTable& table, SInput input) {
                const SSize size = input.size;
                const CPicture<T> picture({{size.width * bits / kBits<T>, size.height}, input.content}, 1);
                return conversionJob<std::uint8_t>(
                    picture, size.Pixels() * pixelBytes, [=, &table](const T* src, std::uint8_t* dst) {
                        const STransferFormat& format = kTransferFormats[transferFormat];
                        const SImage<const unsigned char> image = {size.width, size.height, format.RowBytes(size.width),
                                                                   reinterpret_cast<const unsigned char*>(src)};
                        convGrayToBGRImage(table, format, image, nullptr, pixelBytes, dst);
                    });
            },
            extra};
}

/// There is one version of these two only.
SOperation color(const char* name, unsigned long transferFormat, std::size_t sourceBytes) {
    return {name, 8, static_cast<double>(sourceBytes + 4),
            [=](const rows::SRowTable& table, SInput input) {
                const CPicture<std::uint8_t> picture(input, sourceBytes);
                return conversionJob<std::uint8_t>(
                    picture, input.size.Pixels() * 4, [=, &table](const std::uint8_t* src, std::uint8_t* dst) {
                        convBGRToBGR(table, kTransferFormats[transferFormat], input.size.Pixels(), src, 4, dst);
                    });
            },
            true};
}

} // namespace

Operations formatConversionOperations() {
    using Byte = std::uint8_t;
    using Word = std::uint16_t;
    return {raw<Byte>("unpack 10 bit to 8", VEK_TRANSFER_RAW10_PACKED, 10, 1),
            raw<Byte>("unpack 12 bit to 8", VEK_TRANSFER_RAW12_PACKED, 12, 1),
            raw<Word>("words to 8 bit", VEK_TRANSFER_RAW12, 16, 1),
            raw<Word>("words to BGR 8 bit", VEK_TRANSFER_RAW12, 16, 3, true),
            raw<Byte>("bytes to BGR 8 bit", VEK_TRANSFER_RAW8, 8, 3, true),
            color("BGR to BGRX", VEK_TRANSFER_BGR8, 3),
            color("10 bit BGR to BGRX", VEK_TRANSFER_BGR10, 8)};
}

} // namespace vek::bench
