// SPDX-License-Identifier: Apache-2.0
// Mean pixel values against a plain model: sizes, regions and pitches, buffers that end in protected pages.
#include "imageproc/AveragePixel/AverageModel.h"
#include "support/HandleTest.h"
#include "support/Random.h"
#include "support/SampleTypes.h"

#include <cstring>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned long kFormats[] = {0, 1, 2, 3, 4, 18, 19};

class CAverageModel : public CHandleTest {
protected:
    int Measure(const SAverageCall& call, const void* src, float* average) {
        return VekCam_GetAveragePixelValue(mHandle, call.width, call.height, call.pitch, call.colorMode,
                                           call.transferFormat, src, call.x, call.y, call.w, call.h, average);
    }

    /// Gives the call exactly the bytes that it may read, one end of them at a protected page.
    ::testing::AssertionResult Check(const SAverageCall& call, Flush flush) {
        const SReach reach = modelReach(call);
        const std::uint64_t bytes = reach.end - reach.first;
        std::uint8_t* const room = flush == Flush::Left ? mLeft.data() : mRight.data() + mRight.size() - bytes;
        if (bytes > mLeft.size()) {
            return ::testing::AssertionFailure() << describe(call) << " needs " << bytes << " bytes";
        }
        Fill(room, bytes);
        // The image starts where its first row would be, whether or not anything is there.
        const auto* const src =
            reinterpret_cast<const std::uint8_t*>(reinterpret_cast<std::uintptr_t>(room) - reach.first);
        float average[5] = {-1.0F, -1.0F, -1.0F, -1.0F, -5.0F};
        const int result = Measure(call, src, average);
        const std::array<float, 4> expected = modelAverage(call, src);
        if (result != 0 || std::memcmp(average, expected.data(), sizeof expected) != 0 || average[4] != -5.0F) {
            return ::testing::AssertionFailure() << describe(call) << ": result " << result << ", " << describe(average)
                                                 << ", not " << describe(expected.data());
        }
        return ::testing::AssertionSuccess();
    }

    void Fill(std::uint8_t* bytes, std::uint64_t count) {
        const std::uint64_t kind = mRandom.Below(4);
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::uint64_t random = mRandom.Next();
            bytes[i] = static_cast<std::uint8_t>(kind == 0 ? 255 : kind == 1 ? random % 2 * 255 : random);
        }
    }
    Flush Side() { return kFlushes[mRandom.Below(2)]; }
    unsigned short Mode() { return static_cast<unsigned short>(1 + mRandom.Below(5)); }
    unsigned long Format() { return kFormats[mRandom.Below(std::size(kFormats))]; }

    CRandom mRandom{11};
    CGuardedBuffer<std::uint8_t> mLeft{1U << 18, Flush::Left};
    CGuardedBuffer<std::uint8_t> mRight{1U << 18, Flush::Right};
};

} // namespace

TEST_F(CAverageModel, EverySizeUpTo70) {
    for (const unsigned long format : kFormats) {
        for (unsigned long width = 1; width <= 70; ++width) {
            for (unsigned long height = 1; height <= 70; height += width % 7 == 0 ? 1 : 1 + height / 2) {
                const SAverageCall call{width, height, 0, Mode(), format, 0, 0, width, height};
                ASSERT_TRUE(Check(call, Flush::Left));
                ASSERT_TRUE(Check(call, Flush::Right));
            }
        }
    }
}

TEST_F(CAverageModel, EveryPlaceAndLengthInARow) {
    for (const unsigned long format : kFormats) {
        for (unsigned long x = 0; x < 70; ++x) {
            for (unsigned long w = 0; w <= 72; ++w) {
                const SAverageCall call{70, 4, 0, Mode(), format, x, mRandom.Below(4), w, 1 + mRandom.Below(3)};
                ASSERT_TRUE(Check(call, Side()));
            }
        }
    }
}

TEST_F(CAverageModel, RandomRegionsAndPitches) {
    for (int round = 0; round < 15000; ++round) {
        SAverageCall call;
        call.width = mRandom.Below(round % 8 == 0 ? 700 : 80);
        call.height = mRandom.Below(20);
        call.colorMode = Mode();
        call.transferFormat = Format();
        switch (mRandom.Below(4)) {
        case 0:
            call.pitch = call.width + mRandom.Below(20);
            break;
        case 1:
            call.pitch = call.width * 12 / 8 + mRandom.Below(9);
            break;
        case 2:
            call.pitch = mRandom.Below(3); // rows that overlap
            break;
        default:
            break;
        }
        call.x = mRandom.Below(call.width + 2);
        call.y = mRandom.Below(call.height + 2);
        call.w = mRandom.Below(call.width + 4);
        call.h = mRandom.Below(call.height + 4);
        if (mRandom.Below(8) == 0) {
            call.w = ~0UL - mRandom.Below(3);
        }
        if (mRandom.Below(8) == 0) {
            call.h = ~0UL - mRandom.Below(3);
        }
        ASSERT_TRUE(Check(call, Side())) << "round " << round;
    }
}

TEST_F(CAverageModel, EmptyRegionsReadNothing) {
    const auto* const nowhere = reinterpret_cast<const std::uint8_t*>(std::uintptr_t{16});
    for (const unsigned long format : kFormats) {
        for (unsigned short mode = 1; mode <= 5; ++mode) {
            const unsigned long big = ~0UL;
            const SAverageCall calls[] = {
                {0, 0, 0, mode, format, 0, 0, 1, 1},       {8, 8, 0, mode, format, 0, 0, 0, 0},
                {8, 8, 0, mode, format, 0, 0, 0, 8},       {8, 8, 0, mode, format, 0, 0, 8, 0},
                {8, 8, 0, mode, format, 8, 0, 8, 8},       {8, 8, 0, mode, format, 0, 8, 8, 8},
                {8, 8, 0, mode, format, 9, 9, big, big},   {8, 8, 0, mode, format, big, 0, big, 8},
                {8, 8, 0, mode, format, big, big, 2, 2},   {0, big, 0, mode, format, 0, 0, big, big},
                {big, 0, 0, mode, format, 0, 0, big, big}, {0, big, big, mode, format, 0, 0, big, big}};
            for (const SAverageCall& call : calls) {
                for (const std::uint8_t* const src : {nowhere, static_cast<const std::uint8_t*>(nullptr)}) {
                    float average[4] = {1.0F, 2.0F, 3.0F, 4.0F};
                    EXPECT_EQ(Measure(call, src, average), 0) << describe(call);
                    for (const float mean : average) {
                        EXPECT_EQ(mean, 0.0F) << describe(call);
                    }
                }
                EXPECT_EQ(Measure(call, nowhere, nullptr), -22) << describe(call);
            }
        }
    }
}

// Sizes at which a product with the bits, the pitch or the sample size would wrap, but a region near the start.
TEST_F(CAverageModel, HugeImagesSmallRegions) {
    for (const unsigned long format : kFormats) {
        for (const unsigned long width : {1UL << 32, (1UL << 60) + 3, 1UL << 61, (1UL << 63) + 1, ~0UL}) {
            SAverageCall call{width, ~0UL, 0, Mode(), format, 3, 0, 21, 1};
            ASSERT_TRUE(Check(call, Side()));
            call.pitch = ~0UL;
            ASSERT_TRUE(Check(call, Side()));
            call.pitch = 64;
            call.h = 5;
            call.y = 1;
            ASSERT_TRUE(Check(call, Side()));
        }
    }
}

TEST_F(CAverageModel, LargeImages) {
    struct SSize {
        unsigned long format;
        unsigned long width;
        unsigned long height;
    };
    // Sums of one row, and of all, that need more than 32 bits.
    const SSize sizes[] = {{0, 20000003, 1}, {0, 5001, 4003}, {19, 300001, 3}, {1, 1501, 1003},
                           {2, 5000003, 1},  {4, 2500001, 1}, {2, 1601, 907},  {4, 1601, 907}};
    for (const SSize& size : sizes) {
        for (const unsigned short mode : {std::uint16_t{1}, std::uint16_t{3}}) {
            const SAverageCall call{size.width, size.height, 0, mode, size.format, 0, 0, size.width, size.height};
            std::vector<std::uint8_t> image(modelReach(call).end, 255);
            for (std::size_t i = 0; i < image.size() / 100; ++i) {
                image[mRandom.Below(image.size())] = static_cast<std::uint8_t>(mRandom.Next());
            }
            float average[4];
            ASSERT_EQ(Measure(call, image.data(), average), 0);
            const std::array<float, 4> expected = modelAverage(call, image.data());
            EXPECT_EQ(std::memcmp(average, expected.data(), sizeof average), 0) << describe(call);
        }
    }
}

} // namespace vek::test
