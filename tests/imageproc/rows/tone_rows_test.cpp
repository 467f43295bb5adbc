// SPDX-License-Identifier: Apache-2.0
// Every tier's tone curves, scalar included, against lookups one sample at a time, next to protected pages.
#include "chain/ToneCurve.h"
#include "imageproc/rows/TierTest.h"

#include <algorithm>
#include <type_traits>
#include <vector>

namespace vek::test {
namespace {

using Entries = std::vector<std::uint16_t>;

template <class In, class Out>
struct STypes {
    using From = In;
    using To = Out;
    static constexpr std::size_t count = sizeof(In) == 1 ? 256 : 4096;
};

Entries namedEntries(VekChainCurve curve, double gamma, std::size_t count, unsigned outBits) {
    Entries entries(count);
    toneEntries(curve, gamma, count, outBits, entries.data());
    return entries;
}
Entries randomEntries(std::size_t count, unsigned outBits, CRandom& random) {
    return samplesOf<std::uint16_t>(count, Pattern::Random, outBits, random);
}

/// Three tables and the curves that they make.
class CCurves {
public:
    CCurves(std::vector<Entries> tables, unsigned outBits)
        : mTables(std::move(tables)),
          mCurves(mTables[0].data(), mTables[1].data(), mTables[2].data(), mTables[0].size(), outBits) {}
    const rows::SToneTables& Tables() const { return mCurves.Tables(); }
    std::uint16_t At(std::size_t color, std::size_t sample) const {
        return mTables[color][std::min(sample, mTables[color].size() - 1)];
    }

private:
    std::vector<Entries> mTables;
    CToneCurves mCurves;
};

/// Curves with all, with some and without segments; alike and different.
std::vector<CCurves> curvesOf(std::size_t count, unsigned outBits, CRandom& random) {
    const Entries sRgb = namedEntries(VEK_CHAIN_CURVE_SRGB, 0, count, outBits);
    const Entries bt709 = namedEntries(VEK_CHAIN_CURVE_BT709, 0, count, outBits);
    const Entries gamma = namedEntries(VEK_CHAIN_CURVE_GAMMA, 2.2, count, outBits);
    const Entries linear = namedEntries(VEK_CHAIN_CURVE_LINEAR, 1, count, outBits);
    Entries falling = bt709;
    std::reverse(falling.begin(), falling.end());
    // Exceptions apart from each other, the first and the last segment among them.
    Entries torn = linear;
    for (const std::size_t at : {std::size_t{3}, count / 3, count / 2, count - 2}) {
        torn[at] = static_cast<std::uint16_t>(torn[at] ^ 0x55);
    }
    const Entries any = randomEntries(count, outBits, random);
    std::vector<CCurves> curves;
    for (const std::vector<Entries>& tables : {std::vector<Entries>{sRgb, sRgb, sRgb},
                                               {sRgb, bt709, gamma},
                                               {linear, torn, falling},
                                               {torn, torn, torn},
                                               {any, sRgb, gamma},
                                               {falling, linear, linear}}) {
        curves.emplace_back(tables, outBits);
    }
    return curves;
}

class ToneRows : public CTierTest {
protected:
    /// A row of samples that are up to one bit deeper than the table.
    template <class Types>
    void Check(Types, const CCurves& curves, std::size_t width, std::size_t channels, Pattern pattern, Flush flush,
               CRandom& random) {
        using In = typename Types::From;
        using Out = typename Types::To;
        const auto& kernels = rows::toneRows<In, Out>(Table());
        const auto tone = channels == 3 ? kernels.pixels : kernels.samples;
        const std::size_t count = channels * width;
        CGuardedBuffer<In> src(count, flush);
        const unsigned depth = sizeof(In) == 1 ? 8 : static_cast<unsigned>(12 + random.Below(2));
        fillSamples(src.data(), count, pattern, depth, random);
        std::vector<Out> expected(count);
        for (std::size_t i = 0; i < count; ++i) {
            expected[i] = static_cast<Out>(curves.At(i % channels, src[i]));
        }
        CGuardedBuffer<Out> dst(count, flush);
        tone(src.data(), dst.data(), width, curves.Tables());
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), dst.data()))
            << Table().name << ' ' << sizeof(In) << " to " << sizeof(Out) << " bytes, width " << width << ", "
            << channels << " channels";
        ASSERT_TRUE(dst.CanaryIntact()) << Table().name << ", width " << width;
        if constexpr (std::is_same_v<In, Out>) {
            tone(src.data(), src.data(), width, curves.Tables());
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), src.data()))
                << Table().name << " in place, width " << width;
            ASSERT_TRUE(src.CanaryIntact()) << Table().name << ", width " << width;
        }
    }

    template <class Types>
    void CheckAll(Types types, const std::vector<CCurves>& curves, std::size_t width, Pattern pattern) {
        CRandom random(width);
        for (const CCurves& each : curves) {
            for (const Flush flush : kFlushes) {
                Check(types, each, width, 3, pattern, flush, random);
                Check(types, each, width, 1, pattern, flush, random);
            }
        }
    }

    template <class Types>
    void CheckWidths(Types types, unsigned outBits) {
        CRandom random(outBits);
        const std::vector<CCurves> curves = curvesOf(Types::count, outBits, random);
        for (std::size_t width = 0; width <= 130 && !HasFatalFailure(); ++width) {
            CheckAll(types, curves, width, Pattern::Random);
        }
        for (const Pattern pattern : kPatterns) {
            CheckAll(types, curves, 1031, pattern);
        }
    }

    /// Every sample in every curve, words above the table among them.
    template <class Types>
    void CheckSamples(Types types, unsigned outBits) {
        using In = typename Types::From;
        using Out = typename Types::To;
        CRandom random(outBits);
        std::vector<In> src(std::size_t{3} << (8 * sizeof(In)));
        for (std::size_t i = 0; i < src.size(); ++i) {
            src[i] = static_cast<In>(i / 3);
        }
        std::vector<Out> dst(src.size());
        for (const CCurves& curves : curvesOf(types.count, outBits, random)) {
            rows::toneRows<In, Out>(Table()).pixels(src.data(), dst.data(), src.size() / 3, curves.Tables());
            for (std::size_t i = 0; i < src.size(); ++i) {
                ASSERT_EQ(dst[i], curves.At(i % 3, src[i])) << Table().name << ", " << outBits << " bits";
            }
        }
    }
};

TEST_P(ToneRows, BytesToBytesOfEveryWidth) {
    CheckWidths(STypes<std::uint8_t, std::uint8_t>(), 8);
}
TEST_P(ToneRows, BytesToWordsOfEveryWidth) {
    CheckWidths(STypes<std::uint8_t, std::uint16_t>(), 12);
}
TEST_P(ToneRows, WordsToBytesOfEveryWidth) {
    CheckWidths(STypes<std::uint16_t, std::uint8_t>(), 8);
}
TEST_P(ToneRows, WordsToWordsOfEveryWidth) {
    CheckWidths(STypes<std::uint16_t, std::uint16_t>(), 12);
}

TEST_P(ToneRows, EverySampleOfEveryDepth) {
    CheckSamples(STypes<std::uint8_t, std::uint8_t>(), 8);
    CheckSamples(STypes<std::uint16_t, std::uint8_t>(), 8);
    for (unsigned outBits = 8; outBits <= 16; ++outBits) {
        CheckSamples(STypes<std::uint8_t, std::uint16_t>(), outBits);
        CheckSamples(STypes<std::uint16_t, std::uint16_t>(), outBits);
    }
}

TEST_P(ToneRows, EveryAddress) {
    CRandom random(9);
    const std::vector<CCurves> curves = curvesOf(4096, 12, random);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        auto row = samplesOf<std::uint16_t>(400, Pattern::Random, 12, random);
        std::vector<std::uint16_t> expected = row;
        const CCurves& of = curves[offset % curves.size()];
        for (std::size_t i = 0; i < 303; ++i) {
            expected[offset + i] = of.At(i % 3, row[offset + i]);
        }
        Table().tone16.pixels(row.data() + offset, row.data() + offset, 101, of.Tables());
        ASSERT_EQ(row, expected) << Table().name << " offset " << offset;
    }
}

VEK_FOR_EVERY_TIER(ToneRows);

} // namespace
} // namespace vek::test
