// SPDX-License-Identifier: Apache-2.0
// The table of transfer formats against what the public header gives applications, and against the simulated camera's
// own table, which was made without it.
#include "VekTrgApi.h"
#include "formats/ColorArrays.h"
#include "formats/TransferFormats.h"
#include "sim/TransferFormat.h"

#include <gtest/gtest.h>

namespace vek::test {

TEST(TransferFormats, AsThePublicHeaderTells) {
    for (unsigned long code = 0; code < 40; ++code) {
        const STransferFormat* const format = transferFormat(code);
        ASSERT_EQ(format != nullptr, code <= VEK_TRANSFER_MONO16) << code;
        EXPECT_EQ(VekTransferFormatBits(code), format != nullptr ? format->reportedBits : 0) << code;
        for (unsigned short sensor = 0; sensor <= 12; ++sensor) {
            EXPECT_EQ(VekTransferColorArray(code, sensor), format != nullptr ? format->ColorArrayOf(sensor) : sensor)
                << code << ", " << sensor;
            // Any array, whether the format has such pixels or not.
            EXPECT_EQ(VekTransferPixelFormat(code, sensor),
                      format != nullptr ? format->PixelFormatOf(sensor) : int{VEK_PFNC_NONE})
                << code << ", " << sensor;
        }
    }
    EXPECT_EQ(transferFormat(~0UL), nullptr);
}

TEST(TransferFormats, AsTheSimulatedCameraHasThem) {
    for (const STransferFormat& format : kTransferFormats) {
        EXPECT_EQ(sim::kTransferFormatNames[format.code], format.name);
        EXPECT_EQ(sim::transferDepth(format.code), format.depth) << format.name;
        const sim::ETransferContent content = format.content == EContent::Raw    ? sim::ETransferContent::Raw
                                              : format.content == EContent::Mono ? sim::ETransferContent::Gray
                                                                                 : sim::ETransferContent::Color;
        EXPECT_EQ(sim::transferContent(format.code), content) << format.name;
        for (unsigned width = 1; width <= 33; ++width) {
            EXPECT_EQ(sim::transferRowBytes(format.code, width), format.RowBytes(width)) << format.name << ' ' << width;
        }
    }
}

TEST(TransferFormats, BytesOfRows) {
    const auto rowOf = [](unsigned format, unsigned long width) { return transferFormat(format)->RowBytes(width); };
    EXPECT_EQ(rowOf(VEK_TRANSFER_RAW8, 5), 5U);
    EXPECT_EQ(rowOf(VEK_TRANSFER_RAW10, 5), 10U);
    EXPECT_EQ(rowOf(VEK_TRANSFER_RAW10_PACKED, 5), 7U);  // 50 bits
    EXPECT_EQ(rowOf(VEK_TRANSFER_MONO12_PACKED, 3), 5U); // 36 bits
    EXPECT_EQ(rowOf(VEK_TRANSFER_BGR8, 3), 9U);
    EXPECT_EQ(rowOf(VEK_TRANSFER_BGR10, 3), 24U);
    EXPECT_EQ(rowOf(VEK_TRANSFER_YCRCB411, 5), 7U); // the group's chroma is cut off
    EXPECT_EQ(rowOf(VEK_TRANSFER_YCRCB422_BT709, 5), 10U);
    EXPECT_EQ(rowOf(VEK_TRANSFER_YCRCB444, 5), 15U);
    EXPECT_EQ(chainFormat(VEK_CHAIN_CSI2_RAW10)->RowBytes(5), 10U); // whole groups
    EXPECT_EQ(chainFormat(VEK_CHAIN_CSI2_RAW12)->RowBytes(4), 6U);
    EXPECT_EQ(chainFormat(VEK_CHAIN_CSI2_RAW14)->RowBytes(9), 21U);
    EXPECT_EQ(chainFormat(VEK_TRANSFER_RAW8), transferFormat(VEK_TRANSFER_RAW8));
    EXPECT_EQ(chainFormat(VEK_CHAIN_CSI2_RAW14 + 1), nullptr);
}

// Each of the six arrays has its format, and no other one has.
TEST(TransferFormats, OfYCrCbArrays) {
    for (unsigned colorArray = 0; colorArray <= 20; ++colorArray) {
        const STransferFormat* const format = yCrCbFormat(colorArray);
        ASSERT_EQ(format != nullptr, isYCrCb(colorArray)) << colorArray;
        if (format != nullptr) {
            EXPECT_EQ(VekTransferColorArray(format->code, VEK_COLOR_ARRAY_MONO), colorArray);
        }
    }
}

// Distances of rows are in samples, of packed formats in bytes.
TEST(TransferFormats, BytesOfPitches) {
    EXPECT_EQ(transferFormat(VEK_TRANSFER_RAW8)->PitchBytes(7, 5), 7U);
    EXPECT_EQ(transferFormat(VEK_TRANSFER_MONO16)->PitchBytes(7, 5), 14U);
    EXPECT_EQ(transferFormat(VEK_TRANSFER_RAW12_PACKED)->PitchBytes(9, 5), 9U);
    for (const STransferFormat& format : kTransferFormats) {
        EXPECT_EQ(format.PitchBytes(0, 5), format.RowBytes(5)) << format.name;
    }
}

// Bits that are dropped on the way to bytes.
TEST(TransferFormats, ShiftsToBytes) {
    EXPECT_EQ(transferFormat(VEK_TRANSFER_MONO8)->ShiftToByte(), 0U);
    EXPECT_EQ(transferFormat(VEK_TRANSFER_RAW12_PACKED)->ShiftToByte(), 4U);
    EXPECT_EQ(transferFormat(VEK_TRANSFER_MONO16)->ShiftToByte(), 8U);
}

} // namespace vek::test
