// SPDX-License-Identifier: Apache-2.0
// Noise reduction against the model: sizes, pitches, colour arrays, depths, and long histories of one dark frame.
#include "imageproc/NoiseReduction/NoiseReductionCalls.h"
#include "imageproc/NoiseReduction/NoiseReductionCheck.h"

#include <algorithm>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned long kLargerSizes[][2] = {{67, 5},  {131, 3}, {259, 2}, {66, 6},  {130, 4},  {258, 4}, {34, 8},
                                             {64, 4},  {4, 66},  {6, 34},  {33, 7},  {2, 40},   {514, 4}, {65, 9},
                                             {70, 10}, {3, 65},  {16, 16}, {18, 30}, {1030, 4}, {72, 5},  {136, 6}};

class CNoiseReductionModelTest : public ::testing::Test {
protected:
    CNoiseReductionModelTest() : mModule(makeNoiseReduction()) {}

    template <class T>
    ::testing::AssertionResult Run(const SNoiseCall& call, Flush flush, unsigned depth) {
        return mCheck.Run<T>(call, flush, depth,
                             [this](const SNoiseCall& c, T* image) { return callNoiseReduction(*mModule, c, image); });
    }
    /// A call that fails or does nothing before the image is touched.
    template <class T>
    unsigned long WithoutImage(const SNoiseCall& call) {
        return callNoiseReduction(*mModule, call, kNoImage<T>);
    }
    /// Whether the dark frame is the one that the model holds: a live frame of full scale shows it.
    template <class T>
    ::testing::AssertionResult DarkMatches() {
        const SNoiseModel& dark = mCheck.Model();
        return Run<T>({dark.width, dark.height, dark.pitch, dark.colorArray, 0, kNoiseComplex}, Flush::Right,
                      8 * sizeof(T));
    }

    CRandom& Random() { return mCheck.Random(); }

    NoiseReductionPtr mModule;
    CNoiseReductionCheck mCheck{1UL << 15};
};

/// Pitches of one kind; those of words stay even.
template <class T>
SNoiseCall withPitch(SNoiseCall call, unsigned kind) {
    const unsigned long row = call.width * sizeof(T);
    constexpr unsigned long paddings[] = {0, 1, 3, 16};
    call.pitch = kind % 5 == 4 && (call.bits + 7U) / 8 >= sizeof(T) ? 0 : row + paddings[kind % 4] * sizeof(T);
    return call;
}

/// A depth of words, not a multiple of anything.
unsigned short wordDepth(unsigned turn) {
    constexpr unsigned short depths[] = {10, 12, 14, 16, 9, 11};
    return depths[turn % 6];
}

} // namespace

TEST_F(CNoiseReductionModelTest, EasyEverySmallSize) {
    unsigned turn = 0;
    for (unsigned long height = 0; height <= 12; ++height) {
        for (unsigned long width = 0; width <= 12; ++width) {
            for (unsigned short colorArray = 0; colorArray <= 6; ++colorArray) {
                for (unsigned again = 0; again < 3; ++again) {
                    ++turn;
                    const Flush flush = kFlushes[turn % 2];
                    const SNoiseCall bytes{width, height, 0, colorArray, 8, kNoiseEasy};
                    ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(bytes, turn), flush, 8));
                    const SNoiseCall words{width, height, 0, colorArray, wordDepth(turn), kNoiseEasy};
                    ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(words, turn), flush, words.bits));
                }
            }
        }
    }
}

TEST_F(CNoiseReductionModelTest, EasyLargerSizes) {
    unsigned turn = 0;
    for (const auto& size : kLargerSizes) {
        for (unsigned short colorArray = 1; colorArray <= 5; ++colorArray) {
            for (unsigned kind = 0; kind < 5; ++kind) {
                ++turn;
                const Flush flush = kFlushes[turn % 2];
                const SNoiseCall bytes{size[0], size[1], 0, colorArray, 8, kNoiseEasy};
                ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(bytes, kind), flush, turn % 3 == 0 ? 2 : 8));
                const SNoiseCall words{size[0], size[1], 0, colorArray, wordDepth(turn), kNoiseEasy};
                ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(words, kind), flush, 16));
            }
        }
    }
}

// Only the derived pitch depends on the depth: 8-bit samples with depths of words, and the other way round.
TEST_F(CNoiseReductionModelTest, DerivedPitchFollowsTheDepth) {
    for (unsigned bits = 0; bits <= 40; ++bits) {
        for (const unsigned long mode : {kNoiseOff, kNoiseEasy, kNoiseStore}) {
            for (unsigned short colorArray = 1; colorArray <= 4; ++colorArray) {
                const SNoiseCall call{6, 4, 0, colorArray, static_cast<unsigned short>(bits), mode};
                ASSERT_TRUE(Run<std::uint8_t>(call, kFlushes[bits % 2], 8));
                ASSERT_TRUE(Run<std::uint16_t>(call, kFlushes[bits % 2], 16));
            }
        }
    }
    // 65535 bits are 8192 bytes.
    const SNoiseCall deepest{1, 4, 0, 1, 65535, kNoiseStore};
    ASSERT_TRUE(Run<std::uint8_t>(deepest, Flush::Right, 8));
    ASSERT_TRUE(Run<std::uint16_t>(deepest, Flush::Right, 16));
}

TEST_F(CNoiseReductionModelTest, DarkFrameEverySmallSize) {
    unsigned turn = 0;
    for (unsigned long height = 1; height <= 12; ++height) {
        for (unsigned long width = 1; width <= 12; ++width) {
            for (unsigned short colorArray = 0; colorArray <= 6; ++colorArray) {
                ++turn;
                const Flush flush = kFlushes[turn % 2];
                SNoiseCall bytes{width, height, turn % 3 == 0 ? 0 : width, colorArray, 8, kNoiseStore};
                ASSERT_TRUE(Run<std::uint8_t>(bytes, flush, 1 + turn % 8));
                SNoiseCall words{width,      height,          turn % 3 == 0 ? 0 : 2 * width,
                                 colorArray, wordDepth(turn), kNoiseComplex};
                for (unsigned again = 0; again < 3; ++again) {
                    bytes.mode = kNoiseComplex;
                    ASSERT_TRUE(Run<std::uint8_t>(bytes, flush, 8));
                    ASSERT_TRUE(Run<std::uint16_t>(words, flush, words.bits)); // the dark frame is one of bytes
                }
                words.mode = kNoiseStore;
                ASSERT_TRUE(Run<std::uint16_t>(words, flush, 1 + turn % words.bits));
                words.mode = kNoiseComplex;
                for (unsigned again = 0; again < 3; ++again) {
                    ASSERT_TRUE(Run<std::uint16_t>(words, flush, words.bits));
                    ASSERT_TRUE(Run<std::uint8_t>(bytes, flush, 8)); // now it is one of words
                }
            }
        }
    }
}

TEST_F(CNoiseReductionModelTest, DarkFrameLargerSizes) {
    unsigned turn = 0;
    for (const auto& size : kLargerSizes) {
        for (unsigned short colorArray = 1; colorArray <= 6; ++colorArray) {
            for (unsigned again = 0; again < 3; ++again) {
                ++turn;
                const Flush flush = kFlushes[turn % 2];
                SNoiseCall bytes{size[0], size[1], size[0], colorArray, 8, kNoiseStore};
                ASSERT_TRUE(Run<std::uint8_t>(bytes, flush, 1 + turn % 8));
                bytes.mode = kNoiseComplex;
                ASSERT_TRUE(Run<std::uint8_t>(bytes, flush, 8));
                SNoiseCall words{size[0], size[1], 2 * size[0], colorArray, wordDepth(turn), kNoiseStore};
                ASSERT_TRUE(Run<std::uint16_t>(words, flush, 1 + turn % words.bits));
                words.mode = kNoiseComplex;
                ASSERT_TRUE(Run<std::uint16_t>(words, flush, words.bits));
            }
        }
    }
}

// The saturation threshold of every depth, in samples that are too narrow for it as well.
TEST_F(CNoiseReductionModelTest, SaturationOfEveryDepth) {
    for (unsigned bits = 0; bits <= 31; ++bits) {
        for (unsigned short colorArray = 1; colorArray <= 5; ++colorArray) {
            for (unsigned again = 0; again < 6; ++again) {
                const Flush flush = kFlushes[again % 2];
                SNoiseCall bytes{8, 7, 8, colorArray, static_cast<unsigned short>(bits), kNoiseStore};
                ASSERT_TRUE(Run<std::uint8_t>(bytes, flush, 2 + again));
                bytes.mode = kNoiseComplex;
                ASSERT_TRUE(Run<std::uint8_t>(bytes, flush, std::clamp(bits, 1U, 8U)));
                SNoiseCall words{8, 7, 16, colorArray, static_cast<unsigned short>(bits), kNoiseStore};
                ASSERT_TRUE(Run<std::uint16_t>(words, flush, 2 + 2 * again));
                words.mode = kNoiseComplex;
                ASSERT_TRUE(Run<std::uint16_t>(words, flush, std::clamp(bits, 1U, 16U)));
            }
        }
    }
}

// Each sample about the threshold, live and subtracted: with a dark frame of 0 to 3, values are 0, S-4 to S+4 and full
// scale.
TEST_F(CNoiseReductionModelTest, AboutTheThreshold) {
    const auto run = [this](auto sample, unsigned short bits) {
        using T = decltype(sample);
        constexpr unsigned long width = 14;
        constexpr unsigned long height = 10;
        const std::uint32_t saturation = modelSaturation(bits, sizeof(T));
        const std::uint32_t full = (1U << bits) - 1;
        for (unsigned short colorArray = 1; colorArray <= 5; ++colorArray) {
            for (int again = 0; again < 12; ++again) {
                std::vector<T> dark(width * height);
                std::vector<T> live(width * height);
                for (std::size_t i = 0; i < dark.size(); ++i) {
                    const bool floor = i % width < 2 && i / width < 2;
                    dark[i] = static_cast<T>(floor ? 0 : Random().Below(4));
                    const std::uint64_t value = saturation + Random().Below(9) - 4;
                    live[i] = static_cast<T>(Random().Below(12) == 0 ? 0 : std::min<std::uint64_t>(value, full));
                }
                SNoiseCall call{width, height, 0, colorArray, bits, kNoiseStore};
                ASSERT_EQ(callNoiseReduction(*mModule, call, dark.data()), kOk);
                ASSERT_EQ(modelNoiseReduction(&mCheck.Model(), call, dark.data()), kOk);
                call.mode = kNoiseComplex;
                std::vector<T> expected = live;
                ASSERT_EQ(modelNoiseReduction(&mCheck.Model(), call, expected.data()), kOk);
                ASSERT_EQ(callNoiseReduction(*mModule, call, live.data()), kOk);
                ASSERT_EQ(live, expected) << call;
            }
        }
    };
    run(std::uint8_t{}, 8);
    run(std::uint8_t{}, 7);
    for (const unsigned short bits : {std::uint16_t{9}, std::uint16_t{10}, std::uint16_t{12}, std::uint16_t{14}}) {
        run(std::uint16_t{}, bits);
    }
    run(std::uint16_t{}, 16);
}

// Depths beyond any sample have no meaning; a repaired pixel may come up or not, everything else is as always.
TEST_F(CNoiseReductionModelTest, DeeperDepthsStaySafe) {
    for (const unsigned short bits : {std::uint16_t{32}, std::uint16_t{33}, std::uint16_t{39}, std::uint16_t{63},
                                      std::uint16_t{64}, std::uint16_t{71}, std::uint16_t{256}, std::uint16_t{65535}}) {
        for (unsigned short colorArray = 1; colorArray <= 5; ++colorArray) {
            constexpr unsigned long width = 8;
            constexpr unsigned long height = 6;
            std::vector<std::uint16_t> dark(width * height);
            std::vector<std::uint16_t> live(width * height);
            for (std::size_t i = 0; i < dark.size(); ++i) {
                const bool floor = i % width < 2 && i / width < 2;
                dark[i] = static_cast<std::uint16_t>(floor ? 0 : Random().Below(50));
                live[i] = static_cast<std::uint16_t>(Random().Below(2) * 65535);
            }
            const std::vector<std::uint16_t> before = live;
            ASSERT_EQ(mModule->NRProcW(width, height, 2 * width, colorArray, dark.data(), bits, kNoiseStore), kOk);
            ASSERT_EQ(mModule->NRProcW(width, height, 2 * width, colorArray, live.data(), bits, kNoiseComplex), kOk);
            for (std::size_t i = 0; i < live.size(); ++i) {
                const std::size_t x = i % width;
                const std::size_t y = i / width;
                const int subtracted = std::max(0, before[i] - dark[i]);
                const bool inside = x > 0 && x < width - 1 && y > 0 && y < height - 1;
                ASSERT_GE(live[i], subtracted) << bits << ' ' << i;
                ASSERT_TRUE(inside || live[i] == subtracted) << bits << ' ' << i;
            }
        }
    }
}

// Each field of the stored frame is compared, and what fails leaves the image and the dark frame.
TEST_F(CNoiseReductionModelTest, ComplexNeedsTheStoredGeometry) {
    const auto run = [this](auto sample, unsigned short bits) {
        using T = decltype(sample);
        const unsigned long bytes = sizeof(T);
        ASSERT_TRUE(Run<T>({8, 4, 8 * bytes, 2, bits, kNoiseStore}, Flush::Right, 5));
        const SNoiseCall others[] = {
            {4, 8, 4 * bytes, 2, bits, kNoiseComplex},   {8, 4, 8 * bytes, 5, bits, kNoiseComplex},
            {8, 4, 8 * bytes, 3, bits, kNoiseComplex},   {8, 4, 8 * bytes, 1, bits, kNoiseComplex},
            {8, 4, 8 * bytes, 0, bits, kNoiseComplex},   {8, 4, 8 * bytes, 0x102, bits, kNoiseComplex},
            {8, 4, 9 * bytes, 2, bits, kNoiseComplex},   {8, 4, 16 * bytes, 2, bits, kNoiseComplex},
            {8, 2, 16 * bytes, 2, bits, kNoiseComplex},  {8, 3, 8 * bytes, 2, bits, kNoiseComplex},
            {8, 5, 8 * bytes, 2, bits, kNoiseComplex},   {7, 4, 8 * bytes, 2, bits, kNoiseComplex},
            {7, 4, 7 * bytes, 2, bits, kNoiseComplex},   {16, 2, 16 * bytes, 2, bits, kNoiseComplex},
            {32, 1, 32 * bytes, 2, bits, kNoiseComplex}, {0, 4, 8 * bytes, 2, bits, kNoiseComplex},
            {8, 0, 8 * bytes, 2, bits, kNoiseComplex},   {2, 16, 2 * bytes, 2, bits, kNoiseComplex},
            {0, 0, 0, 2, bits, kNoiseComplex},           {0, 0, 0, 0, bits, kNoiseComplex},
        };
        for (const SNoiseCall& other : others) {
            ASSERT_TRUE(Run<T>(other, Flush::Right, bits));
            ASSERT_TRUE(DarkMatches<T>());
        }
        // Products and row lengths that come round to the stored ones in 64 bits.
        constexpr unsigned long k62 = 1UL << 62;
        for (const SNoiseCall& wrapped : {SNoiseCall{8 + k62 * 2, 4, 8 * bytes, 2, bits, kNoiseComplex},
                                          SNoiseCall{8 + k62, 4, 8 * bytes, 2, bits, kNoiseComplex},
                                          SNoiseCall{8, 4 + k62, 8 * bytes, 2, bits, kNoiseComplex},
                                          SNoiseCall{8, 4 + 2 * k62, 8 * bytes, 2, bits, kNoiseComplex},
                                          SNoiseCall{8 + (1UL << 32), 4, 8 * bytes, 2, bits, kNoiseComplex},
                                          SNoiseCall{8, 4 + (1UL << 32), 8 * bytes, 2, bits, kNoiseComplex},
                                          SNoiseCall{8, 4, 8 * bytes + (1UL << 32), 2, bits, kNoiseComplex}}) {
            EXPECT_EQ(WithoutImage<T>(wrapped), kInvalid) << wrapped;
            ASSERT_TRUE(DarkMatches<T>());
        }
    };
    run(std::uint8_t{}, 8);
    run(std::uint16_t{}, 12);
}

// The padding that makes a byte frame as large as a word frame does not let it pass for one.
TEST_F(CNoiseReductionModelTest, PaddedBytesOfferedToWords) {
    CImageArena<std::uint8_t> bytes(4096);
    CImageArena<std::uint16_t> words(4096);
    for (int round = 0; round < 40; ++round) {
        const unsigned long width = 4 + Random().Below(9);
        const unsigned long height = 2 + Random().Below(5);
        const Flush flush = kFlushes[round % 2];
        std::uint8_t* const dark = bytes.Place(2 * width * height, flush, 8);
        ASSERT_EQ(mModule->NRProcB(width, height, 2 * width, 1, dark, 8, kNoiseStore), kOk);
        std::uint16_t* const live = words.Place(2 * width * height, flush, 16);
        const std::vector<std::uint16_t> before(live, live + width * height);
        const unsigned long status = mModule->NRProcW(width, height, 2 * width, 1, live, 16, kNoiseComplex);
        // Sizes agree, sample widths do not: refused with nothing changed, or subtracted, and then inside the image.
        ASSERT_TRUE(status == kOk || status == kInvalid);
        ASSERT_TRUE(status == kOk || words.Check(2 * width));
        for (std::size_t i = 0; i < before.size(); ++i) {
            ASSERT_LE(live[i], before[i]);
        }
        // Bytes never get at a padded dark frame.
        ASSERT_EQ(WithoutImage<std::uint8_t>({width, height, 2 * width, 1, 8, kNoiseComplex}), kInvalid);
    }
}

TEST_F(CNoiseReductionModelTest, RandomHistories) {
    constexpr unsigned long sizes[][2] = {{4, 4}, {6, 4}, {5, 7}, {8, 6}, {2, 2}, {3, 3}, {12, 8}, {67, 5}};
    for (int round = 0; round < 60000; ++round) {
        constexpr unsigned long modes[] = {
            kNoiseOff,   kNoiseEasy,  kNoiseEasy, kNoiseComplex, kNoiseComplex, kNoiseComplex,
            kNoiseStore, kNoiseStore, 3,          ~0UL};
        constexpr unsigned short colorArrays[] = {1, 1, 2, 2, 3, 4, 5, 0, 6, 0x101};
        const auto& size = sizes[Random().Below(Random().Below(3) == 0 ? 8 : 2)];
        SNoiseCall call{size[0], size[1],
                        0,       colorArrays[Random().Below(Random().Below(2) == 0 ? 10 : 3)],
                        8,       modes[Random().Below(10)]};
        const Flush flush = kFlushes[Random().Below(2)];
        const auto kind = static_cast<unsigned>(Random().Below(20));
        if (Random().Below(2) == 0) {
            const unsigned depth = call.mode == kNoiseStore ? 1 + static_cast<unsigned>(Random().Below(8)) : 8;
            call = withPitch<std::uint8_t>(call, kind < 12 ? 4 : kind);
            ASSERT_TRUE(Run<std::uint8_t>(call, flush, depth)) << "round " << round;
        } else {
            call.bits = wordDepth(static_cast<unsigned>(Random().Below(6)));
            call = withPitch<std::uint16_t>(call, kind < 12 ? 4 : kind);
            const unsigned depth = call.mode == kNoiseStore ? 1 + static_cast<unsigned>(Random().Below(16)) : call.bits;
            ASSERT_TRUE(Run<std::uint16_t>(call, flush, depth)) << "round " << round;
        }
    }
}

// Every mode is a whole 64-bit number.
TEST_F(CNoiseReductionModelTest, ModeCodes) {
    ASSERT_TRUE(Run<std::uint8_t>({6, 4, 0, 1, 8, kNoiseStore}, Flush::Right, 4));
    for (unsigned bit = 0; bit < 64; ++bit) {
        for (const unsigned long low : {0UL, 1UL, 2UL, 3UL}) {
            const unsigned long mode = low ^ 1UL << bit;
            if (mode != kNoiseStore) {
                ASSERT_TRUE(Run<std::uint8_t>({6, 4, 0, 1, 8, mode}, Flush::Right, 8));
                ASSERT_TRUE(Run<std::uint16_t>({6, 4, 0, 1, 12, mode}, Flush::Right, 12));
            }
        }
    }
    for (const unsigned long mode : {3UL, 255UL, ~0UL, 0xFFFFFFFF80000000UL, 0x180000000UL, 0x80000001UL, 0x7FFFFFFFUL,
                                     0x100000000UL, 0x100000001UL, 0x100000002UL}) {
        const SNoiseCall call{6, 4, 0, 1, 8, mode};
        EXPECT_EQ(WithoutImage<std::uint8_t>(call), kInvalid) << mode;
        EXPECT_EQ(WithoutImage<std::uint16_t>(call), kInvalid) << mode;
        EXPECT_EQ(WithoutImage<std::uint8_t>({0, 0, 0, 1, 8, mode}), kInvalid) << mode;
    }
    EXPECT_TRUE(DarkMatches<std::uint8_t>());
}

// Mode 0 looks at nothing.
TEST_F(CNoiseReductionModelTest, OffTouchesNothing) {
    for (const unsigned short colorArray : {std::uint16_t{0}, std::uint16_t{1}, std::uint16_t{6}}) {
        for (const unsigned short bits : {std::uint16_t{0}, std::uint16_t{8}, std::uint16_t{65535}}) {
            for (const unsigned long size : {0UL, 1UL, 5UL, 1UL << 63, ~0UL}) {
                for (const unsigned long pitch : {0UL, 1UL, ~0UL}) {
                    const SNoiseCall call{size, size, pitch, colorArray, bits, kNoiseOff};
                    EXPECT_EQ(WithoutImage<std::uint8_t>(call), kOk);
                    EXPECT_EQ(WithoutImage<std::uint16_t>(call), kOk);
                }
            }
        }
    }
}

// Rows that do not fit their pitch are refused by every kind, and the dark frame outlives that.
TEST_F(CNoiseReductionModelTest, ShortPitch) {
    const auto run = [this](auto sample, unsigned short bits) {
        using T = decltype(sample);
        ASSERT_TRUE(Run<T>({8, 4, 8 * sizeof(T), 1, bits, kNoiseStore}, Flush::Right, 4));
        for (unsigned long pitch = sizeof(T); pitch < 8 * sizeof(T); pitch += sizeof(T)) {
            for (const unsigned long mode : {kNoiseEasy, kNoiseComplex, kNoiseStore}) {
                for (const unsigned short colorArray : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}}) {
                    const SNoiseCall call{8, 4, pitch, colorArray, bits, mode};
                    ASSERT_TRUE(Run<T>(call, Flush::Left, bits));
                    ASSERT_EQ(WithoutImage<T>(call), kInvalid) << call;
                }
            }
            ASSERT_TRUE(DarkMatches<T>());
        }
        // Row lengths that come round to a small number in 64 bits.
        constexpr unsigned long k62 = 1UL << 62;
        for (const unsigned long width : {4 * (k62 / sizeof(T)) - 1 + 9, 4 * (k62 / 2) + 4, ~0UL}) {
            EXPECT_EQ(WithoutImage<T>({width, 4, 8 * sizeof(T), 1, bits, kNoiseStore}), kInvalid) << width;
            ASSERT_TRUE(DarkMatches<T>());
        }
    };
    run(std::uint8_t{}, 8);
    run(std::uint16_t{}, 10);
}

// A snapshot that cannot be had makes the easy filter succeed at once: before the colour array is judged, and without
// the image.
TEST_F(CNoiseReductionModelTest, EasyWithoutMemory) {
    constexpr unsigned long k62 = 1UL << 62;
    for (const unsigned short colorArray : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}, std::uint16_t{6}}) {
        for (const SNoiseCall& call : {SNoiseCall{8, 4, k62, colorArray, 8, kNoiseEasy},
                                       SNoiseCall{8, 8, k62 / 2 + 16, colorArray, 8, kNoiseEasy},
                                       SNoiseCall{8, 4, 2 * k62, colorArray, 12, kNoiseEasy},
                                       SNoiseCall{8, 4, ~0UL - 15, colorArray, 12, kNoiseEasy},
                                       SNoiseCall{8, 2000000000, k62, colorArray, 12, kNoiseEasy}}) {
            EXPECT_EQ(WithoutImage<std::uint8_t>(call), kOk) << call;
            EXPECT_EQ(WithoutImage<std::uint16_t>(call), kOk) << call;
        }
    }
    // Heights beyond a signed number of 32 bits.
    for (const unsigned long height : {0x80000000UL, 0xFFFFFFFCUL}) {
        EXPECT_EQ(WithoutImage<std::uint8_t>({8, height, k62, 1, 8, kNoiseEasy}), kOk) << height;
        EXPECT_EQ(WithoutImage<std::uint16_t>({8, height, k62, 2, 8, kNoiseEasy}), kOk) << height;
    }
}

// A dark frame that cannot be had costs the one before; the image is not looked at.
TEST_F(CNoiseReductionModelTest, StoreWithoutMemory) {
    constexpr unsigned long k62 = 1UL << 62;
    CGuardedBuffer<std::uint16_t> image(1, Flush::Right);
    for (const SNoiseCall& call :
         {SNoiseCall{8, 4, k62, 1, 8, kNoiseStore}, SNoiseCall{8, 2, k62, 1, 8, kNoiseStore},
          SNoiseCall{8, k62, 16, 1, 8, kNoiseStore}, SNoiseCall{8, ~0UL, ~0UL - 15, 1, 8, kNoiseStore},
          SNoiseCall{8, k62 + 1, 16, 1, 8, kNoiseStore}}) {
        ASSERT_TRUE(Run<std::uint8_t>({8, 4, 8, 1, 8, kNoiseStore}, Flush::Right, 4));
        EXPECT_EQ(callNoiseReduction(*mModule, call, reinterpret_cast<std::uint8_t*>(image.data())), kNoMemory) << call;
        mCheck.Model() = SNoiseModel{};
        ASSERT_TRUE(Run<std::uint8_t>({8, 4, 8, 1, 8, kNoiseComplex}, Flush::Right, 8));
        EXPECT_EQ(WithoutImage<std::uint8_t>({8, 4, 8, 1, 8, kNoiseComplex}), kInvalid);
        EXPECT_EQ(WithoutImage<std::uint8_t>({call.width, call.height, call.pitch, 1, 8, kNoiseComplex}), kInvalid);
        ASSERT_TRUE(Run<std::uint16_t>({8, 4, 16, 1, 12, kNoiseStore}, Flush::Right, 4));
        EXPECT_EQ(callNoiseReduction(*mModule, call, image.data()), kNoMemory) << call;
        mCheck.Model() = SNoiseModel{};
        ASSERT_TRUE(Run<std::uint16_t>({8, 4, 16, 1, 12, kNoiseComplex}, Flush::Right, 12));
        // Neither memory nor image.
        const unsigned long status = WithoutImage<std::uint8_t>(call);
        EXPECT_TRUE(status == kNoMemory || status == kInvalid) << call;
    }
}

// An image ends with its last sample, not with the padding behind it: it may be a part of a larger image.
TEST_F(CNoiseReductionModelTest, StoreStaysInsideTheRows) {
    for (const unsigned long padding : {2UL, 16UL, 100UL}) {
        CGuardedBuffer<std::uint8_t> bytes(3 * (8 + padding) + 8, Flush::Right);
        EXPECT_EQ(mModule->NRProcB(8, 4, 8 + padding, 1, bytes.data(), 8, kNoiseStore), kOk);
        CGuardedBuffer<std::uint16_t> words(3 * (8 + padding / 2) + 8, Flush::Right);
        EXPECT_EQ(mModule->NRProcW(8, 4, 16 + padding, 1, words.data(), 12, kNoiseStore), kOk);
    }
}

// A null image of some pixels is refused by every kind that has not refused before.
TEST_F(CNoiseReductionModelTest, NullImage) {
    EXPECT_EQ(WithoutImage<std::uint8_t>({8, 4, 8, 1, 8, kNoiseComplex}), kInvalid);
    for (unsigned short colorArray = 0; colorArray <= 6; ++colorArray) {
        ASSERT_TRUE(Run<std::uint8_t>({8, 4, 8, colorArray, 8, kNoiseStore}, Flush::Right, 4));
        EXPECT_EQ(WithoutImage<std::uint8_t>({8, 4, 0, colorArray, 8, kNoiseComplex}), kInvalid);
        ASSERT_TRUE(DarkMatches<std::uint8_t>());
        EXPECT_EQ(WithoutImage<std::uint8_t>({8, 4, 0, colorArray, 8, kNoiseEasy}), kInvalid);
        EXPECT_EQ(WithoutImage<std::uint16_t>({8, 4, 0, colorArray, 12, kNoiseEasy}), kInvalid);
        ASSERT_TRUE(DarkMatches<std::uint8_t>());
        // The dark frame from before is still there or gone, but no other one is held.
        EXPECT_EQ(WithoutImage<std::uint8_t>({6, 6, 0, colorArray, 8, kNoiseStore}), kInvalid);
        EXPECT_EQ(WithoutImage<std::uint16_t>({6, 6, 0, colorArray, 12, kNoiseStore}), kInvalid);
        std::vector<std::uint8_t> image(36, 9);
        EXPECT_EQ(mModule->NRProcB(6, 6, 6, colorArray, image.data(), 8, kNoiseComplex), kInvalid);
        EXPECT_EQ(image, std::vector<std::uint8_t>(36, 9));
        std::vector<std::uint16_t> words(36, 9);
        EXPECT_EQ(mModule->NRProcW(6, 6, 12, colorArray, words.data(), 12, kNoiseComplex), kInvalid);
        EXPECT_EQ(words, std::vector<std::uint16_t>(36, 9));
    }
}

// No pixels: nothing is touched, whichever side is 0, and a great number of empty rows takes no time. Storing such a
// frame ends the one before.
TEST_F(CNoiseReductionModelTest, NoPixels) {
    constexpr unsigned long sizes[][2] = {{0, 0}, {0, 6}, {6, 0}, {0, 1UL << 40}, {1UL << 40, 0}, {0, ~0UL}};
    const auto run = [this](auto sample, unsigned short bits, const unsigned long(&size)[2]) {
        using T = decltype(sample);
        for (const unsigned short colorArray : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{6}}) {
            ASSERT_TRUE(Run<T>({4, 4, 0, colorArray, bits, kNoiseStore}, Flush::Right, 4));
            const unsigned long easy = WithoutImage<T>({size[0], size[1], 0, colorArray, bits, kNoiseEasy});
            EXPECT_TRUE(easy == kInvalid || (size[1] > 0x7FFFFFFF && easy == kOk)) << easy;
            EXPECT_EQ(WithoutImage<T>({size[0], size[1], 0, colorArray, bits, kNoiseComplex}), kInvalid);
            ASSERT_TRUE(DarkMatches<T>());
            const unsigned long stored = WithoutImage<T>({size[0], size[1], 0, colorArray, bits, kNoiseStore});
            EXPECT_TRUE(stored == kOk || stored == kNoMemory) << stored;
            EXPECT_EQ(WithoutImage<T>({4, 4, 0, colorArray, bits, kNoiseComplex}), kInvalid);
            const unsigned long complex = WithoutImage<T>({size[0], size[1], 0, colorArray, bits, kNoiseComplex});
            EXPECT_TRUE(complex == kInvalid || (complex == kOk && stored == kOk && colorArray != 6)) << complex;
            mCheck.Model() = SNoiseModel{};
            ASSERT_TRUE(Run<T>({4, 4, 0, colorArray, bits, kNoiseComplex}, Flush::Right, bits));
        }
    };
    for (const auto& size : sizes) {
        run(std::uint8_t{}, 8, size);
        run(std::uint16_t{}, 12, size);
    }
}

// The dark frame is a copy, survives the other modes, and modules share none.
TEST_F(CNoiseReductionModelTest, DarkFrameBelongsToTheModule) {
    const NoiseReductionPtr other = makeNoiseReduction();
    std::vector<std::uint8_t> dark(24, 3);
    dark[20] = 50;
    const SNoiseCall store{6, 4, 0, 1, 8, kNoiseStore};
    ASSERT_EQ(callNoiseReduction(*mModule, store, dark.data()), kOk);
    ASSERT_EQ(modelNoiseReduction(&mCheck.Model(), store, dark.data()), kOk);
    dark.assign(24, 200);
    for (int again = 0; again < 20; ++again) {
        ASSERT_TRUE(Run<std::uint8_t>({6, 4, 0, 1, 8, kNoiseComplex}, Flush::Left, 8));
        ASSERT_TRUE(Run<std::uint8_t>({6, 4, 0, 1, 8, kNoiseEasy}, Flush::Left, 8));
        ASSERT_TRUE(Run<std::uint16_t>({6, 4, 0, 1, 10, kNoiseComplex}, Flush::Left, 10));
        EXPECT_EQ(callNoiseReduction(*other, {6, 4, 0, 1, 8, kNoiseComplex}, dark.data()), kInvalid);
    }
    EXPECT_EQ(dark, std::vector<std::uint8_t>(24, 200));
}

} // namespace vek::test
