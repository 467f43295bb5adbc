// SPDX-License-Identifier: Apache-2.0
#include "sim/node/PixelFormats.h"

#include "sim/TransferFormat.h"

#include "VekTrgApi.h"

#include <linux/videodev2.h>

#include <algorithm>
#include <string_view>

namespace vek::sim {

std::uint32_t fourCcOf(unsigned long format, int colorArray) {
    const auto bayer = [colorArray](std::uint32_t mono, std::uint32_t rggb, std::uint32_t grbg, std::uint32_t gbrg,
                                    std::uint32_t bggr) {
        const std::uint32_t codes[] = {mono, rggb, grbg, gbrg, bggr};
        return codes[colorArray - 1];
    };
    switch (format) {
    case VEK_TRANSFER_RAW8:
        return bayer(V4L2_PIX_FMT_GREY, V4L2_PIX_FMT_SRGGB8, V4L2_PIX_FMT_SGRBG8, V4L2_PIX_FMT_SGBRG8,
                     V4L2_PIX_FMT_SBGGR8);
    case VEK_TRANSFER_RAW10:
        return bayer(V4L2_PIX_FMT_Y10, V4L2_PIX_FMT_SRGGB10, V4L2_PIX_FMT_SGRBG10, V4L2_PIX_FMT_SGBRG10,
                     V4L2_PIX_FMT_SBGGR10);
    case VEK_TRANSFER_RAW12:
        return bayer(V4L2_PIX_FMT_Y12, V4L2_PIX_FMT_SRGGB12, V4L2_PIX_FMT_SGRBG12, V4L2_PIX_FMT_SGBRG12,
                     V4L2_PIX_FMT_SBGGR12);
    case VEK_TRANSFER_RAW14:
        return bayer(V4L2_PIX_FMT_Y14, V4L2_PIX_FMT_SRGGB14, V4L2_PIX_FMT_SGRBG14, V4L2_PIX_FMT_SGBRG14,
                     V4L2_PIX_FMT_SBGGR14);
    case VEK_TRANSFER_RAW16:
        return bayer(V4L2_PIX_FMT_Y16, V4L2_PIX_FMT_SRGGB16, V4L2_PIX_FMT_SGRBG16, V4L2_PIX_FMT_SGBRG16,
                     V4L2_PIX_FMT_SBGGR16);
    case VEK_TRANSFER_MONO8:
        return V4L2_PIX_FMT_GREY;
    case VEK_TRANSFER_MONO10:
        return V4L2_PIX_FMT_Y10;
    case VEK_TRANSFER_MONO12:
        return V4L2_PIX_FMT_Y12;
    case VEK_TRANSFER_MONO14:
        return V4L2_PIX_FMT_Y14;
    case VEK_TRANSFER_MONO16:
        return V4L2_PIX_FMT_Y16;
    case VEK_TRANSFER_BGR8:
        return V4L2_PIX_FMT_BGR24;
    case VEK_TRANSFER_YCRCB422:
    case VEK_TRANSFER_YCRCB422_BT709:
        return V4L2_PIX_FMT_YUYV;
    case VEK_TRANSFER_YCRCB444:
    case VEK_TRANSFER_YCRCB444_BT709:
        return v4l2_fourcc('Y', 'U', 'V', '3'); // 24-bit Y, Cb, Cr
    default:
        return v4l2_fourcc('V', 'K', '0' + format / 10, '0' + format % 10);
    }
}

std::string formatDescription(unsigned long format, int colorArray) {
    constexpr std::string_view kCells[] = {"RGRG/GBGB", "GRGR/BGBG", "GBGB/RGRG", "BGBG/GRGR"};
    switch (format) {
    case VEK_TRANSFER_BGR8:
        return "24-bit BGR 8-8-8";
    case VEK_TRANSFER_YCRCB422:
    case VEK_TRANSFER_YCRCB422_BT709:
        return "YUYV 4:2:2";
    case VEK_TRANSFER_YCRCB444:
    case VEK_TRANSFER_YCRCB444_BT709:
        return "24-bit YUV 4:4:4 8-8-8";
    case VEK_TRANSFER_RAW8:
    case VEK_TRANSFER_RAW10:
    case VEK_TRANSFER_RAW12:
    case VEK_TRANSFER_RAW14:
    case VEK_TRANSFER_RAW16:
        if (colorArray > 1) {
            return std::to_string(transferDepth(format)) + "-bit Bayer " + std::string(kCells[colorArray - 2]);
        }
        [[fallthrough]];
    case VEK_TRANSFER_MONO8:
    case VEK_TRANSFER_MONO10:
    case VEK_TRANSFER_MONO12:
    case VEK_TRANSFER_MONO14:
    case VEK_TRANSFER_MONO16:
        return std::to_string(transferDepth(format)) + "-bit Greyscale";
    default:
        return std::string(kTransferFormatNames[format]);
    }
}

bool isYCrCb(unsigned long format) {
    return format >= VEK_TRANSFER_YCRCB411 && format <= VEK_TRANSFER_YCRCB444_BT709;
}

bool isBt709(unsigned long format) {
    return format >= VEK_TRANSFER_YCRCB411_BT709 && format <= VEK_TRANSFER_YCRCB444_BT709;
}

std::vector<unsigned long> offeredFormats(int colorArray) {
    std::vector<unsigned long> formats;
    for (unsigned long format = 0; format < kTransferFormatCount; ++format) {
        const std::uint32_t code = fourCcOf(format, colorArray);
        if (std::none_of(formats.begin(), formats.end(),
                         [&](unsigned long other) { return fourCcOf(other, colorArray) == code; })) {
            formats.push_back(format);
        }
    }
    return formats;
}

std::optional<unsigned long> formatOf(std::uint32_t fourCc, int colorArray, bool bt709) {
    std::optional<unsigned long> found;
    for (unsigned long format = 0; format < kTransferFormatCount; ++format) {
        if (fourCcOf(format, colorArray) == fourCc && (!found || (bt709 && isBt709(format)))) {
            found = format;
        }
    }
    return found;
}

} // namespace vek::sim
