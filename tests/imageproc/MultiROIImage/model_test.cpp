// SPDX-License-Identifier: Apache-2.0
// Multi-ROI assembly against the plain model: the bookkeeping of one axis, and whole layouts, frames and blocks.
#include "imageproc/MultiROIImage.h"
#include "imageproc/MultiROIImage/MultiROICalls.h"
#include "imageproc/MultiROIImage/MultiROIModel.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace vek::test {

namespace {

// Upper 16 bits of the formats that cameras deliver, with any code below: 8, 16, 12, 24 and 48 bits a pixel.
constexpr unsigned long kFormats[] = {0x01080009, 0x01100011, 0x020C005A, 0x02180015, 0x02300019};

::testing::AssertionResult axisMatches(const CManageOffset& axis, const CAxisModel& model, unsigned long end) {
    const auto intervals = model.Intervals();
    if (axis.Intervals().size() != intervals.size()) {
        return ::testing::AssertionFailure() << axis.Intervals().size() << " intervals, not " << intervals.size();
    }
    for (std::size_t i = 0; i < intervals.size(); ++i) {
        const SOFFSET_AND_SIZE& interval = axis.Intervals()[i];
        if (interval.offset != intervals[i].first || interval.size != intervals[i].second) {
            return ::testing::AssertionFailure()
                   << "interval " << i << " is {" << interval.offset << ", " << interval.size << "}, not {"
                   << intervals[i].first << ", " << intervals[i].second << "}";
        }
    }
    if (axis.GetSize() != model.Size()) {
        return ::testing::AssertionFailure() << "size " << axis.GetSize() << ", not " << model.Size();
    }
    for (unsigned long position = 0; position <= end; ++position) {
        if (axis.GetOffset(position) != model.Offset(position)) {
            return ::testing::AssertionFailure() << "position " << position << " moves by " << axis.GetOffset(position)
                                                 << ", not " << model.Offset(position);
        }
    }
    return ::testing::AssertionSuccess();
}

/// One module, its model, and the frames that go to both.
class CMultiROIModelTest : public ::testing::Test {
protected:
    CMultiROIModelTest() : mModule(makeMultiROIImage()) {}

    void Update(const std::vector<SRegionSlot>& slots, int type, unsigned alignment) {
        CScriptedRegions camera;
        camera.mSlots = slots;
        camera.mType = type;
        EXPECT_FALSE(mModule->UpdateROIInfo(&camera, alignment));
        EXPECT_TRUE(camera.mAllZeroed);
        EXPECT_EQ(camera.mCountHCalls, 0);
        EXPECT_EQ(camera.mAsked.size(), slots.size());
        for (std::size_t i = 0; i < camera.mAsked.size(); ++i) {
            EXPECT_EQ(camera.mAsked[i], i);
        }
        std::vector<SRegionModel> regions;
        for (const SRegionSlot& slot : slots) {
            if (slot.Counts()) {
                regions.push_back(slot.Region());
            }
        }
        mModel.Update(regions, static_cast<unsigned>(type), alignment);
        EXPECT_TRUE(SizesMatch());
    }

    ::testing::AssertionResult SizesMatch() {
        if (mModule->GetROICount() != mModel.Regions().size()) {
            return ::testing::AssertionFailure()
                   << mModule->GetROICount() << " regions, not " << mModel.Regions().size();
        }
        for (const int axis : {0, 1}) {
            if (mModule->GetCombiningImageSize(axis) != mModel.Size(axis)) {
                return ::testing::AssertionFailure() << "axis " << axis << ": " << mModule->GetCombiningImageSize(axis)
                                                     << " covered, not " << mModel.Size(axis);
            }
        }
        if (mModule->GetCombiningImageLinePitch() != mModel.Pitch()) {
            return ::testing::AssertionFailure()
                   << "pitch " << mModule->GetCombiningImageLinePitch() << ", not " << mModel.Pitch();
        }
        return ::testing::AssertionSuccess();
    }

    /// What came back from an addition, data being what went in.
    ::testing::AssertionResult ResultMatches(const void* result, CMultiROIModel::Result expected, const void* data) {
        switch (expected) {
        case CMultiROIModel::Result::Null:
            if (result != nullptr) {
                return ::testing::AssertionFailure() << "an unfinished image came back";
            }
            break;
        case CMultiROIModel::Result::Data:
            if (result != data) {
                return ::testing::AssertionFailure() << "the data did not come back";
            }
            break;
        case CMultiROIModel::Result::Buffer: {
            if (result == nullptr || result == data) {
                return ::testing::AssertionFailure() << "no image came back";
            }
            const std::vector<std::uint8_t> image = mModel.Image();
            const auto* const bytes = static_cast<const std::uint8_t*>(result);
            const auto differ = std::mismatch(image.begin(), image.end(), bytes);
            if (differ.first != image.end()) {
                const auto at = static_cast<unsigned long>(differ.second - bytes);
                return ::testing::AssertionFailure()
                       << "byte " << at % mModel.Pitch() << " of row " << at / mModel.Pitch() << " is "
                       << int{*differ.second} << ", not " << int{*differ.first};
            }
            break;
        }
        }
        return SizesMatch();
    }

    /// A frame of exactly so many bytes; what lies behind it may not be read.
    ::testing::AssertionResult AddFrame(unsigned long frameId, std::size_t size, unsigned long format, Flush flush) {
        CGuardedBuffer<std::uint8_t> frame(size, flush);
        fillSamples(frame.data(), size, Pattern::Random, 8, mRandom);
        const std::vector<std::uint8_t> before(frame.data(), frame.data() + size);
        void* const result = mModule->AddImageData(frameId, frame.data(), size, format);
        const auto expected = mModel.AddFrame(frameId, before.data(), size, format);
        if (!std::equal(before.begin(), before.end(), frame.data()) || !frame.CanaryIntact()) {
            return ::testing::AssertionFailure() << "the frame was written to";
        }
        return ResultMatches(result, expected, frame.data());
    }

    /// A block with so many bytes between the rows; the last row has none behind it. Its size is not given.
    ::testing::AssertionResult AddBlock(unsigned long frameId, unsigned long format, const SRegionModel& region,
                                        unsigned long padding, Flush flush) {
        const unsigned long rowBytes = modelLinePitch(format, region.width, 1, 0);
        const unsigned long pitch = rowBytes + padding;
        CGuardedBuffer<std::uint8_t> block((region.height - 1) * pitch + rowBytes, flush);
        fillSamples(block.data(), block.size(), Pattern::Random, 8, mRandom);
        const unsigned long given = padding == 0 && mRandom.Below(2) == 0 ? 0 : pitch;
        void* const result = mModule->AddImageData(frameId, block.data(), mRandom.Below(2) == 0 ? 0 : block.size(),
                                                   format, region.x, region.y, region.width, region.height, given);
        const auto expected = mModel.AddBlock(frameId, block.data(), format, region, given);
        return ResultMatches(result, expected, block.data());
    }

    /// Every region's place in a frame that cannot be read, with each output left out in turn.
    ::testing::AssertionResult PlacesMatch(unsigned long dataSize, unsigned long format) {
        CGuardedBuffer<std::uint8_t> unreadable(0, Flush::Left);
        std::uint8_t* const data = unreadable.data() - 1;
        for (unsigned index = 0; index < mModel.Regions().size() + 2; ++index) {
            const auto expected = mModel.Place(index, dataSize, format);
            for (unsigned missing = 0; missing <= 5; ++missing) {
                RegionNumbers out{91, 92, 93, 94, 95};
                RegionNumbers wanted = out;
                if (expected) {
                    wanted = {static_cast<unsigned>(expected->region.x), static_cast<unsigned>(expected->region.y),
                              static_cast<unsigned>(expected->region.width),
                              static_cast<unsigned>(expected->region.height), static_cast<unsigned>(expected->pitch)};
                }
                std::array<unsigned*, 5> outputs{};
                for (unsigned i = 0; i < 5; ++i) {
                    outputs[i] = &out[i];
                }
                if (missing < 5) {
                    outputs[missing] = nullptr;
                    wanted[missing] = 91 + missing;
                }
                const void* const place = mModule->GetEachROIData(index, data, dataSize, format, outputs[0], outputs[1],
                                                                  outputs[2], outputs[3], outputs[4]);
                const void* const wantedPlace = expected ? data + expected->offset : nullptr;
                if (place != wantedPlace) {
                    return ::testing::AssertionFailure() << "region " << index << " begins elsewhere";
                }
                if (out != wanted) {
                    return ::testing::AssertionFailure() << "region " << index << ", output " << missing << " missing";
                }
            }
        }
        return SizesMatch();
    }

    std::vector<SRegionSlot> RandomSlots(std::size_t count, unsigned range) {
        return randomSlots(&mRandom, count, range, 0x80000000U);
    }

    unsigned long RandomFormat() { return kFormats[mRandom.Below(std::size(kFormats))]; }

    std::size_t FrameBytes(unsigned long format) const { return modelFrameBytes(mModel.Regions(), format); }

    CRandom mRandom{20240229};
    MultiROIImagePtr mModule;
    CMultiROIModel mModel;
};

} // namespace

TEST(CMultiROILinePitch, EveryDepth) {
    for (unsigned long bits = 0; bits <= 255; ++bits) {
        for (const unsigned pixels : {0U, 1U, 2U, 3U, 7U, 8U, 9U, 640U, 65535U, 0xFFFFFFU}) {
            for (const unsigned alignment : {0U, 1U, 2U, 3U, 4U, 7U, 12U, 64U, 4096U}) {
                for (const unsigned extra : {0U, 1U, 17U}) {
                    const unsigned long format = 0xFFFFFFFF00000000UL | 0x0200FFFFUL | bits << 16;
                    ASSERT_EQ(CMultiROIImage::GetLinePitch(format, pixels, alignment, extra),
                              modelLinePitch(format, pixels, alignment, extra))
                        << bits << ' ' << pixels << ' ' << alignment << ' ' << extra;
                }
            }
        }
    }
}

// The product of pixels and bits, and the sum with the extra bytes, are wider than the arguments.
TEST(CMultiROILinePitch, WideResults) {
    EXPECT_EQ(CMultiROIImage::GetLinePitch(0x00FF0000, 0xFFFFFFFF, 1, 0), 136902082529UL);
    EXPECT_EQ(CMultiROIImage::GetLinePitch(0x00100000, 0xFFFFFFFF, 1, 0), 8589934590UL);
    EXPECT_EQ(CMultiROIImage::GetLinePitch(0x00080000, 0xFFFFFFFF, 4, 0xFFFFFFFF), 8589934591UL);
}

// Up to three intervals of up to four positions in every order and arrangement.
TEST(CMultiROIAxis, EveryArrangementOfThree) {
    constexpr unsigned long kOffsets = 7;
    constexpr unsigned long kSizes = 4;
    constexpr unsigned long kAll = kOffsets * kSizes;
    for (unsigned long i = 0; i < kAll * kAll * kAll; ++i) {
        CManageOffset axis;
        CAxisModel model;
        unsigned long rest = i;
        for (int k = 0; k < 3; ++k) {
            const unsigned long offset = rest % kOffsets;
            const unsigned long size = 1 + rest / kOffsets % kSizes;
            rest /= kAll;
            axis.SetEffectiveRegion(offset, size);
            model.Add(offset, size);
        }
        ASSERT_TRUE(axisMatches(axis, model, 12)) << "arrangement " << i;
    }
}

// Many intervals, so that one addition fills several gaps at once; the total and every position after each.
TEST(CMultiROIAxis, RandomSequences) {
    CRandom random(5);
    CManageOffset axis;
    for (int round = 0; round < 1500; ++round) {
        axis.Reset();
        CAxisModel model;
        EXPECT_TRUE(axisMatches(axis, model, 3));
        const std::uint64_t count = 1 + random.Below(20);
        for (std::uint64_t k = 0; k < count; ++k) {
            const unsigned long offset = random.Below(90);
            const unsigned long size = 1 + random.Below(random.Below(6) == 0 ? 90 : 8);
            axis.SetEffectiveRegion(offset, size);
            model.Add(offset, size);
            ASSERT_TRUE(axisMatches(axis, model, 185)) << "round " << round << ", interval " << k;
        }
        axis.UpdateSize();
        ASSERT_EQ(axis.GetSize(), model.Size());
    }
}

// Coordinates are 64 bits wide: sums beyond 32 bits are not cut.
TEST(CMultiROIAxis, WideCoordinates) {
    CManageOffset axis;
    axis.SetEffectiveRegion(0xFFFFFFF0UL, 0x20);
    axis.SetEffectiveRegion(0x300000000UL, 0xFFFFFFFFUL);
    axis.SetEffectiveRegion(0, 1);
    EXPECT_EQ(axis.GetSize(), 0x100000020UL);
    EXPECT_EQ(axis.GetOffset(0xFFFFFFF0UL), 0xFFFFFFEFUL);
    EXPECT_EQ(axis.GetOffset(0x10000000FUL), 0xFFFFFFEFUL);
    EXPECT_EQ(axis.GetOffset(0x100000010UL), 0UL);
    EXPECT_EQ(axis.GetOffset(0x300000005UL), 0x300000005UL - 0x21 - 5);
    EXPECT_EQ(axis.GetOffset(0x3FFFFFFFEUL), 0x300000005UL - 0x21 - 5);
    EXPECT_EQ(axis.GetOffset(0x3FFFFFFFFUL), 0UL);
}

TEST_F(CMultiROIModelTest, NothingBeforeTheFirstUpdate) {
    EXPECT_TRUE(SizesMatch());
    mModule->ClearInsideImageBuffer();
    std::uint8_t data[16] = {};
    EXPECT_EQ(mModule->AddImageData(0, data, sizeof data, 0x00080000), nullptr);
    RegionNumbers out{1, 2, 3, 4, 5};
    EXPECT_EQ(eachROI(*mModule, 0, data, sizeof data, 0x00080000, &out), nullptr);
    EXPECT_EQ(out, (RegionNumbers{1, 2, 3, 4, 5}));
    EXPECT_TRUE(SizesMatch());
}

// Whole frames: every kind of layout, frames too short for some blocks, frames of equal and of changing identifiers,
// changing formats, and layouts that follow one another.
TEST_F(CMultiROIModelTest, RandomHistoriesOfFrames) {
    for (int round = 0; round < 2000; ++round) {
        const int types[] = {0, 0, 0, 1, 3, -1, 2, 2};
        const unsigned alignments[] = {1, 1, 0, 4, 3, 64};
        Update(RandomSlots(mRandom.Below(9), mRandom.Below(4) == 0 ? 40 : 12), types[mRandom.Below(8)],
               alignments[mRandom.Below(6)]);
        ASSERT_FALSE(HasFailure()) << "round " << round;
        unsigned long format = RandomFormat();
        for (int step = 0; step < 8; ++step) {
            if (mRandom.Below(4) == 0) {
                format = RandomFormat();
            }
            const std::size_t whole = FrameBytes(format);
            const std::size_t size = mRandom.Below(3) == 0 ? mRandom.Below(whole + 3) : whole;
            ASSERT_TRUE(PlacesMatch(size, format)) << "round " << round;
            ASSERT_TRUE(AddFrame(mRandom.Below(3), size, format, kFlushes[mRandom.Below(2)]))
                << "round " << round << ", step " << step;
            if (mRandom.Below(3) == 0) {
                mModule->ClearInsideImageBuffer();
                mModel.Clear();
            }
        }
    }
}

// Single blocks in any order, repeated and left out, with and without padding behind their rows.
TEST_F(CMultiROIModelTest, RandomHistoriesOfBlocks) {
    for (int round = 0; round < 2000; ++round) {
        const unsigned alignments[] = {1, 4, 7};
        Update(RandomSlots(1 + mRandom.Below(7), 12), static_cast<int>(mRandom.Below(2)), alignments[mRandom.Below(3)]);
        ASSERT_FALSE(HasFailure()) << "round " << round;
        if (mModel.Regions().empty()) {
            continue;
        }
        const unsigned long format = RandomFormat();
        unsigned long frameId = mRandom.Below(4) == 0 ? ~0UL : 0;
        for (int step = 0; step < 20; ++step) {
            if (mRandom.Below(6) == 0) {
                frameId = mRandom.Next();
            }
            const SRegionModel& region = mModel.Regions()[mRandom.Below(mModel.Regions().size())];
            ASSERT_TRUE(AddBlock(frameId, mRandom.Below(20) == 0 ? RandomFormat() : format, region,
                                 mRandom.Below(3) == 0 ? mRandom.Below(20) : 0, kFlushes[mRandom.Below(2)]))
                << "round " << round << ", step " << step;
            if (mRandom.Below(5) == 0) {
                mModule->ClearInsideImageBuffer();
                mModel.Clear();
            }
        }
    }
}

// A block need not be a region: it goes where its corner goes, as wide and high as the call says.
TEST_F(CMultiROIModelTest, BlocksThatAreNoRegions) {
    for (int round = 0; round < 300; ++round) {
        Update(RandomSlots(2 + mRandom.Below(5), 16), 0, 1);
        unsigned long frameId = static_cast<unsigned long>(round) * 100;
        for (int step = 0; step < 20; ++step) {
            frameId += mRandom.Below(3) == 0 ? 1 : 0;
            const SRegionModel block{mRandom.Below(26), mRandom.Below(26), 1 + mRandom.Below(14),
                                     1 + mRandom.Below(14)};
            ASSERT_TRUE(AddBlock(frameId, 0x00080000, block, mRandom.Below(3), kFlushes[mRandom.Below(2)]))
                << "round " << round << ", step " << step;
        }
        // What is in the buffer now, as far as a whole frame shows it.
        for (const SRegionModel& region : mModel.Regions()) {
            ASSERT_TRUE(AddBlock(frameId + 1, 0x00080000, region, 0, Flush::Right)) << "round " << round;
        }
    }
}

// Sensors as large as the driver's 16-bit numbers allow, sparsely covered.
TEST_F(CMultiROIModelTest, LargeSensors) {
    Update({{0, 65534, 259, 2, 1, true}, {65535, 0, 1, 3, 1, true}, {65276, 65534, 259, 2, 1, true}}, 0, 4);
    for (const unsigned long format : kFormats) {
        ASSERT_TRUE(AddFrame(1, FrameBytes(format), format, Flush::Right));
        ASSERT_TRUE(PlacesMatch(FrameBytes(format), format));
    }
    Update({{131, 7, 131, 3, 1, true}, {0, 0, 67, 5, 1, true}, {100, 5, 67, 5, 1, true}}, 0, 1);
    for (const unsigned long format : kFormats) {
        ASSERT_TRUE(AddFrame(2, FrameBytes(format), format, Flush::Right));
        ASSERT_TRUE(AddFrame(2, FrameBytes(format) - 1, format, Flush::Right));
        ASSERT_TRUE(PlacesMatch(FrameBytes(format) - 1, format));
    }
}

// A great number of slots, each of which is asked.
TEST_F(CMultiROIModelTest, ManySlots) {
    std::vector<SRegionSlot> slots(1200);
    for (unsigned i = 0; i < slots.size(); ++i) {
        slots[i] = {i * 7 % 1200 * 2, i * 11 % 1200 * 3, 1 + i % 3, 1 + i % 2, 1, true};
    }
    Update(slots, 0, 1);
    ASSERT_TRUE(AddFrame(1, FrameBytes(0x00080000), 0x00080000, Flush::Right));
}

// Whatever the camera throws ends the scan, and the regions kept so far stand.
TEST_F(CMultiROIModelTest, ExceptionsEndTheScan) {
    const std::function<void()> throwers[] = {[] { throw std::runtime_error("camera"); },
                                              [] { throw std::bad_alloc(); }, [] { throw 7; }};
    for (const auto& thrower : throwers) {
        for (std::size_t at = 0; at < 4; ++at) {
            CScriptedRegions camera;
            camera.mSlots = {{0, 0, 3, 2}, {9, 9, 0, 2}, {5, 0, 4, 2}, {20, 8, 2, 1}, {30, 0, 1, 1}};
            camera.mThrowingSlot = at;
            camera.mOnSlot = thrower;
            bool returned = true;
            ASSERT_NO_THROW(returned = mModule->UpdateROIInfo(&camera, 1));
            EXPECT_FALSE(returned);
            EXPECT_EQ(camera.mAsked.size(), at + 1);
            std::vector<SRegionModel> kept;
            if (at > 0) {
                kept.push_back({0, 0, 3, 2});
            }
            if (at > 2) {
                kept.push_back({5, 0, 4, 2});
            }
            mModel.Update(kept, 0, 1);
            EXPECT_TRUE(SizesMatch()) << at;
            EXPECT_TRUE(AddFrame(at, FrameBytes(0x00080000), 0x00080000, Flush::Right));
        }
        CScriptedRegions camera;
        camera.mSlots = {{0, 0, 3, 2}};
        camera.mOnCount = thrower;
        ASSERT_NO_THROW(mModule->UpdateROIInfo(&camera, 1));
        EXPECT_EQ(mModule->GetROICount(), 0U);
        EXPECT_EQ(mModule->GetCombiningImageSize(0), 0U);
        EXPECT_TRUE(camera.mAsked.empty());

        CScriptedRegions untyped;
        untyped.mSlots = {{0, 0, 3, 2}};
        untyped.mOnType = thrower;
        ASSERT_NO_THROW(mModule->UpdateROIInfo(&untyped, 1));
        EXPECT_EQ(mModule->GetROICount(), 0U);
        EXPECT_TRUE(untyped.mAsked.empty());
    }
}

// Blocks beyond the right or lower edge, with coordinates near the ends of their type: dropped, nothing is written.
TEST_F(CMultiROIModelTest, BlocksOutsideAreNotCopied) {
    Update({{10, 20, 8, 6}, {30, 40, 4, 2}}, 0, 1);
    constexpr unsigned long kFormat = 0x00080000;
    ASSERT_TRUE(AddFrame(1, FrameBytes(kFormat), kFormat, Flush::Right));
    constexpr unsigned long kMax = ~0UL;
    const SRegionModel outside[] = {{31, 40, 4, 2},         {30, 41, 4, 2},         {10, 20, 13, 6},
                                    {10, 20, 8, 9},         {20, 20, 1, 1},         {0, 8, 1, 1},
                                    {kMax, 20, 1, 1},       {10, kMax, 1, 1},       {10, 20, kMax, 1},
                                    {10, 20, 1, kMax},      {10, 20, kMax, kMax},   {kMax, kMax, kMax, kMax},
                                    {1UL << 63, 20, 1, 1},  {10, 1UL << 63, 1, 1},  {1UL << 32, 20, 1, 1},
                                    {10, 1UL << 32, 1, 1},  {10, 20, 1UL << 32, 1}, {10, 20, (1UL << 32) + 1, 1},
                                    {10, 20, 1, 1UL << 32}, {11, 20, kMax, 1},      {10, 21, 1, kMax},
                                    {0, 0, 1UL << 61, 1}};
    unsigned long frameId = 99;
    for (const unsigned long format : {kFormat, 0x00FF0000UL, 0x000C0000UL}) {
        for (const SRegionModel& region : outside) {
            CGuardedBuffer<std::uint8_t> unreadable(0, Flush::Left);
            for (const unsigned long pitch : {0UL, 1UL, kMax}) {
                // The first of a frame's two blocks, then the second.
                ++frameId;
                for (const bool complete : {false, true}) {
                    const void* const result =
                        mModule->AddImageData(frameId, unreadable.data() - 1, 0, format, region.x, region.y,
                                              region.width, region.height, pitch);
                    EXPECT_EQ(result != nullptr, complete)
                        << region.x << ' ' << region.y << ' ' << region.width << ' ' << region.height;
                }
            }
        }
    }
    // The buffer is as good as new.
    mModel.Update(mModel.Regions(), 0, 1);
    CScriptedRegions camera;
    camera.mSlots = {{10, 20, 8, 6}, {30, 40, 4, 2}};
    mModule->UpdateROIInfo(&camera, 1);
    ASSERT_TRUE(AddFrame(2, FrameBytes(kFormat), kFormat, Flush::Right));
}

// Formats whose pixels have no bits: rows of no bytes, and nothing is read or written.
TEST_F(CMultiROIModelTest, FormatsWithoutBits) {
    Update({{0, 0, 8, 6}, {30, 40, 4, 2}}, 0, 4);
    CGuardedBuffer<std::uint8_t> unreadable(0, Flush::Left);
    std::uint8_t* const data = unreadable.data() - 1;
    for (const unsigned long format : {0UL, 0x0200FFFFUL, ~0x00FF0000UL}) {
        mModule->AddImageData(1, data, 100, format);
        EXPECT_EQ(mModule->GetCombiningImageLinePitch(), 0U);
        mModule->ClearInsideImageBuffer();
        RegionNumbers out{};
        EXPECT_EQ(eachROI(*mModule, 1, data, 0, format, &out), data);
        EXPECT_EQ(out[4], 0U);
    }
}

// Images too large to be made: the pitch is that of the image, the blocks are dropped, and the next layout works.
TEST_F(CMultiROIModelTest, BuffersThatCannotBeMade) {
    constexpr unsigned kMost = 0xFFFFFFFF;
    const std::vector<SRegionSlot> layouts[] = {
        {{0, 0, 0x80000000, 1}, {0, 0, 1, 0x80000000}}, // 2^62 pixels
        {{0, 0, kMost, 1}, {0, 0, 1, kMost}},           // almost 2^64
        {{0, 0, kMost, 1}, {0, 0, 1, 1U << 31}, {0, 1U << 31, 1, 1U << 31}},
    };
    CGuardedBuffer<std::uint8_t> block(256, Flush::Right);
    for (const auto& slots : layouts) {
        // Each of these is a size that wraps or nearly wraps in 64 bits.
        for (const unsigned long format : {0x00080000UL, 0x00100000UL, 0x00200000UL, 0x00300000UL, 0x00FF0000UL}) {
            CScriptedRegions camera;
            camera.mSlots = slots;
            for (const unsigned alignment : {1U, 4096U, kMost}) {
                mModule->UpdateROIInfo(&camera, alignment);
                EXPECT_EQ(mModule->AddImageData(5, block.data(), 1, format, 0, 0, 1, 1, 0), nullptr);
                EXPECT_EQ(mModule->AddImageData(5, block.data(), 1, format, 0, 0, 1, 1, 0), nullptr);
                EXPECT_EQ(mModule->AddImageData(6, block.data(), block.size(), format), nullptr);
                mModule->ClearInsideImageBuffer();
            }
            mModule->UpdateROIInfo(&camera, 1);
            mModule->AddImageData(7, block.data(), 1, format, 0, 0, 1, 1, 0);
            EXPECT_EQ(mModule->GetCombiningImageLinePitch(),
                      modelLinePitch(format, mModule->GetCombiningImageSize(0), 1, 0));
        }
    }
    CScriptedRegions camera;
    camera.mSlots = {{1, 1, 4, 4}};
    mModule->UpdateROIInfo(&camera, 1);
    mModel.Update({{1, 1, 4, 4}}, 0, 1);
    ASSERT_TRUE(AddFrame(8, 16, 0x00080000, Flush::Right));
}

// A block of 2^64 bytes or a little more does not fit into any frame, though its size, cut to 64 bits, would.
TEST_F(CMultiROIModelTest, BlocksBeyond64Bits) {
    constexpr unsigned long kFormat = 0x00800000; // 16 bytes a pixel
    CGuardedBuffer<std::uint8_t> frame(256, Flush::Right);
    const std::vector<SRegionSlot> layouts[] = {
        {{0, 0, 1U << 31, 1U << 29}, {0, 0, 1, 1}},               // 2^64 bytes
        {{0, 0, 1U << 31, (1U << 29) + 1}, {0, 0, 1, 1}},         // and 2^35
        {{0, 0, 0x80000001, 1U << 29}, {3, 0, 1, 1}},             // and 2^33
        {{0, 0, 1U << 31, 1U << 28}, {0, 0, 1U << 31, 1U << 28}}, // together
    };
    for (const auto& slots : layouts) {
        CScriptedRegions camera;
        camera.mSlots = slots;
        mModule->UpdateROIInfo(&camera, 1);
        RegionNumbers out{1, 2, 3, 4, 5};
        for (unsigned index = 0; index < 3; ++index) {
            EXPECT_EQ(eachROI(*mModule, index, frame.data(), frame.size(), kFormat, &out), nullptr);
            EXPECT_EQ(out[4], 5U);
        }
        EXPECT_EQ(mModule->AddImageData(1, frame.data(), frame.size(), kFormat), nullptr);
    }
}

// Widths beyond 32 bits: nothing lands outside of what was allocated, whatever columns a block names.
TEST_F(CMultiROIModelTest, WidthsBeyond32Bits) {
    constexpr unsigned kMost = 0xFFFFFFFF;
    CGuardedBuffer<std::uint8_t> block(256, Flush::Right);
    CScriptedRegions camera;
    camera.mSlots = {{0, 0, kMost, 1}, {kMost, 0, 11, 1}}; // 2^32 + 10 columns
    for (const unsigned long format : {0x00080000UL, 0x00010000UL, 0x00200000UL}) {
        mModule->UpdateROIInfo(&camera, 1);
        EXPECT_EQ(mModule->GetCombiningImageSize(0), (1UL << 32) + 10);
        mModule->AddImageData(1, block.data(), 11, format, kMost, 0, 11, 1, 0);
        mModule->AddImageData(1, block.data(), 11, format, 0, 0, 11, 1, 0);
        mModule->AddImageData(1, block.data(), 11, format, 4, 0, 11, 1, 0);
        RegionNumbers out{};
        eachROI(*mModule, 1, block.data(), block.size(), format, &out);
    }
}

// A frame that arrives combined changes the format under a buffer that blocks have made: later blocks of that format
// stay inside of what there is.
TEST_F(CMultiROIModelTest, CombinedFramesBetweenBlocks) {
    CScriptedRegions camera;
    camera.mSlots = {{0, 0, 40, 30}};
    camera.mType = 2;
    CGuardedBuffer<std::uint8_t> block(40 * 30 * 6, Flush::Right);
    fillSamples(block.data(), block.size(), Pattern::Random, 8, mRandom);
    for (const unsigned alignment : {1U, 64U}) {
        mModule->UpdateROIInfo(&camera, alignment);
        EXPECT_NE(mModule->AddImageData(1, block.data(), 0, 0x01080009, 0, 0, 40, 30, 0), nullptr);
        EXPECT_EQ(mModule->AddImageData(1, block.data(), block.size(), 0x02300019), block.data());
        EXPECT_EQ(mModule->GetCombiningImageLinePitch(), modelLinePitch(0x02300019, 40, alignment, 0));
        const void* const image = mModule->AddImageData(1, block.data(), 0, 0x02300019, 0, 0, 40, 30, 0);
        if (image != nullptr) {
            for (unsigned row = 0; row < 30; ++row) {
                EXPECT_EQ(
                    std::memcmp(static_cast<const std::uint8_t*>(image) + row * mModule->GetCombiningImageLinePitch(),
                                block.data() + row * 240, 240),
                    0);
            }
        }
        mModule->ClearInsideImageBuffer();
    }
}

// Formats differ in their low 32 bits.
TEST_F(CMultiROIModelTest, FormatsAre32BitsWide) {
    Update({{0, 0, 4, 3}, {2, 3, 4, 3}}, 0, 1);
    ASSERT_TRUE(AddFrame(1, 24, 0x00080000, Flush::Right));
    // The same buffer: what is not overwritten stays.
    ASSERT_TRUE(AddBlock(1, 0xFFFFFFFF00080000UL, {0, 0, 4, 3}, 0, Flush::Right));
    // Another one, cleared.
    ASSERT_TRUE(AddBlock(1, 0x00080001UL, {0, 0, 4, 3}, 0, Flush::Right));
}

// Null data is refused with null, and a missing camera leaves no regions.
TEST_F(CMultiROIModelTest, NullPointers) {
    Update({{0, 0, 4, 3}, {2, 3, 4, 3}}, 0, 1);
    EXPECT_EQ(mModule->AddImageData(1, nullptr, 24, 0x00080000), nullptr);
    EXPECT_EQ(mModule->AddImageData(2, nullptr, 12, 0x00080000, 0, 0, 4, 3, 0), nullptr);
    EXPECT_EQ(mModule->AddImageData(2, nullptr, 12, 0x00080000, 0, 0, 4, 3, 0), nullptr);
    RegionNumbers out{};
    EXPECT_EQ(eachROI(*mModule, 0, nullptr, 24, 0x00080000, &out), nullptr);
    CScriptedRegions camera;
    camera.mSlots = {{0, 0, 4, 3}, {2, 3, 4, 3}};
    camera.mType = 2;
    mModule->UpdateROIInfo(&camera, 1);
    EXPECT_EQ(mModule->AddImageData(1, nullptr, 24, 0x00080000), nullptr);
    EXPECT_FALSE(mModule->UpdateROIInfo(nullptr, 1));
    EXPECT_EQ(mModule->GetROICount(), 0U);
    EXPECT_EQ(mModule->GetCombiningImageSize(0), 0U);
}

// Two modules share nothing.
TEST_F(CMultiROIModelTest, ModulesAreApart) {
    Update({{0, 0, 4, 3}, {2, 3, 4, 3}}, 0, 1);
    const MultiROIImagePtr other = makeMultiROIImage();
    EXPECT_EQ(other->GetROICount(), 0U);
    EXPECT_EQ(other->GetCombiningImageSize(0), 0U);
    ASSERT_TRUE(AddFrame(0, 24, 0x00080000, Flush::Right));
    EXPECT_EQ(other->GetCombiningImageLinePitch(), 0U);
}

} // namespace vek::test
