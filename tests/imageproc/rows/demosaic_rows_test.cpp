// SPDX-License-Identifier: Apache-2.0
// Every tier's demosaic rows against the scalar ones: same samples written, no others written, none read that the
// scalar rows do not read.
#include "imageproc/rows/TierTest.h"

#include <algorithm>
#include <vector>

namespace vek::test {
namespace {

using rows::BayerRow;
using rows::SRowTable;

constexpr const char* kRowNames[] = {"RG", "GR", "GB", "BG"};

enum class Kernel {
    Gray,
    None,
    NearestNeighbor,
    Bilinear,
    BilinearOpen,
    BlockUpper,
    BlockLower,
    Center,
    Edge,
    Cubic,
    CubicStrip,
    CubicThird,
    MeanThird,
    Pixels
};

/// What a test has to know of a kernel.
struct SKernelTraits {
    Kernel kernel;
    const char* name;
    std::size_t sourceRows;
    std::size_t smallestWidth;
    bool readsPast;      ///< reads one sample behind a row of odd width
    std::size_t results; ///< samples that it writes for each column; 0: a pixel
};
constexpr SKernelTraits kKernels[] = {
    {Kernel::Gray, "grey", 1, 1, false, 0},
    {Kernel::None, "none", 1, 1, false, 0},
    {Kernel::NearestNeighbor, "nearestNeighbor", 2, 2, false, 0},
    {Kernel::Bilinear, "bilinearSimple", 3, 2, true, 0},
    {Kernel::BilinearOpen, "bilinearSimpleOpen", 1, 2, true, 0},
    {Kernel::BlockUpper, "nearestNeighbor2, upper row", 2, 2, false, 0},
    {Kernel::BlockLower, "nearestNeighbor2, lower row", 2, 2, true, 0},
    {Kernel::Center, "bilinearFalseColorReduction", 4, 3, false, 0},
    {Kernel::Edge, "edgeDirected", 5, 2, false, 0},
    {Kernel::Cubic, "biCubic", 1, 2, false, 2},
    {Kernel::CubicStrip, "biCubic of a strip", 1, 2, false, 2},
    {Kernel::CubicThird, "biCubicThird", 4, 1, false, 1},
    {Kernel::MeanThird, "meanThird", 2, 1, false, 1},
    {Kernel::Pixels, "pixels", 3, 1, false, 0},
};

/// The largest sample that the edge-directed method is told of, at any depth: samples above it have the same results in
/// all tiers, too.
template <class T>
constexpr T kEdgeLargest = sizeof(T) == 1 ? 255 : 4095;

/// Samples of each source row that a kernel may read.
std::size_t readable(const SKernelTraits& kernel, std::size_t width) {
    return width + (kernel.readsPast && width % 2 == 1 ? 1 : 0);
}

/// Samples that a kernel may write.
std::size_t writable(const SKernelTraits& kernel, std::size_t width, unsigned channels) {
    return width * (kernel.results == 0 ? channels : kernel.results);
}

template <class T>
void run(const SRowTable& table, Kernel kernel, std::size_t row, unsigned channels, const T* const* src, T* dst,
         std::size_t width) {
    const auto& k = rows::demosaicRows<T>(table);
    const std::size_t layout = rows::pixelLayout(channels);
    // The middle of a row; its first column is even.
    const std::size_t from = width / 4 * 2;
    const std::size_t to = width - width / 5;
    switch (kernel) {
    case Kernel::Gray:
        return k.gray[layout](src[0], dst, width);
    case Kernel::None:
        return k.none[row][layout](src[0], dst, width);
    case Kernel::NearestNeighbor:
        return k.nearestNeighbor[row][layout](src[0], src[1], dst, width);
    case Kernel::Bilinear:
        return k.bilinearSimple[row][layout](src[0], src[1], src[2], dst, width);
    case Kernel::BilinearOpen:
        return k.bilinearSimpleOpen[row][layout](src[0], dst, width);
    case Kernel::BlockUpper:
        return k.nearestNeighbor2[row][layout](src[0], src[1], dst, width, false);
    case Kernel::BlockLower:
        return k.nearestNeighbor2[row][layout](src[0], src[1], dst, width, true);
    case Kernel::Center:
        return k.bilinearFalseColorReduction[row][layout](src[0], src[1], src[2], src[3], dst, width);
    case Kernel::Edge:
        return k.edgeDirected[row][layout](src[0], src[1], src[2], src[3], src[4], dst, width, kEdgeLargest<T>);
    case Kernel::Cubic:
        return k.biCubic[row](src[0], dst, dst + width, 0, width, width);
    case Kernel::CubicStrip:
        return k.biCubic[row](src[0], dst, dst + width + from, from, to, width);
    case Kernel::CubicThird:
        return k.biCubicThird(src[0], src[1], src[2], src[3], dst, width);
    case Kernel::MeanThird:
        return k.meanThird(src[0], src[1], dst, width);
    case Kernel::Pixels:
        return k.pixels[layout](src[0], src[1], src[2], dst, width);
    }
}

/// Compares one kernel call of tier and scalar with every buffer flush to a protected page.
template <class T>
void compare(const SRowTable& tier, const SKernelTraits& kernel, std::size_t row, unsigned channels, std::size_t width,
             Pattern pattern, unsigned depth, Flush flush, CRandom& random) {
    const std::size_t count = readable(kernel, width);
    CGuardedBuffer<T> a(count, flush);
    CGuardedBuffer<T> b(count, flush);
    CGuardedBuffer<T> c(count, flush);
    CGuardedBuffer<T> d(count, flush);
    CGuardedBuffer<T> e(count, flush);
    CGuardedBuffer<T>* const sources[] = {&a, &b, &c, &d, &e};
    const T* src[5] = {};
    for (std::size_t i = 0; i < kernel.sourceRows; ++i) {
        fillSamples(sources[i]->data(), count, pattern, depth, random);
        src[i] = sources[i]->data();
    }
    const std::size_t outCount = writable(kernel, width, channels);
    const auto before = samplesOf<T>(outCount, Pattern::Random, 8 * sizeof(T), random);
    ASSERT_TRUE(
        sameRows(*rows::tier(0).table, tier, before, flush,
                 [&](const SRowTable& table, T* dst) { run<T>(table, kernel.kernel, row, channels, src, dst, width); }))
        << kernel.name << ' ' << kRowNames[row] << " channels " << channels << " width " << width << " depth " << depth;
}

class DemosaicRows : public CTierTest {
protected:
    template <class T>
    void CompareWidths(const SKernelTraits& kernel, std::size_t first, std::size_t last, Pattern pattern,
                       unsigned depth) {
        CRandom random(first * 1000 + depth);
        for (std::size_t width = std::max(first, kernel.smallestWidth); width <= last; ++width) {
            for (std::size_t row = 0; row < rows::kBayerRows; ++row) {
                for (const unsigned channels : {3U, 4U}) {
                    for (const Flush flush : kFlushes) {
                        compare<T>(Table(), kernel, row, channels, width, pattern, depth, flush, random);
                        if (HasFatalFailure()) {
                            return;
                        }
                    }
                }
            }
        }
    }
};

TEST_P(DemosaicRows, EqualScalarForEveryWidthUpTo130) {
    for (const SKernelTraits& kernel : kKernels) {
        CompareWidths<std::uint8_t>(kernel, 1, 130, Pattern::Random, 8);
        CompareWidths<std::uint16_t>(kernel, 1, 130, Pattern::Random, 12);
    }
}

TEST_P(DemosaicRows, EqualScalarForEveryDepthAndExtremeData) {
    for (const SKernelTraits& kernel : kKernels) {
        for (const Pattern pattern : kPatterns) {
            for (const std::size_t width : {66UL, 129UL}) {
                CompareWidths<std::uint8_t>(kernel, width, width, pattern, 8);
                for (const unsigned depth : {10U, 12U, 14U, 16U}) {
                    CompareWidths<std::uint16_t>(kernel, width, width, pattern, depth);
                }
            }
        }
    }
}

TEST_P(DemosaicRows, EqualScalarForLargeWidths) {
    for (const SKernelTraits& kernel : kKernels) {
        for (const std::size_t width : {2447UL, 2448UL, 4099UL}) {
            CompareWidths<std::uint8_t>(kernel, width, width, Pattern::Random, 8);
            CompareWidths<std::uint16_t>(kernel, width, width, Pattern::Random, 16);
        }
    }
}

/// Rows and pixels at every sample offset of a 64-byte line, source and destination apart.
template <class T>
void compareOffsets(const SRowTable& tier, const SKernelTraits& kernel) {
    constexpr std::size_t width = 131;
    CRandom random(7);
    constexpr std::size_t rowSamples = 4 * width + 1 + 64;
    std::vector<T> source(5 * rowSamples);
    fillSamples(source.data(), source.size(), Pattern::Random, 8 * sizeof(T), random);
    for (std::size_t offset = 0; offset < 64 / sizeof(T); ++offset) {
        for (const unsigned channels : {3U, 4U}) {
            const T* const src[5] = {source.data() + offset, source.data() + rowSamples + 2 * offset % 64,
                                     source.data() + 2 * rowSamples + offset, source.data() + 3 * rowSamples,
                                     source.data() + 4 * rowSamples + 3 * offset % 64};
            std::vector<T> expected(width * channels + 64);
            std::vector<T> got(expected.size());
            T* const expectedAt = expected.data() + (offset * 7) % 64;
            T* const gotAt = got.data() + (offset * 7) % 64;
            for (std::size_t row = 0; row < rows::kBayerRows; ++row) {
                run<T>(*rows::tier(0).table, kernel.kernel, row, channels, src, expectedAt, width);
                run<T>(tier, kernel.kernel, row, channels, src, gotAt, width);
                ASSERT_EQ(expected, got) << tier.name << ' ' << kernel.name << " offset " << offset;
            }
        }
    }
}

TEST_P(DemosaicRows, EqualScalarAtEveryAddress) {
    for (const SKernelTraits& kernel : kKernels) {
        compareOffsets<std::uint8_t>(Table(), kernel);
        compareOffsets<std::uint16_t>(Table(), kernel);
    }
}

/// sum as two samples, the first one as large as it can be.
template <class T>
void split(unsigned sum, T* first, T* second) {
    constexpr unsigned largest = static_cast<T>(-1);
    *first = static_cast<T>(std::min(sum, largest));
    *second = static_cast<T>(sum - *first);
}

/// (5 x inner + 4) / 8 - (outer + 4) / 8 within 0 .. 255, sums limited to 8191.
unsigned cubicOf(unsigned inner, unsigned outer) {
    const int value = (5 * std::min<int>(static_cast<int>(inner), 8191) + 4) / 8 -
                      (std::min<int>(static_cast<int>(outer), 8191) + 4) / 8;
    return static_cast<unsigned>(std::clamp(value, 0, 255));
}

/// Cubic convolution of every sum in inner with every one in outer.
template <class T>
void compareCubic(const SRowTable& table, const std::vector<unsigned>& inner, const std::vector<unsigned>& outer) {
    const std::size_t width = inner.size();
    std::vector<T> above(width);
    std::vector<T> below(width);
    for (std::size_t x = 0; x < width; ++x) {
        split(inner[x], &above[x], &below[x]);
    }
    std::vector<T> third(width);
    for (const unsigned sum : outer) {
        std::vector<T> above3(width);
        std::vector<T> below3(width);
        for (std::size_t x = 0; x < width; ++x) {
            split(sum, &above3[x], &below3[x]);
        }
        rows::demosaicRows<T>(table).biCubicThird(above3.data(), above.data(), below.data(), below3.data(),
                                                  third.data(), width);
        for (std::size_t x = 0; x < width; ++x) {
            ASSERT_EQ(third[x], cubicOf(inner[x], sum)) << table.name << " sums " << inner[x] << ' ' << sum;
        }
    }
}

std::vector<unsigned> everySum(unsigned largest, unsigned step) {
    std::vector<unsigned> sums;
    for (unsigned sum = 0; sum <= largest; sum += step) {
        sums.push_back(sum);
    }
    return sums;
}

TEST_P(DemosaicRows, CubicOfEverySum) {
    compareCubic<std::uint8_t>(Table(), everySum(510, 1), everySum(510, 1));
    const std::vector<unsigned> some = {0,    1,    3,    4,    5,    11,    12,    400,   4095,  4096,
                                        8187, 8188, 8190, 8191, 8192, 16384, 65535, 65536, 65540, 131070};
    compareCubic<std::uint16_t>(Table(), everySum(131070, 1), some);
    compareCubic<std::uint16_t>(Table(), some, everySum(131070, 1));
    compareCubic<std::uint16_t>(Table(), everySum(8400, 7), everySum(8400, 5));
}

VEK_FOR_EVERY_TIER(DemosaicRows);

} // namespace
} // namespace vek::test
