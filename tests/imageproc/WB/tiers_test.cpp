// SPDX-License-Identifier: Apache-2.0
// White balance on every tier against the model: rows that fill the longest vectors, every sample, tables that frames
// of other depths and gains have left behind, automatic gains that saturation holds back.
#include "VekTrgApi.h"
#include "imageproc/WB.h"
#include "imageproc/WB/WhiteBalanceModel.h"
#include "imageproc/rows/TierTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

class WBTiers : public CTierTest {
protected:
    void SetUp() override {
        CTierTest::SetUp();
        SetMode(VEK_WB_MANUAL);
    }
    void SetMode(std::uint8_t mode) {
        mModule.SetWBMode(mode);
        mModel.mode = mode;
    }
    void SetGains(const Gains& gains) {
        mModule.SetWBGain(gains.data());
        modelSetGains(&mModel, gains.data());
    }
    unsigned long Process(const SWhiteBalanceCall& c, std::uint8_t* image) {
        return mModule.WBProcB(c.width, c.height, c.pitch, c.colorArray, image, c.bits);
    }
    unsigned long Process(const SWhiteBalanceCall& c, std::uint16_t* image) {
        return mModule.WBProcW(c.width, c.height, c.pitch, c.colorArray, image, c.bits);
    }

    /// An image from shift samples behind the beginning of a buffer.
    template <class T>
    testing::AssertionResult Same(const SWhiteBalanceCall& call, const std::vector<T>& image, std::size_t shift = 0) {
        std::vector<T> expected = image;
        std::vector<T> got(image.size() + shift);
        std::copy(image.begin(), image.end(), got.begin() + static_cast<std::ptrdiff_t>(shift));
        const unsigned long result = modelWhiteBalance(&mModel, call, expected.data(), WideBytes::ByteTables);
        if (Process(call, got.data() + shift) != result) {
            return testing::AssertionFailure() << "another result";
        }
        const auto differing =
            std::mismatch(expected.begin(), expected.end(), got.begin() + static_cast<std::ptrdiff_t>(shift));
        if (differing.first != expected.end()) {
            return testing::AssertionFailure()
                   << Table().name << ", depth " << call.bits << ", sample " << differing.first - expected.begin()
                   << " is " << +*differing.second << ", not " << +*differing.first;
        }
        Gains gains = {};
        mModule.GetWBGain(gains.data());
        return std::equal(gains.begin(), gains.end(), mModel.gains) ? testing::AssertionSuccess()
                                                                    : testing::AssertionFailure() << "other gains";
    }

    /// Every word at an even and at an odd column of both kinds of rows.
    testing::AssertionResult SameOfEveryWord(unsigned short bits) {
        constexpr unsigned long width = 2 * 65536;
        std::vector<std::uint16_t> image(2 * width);
        for (std::size_t i = 0; i < image.size(); ++i) {
            image[i] = static_cast<std::uint16_t>(i % width / 2);
        }
        return Same({width, 2, 2 * width, VEK_COLOR_ARRAY_GRBG, bits}, image);
    }
    /// Leaves gained bytes of a depth in the tables.
    void LeaveBytes(unsigned short bits) {
        std::uint8_t sample[] = {1};
        const SWhiteBalanceCall call{1, 1, 1, VEK_COLOR_ARRAY_RGGB, bits};
        Process(call, sample);
        modelWhiteBalance(&mModel, call, sample, WideBytes::ByteTables);
    }

    CWB mModule{Table()};
    SWhiteBalanceModel mModel{};
};

} // namespace

TEST_P(WBTiers, EveryWordAtEveryGain) {
    std::vector<std::uint16_t> gains = {0,    1,     2,     3,     127,   129,   130,   255,   256,
                                        639,  640,   1023,  2047,  2048,  2049,  4095,  4096,  8191,
                                        8192, 12345, 16383, 16384, 32767, 32768, 40000, 65534, 65535};
    for (std::uint16_t gain = 5; gain < 700; gain = static_cast<std::uint16_t>(gain + 23)) {
        gains.push_back(gain);
    }
    for (const std::uint16_t gain : gains) {
        SetGains({gain, 128, 300, 90});
        ASSERT_TRUE(SameOfEveryWord(12)) << "gain " << gain;
    }
}

TEST_P(WBTiers, EveryWordAtEveryDepth) {
    for (const std::uint16_t gain : {std::uint16_t{90}, std::uint16_t{217}, std::uint16_t{5000}}) {
        // What deeper frames leave stands above the entries of later ones.
        constexpr unsigned short depths[] = {9, 10, 11, 8, 12, 11, 10, 9, 7, 12};
        for (const unsigned short bits : depths) {
            SetGains({gain, 128, 300, static_cast<std::uint16_t>(gain + bits)});
            ASSERT_TRUE(SameOfEveryWord(bits)) << "gain " << gain;
        }
    }
}

TEST_P(WBTiers, EveryWordBehindBytes) {
    for (const std::uint16_t gain : {std::uint16_t{0}, std::uint16_t{90}, std::uint16_t{217}}) {
        SetGains({gain, 128, 300, 77});
        LeaveBytes(8);
        constexpr unsigned short depths[] = {10, 12};
        for (const unsigned short bits : depths) {
            ASSERT_TRUE(SameOfEveryWord(bits)) << "gain " << gain;
        }
        SetGains({gain, 128, 0, 0});
        LeaveBytes(8);
        ASSERT_TRUE(SameOfEveryWord(12)) << "gain " << gain;
    }
}

TEST_P(WBTiers, EveryWidthAndAddress) {
    CRandom random(3);
    SetGains({217, 128, 128, 256});
    for (const bool bytesBefore : {false, true}) {
        if (bytesBefore) {
            LeaveBytes(8);
        }
        for (unsigned long width = 1; width <= 200; ++width) {
            const auto array = static_cast<unsigned short>(VEK_COLOR_ARRAY_RGGB + width % 4);
            const unsigned depth = width % 3 == 0 ? 16 : 12;
            const auto image = samplesOf<std::uint16_t>(3 * width, Pattern::Random, depth, random);
            ASSERT_TRUE(Same({width, 3, 2 * width, array, 12}, image, width % 67)) << "width " << width;
        }
    }
}

template <class T>
std::vector<T> saturated(unsigned long width, unsigned long height, unsigned dark, unsigned bright, CRandom& random) {
    std::vector<T> image(width * height);
    for (T& sample : image) {
        sample = static_cast<T>(random.Below(dark) == 0 ? bright - random.Below(3) : random.Below(bright / 2));
    }
    return image;
}

TEST_P(WBTiers, AutomaticGains) {
    CRandom random(4);
    SetMode(VEK_WB_AUTO);
    for (unsigned turn = 0; turn < 120; ++turn) {
        const unsigned long width = 1 + random.Below(150);
        const unsigned long height = 1 + random.Below(7);
        const auto array = static_cast<unsigned short>(VEK_COLOR_ARRAY_RGGB + turn % 4);
        const auto bits = static_cast<unsigned short>(turn % 8 == 0 ? 12 : 9 + turn % 2);
        // Few or many samples near what the depth holds, or beyond.
        const unsigned bright = (1U << (bits + turn / 40)) - 1;
        const auto words = saturated<std::uint16_t>(width, height, 1 + turn % 5, bright, random);
        ASSERT_TRUE(Same({width, height, 2 * width, array, bits}, words)) << "turn " << turn;
        const auto bytes = saturated<std::uint8_t>(width, height, 1 + turn % 5, 255, random);
        ASSERT_TRUE(Same({width, height, width, array, 8}, bytes)) << "turn " << turn;
    }
}

// Red far below green, and held there by samples that saturate.
TEST_P(WBTiers, AutomaticGainsThatNeverReachTheirTarget) {
    SetMode(VEK_WB_AUTO);
    for (const unsigned red : {1U, 40U, 200U}) {
        std::vector<std::uint8_t> image(64 * 4, 255);
        for (std::size_t i = 0; i < image.size(); ++i) {
            if (i / 64 % 2 == 0 && i % 2 == 0) {
                image[i] = static_cast<std::uint8_t>(i % 4 == 0 ? red : 255);
            }
        }
        ASSERT_TRUE(Same({64, 4, 64, VEK_COLOR_ARRAY_RGGB, 8}, image)) << "red " << red;
    }
}

VEK_FOR_EVERY_TIER(WBTiers);

} // namespace vek::test
