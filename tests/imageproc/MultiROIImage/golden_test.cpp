// SPDX-License-Identifier: Apache-2.0
// Multi-ROI assembly by hand.
#include "imageproc/MultiROIImage.h"
#include "imageproc/MultiROIImage/MultiROICalls.h"
#include "support/SampleVectors.h"
#include "support/VirtualSlot.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned long kMono8 = 0x01080001;
constexpr unsigned long kMono10 = 0x01100003;
constexpr unsigned long kYCbCr411 = 0x020C005A; // 12 bits a pixel

class CGoldenMultiROI : public ::testing::Test {
protected:
    CGoldenMultiROI() : mModule(makeMultiROIImage()) {}

    void Update(const std::vector<SRegionSlot>& slots, int type = 0, unsigned alignment = 1) {
        CScriptedRegions camera;
        camera.mSlots = slots;
        camera.mType = type;
        EXPECT_FALSE(mModule->UpdateROIInfo(&camera, alignment));
    }
    void* AddFrame(unsigned long frameId, Bytes& frame, unsigned long format = kMono8) {
        return mModule->AddImageData(frameId, frame.data(), frame.size(), format);
    }
    void* AddBlock(unsigned long frameId, Bytes& block, const SRegionModel& at, unsigned long format = kMono8) {
        return mModule->AddImageData(frameId, block.data(), block.size(), format, at.x, at.y, at.width, at.height, 0);
    }
    /// The combining image that came back.
    Bytes Image(const void* result) {
        EXPECT_NE(result, nullptr);
        if (result == nullptr) {
            return {};
        }
        const auto* const bytes = static_cast<const std::uint8_t*>(result);
        return Bytes(bytes, bytes + mModule->GetCombiningImageLinePitch() * mModule->GetCombiningImageSize(1));
    }
    /// Offset of a region in a frame, with the pitch it is given.
    std::ptrdiff_t Offset(unsigned index, Bytes& frame, unsigned pitch, unsigned long format = kMono8) {
        RegionNumbers out{};
        void* const place = eachROI(*mModule, index, frame.data(), frame.size(), format, &out);
        EXPECT_NE(place, nullptr);
        EXPECT_EQ(out[4], pitch);
        return static_cast<std::uint8_t*>(place) - frame.data();
    }

    MultiROIImagePtr mModule;
};

} // namespace

#if defined(__x86_64__)
TEST(CGoldenMultiROISlots, FollowTheInterfaceOrder) {
    using Module = IMultiROIImage;
    using Frame = void* (Module::*)(unsigned long, void*, unsigned long, unsigned long);
    using Block = void* (Module::*)(unsigned long, void*, unsigned long, unsigned long, unsigned long, unsigned long,
                                    unsigned long, unsigned long, unsigned long);
    EXPECT_EQ(slotOf(&Module::UpdateROIInfo), 1U);
    EXPECT_EQ(slotOf(&Module::GetROICount), 2U);
    EXPECT_EQ(slotOf(&Module::GetEachROIData), 3U);
    EXPECT_EQ(slotOf(static_cast<Frame>(&Module::AddImageData)), 4U);
    EXPECT_EQ(slotOf(static_cast<Block>(&Module::AddImageData)), 5U);
    EXPECT_EQ(slotOf(&Module::GetCombiningImageSize), 6U);
    EXPECT_EQ(slotOf(&Module::GetCombiningImageLinePitch), 7U);
    EXPECT_EQ(slotOf(&Module::ClearInsideImageBuffer), 8U);
}
#endif

TEST(CGoldenROIInfo, AxisZeroIsHorizontal) {
    const CROIInfo region(1, 2, 3, 4);
    EXPECT_EQ(region.GetOffset(0), 1U);
    EXPECT_EQ(region.GetOffset(1), 2U);
    EXPECT_EQ(region.GetSize(0), 3U);
    EXPECT_EQ(region.GetSize(1), 4U);
}

namespace {

using Intervals = std::vector<std::pair<unsigned long, unsigned long>>;

/// Offset and size of each interval.
Intervals intervalsOf(const CManageOffset& axis) {
    Intervals all;
    for (const SOFFSET_AND_SIZE& interval : axis.Intervals()) {
        all.emplace_back(interval.offset, interval.size);
    }
    return all;
}

/// An axis on which these were covered, one after the other.
CManageOffset axisOf(const Intervals& covered) {
    CManageOffset axis;
    for (const auto& [offset, size] : covered) {
        axis.SetEffectiveRegion(offset, size);
    }
    return axis;
}

} // namespace

// 0..99 and 200..299: position 200 comes to 100; the gap between does not move.
TEST(CGoldenManageOffset, GapsAreSqueezedOut) {
    CManageOffset axis;
    EXPECT_EQ(axis.GetSize(), 0U);
    EXPECT_EQ(axis.GetOffset(5), 0U);
    axis.SetEffectiveRegion(0, 100);
    axis.SetEffectiveRegion(200, 100);
    EXPECT_EQ(axis.GetSize(), 200U);
    EXPECT_EQ(axis.GetOffset(0), 0U);
    EXPECT_EQ(axis.GetOffset(99), 0U);
    EXPECT_EQ(axis.GetOffset(100), 0U);
    EXPECT_EQ(axis.GetOffset(199), 0U);
    EXPECT_EQ(axis.GetOffset(200), 100U);
    EXPECT_EQ(axis.GetOffset(299), 100U);
    EXPECT_EQ(axis.GetOffset(300), 0U);
}

// 0..99 and 50..149: what is covered already is cut off.
TEST(CGoldenManageOffset, OverlapsCountOnce) {
    const CManageOffset axis = axisOf({{0, 100}, {50, 100}});
    EXPECT_EQ(intervalsOf(axis), (Intervals{{0, 100}, {100, 50}}));
    EXPECT_EQ(axis.GetSize(), 150U);
}

// 50..149 before 0..99: the part in front is a piece of its own, the rest is covered.
TEST(CGoldenManageOffset, PieceInFront) {
    const CManageOffset axis = axisOf({{50, 100}, {0, 100}});
    EXPECT_EQ(intervalsOf(axis), (Intervals{{0, 50}, {50, 100}}));
    EXPECT_EQ(axis.GetSize(), 150U);
}

// 2..3 and 6..7, then 0..9: three gaps are filled by pieces 0..1, 4..5, 8..9.
TEST(CGoldenManageOffset, OneIntervalFillsSeveralGaps) {
    const CManageOffset axis = axisOf({{6, 2}, {2, 2}, {0, 10}});
    EXPECT_EQ(intervalsOf(axis), (Intervals{{0, 2}, {2, 2}, {4, 2}, {6, 2}, {8, 2}}));
    EXPECT_EQ(axis.GetSize(), 10U);
}

// Neighbours touch and stay two.
TEST(CGoldenManageOffset, NeighborsAreNotMerged) {
    const CManageOffset axis = axisOf({{4, 4}, {0, 4}, {8, 1}});
    EXPECT_EQ(axis.Intervals().size(), 3U);
    EXPECT_EQ(axis.GetSize(), 9U);
}

TEST(CGoldenManageOffset, CoveredIntervalsChangeNothing) {
    const CManageOffset axis = axisOf({{10, 20}, {10, 20}, {15, 5}, {29, 1}});
    EXPECT_EQ(axis.Intervals().size(), 1U);
    EXPECT_EQ(axis.GetSize(), 20U);
}

TEST(CGoldenManageOffset, ResetEmpties) {
    CManageOffset axis;
    axis.SetEffectiveRegion(10, 20);
    axis.Reset();
    EXPECT_EQ(axis.GetSize(), 0U);
    EXPECT_TRUE(axis.Intervals().empty());
    EXPECT_EQ(axis.GetOffset(10), 0U);
}

// 8-bit pixels: 10 of them are 12 bytes when rows are multiples of 4.
TEST(CGoldenLinePitch, RoundsUpToTheAlignment) {
    EXPECT_EQ(CMultiROIImage::GetLinePitch(kMono8, 10, 4, 0), 12U);
    EXPECT_EQ(CMultiROIImage::GetLinePitch(kMono8, 12, 4, 0), 12U);
    EXPECT_EQ(CMultiROIImage::GetLinePitch(kMono8, 10, 1, 0), 10U);
    EXPECT_EQ(CMultiROIImage::GetLinePitch(kMono8, 10, 0, 0), 10U);
}

// The extra bytes come after the rounding.
TEST(CGoldenLinePitch, ExtraBytesAreNotRounded) {
    EXPECT_EQ(CMultiROIImage::GetLinePitch(kMono8, 10, 4, 3), 15U);
}

// Three pixels of 12 bits: (36 + 7) / 8 = 5 bytes.
TEST(CGoldenLinePitch, HalfBytesCountAsWhole) {
    EXPECT_EQ(CMultiROIImage::GetLinePitch(kYCbCr411, 3, 1, 0), 5U);
    EXPECT_EQ(CMultiROIImage::GetLinePitch(kYCbCr411, 4, 1, 0), 6U);
    EXPECT_EQ(CMultiROIImage::GetLinePitch(0, 100, 1, 0), 0U);
}

// Two regions of one band: the combining image is as wide as both together.
TEST_F(CGoldenMultiROI, TwoRegionsOfOneBand) {
    Update({{0, 0, 100, 2}, {200, 0, 100, 2}});
    EXPECT_EQ(mModule->GetROICount(), 2U);
    EXPECT_EQ(mModule->GetCombiningImageSize(0), 200U);
    EXPECT_EQ(mModule->GetCombiningImageSize(1), 2U);
    Bytes frame(400);
    frame[200] = 77; // the second region's first pixel, sensor x 200
    EXPECT_EQ(Image(AddFrame(1, frame))[100], 77);
}

TEST_F(CGoldenMultiROI, RegionsWithoutPixelsAreIgnored) {
    Update({{0, 0, 0, 2}, {5, 5, 2, 0}, {9, 9, 2, 2, 0}, {3, 4, 2, 1}});
    EXPECT_EQ(mModule->GetROICount(), 1U);
    EXPECT_EQ(mModule->GetCombiningImageSize(0), 2U);
    EXPECT_EQ(mModule->GetCombiningImageSize(1), 1U);
}

// 10 pixels, rows of 12 bytes; the padding is 0.
TEST_F(CGoldenMultiROI, PaddedRows) {
    Update({{0, 0, 10, 2}}, 0, 4);
    Bytes frame(20, 9);
    const Bytes image = Image(AddFrame(1, frame));
    EXPECT_EQ(mModule->GetCombiningImageLinePitch(), 12U);
    EXPECT_EQ(image[9], 9);
    EXPECT_EQ(image[10], 0);
    EXPECT_EQ(image[12], 9);
    EXPECT_EQ(image[23], 0);
}

// A frame is finished by as many blocks as there are regions.
TEST_F(CGoldenMultiROI, SecondBlockFinishesTheFrame) {
    Update({{0, 0, 2, 1}, {4, 0, 2, 1}});
    Bytes first{1, 2};
    Bytes second{3, 4};
    EXPECT_EQ(AddBlock(1, first, {0, 0, 2, 1}), nullptr);
    const void* const image = AddBlock(1, second, {4, 0, 2, 1});
    EXPECT_EQ(Image(image), (Bytes{1, 2, 3, 4}));
    // Further blocks of the same frame go on giving the image.
    EXPECT_EQ(AddBlock(1, second, {0, 0, 2, 1}), image);
    EXPECT_EQ(Image(image), (Bytes{3, 4, 3, 4}));
}

// Blocks are counted, not told apart: the same one twice finishes a frame of two.
TEST_F(CGoldenMultiROI, BlocksAreCounted) {
    Update({{0, 0, 2, 1}, {4, 0, 2, 1}});
    Bytes block{1, 2};
    EXPECT_EQ(AddBlock(1, block, {0, 0, 2, 1}), nullptr);
    EXPECT_EQ(Image(AddBlock(1, block, {0, 0, 2, 1})), (Bytes{1, 2, 0, 0}));
}

// Another identifier starts the count anew; the image keeps what is in it.
TEST_F(CGoldenMultiROI, NewFramesCountAnewAndKeepTheImage) {
    Update({{0, 0, 2, 1}, {4, 0, 2, 1}});
    Bytes block{1, 2};
    Bytes other{3, 4};
    EXPECT_EQ(AddBlock(1, block, {0, 0, 2, 1}), nullptr);
    EXPECT_EQ(AddBlock(2, other, {4, 0, 2, 1}), nullptr);
    EXPECT_EQ(Image(AddBlock(2, other, {4, 0, 2, 1})), (Bytes{1, 2, 3, 4}));
    mModule->ClearInsideImageBuffer();
    EXPECT_EQ(Image(AddBlock(2, other, {4, 0, 2, 1})), (Bytes{0, 0, 3, 4}));
}

// The counter starts at 0 for identifier 0, and a new layout does not reset it: the second layout's first block is the
// third of frame 0.
TEST_F(CGoldenMultiROI, CountOutlivesTheLayout) {
    Update({{0, 0, 2, 1}, {4, 0, 2, 1}});
    Bytes block{1, 2};
    EXPECT_EQ(AddBlock(0, block, {0, 0, 2, 1}), nullptr);
    EXPECT_NE(AddBlock(0, block, {0, 0, 2, 1}), nullptr);
    Update({{0, 0, 2, 1}, {4, 0, 2, 1}, {8, 0, 1, 1}});
    EXPECT_EQ(Image(AddBlock(0, block, {4, 0, 2, 1})), (Bytes{0, 0, 1, 2, 0}));
}

// A new layout drops the image, the pitch stays until the next block.
TEST_F(CGoldenMultiROI, PitchOutlivesTheLayout) {
    Update({{0, 0, 3, 1}});
    Bytes frame{1, 2, 3};
    AddFrame(1, frame);
    Update({{0, 0, 2, 1}});
    EXPECT_EQ(mModule->GetCombiningImageSize(0), 2U);
    EXPECT_EQ(mModule->GetCombiningImageLinePitch(), 3U);
    AddFrame(1, frame);
    EXPECT_EQ(mModule->GetCombiningImageLinePitch(), 2U);
}

// Another pixel format makes another image, cleared; the same one keeps it.
TEST_F(CGoldenMultiROI, AnotherFormatMakesAnotherImage) {
    Update({{0, 0, 2, 1}, {4, 0, 2, 1}});
    Bytes block{1, 2, 3, 4};
    EXPECT_EQ(AddBlock(1, block, {0, 0, 2, 1}), nullptr);
    EXPECT_EQ(Image(AddBlock(1, block, {4, 0, 2, 1}, kMono10)), (Bytes{0, 0, 0, 0, 1, 2, 3, 4}));
    EXPECT_EQ(Image(AddBlock(1, block, {0, 0, 2, 1}, kMono10)), (Bytes{1, 2, 3, 4, 1, 2, 3, 4}));
}

// A block's size is not looked at; its rows may be apart.
TEST_F(CGoldenMultiROI, RowsOfABlockMayBeApart) {
    Update({{7, 9, 2, 2}});
    Bytes block{1, 2, 99, 3, 4};
    EXPECT_EQ(Image(mModule->AddImageData(1, block.data(), 0, kMono8, 7, 9, 2, 2, 3)), (Bytes{1, 2, 3, 4}));
}

// Regions 4, 2 and 1 pixel large, a frame of 3 bytes: the first does not fit and is left out, the second begins where
// the first would have.
TEST_F(CGoldenMultiROI, BlocksThatDoNotFitAreSkipped) {
    Update({{0, 0, 4, 1}, {4, 0, 2, 1}, {6, 0, 1, 1}});
    Bytes frame{1, 2, 3};
    EXPECT_EQ(AddFrame(1, frame), nullptr); // two blocks of three
    EXPECT_EQ(Image(AddFrame(1, frame)), (Bytes{0, 0, 0, 0, 1, 2, 3}));
    // The place of a region does not move forward in that way.
    RegionNumbers out{};
    EXPECT_EQ(eachROI(*mModule, 1, frame.data(), 3, kMono8, &out), nullptr);
}

// The result is that of the last block that was taken.
TEST_F(CGoldenMultiROI, NoBlockNoImage) {
    Update({{0, 0, 4, 1}});
    Bytes frame{1, 2, 3};
    EXPECT_EQ(AddFrame(1, frame), nullptr);
    EXPECT_EQ(mModule->GetCombiningImageLinePitch(), 0U);
}

// Where regions overlap the later one is seen.
TEST_F(CGoldenMultiROI, LaterRegionsLieOnTop) {
    Update({{0, 0, 3, 1}, {1, 0, 3, 1}});
    Bytes frame{1, 2, 3, 4, 5, 6};
    EXPECT_EQ(Image(AddFrame(1, frame)), (Bytes{1, 4, 5, 6}));
}

// Columns and rows are squeezed apart from each other: a corner that neither region fills stays 0.
TEST_F(CGoldenMultiROI, DiagonalRegions) {
    Update({{10, 10, 1, 1}, {20, 30, 2, 1}});
    Bytes frame{1, 2, 3};
    EXPECT_EQ(Image(AddFrame(1, frame)), (Bytes{1, 0, 0, 0, 2, 3}));
}

// 12 bits a pixel: three pixels are 5 bytes, and the next region begins at byte 5, in rows of 9: its last byte lies in
// the row below, that of the last row behind the image.
TEST_F(CGoldenMultiROI, HalfBytesReachIntoTheNextRow) {
    Update({{0, 0, 3, 2}, {3, 0, 3, 2}});
    Bytes frame{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30};
    const Bytes image = Image(AddFrame(1, frame, kYCbCr411));
    EXPECT_EQ(mModule->GetCombiningImageLinePitch(), 9U);
    EXPECT_EQ(image, (Bytes{1, 2, 3, 4, 5, 21, 22, 23, 24, 25, 7, 8, 9, 10, 26, 27, 28, 29}));
}

// A block beyond the combining image is dropped.
// A block counts before it is looked at: one outside copies nothing, and the frame is complete with it all the same.
TEST_F(CGoldenMultiROI, BlocksOutsideCountAndAreNotCopied) {
    Update({{0, 0, 2, 1}, {0, 1, 2, 1}, {0, 2, 2, 1}});
    Bytes block{1, 2};
    EXPECT_EQ(AddBlock(1, block, {1, 0, 2, 1}), nullptr);
    EXPECT_EQ(AddBlock(1, block, {0, 3, 2, 1}), nullptr);
    EXPECT_EQ(Image(AddBlock(1, block, {0, 1, 2, 1})), (Bytes{0, 0, 1, 2, 0, 0}));
    // One outside is the last that the frame waits for.
    EXPECT_EQ(AddBlock(2, block, {0, 0, 2, 1}), nullptr);
    EXPECT_EQ(AddBlock(2, block, {0, 2, 2, 1}), nullptr);
    EXPECT_EQ(Image(AddBlock(2, block, {0, 0, 3, 1})), (Bytes{1, 2, 1, 2, 1, 2}));
}

// Without data there is nothing to copy, and no image; the block has counted.
TEST_F(CGoldenMultiROI, BlocksWithoutData) {
    Update({{0, 0, 2, 1}, {0, 1, 2, 1}});
    Bytes block{1, 2};
    EXPECT_EQ(mModule->AddImageData(1, nullptr, 2, kMono8, 0, 0, 2, 1, 0), nullptr);
    EXPECT_EQ(Image(AddBlock(1, block, {0, 1, 2, 1})), (Bytes{0, 0, 1, 2}));
    EXPECT_EQ(mModule->AddImageData(1, nullptr, 2, kMono8, 0, 0, 2, 1, 0), nullptr);
}

// An address is only worked out: without a frame there is none, and the numbers are written.
TEST_F(CGoldenMultiROI, PlacesWithoutAFrame) {
    for (const int type : {0, 2}) {
        Update({{50, 1, 3, 2}, {10, 2, 2, 2}}, type);
        RegionNumbers out{7, 7, 7, 7, 7};
        EXPECT_EQ(eachROI(*mModule, 1, nullptr, 10, kMono8, &out), nullptr);
        EXPECT_EQ(out, (RegionNumbers{10, 2, 2, 2, type == 0 ? 2U : 5U}));
        EXPECT_EQ(mModule->AddImageData(1, nullptr, 10, kMono8), nullptr);
    }
}

// Blocks lie one behind the other: 6, 4 and 2 bytes.
TEST_F(CGoldenMultiROI, PlacesOfBlocks) {
    Update({{50, 1, 3, 2}, {10, 2, 2, 2}, {0, 0, 2, 1}});
    Bytes frame(12);
    EXPECT_EQ(Offset(0, frame, 3), 0);
    EXPECT_EQ(Offset(1, frame, 2), 6);
    EXPECT_EQ(Offset(2, frame, 2), 10);
    RegionNumbers out{7, 7, 7, 7, 7};
    EXPECT_EQ(eachROI(*mModule, 3, frame.data(), 12, kMono8, &out), nullptr);
    EXPECT_EQ(eachROI(*mModule, 2, frame.data(), 11, kMono8, &out), nullptr);
    EXPECT_EQ(out, (RegionNumbers{7, 7, 7, 7, 7}));
    EXPECT_NE(eachROI(*mModule, 0, frame.data(), 12, kMono8, &out), nullptr);
    EXPECT_EQ(out, (RegionNumbers{50, 1, 3, 2, 3}));
}

// A camera that combines by itself: the frame comes back, whatever its size, and only the pitch is set.
TEST_F(CGoldenMultiROI, CombinedFramesComeBack) {
    Update({{0, 0, 3, 2}, {5, 0, 2, 2}}, 2, 4);
    Bytes frame(1);
    EXPECT_EQ(AddFrame(1, frame), frame.data());
    EXPECT_EQ(mModule->GetCombiningImageLinePitch(), 8U);
    EXPECT_EQ(AddFrame(1, frame, kMono10), frame.data());
    EXPECT_EQ(mModule->GetCombiningImageLinePitch(), 12U);
}

// A combined frame needs no regions.
TEST_F(CGoldenMultiROI, CombinedFrameWithoutRegions) {
    Update({}, 2, 1);
    Bytes frame(1);
    EXPECT_EQ(AddFrame(1, frame), frame.data());
}

// Two bands of two regions, rows of 5 bytes without the image's alignment: the second band begins below the first's 2
// rows. The size of the frame does not matter.
TEST_F(CGoldenMultiROI, PlacesInBands) {
    Update({{0, 0, 3, 2}, {5, 0, 2, 2}, {0, 9, 3, 1}, {5, 9, 2, 1}}, 2, 4);
    Bytes frame(1);
    EXPECT_EQ(Offset(0, frame, 5), 0);
    EXPECT_EQ(Offset(1, frame, 5), 3);
    EXPECT_EQ(Offset(2, frame, 5), 10);
    EXPECT_EQ(Offset(3, frame, 5), 13);
    EXPECT_EQ(Offset(3, frame, 10, kMono10), 26);
}

// Regions of one band with different heights: the last one's height counts.
TEST_F(CGoldenMultiROI, LastRegionOfABandSetsItsHeight) {
    Update({{0, 0, 4, 7}, {4, 0, 4, 2}, {0, 9, 8, 1}}, 2);
    Bytes frame(1);
    EXPECT_EQ(Offset(2, frame, 8), 16);
}

// Bands are runs in the list: a row that comes back later begins a band of its own.
TEST_F(CGoldenMultiROI, BandsAreRunsInTheList) {
    Update({{0, 0, 4, 1}, {0, 5, 4, 1}, {4, 0, 4, 1}}, 2);
    Bytes frame(1);
    EXPECT_EQ(Offset(1, frame, 8), 8);
    EXPECT_EQ(Offset(2, frame, 8), 16);
}

// In a combined frame regions stand one behind the other in list order, whatever their columns.
TEST_F(CGoldenMultiROI, RegionsOfABandFollowTheList) {
    Update({{4, 0, 3, 1}, {0, 0, 4, 1}}, 2);
    Bytes frame(1);
    EXPECT_EQ(Offset(0, frame, 7), 0);
    EXPECT_EQ(Offset(1, frame, 7), 3);
}

} // namespace vek::test
