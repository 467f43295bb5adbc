// SPDX-License-Identifier: Apache-2.0
// Every tier's rows of colour pixels and its unsharp mask against the scalar ones: same samples written, no others
// touched, next to protected pages.
#include "kernel/TierTest.h"
#include "support/GuardedBuffer.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

namespace vek::test {
namespace {

constexpr std::size_t kSteps[] = {3, 4, 6, 8};

/// Sizes of a matrix's products: of 16 bits with their sums, below 2^26, or anything.
enum class Products : std::uint8_t { Narrow, Moderate, Any };

/// Tables and settings of a row's stages. Random: every value that the types hold.
struct SSettings {
    std::vector<std::uint16_t> blue = std::vector<std::uint16_t>(rows::SLumaTables::kEntries);
    std::vector<std::uint16_t> green = blue;
    std::vector<std::uint16_t> red = blue;
    std::vector<std::uint16_t> curve = std::vector<std::uint16_t>(4096);
    std::vector<std::uint16_t> corrections = curve;
    std::vector<std::array<std::int32_t, 4>> products = std::vector<std::array<std::int32_t, 4>>(3 * 4096);
    std::vector<std::array<std::int16_t, 4>> narrowProducts = std::vector<std::array<std::int16_t, 4>>(3 * 4097);
    std::vector<rows::SMatrixTables::BytePlanes> planes = std::vector<rows::SMatrixTables::BytePlanes>(3);
    rows::SChromaLimits limits{};
    unsigned coring = 0;
    Products kind;

    SSettings(std::uint64_t seed, unsigned depth) : kind(static_cast<Products>(seed % 3)) {
        CRandom random(seed);
        for (unsigned i = 0; i < rows::SLumaTables::kEntries; ++i) {
            blue[i] = static_cast<std::uint16_t>(i * 0.114 + 0.5);
            green[i] = static_cast<std::uint16_t>(i * 0.587 + 0.5);
            red[i] = static_cast<std::uint16_t>(i * 0.299 + 0.5);
        }
        fillSamples(curve.data(), curve.size(), Pattern::Random, seed % 2 == 0 ? depth : 16, random);
        fillSamples(corrections.data(), corrections.size(), Pattern::Random, seed % 2 == 0 ? depth - 2 : 12, random);
        for (std::size_t i = 0; i < products.size(); ++i) {
            rows::SMatrixTables::BytePlanes& ofInput = planes[i / 4096];
            for (std::size_t j = 0; j < 3; ++j) {
                const auto value = static_cast<std::int32_t>(random.Next());
                std::int32_t& product = products[i][j];
                product = kind == Products::Any ? value : kind == Products::Moderate ? value >> 5 : value % 10923;
                // One entry behind each table of 16 bits.
                const auto narrow = static_cast<std::int16_t>(kind == Products::Narrow ? product : 99);
                narrowProducts[i + i / 4096][j] = narrow;
                if (i % 4096 < 256) {
                    ofInput.low[j][i % 4096] = static_cast<std::uint8_t>(narrow);
                    ofInput.high[j][i % 4096] = static_cast<std::uint8_t>(narrow >> 8);
                }
            }
        }
        limits = {static_cast<std::uint16_t>(random.Below(1U << depth)),
                  static_cast<std::uint16_t>(random.Below(1U << depth)),
                  static_cast<std::uint16_t>(random.Below(3) * random.Below(2000)),
                  static_cast<std::uint16_t>(random.Below(3) * random.Below(2000))};
        coring = static_cast<unsigned>(random.Below(1U << (depth / 2)));
    }

    rows::SLumaTables luma() const { return {blue.data(), green.data(), red.data()}; }
    rows::SMatrixTables matrix() const {
        const auto* const first = reinterpret_cast<const rows::SMatrixTables::Entry*>(products.data());
        const auto* const narrow = reinterpret_cast<const rows::SMatrixTables::NarrowEntry*>(narrowProducts.data());
        const bool fits = kind == Products::Narrow;
        return {first,         first + 4096,          first + 2 * 4096,
                narrow,        narrow + 4097,         narrow + 2 * 4097,
                planes.data(), kind != Products::Any, fits,
                fits};
    }
    rows::SSharpening sharpening(unsigned depth) const { return {corrections.data(), coring, (1U << depth) - 1}; }
};

class ColourRows : public CTierTest {
protected:
    /// Runs kernel(table, row) on two copies of count random samples. The scalar rows' copy says what is right.
    template <class T, class Kernel>
    void Compare(const char* name, std::size_t count, Pattern pattern, unsigned depth, Flush flush, std::uint64_t seed,
                 Kernel kernel) {
        CRandom random(seed);
        std::vector<T> expected(count);
        fillSamples(expected.data(), count, pattern, depth, random);
        CGuardedBuffer<T> got(count, flush);
        std::copy(expected.begin(), expected.end(), got.data());
        kernel(scalar(), expected.data());
        kernel(table(), got.data());
        const auto differing = std::mismatch(expected.begin(), expected.end(), got.data());
        ASSERT_EQ(differing.first, expected.end())
            << table().name << ' ' << name << ' ' << 8 * sizeof(T) << " bit, " << count << " samples, depth " << depth
            << ", seed " << seed << ": sample " << differing.first - expected.begin() << " is " << +*differing.second
            << ", not " << +*differing.first;
        ASSERT_TRUE(got.CanaryIntact()) << table().name << ' ' << name;
    }

    /// Every kernel on one width.
    template <class T>
    void CheckWidth(std::size_t width, Pattern pattern, unsigned depth, Flush flush, std::uint64_t seed) {
        const SSettings settings(seed, std::min(depth, 12U));
        const unsigned maxValue = (1U << depth) - 1;
        const rows::SLumaTables luma = settings.luma();
        for (const std::size_t step : kSteps) {
            // A row ends with its last pixel's third sample.
            const std::size_t count = width == 0 ? 0 : (width - 1) * step + 3;
            Compare<T>("lumaCurve", count, pattern, depth, flush, seed, [&](const rows::SRowTable& rows, T* row) {
                rows::colourRows<T>(rows).lumaCurve(row, width, step, luma, settings.curve.data(), maxValue);
            });
            Compare<T>("matrix", count, pattern, depth, flush, seed, [&](const rows::SRowTable& rows, T* row) {
                rows::colourRows<T>(rows).matrix(row, width, step, settings.matrix(), maxValue);
            });
            Compare<T>("suppressChroma", count, pattern, depth, flush, seed, [&](const rows::SRowTable& rows, T* row) {
                rows::colourRows<T>(rows).suppressChroma(row, width, step, luma, settings.limits);
            });
            CRandom random(seed);
            CGuardedBuffer<T> pixels(count, flush);
            fillSamples(pixels.data(), count, pattern, depth, random);
            Compare<T>("luma", width, pattern, depth, flush, seed, [&](const rows::SRowTable& rows, T* row) {
                rows::colourRows<T>(rows).luma(pixels.data(), row, width, step, luma);
            });
            CheckSharpening<T>(width, step, count, pattern, depth, flush, seed, settings);
            if (HasFatalFailure()) {
                return;
            }
        }
        CRandom random(seed + 1);
        CGuardedBuffer<T> row(width, flush);
        fillSamples(row.data(), width, pattern, depth, random);
        Compare<std::uint16_t>("sum3", width, pattern, 16, flush, seed,
                               [&](const rows::SRowTable& rows, std::uint16_t* sums) {
                                   rows::colourRows<T>(rows).sum3(row.data(), sums, width);
                               });
    }

    template <class T>
    void CheckSharpening(std::size_t width, std::size_t step, std::size_t count, Pattern pattern, unsigned depth,
                         Flush flush, std::uint64_t seed, const SSettings& settings) {
        if (width < 3) {
            return; // the module has no work for it
        }
        CRandom random(seed + 2);
        CGuardedBuffer<std::uint16_t> above(width, flush);
        CGuardedBuffer<std::uint16_t> below(width, flush);
        CGuardedBuffer<T> lumaRow(width, flush);
        fillSamples(above.data(), width, pattern, std::min(depth + 1, 16U), random);
        fillSamples(below.data(), width, pattern, std::min(depth + 1, 16U), random);
        fillSamples(lumaRow.data(), width, pattern, depth, random);
        const rows::SSharpening sharpening = settings.sharpening(depth);
        Compare<T>("sharpenColour", count, pattern, depth, flush, seed, [&](const rows::SRowTable& rows, T* row) {
            rows::colourRows<T>(rows).sharpenColour(row, step, lumaRow.data(), above.data(), below.data(), width,
                                                    sharpening);
        });
        Compare<T>("sharpenGrey", width, pattern, depth, flush, seed, [&](const rows::SRowTable& rows, T* row) {
            rows::colourRows<T>(rows).sharpenGrey(row, above.data(), below.data(), width, sharpening);
        });
    }
};

TEST_P(ColourRows, EqualScalarForEveryWidthUpTo130) {
    for (std::size_t width = 0; width <= 130; ++width) {
        const Flush flush = width % 2 == 0 ? Flush::Left : Flush::Right;
        CheckWidth<std::uint8_t>(width, Pattern::Random, 8, flush, width);
        CheckWidth<std::uint16_t>(width, Pattern::Random, 12, flush, width + 1);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST_P(ColourRows, EqualScalarForEveryDepthAndExtremeData) {
    for (const Pattern pattern : kPatterns) {
        for (const std::uint64_t seed : {1UL, 2UL, 3UL}) {
            CheckWidth<std::uint8_t>(67, pattern, 8, Flush::Right, seed);
            for (const unsigned depth : {9U, 10U, 12U, 16U}) {
                CheckWidth<std::uint16_t>(67, pattern, depth, Flush::Right, seed);
            }
        }
    }
}

TEST_P(ColourRows, EqualScalarForLargeWidths) {
    CheckWidth<std::uint8_t>(2447, Pattern::Random, 8, Flush::Right, 4);
    CheckWidth<std::uint16_t>(2447, Pattern::Random, 12, Flush::Right, 4);
}

VEK_FOR_EVERY_TIER(ColourRows);

} // namespace
} // namespace vek::test
