// SPDX-License-Identifier: Apache-2.0
// Every tier's rows of colour pixels and its unsharp mask against the scalar ones: same samples written, no others
// touched, next to protected pages.
#include "imageproc/CurveSegments.h"
#include "imageproc/Sharpness.h"
#include "imageproc/rows/TierTest.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace vek::test {
namespace {

constexpr std::size_t kSteps[] = {3, 4, 6, 8};

/// Products of a matrix: anything, below 2^26, or of 16 bits with their sums; and of bytes by steps, alone or in pairs.
enum class Products : std::uint8_t { Any, Moderate, Narrow, Steps, Pairs };

/// Tables and settings of a row's stages. Random: every value that the types hold.
struct SSettings {
    std::vector<std::uint16_t> blue = std::vector<std::uint16_t>(rows::SLumaTables::kEntries);
    std::vector<std::uint16_t> green = blue;
    std::vector<std::uint16_t> red = blue;
    std::vector<std::uint16_t> curve = std::vector<std::uint16_t>(4096);
    std::vector<std::uint16_t> corrections = curve;
    std::vector<std::uint8_t> levels = std::vector<std::uint8_t>(256);
    std::vector<std::uint8_t> raise = levels;
    std::vector<std::uint8_t> lower = levels;
    std::vector<std::array<std::int32_t, 4>> products = std::vector<std::array<std::int32_t, 4>>(3 * 4096);
    std::vector<std::array<std::int16_t, 4>> narrowProducts = std::vector<std::array<std::int16_t, 4>>(3 * 4097);
    std::vector<rows::SMatrixTables::ByteSteps> steps = std::vector<rows::SMatrixTables::ByteSteps>(3);
    rows::SChromaLimits limits{};
    unsigned coring = 0;
    Products kind;
    SSharpnessStage sharpness; ///< gain 0: corrections are random instead

    SSettings(std::uint64_t seed, unsigned depth) : kind(static_cast<Products>(seed % 5)) {
        CRandom random(seed);
        for (unsigned i = 0; i < rows::SLumaTables::kEntries; ++i) {
            blue[i] = static_cast<std::uint16_t>(i * 0.114 + 0.5);
            green[i] = static_cast<std::uint16_t>(i * 0.587 + 0.5);
            red[i] = static_cast<std::uint16_t>(i * 0.299 + 0.5);
        }
        fillSamples(curve.data(), curve.size(), Pattern::Random, seed % 2 == 0 ? depth : 16, random);
        fillSamples(corrections.data(), corrections.size(), Pattern::Random, seed % 2 == 0 ? depth - 2 : 12, random);
        for (std::size_t i = 0; i < levels.size(); ++i) {
            levels[i] = static_cast<std::uint8_t>(curve[i]);
            raise[i] = static_cast<std::uint8_t>(corrections[i]);
            lower[i] = static_cast<std::uint8_t>(std::min<unsigned>(corrections[i], 255));
        }
        for (std::size_t i = 0; i < products.size(); ++i) {
            for (std::size_t j = 0; j < 3; ++j) {
                const auto value = static_cast<std::int32_t>(random.Next());
                std::int32_t& product = products[i][j];
                product = kind == Products::Any ? value : kind == Products::Moderate ? value >> 5 : value % 10923;
                // One entry behind each table of 16 bits.
                const auto narrow = static_cast<std::int16_t>(IsNarrow() ? product : 99);
                narrowProducts[i + i / 4096][j] = narrow;
            }
        }
        if (kind == Products::Steps || kind == Products::Pairs) {
            TakeSteps(random);
        }
        limits = {static_cast<std::uint16_t>(random.Below(1U << depth)),
                  static_cast<std::uint16_t>(random.Below(1U << depth)),
                  static_cast<std::uint16_t>(random.Below(3) * random.Below(2000)),
                  static_cast<std::uint16_t>(random.Below(3) * random.Below(2000))};
        SetCoring(static_cast<unsigned>(random.Below(1U << (depth / 2))));
        if (seed % 3 == 0) {
            TakeAnyLimits(random);
        }
        if (seed % 3 != 0) {
            // A third of the gains that are left make corrections of bytes above 255.
            constexpr unsigned short gains[] = {1, 5, 10, 35, 70, 100, 130, 150, 190, 255, 470, 999, 20000, 65535};
            sharpness.gain =
                seed % 3 == 1 ? gains[seed % std::size(gains)] : static_cast<unsigned short>(1 + random.Below(400));
            sharpness.coring = static_cast<unsigned short>(coring);
            sharpness.UpdateTable();
        }
    }

    /// Levels at and beyond the ends of luma, slopes that are full at once.
    void TakeAnyLimits(CRandom& random) {
        const auto level = [&] {
            const std::uint64_t any = random.Below(1U << 16);
            return static_cast<std::uint16_t>(any % 4 == 0 ? any : any % 4 == 1 ? any % 3 : 65535 - any % 3);
        };
        limits = {level(), level(), static_cast<std::uint16_t>(random.Below(1U << 16)),
                  static_cast<std::uint16_t>(random.Below(1U << 16))};
    }

    /// Corrections are 0 up to the coring.
    void SetCoring(unsigned upTo) {
        coring = upTo;
        const auto clear = [&](auto& table) {
            std::fill_n(table.begin(), std::min<std::size_t>(upTo + 1, table.size()), 0);
        };
        clear(corrections);
        clear(raise);
        clear(lower);
        sharpness.coring = static_cast<unsigned short>(upTo);
        sharpness.UpdateTable();
    }
    bool IsNarrow() const { return kind >= Products::Narrow; }
    /// Products of bytes by steps, as far from 0 as 16 bits for a sum of three allow.
    void TakeSteps(CRandom& random) {
        for (std::size_t input = 0; input < 3; ++input) {
            for (std::size_t j = 0; j < 3; ++j) {
                rows::SMatrixTables::ByteSteps& of = steps[input];
                of.step[j] = static_cast<std::int8_t>(static_cast<int>(random.Below(81)) - 40);
                of.sign[j] = static_cast<std::int8_t>(random.Below(2) == 0 ? -1 : 1);
                of.base[j] = static_cast<std::int16_t>(static_cast<int>(random.Below(401)) - 200);
                fillSamples(of.rest[j], 256, Pattern::Random, 8, random);
                for (int i = 0; i < 256; ++i) {
                    const int rest = of.rest[j][kind == Products::Pairs ? i / 2 : i];
                    const int left = kind == Products::Pairs ? (rest + i % 2 + 1) / 2 : rest;
                    const int product = of.step[j] * i + of.sign[j] * left + of.base[j];
                    const std::size_t at = static_cast<std::size_t>(i) + input * 4096;
                    products[at][j] = product;
                    narrowProducts[at + input][j] = static_cast<std::int16_t>(product);
                }
            }
        }
    }

    rows::SLumaTables Luma() const { return {blue.data(), green.data(), red.data()}; }
    rows::SMatrixTables Matrix() const {
        const auto* const first = reinterpret_cast<const rows::SMatrixTables::Entry*>(products.data());
        const auto* const narrow = reinterpret_cast<const rows::SMatrixTables::NarrowEntry*>(narrowProducts.data());
        const bool fits = IsNarrow();
        return {.blue = first,
                .green = first + 4096,
                .red = first + 2 * 4096,
                .narrowBlue = narrow,
                .narrowGreen = narrow + 4097,
                .narrowRed = narrow + 2 * 4097,
                .steps = kind == Products::Steps || kind == Products::Pairs ? steps.data() : nullptr,
                .inPairs = kind == Products::Pairs,
                .moderate = kind != Products::Any,
                .narrowBytes = fits,
                .narrowWords = fits};
    }
    rows::SSharpening Sharpening(unsigned depth) const {
        const unsigned maxValue = (1U << depth) - 1;
        if (sharpness.gain != 0) {
            return sharpness.Sharpening(maxValue);
        }
        return {.table = corrections.data(),
                .raiseBytes = raise.data(),
                .lowerBytes = raise == lower ? nullptr : lower.data(),
                .coring = coring,
                .maxValue = maxValue,
                .segments = nullptr,
                .line = nullptr,
                .digits = nullptr};
    }
    rows::SLumaCurve LumaCurve() const {
        const bool bytes = std::equal(levels.begin(), levels.end(), curve.begin());
        return {curve.data(), bytes ? levels.data() : nullptr};
    }
};

class ColorRows : public CTierTest {
protected:
    /// Runs kernel(table, row) on two copies of count random samples. The scalar rows' copy says what is right.
    template <class T, class Kernel>
    void Compare(const char* name, std::size_t count, Pattern pattern, unsigned depth, Flush flush, std::uint64_t seed,
                 Kernel kernel) {
        CRandom random(seed);
        ASSERT_TRUE(sameRows(Scalar(), Table(), samplesOf<T>(count, pattern, depth, random), flush, kernel))
            << name << ", depth " << depth << ", seed " << seed;
    }

    template <class T>
    void CheckWidth(std::size_t width, Pattern pattern, unsigned depth, Flush flush, std::uint64_t seed) {
        CheckSamples<T>(width, pattern, depth, flush, seed, depth, SSettings(seed, std::min(depth, 12U)));
    }

    /// Every kernel on one width. depth: of the samples; range: bits of the largest value allowed.
    template <class T>
    void CheckSamples(std::size_t width, Pattern pattern, unsigned depth, Flush flush, std::uint64_t seed,
                      unsigned range, const SSettings& settings) {
        const unsigned maxValue = (1U << range) - 1;
        const rows::SLumaTables luma = settings.Luma();
        for (const std::size_t step : kSteps) {
            // A row ends with its last pixel's third sample.
            const std::size_t count = width == 0 ? 0 : (width - 1) * step + 3;
            Compare<T>("lumaCurve", count, pattern, depth, flush, seed, [&](const rows::SRowTable& rows, T* row) {
                rows::colorRows<T>(rows).lumaCurve(row, width, step, luma, settings.LumaCurve(), maxValue);
            });
            Compare<T>("matrix", count, pattern, depth, flush, seed, [&](const rows::SRowTable& rows, T* row) {
                rows::colorRows<T>(rows).matrix(row, width, step, settings.Matrix(), maxValue);
            });
            Compare<T>("suppressChroma", count, pattern, depth, flush, seed, [&](const rows::SRowTable& rows, T* row) {
                rows::colorRows<T>(rows).suppressChroma(row, width, step, luma, settings.limits);
            });
            CRandom random(seed);
            CGuardedBuffer<T> pixels(count, flush);
            fillSamples(pixels.data(), count, pattern, depth, random);
            Compare<T>("luma", width, pattern, depth, flush, seed, [&](const rows::SRowTable& rows, T* row) {
                rows::colorRows<T>(rows).luma(pixels.data(), row, width, step, luma);
            });
            CheckSharpening<T>(width, step, count, pattern, depth, flush, seed, range, settings);
            if (HasFatalFailure()) {
                return;
            }
        }
        CRandom random(seed + 1);
        CGuardedBuffer<T> row(width, flush);
        fillSamples(row.data(), width, pattern, depth, random);
        Compare<std::uint16_t>("sum3", width, pattern, 16, flush, seed,
                               [&](const rows::SRowTable& rows, std::uint16_t* sums) {
                                   rows::colorRows<T>(rows).sum3(row.data(), sums, width);
                               });
    }

    template <class T>
    void CheckSharpening(std::size_t width, std::size_t step, std::size_t count, Pattern pattern, unsigned depth,
                         Flush flush, std::uint64_t seed, unsigned range, const SSettings& settings) {
        if (width < 3) {
            return; // the module has no work for it
        }
        CRandom random(seed + 2);
        CGuardedBuffer<std::uint16_t> above(width, flush);
        CGuardedBuffer<std::uint16_t> below(width, flush);
        CGuardedBuffer<T> lumaRow(width, flush);
        fillSamples(above.data(), width, pattern, std::min(depth + 1, 16U), random);
        fillSamples(below.data(), width, pattern, std::min(depth + 1, 16U), random);
        fillSamples(lumaRow.data(), width, pattern, std::min(depth, 13U), random);
        std::vector<std::uint16_t> lumaAbove(above.data(), above.data() + width);
        std::vector<std::uint16_t> lumaBelow(below.data(), below.data() + width);
        for (std::vector<std::uint16_t>* const sums : {&lumaAbove, &lumaBelow}) {
            std::for_each(sums->begin(), sums->end(),
                          [](std::uint16_t& sum) { sum = static_cast<std::uint16_t>(sum % (3 * 8191 + 1)); });
        }
        const rows::SSharpening sharpening = settings.Sharpening(range);
        CGuardedBuffer<std::uint16_t> own(width, flush);
        const auto sumsOf = [&](const rows::SRowTable& rows, const T* row) {
            rows::colorRows<T>(rows).sum3(row, own.data(), width);
            return row == lumaRow.data() ? rows::SNeighborSums{lumaAbove.data(), own.data(), lumaBelow.data()}
                                         : rows::SNeighborSums{above.data(), own.data(), below.data()};
        };
        Compare<T>("sharpenColour", count, pattern, depth, flush, seed, [&](const rows::SRowTable& rows, T* row) {
            rows::colorRows<T>(rows).sharpenColor(row, row, step, lumaRow.data(), sumsOf(rows, lumaRow.data()), width,
                                                  sharpening);
        });
        Compare<T>("sharpenGrey", width, pattern, depth, flush, seed, [&](const rows::SRowTable& rows, T* row) {
            rows::colorRows<T>(rows).sharpenGray(row, row, sumsOf(rows, row), width, sharpening);
        });
        // To another row, which gets all samples.
        CGuardedBuffer<T> pixels(3 * width, flush);
        fillSamples(pixels.data(), 3 * width, pattern, depth, random);
        Compare<T>("sharpenColour to another row", 3 * width, pattern, depth, flush, seed,
                   [&](const rows::SRowTable& rows, T* row) {
                       rows::colorRows<T>(rows).sharpenColor(pixels.data(), row, 3, lumaRow.data(),
                                                             sumsOf(rows, lumaRow.data()), width, sharpening);
                   });
        Compare<T>("sharpenGrey to another row", width, pattern, depth, flush, seed,
                   [&](const rows::SRowTable& rows, T* row) {
                       rows::colorRows<T>(rows).sharpenGray(pixels.data(), row, sumsOf(rows, pixels.data()), width,
                                                            sharpening);
                   });
    }
};

TEST_P(ColorRows, EqualScalarForEveryWidthUpTo130) {
    for (std::size_t width = 0; width <= 130; ++width) {
        const Flush flush = width % 2 == 0 ? Flush::Left : Flush::Right;
        CheckWidth<std::uint8_t>(width, Pattern::Random, 8, flush, width);
        CheckWidth<std::uint16_t>(width, Pattern::Random, 12, flush, width + 1);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST_P(ColorRows, EqualScalarForEveryDepthAndExtremeData) {
    for (const Pattern pattern : kPatterns) {
        for (const std::uint64_t seed : {1UL, 2UL, 3UL}) {
            CheckWidth<std::uint8_t>(67, pattern, 8, Flush::Right, seed);
            for (const unsigned depth : {9U, 10U, 12U, 16U}) {
                CheckWidth<std::uint16_t>(67, pattern, depth, Flush::Right, seed);
            }
        }
    }
}

TEST_P(ColorRows, EqualScalarForLargeWidths) {
    CheckWidth<std::uint8_t>(2447, Pattern::Random, 8, Flush::Right, 4);
    CheckWidth<std::uint16_t>(2447, Pattern::Random, 12, Flush::Right, 4);
}

TEST_P(ColorRows, EqualScalarAroundWhatIsDoneTogether) {
    for (const std::size_t width : {511U, 512U, 513U, 514U, 515U, 575U, 576U, 577U, 578U, 1023U, 1025U, 1026U}) {
        CheckWidth<std::uint8_t>(width, Pattern::Random, 8, Flush::Right, width);
        CheckWidth<std::uint16_t>(width, Pattern::Random, 12, Flush::Left, width);
        if (HasFatalFailure()) {
            return;
        }
    }
}

// Words may hold more than their depth: what is left alone keeps it, what is changed is limited.
TEST_P(ColorRows, EqualScalarForSamplesAboveTheRange) {
    for (const std::uint64_t seed : {1UL, 2UL, 3UL, 4UL, 5UL, 6UL}) {
        for (const unsigned range : {9U, 10U, 12U}) {
            for (const unsigned depth : {range, range + 1, 13U, 14U, 15U, 16U}) {
                for (const Pattern pattern : kPatterns) {
                    CheckSamples<std::uint16_t>(133, pattern, depth, Flush::Right, seed, range, SSettings(seed, range));
                    if (HasFatalFailure()) {
                        return;
                    }
                }
            }
        }
    }
}

// One sample too large among usual ones, at every place of the blocks.
/// Luma of words through curves that have segments, with and without exceptions.
TEST_P(ColorRows, LumaCurvesWithSegments) {
    const SSettings settings(2, 12);
    for (const double exponent : {1.0, 0.45, 2.2}) {
        std::vector<std::uint16_t> levels(rows::kCurveEntries<std::uint16_t>);
        for (std::size_t i = 0; i < levels.size(); ++i) {
            const double light = static_cast<double>(i) / 4095;
            levels[i] = static_cast<std::uint16_t>(4095 * std::pow(light, exponent) + 0.5);
        }
        rows::SToneCurve words = {};
        words.entries = levels.data();
        words.shift = rows::SToneCurve::kStepShift;
        words.bySteps = true;
        rows::SToneCurve::Segments segments;
        fitSegments(words, segments);
        ASSERT_NE(words.segments, nullptr);
        const rows::SLumaCurve curve = {levels.data(), nullptr, &words};
        for (std::size_t width = 0; width <= 130; ++width) {
            for (const std::size_t step : kSteps) {
                for (const unsigned depth : {12U, 16U}) {
                    Compare<std::uint16_t>("lumaCurve", width == 0 ? 0 : (width - 1) * step + 3, Pattern::Random, depth,
                                           Flush::Right, width, [&](const rows::SRowTable& rows, std::uint16_t* row) {
                                               rows.colors16.lumaCurve(row, width, step, settings.Luma(), curve, 4095);
                                           });
                }
            }
        }
    }
}

TEST_P(ColorRows, EqualScalarForOneSampleAboveTheRange) {
    const SSettings settings(2, 12);
    constexpr std::size_t width = 140;
    for (std::size_t at = 0; at < 3 * width; ++at) {
        for (const unsigned sample : {4096U, 4197U, 8192U, 16384U, 65535U}) {
            const auto spoil = [&](std::uint16_t* row) { row[at] = static_cast<std::uint16_t>(sample); };
            Compare<std::uint16_t>("matrix", 3 * width, Pattern::Random, 12, Flush::Right, 1,
                                   [&](const rows::SRowTable& rows, std::uint16_t* row) {
                                       spoil(row);
                                       rows.colors16.matrix(row, width, 3, settings.Matrix(), 4095);
                                   });
            Compare<std::uint16_t>("lumaCurve", 3 * width, Pattern::Random, 12, Flush::Right, 1,
                                   [&](const rows::SRowTable& rows, std::uint16_t* row) {
                                       spoil(row);
                                       rows.colors16.lumaCurve(row, width, 3, settings.Luma(), settings.LumaCurve(),
                                                               4095);
                                   });
            CRandom random(3);
            std::vector<std::uint16_t> sums(3 * width);
            fillSamples(sums.data(), sums.size(), Pattern::Random, 13, random);
            Compare<std::uint16_t>("sharpenGrey", 3 * width, Pattern::Random, 12, Flush::Right, 1,
                                   [&](const rows::SRowTable& rows, std::uint16_t* row) {
                                       spoil(row);
                                       std::vector<std::uint16_t> own(3 * width);
                                       rows.colors16.sum3(row, own.data(), own.size());
                                       rows.colors16.sharpenGray(row, row, {sums.data(), own.data(), sums.data()},
                                                                 3 * width, settings.Sharpening(12));
                                   });
            std::vector<std::uint16_t> luma(sums.begin(), sums.begin() + width);
            std::vector<std::uint16_t> lumaSums(width);
            Scalar().colors16.sum3(luma.data(), lumaSums.data(), width);
            Compare<std::uint16_t>("sharpenColour", 3 * width, Pattern::Random, 12, Flush::Right, 1,
                                   [&](const rows::SRowTable& rows, std::uint16_t* row) {
                                       spoil(row);
                                       rows.colors16.sharpenColor(row, row, 3, luma.data(),
                                                                  {sums.data(), lumaSums.data(), sums.data()}, width,
                                                                  settings.Sharpening(12));
                                   });
            if (HasFatalFailure()) {
                return;
            }
        }
    }
}

// Sums at which 16 bits overflow, alone and together; luma as large as it gets.
TEST_P(ColorRows, SharpeningEqualsScalarForExtremeSums) {
    constexpr std::size_t width = 200;
    for (const std::uint64_t seed : {2UL, 3UL}) {
        const SSettings settings(seed, 12);
        for (const unsigned sums : {0U, 8191U, 12285U, 16383U, 16384U, 24573U, 32767U, 32768U, 65535U}) {
            for (const unsigned sample : {0U, 4095U, 8191U, 8192U, 16384U, 21846U, 65535U}) {
                const std::vector<std::uint16_t> beside(width, static_cast<std::uint16_t>(sums));
                const std::vector<std::uint16_t> luma(width, static_cast<std::uint16_t>(sample));
                std::vector<std::uint16_t> own(width);
                Scalar().colors16.sum3(luma.data(), own.data(), width);
                const rows::SNeighborSums around = {beside.data(), own.data(), beside.data()};
                if (sums <= 24573 && sample <= 8191) {
                    Compare<std::uint16_t>("sharpenColour", 3 * width, Pattern::Random, 12, Flush::Right, 1,
                                           [&](const rows::SRowTable& rows, std::uint16_t* row) {
                                               rows.colors16.sharpenColor(row, row, 3, luma.data(), around, width,
                                                                          settings.Sharpening(12));
                                           });
                }
                Compare<std::uint16_t>("sharpenGrey", width, Pattern::Random, 12, Flush::Right, 1,
                                       [&](const rows::SRowTable& rows, std::uint16_t* row) {
                                           std::fill(row, row + width, static_cast<std::uint16_t>(sample));
                                           rows.colors16.sharpenGray(row, row, around, width, settings.Sharpening(12));
                                       });
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

TEST_P(ColorRows, EqualScalarForExtremeSettings) {
    for (const std::uint64_t seed : {1UL, 2UL}) {
        for (const unsigned start : {0U, 1U, 128U, 254U, 255U, 256U, 4095U, 65534U, 65535U}) {
            for (const unsigned slope : {0U, 1U, 63U, 64U, 65U, 16383U, 16384U, 65535U}) {
                for (const unsigned coring : {0U, 1U, 254U, 255U, 256U, 4095U, 65535U}) {
                    SSettings settings(seed, 12);
                    const auto step = static_cast<std::uint16_t>(slope);
                    settings.limits = {static_cast<std::uint16_t>(start), static_cast<std::uint16_t>(65535 - start),
                                       step, step};
                    settings.SetCoring(coring);
                    CheckSamples<std::uint8_t>(150, Pattern::Random, 8, Flush::Right, seed, 8, settings);
                    if (coring < 2) {
                        CheckSamples<std::uint16_t>(150, Pattern::Random, 12, Flush::Right, seed, 12, settings);
                        CheckSamples<std::uint16_t>(150, Pattern::Random, 16, Flush::Right, seed, 12, settings);
                    }
                    if (HasFatalFailure()) {
                        return;
                    }
                }
            }
        }
    }
}

/// Luma of every sample in one channel, the two others 0.
template <class T>
void checkShares(const rows::SRowTable& table, const rows::SLumaTables& luma, std::size_t samples) {
    constexpr unsigned weights[] = {114, 587, 299}; // thousandths
    for (std::size_t channel = 0; channel < 3; ++channel) {
        std::vector<T> pixels(3 * samples);
        for (std::size_t i = 0; i < samples; ++i) {
            pixels[3 * i + channel] = static_cast<T>(i);
        }
        std::vector<T> got(samples);
        rows::colorRows<T>(table).luma(pixels.data(), got.data(), samples, 3, luma);
        for (std::size_t i = 0; i < samples; ++i) {
            const std::size_t held = std::min<std::size_t>(i, rows::SLumaTables::kEntries - 1);
            ASSERT_EQ(got[i], (held * weights[channel] + 500) / 1000) << table.name << ", channel " << channel;
        }
    }
}

TEST_P(ColorRows, LumaOfEverySample) {
    const SSettings settings(1, 12);
    checkShares<std::uint8_t>(Table(), settings.Luma(), 256);
    checkShares<std::uint16_t>(Table(), settings.Luma(), 65536);
}

VEK_FOR_EVERY_TIER(ColorRows);

} // namespace
} // namespace vek::test
