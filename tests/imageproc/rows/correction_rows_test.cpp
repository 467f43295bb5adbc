// SPDX-License-Identifier: Apache-2.0
// Every tier's noise reduction and shading rows against the scalar ones, next to protected pages.
#include "imageproc/rows/TierTest.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <numeric>
#include <vector>

namespace vek::test {
namespace {

/// Rows that a kernel reads, each between protected pages.
template <class T>
class CRows {
public:
    CRows(std::size_t rows, std::size_t width, Pattern pattern, unsigned depth, Flush flush, CRandom& random) {
        for (std::size_t i = 0; i < rows; ++i) {
            mRows.push_back(std::make_unique<CGuardedBuffer<T>>(width, flush));
            fillSamples(mRows.back()->data(), width, pattern, depth, random);
        }
    }
    const T* operator[](std::size_t i) const { return mRows[i]->data(); }

private:
    std::vector<std::unique_ptr<CGuardedBuffer<T>>> mRows;
};

class CorrectionRows : public CTierTest {
protected:
    using Kernels = const rows::SRowTable&;

    template <class T, class Kernel>
    void Compare(const char* name, std::size_t width, Pattern pattern, unsigned depth, Flush flush, CRandom& random,
                 Kernel kernel) {
        ASSERT_TRUE(sameRows(Scalar(), Table(), samplesOf<T>(width, pattern, depth, random), flush, kernel))
            << name << ", depth " << depth;
    }

    template <class T>
    void CheckNoise(std::size_t width, Pattern pattern, unsigned depth, Flush flush, std::uint64_t seed) {
        CRandom random(seed);
        const CRows<T> around(5, width, pattern, depth, flush, random);
        const T threshold = static_cast<T>(((1U << depth) - 1) * 3 / 4);
        Compare<T>("easyMono", width, pattern, depth, flush, random,
                   [&](Kernels rows, T* row) { rows::noiseRows<T>(rows).easyMono(around[1], row, around[2], width); });
        std::vector<T> kept[2] = {std::vector<T>(width + 1), std::vector<T>(width + 1)};
        T brightest[2] = {};
        std::size_t turn = 0;
        Compare<T>("subtract", width, pattern, depth, flush, random, [&](Kernels rows, T* row) {
            brightest[turn] = rows::noiseRows<T>(rows).subtract(row, around[0], kept[turn].data(), width);
            ++turn;
        });
        ASSERT_EQ(kept[0], kept[1]) << Table().name;
        ASSERT_EQ(brightest[0], brightest[1]) << Table().name;
        ASSERT_EQ(brightest[1], *std::max_element(kept[1].begin(), kept[1].end())) << Table().name;
        Compare<T>("repairMono", width, pattern, depth, flush, random, [&](Kernels rows, T* row) {
            rows::noiseRows<T>(rows).repairMono(around[1], row, around[2], around[4], width, threshold);
        });
        // A frame with few clipped samples: most blocks have none, some have one.
        std::vector<T> live(width, static_cast<T>(threshold - 1));
        for (std::size_t x = random.Next() % 40; x < width; x += 1 + random.Next() % 80) {
            live[x] = threshold;
        }
        Compare<T>("repairMono, few", width, pattern, depth, flush, random, [&](Kernels rows, T* row) {
            rows::noiseRows<T>(rows).repairMono(around[1], row, around[2], live.data(), width, threshold);
        });
        for (const unsigned greenParity : {0U, 1U}) {
            Compare<T>("repairBayer, few", width, pattern, depth, flush, random, [&](Kernels rows, T* row) {
                rows::noiseRows<T>(rows).repairBayer(around[0], around[1], row, around[2], around[3], live.data(),
                                                     width, greenParity, threshold);
            });
            Compare<T>("easyBayer", width, pattern, depth, flush, random, [&](Kernels rows, T* row) {
                rows::noiseRows<T>(rows).easyBayer(around[0], around[1], row, around[2], around[3], width, greenParity);
            });
            Compare<T>("repairBayer", width, pattern, depth, flush, random, [&](Kernels rows, T* row) {
                rows::noiseRows<T>(rows).repairBayer(around[0], around[1], row, around[2], around[3], around[4], width,
                                                     greenParity, threshold);
            });
        }
    }

    /// Gains of 16 bits: usual ones, and those at which a result or a product takes another bit. The scalar row is that
    /// of the same gains in 32 bits.
    template <class T>
    void CheckGain16(std::size_t width, Pattern pattern, unsigned depth, Flush flush, std::uint64_t seed) {
        constexpr std::uint16_t special[] = {0, 1, 127, 128, 129, 2047, 2048, 4096, 16384, rows::kLargestGain16};
        CRandom random(seed);
        CGuardedBuffer<std::uint16_t> gains(width, flush);
        std::vector<std::int32_t> entries(width);
        for (std::size_t x = 0; x < width; ++x) {
            const std::uint64_t value = random.Next();
            gains[x] = static_cast<std::uint16_t>(value % 4 == 0   ? special[value / 4 % std::size(special)]
                                                  : value % 4 == 1 ? value / 4 % (rows::kLargestGain16 + 1U)
                                                                   : value / 4 % 2049);
            entries[x] = gains[x];
        }
        const auto maxValue = static_cast<T>((1U << depth) - 1);
        Compare<T>("gain16", width, pattern, depth, flush, random, [&](Kernels rows, T* row) {
            rows::shadingRows<T>(rows).gain16(row, gains.data(), width, maxValue);
        });
        std::vector<T> wide = samplesOf<T>(width, pattern, 8 * sizeof(T), random);
        std::vector<T> narrow = wide;
        rows::shadingRows<T>(Scalar()).gain(wide.data(), entries.data(), width, 0, maxValue);
        rows::shadingRows<T>(Table()).gain16(narrow.data(), gains.data(), width, maxValue);
        ASSERT_EQ(narrow, wide) << Table().name << " gain16, width " << width << ", depth " << depth;
    }

    template <class T>
    void CheckShading(std::size_t width, Pattern pattern, unsigned depth, Flush flush, std::uint64_t seed) {
        CRandom random(seed);
        CGuardedBuffer<std::int32_t> entries(width, flush);
        for (std::size_t x = 0; x < width; ++x) {
            // Usual gains and offsets, and every bit.
            const std::uint64_t value = random.Next();
            entries[x] = static_cast<std::int32_t>(seed % 2 == 0 ? value % 2048 : value);
        }
        const std::uint32_t maxValue = (1U << depth) - 1;
        for (const std::uint32_t offset : {0U, 16U, ~0U}) {
            Compare<T>("gain", width, pattern, depth, flush, random, [&](Kernels rows, T* row) {
                rows::shadingRows<T>(rows).gain(row, entries.data(), width, offset, maxValue);
            });
        }
        Compare<T>("offset", width, pattern, depth, flush, random, [&](Kernels rows, T* row) {
            rows::shadingRows<T>(rows).offset(row, entries.data(), width, maxValue);
        });
        Compare<T>("show", width, pattern, depth, flush, random, [&](Kernels rows, T* row) {
            rows::shadingRows<T>(rows).show(row, entries.data(), width, maxValue);
        });
        const CRows<T> frame(1, width, pattern, depth, flush, random);
        for (const double count : {0.0, 1.0, 6.0, 1e6}) {
            std::vector<double> expected(width, 77.7);
            std::vector<double> got = expected;
            rows::shadingRows<T>(Scalar()).addToMean(frame[0], expected.data(), width, count);
            rows::shadingRows<T>(Table()).addToMean(frame[0], got.data(), width, count);
            ASSERT_EQ(expected, got) << Table().name << " addToMean, width " << width;
        }
    }
};

TEST_P(CorrectionRows, EqualScalarForEveryWidthUpTo130) {
    for (std::size_t width = 0; width <= 130; ++width) {
        for (const Flush flush : kFlushes) {
            CheckNoise<std::uint8_t>(width, Pattern::Random, 8, flush, width);
            CheckNoise<std::uint16_t>(width, Pattern::Random, 12, flush, width);
            CheckShading<std::uint8_t>(width, Pattern::Random, 8, flush, width);
            CheckShading<std::uint16_t>(width, Pattern::Random, 12, flush, width);
            CheckGain16<std::uint8_t>(width, Pattern::Random, 8, flush, width);
            CheckGain16<std::uint16_t>(width, Pattern::Random, 12, flush, width);
            if (HasFatalFailure()) {
                return;
            }
        }
    }
}

TEST_P(CorrectionRows, EqualScalarForEveryDepthAndExtremeData) {
    for (const Pattern pattern : kPatterns) {
        for (const std::uint64_t seed : {1UL, 2UL}) {
            for (const unsigned depth : {10U, 12U, 14U, 16U}) {
                CheckNoise<std::uint16_t>(129, pattern, depth, Flush::Right, seed);
                CheckShading<std::uint16_t>(129, pattern, depth, Flush::Right, seed);
                CheckGain16<std::uint16_t>(129, pattern, depth, Flush::Right, seed);
            }
            for (const unsigned depth : {0U, 1U, 7U, 8U}) {
                CheckGain16<std::uint8_t>(129, pattern, depth, Flush::Right, seed);
            }
            CheckNoise<std::uint8_t>(129, pattern, 8, Flush::Right, seed);
            CheckShading<std::uint8_t>(129, pattern, 8, Flush::Right, seed);
        }
    }
}

/// Every byte with every gain, and words around each power of two.
TEST_P(CorrectionRows, Gain16OfEveryGain) {
    std::vector<std::uint8_t> bytes(256);
    std::vector<std::uint16_t> words;
    for (unsigned bit = 0; bit < 16; ++bit) {
        for (int step = -2; step <= 2; ++step) {
            words.push_back(static_cast<std::uint16_t>((1 << bit) + step));
        }
    }
    for (unsigned gain = 0; gain <= rows::kLargestGain16; ++gain) {
        const std::vector<std::uint16_t> gains(256, static_cast<std::uint16_t>(gain));
        std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
        std::vector<std::uint8_t> expectedBytes(256);
        std::transform(bytes.begin(), bytes.end(), expectedBytes.begin(),
                       [=](unsigned sample) { return static_cast<std::uint8_t>(std::min(sample * gain / 128, 255U)); });
        Table().shading8.gain16(bytes.data(), gains.data(), bytes.size(), 255);
        ASSERT_EQ(bytes, expectedBytes) << Table().name << ", gain " << gain;

        std::vector<std::uint16_t> gained = words;
        std::vector<std::uint16_t> expectedWords(words.size());
        std::transform(words.begin(), words.end(), expectedWords.begin(), [=](unsigned sample) {
            return static_cast<std::uint16_t>(std::min(sample * gain / 128, 65535U));
        });
        Table().shading16.gain16(gained.data(), gains.data(), gained.size(), 65535);
        ASSERT_EQ(gained, expectedWords) << Table().name << ", gain " << gain;
    }
}

/// Limits beyond the sample type: of a result the low bits are left.
TEST_P(CorrectionRows, LimitsAboveTheSamplesKeepLowBits) {
    for (const std::uint64_t seed : {1UL, 2UL}) {
        CheckShading<std::uint8_t>(129, Pattern::Random, 16, Flush::Right, seed);
        CheckShading<std::uint8_t>(129, Pattern::Random, 31, Flush::Right, seed);
        CheckShading<std::uint16_t>(129, Pattern::Random, 31, Flush::Right, seed);
    }
}

/// Results that run along a row: bright columns that darken from one to the next, and isolated ones.
template <class T>
void checkChains(const rows::SRowTable& scalar, const rows::SRowTable& table) {
    constexpr std::size_t width = 301;
    constexpr unsigned top = sizeof(T) == 1 ? 255 : 65535;
    for (unsigned shape = 0; shape < 6; ++shape) {
        std::vector<T> above(width, static_cast<T>(shape % 2 == 0 ? top : 0));
        std::vector<T> below(width, T{0});
        std::vector<T> row(width);
        for (std::size_t x = 0; x < width; ++x) {
            row[x] = static_cast<T>(shape / 2 == 0 ? top - x : shape / 2 == 1 ? x : (x % 7 == 0 ? 0 : top));
        }
        for (const unsigned greenParity : {0U, 1U}) {
            const std::vector<T> live(width, static_cast<T>(top));
            const auto easy = [&](const rows::SRowTable& rows, T* at) {
                rows::noiseRows<T>(rows).easyBayer(above.data(), above.data(), at, below.data(), below.data(), width,
                                                   greenParity);
            };
            const auto both = [&](const rows::SRowTable& rows, T* at) {
                easy(rows, at);
                rows::noiseRows<T>(rows).repairBayer(above.data(), above.data(), at, below.data(), below.data(),
                                                     live.data(), width, greenParity, static_cast<T>(top / 2));
            };
            ASSERT_TRUE(sameRows(scalar, table, row, Flush::Right, easy)) << "shape " << shape;
            ASSERT_TRUE(sameRows(scalar, table, row, Flush::Right, both)) << "shape " << shape;
        }
    }
}

TEST_P(CorrectionRows, ResultsThatRunAlongARow) {
    checkChains<std::uint8_t>(Scalar(), Table());
    checkChains<std::uint16_t>(Scalar(), Table());
}

TEST_P(CorrectionRows, EqualScalarForLargeWidths) {
    CheckNoise<std::uint8_t>(2447, Pattern::Random, 8, Flush::Right, 1);
    CheckNoise<std::uint16_t>(2447, Pattern::Random, 16, Flush::Right, 1);
    CheckShading<std::uint8_t>(2447, Pattern::Random, 8, Flush::Right, 1);
    CheckShading<std::uint16_t>(2447, Pattern::Random, 16, Flush::Right, 2);
    CheckGain16<std::uint8_t>(2447, Pattern::Random, 8, Flush::Right, 1);
    CheckGain16<std::uint16_t>(2447, Pattern::Random, 16, Flush::Right, 2);
}

VEK_FOR_EVERY_TIER(CorrectionRows);

} // namespace
} // namespace vek::test
