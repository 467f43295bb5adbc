// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "chain/ChainHandles.h"
#include "chain/ExportChain.h"
#include "chain/RawFrames.h"
#include "imageproc/rows/RowDispatch.h"
#include "support/GuardedBuffer.h"
#include "support/HandleTest.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace vek::test {

/// A random description with the structs that it points to.
struct SCase {
    VekChainFrame frame{};
    VekChainPicture picture{};
    VekChainDescription description{};
    SFrameFormat format{};
    unsigned long width = 0; ///< of the crop
    unsigned long height = 0;
    unsigned short colorArray = 0;      ///< of the crop
    std::vector<std::uint16_t> samples; ///< of the crop
    std::vector<std::uint8_t> bytes;    ///< of the frame

    SCase() {
        frame.size = sizeof frame;
        picture.size = sizeof picture;
        description.size = sizeof description;
        description.frame = &frame;
        description.picture = &picture;
    }
    SCase(const SCase&) = delete;
    SCase& operator=(const SCase&) = delete;
};

inline unsigned layoutSamples(unsigned layout) {
    return layout == VEK_CHAIN_MONO ? 1 : layout == VEK_CHAIN_BGR || layout == VEK_CHAIN_RGB ? 3 : 4;
}

/// Bands of random heights that make up the picture, in any order.
inline std::vector<std::pair<std::uint32_t, std::uint32_t>> randomBands(std::uint32_t height, CRandom& random) {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> bands;
    const std::uint64_t most = random.Below(3) == 0 ? height : 1 + random.Below(12);
    for (std::uint32_t first = 0; first < height;) {
        const auto rows = static_cast<std::uint32_t>(std::min<std::uint64_t>(height - first, 1 + random.Below(most)));
        bands.emplace_back(first, rows);
        first += rows;
    }
    for (std::size_t i = bands.size(); i > 1; --i) {
        std::swap(bands[i - 1], bands[random.Below(i)]);
    }
    return bands;
}

/// Pages that cannot be written while this lives, as those of a mapped buffer of a driver.
class CReadOnly {
public:
    CReadOnly(const void* data, std::size_t size) {
        const std::size_t page = CGuardedPages::PageSize();
        const auto at = reinterpret_cast<std::uintptr_t>(data);
        mFirst = reinterpret_cast<void*>(at / page * page);
        mBytes = (at + size + page - 1) / page * page - at / page * page;
        EXPECT_EQ(0, mprotect(mFirst, mBytes, PROT_READ));
    }
    ~CReadOnly() { mprotect(mFirst, mBytes, PROT_READ | PROT_WRITE); }
    CReadOnly(const CReadOnly&) = delete;
    CReadOnly& operator=(const CReadOnly&) = delete;

private:
    void* mFirst = nullptr;
    std::size_t mBytes = 0;
};

/// Random frames, descriptions and settings of a handle.
class CRandomChain : public CHandleTest, public ::testing::WithParamInterface<int> {
protected:
    void SetSettings(CRandom& random, unsigned depth) {
        const auto coin = [&] { return random.Below(2) != 0; };
        VekCam_SetWhiteBalanceMode(mHandle, static_cast<unsigned char>(random.Below(5)));
        const auto gain = [&] { return static_cast<unsigned short>(random.Below(8) == 0 ? 128 : random.Below(700)); };
        VekCam_SetWhiteBalanceGain(mHandle, gain(), gain(), gain(), gain());
        const auto bits = static_cast<unsigned short>(std::min(depth, 12U));
        for (unsigned char channel = VEK_GAMMA_Y; channel <= VEK_GAMMA_B; ++channel) {
            const VekGammaMode mode = coin() ? VEK_GAMMA_CURVE : VEK_GAMMA_OFF;
            VekCam_SetGammaMode(
                mHandle, channel, static_cast<unsigned char>(mode), static_cast<unsigned short>(50 + random.Below(250)),
                static_cast<short>(random.Below(60)), static_cast<unsigned short>(random.Below(40)), nullptr, bits);
        }
        std::array<short, 12> matrix{};
        for (short& entry : matrix) {
            entry = static_cast<short>(static_cast<int>(random.Below(300)) - 100);
        }
        VekCam_SetColorMatrix(mHandle, coin() ? VEK_COLOR_MATRIX_CUSTOM : VEK_COLOR_MATRIX_IDENTITY, matrix.data());
        VekCam_SetHueSaturationMode(mHandle, coin() ? 1 : 0, static_cast<short>(random.Below(900)),
                                    static_cast<unsigned short>(random.Below(200)));
        VekCam_SetHighChromaSuppression(mHandle, static_cast<unsigned short>(random.Below(1U << bits)),
                                        static_cast<unsigned short>(random.Below(900)));
        VekCam_SetLowChromaSuppression(mHandle, static_cast<unsigned short>(random.Below(200)),
                                       static_cast<unsigned short>(coin() ? random.Below(900) : 0));
        VekCam_SetSharpnessMode(mHandle, coin() ? 1 : 0, static_cast<unsigned short>(random.Below(100)),
                                static_cast<unsigned char>(random.Below(20)));
    }

    /// A frame, a description, and a handle with settings for both.
    void MakeCase(SCase& with, CRandom& random) {
        MakeFrame(with, random);
        MakeDescription(with, random);
        SetSettings(random, with.format.depth);
        MakeCorrections(with, random);
    }

    static unsigned long Side(CRandom& random) {
        const std::uint64_t kind = random.Below(8);
        return kind == 0 ? 1 + random.Below(4) : 2 + random.Below(kind < 6 ? 40 : 150);
    }

    void MakeFrame(SCase& with, CRandom& random) {
        with.format = kFrameFormats[random.Below(std::size(kFrameFormats))];
        VekChainFrame& frame = with.frame;
        frame.format = with.format.code;
        frame.colorArray = static_cast<std::uint16_t>(VEK_COLOR_ARRAY_MONO + random.Below(5));
        frame.byteOrder = with.format.words && random.Below(3) == 0 ? VEK_CHAIN_BIG_ENDIAN : VEK_CHAIN_LITTLE_ENDIAN;
        with.width = Side(random);
        with.height = Side(random);
        if (random.Below(24) == 0) {
            with.width = 2049 + random.Below(64);
            with.height = 5 + random.Below(6);
        }
        frame.width = static_cast<std::uint32_t>(with.width);
        frame.height = static_cast<std::uint32_t>(with.height);
        const bool crops = random.Below(3) == 0;
        if (crops) {
            frame.cropX = static_cast<std::uint32_t>(random.Below(9));
            frame.cropY = static_cast<std::uint32_t>(random.Below(5));
            frame.width += static_cast<std::uint32_t>(frame.cropX + random.Below(9));
            frame.height += static_cast<std::uint32_t>(frame.cropY + random.Below(4));
            frame.cropWidth = static_cast<std::uint32_t>(with.width);
            frame.cropHeight = static_cast<std::uint32_t>(with.height);
        }
        const std::size_t rowBytes = rowBytesOf(with.format, frame.width);
        const std::size_t pitch = rowBytes + random.Below(2) * random.Below(20);
        frame.pitch = pitch == rowBytes && random.Below(2) == 0 ? 0 : pitch;
        with.colorArray = with.format.mono ? std::uint16_t{VEK_COLOR_ARRAY_MONO} : frame.colorArray;
        static constexpr unsigned short shifted[4][4] = {{2, 3, 4, 5}, {3, 2, 5, 4}, {4, 5, 2, 3}, {5, 4, 3, 2}};
        if (with.colorArray != VEK_COLOR_ARRAY_MONO) {
            with.colorArray = shifted[2 * (frame.cropY % 2) + frame.cropX % 2][with.colorArray - 2];
        }
        with.bytes.assign(pitch * frame.height, 0);
        with.samples.resize(with.width * with.height);
        const Pattern pattern = random.Below(3) == 0 ? Pattern::NearLimits : Pattern::Random;
        fillSamples(with.samples.data(), with.samples.size(), pattern, with.format.depth, random);
        for (unsigned long y = 0; y < with.height; ++y) {
            for (unsigned long x = 0; x < with.width; ++x) {
                putSample(with.format, frame.byteOrder == VEK_CHAIN_BIG_ENDIAN,
                          with.bytes.data() + (y + frame.cropY) * pitch, x + frame.cropX,
                          with.samples[y * with.width + x]);
            }
        }
        with.bytes.resize((with.height + frame.cropY - 1) * pitch + rowBytesOf(with.format, frame.cropX + with.width));
    }

    void MakeDescription(SCase& with, CRandom& random) {
        VekChainDescription& description = with.description;
        const bool gray = random.Below(4) == 0;
        if (!gray || with.colorArray == VEK_COLOR_ARRAY_MONO) {
            description.demosaic = static_cast<std::uint32_t>(random.Below(7));
        }
        description.noise = static_cast<std::uint32_t>(random.Below(3));
        description.stages = static_cast<std::uint32_t>(random.Below(64));
        if (with.format.depth > 8) {
            description.stages &= ~static_cast<unsigned>(VEK_CHAIN_WHITE_BALANCE | VEK_CHAIN_LUMA_GAMMA);
        }
        if (with.format.depth > 12) {
            description.stages &= ~static_cast<unsigned>(VEK_CHAIN_SHARPNESS);
        }
        description.mirror = static_cast<std::uint32_t>(random.Below(2) * random.Below(4));
        VekChainPicture& picture = with.picture;
        picture.layout = static_cast<std::uint32_t>(gray ? 0 : VEK_CHAIN_BGR + random.Below(6));
        if (picture.layout == VEK_CHAIN_BGRA || picture.layout == VEK_CHAIN_RGBA) {
            picture.fill = static_cast<std::uint16_t>(random.Below(256));
        }
        const std::size_t sampleBytes = with.format.depth > 8 ? 2 : 1;
        const std::size_t dense = with.width * layoutSamples(picture.layout) * sampleBytes;
        picture.pitch = random.Below(2) == 0 ? 0 : dense + 2 * random.Below(9);
    }

    void MakeCorrections(const SCase& with, CRandom& random) {
        const unsigned depth = with.format.depth;
        const auto frameOf = [&](auto sample, unsigned shift) {
            std::vector<decltype(sample)> image(with.samples.size());
            for (auto& value : image) {
                value = static_cast<decltype(sample)>(random.Below(1U << depth) >> shift);
            }
            return image;
        };
        const auto correct = [&](auto sample) {
            auto dark = frameOf(sample, 3);
            if (with.description.noise == VEK_NOISE_COMPLEX) {
                ASSERT_EQ(0, VekCam_NoiseReduction(mHandle, VEK_NOISE_STORE_DARK, with.width, with.height, 0,
                                                   with.colorArray, dark.data(), static_cast<int>(depth)));
            }
            const bool gain = random.Below(2) == 0;
            auto flat = frameOf(sample, 0);
            VekCam_SetShadingCorrectionMode(mHandle, gain ? VEK_SHADING_CALIBRATE_GAIN : VEK_SHADING_CALIBRATE_OFFSET);
            VekCam_ShadingCorrection(mHandle, with.width, with.height, 0, flat.data(), static_cast<int>(depth));
            VekCam_SetShadingCorrectionMode(mHandle, gain ? VEK_SHADING_GAIN : VEK_SHADING_OFFSET);
        };
        depth == 8 ? correct(std::uint8_t{}) : correct(std::uint16_t{});
    }

    /// What the picture's memory holds afterwards: the staged picture, and canvas elsewhere.
    static void Lay(const SCase& with, const SStagedPicture& staged, std::vector<std::uint8_t>& memory,
                    std::size_t pitch, unsigned depth) {
        const unsigned samples = layoutSamples(with.picture.layout);
        const bool words = depth > 8;
        const unsigned layout = with.picture.layout;
        const bool rgb = layout == VEK_CHAIN_RGB || layout == VEK_CHAIN_RGBX || layout == VEK_CHAIN_RGBA;
        const bool fills = layout == VEK_CHAIN_BGRA || layout == VEK_CHAIN_RGBA;
        for (unsigned long y = 0; y < with.height; ++y) {
            for (unsigned long x = 0; x < with.width; ++x) {
                for (unsigned i = 0; i < samples; ++i) {
                    if (i == 3 && !fills) {
                        continue;
                    }
                    const std::uint16_t value =
                        i == 3 ? with.picture.fill
                               : staged.values[(y * with.width + x) * staged.samples + (rgb ? 2 - i : i)];
                    std::uint8_t* const at = memory.data() + y * pitch + (x * samples + i) * (words ? 2 : 1);
                    std::memcpy(at, &value, words ? 2 : 1);
                }
            }
        }
    }

    /// Runs a plan in bands, the frame at any address between protected pages, and compares all of the picture's memory
    /// with what it should hold.
    void RunAndCompare(const SCase& with, const PlanOwner& plan, const SStagedPicture& staged, CRandom& random) {
        const VekChainTraits traits = traitsOf(plan);
        ASSERT_EQ(traits.frameBytes, with.bytes.size());
        const WorkOwner work = createWork(plan);
        const StateOwner state = createState(plan);
        ASSERT_EQ(state != nullptr, traits.traits != 0);
        CGuardedBuffer<std::uint8_t> frame(with.bytes.size(), random.Below(2) == 0 ? Flush::Right : Flush::Left);
        std::memcpy(frame.data(), with.bytes.data(), with.bytes.size());
        const CReadOnly readOnly(frame.data(), frame.size());
        std::vector<std::uint8_t> expected(traits.pictureBytes);
        random.Fill(expected.data(), expected.data() + expected.size());
        CGuardedBuffer<std::uint8_t> picture((expected.size() + 1) & ~std::size_t{1}, Flush::Right);
        std::memcpy(picture.data(), expected.data(), expected.size());
        Lay(with, staged, expected, traits.picturePitch, traits.depth);
        ASSERT_EQ(0, VekChain_Prepare(plan.get(), state.get(), work.get(), frame.data()));
        for (const auto& [first, rows] : randomBands(static_cast<std::uint32_t>(with.height), random)) {
            ASSERT_EQ(0, VekChain_Run(plan.get(), state.get(), work.get(), frame.data(), picture.data(), first, rows));
        }
        const auto differ = std::mismatch(expected.begin(), expected.end(), picture.data());
        if (differ.first != expected.end()) {
            const auto at = static_cast<std::size_t>(differ.first - expected.begin());
            FAIL() << "byte " << at % traits.picturePitch << " of row " << at / traits.picturePitch << " is "
                   << int{*differ.second} << ", not " << int{*differ.first};
        }
        ASSERT_EQ(0, std::memcmp(frame.data(), with.bytes.data(), with.bytes.size()));
        ASSERT_TRUE(picture.CanaryIntact());
    }
    /// One of the tiers that this processor has.
    static const rows::SRowTable& AnyTier(CRandom& random) {
        const rows::STier tier = rows::tier(random.Below(rows::tierCount()));
        return tier.usable ? *tier.table : rows::bestTable();
    }
    static std::string Told(const SCase& with) {
        std::ostringstream text;
        text << with.width << " x " << with.height << ", format " << with.frame.format << ", array " << with.colorArray
             << ", layout " << with.picture.layout << ", depth " << with.picture.depth << ", method "
             << with.description.demosaic << ", stages " << with.description.stages << ", noise "
             << with.description.noise << ", mirror " << with.description.mirror << ", crop " << with.frame.cropX
             << ", " << with.frame.cropY;
        return text.str();
    }
};

} // namespace vek::test
