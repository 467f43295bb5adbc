// SPDX-License-Identifier: Apache-2.0
// Every tier's pixels in another layout, scalar included, against pixels taken one at a time, next to protected pages.
#include "imageproc/rows/TierTest.h"
#include "support/SampleVectors.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace vek::test {
namespace {

/// Parts of blue, green and red in luma, and how much of 255 levels luma and half of the chroma range take.
struct SSpace {
    rows::YCrCbSpace space;
    double blue;
    double red;
    double lumaLow;
    double lumaRange;
    double chromaRange;
};
constexpr SSpace kSpaces[] = {{rows::YCrCbSpace::Full601, 0.114, 0.299, 0, 255, 255},
                              {rows::YCrCbSpace::Video709, 0.0722, 0.2126, 16, 219, 224}};

/// Y, Cb and Cr as the standards define them, neither rounded nor limited.
struct SExact {
    SExact(const SSpace& space, double blue, double green, double red) {
        const double y = space.blue * blue + (1 - space.blue - space.red) * green + space.red * red;
        luma = space.lumaLow + y * space.lumaRange / 255;
        cb = 128 + (blue - y) / (2 * (1 - space.blue)) * space.chromaRange / 255;
        cr = 128 + (red - y) / (2 * (1 - space.red)) * space.chromaRange / 255;
    }
    double luma;
    double cb;
    double cr;
};

class LayoutRows : public CTierTest {
protected:
    template <class T>
    void CheckArrange(std::size_t width, Flush flush, CRandom& random) {
        const auto pixels = samplesOf<T>(3 * width, Pattern::Random, 8 * sizeof(T), random);
        const T fill = static_cast<T>(random.Next());
        for (const rows::ColorOrder order : {rows::ColorOrder::BlueFirst, rows::ColorOrder::RedFirst}) {
            for (const rows::FourthSample fourth :
                 {rows::FourthSample::None, rows::FourthSample::Kept, rows::FourthSample::Filled}) {
                const std::size_t step = fourth == rows::FourthSample::None ? 3 : 4;
                // A kept fourth sample behind the last pixel may be none of the row's.
                const std::size_t count = width == 0 ? 0 : step * width - (fourth == rows::FourthSample::Kept ? 1 : 0);
                CGuardedBuffer<T> src(pixels.size(), flush);
                std::copy(pixels.begin(), pixels.end(), src.data());
                CGuardedBuffer<T> dst(count, flush);
                std::vector<T> expected = samplesOf<T>(count, Pattern::Random, 8 * sizeof(T), random);
                std::copy(expected.begin(), expected.end(), dst.data());
                for (std::size_t x = 0; x < width; ++x) {
                    for (std::size_t i = 0; i < 3; ++i) {
                        expected[step * x + i] = pixels[3 * x + (order == rows::ColorOrder::BlueFirst ? i : 2 - i)];
                    }
                    if (fourth == rows::FourthSample::Filled) {
                        expected[step * x + 3] = fill;
                    }
                }
                const auto arrange = rows::layoutRows<T>(Table())
                                         .arrange[static_cast<std::size_t>(order)][static_cast<std::size_t>(fourth)];
                arrange(src.data(), dst.data(), width, fill);
                ASSERT_TRUE(std::equal(expected.begin(), expected.end(), dst.data()))
                    << Table().name << ' ' << 8 * sizeof(T) << " bit, width " << width << ", " << step << " samples";
                ASSERT_TRUE(dst.CanaryIntact()) << Table().name << ", width " << width;
                if (step == 3) {
                    arrange(src.data(), src.data(), width, fill);
                    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), src.data()))
                        << Table().name << " in place, width " << width;
                    ASSERT_TRUE(src.CanaryIntact()) << Table().name << ", width " << width;
                }
            }
        }
    }

    void CheckNv12(std::size_t width, Pattern pattern, Flush flush, CRandom& random) {
        CGuardedBuffer<std::uint8_t> upper(3 * width, flush);
        CGuardedBuffer<std::uint8_t> lower(3 * width, flush);
        fillSamples(upper.data(), upper.size(), pattern, 8, random);
        fillSamples(lower.data(), lower.size(), pattern, 8, random);
        const std::size_t pairs = (width + 1) / 2;
        for (const SSpace& space : kSpaces) {
            const auto at = static_cast<std::size_t>(space.space);
            CGuardedBuffer<std::uint8_t> luma(width, flush);
            CGuardedBuffer<std::uint8_t> chroma(2 * pairs, flush);
            Table().nv12.luma[at](upper.data(), luma.data(), width);
            Table().nv12.chroma[at](upper.data(), lower.data(), chroma.data(), width);
            for (std::size_t x = 0; x < width; ++x) {
                const std::uint8_t* const pixel = upper.data() + 3 * x;
                // 15 bits of factors leave less than a fiftieth of a level.
                ASSERT_NEAR(luma[x], SExact(space, pixel[0], pixel[1], pixel[2]).luma, 0.52)
                    << Table().name << ", width " << width << ", column " << x;
            }
            for (std::size_t i = 0; i < pairs; ++i) {
                double mean[3];
                for (std::size_t color = 0; color < 3; ++color) {
                    const std::size_t left = 6 * i + color;
                    const std::size_t right = 2 * i + 1 < width ? left + 3 : left;
                    mean[color] = std::floor((upper[left] + upper[right] + lower[left] + lower[right]) / 4.0 + 0.5);
                }
                const SExact exact(space, mean[0], mean[1], mean[2]);
                ASSERT_NEAR(chroma[2 * i], std::min(exact.cb, 255.0), 0.52) << Table().name << ", width " << width;
                ASSERT_NEAR(chroma[2 * i + 1], std::min(exact.cr, 255.0), 0.52) << Table().name << ", width " << width;
            }
            ASSERT_TRUE(luma.CanaryIntact() && chroma.CanaryIntact()) << Table().name << ", width " << width;
            Bytes scalarLuma(width);
            Bytes scalarChroma(2 * pairs);
            Scalar().nv12.luma[at](upper.data(), scalarLuma.data(), width);
            Scalar().nv12.chroma[at](upper.data(), lower.data(), scalarChroma.data(), width);
            ASSERT_TRUE(std::equal(scalarLuma.begin(), scalarLuma.end(), luma.data())) << Table().name;
            ASSERT_TRUE(std::equal(scalarChroma.begin(), scalarChroma.end(), chroma.data())) << Table().name;
        }
    }
};

TEST_P(LayoutRows, ArrangesEveryWidthUpTo140) {
    CRandom random(1);
    for (std::size_t width = 0; width <= 140 && !HasFatalFailure(); ++width) {
        for (const Flush flush : kFlushes) {
            CheckArrange<std::uint8_t>(width, flush, random);
            CheckArrange<std::uint16_t>(width, flush, random);
        }
    }
}

TEST_P(LayoutRows, Nv12OfEveryWidthUpTo140) {
    CRandom random(2);
    for (std::size_t width = 0; width <= 140 && !HasFatalFailure(); ++width) {
        for (const Flush flush : kFlushes) {
            CheckNv12(width, Pattern::Random, flush, random);
        }
    }
    for (const Pattern pattern : kPatterns) {
        CheckNv12(1031, pattern, Flush::Right, random);
    }
}

TEST_P(LayoutRows, Nv12KeepsGreys) {
    Bytes pixels;
    for (unsigned gray = 0; gray < 256; ++gray) {
        pixels.insert(pixels.end(), 6, static_cast<std::uint8_t>(gray));
    }
    for (const SSpace& space : kSpaces) {
        const auto at = static_cast<std::size_t>(space.space);
        Bytes luma(512);
        Bytes chroma(512);
        Table().nv12.luma[at](pixels.data(), luma.data(), 512);
        Table().nv12.chroma[at](pixels.data(), pixels.data(), chroma.data(), 512);
        EXPECT_EQ(chroma, Bytes(512, 128)) << Table().name;
        for (unsigned gray = 0; gray < 256; ++gray) {
            const double exact = space.lumaLow + gray * space.lumaRange / 255;
            ASSERT_EQ(luma[2 * gray], std::lround(exact)) << Table().name << ", grey " << gray;
        }
    }
}

TEST_P(LayoutRows, Nv12OfColorsByHand) {
    // Blue, green, red, and white beside black, as BT.601 and BT.709 give them.
    const Bytes pixels = {255, 0, 0, 255, 0, 0, 0, 255, 0, 0, 255, 0, 0, 0, 255, 0, 0, 255, 255, 255, 255, 0, 0, 0};
    const Bytes luma[] = {{29, 29, 150, 150, 76, 76, 255, 0}, {32, 32, 173, 173, 63, 63, 235, 16}};
    const Bytes chroma[] = {{255, 107, 44, 21, 85, 255, 128, 128}, {240, 118, 42, 26, 102, 240, 128, 128}};
    for (std::size_t space = 0; space < rows::kYCrCbSpaces; ++space) {
        Bytes y(8);
        Bytes cbCr(8);
        Table().nv12.luma[space](pixels.data(), y.data(), 8);
        Table().nv12.chroma[space](pixels.data(), pixels.data(), cbCr.data(), 8);
        EXPECT_EQ(y, luma[space]) << Table().name;
        EXPECT_EQ(cbCr, chroma[space]) << Table().name;
    }
}

TEST_P(LayoutRows, EveryAddress) {
    CRandom random(3);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        const Bytes src = samplesOf<std::uint8_t>(400, Pattern::Random, 8, random);
        const Bytes before = samplesOf<std::uint8_t>(500, Pattern::Random, 8, random);
        const auto same = [&](auto kernel) {
            Bytes expected = before;
            Bytes got = before;
            kernel(Scalar(), src.data() + offset, expected.data() + 63 - offset);
            kernel(Table(), src.data() + offset, got.data() + 63 - offset);
            return got == expected;
        };
        using Rows = const rows::SRowTable&;
        for (std::size_t fourth = 0; fourth < rows::kFourthSamples; ++fourth) {
            EXPECT_TRUE(same([=](Rows rows, const std::uint8_t* from, std::uint8_t* to) {
                rows.layout8.arrange[1][fourth](from, to, 103, 9);
            })) << Table().name
                << " offset " << offset;
        }
        EXPECT_TRUE(same([](Rows rows, const std::uint8_t* from, std::uint8_t* to) {
            rows.nv12.luma[0](from, to, 103);
        })) << Table().name;
        EXPECT_TRUE(same([](Rows rows, const std::uint8_t* from, std::uint8_t* to) {
            rows.nv12.chroma[1](from, from, to, 103);
        })) << Table().name;
    }
}

VEK_FOR_EVERY_TIER(LayoutRows);

} // namespace
} // namespace vek::test
