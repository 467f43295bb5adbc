// SPDX-License-Identifier: Apache-2.0
// Sharpness against its model: formats, depths, sizes, line lengths, settings; what is refused and what is kept.
#include "imageproc/FourthSample.h"
#include "imageproc/ModuleTest.h"
#include "imageproc/Sharpness.h"
#include "imageproc/Sharpness/SharpnessModel.h"
#include "support/InPlaceCheck.h"

#include <vector>

namespace vek::test {

namespace {

using SharpnessPtr = ModulePtr<ISharpness, kModuleSharpness>;
constexpr auto makeSharpness = makeModule<ISharpness, kModuleSharpness>;

template <class T>
class CSharpnessModel : public ::testing::Test {
protected:
    CSharpnessModel() : mModule(makeSharpness()), mTested(mModule.get()) {}

    void Set(unsigned mode, unsigned gain, unsigned coring) {
        mModel.SetMode(static_cast<unsigned char>(mode), static_cast<unsigned short>(gain),
                       static_cast<unsigned short>(coring));
        ASSERT_EQ(mTested->SetMode(static_cast<unsigned char>(mode), static_cast<unsigned short>(gain),
                                   static_cast<unsigned short>(coring)),
                  0U);
    }
    /// Gains whose corrections stay small, reach the ends or exceed a byte; corings from none to beyond the table.
    void SetRandom() {
        CRandom& random = mCheck.Random();
        const unsigned gainKind = static_cast<unsigned>(random.Below(5));
        const std::uint64_t any = random.Next();
        const std::uint64_t gain = gainKind == 0 ? any % 65536 : gainKind == 1 ? any % 2000 : any % 300;
        const unsigned coringKind = static_cast<unsigned>(random.Below(8));
        const std::uint64_t other = random.Next();
        const std::uint64_t coring = coringKind == 0   ? other % 65536
                                     : coringKind == 1 ? other % 300
                                     : coringKind < 5  ? other % 12
                                                       : 0;
        Set(static_cast<unsigned>(1 + random.Below(255)), static_cast<unsigned>(gain), static_cast<unsigned>(coring));
    }
    ::testing::AssertionResult Run(const SInPlaceImage& image, unsigned long format, unsigned bits, unsigned depth,
                                   Flush flush) {
        const ::testing::AssertionResult result = mCheck.Run(
            image, depth, flush, [&](T* samples) { return callStage(*mTested, image, format, samples, bits); },
            [&](T* samples) { return modelSharpness(mModel, image, format, samples, bits); });
        if (result) {
            return result;
        }
        return ::testing::AssertionFailure()
               << result.message() << "; mode " << int{mModel.mode} << ", gain " << mModel.gain << ", coring "
               << mModel.coring << "; format " << format << ", bits " << bits;
    }
    /// The depths and formats that a sample type is made for, in turn.
    static unsigned Bits(unsigned turn) { return sizeof(T) == 1 ? 8 : 9 + turn % 4; }
    static unsigned long Format(unsigned samples, unsigned bits, unsigned turn) {
        constexpr unsigned long kGray[] = {2, 16, 32, 64};
        if (samples == 1) {
            return bits == 8 ? 1 : kGray[turn % 4];
        }
        return (bits == 8 ? 4UL : 256UL) * (samples - 2);
    }

    /// An image of the turn's depth and format with new settings.
    ::testing::AssertionResult RunRandom(const SInPlaceImage& image, unsigned turn, Flush flush = Flush::Right) {
        SetRandom();
        const unsigned bits = Bits(turn);
        return Run(image, Format(image.samples, bits, turn), bits, bits, flush);
    }

    SharpnessPtr mModule;
    ISharpness* mTested;
    SSharpnessModel mModel;
    CInPlaceCheck<T> mCheck{1UL << 16};
};

TYPED_TEST_SUITE(CSharpnessModel, SampleTypes);

} // namespace

TYPED_TEST(CSharpnessModel, EverySmallSize) {
    forSmallImages<TypeParam>(
        {1, 3, 4},
        [this](const SInPlaceImage& image, unsigned turn) {
            this->SetRandom();
            const unsigned bits = this->Bits(turn / 4);
            for (const Flush flush : kFlushes) {
                ASSERT_TRUE(this->Run(image, this->Format(image.samples, bits, turn / 8), bits, bits, flush));
            }
        },
        [] {});
}

TYPED_TEST(CSharpnessModel, OddSizes) {
    forOddImages<TypeParam>(
        {1, 3, 4},
        [this](const SInPlaceImage& image, unsigned turn) {
            ASSERT_TRUE(this->RunRandom(image, turn, kFlushes[turn / 4 % 2]));
        },
        [] {});
}

TYPED_TEST(CSharpnessModel, EveryWidthTo130) {
    unsigned turn = 0;
    for (unsigned long width = 13; width <= 130; ++width) {
        for (const unsigned samples : {1U, 3U, 4U}) {
            const SInPlaceImage image = withPitch({width, 4, samples, 0}, ++turn / 3, sizeof(TypeParam));
            ASSERT_TRUE(this->RunRandom(image, turn, kFlushes[turn % 2]));
        }
    }
}

// Gains and corings at their ends: moves of a byte's size and beyond, a table of zeros.
TYPED_TEST(CSharpnessModel, SettingsAtTheirEnds) {
    unsigned turn = 0;
    for (const unsigned gain : {0U, 1U, 33U, 100U, 101U, 255U, 256U, 1000U, 25500U, 25600U, 40950U, 65535U}) {
        for (const unsigned coring : {0U, 1U, 10U, 254U, 255U, 256U, 4094U, 4095U, 4096U, 32767U, 32768U, 65535U}) {
            for (const unsigned samples : {1U, 3U, 4U}) {
                this->Set(1 + turn % 255, gain, coring);
                const unsigned bits = this->Bits(++turn);
                ASSERT_TRUE(this->Run({9, 6, samples, 0}, this->Format(samples, bits, turn), bits, bits, Flush::Right));
            }
        }
    }
}

// Words at a depth of 8 bits take the formats of bytes; bytes at more take those of words.
TYPED_TEST(CSharpnessModel, DepthChoosesTheFormats) {
    for (unsigned turn = 0; turn < 60; ++turn) {
        this->SetRandom();
        const unsigned bits = 8 + turn % 5;
        for (const unsigned samples : {1U, 3U, 4U}) {
            const unsigned depth = sizeof(TypeParam) == 1 ? 8 : bits;
            ASSERT_TRUE(this->Run({11, 5, samples, 0}, this->Format(samples, bits, turn), bits, depth, Flush::Right));
        }
    }
}

// Samples below the depth, such as 10 bits in an image of 12.
TYPED_TEST(CSharpnessModel, ShallowSamples) {
    for (unsigned turn = 0; turn < 40; ++turn) {
        this->SetRandom();
        const unsigned bits = this->Bits(turn);
        for (const unsigned samples : {1U, 3U, 4U}) {
            ASSERT_TRUE(
                this->Run({13, 5, samples, 0}, this->Format(samples, bits, turn), bits, 4 + turn % 5, Flush::Right));
        }
    }
}

// The mode is judged first, then the depth, then the format: each with an image and with none.
TYPED_TEST(CSharpnessModel, RefusalsTouchNothing) {
    std::vector<unsigned long> formats;
    for (unsigned long format = 0; format <= 70; ++format) {
        formats.push_back(format);
    }
    for (const unsigned long format :
         {127UL, 128UL, 255UL, 256UL, 257UL, 260UL, 511UL, 512UL, 513UL, 768UL, 1024UL, 0x10001UL, 0x100000001UL,
          0x100000004UL, 0x100000100UL, 0x100000010UL, 1UL << 63, ~0UL}) {
        formats.push_back(format);
    }
    for (const unsigned mode : {1U, 0U, 255U, 128U}) {
        this->Set(mode, 200, 0);
        for (const unsigned bits : {0U, 1U, 7U, 8U, 9U, 12U, 13U, 14U, 16U, 255U, 256U, 264U, 65535U}) {
            for (const unsigned long format : formats) {
                unsigned samples = 0;
                const unsigned long status = modelSharpnessStatus(this->mModel, format, bits, &samples);
                if (samples != 0) {
                    ASSERT_EQ(callStage(*this->mModule, {4, 4, 1, 0}, format, kNoImage<TypeParam>, bits), kInvalid);
                    continue;
                }
                ASSERT_TRUE(this->Run({4, 4, 4, 0}, format, bits, 8, Flush::Right));
                ASSERT_EQ(callStage(*this->mModule, {4, 4, 1, 0}, format, kNoImage<TypeParam>, bits), status)
                    << format << ", " << bits;
            }
        }
    }
}

// Without pixels there is no image to touch.
TYPED_TEST(CSharpnessModel, NullImageOfNoPixels) {
    this->Set(1, 100, 0);
    const unsigned bits = this->Bits(0);
    for (const unsigned samples : {1U, 3U, 4U}) {
        const unsigned long format = this->Format(samples, bits, samples);
        for (const SImageSize& size : kNoPixels) {
            EXPECT_EQ(callStage(*this->mModule, {size.width, size.height, 1, 0}, format, kNoImage<TypeParam>, bits),
                      0U);
        }
        // Pixels, but no inner ones.
        for (const SImageSize& size :
             {SImageSize{1, 1}, SImageSize{2, 9}, SImageSize{9, 2}, SImageSize{1, ~0UL}, SImageSize{2, ~0UL}}) {
            const unsigned long status =
                callStage(*this->mModule, {size.width, size.height, 1, 0}, format, kNoImage<TypeParam>, bits);
            EXPECT_TRUE(status == 0 || status == kInvalid) << size.width << " x " << size.height;
        }
    }
}

// Work memory that no machine has; the formats are judged only after it, so either refusal is right for a wrong one.
TYPED_TEST(CSharpnessModel, NoMemory) {
    this->Set(1, 100, 0);
    for (const unsigned long width : {1UL << 50, 1UL << 59, 1UL << 61, 1UL << 62, 1UL << 63, ~0UL, ~0UL / 10 + 1,
                                      ~0UL / 10 + 2, 0x3333333333333334UL}) {
        for (const unsigned samples : {1U, 3U, 4U}) {
            const unsigned bits = this->Bits(samples);
            const unsigned long format = this->Format(samples, bits, samples);
            TypeParam image[16] = {1, 9, 2, 8, 3, 7, 4, 6, 5, 5, 6, 4, 7, 3, 8, 2};
            const std::vector<TypeParam> before(std::begin(image), std::end(image));
            EXPECT_EQ(callStage(*this->mModule, {width, 4, 1, 0}, format, image, bits), kNoMemory) << width;
            const unsigned long wrong = callStage(*this->mModule, {width, 4, 1, 0}, 3, image, bits);
            EXPECT_TRUE(wrong == kNoMemory || wrong == kInvalid) << width;
            const unsigned long low = callStage(*this->mModule, {width, 2, 1, 0}, format, image, bits);
            EXPECT_TRUE(low == 0 || low == kNoMemory) << width;
            EXPECT_EQ(callStage(*this->mModule, {width, 4, 1, 0}, format, image, 13), kInvalid);
            EXPECT_EQ(std::vector<TypeParam>(std::begin(image), std::end(image)), before);
        }
    }
    this->Set(0, 100, 0);
    EXPECT_EQ(callStage(*this->mModule, {1UL << 60, 4, 1, 0}, 1, kNoImage<TypeParam>, 8), 0U);
}

// Samples above the depth, up to where three of them fill 16 bits: differences beyond the table take its last entry.
TEST(CSharpnessDeepSamples, DifferencesBeyondTheTable) {
    const SharpnessPtr module = makeSharpness();
    SSharpnessModel model;
    CRandom random(99);
    for (unsigned turn = 0; turn < 200; ++turn) {
        const auto gain = static_cast<unsigned short>(random.Below(300));
        const auto coring = static_cast<unsigned short>(random.Below(turn % 4 == 0 ? 9000 : 20));
        model.SetMode(1, gain, coring);
        module->SetMode(1, gain, coring);
        // One deep sample among those of the depth: it alone can lie above the depth's largest value.
        std::vector<std::uint16_t> image(7 * 5);
        for (std::uint16_t& sample : image) {
            sample = static_cast<std::uint16_t>(random.Below(4096));
        }
        image[2 * 7 + 3] = static_cast<std::uint16_t>(4096 + random.Below(9000));
        std::vector<std::uint16_t> expected = image;
        modelSharpness(model, {7, 5, 1, 14}, 16, expected.data(), 12);
        ASSERT_EQ(module->ProcessW(7, 5, 14, 16, image.data(), 12), 0U);
        ASSERT_EQ(image, expected) << "turn " << turn << ", gain " << gain << ", coring " << coring;
    }
}

// Samples of all 16 bits in images of less: borders, paddings and fourth samples stay, no result is defined beyond.
TEST(CSharpnessDeepSamples, AreSafe) {
    const SharpnessPtr module = makeSharpness();
    CRandom random(98);
    for (unsigned turn = 0; turn < 200; ++turn) {
        const unsigned samples = turn % 3 == 0 ? 1 : turn % 3 == 1 ? 3 : 4;
        const unsigned long format = samples == 1 ? 16 : samples == 3 ? 256 : 512;
        const unsigned long width = 3 + random.Below(30);
        const unsigned long height = 3 + random.Below(4);
        const unsigned long step = width * samples + random.Below(3);
        CGuardedBuffer<std::uint16_t> image((height - 1) * step + width * samples - (samples == 4 ? 1 : 0),
                                            turn % 2 == 0 ? Flush::Right : Flush::Left);
        fillSamples(image.data(), image.size(), turn % 5 == 0 ? Pattern::NearLimits : Pattern::Random, 16, random);
        const std::vector<std::uint16_t> before(image.data(), image.data() + image.size());
        module->SetMode(1, static_cast<unsigned short>(random.Next()), static_cast<unsigned short>(random.Below(9)));
        ASSERT_EQ(module->ProcessW(width, height, step * 2, format, image.data(), 12), 0U);
        ASSERT_TRUE(image.CanaryIntact());
        for (std::size_t i = 0; i < image.size(); ++i) {
            const std::size_t row = i / step;
            const std::size_t column = i % step / samples;
            const bool inner = row > 0 && row + 1 < height && column > 0 && column + 1 < width;
            if (!inner || (samples == 4 && i % step % 4 == 3)) {
                ASSERT_EQ(image[i], before[i]) << "sample " << i;
            }
        }
    }
}

// The module with the kernels of each instruction set that this machine has.
TYPED_TEST(CSharpnessModel, EveryInstructionSet) {
    for (const rows::SRowTable* const table : usableTables()) {
        SCOPED_TRACE(table->name);
        CSharpness module(*table);
        this->mTested = &module;
        unsigned turn = 0;
        for (unsigned long width = 3; width <= 70; ++width) {
            for (const unsigned samples : {1U, 3U, 4U}) {
                ++turn;
                ASSERT_TRUE(this->RunRandom(withPitch({width, 4, samples, 0}, turn / 3, sizeof(TypeParam)), turn));
            }
        }
    }
}

TEST_F(CStageFourthSample, OfSharpness) {
    ExpectKept(
        [](const rows::SRowTable& table) {
            auto module = std::make_unique<CSharpness>(table);
            module->SetMode(1, 150, 0);
            return module;
        },
        [](CSharpness& module, const SInPlaceImage& image, auto* samples) {
            const bool bytes = sizeof *samples == 1;
            return callStage(module, image, bytes ? 8 : 512, samples, bytes ? 8 : 12);
        });
}

// What was set is read back, whatever the mode; processing and refusals change none of it.
TEST(CSharpnessState, GetModeGivesWhatWasSet) {
    const SharpnessPtr module = makeSharpness();
    unsigned char mode = 9;
    unsigned short gain = 9;
    unsigned short coring = 9;
    EXPECT_EQ(module->GetMode(&mode, &gain, &coring), 0U);
    EXPECT_EQ(mode, 0);
    EXPECT_EQ(gain, 0);
    EXPECT_EQ(coring, 0);
    CRandom random(3);
    for (unsigned turn = 0; turn < 300; ++turn) {
        const auto newMode = static_cast<unsigned char>(turn % 3 == 0 ? 0 : random.Next());
        const auto newGain = static_cast<unsigned short>(turn % 7 == 0 ? 65535 : random.Next());
        const auto newCoring = static_cast<unsigned short>(turn % 5 == 0 ? 65535 : random.Next());
        ASSERT_EQ(module->SetMode(newMode, newGain, newCoring), 0U);
        std::uint8_t pixels[11] = {}; // lines of 4 bytes
        module->ProcessB(3, 3, 0, turn % 2, pixels, 8);
        ASSERT_EQ(module->GetMode(&mode, &gain, &coring), 0U);
        ASSERT_EQ(mode, newMode);
        ASSERT_EQ(gain, newGain);
        ASSERT_EQ(coring, newCoring);
    }
}

} // namespace vek::test
