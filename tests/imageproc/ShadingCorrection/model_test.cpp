// SPDX-License-Identifier: Apache-2.0
// Shading correction against the model: sizes, pitches, depths, maps from outside, and long histories of one module.
#include "imageproc/ShadingCorrection/ShadingCalls.h"
#include "imageproc/ShadingCorrection/ShadingCheck.h"

#include <algorithm>
#include <climits>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned long kModes[] = {0, 1, 2, 3, 4, 255};

class CShadingModelTest : public ::testing::Test {
protected:
    CShadingModelTest() : mModule(makeShading()) {}

    void SetMode(unsigned long mode) {
        EXPECT_EQ(mModule->SetMode(mode), kOk);
        modelSetShadingMode(&mCheck.Model(), mode);
    }
    void SetColorArray(unsigned short colorArray) {
        EXPECT_EQ(mModule->SetColorArray(colorArray), kOk);
        mCheck.Model().colorArray = colorArray;
    }
    void SetTargets(const std::vector<std::uint16_t>& targets) {
        EXPECT_EQ(mModule->SetTargetEachColor(targets.data()), kOk);
        std::copy(targets.begin(), targets.end(), mCheck.Model().targets);
    }
    void SetRandomTargets(unsigned depth) {
        std::vector<std::uint16_t> targets(4);
        for (std::uint16_t& target : targets) {
            const std::uint64_t value = Random().Next() & ((1UL << depth) - 1);
            target = static_cast<std::uint16_t>(Random().Below(3) == 0 ? 0 : value);
        }
        if (Random().Below(3) == 0) {
            targets.assign(4, targets[0]);
        }
        SetTargets(targets);
    }
    /// A map of rows of gains and of rows of gains, offsets, levels and numbers that are none of these. Its rows and
    /// padding are random bytes otherwise, up to a protected page.
    void SetRandomMap(unsigned long width, unsigned long height, unsigned long pitch, Flush flush) {
        const unsigned long bytes = pitch * height;
        CGuardedBuffer<std::uint8_t> map(bytes, flush);
        for (unsigned long i = 0; i < bytes; ++i) {
            map[i] = static_cast<std::uint8_t>(Random().Next());
        }
        for (unsigned long y = 0; y < height; ++y) {
            const bool gains = Random().Below(2) == 0;
            for (unsigned long x = 0; x < width; ++x) {
                const std::int32_t entry = gains ? RandomGain() : RandomEntry();
                std::memcpy(map.data() + y * pitch + 4 * x, &entry, 4);
            }
        }
        ASSERT_EQ(mModule->SetMap(width, height, pitch, reinterpret_cast<const int*>(map.data())), kOk);
        modelSetMap(&mCheck.Model(), width, height, pitch, map.data());
    }
    /// One in 600 does not fit 15 bits: most rows of them do.
    std::int32_t RandomGain() {
        constexpr std::int32_t gains[] = {0, 127, 128, 2047, 2048, 32767};
        if (Random().Below(600) == 0) {
            return Random().Below(2) == 0 ? 32768 : -1;
        }
        return Random().Below(3) == 0 ? gains[Random().Below(6)] : static_cast<std::int32_t>(Random().Below(600));
    }
    std::int32_t RandomEntry() {
        constexpr std::int32_t entries[] = {0, 1, 127, 128, 129, 2048, -1, -20, -128, INT_MIN, INT_MAX - 65535, 65535};
        switch (Random().Below(4)) {
        case 0:
            return entries[Random().Below(12)];
        case 1:
            return static_cast<std::int32_t>(Random().Below(600));
        case 2:
            return static_cast<std::int32_t>(Random().Below(600)) - 300;
        default:
            // Sums with samples stay within 32 bits.
            return std::min(static_cast<std::int32_t>(static_cast<std::uint32_t>(Random().Next())), INT_MAX - 65535);
        }
    }

    template <class T>
    ::testing::AssertionResult Run(const SShadingCall& call, Flush flush, unsigned depth) {
        return mCheck.Run<T>(call, flush, depth,
                             [this](const SShadingCall& c, T* image) { return callShading(*mModule, c, image); });
    }

    /// Sizes, and every byte of the map.
    ::testing::AssertionResult MapMatches() {
        const SShadingModel& model = mCheck.Model();
        unsigned long width = 99;
        unsigned long height = 99;
        unsigned long pitch = 99;
        if (mModule->GetMap(&width, &height, &pitch, nullptr) != kOk) {
            return ::testing::AssertionFailure() << "the map's size cannot be read";
        }
        if (width != model.width || height != model.height || pitch != model.pitch) {
            return ::testing::AssertionFailure()
                   << "map of " << width << " x " << height << ", pitch " << pitch << ", not " << model.width << " x "
                   << model.height << ", pitch " << model.pitch;
        }
        CGuardedBuffer<std::uint8_t> map(model.map.size(), kFlushes[Random().Below(2)]);
        if (mModule->GetMap(nullptr, nullptr, nullptr, reinterpret_cast<int*>(map.data())) != kOk) {
            return ::testing::AssertionFailure() << "the map cannot be read";
        }
        for (std::size_t i = 0; i < model.map.size(); ++i) {
            if (map[i] != model.map[i]) {
                const unsigned long y = i / model.pitch;
                const unsigned long x = i % model.pitch / 4;
                std::int32_t entry = 0;
                std::memcpy(&entry, map.data() + i / 4 * 4, 4);
                return ::testing::AssertionFailure() << "map entry " << entry << " at row " << y << ", column " << x
                                                     << ", not " << modelMapEntry(model, y, x);
            }
        }
        return map.CanaryIntact() ? ::testing::AssertionSuccess()
                                  : ::testing::AssertionFailure() << "written outside of the map buffer";
    }
    ::testing::AssertionResult SettingsMatch() {
        const SShadingModel& model = mCheck.Model();
        unsigned long mode = 99;
        std::uint16_t colorArray = 99;
        std::uint16_t all = 99;
        std::uint16_t each[4] = {9, 9, 9, 9};
        if (mModule->GetMode(&mode) != kOk || mModule->GetColorArray(&colorArray) != kOk ||
            mModule->GetTargetAll(&all) != kOk || mModule->GetTargetEachColor(each) != kOk) {
            return ::testing::AssertionFailure() << "a setting cannot be read";
        }
        const unsigned sum = model.targets[0] + model.targets[1] + model.targets[2] + unsigned{model.targets[3]};
        if (mode != model.mode || colorArray != model.colorArray || all != sum / 4 ||
            !std::equal(each, each + 4, model.targets)) {
            return ::testing::AssertionFailure() << "settings are " << mode << ", " << colorArray << ", " << all;
        }
        return ::testing::AssertionSuccess();
    }

    /// Makes frames the sum of which says whether the state is the model's: one correction of each kind.
    template <class T>
    ::testing::AssertionResult StateMatches(const SShadingCall& call, unsigned depth) {
        ::testing::AssertionResult result = MapMatches();
        return result ? Run<T>(call, Flush::Right, depth) : result;
    }

    CRandom& Random() { return mCheck.Random(); }

    ShadingPtr mModule;
    CShadingCheck mCheck{1UL << 15};
};

/// Pitches of one kind, four bytes a pixel among them; those of words stay even.
template <class T>
SShadingCall withPitch(SShadingCall call, unsigned kind) {
    const unsigned long row = call.width * sizeof(T);
    const unsigned long pitches[] = {0, row, row + sizeof(T), row + 16, 4 * call.width, 2 * call.width};
    call.pitch = std::max(pitches[kind % 6], kind % 6 == 0 ? 0 : row);
    return call;
}

} // namespace

TEST_F(CShadingModelTest, EverySmallSize) {
    unsigned turn = 0;
    for (unsigned long height = 1; height <= 12; ++height) {
        for (unsigned long width = 1; width <= 12; ++width) {
            for (const unsigned short colorArray : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{0}}) {
                for (const unsigned long mode : {2UL, 4UL, 255UL}) {
                    ++turn;
                    const Flush flush = kFlushes[turn % 2];
                    SetColorArray(colorArray);
                    SetRandomTargets(8);
                    SetMode(turn % 3 == 0 ? 3 : 1);
                    const SShadingCall bytes{width, height, 0, 8};
                    ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(bytes, turn), flush, 8));
                    ASSERT_TRUE(MapMatches());
                    SetMode(mode);
                    ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(bytes, turn / 2), flush, 8));
                    ASSERT_TRUE(MapMatches());
                    ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(bytes, turn / 3), flush, 8));

                    SetRandomTargets(turn % 2 == 0 ? 12 : 6);
                    SetMode(turn % 3 == 1 ? 3 : 1);
                    const SShadingCall words{width, height, 0, static_cast<unsigned short>(turn % 2 == 0 ? 12 : 10)};
                    ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(words, turn), flush, 12));
                    SetMode(mode);
                    ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(words, turn / 2), flush, 12));
                    ASSERT_TRUE(MapMatches());
                    ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(words, turn / 3), flush, 16));
                }
            }
        }
    }
}

TEST_F(CShadingModelTest, LargerSizes) {
    constexpr unsigned long sizes[][2] = {{67, 5}, {131, 3}, {259, 2}, {66, 6}, {34, 8}, {64, 4}, {4, 66}, {33, 7},
                                          {2, 40}, {514, 4}, {65, 9},  {3, 65}, {1, 70}, {70, 1}, {40, 41}};
    unsigned turn = 0;
    for (const auto& size : sizes) {
        for (const unsigned short colorArray : {std::uint16_t{1}, std::uint16_t{3}}) {
            for (const unsigned long mode : {2UL, 4UL, 255UL}) {
                ++turn;
                const Flush flush = kFlushes[turn % 2];
                SetColorArray(colorArray);
                SetRandomTargets(8);
                SetMode(1);
                const SShadingCall bytes{size[0], size[1], 0, 8};
                ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(bytes, turn), flush, 8));
                SetMode(mode);
                ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(bytes, turn / 2), flush, 8));
                ASSERT_TRUE(MapMatches());
                SetMode(3);
                const SShadingCall words{size[0], size[1], 0, static_cast<unsigned short>(10 + turn % 3 * 2)};
                ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(words, turn), flush, words.bits));
                SetMode(mode);
                ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(words, turn / 2), flush, words.bits));
                ASSERT_TRUE(MapMatches());
            }
        }
    }
}

// Four bytes from pixel to pixel is the only pitch that keeps a mean; the others start anew with each frame.
TEST_F(CShadingModelTest, RunningMeans) {
    for (unsigned kind = 0; kind < 6; ++kind) {
        for (const unsigned long mode : {2UL, 4UL}) {
            for (unsigned frames = 1; frames <= 12; ++frames) {
                for (const unsigned short colorArray : {std::uint16_t{1}, std::uint16_t{5}}) {
                    SetColorArray(colorArray);
                    SetRandomTargets(frames % 2 == 0 ? 4 : 8);
                    SetMode(1);
                    const SShadingCall bytes{9, 8, 0, 8};
                    for (unsigned i = 0; i < frames; ++i) {
                        ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(bytes, kind), kFlushes[i % 2],
                                                      frames % 3 == 0 ? 1 : 8));
                    }
                    SetMode(mode);
                    ASSERT_TRUE(StateMatches<std::uint8_t>(bytes, 8));
                    ASSERT_TRUE(MapMatches());
                    SetMode(3);
                    const SShadingCall words{5, 13, 0, 12};
                    for (unsigned i = 0; i < frames; ++i) {
                        ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(words, kind), kFlushes[i % 2],
                                                       frames % 3 == 0 ? 2 : 12));
                    }
                    SetMode(mode);
                    ASSERT_TRUE(StateMatches<std::uint16_t>(words, 12));
                    ASSERT_TRUE(MapMatches());
                }
            }
        }
    }
}

// Bytes and words of the same size and pitch go into one mean.
TEST_F(CShadingModelTest, MeanOfBothSampleWidths) {
    SetMode(1);
    for (int i = 0; i < 9; ++i) {
        ASSERT_TRUE(Run<std::uint8_t>({6, 5, 24, 8}, Flush::Right, 8));
        ASSERT_TRUE(Run<std::uint16_t>({6, 5, 24, 12}, Flush::Right, 12));
    }
    SetMode(2);
    ASSERT_TRUE(Run<std::uint16_t>({6, 5, 24, 12}, Flush::Right, 12));
    ASSERT_TRUE(MapMatches());
}

// Maps of any numbers, in every mode and at every depth that samples have.
TEST_F(CShadingModelTest, MapsFromOutside) {
    unsigned turn = 0;
    for (const unsigned long mode : kModes) {
        SetMode(mode);
        for (unsigned bits = 0; bits <= 16; ++bits) {
            for (const unsigned long padding : {0UL, 4UL, 1UL, 20UL}) {
                ++turn;
                const unsigned long width = 1 + Random().Below(40);
                const unsigned long height = 1 + Random().Below(6);
                SetRandomMap(width, height, 4 * width + padding / 4 * 4, kFlushes[turn % 2]);
                ASSERT_TRUE(MapMatches());
                if (mode == 1 || mode == 3) {
                    continue;
                }
                const SShadingCall call{width, height, 0, static_cast<unsigned short>(bits)};
                const Flush flush = kFlushes[turn / 2 % 2];
                if (bits <= 8) {
                    ASSERT_TRUE(Run<std::uint8_t>(withPitch<std::uint8_t>(call, turn), flush, 8));
                }
                ASSERT_TRUE(Run<std::uint16_t>(withPitch<std::uint16_t>(call, turn), flush, turn % 2 == 0 ? 16 : 8));
                ASSERT_TRUE(MapMatches());
            }
        }
    }
}

// Every sample value with every kind of gain and offset.
TEST_F(CShadingModelTest, EverySampleValue) {
    for (const unsigned long mode : {2UL, 4UL, 255UL}) {
        SetMode(mode);
        for (const std::int32_t entry :
             {0,        1,  64, 127,  128,  129,  200,  2047,  2048,   4096, 32767, 32768, 65536,   8388480,
              16777216, -1, -2, -127, -128, -129, -255, -4095, -65535, 255,  254,   256,   INT_MIN, INT_MIN + 5}) {
            const std::vector<std::int32_t> map(65536, entry);
            ASSERT_EQ(mModule->SetMap(65536, 1, 4 * 65536, map.data()), kOk);
            modelSetMap(&mCheck.Model(), 65536, 1, 4 * 65536, map.data());
            for (const unsigned short bits : {std::uint16_t{8}, std::uint16_t{12}, std::uint16_t{16}}) {
                std::vector<std::uint16_t> image(65536);
                for (std::size_t i = 0; i < image.size(); ++i) {
                    image[i] = static_cast<std::uint16_t>(i);
                }
                std::vector<std::uint16_t> expected = image;
                const SShadingCall call{65536, 1, 0, bits};
                ASSERT_EQ(modelShading(&mCheck.Model(), call, expected.data()), kOk);
                ASSERT_EQ(callShading(*mModule, call, image.data()), kOk);
                ASSERT_EQ(image, expected) << mode << ' ' << entry << ' ' << bits;
            }
        }
    }
}

// Depths beyond a sample: results beyond it are cut or limited, but one of them throughout.
TEST_F(CShadingModelTest, DepthsBeyondTheSample) {
    unsigned turn = 0;
    for (const unsigned long mode : {2UL, 4UL, 255UL}) {
        for (unsigned bits = 9; bits <= 32; ++bits) {
            ++turn;
            SetMode(mode);
            SetRandomMap(13, 4, 52, kFlushes[turn % 2]);
            const SShadingCall call{13, 4, 0, static_cast<unsigned short>(bits)};
            ASSERT_TRUE(Run<std::uint8_t>(call, Flush::Right, 8));
            ASSERT_TRUE(Run<std::uint16_t>(call, Flush::Right, 16));
            SetMode(1);
            SetRandomTargets(16);
            ASSERT_TRUE(Run<std::uint16_t>(call, Flush::Right, 16));
            SetMode(mode);
            ASSERT_TRUE(Run<std::uint16_t>(call, Flush::Right, 16));
            ASSERT_TRUE(MapMatches());
        }
    }
}

// Depths that no number of 32 bits has: no harm, and the frame's padding stays.
TEST_F(CShadingModelTest, DeeperDepthsStaySafe) {
    CImageArena<std::uint16_t> arena(4096);
    for (const unsigned long mode : {2UL, 4UL, 255UL}) {
        for (const unsigned short bits : {std::uint16_t{33}, std::uint16_t{64}, std::uint16_t{1023},
                                          std::uint16_t{1024}, std::uint16_t{40000}, std::uint16_t{65535}}) {
            EXPECT_EQ(mModule->SetMode(1), kOk);
            std::uint16_t* image = arena.Place(9 * 8 * 2, Flush::Right, 16);
            EXPECT_EQ(mModule->ProcessW(9, 8, 0, image, bits), kOk);
            EXPECT_TRUE(arena.Check(18));
            EXPECT_EQ(mModule->SetMode(mode), kOk);
            image = arena.Place(7 * 22 + 18, Flush::Right, 16);
            EXPECT_EQ(mModule->ProcessW(9, 8, 22, image, bits), kOk);
            for (unsigned long y = 0; y < 8; ++y) {
                std::copy_n(image + 11 * y, 9, arena.Expected() + 11 * y);
            }
            EXPECT_TRUE(arena.Check(22));
        }
    }
}

// A sum beyond 32 bits wraps or does not; it is 0 or full scale.
TEST_F(CShadingModelTest, OffsetsAtTheEndStaySafe) {
    const std::vector<std::int32_t> map(16, INT_MAX);
    EXPECT_EQ(mModule->SetMap(16, 1, 64, map.data()), kOk);
    EXPECT_EQ(mModule->SetMode(4), kOk);
    std::vector<std::uint16_t> image(16, 65535);
    image[0] = 0; // INT_MAX itself
    EXPECT_EQ(mModule->ProcessW(16, 1, 0, image.data(), 12), kOk);
    EXPECT_EQ(image[0], 4095);
    for (const std::uint16_t sample : image) {
        EXPECT_TRUE(sample == 0 || sample == 4095) << sample;
    }
}

TEST_F(CShadingModelTest, RandomHistories) {
    constexpr unsigned long sizes[][2] = {{4, 4}, {5, 3}, {8, 8}, {1, 1}, {17, 6}};
    for (int round = 0; round < 40000; ++round) {
        switch (Random().Below(12)) {
        case 0:
        case 1: {
            constexpr unsigned long modes[] = {0, 1, 1, 1, 2, 2, 3, 3, 4, 4, 255, 5, 256, 0x100000001UL};
            SetMode(modes[Random().Below(14)]);
            break;
        }
        case 2:
            SetRandomTargets(Random().Below(2) == 0 ? 8 : 14);
            break;
        case 3:
            if (Random().Below(2) == 0) {
                const auto target = static_cast<std::uint16_t>(Random().Below(2) == 0 ? 0 : Random().Next());
                ASSERT_EQ(mModule->SetTargetAll(target), kOk);
                std::fill_n(mCheck.Model().targets, 4, target);
            } else {
                constexpr unsigned short colorArrays[] = {0, 1, 1, 1, 2, 3, 6, 0x101, 65535};
                SetColorArray(colorArrays[Random().Below(9)]);
            }
            break;
        case 4: {
            const auto& size = sizes[Random().Below(2)];
            SetRandomMap(size[0], size[1], 4 * size[0] + 4 * Random().Below(2), kFlushes[Random().Below(2)]);
            break;
        }
        default:
            break;
        }
        const auto& size = sizes[Random().Below(Random().Below(4) == 0 ? 5 : 2)];
        constexpr unsigned short depths[] = {8, 8, 8, 7, 1, 0};
        constexpr unsigned short wordDepths[] = {10, 12, 16, 14, 8, 9};
        const auto kind = static_cast<unsigned>(Random().Below(3) == 0 ? 4 : Random().Below(6));
        const Flush flush = kFlushes[Random().Below(2)];
        if (Random().Below(2) == 0) {
            const SShadingCall call = withPitch<std::uint8_t>({size[0], size[1], 0, depths[Random().Below(6)]}, kind);
            if (!modelMixesSizes(mCheck.Model(), call, 1)) {
                ASSERT_TRUE(Run<std::uint8_t>(call, flush, 8)) << "round " << round;
            }
        } else {
            const SShadingCall call =
                withPitch<std::uint16_t>({size[0], size[1], 0, wordDepths[Random().Below(6)]}, kind);
            if (!modelMixesSizes(mCheck.Model(), call, 2)) {
                ASSERT_TRUE(Run<std::uint16_t>(call, flush, Random().Below(2) == 0 ? 16 : 8)) << "round " << round;
            }
        }
        ASSERT_TRUE(MapMatches()) << "round " << round;
        ASSERT_TRUE(SettingsMatch()) << "round " << round;
    }
}

// A map of another size comes while a calibration waits for its rebuild, and frames of either size follow.
TEST_F(CShadingModelTest, MapOfAnotherSizeInBetween) {
    constexpr unsigned long sizes[][2] = {{4, 4}, {9, 8}, {1, 1}, {8, 9}, {16, 1}, {1, 16}, {2, 8}};
    for (const auto& calibrated : sizes) {
        for (const auto& set : sizes) {
            for (const unsigned long mode : {2UL, 4UL, 255UL}) {
                for (const unsigned long padding : {0UL, 8UL}) {
                    SetMode(1);
                    ASSERT_TRUE(Run<std::uint8_t>({calibrated[0], calibrated[1], 0, 8}, Flush::Right, 8));
                    SetRandomMap(set[0], set[1], 4 * set[0] + padding, Flush::Right);
                    SetMode(mode);
                    ASSERT_TRUE(Run<std::uint8_t>({calibrated[0], calibrated[1], 0, 8}, Flush::Right, 8));
                    ASSERT_TRUE(MapMatches());
                    ASSERT_TRUE(Run<std::uint16_t>({set[0], set[1], 0, 12}, Flush::Right, 12));
                    ASSERT_TRUE(MapMatches());
                }
            }
        }
    }
}

// A frame of the size and pitch of the map that was set, while the mean is one of another size: added or started anew,
// but inside of it. What follows a new start is as always.
TEST_F(CShadingModelTest, FrameOfTheOtherSizeStaysInside) {
    constexpr unsigned long sizes[][2] = {{4, 4}, {40, 30}, {1, 1}, {300, 1}, {1, 300}};
    CImageArena<std::uint8_t> arena(1UL << 15);
    for (const auto& calibrated : sizes) {
        for (const auto& set : sizes) {
            for (const unsigned long mode : {2UL, 4UL, 255UL}) {
                SetMode(3);
                ASSERT_TRUE(Run<std::uint8_t>({calibrated[0], calibrated[1], 0, 8}, Flush::Right, 8));
                SetRandomMap(set[0], set[1], 4 * set[0], Flush::Right);
                const SShadingCall call{set[0], set[1], 4 * set[0], 8};
                for (int again = 0; again < 3; ++again) {
                    std::uint8_t* const image = arena.Place(modelExtent(call, 1), Flush::Right, 8);
                    ASSERT_EQ(callShading(*mModule, call, image), kOk);
                    ASSERT_TRUE(arena.Check(call.pitch));
                }
                ASSERT_EQ(mModule->SetMode(mode), kOk);
                std::uint8_t* const image = arena.Place(modelExtent(call, 1), Flush::Right, 8);
                ASSERT_EQ(callShading(*mModule, call, image), kOk);
                SetMode(1);
                ASSERT_TRUE(Run<std::uint8_t>({4, 4, 0, 8}, Flush::Right, 8));
                SetMode(2);
                ASSERT_TRUE(Run<std::uint8_t>({4, 4, 0, 8}, Flush::Right, 8));
                ASSERT_TRUE(MapMatches());
            }
        }
    }
}

// Refused maps leave everything: one that is missing, and one whose rows are longer than the pitch, in 64 bits too.
TEST_F(CShadingModelTest, RefusedMaps) {
    constexpr unsigned long k62 = 1UL << 62;
    const std::vector<std::int32_t> entries(64, 77);
    for (const bool held : {false, true}) {
        if (held) {
            SetRandomMap(3, 2, 16, Flush::Right);
        }
        EXPECT_EQ(mModule->SetMap(3, 2, 12, nullptr), kInvalid);
        EXPECT_EQ(mModule->SetMap(3, 2, 16, nullptr), kInvalid);
        for (const unsigned long pitch : {0UL, 1UL, 3UL, 4UL, 11UL}) {
            EXPECT_EQ(mModule->SetMap(3, 2, pitch, entries.data()), kInvalid) << pitch;
        }
        EXPECT_EQ(mModule->SetMap(k62, 1, 0, entries.data()), kInvalid);
        EXPECT_EQ(mModule->SetMap(k62 + 1, 1, 4, entries.data()), kInvalid);
        EXPECT_EQ(mModule->SetMap(2 * k62 + 2, 2, 64, entries.data()), kInvalid);
        EXPECT_EQ(mModule->SetMap(~0UL, 1, ~0UL - 3, entries.data()), kInvalid);
        ASSERT_TRUE(MapMatches());
    }
    // A calibration that waits is not lost either.
    SetMode(1);
    ASSERT_TRUE(Run<std::uint8_t>({4, 4, 0, 8}, Flush::Right, 8));
    EXPECT_EQ(mModule->SetMap(4, 4, 12, entries.data()), kInvalid);
    EXPECT_EQ(mModule->SetMap(4, 4, 16, nullptr), kInvalid);
    SetMode(2);
    ASSERT_TRUE(Run<std::uint8_t>({4, 4, 0, 8}, Flush::Right, 8));
    ASSERT_TRUE(MapMatches());
}

// A map that cannot be had: the one before is gone by then, the given one not looked at.
TEST_F(CShadingModelTest, MapWithoutMemory) {
    constexpr unsigned long k62 = 1UL << 62;
    CGuardedBuffer<std::int32_t> one(1, Flush::Right);
    for (const bool held : {true, false, true}) {
        for (const auto& size : {std::vector<unsigned long>{1, 4, k62}, std::vector<unsigned long>{1, k62, 16},
                                 std::vector<unsigned long>{1, 2, k62}, std::vector<unsigned long>{1, ~0UL, ~0UL - 3},
                                 std::vector<unsigned long>{k62 - 1, 3, 4 * (k62 - 1)}}) {
            if (held) {
                SetRandomMap(3, 2, 12, Flush::Right);
            }
            EXPECT_EQ(mModule->SetMap(size[0], size[1], size[2], one.data()), kNoMemory);
            SShadingModel& model = mCheck.Model();
            model.hasMap = false;
            model.map.clear();
            model.width = model.height = model.pitch = 0;
            ASSERT_TRUE(MapMatches());
            SetMode(255);
            ASSERT_TRUE(Run<std::uint8_t>({3, 2, 0, 8}, Flush::Right, 8));
            ASSERT_TRUE(Run<std::uint8_t>({1, 1, 0, 8}, Flush::Right, 8));
        }
    }
}

// A calibration that cannot be had is 1, touches no image, and leaves nothing to rebuild.
TEST_F(CShadingModelTest, CalibrationWithoutMemory) {
    constexpr unsigned long k31 = 1UL << 31;
    CGuardedBuffer<std::uint16_t> one(1, Flush::Right);
    one[0] = 77;
    for (const unsigned long mode : {1UL, 3UL}) {
        for (const auto& size :
             {std::vector<unsigned long>{k31, k31}, std::vector<unsigned long>{2 * k31, 2 * k31},
              std::vector<unsigned long>{k31 * k31, 4}, std::vector<unsigned long>{~0UL, ~0UL},
              std::vector<unsigned long>{k31, k31 / 2}, std::vector<unsigned long>{2 * k31 * k31, 2}}) {
            SetMode(mode);
            ASSERT_TRUE(Run<std::uint8_t>({4, 4, 16, 8}, Flush::Right, 8));
            EXPECT_EQ(mModule->ProcessB(size[0], size[1], 1, reinterpret_cast<std::uint8_t*>(one.data()), 8), 1U);
            EXPECT_EQ(mModule->ProcessW(size[0], size[1], 2, one.data(), 12), 1U);
            EXPECT_EQ(one[0], 77);
            unsigned long width = 9;
            unsigned long height = 9;
            EXPECT_EQ(mModule->GetMap(&width, &height, nullptr, nullptr), kOk);
            EXPECT_TRUE((width == 0 && height == 0) || (width == 4 && height == 4)) << width << ' ' << height;
            // The next frame starts a calibration of its own.
            SetMode(mode);
            ASSERT_TRUE(Run<std::uint16_t>({4, 4, 16, 12}, Flush::Right, 12));
            SetMode(2);
            ASSERT_TRUE(Run<std::uint16_t>({4, 4, 16, 12}, Flush::Right, 12));
            ASSERT_TRUE(MapMatches());
        }
    }
}

// A null image is refused where it would be touched: neither without a map of its size nor in modes that do nothing.
TEST_F(CShadingModelTest, NullImage) {
    for (const unsigned long mode : {0UL, 2UL, 4UL, 5UL, 254UL, 255UL, 256UL, 0x100000002UL, ~0UL}) {
        SetMode(mode);
        EXPECT_EQ(mModule->ProcessB(4, 4, 0, nullptr, 8), kOk);
        EXPECT_EQ(mModule->ProcessW(4, 4, 0, nullptr, 12), kOk);
    }
    SetRandomMap(4, 4, 16, Flush::Right);
    for (const unsigned long mode : {0UL, 2UL, 4UL, 5UL, 255UL}) {
        SetMode(mode);
        const unsigned long expected = mode == 0 || mode == 5 ? kOk : kInvalid;
        EXPECT_EQ(mModule->ProcessB(4, 4, 0, nullptr, 8), expected) << mode;
        EXPECT_EQ(mModule->ProcessW(4, 4, 0, nullptr, 12), expected) << mode;
        EXPECT_EQ(mModule->ProcessB(4, 5, 0, nullptr, 8), kOk) << mode;
        EXPECT_EQ(mModule->ProcessW(3, 4, 0, nullptr, 12), kOk) << mode;
    }
    ASSERT_TRUE(MapMatches());
}

// A null frame adds nothing to a mean of its size and pitch.
TEST_F(CShadingModelTest, NullCalibrationFrame) {
    for (const unsigned long mode : {1UL, 3UL}) {
        SetMode(mode);
        EXPECT_EQ(mModule->ProcessB(4, 4, 16, nullptr, 8), kInvalid);
        SetMode(mode);
        for (int i = 0; i < 4; ++i) {
            ASSERT_TRUE(Run<std::uint8_t>({4, 4, 16, 8}, Flush::Right, 8));
            EXPECT_EQ(mModule->ProcessB(4, 4, 16, nullptr, 8), kInvalid);
            EXPECT_EQ(mModule->ProcessW(4, 4, 16, nullptr, 8), kInvalid);
        }
        SetMode(2);
        // A null image in front of the rebuild: it happens now or with the frame that follows.
        EXPECT_EQ(mModule->ProcessB(4, 4, 0, nullptr, 8), kInvalid);
        ASSERT_TRUE(Run<std::uint8_t>({4, 4, 0, 8}, Flush::Right, 8));
        ASSERT_TRUE(MapMatches());
    }
    // Of another size it may end the mean, and no more.
    SetMode(1);
    ASSERT_TRUE(Run<std::uint8_t>({4, 4, 16, 8}, Flush::Right, 8));
    EXPECT_EQ(mModule->ProcessB(40, 40, 0, nullptr, 8), kInvalid);
    SetMode(2);
    std::vector<std::uint8_t> image(1600, 100);
    EXPECT_EQ(mModule->ProcessB(40, 40, 0, image.data(), 8), kOk);
    EXPECT_EQ(mModule->ProcessB(4, 4, 0, image.data(), 8), kOk);
}

// Frames without pixels: nothing is touched, however large the other side is, and the state stays sound.
TEST_F(CShadingModelTest, NoPixels) {
    constexpr unsigned long sizes[][2] = {{0, 0}, {0, 6}, {6, 0}, {~0UL, 0}, {1UL << 62, 0}};
    for (const auto& size : sizes) {
        for (const unsigned long mode : kModes) {
            for (const unsigned long pitch : {0UL, 8UL}) {
                SetMode(1);
                ASSERT_TRUE(Run<std::uint8_t>({4, 4, 0, 8}, Flush::Right, 8));
                SetMode(mode);
                for (int again = 0; again < 2; ++again) {
                    const unsigned long status = mModule->ProcessB(size[0], size[1], pitch, nullptr, 8);
                    const bool calibrating = mode == 1 || mode == 3;
                    EXPECT_TRUE(status == kOk || (calibrating && status == 1)) << status;
                    EXPECT_EQ(mModule->ProcessW(size[0], size[1], pitch, nullptr, 12), status);
                }
                // A calibration without pixels has replaced the map and leaves frames alone.
                if (mode == 1 || mode == 3) {
                    EXPECT_EQ(mModule->SetMode(2), kOk);
                    std::vector<std::uint8_t> image(16, 9);
                    EXPECT_EQ(mModule->ProcessB(4, 4, 0, image.data(), 8), kOk);
                    EXPECT_EQ(image, std::vector<std::uint8_t>(16, 9));
                    EXPECT_EQ(mModule->ProcessB(size[0], size[1], pitch, nullptr, 8), kOk);
                }
            }
        }
    }
}

// A great number of rows without a pixel takes no time, in a calibration, its rebuild and a correction.
TEST_F(CShadingModelTest, ManyEmptyRows) {
    for (const unsigned long height : {1UL << 40, ~0UL}) {
        for (const unsigned long mode : {2UL, 4UL, 255UL}) {
            EXPECT_EQ(mModule->SetMode(1), kOk);
            const unsigned long status = mModule->ProcessB(0, height, 0, nullptr, 8);
            EXPECT_TRUE(status == kOk || status == 1) << status;
            EXPECT_EQ(mModule->ProcessW(0, height, 0, nullptr, 12), status);
            EXPECT_EQ(mModule->SetMode(mode), kOk);
            EXPECT_EQ(mModule->ProcessB(0, height, 0, nullptr, 8), kOk);
            EXPECT_EQ(mModule->ProcessW(0, height, 64, nullptr, 12), kOk);
        }
    }
}

// Maps without entries are maps of that size, or cannot be had.
TEST_F(CShadingModelTest, EmptyMaps) {
    constexpr unsigned long sizes[][3] = {{0, 0, 0}, {0, 5, 0}, {5, 0, 20}, {0, 5, 8}, {0, ~0UL, 0}, {5, 0, ~0UL - 3}};
    for (const auto& size : sizes) {
        const std::size_t bytes = size[1] > 100 ? 0 : size[1] * size[2];
        CGuardedBuffer<std::uint8_t> map(bytes, Flush::Right);
        const auto* const entries = reinterpret_cast<const int*>(map.data());
        const unsigned long status = mModule->SetMap(size[0], size[1], size[2], entries);
        EXPECT_TRUE(status == kOk || status == kNoMemory) << size[0] << ' ' << size[1];
        for (const unsigned long mode : {2UL, 4UL, 255UL}) {
            EXPECT_EQ(mModule->SetMode(mode), kOk);
            EXPECT_EQ(mModule->ProcessB(size[0], size[1], 0, nullptr, 8), kOk);
            std::uint8_t image = 9;
            EXPECT_EQ(mModule->ProcessB(1, 1, 0, &image, 8), kOk);
            EXPECT_EQ(image, 9);
        }
        EXPECT_EQ(mModule->GetMap(nullptr, nullptr, nullptr, reinterpret_cast<int*>(map.data())), kOk);
        EXPECT_TRUE(map.CanaryIntact());
    }
}

// Rows that overlap (a pitch below a row) are the caller's business: nothing outside of them is touched.
TEST_F(CShadingModelTest, OverlappingRowsStayInside) {
    CImageArena<std::uint8_t> bytes(4096);
    CImageArena<std::uint16_t> words(4096);
    for (const unsigned long mode : kModes) {
        for (const unsigned long width : {2UL, 7UL, 32UL, 70UL}) {
            for (const Flush flush : kFlushes) {
                SetRandomMap(width, 4, 4 * width, flush);
                EXPECT_EQ(mModule->SetMode(mode), kOk);
                std::uint8_t* const b = bytes.Place(imageExtent(width, 4, 1, width), flush, 8);
                const unsigned long statusB = mModule->ProcessB(width, 4, 1, b, 8);
                EXPECT_TRUE(statusB == kOk || statusB == kInvalid);
                std::uint16_t* const w = words.Place(imageExtent(width, 4, 2, 2 * width), flush, 10);
                const unsigned long statusW = mModule->ProcessW(width, 4, 2, w, 10);
                EXPECT_EQ(statusW, statusB);
            }
        }
    }
}

// Each output of GetMap may be missing; without a map its buffer stays.
TEST_F(CShadingModelTest, GetMapOutputs) {
    EXPECT_EQ(mModule->GetMap(nullptr, nullptr, nullptr, nullptr), kOk);
    int entry = 77;
    EXPECT_EQ(mModule->GetMap(nullptr, nullptr, nullptr, &entry), kOk);
    EXPECT_EQ(entry, 77);
    EXPECT_TRUE(MapMatches());
    SetRandomMap(3, 2, 16, Flush::Left);
    unsigned long value = 99;
    EXPECT_EQ(mModule->GetMap(&value, nullptr, nullptr, nullptr), kOk);
    EXPECT_EQ(value, 3U);
    EXPECT_EQ(mModule->GetMap(nullptr, &value, nullptr, nullptr), kOk);
    EXPECT_EQ(value, 2U);
    EXPECT_EQ(mModule->GetMap(nullptr, nullptr, &value, nullptr), kOk);
    EXPECT_EQ(value, 16U);
    EXPECT_TRUE(MapMatches());
}

// Settings are kept as given, all 16 or 64 bits of them, and modules share none.
TEST_F(CShadingModelTest, SettersAndGetters) {
    const ShadingPtr other = makeShading();
    EXPECT_TRUE(SettingsMatch());
    for (unsigned bit = 0; bit < 64; ++bit) {
        SetMode(1UL << bit);
        SetColorArray(static_cast<std::uint16_t>(1U << bit % 16));
        SetTargets({static_cast<std::uint16_t>(bit), 65535, 3, static_cast<std::uint16_t>(1U << bit % 16)});
        EXPECT_TRUE(SettingsMatch());
        EXPECT_EQ(mModule->GetMode(nullptr), kOk);
    }
    for (const std::uint16_t target :
         {std::uint16_t{0}, std::uint16_t{1}, std::uint16_t{40000}, std::uint16_t{65535}}) {
        EXPECT_EQ(mModule->SetTargetAll(target), kOk);
        std::fill_n(mCheck.Model().targets, 4, target);
        EXPECT_TRUE(SettingsMatch());
    }
    unsigned long mode = 99;
    std::uint16_t value = 99;
    EXPECT_EQ(other->GetMode(&mode), kOk);
    EXPECT_EQ(mode, 0U);
    EXPECT_EQ(other->GetTargetAll(&value), kOk);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(other->GetColorArray(&value), kOk);
    EXPECT_EQ(value, 1);
}

// Missing inputs and outputs change nothing.
TEST_F(CShadingModelTest, NullSettings) {
    SetTargets({1, 2, 3, 4});
    SetColorArray(3);
    SetMode(255);
    EXPECT_EQ(mModule->SetTargetEachColor(nullptr), kInvalid);
    EXPECT_EQ(mModule->GetTargetEachColor(nullptr), kInvalid);
    EXPECT_EQ(mModule->GetTargetAll(nullptr), kInvalid);
    EXPECT_EQ(mModule->GetColorArray(nullptr), kInvalid);
    EXPECT_EQ(mModule->GetMode(nullptr), kOk);
    EXPECT_TRUE(SettingsMatch());
}

} // namespace vek::test
