// SPDX-License-Identifier: Apache-2.0
#include "client/capture/VideoFormat.h"

#include <linux/videodev2.h>

#include <algorithm>
#include <array>

namespace vek::client {

namespace {

struct SRow {
    std::uint32_t fourCc;
    unsigned code;
    unsigned short colorArray;
};

/// The pixel formats of a raw format, by colour array from mono on.
constexpr std::array<SRow, 5> bayer(unsigned code, const std::array<std::uint32_t, 5>& fourCcs) {
    std::array<SRow, 5> rows{};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rows[i] = {fourCcs[i], code, static_cast<unsigned short>(VEK_COLOR_ARRAY_MONO + i)};
    }
    return rows;
}

constexpr std::array kRaw = {
    bayer(VEK_TRANSFER_RAW8,
          {V4L2_PIX_FMT_GREY, V4L2_PIX_FMT_SRGGB8, V4L2_PIX_FMT_SGRBG8, V4L2_PIX_FMT_SGBRG8, V4L2_PIX_FMT_SBGGR8}),
    bayer(VEK_TRANSFER_RAW10,
          {V4L2_PIX_FMT_Y10, V4L2_PIX_FMT_SRGGB10, V4L2_PIX_FMT_SGRBG10, V4L2_PIX_FMT_SGBRG10, V4L2_PIX_FMT_SBGGR10}),
    bayer(VEK_TRANSFER_RAW12,
          {V4L2_PIX_FMT_Y12, V4L2_PIX_FMT_SRGGB12, V4L2_PIX_FMT_SGRBG12, V4L2_PIX_FMT_SGBRG12, V4L2_PIX_FMT_SBGGR12}),
    bayer(VEK_TRANSFER_RAW14,
          {V4L2_PIX_FMT_Y14, V4L2_PIX_FMT_SRGGB14, V4L2_PIX_FMT_SGRBG14, V4L2_PIX_FMT_SGBRG14, V4L2_PIX_FMT_SBGGR14}),
    bayer(VEK_TRANSFER_RAW16,
          {V4L2_PIX_FMT_Y16, V4L2_PIX_FMT_SRGGB16, V4L2_PIX_FMT_SGRBG16, V4L2_PIX_FMT_SGBRG16, V4L2_PIX_FMT_SBGGR16}),
    bayer(VEK_CHAIN_CSI2_RAW10, {V4L2_PIX_FMT_Y10P, V4L2_PIX_FMT_SRGGB10P, V4L2_PIX_FMT_SGRBG10P, V4L2_PIX_FMT_SGBRG10P,
                                 V4L2_PIX_FMT_SBGGR10P}),
    bayer(VEK_CHAIN_CSI2_RAW12,
          {0, V4L2_PIX_FMT_SRGGB12P, V4L2_PIX_FMT_SGRBG12P, V4L2_PIX_FMT_SGBRG12P, V4L2_PIX_FMT_SBGGR12P}),
    bayer(VEK_CHAIN_CSI2_RAW14,
          {0, V4L2_PIX_FMT_SRGGB14P, V4L2_PIX_FMT_SGRBG14P, V4L2_PIX_FMT_SGBRG14P, V4L2_PIX_FMT_SBGGR14P}),
};

constexpr std::array kOthers = {
    SRow{V4L2_PIX_FMT_GREY, VEK_TRANSFER_MONO8, VEK_COLOR_ARRAY_MONO},
    SRow{V4L2_PIX_FMT_Y10, VEK_TRANSFER_MONO10, VEK_COLOR_ARRAY_MONO},
    SRow{V4L2_PIX_FMT_Y12, VEK_TRANSFER_MONO12, VEK_COLOR_ARRAY_MONO},
    SRow{V4L2_PIX_FMT_Y14, VEK_TRANSFER_MONO14, VEK_COLOR_ARRAY_MONO},
    SRow{V4L2_PIX_FMT_Y16, VEK_TRANSFER_MONO16, VEK_COLOR_ARRAY_MONO},
    SRow{V4L2_PIX_FMT_BGR24, VEK_TRANSFER_BGR8, 0},
    SRow{V4L2_PIX_FMT_YUYV, VEK_TRANSFER_YCRCB422, VEK_COLOR_ARRAY_YCRCB422},
    SRow{v4l2_fourcc('Y', 'U', 'V', '3'), VEK_TRANSFER_YCRCB444, VEK_COLOR_ARRAY_YCRCB444},
};

// Formats for which Video4Linux2 has no code: 'V', 'K' and the number in two digits.
constexpr std::uint32_t kOwn = v4l2_fourcc('V', 'K', 0, 0);
constexpr std::uint32_t kOwnMask = 0xFFFF;

std::uint32_t ownFourCc(unsigned code) {
    return kOwn | ('0' + code / 10) << 16 | ('0' + code % 10) << 24;
}

SFourCcMeaning meaningOfRow(const SRow& row) {
    return {chainFormat(row.code), row.colorArray};
}

} // namespace

std::optional<SFourCcMeaning> meaningOf(std::uint32_t fourCc) {
    // Grey samples are mono ones, whatever raw format has the same.
    for (const SRow& row : kOthers) {
        if (row.fourCc == fourCc) {
            return meaningOfRow(row);
        }
    }
    for (const auto& rows : kRaw) {
        for (const SRow& row : rows) {
            if (row.fourCc == fourCc && fourCc != 0) {
                return meaningOfRow(row);
            }
        }
    }
    for (const STransferFormat& format : kTransferFormats) {
        if ((fourCc & kOwnMask) == kOwn && ownFourCc(format.code) == fourCc) {
            return SFourCcMeaning{&format, format.IsMono() ? static_cast<unsigned short>(VEK_COLOR_ARRAY_MONO)
                                                           : format.colorArray};
        }
    }
    return std::nullopt;
}

std::optional<std::uint32_t> fourCcOf(const STransferFormat& format, unsigned short colorArray) {
    for (const auto& rows : kRaw) {
        for (const SRow& row : rows) {
            if (row.code == format.code && row.colorArray == colorArray && row.fourCc != 0) {
                return row.fourCc;
            }
        }
    }
    for (const SRow& row : kOthers) {
        if (row.code == format.code) {
            return row.fourCc;
        }
    }
    return transferFormat(format.code) != nullptr ? std::optional(ownFourCc(format.code)) : std::nullopt;
}

std::string fourCcText(std::uint32_t fourCc) {
    std::string text;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        const auto character = static_cast<char>(fourCc >> shift & 0x7F);
        text += character > ' ' && character != 0x7F ? character : '?';
    }
    return text;
}

} // namespace vek::client
