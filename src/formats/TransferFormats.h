// SPDX-License-Identifier: Apache-2.0
// What is known of the driver's transfer formats, a row for each, and of the formats that the chain takes besides. The
// library, the tool and the tests take it from here; the public headers tell applications the parts that they need.
#pragma once

#include "VekTrgApi.h"
#include "VekTrgChain.h"

#include <array>
#include <string_view>

namespace vek {

/// What the pixels are.
enum class EContent {
    Raw,   ///< the sensor's samples, mono or Bayer
    Mono,  ///< grey, whatever the sensor's colour array is
    Bgr,   ///< blue, green and red
    YCrCb, ///< luma, and chroma that the pixels of a group share
};

/// How samples lie in memory.
enum class ELayout {
    Bytes,  ///< one sample a pixel
    Words,  ///< one sample a pixel, in the low bits
    Packed, ///< one sample a pixel, rows are little-endian bit streams that start at a byte
    Csi2,   ///< one sample a pixel, in groups as MIPI CSI-2 has them; rows have whole groups
    Bgr,    ///< blue, green and red of each pixel
    YCrCb,  ///< groups of luma and chroma bytes
};

using PixelFormats = std::array<int, 5>;

struct STransferFormat {
    unsigned code;         ///< enum VekTransferFormat or VekChainFormat
    std::string_view name; ///< in commands and messages
    EContent content;
    ELayout layout;
    unsigned short depth;        ///< significant bits of a sample
    unsigned short groupPixels;  ///< pixels of the smallest group that ends at a byte
    unsigned short groupBytes;   ///< and its bytes
    unsigned short reportedBits; ///< of a pixel, as the driver's clients count them; 0 for packed formats
    unsigned short colorArray;   ///< enum VekColorArray of the pixels; 0: the sensor's own
    PixelFormats pixelFormats;   ///< enum VekPixelFormat by the sensor's colour array, 1..5
    bool measurable;             ///< taken by VekCam_GetAveragePixelValue

    /// To be demosaiced, or grey; otherwise the camera has made colours of it.
    constexpr bool IsRaw() const { return content == EContent::Raw || content == EContent::Mono; }
    constexpr bool IsMono() const { return content == EContent::Mono; }
    constexpr bool IsPacked() const { return layout == ELayout::Packed; }
    /// Bytes of a row: the last byte of a packed one is filled up, so is the last group of MIPI CSI-2; a group of YCrCb
    /// pixels that is cut off ends early.
    constexpr unsigned long RowBytes(unsigned long width) const {
        if (layout == ELayout::Csi2) {
            return (width + groupPixels - 1) / groupPixels * groupBytes;
        }
        return IsPacked() ? (width * depth + 7) / 8 : width * groupBytes / groupPixels;
    }
    /// Bytes from row to row for a distance as the exports take it: samples, bytes of a packed format; 0: rows without
    /// padding. Of raw and mono formats.
    constexpr unsigned long PitchBytes(unsigned long distance, unsigned long width) const {
        return distance == 0 ? RowBytes(width) : distance * (IsPacked() ? 1U : groupBytes);
    }
    /// Enum VekColorArray of the pixels that a camera with this sensor transfers.
    constexpr unsigned short ColorArrayOf(unsigned short sensor) const { return colorArray != 0 ? colorArray : sensor; }
    /// Enum VekPixelFormat of such pixels.
    constexpr int PixelFormatOf(unsigned short array) const {
        if (content != EContent::Raw) {
            return pixelFormats[0];
        }
        return array >= VEK_COLOR_ARRAY_MONO && array <= VEK_COLOR_ARRAY_BGGR ? pixelFormats[array - 1U]
                                                                              : int{VEK_PFNC_NONE};
    }
    /// Low bits of a sample that a byte leaves out.
    constexpr unsigned ShiftToByte() const { return depth - 8U; }
};

/// A pixel format and its name in the GenICam Pixel Format Naming Convention.
struct SPixelFormatName {
    int value; ///< enum VekPixelFormat
    std::string_view name;
};
inline constexpr std::array kPixelFormatNames = {
    SPixelFormatName{VEK_PFNC_NONE, "none"},
    SPixelFormatName{VEK_PFNC_MONO8, "Mono8"},
    SPixelFormatName{VEK_PFNC_BAYER_GR8, "BayerGR8"},
    SPixelFormatName{VEK_PFNC_BAYER_RG8, "BayerRG8"},
    SPixelFormatName{VEK_PFNC_BAYER_GB8, "BayerGB8"},
    SPixelFormatName{VEK_PFNC_BAYER_BG8, "BayerBG8"},
    SPixelFormatName{VEK_PFNC_MONO10, "Mono10"},
    SPixelFormatName{VEK_PFNC_BAYER_GR10, "BayerGR10"},
    SPixelFormatName{VEK_PFNC_BAYER_RG10, "BayerRG10"},
    SPixelFormatName{VEK_PFNC_BAYER_GB10, "BayerGB10"},
    SPixelFormatName{VEK_PFNC_BAYER_BG10, "BayerBG10"},
    SPixelFormatName{VEK_PFNC_MONO12, "Mono12"},
    SPixelFormatName{VEK_PFNC_BAYER_GR12, "BayerGR12"},
    SPixelFormatName{VEK_PFNC_BAYER_RG12, "BayerRG12"},
    SPixelFormatName{VEK_PFNC_BAYER_GB12, "BayerGB12"},
    SPixelFormatName{VEK_PFNC_BAYER_BG12, "BayerBG12"},
    SPixelFormatName{VEK_PFNC_MONO14, "Mono14"},
    SPixelFormatName{VEK_PFNC_MONO16, "Mono16"},
    SPixelFormatName{VEK_PFNC_BAYER_GR16, "BayerGR16"},
    SPixelFormatName{VEK_PFNC_BAYER_RG16, "BayerRG16"},
    SPixelFormatName{VEK_PFNC_BAYER_GB16, "BayerGB16"},
    SPixelFormatName{VEK_PFNC_BAYER_BG16, "BayerBG16"},
    SPixelFormatName{VEK_PFNC_BGR8, "BGR8"},
    SPixelFormatName{VEK_PFNC_BGR10, "BGR10"},
    SPixelFormatName{VEK_PFNC_YCBCR411_8, "YCbCr411_8"},
    SPixelFormatName{VEK_PFNC_YCBCR422_8, "YCbCr422_8"},
    SPixelFormatName{VEK_PFNC_YCBCR8, "YCbCr8"},
};

namespace formats {

constexpr PixelFormats kNoPixelFormat = {VEK_PFNC_NONE, VEK_PFNC_NONE, VEK_PFNC_NONE, VEK_PFNC_NONE, VEK_PFNC_NONE};

constexpr PixelFormats always(int pixelFormat) {
    return {pixelFormat, pixelFormat, pixelFormat, pixelFormat, pixelFormat};
}

constexpr PixelFormats kRaw8 = {VEK_PFNC_MONO8, VEK_PFNC_BAYER_RG8, VEK_PFNC_BAYER_GR8, VEK_PFNC_BAYER_GB8,
                                VEK_PFNC_BAYER_BG8};
constexpr PixelFormats kRaw10 = {VEK_PFNC_MONO10, VEK_PFNC_BAYER_RG10, VEK_PFNC_BAYER_GR10, VEK_PFNC_BAYER_GB10,
                                 VEK_PFNC_BAYER_BG10};
constexpr PixelFormats kRaw12 = {VEK_PFNC_MONO12, VEK_PFNC_BAYER_RG12, VEK_PFNC_BAYER_GR12, VEK_PFNC_BAYER_GB12,
                                 VEK_PFNC_BAYER_BG12};
constexpr PixelFormats kRaw14 = {VEK_PFNC_MONO14, VEK_PFNC_NONE, VEK_PFNC_NONE, VEK_PFNC_NONE, VEK_PFNC_NONE};
constexpr PixelFormats kRaw16 = {VEK_PFNC_MONO16, VEK_PFNC_BAYER_RG16, VEK_PFNC_BAYER_GR16, VEK_PFNC_BAYER_GB16,
                                 VEK_PFNC_BAYER_BG16};

/// A raw or mono format of one sample a pixel, in a byte or a word.
constexpr STransferFormat sampled(unsigned code, std::string_view name, EContent content, unsigned short depth,
                                  const PixelFormats& pixelFormats) {
    const bool words = depth > 8;
    const auto bytes = static_cast<unsigned short>(words ? 2 : 1);
    return {code,
            name,
            content,
            words ? ELayout::Words : ELayout::Bytes,
            depth,
            1,
            bytes,
            static_cast<unsigned short>(8 * bytes),
            0,
            pixelFormats,
            content == EContent::Raw};
}

/// The same as a bit stream; 10 or 12 bits.
constexpr STransferFormat packed(unsigned code, std::string_view name, EContent content, unsigned short depth) {
    const auto pixels = static_cast<unsigned short>(depth == 10 ? 4 : 2);
    const auto bytes = static_cast<unsigned short>(pixels * depth / 8);
    return {code, name, content, ELayout::Packed, depth, pixels, bytes, 0, 0, kNoPixelFormat, content == EContent::Raw};
}

/// Samples as MIPI CSI-2 sends them: the high bytes of a group, then its low bits. groupBytes: of groupPixels.
constexpr STransferFormat csi2(unsigned code, std::string_view name, unsigned short depth, unsigned short groupPixels,
                               unsigned short groupBytes) {
    return {code, name, EContent::Raw, ELayout::Csi2, depth, groupPixels, groupBytes, 0, 0, kNoPixelFormat, false};
}

/// YCrCb bytes.
constexpr STransferFormat shared(unsigned code, std::string_view name, unsigned short pixels, unsigned short bytes,
                                 unsigned short colorArray, int pixelFormat) {
    return {code,
            name,
            EContent::YCrCb,
            ELayout::YCrCb,
            8,
            pixels,
            bytes,
            static_cast<unsigned short>(8 * bytes / pixels),
            colorArray,
            always(pixelFormat),
            false};
}

} // namespace formats

/// By code. VEK_TRANSFER_BGR10 takes 8 bytes a pixel, though it is reported with 32 bits; its pixel format is that
/// of 48.
inline constexpr std::array kTransferFormats = {
    formats::sampled(VEK_TRANSFER_RAW8, "raw8", EContent::Raw, 8, formats::kRaw8),
    formats::sampled(VEK_TRANSFER_RAW10, "raw10", EContent::Raw, 10, formats::kRaw10),
    formats::packed(VEK_TRANSFER_RAW10_PACKED, "raw10p", EContent::Raw, 10),
    formats::sampled(VEK_TRANSFER_RAW12, "raw12", EContent::Raw, 12, formats::kRaw12),
    formats::packed(VEK_TRANSFER_RAW12_PACKED, "raw12p", EContent::Raw, 12),
    formats::sampled(VEK_TRANSFER_MONO8, "mono8", EContent::Mono, 8, formats::always(VEK_PFNC_MONO8)),
    formats::sampled(VEK_TRANSFER_MONO10, "mono10", EContent::Mono, 10, formats::always(VEK_PFNC_MONO10)),
    formats::packed(VEK_TRANSFER_MONO10_PACKED, "mono10p", EContent::Mono, 10),
    formats::sampled(VEK_TRANSFER_MONO12, "mono12", EContent::Mono, 12, formats::always(VEK_PFNC_MONO12)),
    formats::packed(VEK_TRANSFER_MONO12_PACKED, "mono12p", EContent::Mono, 12),
    STransferFormat{VEK_TRANSFER_BGR8, "bgr8", EContent::Bgr, ELayout::Bgr, 8, 1, 3, 24, 0,
                    formats::always(VEK_PFNC_BGR8), false},
    STransferFormat{VEK_TRANSFER_BGR10, "bgr10", EContent::Bgr, ELayout::Bgr, 10, 1, 8, 32, 0,
                    formats::always(VEK_PFNC_BGR10), false},
    formats::shared(VEK_TRANSFER_YCRCB411, "ycrcb411", 4, 6, VEK_COLOR_ARRAY_YCRCB411, VEK_PFNC_YCBCR411_8),
    formats::shared(VEK_TRANSFER_YCRCB422, "ycrcb422", 2, 4, VEK_COLOR_ARRAY_YCRCB422, VEK_PFNC_YCBCR422_8),
    formats::shared(VEK_TRANSFER_YCRCB444, "ycrcb444", 1, 3, VEK_COLOR_ARRAY_YCRCB444, VEK_PFNC_YCBCR8),
    formats::shared(VEK_TRANSFER_YCRCB411_BT709, "ycrcb411-bt709", 4, 6, VEK_COLOR_ARRAY_YCRCB411_BT709, VEK_PFNC_NONE),
    formats::shared(VEK_TRANSFER_YCRCB422_BT709, "ycrcb422-bt709", 2, 4, VEK_COLOR_ARRAY_YCRCB422_BT709, VEK_PFNC_NONE),
    formats::shared(VEK_TRANSFER_YCRCB444_BT709, "ycrcb444-bt709", 1, 3, VEK_COLOR_ARRAY_YCRCB444_BT709, VEK_PFNC_NONE),
    formats::sampled(VEK_TRANSFER_RAW14, "raw14", EContent::Raw, 14, formats::kRaw14),
    formats::sampled(VEK_TRANSFER_RAW16, "raw16", EContent::Raw, 16, formats::kRaw16),
    formats::sampled(VEK_TRANSFER_MONO14, "mono14", EContent::Mono, 14, formats::always(VEK_PFNC_MONO14)),
    formats::sampled(VEK_TRANSFER_MONO16, "mono16", EContent::Mono, 16, formats::always(VEK_PFNC_MONO16)),
};

/// Formats of frames that the chain takes and the driver does not have, by code.
inline constexpr std::array kChainFormats = {
    formats::csi2(VEK_CHAIN_CSI2_RAW10, "raw10-csi2", 10, 4, 5),
    formats::csi2(VEK_CHAIN_CSI2_RAW12, "raw12-csi2", 12, 2, 3),
    formats::csi2(VEK_CHAIN_CSI2_RAW14, "raw14-csi2", 14, 4, 7),
};

/// Null for a code that is none.
constexpr const STransferFormat* transferFormat(unsigned long code) {
    return code < kTransferFormats.size() ? &kTransferFormats[code] : nullptr;
}

/// The format whose pixels a YCrCb colour array tells; null for another array.
constexpr const STransferFormat* yCrCbFormat(unsigned colorArray) {
    for (const STransferFormat& format : kTransferFormats) {
        if (format.content == EContent::YCrCb && format.colorArray == colorArray) {
            return &format;
        }
    }
    return nullptr;
}

/// A transfer format or one that the chain takes besides; null for a code that is none.
constexpr const STransferFormat* chainFormat(unsigned long code) {
    for (const STransferFormat& format : kChainFormats) {
        if (format.code == code) {
            return &format;
        }
    }
    return transferFormat(code);
}

static_assert([] {
    for (unsigned code = 0; code < kTransferFormats.size(); ++code) {
        if (kTransferFormats[code].code != code) {
            return false;
        }
    }
    return true;
}());

} // namespace vek
