// SPDX-License-Identifier: Apache-2.0
// Tone curves against the model: every kind of curve at every depth, then images of every layout through them.
#include "imageproc/Gamma/GammaCalls.h"
#include "imageproc/Gamma/GammaCheck.h"

#include <algorithm>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned long kLargerSizes[][2] = {{67, 5}, {131, 3}, {259, 2}, {33, 7}, {64, 4}, {1, 130}, {514, 3}};
constexpr unsigned long kByteFormats[] = {1, 4, 8};
constexpr unsigned long kWordFormats[] = {16, 32, 256, 512};
constexpr unsigned short kColorArrays[] = {0, 1, 2, 3, 4, 5, 6, 11, 0x103, 65535};

class CGammaModelTest : public ::testing::Test {
protected:
    CGammaModelTest() : mModule(makeGamma()) {}

    ::testing::AssertionResult Set(const SGammaSetting& setting) {
        return mCheck.Set(setting,
                          [this](const SGammaSetting& s, void* table) { return callSetGamma(*mModule, s, table); });
    }
    ::testing::AssertionResult Read(unsigned channel, unsigned requested) {
        return mCheck.Read(static_cast<std::uint8_t>(channel), static_cast<std::uint16_t>(requested),
                           [this](auto... arguments) { return mModule->GetMode(arguments...); });
    }
    ::testing::AssertionResult SetAndRead(const SGammaSetting& setting) {
        ::testing::AssertionResult result = Set(setting);
        return result && setting.channel < kGammaChannels ? Read(setting.channel, 12) : result;
    }
    ::testing::AssertionResult ReadAll() {
        ::testing::AssertionResult result = ::testing::AssertionSuccess();
        for (unsigned channel = 0; channel < kGammaChannels && result; ++channel) {
            result = Read(channel, 12);
        }
        return result;
    }
    /// Random tables of all 16 bits in every channel; depths of 12, or 8.
    void SetRandomTables(unsigned short bits) {
        for (std::uint8_t channel = 0; channel < kGammaChannels; ++channel) {
            ASSERT_TRUE(Set({channel, 255, 0, 0, 0, bits}));
        }
    }

    template <class T>
    ::testing::AssertionResult Raw(SGammaCall call, Flush flush, unsigned depth) {
        call.raw = true;
        return Pixels<T>(call, flush, depth);
    }
    template <class T>
    ::testing::AssertionResult Pixels(const SGammaCall& call, Flush flush, unsigned depth) {
        return mCheck.Run<T>(call, flush, depth,
                             [this](const SGammaCall& c, T* image) { return callGamma(*mModule, c, image); });
    }
    CRandom& Random() { return mCheck.Random(); }

    GammaPtr mModule;
    CGammaCheck mCheck{1UL << 15};
};

/// Pitches of one kind; those of words stay even. Colour pixels of words stand twice their size apart, so that
/// their rows need twice the bytes.
template <class T>
SGammaCall withPitch(bool raw, SGammaCall call, unsigned kind) {
    if (kind % 5 != 4) {
        constexpr unsigned long paddings[] = {0, 1, 3, 16};
        call.pitch = modelExtent({call.width, 1, 0, call.selector, raw}, sizeof(T)) + paddings[kind % 5] * sizeof(T);
    }
    return call;
}

} // namespace

TEST_F(CGammaModelTest, Defaults) {
    for (unsigned channel = 0; channel < kGammaChannels; ++channel) {
        for (unsigned requested = 0; requested <= 20; ++requested) {
            ASSERT_TRUE(Read(channel, requested));
        }
        ASSERT_TRUE(Read(channel, 0x108));
        ASSERT_TRUE(Read(channel, 65535));
    }
}

TEST_F(CGammaModelTest, ModesAtEveryDepth) {
    for (unsigned short bits = 0; bits <= 12; ++bits) {
        for (const std::uint8_t mode : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{255}}) {
            for (std::uint8_t channel = 0; channel < kGammaChannels; ++channel) {
                ASSERT_TRUE(SetAndRead({channel, mode, static_cast<std::uint16_t>(60 + 70 * channel), 5, 3, bits}));
            }
        }
    }
}

TEST_F(CGammaModelTest, GammasBrightnessesAndContrastsAtEightBits) {
    for (const unsigned gamma : {1U, 2U, 10U, 33U, 45U, 50U, 99U, 100U, 101U, 180U, 200U, 220U, 1000U, 65535U}) {
        for (const int brightness : {0, 1, -1, 10, -40, 254, 255, 256, -255, -256, 32767, -32768}) {
            for (const unsigned contrast : {0U, 1U, 20U, 100U, 126U, 127U, 128U, 255U, 256U, 65535U}) {
                ASSERT_TRUE(
                    SetAndRead({1, static_cast<std::uint8_t>(1 + contrast % 2), static_cast<std::uint16_t>(gamma),
                                static_cast<std::int16_t>(brightness), static_cast<std::uint16_t>(contrast), 8}));
            }
        }
    }
}

TEST_F(CGammaModelTest, BrightnessAndContrastAtSmallDepths) {
    for (unsigned short bits = 0; bits <= 7; ++bits) {
        for (int brightness = -9; brightness <= 9; ++brightness) {
            constexpr std::uint16_t contrasts[] = {0, 1, 2, 3, 7, 15, 31, 63, 127, 128, 300};
            for (const std::uint16_t contrast : contrasts) {
                ASSERT_TRUE(SetAndRead({2, static_cast<std::uint8_t>(1 + bits % 2), 150,
                                        static_cast<std::int16_t>(brightness), contrast, bits}));
            }
        }
    }
}

// Contrasts above 127 turn the steepness negative: powers of negative numbers, of whole and of broken exponents.
TEST_F(CGammaModelTest, SteepContrastsAtLargeDepths) {
    std::int16_t brightness = 0;
    for (unsigned short bits = 9; bits <= 12; ++bits) {
        constexpr std::uint16_t contrasts[] = {126, 127, 128, 129, 130, 135, 200, 255, 511, 2046, 2047, 65535};
        for (const std::uint16_t contrast : contrasts) {
            constexpr std::uint16_t gammas[] = {1, 4, 5, 10, 20, 50, 70, 100, 200};
            for (const std::uint16_t gamma : gammas) {
                ASSERT_TRUE(SetAndRead({3, 1, gamma, brightness, contrast, bits})) << gamma << ' ' << contrast;
                brightness = static_cast<std::int16_t>(brightness == 0 ? 77 : brightness == 77 ? -300 : 0);
            }
        }
    }
}

// A long life of settings, refused ones among them; each leaves the other channels and what lies above its depth.
TEST_F(CGammaModelTest, RandomSettings) {
    for (int i = 0; i < 2000; ++i) {
        const SGammaSetting setting = randomGammaSetting(Random());
        ASSERT_TRUE(SetAndRead(setting)) << "round " << i;
        ASSERT_TRUE(Read(static_cast<unsigned>(Random().Below(5)), static_cast<unsigned>(Random().Below(16))));
        if (i % 50 == 0) {
            ASSERT_TRUE(ReadAll());
        }
    }
    ASSERT_TRUE(ReadAll());
}

TEST_F(CGammaModelTest, RefusedSettingsChangeNothing) {
    SetRandomTables(12);
    for (std::uint8_t channel = 0; channel < kGammaChannels; ++channel) {
        ASSERT_TRUE(Set({channel, 1, 150, 3, 4, 8}));
    }
    std::uint16_t table[4096] = {};
    for (unsigned channel = 5; channel <= 255; ++channel) {
        EXPECT_EQ(mModule->SetMode(static_cast<std::uint8_t>(channel), 0, 100, 0, 0, table, 8), kInvalid);
    }
    for (unsigned mode = 3; mode <= 254; ++mode) {
        EXPECT_EQ(mModule->SetMode(0, static_cast<std::uint8_t>(mode), 100, 0, 0, table, 8), kInvalid);
    }
    for (const std::uint8_t mode : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{255}}) {
        constexpr std::uint16_t depths[] = {13, 14, 16, 0x108, 65535};
        for (const std::uint16_t bits : depths) {
            EXPECT_EQ(mModule->SetMode(0, mode, 100, 0, 0, table, bits), kInvalid);
        }
    }
    EXPECT_EQ(mModule->SetMode(0, 1, 0, 9, 9, table, 12), kInvalid);
    EXPECT_EQ(mModule->SetMode(0, 2, 0, 9, 9, table, 12), kInvalid);
    for (std::uint16_t bits = 0; bits <= 12; ++bits) {
        EXPECT_EQ(mModule->SetMode(0, 255, 50, 9, 9, nullptr, bits), kInvalid);
    }
    EXPECT_TRUE(ReadAll());
}

// The table is read in mode 255 alone, gamma judged in the curve modes alone.
TEST_F(CGammaModelTest, UnusedArguments) {
    EXPECT_EQ(mModule->SetMode(0, 0, 0, 7, 7, nullptr, 10), kOk);
    modelSetGamma(&mCheck.Model(), {0, 0, 0, 7, 7, 10}, nullptr);
    EXPECT_EQ(mModule->SetMode(1, 1, 120, 7, 7, nullptr, 8), kOk);
    modelSetGamma(&mCheck.Model(), {1, 1, 120, 7, 7, 8}, nullptr);
    EXPECT_EQ(mModule->SetMode(2, 2, 120, 7, 7, nullptr, 9), kOk);
    modelSetGamma(&mCheck.Model(), {2, 2, 120, 7, 7, 9}, nullptr);
    ASSERT_TRUE(Set({3, 255, 0, 7, 7, 12}));
    EXPECT_TRUE(ReadAll());
}

// Each output may be missing, and the others arrive all the same.
TEST_F(CGammaModelTest, MissingOutputs) {
    ASSERT_TRUE(Set({4, 1, 222, -33, 0x1234, 11}));
    const std::uint16_t* const stored = mCheck.Model().table[4];
    for (unsigned missing = 0; missing < 64; ++missing) {
        std::uint8_t mode = 99;
        std::uint16_t gamma = 0;
        std::int16_t brightness = 0;
        std::uint8_t contrast[2] = {0xA5, 0xA5};
        std::vector<std::uint16_t> table(4096, 0xA5A5);
        std::uint16_t bits = 12;
        const auto here = [missing](unsigned i) { return (missing >> i & 1) == 0; };
        ASSERT_EQ(mModule->GetMode(4, here(0) ? &mode : nullptr, here(1) ? &gamma : nullptr,
                                   here(2) ? &brightness : nullptr, here(3) ? contrast : nullptr,
                                   here(4) ? table.data() : nullptr, here(5) ? &bits : nullptr),
                  kOk);
        EXPECT_EQ(mode, here(0) ? 1 : 99);
        EXPECT_EQ(gamma, here(1) ? 222 : 0);
        EXPECT_EQ(brightness, here(2) ? -33 : 0);
        EXPECT_EQ(bits, here(5) ? 11 : 12);
        EXPECT_EQ(contrast[0], here(3) ? 0x34 : 0xA5);
        EXPECT_EQ(contrast[1], here(3) && here(5) ? 0x12 : 0xA5);
        // Without bits: 256 bytes.
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(table.data());
        if (!here(4)) {
            EXPECT_EQ(table[0], 0xA5A5);
        } else if (here(5)) {
            EXPECT_TRUE(std::equal(table.begin(), table.end(), stored));
        } else {
            for (unsigned i = 0; i < 256; ++i) {
                ASSERT_EQ(bytes[i], stored[i] & 0xFF);
            }
            EXPECT_EQ(bytes[256], 0xA5);
        }
    }
}

TEST_F(CGammaModelTest, ReadingAnotherChannelWritesNothing) {
    for (unsigned channel = 5; channel <= 255; ++channel) {
        std::uint8_t mode = 99;
        std::uint16_t gamma = 99;
        std::int16_t brightness = 99;
        std::uint8_t contrast[2] = {99, 99};
        std::uint8_t table[8192] = {99};
        std::uint16_t bits = 12;
        EXPECT_EQ(
            mModule->GetMode(static_cast<std::uint8_t>(channel), &mode, &gamma, &brightness, contrast, table, &bits),
            kInvalid);
        EXPECT_EQ(mode, 99);
        EXPECT_EQ(gamma, 99);
        EXPECT_EQ(brightness, 99);
        EXPECT_EQ(contrast[0], 99);
        EXPECT_EQ(table[0], 99);
        EXPECT_EQ(bits, 12);
    }
}

TEST_F(CGammaModelTest, RawImagesOfEverySmallSize) {
    unsigned turn = 0;
    for (unsigned long height = 0; height <= 12; ++height) {
        for (unsigned long width = 0; width <= 12; ++width) {
            SetRandomTables(turn % 7 == 0 ? 8 : 12);
            for (const unsigned short colorArray : kColorArrays) {
                ++turn;
                const SGammaCall call{width, height, 0, colorArray};
                const Flush flush = kFlushes[turn / 5 % 2];
                ASSERT_TRUE(Raw<std::uint8_t>(withPitch<std::uint8_t>(true, call, turn), flush, 8));
                ASSERT_TRUE(
                    Raw<std::uint16_t>(withPitch<std::uint16_t>(true, call, turn), flush, turn % 3 == 0 ? 16 : 12));
            }
        }
    }
}

TEST_F(CGammaModelTest, PixelsOfEverySmallSize) {
    unsigned turn = 0;
    for (unsigned long height = 0; height <= 12; ++height) {
        for (unsigned long width = 0; width <= 12; ++width) {
            SetRandomTables(turn % 5 == 0 ? 8 : 12);
            for (const unsigned long format : kByteFormats) {
                ++turn;
                const SGammaCall call{width, height, 0, format};
                ASSERT_TRUE(
                    Pixels<std::uint8_t>(withPitch<std::uint8_t>(false, call, turn), kFlushes[turn / 5 % 2], 8));
            }
            for (const unsigned long format : kWordFormats) {
                ++turn;
                const SGammaCall call{width, height, 0, format};
                ASSERT_TRUE(Pixels<std::uint16_t>(withPitch<std::uint16_t>(false, call, turn), kFlushes[turn / 5 % 2],
                                                  turn % 3 == 0 ? 16 : 12));
            }
        }
    }
}

TEST_F(CGammaModelTest, OddLargerSizes) {
    unsigned turn = 0;
    for (const auto& size : kLargerSizes) {
        for (unsigned kind = 0; kind < 5; ++kind) {
            SetRandomTables(12);
            const Flush flush = kFlushes[++turn % 2];
            for (unsigned short colorArray = 2; colorArray <= 5; ++colorArray) {
                const SGammaCall call{size[0], size[1], 0, colorArray};
                ASSERT_TRUE(Raw<std::uint8_t>(withPitch<std::uint8_t>(true, call, kind), flush, 8));
                ASSERT_TRUE(Raw<std::uint16_t>(withPitch<std::uint16_t>(true, call, kind), flush, 13));
            }
            for (const unsigned long format : kByteFormats) {
                const SGammaCall call{size[0], size[1], 0, format};
                ASSERT_TRUE(Pixels<std::uint8_t>(withPitch<std::uint8_t>(false, call, kind), flush, 8));
            }
            for (const unsigned long format : kWordFormats) {
                const SGammaCall call{size[0], size[1], 0, format};
                ASSERT_TRUE(
                    Pixels<std::uint16_t>(withPitch<std::uint16_t>(false, call, kind), flush, kind % 2 == 0 ? 12 : 16));
            }
        }
    }
}

// Curves as they are meant to be used, small differences and clamping at both ends.
TEST_F(CGammaModelTest, ColorThroughCurves) {
    for (int i = 0; i < 60; ++i) {
        SGammaSetting setting = randomGammaSetting(Random());
        setting.channel = 0;
        setting.mode = static_cast<std::uint8_t>(1 + i % 2);
        setting.gamma = static_cast<std::uint16_t>(setting.gamma == 0 ? 45 : setting.gamma);
        setting.bits = static_cast<std::uint16_t>(i % 3 == 0 ? 8 : 12);
        ASSERT_TRUE(Set(setting));
        for (const unsigned long format : {4UL, 8UL}) {
            ASSERT_TRUE(Pixels<std::uint8_t>({41, 9, 0, format}, kFlushes[i % 2], 8));
        }
        for (const unsigned long format : {256UL, 512UL}) {
            ASSERT_TRUE(Pixels<std::uint16_t>({41, 9, 0, format}, kFlushes[i % 2], i % 4 == 1 ? 16 : 12));
        }
    }
}

// All formats that are not taken, at both widths; with the channel off every format passes.
TEST_F(CGammaModelTest, EveryFormat) {
    for (const std::uint8_t mode : {std::uint8_t{0}, std::uint8_t{1}}) {
        ASSERT_TRUE(Set({0, mode, 200, 10, 0, 8}));
        for (unsigned long format = 0; format <= 520; ++format) {
            ASSERT_TRUE(Pixels<std::uint8_t>({3, 2, 0, format}, kFlushes[format % 2], 8));
            ASSERT_TRUE(Pixels<std::uint16_t>({3, 2, 0, format}, kFlushes[format % 2], 12));
        }
        for (const unsigned long format : {0x10001UL, 0x10004UL, 0x100000001UL, 0x100000008UL, 0x100000010UL,
                                           0x100000100UL, 0x100000200UL, ~0UL, 0x8000000000000000UL}) {
            ASSERT_TRUE(Pixels<std::uint8_t>({3, 2, 0, format}, kFlushes[0], 8));
            ASSERT_TRUE(Pixels<std::uint16_t>({3, 2, 0, format}, kFlushes[1], 12));
        }
    }
}

// Raw images pass only when all four colours are off; the luma channel plays no part in it.
TEST_F(CGammaModelTest, EverySetOfRawChannels) {
    for (unsigned set = 0; set < 32; ++set) {
        for (std::uint8_t channel = 0; channel < kGammaChannels; ++channel) {
            const bool on = (set >> channel & 1) != 0;
            ASSERT_TRUE(Set({channel, static_cast<std::uint8_t>(on ? 2 : 0), 100, 0, 0,
                             static_cast<std::uint16_t>(set % 3 == 0 ? 7 : 12)}));
        }
        for (const unsigned short colorArray : kColorArrays) {
            ASSERT_TRUE(Raw<std::uint8_t>({5, 3, 0, colorArray}, kFlushes[set % 2], 8));
            ASSERT_TRUE(Raw<std::uint16_t>({5, 3, 0, colorArray}, kFlushes[set % 2], 13));
        }
    }
}

TEST_F(CGammaModelTest, NoPixels) {
    SetRandomTables(12);
    constexpr unsigned long large = 1UL << 62;
    const SGammaCall empty[] = {{0, 0, 0, 0},     {0, 7, 0, 0},    {9, 0, 0, 0},
                                {large, 0, 0, 0}, {~0UL, 0, 0, 0}, {3, 0, large, 0}};
    for (SGammaCall call : empty) {
        for (const Flush flush : kFlushes) {
            call.selector = 3;
            call.raw = true;
            ASSERT_TRUE(Raw<std::uint8_t>(call, flush, 8));
            ASSERT_TRUE(Raw<std::uint16_t>(call, flush, 12));
            EXPECT_EQ(callGamma(*mModule, call, kNoImage<std::uint8_t>), kOk);
            EXPECT_EQ(callGamma(*mModule, call, kNoImage<std::uint16_t>), kOk);
            call.raw = false;
            for (const unsigned long format : kByteFormats) {
                call.selector = format;
                ASSERT_TRUE(Pixels<std::uint8_t>(call, flush, 8));
                EXPECT_EQ(callGamma(*mModule, call, kNoImage<std::uint8_t>), kOk);
                EXPECT_EQ(callGamma(*mModule, call, kNoImage<std::uint16_t>), kInvalid);
            }
            for (const unsigned long format : kWordFormats) {
                call.selector = format;
                ASSERT_TRUE(Pixels<std::uint16_t>(call, flush, 12));
                EXPECT_EQ(callGamma(*mModule, call, kNoImage<std::uint16_t>), kOk);
                EXPECT_EQ(callGamma(*mModule, call, kNoImage<std::uint8_t>), kInvalid);
            }
        }
    }
}

// A great number of rows without a pixel takes no time.
TEST_F(CGammaModelTest, ManyEmptyRows) {
    SetRandomTables(12);
    EXPECT_EQ(mModule->ProcColorRawB(0, ~0UL, 0, 2, nullptr), kOk);
    EXPECT_EQ(mModule->ProcColorRawW(0, ~0UL, 64, 2, nullptr), kOk);
    for (const unsigned long format : kByteFormats) {
        EXPECT_EQ(mModule->ProcBGROrGrayB(0, ~0UL, 0, format, nullptr), kOk);
    }
    for (const unsigned long format : kWordFormats) {
        EXPECT_EQ(mModule->ProcBGROrGrayW(0, ~0UL, 64, format, nullptr), kOk);
    }
}

// A null image of some pixels is refused where it would be touched, behind every reason to pass it.
TEST_F(CGammaModelTest, NullImage) {
    for (const std::uint8_t mode : {std::uint8_t{0}, std::uint8_t{1}}) {
        for (std::uint8_t channel = 0; channel < kGammaChannels; ++channel) {
            ASSERT_TRUE(Set({channel, mode, 150, 0, 0, 8}));
        }
        for (const unsigned short colorArray : kColorArrays) {
            const unsigned long status = mode == 0 || colorArray == 1 ? kOk : kInvalid;
            EXPECT_EQ(mModule->ProcColorRawB(4, 2, 0, colorArray, nullptr), status);
            EXPECT_EQ(mModule->ProcColorRawW(4, 2, 0, colorArray, nullptr), status);
        }
        for (unsigned long format = 0; format <= 520; ++format) {
            EXPECT_EQ(mModule->ProcBGROrGrayB(4, 2, 0, format, nullptr), mode == 0 ? kOk : kInvalid);
            EXPECT_EQ(mModule->ProcBGROrGrayW(4, 2, 0, format, nullptr), mode == 0 ? kOk : kInvalid);
        }
    }
}

// Rows that overlap (a pitch below a row) are the caller's business: nothing outside of them is touched.
TEST_F(CGammaModelTest, OverlappingRowsStayInside) {
    SetRandomTables(12);
    CImageArena<std::uint8_t> bytes(1UL << 14);
    CImageArena<std::uint16_t> words(1UL << 14);
    for (const unsigned long width : {2UL, 7UL, 32UL, 70UL}) {
        for (const Flush flush : kFlushes) {
            SGammaCall call{width, 4, 2, 2, true};
            EXPECT_EQ(callGamma(*mModule, call, bytes.Place(modelExtent(call, 1), flush, 8)), kOk);
            EXPECT_EQ(callGamma(*mModule, call, words.Place(modelExtent(call, 2), flush, 16)), kOk);
            call.raw = false;
            for (const unsigned long format : kByteFormats) {
                call.selector = format;
                EXPECT_EQ(callGamma(*mModule, call, bytes.Place(modelExtent(call, 1), flush, 8)), kOk);
            }
            for (const unsigned long format : kWordFormats) {
                call.selector = format;
                EXPECT_EQ(callGamma(*mModule, call, words.Place(modelExtent(call, 2), flush, 16)), kOk);
                // Half the step from row to row: what the size of a pixel suggests.
                call.pitch = width * (format == 256 ? 6 : format == 512 ? 8 : 2);
                EXPECT_EQ(callGamma(*mModule, call, words.Place(modelExtent(call, 2), flush, 16)), kOk);
                call.pitch = 2;
            }
        }
    }
}

// Modules share nothing.
TEST_F(CGammaModelTest, ModulesAreIndependent) {
    const GammaPtr other = makeGamma();
    for (std::uint8_t channel = 0; channel < kGammaChannels; ++channel) {
        EXPECT_EQ(other->SetMode(channel, 2, 50, 3, 4, nullptr, 12), kOk);
    }
    EXPECT_TRUE(ReadAll());
}

} // namespace vek::test
