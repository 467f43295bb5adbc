// SPDX-License-Identifier: Apache-2.0
// Chroma suppression against its model: formats, sizes, line lengths, settings; what is refused and what is kept.
#include "imageproc/ChromaSuppress.h"
#include "imageproc/ChromaSuppress/ChromaSuppressModel.h"
#include "imageproc/FourthSample.h"
#include "imageproc/ModuleTest.h"
#include "support/InPlaceCheck.h"

#include <vector>

namespace vek::test {

namespace {

using ChromaSuppressPtr = ModulePtr<IChromaSuppress, kModuleChromaSuppress>;
constexpr auto makeChromaSuppress = makeModule<IChromaSuppress, kModuleChromaSuppress>;

template <class T>
unsigned long call(IChromaSuppress& module, const SInPlaceImage& image, unsigned long format, T* samples) {
    return (module.*bySample<T>(&IChromaSuppress::ProcessB, &IChromaSuppress::ProcessW))(image.width, image.height,
                                                                                         image.pitch, format, samples);
}

template <class T>
class CChromaSuppressModel : public ::testing::Test {
protected:
    CChromaSuppressModel() : mModule(makeChromaSuppress()), mTested(mModule.get()) {}

    void Set(const SChromaSuppressModel& settings) {
        mSettings = settings;
        ASSERT_EQ(mTested->SetLowStartLevel(settings.lowStart), 0U);
        ASSERT_EQ(mTested->SetLowSlope(settings.lowSlope), 0U);
        ASSERT_EQ(mTested->SetHighStartLevel(settings.highStart), 0U);
        ASSERT_EQ(mTested->SetHighSlope(settings.highSlope), 0U);
    }
    ::testing::AssertionResult Run(const SInPlaceImage& image, unsigned long format, unsigned depth, Flush flush) {
        const ::testing::AssertionResult result = mCheck.Run(
            image, depth, flush, [&](T* samples) { return call(*mTested, image, format, samples); },
            [&](T* samples) { return modelChromaSuppress(mSettings, image, format, samples); });
        if (result) {
            return result;
        }
        return ::testing::AssertionFailure()
               << result.message() << "; low " << mSettings.lowStart << ", slope " << mSettings.lowSlope << "; high "
               << mSettings.highStart << ", slope " << mSettings.highSlope << "; format " << format;
    }
    static unsigned long Format(unsigned samples) {
        const unsigned long color = sizeof(T) == 1 ? 4 : 256;
        return samples == 3 ? color : 2 * color;
    }
    /// Levels around the lumas that there are, slopes from faint to more than full.
    SChromaSuppressModel RandomSettings(unsigned depth) {
        CRandom& random = mCheck.Random();
        const auto level = [&]() {
            const unsigned kind = static_cast<unsigned>(random.Below(8));
            const std::uint64_t any = random.Next();
            return static_cast<unsigned short>(kind == 0   ? any
                                               : kind == 1 ? 65535 - any % 3
                                               : kind == 2 ? any % 3
                                                           : any % ((std::uint64_t{1} << depth) + 2));
        };
        const auto slope = [&]() {
            const unsigned kind = static_cast<unsigned>(random.Below(6));
            const std::uint64_t any = random.Next();
            return static_cast<unsigned short>(kind == 0 ? 0 : kind == 1 ? any : kind == 2 ? any % 16 : any % 2048);
        };
        return {level(), level(), slope(), slope()};
    }

    /// A colour image with new settings.
    ::testing::AssertionResult RunRandom(const SInPlaceImage& image, unsigned depth, Flush flush) {
        Set(RandomSettings(depth));
        return Run(image, Format(image.samples), depth, flush);
    }

    ChromaSuppressPtr mModule;
    IChromaSuppress* mTested;
    SChromaSuppressModel mSettings;
    CInPlaceCheck<T> mCheck{1UL << 16};
};

TYPED_TEST_SUITE(CChromaSuppressModel, SampleTypes);

/// Depths of samples; the words beyond 12 bits lie beyond the luma tables.
template <class T>
std::vector<unsigned> depths() {
    return sizeof(T) == 1 ? std::vector<unsigned>{8, 6} : std::vector<unsigned>{12, 10, 8, 13, 16};
}

} // namespace

TYPED_TEST(CChromaSuppressModel, EverySmallSize) {
    const std::vector<unsigned> all = depths<TypeParam>();
    forSmallImages<TypeParam>(
        {3, 4},
        [&](const SInPlaceImage& image, unsigned turn) {
            const unsigned depth = all[turn / 4 % all.size()];
            this->Set(this->RandomSettings(depth));
            for (const Flush flush : kFlushes) {
                ASSERT_TRUE(this->Run(image, this->Format(image.samples), depth, flush));
            }
        },
        [] {});
}

TYPED_TEST(CChromaSuppressModel, OddSizes) {
    const std::vector<unsigned> all = depths<TypeParam>();
    forOddImages<TypeParam>(
        {3, 4},
        [&](const SInPlaceImage& image, unsigned turn) {
            ASSERT_TRUE(this->RunRandom(image, all[turn % all.size()], turn % 3 == 0 ? Flush::Left : Flush::Right));
        },
        [] {});
}

TYPED_TEST(CChromaSuppressModel, EveryWidthTo130) {
    for (unsigned width = 13; width <= 130; ++width) {
        for (unsigned samples = 3; samples <= 4; ++samples) {
            ASSERT_TRUE(this->RunRandom(withPitch({width, 2, samples, 0}, width, sizeof(TypeParam)),
                                        sizeof(TypeParam) == 1 ? 8 : 12, kFlushes[width % 2]));
        }
    }
}

// Each part alone, both off, and settings at their ends.
TYPED_TEST(CChromaSuppressModel, SettingsAtTheirEnds) {
    const unsigned depth = sizeof(TypeParam) == 1 ? 8 : 12;
    for (const unsigned lowStart : {0U, 1U, 255U, 256U, 4095U, 4194U, 65534U, 65535U}) {
        for (const unsigned highStart : {0U, 1U, 254U, 255U, 256U, 300U, 4094U, 65535U}) {
            for (const unsigned lowSlope : {0U, 1U, 16383U, 65535U}) {
                for (const unsigned highSlope : {0U, 1U, 16384U, 65535U}) {
                    this->Set({static_cast<unsigned short>(lowStart), static_cast<unsigned short>(highStart),
                               static_cast<unsigned short>(lowSlope), static_cast<unsigned short>(highSlope)});
                    ASSERT_TRUE(this->Run({9, 3, 3, 0}, this->Format(3), depth, Flush::Right));
                }
            }
        }
    }
}

// Pixels of every luma there is, one faint slope on either side: the last bit of each step counts.
TYPED_TEST(CChromaSuppressModel, EveryLumaUnderFaintSlopes) {
    const unsigned long count = sizeof(TypeParam) == 1 ? 256 : 4200;
    for (const unsigned slope : {1U, 7U, 33U, 129U}) {
        this->Set({static_cast<unsigned short>(count / 2), static_cast<unsigned short>(count / 2 - 2),
                   static_cast<unsigned short>(slope), static_cast<unsigned short>(slope + 2)});
        std::vector<TypeParam> image;
        for (unsigned long i = 0; i < count; ++i) {
            const unsigned long other = this->mCheck.Random().Below(count);
            image.insert(image.end(), {static_cast<TypeParam>(other), static_cast<TypeParam>(i),
                                       static_cast<TypeParam>(count - 1 - other)});
        }
        std::vector<TypeParam> expected = image;
        const SInPlaceImage shape{count, 1, 3, 0};
        modelChromaSuppress(this->mSettings, shape, this->Format(3), expected.data());
        ASSERT_EQ(call(*this->mModule, shape, this->Format(3), image.data()), 0U);
        ASSERT_EQ(image, expected) << slope;
    }
}

// Grey formats and refused formats never reach the image.
TYPED_TEST(CChromaSuppressModel, OtherFormatsTouchNothing) {
    this->Set({65000, 0, 65535, 65535});
    for (const unsigned long format : manyFormats()) {
        if (format == this->Format(3) || format == this->Format(4)) {
            continue;
        }
        ASSERT_TRUE(this->Run({3, 2, 4, 0}, format, 8, Flush::Right)) << format;
        const unsigned long status = modelChromaStatus(format, sizeof(TypeParam));
        ASSERT_EQ(call(*this->mModule, {3, 2, 4, 0}, format, kNoImage<TypeParam>), status) << format;
    }
}

// A format is judged before the settings: with both parts off it is refused all the same.
TYPED_TEST(CChromaSuppressModel, RefusesFormatsEvenWhenOff) {
    const unsigned long wrong = sizeof(TypeParam) == 1 ? 256 : 4;
    ASSERT_TRUE(this->Run({3, 2, 3, 0}, wrong, 8, Flush::Right));
    ASSERT_EQ(call(*this->mModule, {3, 2, 3, 0}, wrong, kNoImage<TypeParam>), kInvalid);
}

TYPED_TEST(CChromaSuppressModel, NullImage) {
    TypeParam* const none = nullptr;
    for (unsigned samples = 3; samples <= 4; ++samples) {
        const unsigned long format = this->Format(samples);
        const SInPlaceImage image{3, 2, samples, 0};
        this->Set({});
        EXPECT_EQ(call(*this->mModule, image, format, none), 0U); // both parts off
        this->Set({50, 255, 0, 0});
        EXPECT_EQ(call(*this->mModule, image, format, none), 0U); // no low slope
        this->Set({0, 255, 9, 0});
        EXPECT_EQ(call(*this->mModule, image, format, none), 0U); // no low level
        this->Set({0, sizeof(TypeParam) == 1 ? std::uint16_t{255} : std::uint16_t{65535}, 9, 9});
        EXPECT_EQ(call(*this->mModule, image, format, none), 0U); // high level at the largest sample
        this->Set({50, 200, 1, 1});
        EXPECT_EQ(call(*this->mModule, image, format, none), kInvalid);
        this->Set({50, 200, 1, 0});
        EXPECT_EQ(call(*this->mModule, image, format, none), kInvalid);
        this->Set({50, 200, 0, 1});
        EXPECT_EQ(call(*this->mModule, image, format, none), kInvalid);
        for (const SInPlaceImage& empty : {SInPlaceImage{0, 7, samples, 0}, SInPlaceImage{7, 0, samples, 0},
                                           SInPlaceImage{0, 0, samples, 0}, SInPlaceImage{0, ~0UL, samples, 0},
                                           SInPlaceImage{~0UL, 0, samples, 0}, SInPlaceImage{0, ~0UL, samples, 64}}) {
            EXPECT_EQ(call(*this->mModule, empty, format, none), 0U) << empty.width << " x " << empty.height;
        }
    }
}

// The module with the kernels of each instruction set that this machine has.
TYPED_TEST(CChromaSuppressModel, EveryInstructionSet) {
    const std::vector<unsigned> all = depths<TypeParam>();
    for (const rows::SRowTable* const table : usableTables()) {
        SCOPED_TRACE(table->name);
        CChromaSuppress module(*table);
        this->mTested = &module;
        for (unsigned turn = 0; turn < 8; ++turn) {
            for (unsigned long width = 1; width <= 70; ++width) {
                const SInPlaceImage image = withPitch({width, 2, 3 + turn % 2, 0}, turn, sizeof(TypeParam));
                ASSERT_TRUE(this->RunRandom(image, all[width % all.size()], Flush::Right));
            }
        }
    }
}

TEST_F(CStageFourthSample, OfChromaSuppression) {
    ExpectKept(
        [](const rows::SRowTable& table) {
            auto module = std::make_unique<CChromaSuppress>(table);
            module->SetHighStartLevel(20);
            module->SetHighSlope(100);
            return module;
        },
        [](CChromaSuppress& module, const SInPlaceImage& image, auto* samples) {
            return call(module, image, sizeof *samples == 1 ? 8 : 512, samples);
        });
}

// Setters store what they are given, one field each, and the older names mean the high part.
TEST(CChromaSuppressState, GettersGiveWhatWasSet) {
    const ChromaSuppressPtr module = makeChromaSuppress();
    using Set = unsigned long (IChromaSuppress::*)(unsigned short);
    using Get = unsigned long (IChromaSuppress::*)(unsigned short*);
    struct SField {
        Set set;
        Get get;
        unsigned index;
    };
    const SField fields[] = {
        {&IChromaSuppress::SetLowStartLevel, &IChromaSuppress::GetLowStartLevel, 0},
        {&IChromaSuppress::SetHighStartLevel, &IChromaSuppress::GetHighStartLevel, 1},
        {&IChromaSuppress::SetLowSlope, &IChromaSuppress::GetLowSlope, 2},
        {&IChromaSuppress::SetHighSlope, &IChromaSuppress::GetHighSlope, 3},
        {&IChromaSuppress::SetStartLevel, &IChromaSuppress::GetStartLevel, 1},
        {&IChromaSuppress::SetSlope, &IChromaSuppress::GetSlope, 3},
    };
    unsigned short values[4] = {0, 255, 0, 0};
    CRandom random(77);
    for (unsigned turn = 0; turn < 600; ++turn) {
        for (const SField& field : fields) {
            unsigned short read[3] = {4711, 4711, 4711};
            ASSERT_EQ((*module.*field.get)(&read[1]), 0U);
            ASSERT_EQ(read[1], values[field.index]);
            ASSERT_EQ(read[0], 4711);
            ASSERT_EQ(read[2], 4711);
        }
        const SField& field = fields[random.Below(6)];
        const auto value = static_cast<unsigned short>(turn % 5 == 0 ? 65535 : turn % 7 == 0 ? 0 : random.Next());
        ASSERT_EQ((*module.*field.set)(value), 0U);
        values[field.index] = value;
    }
}

// Processing and refusals leave the settings alone, and modules share none.
TEST(CChromaSuppressState, BelongsToOneModule) {
    const ChromaSuppressPtr one = makeChromaSuppress();
    const ChromaSuppressPtr other = makeChromaSuppress();
    one->SetLowStartLevel(300);
    one->SetLowSlope(20000);
    std::uint8_t pixel[3] = {9, 5, 1};
    EXPECT_EQ(other->ProcessB(1, 1, 0, 4, pixel), 0U);
    EXPECT_EQ(pixel[0], 9);
    EXPECT_EQ(one->ProcessB(1, 1, 0, 5, pixel), kInvalid);
    EXPECT_EQ(pixel[0], 9);
    EXPECT_EQ(one->ProcessB(1, 1, 0, 4, pixel), 0U);
    EXPECT_EQ(pixel[0], 5);
    EXPECT_EQ(pixel[2], 5);
    unsigned short level = 0;
    EXPECT_EQ(one->GetLowStartLevel(&level), 0U);
    EXPECT_EQ(level, 300);
    EXPECT_EQ(other->GetLowStartLevel(&level), 0U);
    EXPECT_EQ(level, 0);
}

} // namespace vek::test
