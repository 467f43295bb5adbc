// SPDX-License-Identifier: Apache-2.0
// Decoding of multi-ROI frames through the exported function, on a scripted driver: refusals in their order, outputs
// that are left out or left alone, and random layouts and formats against the model.
#include "VekTrgApi.h"
#include "imageproc/MultiROIImage/MultiROIModel.h"
#include "support/FakeDriver.h"
#include "support/SampleTypes.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <type_traits>
#include <vector>

namespace vek::test {

namespace {

static_assert(std::is_same_v<decltype(VekCam_DecodingCombinedMultiROI),
                             int(VekCam_Handle, unsigned long, unsigned char*, unsigned char**, unsigned long*,
                                 unsigned long*, unsigned long*)>);

constexpr std::uint32_t kWhole = 0x80000000;

/// What a call reports, with a mark in whatever it leaves alone.
struct SOutputs {
    unsigned char* image;
    std::array<unsigned long, 3> numbers; ///< width, height, pitch
    bool operator==(const SOutputs&) const = default;
};
constexpr unsigned long kMarks[3] = {0xA1A2A3A4A5A6A7A8, 0xB1B2B3B4B5B6B7B8, 0xC1C2C3C4C5C6C7C8};
unsigned char gMark = 0;
constexpr SOutputs kUntouched{&gMark, {kMarks[0], kMarks[1], kMarks[2]}};

/// The low half of an output is replaced, the upper one stays.
unsigned long lowHalf(unsigned long before, unsigned long value) {
    return (before & 0xFFFFFFFF00000000) | (value & 0xFFFFFFFF);
}

constexpr int kMissingImage = 1;
constexpr int kMissingWidth = 2;
constexpr int kMissingHeight = 4;
constexpr int kMissingPitch = 8;

class CMultiROIExport : public ::testing::Test {
protected:
    CMultiROIExport() { SetCamera(8); }
    ~CMultiROIExport() override { VekCam_Close(mHandle); }

    /// A camera with so many region slots; the model starts afresh with it.
    void SetCamera(unsigned maxRois) {
        VekCam_Close(mHandle);
        mMaxRois = maxRois;
        mDriver.Describe(19, 1, maxRois);
        mDriver.mControls[VEK_CID_COLOR_ARRAY] = VEK_COLOR_ARRAY_RGGB;
        SetFormat(VEK_TRANSFER_RAW8);
        mHandle = VekCam_Open(5);
        mModel = CMultiROIModel();
    }
    void SetFormat(int format) { mDriver.mControls[VEK_CID_TRANSFER_FORMAT] = format; }
    void SetSize(std::uint64_t bytes) {
        mDriver.mControls[VEK_CID_RAW_IMAGE_SIZE] = static_cast<std::int32_t>(static_cast<std::uint32_t>(bytes));
    }
    void SetImage(std::int32_t width, std::int32_t height) {
        mDriver.mControls[VEK_CID_IMAGE_WIDTH] = width;
        mDriver.mControls[VEK_CID_IMAGE_HEIGHT] = height;
    }
    /// The slots from the first; the rest of them is not in use.
    void SetSlots(const std::vector<SRegionSlot>& slots) {
        mRegions.clear();
        mDriver.mRegions.clear();
        for (unsigned i = 0; i < mMaxRois && i < slots.size(); ++i) {
            const SRegionSlot& slot = slots[i];
            if (!slot.answers) {
                continue;
            }
            std::array<std::uint8_t, 10>& bytes = mDriver.mRegions[static_cast<std::uint8_t>(i)];
            const unsigned numbers[] = {slot.x, slot.y, slot.width, slot.height};
            for (unsigned k = 0; k < 4; ++k) {
                bytes[2 * k] = static_cast<std::uint8_t>(numbers[k]);
                bytes[2 * k + 1] = static_cast<std::uint8_t>(numbers[k] >> 8);
            }
            bytes[8] = static_cast<std::uint8_t>(i);
            bytes[9] = static_cast<std::uint8_t>(slot.enabled);
            if (slot.Counts()) {
                mRegions.push_back(slot.Region());
            }
        }
    }

    unsigned long Format() {
        const auto transfer = static_cast<unsigned long>(mDriver.mControls[VEK_CID_TRANSFER_FORMAT]);
        const auto sensor = static_cast<unsigned short>(mDriver.mControls[VEK_CID_COLOR_ARRAY]);
        return static_cast<unsigned long>(VekTransferPixelFormat(transfer, VekTransferColorArray(transfer, sensor)));
    }
    std::size_t FrameBytes() { return modelFrameBytes(mRegions, Format()); }

    int Decode(unsigned long selector, unsigned char* frame, SOutputs* out, int missing = 0) {
        *out = kUntouched;
        return VekCam_DecodingCombinedMultiROI(mHandle, selector, frame,
                                               (missing & kMissingImage) != 0 ? nullptr : &out->image,
                                               (missing & kMissingWidth) != 0 ? nullptr : &out->numbers[0],
                                               (missing & kMissingHeight) != 0 ? nullptr : &out->numbers[1],
                                               (missing & kMissingPitch) != 0 ? nullptr : &out->numbers[2]);
    }
    /// Refused, and nothing is written.
    ::testing::AssertionResult Refused(unsigned long selector, unsigned char* frame, int missing = 0) {
        mDriver.ClearLog();
        SOutputs out = kUntouched;
        const int status = Decode(selector, frame, &out, missing);
        if (status != -22) {
            return ::testing::AssertionFailure() << "selector " << selector << " gives " << status;
        }
        if (out != kUntouched) {
            return ::testing::AssertionFailure() << "selector " << selector << " is refused, but outputs are written";
        }
        return ::testing::AssertionSuccess();
    }

    /// One call that must succeed, against the model. frame: of size bytes, which the driver reports.
    ::testing::AssertionResult Matches(unsigned long selector, unsigned char* frame, std::uint64_t size, int missing) {
        SOutputs wanted = kUntouched;
        std::vector<std::uint8_t> image;
        bool buffer = false;
        mModel.Update(mRegions, mMaxRois == 8 ? 0 : kCombinedLayout, 1);
        if (mRegions.size() == 1) {
            const auto width = static_cast<unsigned long>(static_cast<long>(mDriver.mControls[VEK_CID_IMAGE_WIDTH]));
            const auto height = static_cast<unsigned long>(static_cast<long>(mDriver.mControls[VEK_CID_IMAGE_HEIGHT]));
            const auto transfer = static_cast<unsigned long>(mDriver.mControls[VEK_CID_TRANSFER_FORMAT]);
            wanted = {frame, {width, height, width * VekTransferFormatBits(transfer) / 8}};
        } else if ((missing & kMissingImage) != 0) {
            // Nothing is done.
        } else if (selector == kWhole) {
            mModel.Clear();
            const auto result = mModel.AddFrame(0, frame, size, Format());
            buffer = result == CMultiROIModel::Result::Buffer;
            image = mModel.Image();
            wanted = {result == CMultiROIModel::Result::Data ? frame : nullptr,
                      {mModel.Size(0), mModel.Size(1), mModel.Pitch()}};
        } else if (const auto place = mModel.Place(selector, size, Format())) {
            wanted = {frame + place->offset,
                      {lowHalf(kMarks[0], place->region.width), lowHalf(kMarks[1], place->region.height),
                       lowHalf(kMarks[2], place->pitch)}};
        } else {
            wanted.image = nullptr;
        }

        mDriver.ClearLog();
        SOutputs out = kUntouched;
        const int status = Decode(selector, frame, &out, missing);
        if (status != 0) {
            return ::testing::AssertionFailure() << "status " << status;
        }
        if ((missing & kMissingImage) != 0) {
            wanted.image = &gMark;
        }
        for (unsigned i = 0; i < 3; ++i) {
            if ((missing & (kMissingWidth << i)) != 0) {
                wanted.numbers[i] = kMarks[i];
            }
        }
        if (mRegions.size() == 1 && (missing & kMissingWidth) != 0 && (missing & kMissingPitch) == 0 &&
            out.numbers[2] == kMarks[2]) {
            wanted.numbers[2] = kMarks[2]; // without the width the pitch may be left alone
        }
        if (out.numbers != wanted.numbers) {
            return ::testing::AssertionFailure()
                   << "width, height, pitch " << out.numbers[0] << ", " << out.numbers[1] << ", " << out.numbers[2]
                   << ", not " << wanted.numbers[0] << ", " << wanted.numbers[1] << ", " << wanted.numbers[2];
        }
        if (buffer) {
            if (out.image == nullptr ||
                (out.image >= frame && out.image < frame + std::min<std::uint64_t>(size, FrameBytes()))) {
                return ::testing::AssertionFailure() << "no combining image";
            }
            const auto differ = std::mismatch(image.begin(), image.end(), out.image);
            if (differ.first != image.end()) {
                return ::testing::AssertionFailure() << "byte " << differ.second - out.image << " is "
                                                     << int{*differ.second} << ", not " << int{*differ.first};
            }
        } else if (out.image != wanted.image) {
            return ::testing::AssertionFailure() << "the image begins elsewhere";
        }
        return ::testing::AssertionSuccess();
    }

    /// The same on a frame of exactly so many bytes.
    ::testing::AssertionResult MatchesFrame(unsigned long selector, std::size_t size, int missing = 0) {
        SetSize(size);
        CGuardedBuffer<std::uint8_t> frame(size, kFlushes[mRandom.Below(2)]);
        fillSamples(frame.data(), size, Pattern::Random, 8, mRandom);
        const std::vector<std::uint8_t> before(frame.data(), frame.data() + size);
        const ::testing::AssertionResult result = Matches(selector, frame.data(), size, missing);
        if (!result) {
            return result;
        }
        if (!std::equal(before.begin(), before.end(), frame.data()) || !frame.CanaryIntact()) {
            return ::testing::AssertionFailure() << "the frame was written to";
        }
        return ::testing::AssertionSuccess();
    }

    std::vector<SRegionSlot> RandomSlots(std::size_t count, unsigned range) {
        return randomSlots(&mRandom, count, range, 0x80);
    }

    CRandom mRandom{31};
    CFakeDriver mDriver;
    unsigned mMaxRois = 0;
    VekCam_Handle mHandle = nullptr;
    std::vector<SRegionModel> mRegions;
    CMultiROIModel mModel;
};

} // namespace

// Nothing is asked of the driver, and nothing is written.
TEST_F(CMultiROIExport, NullHandle) {
    SetSlots({{0, 0, 2, 2}, {4, 0, 2, 2}});
    SetSize(8);
    mDriver.ClearLog();
    unsigned char frame[8] = {};
    SOutputs out = kUntouched;
    for (const unsigned long selector : {0UL, 1UL, 2UL, 0x80000000UL}) {
        EXPECT_EQ(VekCam_DecodingCombinedMultiROI(nullptr, selector, frame, &out.image, &out.numbers[0],
                                                  &out.numbers[1], &out.numbers[2]),
                  -22);
        EXPECT_EQ(VekCam_DecodingCombinedMultiROI(nullptr, selector, nullptr, nullptr, nullptr, nullptr, nullptr), -22);
    }
    EXPECT_EQ(out, kUntouched);
    EXPECT_TRUE(mDriver.Log().empty());
}

// Without an enabled region every selector is refused, before outputs and frame are looked at.
TEST_F(CMultiROIExport, NoRegions) {
    unsigned char frame[8] = {};
    SetSize(8);
    const std::vector<SRegionSlot> layouts[] = {{}, {{0, 0, 0, 2}}, {{0, 0, 2, 0}}, {{0, 0, 2, 2, 0}}};
    for (const unsigned maxRois : {8U, 4U, 0U}) {
        SetCamera(maxRois);
        for (const auto& slots : layouts) {
            SetSlots(slots);
            for (const unsigned long selector : {0UL, 1UL, 0x80000000UL}) {
                for (int missing = 0; missing < 16; ++missing) {
                    EXPECT_TRUE(Refused(selector, frame, missing));
                    EXPECT_TRUE(Refused(selector, nullptr, missing));
                }
            }
        }
    }
}

// A driver that reports no size, or does not answer: refused in every layout, also where nothing would be done.
TEST_F(CMultiROIExport, NoFrameSize) {
    unsigned char frame[8] = {};
    for (const unsigned maxRois : {8U, 4U}) {
        SetCamera(maxRois);
        SetImage(2, 2);
        for (const bool single : {false, true}) {
            SetSlots(single ? std::vector<SRegionSlot>{{0, 0, 2, 2}}
                            : std::vector<SRegionSlot>{{0, 0, 2, 2}, {4, 0, 2, 2}});
            for (const unsigned long selector : {0UL, 1UL, 2UL, 0x80000000UL}) {
                for (int missing = 0; missing < 16; ++missing) {
                    SetSize(0);
                    EXPECT_TRUE(Refused(selector, frame, missing));
                    EXPECT_TRUE(Refused(selector, nullptr, missing));
                    mDriver.mControls.erase(VEK_CID_RAW_IMAGE_SIZE);
                    EXPECT_TRUE(Refused(selector, frame, missing));
                }
            }
        }
    }
}

// Selectors are compared at their full width, before the frame and the outputs are looked at.
TEST_F(CMultiROIExport, Selectors) {
    unsigned char frame[64] = {};
    constexpr unsigned long others[] = {0x7FFFFFFF,         0x80000001,        0xFFFFFFFF,         0x100000000,
                                        0x100000001,        0x180000000,       0xFFFFFFFF80000000, 0x8000000000000000,
                                        0xFFFFFFFF00000000, 0xFFFFFFFFFFFFFFFF};
    for (const unsigned maxRois : {8U, 16U, 4U, 255U}) {
        SetCamera(maxRois);
        SetImage(2, 2);
        SetSize(64);
        for (unsigned long count = 1; count <= std::min(4U, maxRois); ++count) {
            std::vector<SRegionSlot> slots;
            for (unsigned i = 0; i < count; ++i) {
                slots.push_back({4 * i, 0, 2, 2});
            }
            SetSlots(slots);
            for (int missing = 0; missing < 16; ++missing) {
                for (unsigned char* const image : {frame, static_cast<unsigned char*>(nullptr)}) {
                    for (unsigned long selector = count; selector < 20; ++selector) {
                        EXPECT_TRUE(Refused(selector, image, missing));
                    }
                    for (const unsigned long selector : others) {
                        EXPECT_TRUE(Refused(selector, image, missing));
                    }
                }
            }
            for (unsigned long selector = 0; selector < count; ++selector) {
                EXPECT_TRUE(Matches(selector, frame, 64, 0));
            }
            EXPECT_TRUE(Matches(kWhole, frame, 64, 0));
        }
    }
}

// Without a frame a region has no place, but its numbers are known, and so are those of an image that the camera
// combined; without an output for the image nothing is done.
TEST_F(CMultiROIExport, NullFrame) {
    for (const unsigned maxRois : {8U, 4U}) {
        SetCamera(maxRois);
        SetSlots({{0, 0, 2, 2}, {4, 0, 3, 2}});
        SetSize(10);
        for (int missing = 0; missing < 16; ++missing) {
            const auto known = [&](unsigned long width, unsigned long height, unsigned long pitch) {
                SOutputs out = kUntouched;
                out.image = (missing & kMissingImage) != 0 ? out.image : nullptr;
                const unsigned long numbers[] = {width, height, pitch};
                for (unsigned i = 0; i < 3; ++i) {
                    if (((missing & kMissingImage) | (missing & (kMissingWidth << i))) == 0) {
                        out.numbers[i] = numbers[i];
                    }
                }
                return out;
            };
            SOutputs out = kUntouched;
            EXPECT_EQ(Decode(1, nullptr, &out, missing), 0);
            EXPECT_EQ(out,
                      known(lowHalf(kMarks[0], 3), lowHalf(kMarks[1], 2), lowHalf(kMarks[2], maxRois == 8 ? 3 : 5)));
            if (maxRois == 4 || (missing & kMissingImage) != 0) {
                EXPECT_EQ(Decode(kWhole, nullptr, &out, missing), 0);
                EXPECT_EQ(out, known(5, 2, 5));
            } else {
                EXPECT_TRUE(Refused(kWhole, nullptr, missing)); // here pixels would be copied
            }
        }
    }
}

// Blocks that are not copied need no frame: none fits, or a pixel has no bits; a region beyond the frame has no place.
TEST_F(CMultiROIExport, NullFrameOfWhichNothingIsCopied) {
    SetSlots({{0, 0, 4, 2}, {4, 0, 4, 1}});
    SetSize(3);
    SOutputs out = kUntouched;
    EXPECT_EQ(Decode(kWhole, nullptr, &out), 0);
    EXPECT_EQ(out.image, nullptr);
    EXPECT_EQ(out.numbers[0], 8U);
    EXPECT_EQ(out.numbers[1], 2U);
    EXPECT_EQ(Decode(1, nullptr, &out), 0);
    EXPECT_EQ(out.image, nullptr);
    EXPECT_EQ(out.numbers, kUntouched.numbers);
    SetSize(4); // the second block fits where the first does not
    EXPECT_TRUE(Refused(kWhole, nullptr));
    SetFormat(VEK_TRANSFER_RAW10_PACKED);
    EXPECT_EQ(Decode(kWhole, nullptr, &out), 0);
    EXPECT_EQ(out.numbers[2], 0U);
}

// A single region is a plain image: the frame itself, with what the driver says of it. The frame is not touched.
TEST_F(CMultiROIExport, SingleRegion) {
    CGuardedBuffer<std::uint8_t> unreadable(0, Flush::Left);
    for (const unsigned maxRois : {8U, 1U, 4U}) {
        SetCamera(maxRois);
        SetSlots({{3, 5, 7, 9}});
        for (int format = 0; format <= 23; ++format) {
            SetFormat(format);
            for (const std::int32_t width : {0, 1, 3, 640, 65535, 0x7FFFFFFF}) {
                SetImage(width, width / 3);
                SetSize(1);
                for (const unsigned long selector : {0UL, 0x80000000UL}) {
                    for (int missing = 0; missing < 16; ++missing) {
                        ASSERT_TRUE(Matches(selector, unreadable.data() - 1, 1, missing))
                            << format << ' ' << width << ' ' << missing;
                        ASSERT_TRUE(Matches(selector, nullptr, 1, missing)) << format << ' ' << width << ' ' << missing;
                    }
                }
            }
        }
    }
}

// 640 x 480 words: rows of 1280 bytes; BGR of 10 bits takes 32 bits a pixel here.
TEST_F(CMultiROIExport, SingleRegionByHand) {
    SetSlots({{0, 0, 8, 8}});
    SetImage(640, 480);
    SetSize(614400);
    SetFormat(VEK_TRANSFER_RAW10);
    unsigned char frame = 0;
    SOutputs out = kUntouched;
    EXPECT_EQ(Decode(kWhole, &frame, &out), 0);
    EXPECT_EQ(out, (SOutputs{&frame, {640, 480, 1280}}));
    SetFormat(VEK_TRANSFER_BGR10);
    EXPECT_EQ(Decode(0, &frame, &out), 0);
    EXPECT_EQ(out, (SOutputs{&frame, {640, 480, 2560}}));
    SetFormat(VEK_TRANSFER_YCRCB411);
    SetImage(3, 2);
    EXPECT_EQ(Decode(0, &frame, &out), 0);
    EXPECT_EQ(out, (SOutputs{&frame, {3, 2, 4}})); // 36 / 8, cut off
}

// The second of two enabled regions in the third and the eighth slot.
TEST_F(CMultiROIExport, IndexCountsEnabledRegions) {
    std::vector<SRegionSlot> slots(8);
    slots[2] = {10, 20, 3, 2};
    slots[7] = {30, 40, 2, 2};
    SetSlots(slots);
    SetSize(10);
    unsigned char frame[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    SOutputs out = kUntouched;
    EXPECT_EQ(Decode(1, frame, &out), 0);
    EXPECT_EQ(out.image, frame + 6);
    EXPECT_EQ(out.numbers[0], 0xA1A2A3A400000002);
    EXPECT_EQ(out.numbers[1], 0xB1B2B3B400000002);
    EXPECT_EQ(out.numbers[2], 0xC1C2C3C400000002);
    EXPECT_EQ(Decode(kWhole, frame, &out), 0);
    EXPECT_EQ(out.numbers, (std::array<unsigned long, 3>{5, 4, 5}));
    const unsigned char expected[20] = {1, 2, 3, 0, 0, 4, 5, 6, 0, 0, 0, 0, 0, 7, 8, 0, 0, 0, 9, 10};
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected), out.image));
}

// Three regions: selector 2 is the third block, 3 is none.
TEST_F(CMultiROIExport, ThirdOfThree) {
    SetSlots({{0, 0, 2, 1}, {2, 0, 2, 1}, {4, 0, 2, 1}});
    SetSize(6);
    unsigned char frame[6] = {};
    SOutputs out = kUntouched;
    EXPECT_EQ(Decode(2, frame, &out), 0);
    EXPECT_EQ(out.image, frame + 4);
    EXPECT_TRUE(Refused(3, frame));
}

// Side by side: as wide as both, rows of width x bytes of a pixel.
TEST_F(CMultiROIExport, SideBySide) {
    SetFormat(VEK_TRANSFER_RAW12);
    SetSlots({{0, 0, 3, 1}, {100, 0, 2, 1}});
    SetSize(10);
    unsigned char frame[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    SOutputs out = kUntouched;
    EXPECT_EQ(Decode(kWhole, frame, &out), 0);
    EXPECT_EQ(out.numbers, (std::array<unsigned long, 3>{5, 1, 10}));
    EXPECT_NE(out.image, frame);
    EXPECT_TRUE(std::equal(std::begin(frame), std::end(frame), out.image));
}

// A region behind the frame's end: null, success, and the numbers are left alone.
TEST_F(CMultiROIExport, RegionBeyondTheFrame) {
    SetSlots({{0, 0, 4, 1}, {4, 0, 2, 1}});
    SetSize(5);
    unsigned char frame[6] = {};
    SOutputs out = kUntouched;
    EXPECT_EQ(Decode(1, frame, &out), 0);
    EXPECT_EQ(out, (SOutputs{nullptr, {kMarks[0], kMarks[1], kMarks[2]}}));
    EXPECT_EQ(Decode(1, frame, &out, kMissingWidth | kMissingHeight | kMissingPitch), 0);
    EXPECT_EQ(out.image, nullptr);
    EXPECT_EQ(Decode(0, frame, &out), 0);
    EXPECT_EQ(out.image, frame);
}

// Blocks are counted as long as the handle lives: of a frame that lacks one of its two blocks the first decoding gives
// nothing, the second one gives the incomplete image.
TEST_F(CMultiROIExport, IncompleteFrames) {
    SetSlots({{0, 0, 4, 1}, {4, 0, 2, 1}});
    SetSize(5);
    unsigned char frame[5] = {1, 2, 3, 4, 5};
    SOutputs out = kUntouched;
    EXPECT_EQ(Decode(kWhole, frame, &out), 0);
    EXPECT_EQ(out, (SOutputs{nullptr, {6, 1, 6}}));
    EXPECT_EQ(Decode(kWhole, frame, &out), 0);
    ASSERT_NE(out.image, nullptr);
    const unsigned char expected[6] = {1, 2, 3, 4, 0, 0};
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected), out.image));
}

// Where no block is taken the pitch is that of the last image, and 0 before the first one.
TEST_F(CMultiROIExport, PitchOfNoImage) {
    unsigned char frame[6] = {};
    SetSlots({{0, 0, 4, 1}, {4, 0, 2, 1}});
    SetSize(1);
    SOutputs out = kUntouched;
    EXPECT_EQ(Decode(kWhole, frame, &out), 0);
    EXPECT_EQ(out, (SOutputs{nullptr, {6, 1, 0}}));
    SetSize(6);
    EXPECT_EQ(Decode(kWhole, frame, &out), 0);
    EXPECT_EQ(out.numbers[2], 6U);
    SetSlots({{0, 0, 8, 1}, {8, 0, 8, 1}});
    EXPECT_EQ(Decode(kWhole, frame, &out), 0);
    EXPECT_EQ(out, (SOutputs{nullptr, {16, 1, 6}}));
}

// A changed layout takes effect with the next call, and each call asks every slot once, in order.
TEST_F(CMultiROIExport, LayoutIsAskedAnew) {
    SetSize(8);
    unsigned char frame[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    SOutputs out = kUntouched;
    SetSlots({{0, 0, 2, 2}, {2, 0, 2, 2}});
    EXPECT_EQ(Decode(kWhole, frame, &out), 0);
    EXPECT_EQ(out.numbers, (std::array<unsigned long, 3>{4, 2, 4}));
    SetSlots({{0, 0, 2, 2}, {0, 2, 2, 2}});
    EXPECT_EQ(Decode(kWhole, frame, &out), 0);
    EXPECT_EQ(out.numbers, (std::array<unsigned long, 3>{2, 4, 2}));
    mDriver.ClearLog();
    EXPECT_EQ(Decode(1, frame, &out), 0);
    unsigned asked = 0;
    for (const SRequest& request : mDriver.Log()) {
        EXPECT_EQ(request.fd, 5);
        if (request.number == kGetRoi) {
            EXPECT_EQ(request.sent.at(8), asked);
            for (unsigned i = 0; i < 8; ++i) {
                EXPECT_EQ(request.sent.at(i), 0U);
            }
            ++asked;
        }
    }
    EXPECT_EQ(asked, 8U);
}

// The combining image starts black in every call, even where a region overlaps nothing new.
TEST_F(CMultiROIExport, ImageIsClearedBetweenFrames) {
    SetSlots({{0, 0, 1, 1}, {1, 1, 1, 1}, {0, 1, 1, 1}});
    SetSize(3);
    unsigned char frame[3] = {1, 2, 3};
    SOutputs out = kUntouched;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Decode(kWhole, frame, &out), 0);
        ASSERT_NE(out.image, nullptr);
        EXPECT_EQ(out.image[1], 0);
        EXPECT_EQ(out.image[3], 2);
        out.image[1] = 99; // the image is the caller's to work on until the next call
    }
}

// A camera that delivers combined frames: the frame comes back, untouched, and regions are looked up in its bands.
TEST_F(CMultiROIExport, CombinedByTheCamera) {
    SetCamera(16);
    SetSlots({{0, 0, 3, 2}, {5, 0, 2, 2}, {0, 9, 5, 1}});
    SetSize(1);
    CGuardedBuffer<std::uint8_t> unreadable(0, Flush::Left);
    unsigned char* const frame = unreadable.data() - 1;
    SOutputs out = kUntouched;
    EXPECT_EQ(Decode(kWhole, frame, &out), 0);
    EXPECT_EQ(out, (SOutputs{frame, {7, 3, 7}})); // columns 0..4 by the last region, 5..6 by the second
    EXPECT_EQ(Decode(1, frame, &out), 0);
    EXPECT_EQ(out.image, frame + 3);
    EXPECT_EQ(Decode(2, frame, &out), 0);
    EXPECT_EQ(out.image, frame + 14);
    EXPECT_EQ(out.numbers[2], lowHalf(kMarks[2], 7));
}

// Every transfer format and colour array, those whose pixel format has no bits included.
TEST_F(CMultiROIExport, EveryFormat) {
    for (const unsigned maxRois : {8U, 4U}) {
        SetCamera(maxRois);
        SetSlots({{0, 0, 5, 3}, {9, 1, 3, 3}, {4, 8, 7, 1}});
        for (int format = 0; format <= 23; ++format) {
            for (int colorArray = 0; colorArray <= 6; ++colorArray) {
                SetFormat(format);
                mDriver.mControls[VEK_CID_COLOR_ARRAY] = colorArray;
                const std::size_t size = FrameBytes();
                for (unsigned long selector = 0; selector < 3; ++selector) {
                    ASSERT_TRUE(MatchesFrame(selector, size + 1)) << format << ' ' << colorArray << ' ' << selector;
                }
                if (Format() != 0) {
                    ASSERT_TRUE(MatchesFrame(kWhole, size)) << format << ' ' << colorArray;
                    ASSERT_TRUE(MatchesFrame(kWhole, size - 1)) << format << ' ' << colorArray;
                } else {
                    // Rows of no bytes: whether there is an image is open, its numbers are not.
                    SetSize(1);
                    unsigned char frame = 0;
                    SOutputs out = kUntouched;
                    EXPECT_EQ(Decode(kWhole, &frame, &out), 0);
                    EXPECT_EQ(out.numbers, (std::array<unsigned long, 3>{12, 5, 0}));
                    mModel.Update(mRegions, maxRois == 8 ? 0 : kCombinedLayout, 1);
                    mModel.AddFrame(0, &frame, 1, 0);
                }
            }
        }
    }
}

// Random layouts one after another on one handle: overlapping, nested, touching, out of order, partly out of use, in
// frames that are whole, too short and too long, with outputs left out.
TEST_F(CMultiROIExport, RandomHistories) {
    constexpr unsigned maxima[] = {8, 8, 8, 4, 16, 3, 255};
    for (int round = 0; round < 3000; ++round) {
        if (round % 50 == 0) {
            SetCamera(maxima[mRandom.Below(std::size(maxima))]);
        }
        SetSlots(RandomSlots(mRandom.Below(std::min(mMaxRois, 12U) + 1), mRandom.Below(6) == 0 ? 60 : 14));
        constexpr int formats[] = {0, 0, 1, 3, 5, 10, 11, 12, 13, 14, 19, 21};
        SetFormat(formats[mRandom.Below(std::size(formats))]);
        SetImage(static_cast<std::int32_t>(mRandom.Below(5000)), static_cast<std::int32_t>(mRandom.Below(5000)));
        const std::size_t whole = FrameBytes();
        std::size_t size = 1 + whole;
        if (mRegions.empty()) {
            SetSize(9);
            unsigned char frame[9] = {};
            ASSERT_TRUE(Refused(kWhole, frame));
            continue;
        }
        for (int call = 0; call < 4; ++call) {
            const unsigned long selector =
                mRegions.size() == 1 || mRandom.Below(2) == 0 ? kWhole : mRandom.Below(mRegions.size());
            switch (mRandom.Below(4)) {
            case 0:
                size = 1 + mRandom.Below(whole);
                break;
            case 1:
                size = whole + 1 + mRandom.Below(9);
                break;
            default:
                size = whole;
                break;
            }
            const int missing = mRandom.Below(3) == 0 ? static_cast<int>(mRandom.Below(16)) : 0;
            ASSERT_TRUE(MatchesFrame(selector, size, missing)) << "round " << round << ", selector " << selector;
        }
    }
}

// Sizes are 32 bits wide: a driver's negative number is a large one.
TEST_F(CMultiROIExport, LargeFrameSizes) {
    SetSlots({{0, 0, 4, 3}, {9, 9, 4, 3}});
    CGuardedBuffer<std::uint8_t> frame(24, Flush::Right);
    for (const std::uint64_t size : {0xFFFFFFFFUL, 0x80000000UL, 0x7FFFFFFFUL}) {
        SetSize(size);
        EXPECT_TRUE(Matches(kWhole, frame.data(), size, 0));
        EXPECT_TRUE(Matches(1, frame.data(), size, 0));
    }
}

// Coordinates up to the ends of the driver's 16 bits.
TEST_F(CMultiROIExport, LargeRegions) {
    SetSlots({{65535, 65535, 65535, 1}, {0, 0, 1, 2}, {65535, 0, 1, 1}});
    EXPECT_TRUE(MatchesFrame(kWhole, FrameBytes()));
    for (unsigned long selector = 0; selector < 3; ++selector) {
        EXPECT_TRUE(MatchesFrame(selector, FrameBytes()));
    }
}

// Two narrow regions that span more than there is memory for: no image, success, its numbers all the same, and the
// next one works.
TEST_F(CMultiROIExport, ImageThatCannotBeMade) {
    SetSlots({{0, 0, 65535, 1}, {0, 0, 1, 65535}});
    const std::size_t size = FrameBytes();
    SetSize(size);
    std::vector<unsigned char> frame(size, 1);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    unsigned long pages = 0;
    FILE* const statm = fopen("/proc/self/statm", "r");
    ASSERT_NE(statm, nullptr);
    EXPECT_EQ(fscanf(statm, "%lu", &pages), 1);
    fclose(statm);
    rlimit limited = before;
    limited.rlim_cur = pages * static_cast<unsigned long>(sysconf(_SC_PAGESIZE)) + (256UL << 20);
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limited), 0);
    void* const probe = std::malloc(2UL << 30);
    const bool isLimited = probe == nullptr;
    std::free(probe);
    SOutputs out = kUntouched;
    const int status = isLimited ? Decode(kWhole, frame.data(), &out) : 0;
    EXPECT_EQ(setrlimit(RLIMIT_AS, &before), 0);
    if (!isLimited) {
        GTEST_SKIP() << "memory cannot be limited here";
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(out, (SOutputs{nullptr, {65535, 65535, 65535}}));
    SetSlots({{0, 0, 4, 3}, {9, 9, 4, 3}});
    SetSize(24);
    EXPECT_EQ(Decode(kWhole, frame.data(), &out), 0);
    EXPECT_EQ(out.numbers, (std::array<unsigned long, 3>{8, 6, 8}));
}

// A driver that fails single requests, or all of them: refusals or results, but nothing half done and no fault.
TEST_F(CMultiROIExport, FailingRequests) {
    unsigned char frame[64] = {};
    SetSlots({{0, 0, 4, 2}, {4, 0, 4, 2}, {2, 1, 4, 2}});
    SetSize(24);
    SetImage(8, 3);
    for (std::size_t n = 0; n < 16; ++n) {
        for (const unsigned long selector : {0UL, 2UL, 0x80000000UL}) {
            mDriver.ClearLog();
            mDriver.FailNth(n, {-1, EIO, false});
            SOutputs out = kUntouched;
            const int status = Decode(selector, frame, &out);
            if (status != 0) {
                EXPECT_EQ(status, -22) << n;
                EXPECT_EQ(out, kUntouched) << n;
            }
        }
    }
    mDriver.FailAll({-1, ENODEV, false});
    EXPECT_TRUE(Refused(0, frame));
    EXPECT_TRUE(Refused(kWhole, frame));
}

// Handles have their own layouts, counters and images.
TEST_F(CMultiROIExport, HandlesAreApart) {
    SetSlots({{0, 0, 2, 1}, {4, 0, 2, 1}});
    SetSize(4);
    unsigned char frame[4] = {1, 2, 3, 4};
    unsigned char otherFrame[4] = {5, 6, 7, 8};
    VekCam_Handle const other = VekCam_Open(6);
    SOutputs out = kUntouched;
    EXPECT_EQ(Decode(kWhole, frame, &out), 0);
    unsigned char* otherImage = nullptr;
    EXPECT_EQ(VekCam_DecodingCombinedMultiROI(other, kWhole, otherFrame, &otherImage, nullptr, nullptr, nullptr), 0);
    EXPECT_NE(otherImage, out.image);
    EXPECT_TRUE(std::equal(std::begin(frame), std::end(frame), out.image));
    EXPECT_TRUE(std::equal(std::begin(otherFrame), std::end(otherFrame), otherImage));
    VekCam_Close(other);
    EXPECT_TRUE(std::equal(std::begin(frame), std::end(frame), out.image));
}

} // namespace vek::test
