// SPDX-License-Identifier: Apache-2.0
// Fused rows make what their kernels make one after the other, those of the scalar tier.
#include "VekTrgApi.h"
#include "chain/ToneCurve.h"
#include "imageproc/ColorMatrix.h"
#include "imageproc/rows/TierTest.h"

#include <gtest/gtest.h>

#include <array>
#include <deque>

namespace vek::test {
namespace {

using Byte = std::uint8_t;
using Word = std::uint16_t;

class CFusedRows : public CTierTest {
protected:
    /// Rows of a mosaic, each flush with a protected page: above2 to below2.
    template <class T>
    static std::deque<CGuardedBuffer<T>> Mosaic(std::size_t width, Pattern pattern, unsigned depth, CRandom& random) {
        std::deque<CGuardedBuffer<T>> rows;
        for (unsigned i = 0; i < 5; ++i) {
            const std::vector<T> samples = samplesOf<T>(width, pattern, depth, random);
            rows.emplace_back(width, Flush::Right);
            std::copy(samples.begin(), samples.end(), rows.back().data());
        }
        return rows;
    }

    /// fused(kernels, dst) of this tier against plain(dst).
    template <class Fused, class Plain>
    void Compare(const char* name, std::size_t width, std::size_t kind, Fused fused, Plain plain) {
        std::vector<Byte> expected(3 * width);
        plain(expected.data());
        CGuardedBuffer<Byte> got(3 * width, Flush::Right);
        fused(Table(), got.data());
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), got.data()))
            << Table().name << ' ' << name << ", row kind " << kind << ", width " << width;
        ASSERT_TRUE(got.CanaryIntact());
    }
};

/// Even widths alone: the bilinear method reads behind rows of odd ones.
std::vector<std::size_t> widths() {
    std::vector<std::size_t> all;
    for (std::size_t width = 2; width <= 270; width += 2) {
        all.push_back(width);
    }
    return all;
}

TEST_P(CFusedRows, BilinearAndMatrix) {
    CRandom random(5);
    CColorMatrix matrix(Scalar());
    for (const std::size_t width : widths()) {
        std::array<short, 12> factors{};
        // Matrices that 16 bits hold, and those that they do not.
        const int most = width % 8 == 0 ? 30000 : 300;
        for (short& factor : factors) {
            factor = static_cast<short>(static_cast<int>(random.Below(static_cast<unsigned>(most))) - most / 3);
        }
        matrix.SetColorMatrix(VEK_COLOR_MATRIX_CUSTOM, factors.data());
        const rows::SMatrixTables tables = matrix.Stage().Tables();
        const auto rows = Mosaic<Byte>(width, kPatterns[width / 2 % 4], 8, random);
        for (std::size_t kind = 0; kind < rows::kBayerRows; ++kind) {
            ASSERT_NO_FATAL_FAILURE(Compare(
                "bilinearMatrix", width, kind,
                [&](const rows::SRowTable& kernels, Byte* dst) {
                    kernels.fused.bilinearMatrix[kind](rows[1].data(), rows[2].data(), rows[3].data(), dst, width,
                                                       tables);
                },
                [&](Byte* dst) {
                    Scalar().demosaic8.bilinearSimple[kind][0](rows[1].data(), rows[2].data(), rows[3].data(), dst,
                                                               width);
                    Scalar().colors8.matrix(dst, width, 3, tables, 255);
                }));
        }
    }
}

TEST_P(CFusedRows, DemosaicMatrixAndTone) {
    CRandom random(6);
    std::vector<Word> wild(4096);
    for (Word& entry : wild) {
        entry = static_cast<Word>(random.Below(256));
    }
    const CToneCurves sRgb(VEK_CHAIN_CURVE_SRGB, 1, 4096, 8);
    std::vector<Word> darker(4096);
    toneEntries(VEK_CHAIN_CURVE_GAMMA, 1.7, darker.size(), 8, darker.data());
    std::vector<Word> straight(4096);
    toneEntries(VEK_CHAIN_CURVE_LINEAR, 1, straight.size(), 8, straight.data());
    const CToneCurves three(darker.data(), straight.data(), darker.data(), 4096, 8);
    const CToneCurves byLoads(wild.data(), wild.data(), straight.data(), 4096, 8);
    for (std::size_t width = 2; width <= 200; ++width) {
        rows::SLinearMatrix matrix{};
        for (unsigned i = 0; i < 9; ++i) {
            matrix.factor[i / 3][i % 3] = static_cast<std::int16_t>(static_cast<int>(random.Below(9000)) - 3000);
            matrix.offset[i / 3] = static_cast<std::int16_t>(static_cast<int>(random.Below(300)) - 150);
        }
        const CToneCurves& curves = width % 3 == 0 ? sRgb : width % 3 == 1 ? three : byLoads;
        const rows::SDevelopment development = {width % 4 < 2 ? &matrix : nullptr, &curves.Tables()};
        const auto rows = Mosaic<Word>(width, kPatterns[width / 2 % 4], 12, random);
        CGuardedBuffer<Word> scratch(3 * width, Flush::Right);
        std::vector<Word> words(3 * width);
        const auto finish = [&](Byte* dst) {
            if (development.matrix != nullptr) {
                Scalar().linear.matrix(words.data(), width, matrix);
            }
            Scalar().tone16To8.pixels(words.data(), dst, width, curves.Tables());
        };
        for (std::size_t kind = 0; kind < rows::kBayerRows; ++kind) {
            const auto at = [&](std::size_t i) { return rows[i].data(); };
            ASSERT_NO_FATAL_FAILURE(Compare(
                "edgeToned", width, kind,
                [&](const rows::SRowTable& kernels, Byte* dst) {
                    kernels.fused.edgeToned[kind](at(0), at(1), at(2), at(3), at(4), dst, width, development,
                                                  scratch.data());
                },
                [&](Byte* dst) {
                    Scalar().demosaic16.edgeDirected[kind][0](at(0), at(1), at(2), at(3), at(4), words.data(), width,
                                                              4095);
                    finish(dst);
                }));
            if (width % 2 != 0) {
                continue;
            }
            ASSERT_NO_FATAL_FAILURE(Compare(
                "bilinearToned", width, kind,
                [&](const rows::SRowTable& kernels, Byte* dst) {
                    kernels.fused.bilinearToned[kind](at(1), at(2), at(3), dst, width, development, scratch.data());
                },
                [&](Byte* dst) {
                    Scalar().demosaic16.bilinearSimple[kind][0](at(1), at(2), at(3), words.data(), width);
                    finish(dst);
                }));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Tiers, CFusedRows, testing::Range<std::size_t>(0, rows::tierCount()));

} // namespace
} // namespace vek::test
