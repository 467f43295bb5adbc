// SPDX-License-Identifier: Apache-2.0
// White balance against the model: sizes, pitches, phases, depths, and long mixed histories of one module's tables.
#include "imageproc/WB/WhiteBalanceCalls.h"
#include "imageproc/WB/WhiteBalanceCheck.h"

#include <algorithm>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned long kLargerSizes[][2] = {{67, 5}, {131, 3}, {259, 2}, {33, 7}, {64, 4}, {1, 130}, {514, 3}};

class CWhiteBalanceModelTest : public ::testing::Test {
protected:
    CWhiteBalanceModelTest() : mModule(makeWhiteBalance()) {}

    void SetMode(std::uint8_t mode) {
        EXPECT_EQ(mModule->SetWBMode(mode), kOk);
        mCheck.Model().mode = mode;
    }
    void SetGains(const std::uint16_t (&gains)[4]) {
        EXPECT_EQ(mModule->SetWBGain(gains), kOk);
        modelSetGains(&mCheck.Model(), gains);
    }
    /// Gains below and above 1, the limits, and now and then all of them 1.
    void SetRandomGains() {
        std::uint16_t gains[4];
        const bool one = Random().Below(10) == 0;
        for (std::uint16_t& gain : gains) {
            switch (Random().Below(8)) {
            case 0:
                gain = 0;
                break;
            case 1:
                gain = 128;
                break;
            case 2:
                gain = static_cast<std::uint16_t>(Random().Next());
                break;
            case 3:
                gain = 65535;
                break;
            default:
                gain = static_cast<std::uint16_t>(Random().Below(700));
                break;
            }
            gain = one ? std::uint16_t{128} : gain;
        }
        SetGains(gains);
    }

    template <class T>
    ::testing::AssertionResult Run(const SWhiteBalanceCall& call, Flush flush, unsigned depth) {
        ::testing::AssertionResult result =
            mCheck.Run<T>(call, flush, depth, [this](const SWhiteBalanceCall& c, T* image) {
                return callWhiteBalance(*mModule, c, image);
            });
        return result ? SettingsMatch() : result;
    }

    ::testing::AssertionResult SettingsMatch() {
        std::uint8_t mode = 99;
        std::uint16_t gains[4] = {1, 2, 3, 4};
        if (mModule->GetWBMode(&mode) != kOk || mode != mCheck.Model().mode) {
            return ::testing::AssertionFailure() << "mode " << int{mode} << ", not " << int{mCheck.Model().mode};
        }
        if (mModule->GetWBGain(gains) != kOk) {
            return ::testing::AssertionFailure() << "the gains cannot be read";
        }
        for (int k = 0; k < 4; ++k) {
            if (gains[k] != mCheck.Model().gains[k]) {
                return ::testing::AssertionFailure()
                       << "gain " << k << " is " << gains[k] << ", not " << mCheck.Model().gains[k];
            }
        }
        return ::testing::AssertionSuccess();
    }

    CRandom& Random() { return mCheck.Random(); }

    WhiteBalancePtr mModule;
    CWhiteBalanceCheck mCheck{1UL << 14};
};

/// Pitches of one kind; those of words stay even.
template <class T>
SWhiteBalanceCall withPitch(SWhiteBalanceCall call, unsigned kind) {
    const unsigned long row = call.width * sizeof(T);
    constexpr unsigned long paddings[] = {0, 1, 3, 16};
    call.pitch = kind % 5 == 4 ? 0 : row + paddings[kind % 5] * sizeof(T);
    return call;
}

} // namespace

TEST_F(CWhiteBalanceModelTest, EverySmallSize) {
    unsigned turn = 0;
    for (const std::uint8_t mode : {std::uint8_t{1}, std::uint8_t{2}}) {
        for (unsigned long height = 0; height <= 12; ++height) {
            for (unsigned long width = 0; width <= 12; ++width) {
                for (unsigned short colorArray = 1; colorArray <= 5; ++colorArray) {
                    ++turn;
                    SetMode(mode);
                    SetRandomGains();
                    const SWhiteBalanceCall bytes{width, height, 0, colorArray, 8};
                    ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(bytes, turn), kFlushes[turn / 5 % 2], 8));
                    // The refinement of 12 bits is the model's slowest part: small depths do for most sizes.
                    const auto bits = static_cast<unsigned short>(mode == 2 ? 9 : 8 + turn % 5);
                    const SWhiteBalanceCall words{width, height, 0, colorArray, bits};
                    ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(words, turn), kFlushes[turn / 5 % 2],
                                                   bits == 8 ? 12 : bits));
                }
            }
        }
    }
}

TEST_F(CWhiteBalanceModelTest, OddLargerSizes) {
    unsigned turn = 0;
    for (const auto& size : kLargerSizes) {
        for (unsigned short colorArray = 1; colorArray <= 5; ++colorArray) {
            for (unsigned kind = 0; kind < 5; ++kind) {
                ++turn;
                SetMode(1);
                SetRandomGains();
                const SWhiteBalanceCall bytes{size[0], size[1], 0, colorArray, 8};
                ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(bytes, kind), kFlushes[turn % 2], 8));
                const auto bits = static_cast<unsigned short>(turn % 3 == 0 ? 10 : 12);
                const SWhiteBalanceCall words{size[0], size[1], 0, colorArray, bits};
                ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(words, kind), kFlushes[turn % 2], bits));
            }
        }
    }
}

// Every byte and every word up to 12 bits, in each phase, with each table built by its own depth.
TEST_F(CWhiteBalanceModelTest, EverySampleValue) {
    SetMode(1);
    SetGains({300, 90, 700, 217});
    const auto runAll = [this](auto sample, unsigned short bits) {
        using T = decltype(sample);
        constexpr unsigned long width = sizeof(T) == 1 ? 512 : 8192;
        for (unsigned short colorArray = 2; colorArray <= 5; ++colorArray) {
            std::vector<T> image(2 * width);
            for (std::size_t i = 0; i < image.size(); ++i) {
                image[i] = static_cast<T>(i % width / 2); // each value once in each phase
            }
            std::vector<T> expected = image;
            const SWhiteBalanceCall call{width, 2, 0, colorArray, bits};
            ASSERT_EQ(modelWhiteBalance(&mCheck.Model(), call, expected.data()), kOk);
            ASSERT_EQ(callWhiteBalance(*mModule, call, image.data()), kOk);
            ASSERT_EQ(image, expected) << colorArray << ' ' << bits;
        }
    };
    for (unsigned short bits = 0; bits <= 8; ++bits) {
        runAll(std::uint8_t{}, bits);
    }
    for (unsigned short bits = 0; bits <= 12; ++bits) {
        runAll(std::uint16_t{}, bits);
    }
}

// Tables of both widths outlive changes of depth, gains and mode, and each call sees what the earlier ones left.
TEST_F(CWhiteBalanceModelTest, RandomHistories) {
    for (int round = 0; round < 5000; ++round) {
        switch (Random().Below(6)) {
        case 0:
            SetRandomGains();
            break;
        case 1: {
            constexpr std::uint8_t modes[] = {0, 1, 1, 2, 3, 3, 4, 255};
            SetMode(modes[Random().Below(8)]);
            break;
        }
        default:
            break;
        }
        constexpr unsigned short colorArrays[] = {0, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 11, 0x102, 65535};
        constexpr unsigned short depths[] = {8, 8, 8, 10, 12, 9, 11, 0, 1, 5, 7, 13, 16, 0x108, 65535};
        SWhiteBalanceCall call{Random().Below(20), Random().Below(6), 0, colorArrays[Random().Below(14)],
                               depths[Random().Below(15)]};
        const bool automatic = mCheck.Model().mode == 2 || mCheck.Model().mode == 3;
        if (automatic && call.bits > 10 && Random().Below(4) != 0) {
            call.bits = 8;
        }
        const Flush flush = kFlushes[Random().Below(2)];
        const auto kind = static_cast<unsigned>(Random().Below(5));
        if (Random().Below(2) == 0) {
            const unsigned depth = call.bits < 8 && Random().Below(2) == 0 ? call.bits : 8;
            ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(call, kind), flush, depth)) << "round " << round;
        } else {
            constexpr unsigned sampleDepths[] = {8, 10, 12, 13, 16};
            const unsigned depth = sampleDepths[Random().Below(5)];
            ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(call, kind), flush, depth)) << "round " << round;
        }
    }
}

// Automatic gains of dull, bright, dark and clipped images, at the depths that cameras send.
TEST_F(CWhiteBalanceModelTest, AutomaticGains) {
    unsigned turn = 0;
    for (const unsigned sampleDepth : {3U, 6U, 7U, 8U}) {
        for (int i = 0; i < 100; ++i) {
            SetMode(i % 2 == 0 ? 2 : 3);
            const SWhiteBalanceCall call{1 + Random().Below(16), 1 + Random().Below(8), 0,
                                         static_cast<unsigned short>(1 + turn++ % 5), 8};
            ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(call, turn), kFlushes[turn % 2], sampleDepth));
        }
    }
    for (const unsigned short bits : {std::uint16_t{10}, std::uint16_t{12}}) {
        for (const unsigned sampleDepth : {4U, 9U, 10U, 12U, 16U}) {
            for (int i = 0; i < 5; ++i) {
                SetMode(i % 2 == 0 ? 2 : 3);
                const SWhiteBalanceCall call{1 + Random().Below(16), 1 + Random().Below(8), 0,
                                             static_cast<unsigned short>(1 + turn++ % 5), bits};
                ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(call, turn), kFlushes[turn % 2], sampleDepth));
            }
        }
    }
}

// One colour far behind the greens, at every distance: the estimate, its refinement and their limits.
TEST_F(CWhiteBalanceModelTest, EveryRatioOfRedToGreen) {
    for (int red = 0; red <= 255; red += red < 60 ? 1 : 5) {
        for (const int green : {0, 1, 40, 101, 200, 255}) {
            SetMode(2);
            const auto r = static_cast<std::uint8_t>(red);
            const auto g = static_cast<std::uint8_t>(green);
            const auto other = static_cast<std::uint8_t>(255 - red / 2);
            // R, G, R, G over G, B, G, B; the two reds and the two blues differ, so that one of them may clip.
            std::uint8_t image[] = {r, g, other, g, g, r, g, static_cast<std::uint8_t>(red / 7)};
            std::uint8_t expected[8];
            std::copy(std::begin(image), std::end(image), expected);
            const SWhiteBalanceCall call{4, 2, 0, 2, 8};
            ASSERT_EQ(modelWhiteBalance(&mCheck.Model(), call, expected), kOk);
            ASSERT_EQ(callWhiteBalance(*mModule, call, image), kOk);
            ASSERT_TRUE(SettingsMatch()) << red << ' ' << green;
            ASSERT_TRUE(std::equal(std::begin(image), std::end(image), expected)) << red << ' ' << green;
        }
    }
}

// No pixels: nothing is touched, however large the other side is; an automatic mode then has nothing to go by.
TEST_F(CWhiteBalanceModelTest, NoPixels) {
    constexpr unsigned long large = 1UL << 62;
    const SWhiteBalanceCall empty[] = {{0, 0, 0, 2, 8},     {0, 7, 0, 3, 8},    {9, 0, 0, 4, 8},
                                       {large, 0, 0, 2, 8}, {~0UL, 0, 0, 5, 8}, {3, 0, large, 1, 8}};
    for (const std::uint8_t mode : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{3}}) {
        for (const SWhiteBalanceCall& call : empty) {
            SetMode(mode);
            SetGains({300, 200, 100, 50});
            ASSERT_TRUE(Run<std::uint8_t>(call, Flush::Right, 8));
            ASSERT_TRUE(Run<std::uint16_t>(call, Flush::Left, 8));
            SetMode(mode);
            EXPECT_EQ(mModule->WBProcB(call.width, call.height, call.pitch, call.colorArray, nullptr, 8), kOk);
            modelWhiteBalance<std::uint8_t>(&mCheck.Model(), call, nullptr);
            EXPECT_TRUE(SettingsMatch());
            SetMode(mode);
            EXPECT_EQ(mModule->WBProcW(call.width, call.height, call.pitch, call.colorArray, nullptr, 8), kOk);
            modelWhiteBalance<std::uint16_t>(&mCheck.Model(), call, nullptr);
            EXPECT_TRUE(SettingsMatch());
        }
    }
}

// A great number of rows without a pixel takes no time.
TEST_F(CWhiteBalanceModelTest, ManyEmptyRows) {
    for (const std::uint8_t mode : {std::uint8_t{1}, std::uint8_t{2}}) {
        SetMode(mode);
        SetGains({300, 200, 100, 50});
        EXPECT_EQ(mModule->WBProcB(0, ~0UL, 0, 2, nullptr, 8), kOk);
        EXPECT_EQ(mModule->WBProcW(0, ~0UL, 0, 2, nullptr, 12), kOk);
        EXPECT_EQ(mModule->WBProcB(0, ~0UL, 64, 2, nullptr, 8), kOk);
    }
}

// A null image of some pixels is refused where it would be touched, and nothing but that is different.
TEST_F(CWhiteBalanceModelTest, NullImage) {
    for (const std::uint8_t mode :
         {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{3}, std::uint8_t{9}}) {
        for (const bool one : {false, true}) {
            for (const unsigned short colorArray : {std::uint16_t{0}, std::uint16_t{2}, std::uint16_t{6}}) {
                for (const unsigned short bits : {std::uint16_t{8}, std::uint16_t{12}, std::uint16_t{13}}) {
                    SetMode(mode);
                    if (one) {
                        SetGains({128, 128, 128, 128});
                    } else {
                        SetGains({300, 200, 100, 50});
                    }
                    const SWhiteBalanceCall call{4, 2, 0, colorArray, bits};
                    EXPECT_EQ(mModule->WBProcB(4, 2, 0, colorArray, nullptr, bits),
                              modelWhiteBalance<std::uint8_t>(&mCheck.Model(), call, nullptr));
                    EXPECT_TRUE(SettingsMatch());
                    EXPECT_EQ(mModule->WBProcW(4, 2, 0, colorArray, nullptr, bits),
                              modelWhiteBalance<std::uint16_t>(&mCheck.Model(), call, nullptr));
                    EXPECT_TRUE(SettingsMatch());
                }
            }
        }
    }
}

// Rows that overlap (a pitch below a row) are the caller's business: nothing outside of them is touched.
TEST_F(CWhiteBalanceModelTest, OverlappingRowsStayInside) {
    SetGains({300, 200, 100, 50});
    CImageArena<std::uint8_t> bytes(4096);
    CImageArena<std::uint16_t> words(4096);
    for (const std::uint8_t mode : {std::uint8_t{1}, std::uint8_t{2}}) {
        for (const unsigned long width : {2UL, 7UL, 32UL, 70UL}) {
            for (const Flush flush : kFlushes) {
                SetMode(mode);
                std::uint8_t* const b = bytes.Place(imageExtent(width, 4, 1, width), flush, 8);
                EXPECT_EQ(mModule->WBProcB(width, 4, 1, 2, b, 8), kOk);
                std::uint16_t* const w = words.Place(imageExtent(width, 4, 2, 2 * width), flush, 10);
                EXPECT_EQ(mModule->WBProcW(width, 4, 2, 2, w, 10), kOk);
            }
        }
    }
}

// Settings are kept as given, and modules share none of them.
TEST_F(CWhiteBalanceModelTest, SettersAndGetters) {
    EXPECT_TRUE(SettingsMatch());
    for (unsigned mode = 0; mode <= 255; ++mode) {
        SetMode(static_cast<std::uint8_t>(mode));
        EXPECT_TRUE(SettingsMatch());
    }
    for (int i = 0; i < 100; ++i) {
        SetRandomGains();
        EXPECT_TRUE(SettingsMatch());
    }
    const WhiteBalancePtr other = makeWhiteBalance();
    std::uint16_t gains[4] = {};
    EXPECT_EQ(other->GetWBGain(gains), kOk);
    EXPECT_EQ(gains[0], 256);
    EXPECT_EQ(gains[3], 217);
    std::uint8_t mode = 77;
    EXPECT_EQ(other->GetWBMode(&mode), kOk);
    EXPECT_EQ(mode, 0);
}

TEST_F(CWhiteBalanceModelTest, NullSettings) {
    SetMode(3);
    SetGains({1, 2, 3, 4});
    EXPECT_EQ(mModule->GetWBGain(nullptr), kOk);
    EXPECT_EQ(mModule->SetWBGain(nullptr), kInvalid);
    EXPECT_EQ(mModule->GetWBMode(nullptr), kInvalid);
    EXPECT_TRUE(SettingsMatch());
}

} // namespace vek::test
