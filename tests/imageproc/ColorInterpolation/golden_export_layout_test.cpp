// SPDX-License-Identifier: Apache-2.0
// Layout of the exported function's output: the row padding and the samples between the colours.
#include "support/HandleTest.h"

#include <vector>

namespace vek::test {

namespace {

class CExportLayout : public CHandleTest {};

} // namespace

// 5 pixels of 3 bytes are 15; rows take 16.
TEST_F(CExportLayout, ColorRowsArePaddedTo4Bytes) {
    const std::vector<std::uint8_t> src{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    std::vector<std::uint8_t> dst(32, 170);
    EXPECT_EQ(VekCam_ColorInterpolation(mHandle, 5, 2, VEK_COLOR_ARRAY_MONO, src.data(), dst.data(), 0, 4, 8), 0);
    EXPECT_EQ(dst, (std::vector<std::uint8_t>{1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5,  5,  5,  170,
                                              6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10, 10, 170}));
}

TEST_F(CExportLayout, GrayRowsArePaddedTo4Bytes) {
    const std::vector<std::uint8_t> src{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    std::vector<std::uint8_t> dst(16, 170);
    EXPECT_EQ(VekCam_ColorInterpolation(mHandle, 5, 2, VEK_COLOR_ARRAY_RGGB, src.data(), dst.data(), 0, 1, 8), 0);
    EXPECT_EQ(dst, (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 170, 170, 170, 6, 7, 8, 9, 10, 170, 170, 170}));
}

TEST_F(CExportLayout, FourthByteStays) {
    const std::vector<std::uint8_t> src{1, 2, 3, 4}; // R G / G B
    std::vector<std::uint8_t> dst(16, 170);
    EXPECT_EQ(VekCam_ColorInterpolation(mHandle, 2, 2, VEK_COLOR_ARRAY_RGGB, src.data(), dst.data(), 1, 8, 8), 0);
    EXPECT_EQ(dst, (std::vector<std::uint8_t>{0, 0, 1, 170, 0, 2, 0, 170, 0, 3, 0, 170, 4, 0, 0, 170}));
}

TEST_F(CExportLayout, FourthWordStays) {
    const std::vector<std::uint16_t> src{1000, 2000, 3000, 4000}; // B G / G R
    std::vector<std::uint16_t> dst(16, 170);
    EXPECT_EQ(VekCam_ColorInterpolation(mHandle, 2, 2, VEK_COLOR_ARRAY_BGGR, src.data(), dst.data(), 1, 512, 12), 0);
    EXPECT_EQ(dst, (std::vector<std::uint16_t>{1000, 0, 0, 170, 0, 2000, 0, 170, 0, 3000, 0, 170, 0, 0, 4000, 170}));
}

// Samples above the stated depth are not clamped.
TEST_F(CExportLayout, DepthIsNotEnforced) {
    const std::vector<std::uint16_t> src{65535, 1, 1024, 4096};
    std::vector<std::uint16_t> dst(4, 170);
    EXPECT_EQ(VekCam_ColorInterpolation(mHandle, 4, 1, VEK_COLOR_ARRAY_MONO, src.data(), dst.data(), 0, 16, 10), 0);
    EXPECT_EQ(dst, src);
}

} // namespace vek::test
