// SPDX-License-Identifier: Apache-2.0
// Colour matrix, hue and saturation against the model: settings, formats, depths, sizes; what is refused and kept.
#include "imageproc/ColorMatrix.h"
#include "imageproc/ColorMatrix/ColorMatrixModel.h"
#include "imageproc/FourthSample.h"
#include "imageproc/ModuleTest.h"
#include "support/InPlaceCheck.h"

#include <array>
#include <vector>

namespace vek::test {

namespace {

using ColorMatrixPtr = ModulePtr<IColorMatrix, kModuleColorMatrix>;
constexpr auto makeColorMatrix = makeModule<IColorMatrix, kModuleColorMatrix>;

template <class T>
class CColorMatrixTest : public ::testing::Test {
protected:
    CColorMatrixTest() : mModule(makeColorMatrix()), mTested(mModule.get()) {}

    void SetMatrix(unsigned mode, const std::array<short, 12>& matrix) {
        const auto byte = static_cast<unsigned char>(mode);
        ASSERT_EQ(mTested->SetColorMatrix(byte, matrix.data()), mModel.SetColorMatrix(byte, matrix.data()));
    }
    void SetHue(unsigned mode, int hue, unsigned saturation) {
        const auto byte = static_cast<unsigned char>(mode);
        const auto tenths = static_cast<short>(hue);
        const auto percent = static_cast<unsigned short>(saturation);
        ASSERT_EQ(mTested->SetHueSaturation(byte, tenths, percent), mModel.SetHueSaturation(byte, tenths, percent));
    }
    /// Coefficients around one, small ones, and any.
    std::array<short, 12> RandomMatrix() {
        std::array<short, 12> matrix{};
        const std::uint64_t kind = mCheck.Random().Below(4);
        for (std::size_t i = 0; i < 12; ++i) {
            const std::uint64_t any = mCheck.Random().Next();
            const int value = kind == 0   ? static_cast<int>(any % 65536) - 32768
                              : kind == 1 ? static_cast<int>(any % 401) - 200
                              : kind == 2 ? static_cast<int>(any % 61) - 30 + (i % 5 == 0 && i < 11 ? 100 : 0)
                                          : static_cast<int>(any % 101);
            matrix[i] = static_cast<short>(value);
        }
        return matrix;
    }
    void SetRandom() {
        CRandom& random = mCheck.Random();
        SetMatrix(random.Below(3) == 0 ? 0 : 255, RandomMatrix());
        const int hue = random.Below(3) == 0 ? 0 : static_cast<int>(random.Below(7201)) - 3600;
        SetHue(random.Below(4) == 0 ? 0 : 1, hue, static_cast<unsigned>(random.Below(300)));
    }
    ::testing::AssertionResult Run(const SInPlaceImage& image, unsigned long format, unsigned bits, unsigned depth,
                                   Flush flush) {
        if (!mModel.Defined()) {
            return Explain(::testing::AssertionFailure() << "results beyond 32 bits");
        }
        const ::testing::AssertionResult result = mCheck.Run(
            image, depth, flush, [&](T* samples) { return callStage(*mTested, image, format, samples, bits); },
            [&](T* samples) { return mModel.Process(image, format, samples, bits); });
        return result ? result : Explain(result) << "; format " << format << ", bits " << bits;
    }
    ::testing::AssertionResult Explain(const ::testing::AssertionResult& result) const {
        ::testing::AssertionResult failure = ::testing::AssertionFailure();
        failure << result.message() << "; matrix " << int{mModel.mMatrixMode} << ":";
        for (const short value : mModel.mMatrix) {
            failure << " " << value;
        }
        return failure << "; hue mode " << int{mModel.mHueMode} << ": " << mModel.mHue << ", " << mModel.mSaturation;
    }
    /// Formats of words and bytes work on samples of either width.
    static unsigned long Format(unsigned samples, unsigned turn) {
        return (turn % 2 == 0 ? 4UL : 256UL) * (samples - 2);
    }
    static unsigned Bits(unsigned turn) {
        constexpr unsigned kBytes[] = {8, 8, 8, 7, 4, 1, 0};
        constexpr unsigned kWords[] = {12, 10, 9, 16, 14, 8, 12, 3};
        return sizeof(T) == 1 ? kBytes[turn % 7] : kWords[turn % 8];
    }
    static unsigned Depth(unsigned bits, unsigned turn) {
        return turn % 4 == 3 || bits == 0 ? 8 * static_cast<unsigned>(sizeof(T)) : bits;
    }
    static constexpr unsigned kMostBits = sizeof(T) == 1 ? 8 : 12;
    /// An image whose samples are the depth's, against the model.
    ::testing::AssertionResult RunDeep(const SInPlaceImage& image, unsigned turn = 0, Flush flush = Flush::Right) {
        return Run(image, Format(image.samples, turn), kMostBits, kMostBits, flush);
    }
    /// A row of pixels through module and model.
    void ExpectAsModelled(std::vector<T> image, unsigned samples, unsigned long format, unsigned bits) {
        std::vector<T> expected = image;
        const SInPlaceImage row{image.size() / samples, 1, samples, 0};
        ASSERT_EQ(mModel.Process(row, format, expected.data(), bits), 0U);
        ASSERT_EQ(callStage(*mTested, row, format, image.data(), bits), 0U);
        ASSERT_EQ(image, expected) << "hue " << mModel.mHue;
    }
    /// Each input in turn takes every value, the two others stay.
    void ExpectEveryValue(unsigned long count, int others, unsigned long format, unsigned bits) {
        for (unsigned input = 0; input < 3; ++input) {
            std::vector<T> image(3 * count, static_cast<T>(others));
            for (unsigned long i = 0; i < count; ++i) {
                image[3 * i + input] = static_cast<T>(i);
            }
            SCOPED_TRACE(input);
            ASSERT_NO_FATAL_FAILURE(ExpectAsModelled(std::move(image), 3, format, bits));
        }
    }

    ColorMatrixPtr mModule;
    IColorMatrix* mTested;
    CColorMatrixModel mModel;
    CInPlaceCheck<T> mCheck{1UL << 16};
};

TYPED_TEST_SUITE(CColorMatrixTest, SampleTypes);

using CColorMatrixWords = CColorMatrixTest<std::uint16_t>;

constexpr std::array<short, 12> kMatrix = {120, -10, -10, 250, -20, 140, -20, -300, 0, -35, 135, 99};

} // namespace

TYPED_TEST(CColorMatrixTest, EverySmallSize) {
    forSmallImages<TypeParam>(
        {3, 4},
        [this](const SInPlaceImage& image, unsigned turn) {
            const unsigned bits = this->Bits(turn);
            const unsigned long format = this->Format(image.samples, turn / 16);
            for (const Flush flush : kFlushes) {
                ASSERT_TRUE(this->Run(image, format, bits, this->Depth(bits, turn / 3), flush));
            }
        },
        [this] { this->SetRandom(); });
}

TYPED_TEST(CColorMatrixTest, OddSizes) {
    forOddImages<TypeParam>(
        {3, 4},
        [this](const SInPlaceImage& image, unsigned turn) {
            const unsigned bits = this->Bits(turn);
            ASSERT_TRUE(this->Run(image, this->Format(image.samples, turn / 8), bits, this->Depth(bits, turn),
                                  kFlushes[turn / 4 % 2]));
        },
        [this] { this->SetRandom(); });
}

TYPED_TEST(CColorMatrixTest, EveryWidthTo130) {
    this->SetMatrix(255, kMatrix);
    this->SetHue(1, 155, 120);
    for (unsigned turn = 13; turn <= 130; ++turn) {
        for (unsigned samples = 3; samples <= 4; ++samples) {
            ASSERT_TRUE(this->RunDeep(withPitch({turn, 2, samples, 0}, turn, sizeof(TypeParam)), turn,
                                      turn % 3 == 0 ? Flush::Left : Flush::Right));
        }
    }
}

// Many settings on one small image: every matrix, hue and saturation leaves its mark in the tables.
TYPED_TEST(CColorMatrixTest, ManySettings) {
    for (unsigned turn = 0; turn < 150; ++turn) {
        this->SetRandom();
        ASSERT_TRUE(this->RunDeep({131, 2, 3, 0}, turn));
    }
}

// Hues at quarter turns, beyond a full turn and at the ends of their type; saturations at theirs.
TYPED_TEST(CColorMatrixTest, HuesAndSaturations) {
    for (const int hue : {0, 1, -1, 300, 450, 900, 1800, 2700, 3600, -900, -1800, 5400, 7205, 32767, -32768}) {
        for (const unsigned saturation : {0U, 1U, 50U, 99U, 100U, 101U, 200U, 1000U, 20000U, 65535U}) {
            this->SetHue(1, hue, saturation);
            ASSERT_TRUE(this->RunDeep({67, 2, 3, 0}));
        }
    }
}

// Coefficients with which the products of a byte, or of 12 bits, come to the ends of 16 bits, alone and in sums of
// three; and to 2^26 and beyond.
TYPED_TEST(CColorMatrixTest, ProductsAtTheEndsOfSixteenBits) {
    for (const int coefficient : {80,   265,  266,  267,  268,  399,  400,   401,   799,   800,  801,
                                  4264, 4266, 4267, 4268, 6399, 6400, 12799, 12800, 12801, 32767}) {
        for (const int sign : {1, -1}) {
            for (const int offset : {0, 32767, -32768}) {
                std::array<short, 12> matrix{};
                for (std::size_t i = 0; i < matrix.size(); ++i) {
                    matrix[i] = static_cast<short>(i % 4 == 3   ? offset
                                                   : i % 5 == 1 ? -sign * coefficient
                                                                : sign * coefficient);
                }
                this->SetMatrix(255, matrix);
                this->SetHue(0, 0, 0);
                ASSERT_TRUE(this->RunDeep({131, 2, 3, 0}));
                for (const unsigned saturation : {300U, 65535U}) {
                    this->SetHue(1, 100, saturation);
                    if (this->mModel.Defined()) {
                        ASSERT_TRUE(this->RunDeep({131, 2, 3, 0}, 0, Flush::Left));
                    }
                }
            }
        }
    }
}

// A byte's products fit 16 bits in sums of three, those of the next entry of the tables do not.
TYPED_TEST(CColorMatrixTest, LastByteBelowTheEndOfSixteenBits) {
    this->SetMatrix(255, {4266, 4266, 4266, 0, 4266, 4266, 4266, 0, 4266, 4266, 4266, 0});
    for (const unsigned samples : {3U, 4U}) {
        SCOPED_TRACE(samples);
        ASSERT_NO_FATAL_FAILURE(this->ExpectAsModelled(std::vector<TypeParam>(samples * 131UL, TypeParam{255}), samples,
                                                       4 * (samples - 2), 8));
    }
}

// Every value of a sample through every table, words beyond the tables included.
TYPED_TEST(CColorMatrixTest, EveryValue) {
    this->SetMatrix(255, kMatrix);
    this->SetHue(1, -77, 130);
    this->ExpectEveryValue(sizeof(TypeParam) == 1 ? 256 : 65536, 40, 4, 8 * sizeof(TypeParam));
}

// Every entry of the tables under many settings: where an entry falls next to a whole number, the order of operations
// and their precision decide it. The other inputs are high, so that falling sums show as well.
TEST_F(CColorMatrixWords, EveryEntryUnderManySettings) {
    for (unsigned turn = 0; turn < 30; ++turn) {
        SetMatrix(turn % 3 == 0 ? 0 : 255, kMatrix);
        SetHue(1, static_cast<int>(turn * 119) - 1800, 40 + turn * 37);
        ASSERT_NO_FATAL_FAILURE(ExpectEveryValue(4096, 3000, 256, 16));
    }
}

// Setters in any order, refused ones among them: the state is always that of the accepted ones.
TYPED_TEST(CColorMatrixTest, AnyOrderOfSetters) {
    CRandom& random = this->mCheck.Random();
    for (unsigned turn = 0; turn < 200; ++turn) {
        const auto mode = static_cast<unsigned>(turn % 3 == 0 ? random.Below(256) : random.Below(2) * 255);
        if (turn % 2 == 0) {
            this->SetMatrix(mode, this->RandomMatrix());
        } else {
            this->SetHue(mode % 254, static_cast<int>(random.Below(3600)), static_cast<unsigned>(random.Below(200)));
        }
        unsigned char readMode = 77;
        std::array<short, 12> matrix{};
        ASSERT_EQ(this->mTested->GetColorMatrix(&readMode, matrix.data()), 0U);
        ASSERT_EQ(readMode, this->mModel.mMatrixMode);
        ASSERT_EQ(matrix, this->mModel.mMatrix);
        short hue = 77;
        unsigned short saturation = 77;
        readMode = 77;
        ASSERT_EQ(this->mTested->GetHueSaturation(&readMode, &hue, &saturation), 0U);
        ASSERT_EQ(readMode, this->mModel.mHueMode);
        ASSERT_EQ(hue, this->mModel.mHue);
        ASSERT_EQ(saturation, this->mModel.mSaturation);
        ASSERT_TRUE(this->RunDeep({9, 2, 3, 0}, turn));
    }
}

// The format is judged before the modes, and neither grey nor refused images nor those of two modes off are touched.
TYPED_TEST(CColorMatrixTest, OtherFormatsTouchNothing) {
    for (unsigned modes = 0; modes < 4; ++modes) {
        this->SetMatrix(modes % 2 * 255, kMatrix);
        this->SetHue(modes / 2, 300, 50);
        for (const unsigned long format : manyFormats()) {
            unsigned samples = 0;
            const unsigned long status = this->mModel.Status(format, &samples);
            ASSERT_EQ(callStage(*this->mTested, {3, 2, 4, 0}, format, kNoImage<TypeParam>, 8),
                      samples != 0 ? kInvalid : status)
                << format;
            if (samples == 0) {
                ASSERT_TRUE(this->Run({3, 2, 4, 0}, format, 8, 8, Flush::Right));
            } else {
                for (const SImageSize& size : kNoPixels) {
                    ASSERT_EQ(
                        callStage(*this->mTested, {size.width, size.height, 4, 0}, format, kNoImage<TypeParam>, 8), 0U);
                }
            }
        }
    }
}

// Depths of words for bytes: the largest value counts modulo 256.
TYPED_TEST(CColorMatrixTest, DeepBitsOfBytes) {
    this->SetMatrix(255, kMatrix);
    for (unsigned bits = 0; bits <= 16; ++bits) {
        ASSERT_TRUE(this->Run({21, 3, 4, 0}, 512, bits, 8, Flush::Right)) << bits;
    }
}

// Depths beyond 16 bits and results beyond 32 stay within the image, with a status that means something.
TYPED_TEST(CColorMatrixTest, SettingsBeyondMeaningAreSafe) {
    std::array<short, 12> matrix{};
    matrix.fill(32767);
    for (unsigned turn = 0; turn < 6; ++turn) {
        matrix[turn] = -32768;
        this->SetMatrix(255, matrix);
        this->SetHue(1, 450 * static_cast<int>(turn), 65535);
        for (const unsigned bits : {8U, 12U, 16U, 17U, 28U, 31U, 32U, 33U, 63U, 64U, 65U, 255U, 256U, 65535U}) {
            CGuardedBuffer<TypeParam> image(3 * 21, turn % 2 == 0 ? Flush::Right : Flush::Left);
            fillSamples(image.data(), image.size(), Pattern::Random, 8 * sizeof(TypeParam), this->mCheck.Random());
            const unsigned long status = callStage(*this->mTested, {21, 1, 3, 0}, 4, image.data(), bits);
            EXPECT_TRUE(status == 0 || status == kInvalid) << bits;
            EXPECT_TRUE(image.CanaryIntact());
            const unsigned max = bits < 8 * sizeof(TypeParam) ? (1U << bits) - 1 : static_cast<TypeParam>(-1);
            for (std::size_t i = 0; i < image.size() && status == 0; ++i) {
                EXPECT_LE(image[i], max);
            }
        }
    }
}

// The module with the kernels of each instruction set that this machine has.
TYPED_TEST(CColorMatrixTest, EveryInstructionSet) {
    for (const rows::SRowTable* const table : usableTables()) {
        SCOPED_TRACE(table->name);
        CColorMatrix module(*table);
        this->mTested = &module;
        this->mModel = CColorMatrixModel();
        for (unsigned turn = 0; turn < 4; ++turn) {
            this->SetRandom();
            for (unsigned long width = 1; width <= 70; ++width) {
                const unsigned bits = this->Bits(static_cast<unsigned>(width));
                const unsigned samples = 3 + turn % 2;
                ASSERT_TRUE(this->Run(withPitch({width, 2, samples, 0}, turn, sizeof(TypeParam)),
                                      this->Format(samples, turn), bits, this->Depth(bits, turn), Flush::Right));
            }
        }
    }
}

TEST_F(CStageFourthSample, OfColorMatrix) {
    ExpectKept(
        [](const rows::SRowTable& table) {
            auto module = std::make_unique<CColorMatrix>(table);
            module->SetHueSaturation(1, 300, 150);
            return module;
        },
        [](CColorMatrix& module, const SInPlaceImage& image, auto* samples) {
            const bool bytes = sizeof *samples == 1;
            return callStage(module, image, bytes ? 8 : 512, samples, bytes ? 8 : 12);
        });
}

// Outputs may be null one by one; a null matrix is refused only where it would be read.
TEST(CColorMatrixState, NullPointers) {
    const ColorMatrixPtr module = makeColorMatrix();
    EXPECT_EQ(module->SetColorMatrix(255, kMatrix.data()), 0U);
    unsigned char mode = 3;
    EXPECT_EQ(module->GetColorMatrix(&mode, nullptr), 0U);
    EXPECT_EQ(mode, 255);
    std::array<short, 12> matrix{};
    EXPECT_EQ(module->GetColorMatrix(nullptr, matrix.data()), 0U);
    EXPECT_EQ(matrix, kMatrix);
    EXPECT_EQ(module->GetColorMatrix(nullptr, nullptr), 0U);
    EXPECT_EQ(module->SetColorMatrix(255, nullptr), kInvalid);
    EXPECT_EQ(module->SetColorMatrix(2, nullptr), kInvalid);
    EXPECT_EQ(module->GetColorMatrix(&mode, matrix.data()), 0U);
    EXPECT_EQ(mode, 255);
    EXPECT_EQ(matrix, kMatrix);
    EXPECT_EQ(module->SetColorMatrix(0, nullptr), 0U);
    EXPECT_EQ(module->GetColorMatrix(&mode, matrix.data()), 0U);
    EXPECT_EQ(mode, 0);
    EXPECT_EQ(matrix, (std::array<short, 12>{100, 0, 0, 0, 0, 100, 0, 0, 0, 0, 100, 0}));
}

// Null outputs of hue and saturation do no harm: a status that means something, and nothing is written half.
TEST(CColorMatrixState, NullHueOutputsAreSafe) {
    const ColorMatrixPtr module = makeColorMatrix();
    EXPECT_EQ(module->SetHueSaturation(1, 450, 70), 0U);
    unsigned char mode = 77;
    short hue = 77;
    unsigned short saturation = 77;
    for (unsigned nulls = 1; nulls < 8; ++nulls) {
        const unsigned long status =
            module->GetHueSaturation((nulls & 1U) != 0 ? nullptr : &mode, (nulls & 2U) != 0 ? nullptr : &hue,
                                     (nulls & 4U) != 0 ? nullptr : &saturation);
        EXPECT_TRUE(status == 0 || status == kInvalid) << nulls;
        EXPECT_TRUE(mode == 77 || (mode == 1 && status == 0)) << nulls;
        EXPECT_TRUE(hue == 77 || (hue == 450 && status == 0)) << nulls;
        EXPECT_TRUE(saturation == 77 || (saturation == 70 && status == 0)) << nulls;
    }
}

// The caller's matrix is copied, and exactly 12 numbers of it.
TEST(CColorMatrixState, MatrixIsCopied) {
    const ColorMatrixPtr module = makeColorMatrix();
    CGuardedBuffer<short> given(12, Flush::Right);
    CGuardedBuffer<short> read(12, Flush::Right);
    for (std::size_t i = 0; i < 12; ++i) {
        given[i] = static_cast<short>(1000 * i - 5000);
    }
    EXPECT_EQ(module->SetColorMatrix(255, given.data()), 0U);
    const std::vector<short> before(given.data(), given.data() + 12);
    given[0] = 7;
    EXPECT_EQ(module->GetColorMatrix(nullptr, read.data()), 0U);
    EXPECT_EQ(std::vector<short>(read.data(), read.data() + 12), before);
    EXPECT_TRUE(read.CanaryIntact());
    EXPECT_TRUE(given.CanaryIntact());
}

} // namespace vek::test
