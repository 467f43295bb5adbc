// SPDX-License-Identifier: Apache-2.0
// Every tier's demosaic rows against the scalar ones: same samples written, no others written, none read that the
// scalar rows do not read.
#include "kernel/TierTest.h"
#include "support/GuardedBuffer.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace vek::test {
namespace {

using rows::BayerRow;
using rows::SRowTable;

constexpr const char* kRowNames[] = {"RG", "GR", "GB", "BG"};

enum class Kernel { Grey, None, NearestNeighbor, Bilinear, BilinearOpen };
constexpr Kernel kKernels[] = {Kernel::Grey, Kernel::None, Kernel::NearestNeighbor, Kernel::Bilinear,
                               Kernel::BilinearOpen};

const char* nameOf(Kernel kernel) {
    switch (kernel) {
    case Kernel::Grey:
        return "grey";
    case Kernel::None:
        return "none";
    case Kernel::NearestNeighbor:
        return "nearestNeighbor";
    case Kernel::Bilinear:
        return "bilinearSimple";
    default:
        return "bilinearSimpleOpen";
    }
}

/// Rows that a kernel reads.
std::size_t sourceRows(Kernel kernel) {
    return kernel == Kernel::Bilinear ? 3 : kernel == Kernel::NearestNeighbor ? 2 : 1;
}

std::size_t smallestWidth(Kernel kernel) {
    return kernel == Kernel::Grey || kernel == Kernel::None ? 1 : 2;
}

/// Samples of each source row that a kernel may read.
std::size_t readable(Kernel kernel, std::size_t width) {
    const bool past = (kernel == Kernel::Bilinear || kernel == Kernel::BilinearOpen) && width % 2 == 1;
    return width + (past ? 1 : 0);
}

template <class T>
void run(const SRowTable& table, Kernel kernel, std::size_t row, unsigned channels, const T* const* src, T* dst,
         std::size_t width) {
    const auto& k = rows::demosaicRows<T>(table);
    const std::size_t layout = rows::pixelLayout(channels);
    switch (kernel) {
    case Kernel::Grey:
        k.grey[layout](src[0], dst, width);
        break;
    case Kernel::None:
        k.none[row][layout](src[0], dst, width);
        break;
    case Kernel::NearestNeighbor:
        k.nearestNeighbor[row][layout](src[0], src[1], dst, width);
        break;
    case Kernel::Bilinear:
        k.bilinearSimple[row][layout](src[0], src[1], src[2], dst, width);
        break;
    case Kernel::BilinearOpen:
        k.bilinearSimpleOpen[row][layout](src[0], dst, width);
        break;
    }
}

/// Compares one kernel call of tier and scalar with every buffer flush to a protected page.
template <class T>
void compare(const SRowTable& tier, Kernel kernel, std::size_t row, unsigned channels, std::size_t width,
             Pattern pattern, unsigned depth, Flush flush, CRandom& random) {
    const std::size_t count = readable(kernel, width);
    const std::size_t nRows = sourceRows(kernel);
    CGuardedBuffer<T> a(count, flush);
    CGuardedBuffer<T> b(count, flush);
    CGuardedBuffer<T> c(count, flush);
    CGuardedBuffer<T>* const sources[] = {&a, &b, &c};
    const T* src[3] = {};
    for (std::size_t i = 0; i < nRows; ++i) {
        fillSamples(sources[i]->data(), count, pattern, depth, random);
        src[i] = sources[i]->data();
    }
    const std::size_t outCount = width * channels;
    CGuardedBuffer<T> got(outCount, flush);
    std::vector<T> expected(outCount);
    fillSamples(expected.data(), outCount, Pattern::Random, 8 * sizeof(T), random);
    std::copy(expected.begin(), expected.end(), got.data());

    run<T>(*rows::tier(0).table, kernel, row, channels, src, expected.data(), width);
    run<T>(tier, kernel, row, channels, src, got.data(), width);

    const auto differing = std::mismatch(expected.begin(), expected.end(), got.data());
    ASSERT_EQ(differing.first, expected.end())
        << tier.name << ' ' << nameOf(kernel) << ' ' << kRowNames[row] << " channels " << channels << " width " << width
        << " depth " << depth << ": sample " << (differing.first - expected.begin()) << " of the row, expected "
        << +*differing.first << " got " << +*differing.second;
    ASSERT_TRUE(got.CanaryIntact()) << tier.name << ' ' << nameOf(kernel) << " width " << width;
}

class DemosaicRows : public CTierTest {
protected:
    template <class T>
    void compareWidths(Kernel kernel, std::size_t first, std::size_t last, Pattern pattern, unsigned depth) {
        CRandom random(first * 1000 + depth);
        for (std::size_t width = std::max(first, smallestWidth(kernel)); width <= last; ++width) {
            for (std::size_t row = 0; row < rows::kBayerRows; ++row) {
                for (const unsigned channels : {3U, 4U}) {
                    for (const Flush flush : {Flush::Left, Flush::Right}) {
                        compare<T>(table(), kernel, row, channels, width, pattern, depth, flush, random);
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
    for (const Kernel kernel : kKernels) {
        compareWidths<std::uint8_t>(kernel, 1, 130, Pattern::Random, 8);
        compareWidths<std::uint16_t>(kernel, 1, 130, Pattern::Random, 12);
    }
}

TEST_P(DemosaicRows, EqualScalarForEveryDepthAndExtremeData) {
    for (const Kernel kernel : kKernels) {
        for (const Pattern pattern : kPatterns) {
            for (const std::size_t width : {66UL, 129UL}) {
                compareWidths<std::uint8_t>(kernel, width, width, pattern, 8);
                for (const unsigned depth : {10U, 12U, 14U, 16U}) {
                    compareWidths<std::uint16_t>(kernel, width, width, pattern, depth);
                }
            }
        }
    }
}

TEST_P(DemosaicRows, EqualScalarForLargeWidths) {
    for (const Kernel kernel : kKernels) {
        for (const std::size_t width : {2447UL, 2448UL, 4099UL}) {
            compareWidths<std::uint8_t>(kernel, width, width, Pattern::Random, 8);
            compareWidths<std::uint16_t>(kernel, width, width, Pattern::Random, 16);
        }
    }
}

/// Rows and pixels at every sample offset of a 64-byte line, source and destination apart.
template <class T>
void compareOffsets(const SRowTable& tier, Kernel kernel) {
    constexpr std::size_t width = 131;
    CRandom random(7);
    std::vector<T> source(3 * (width + 1 + 64));
    fillSamples(source.data(), source.size(), Pattern::Random, 8 * sizeof(T), random);
    for (std::size_t offset = 0; offset < 64 / sizeof(T); ++offset) {
        for (const unsigned channels : {3U, 4U}) {
            const T* const src[3] = {source.data() + offset, source.data() + width + 1 + 2 * offset % 64,
                                     source.data() + 2 * (width + 1) + offset};
            std::vector<T> expected(width * channels + 64);
            std::vector<T> got(expected.size());
            T* const expectedAt = expected.data() + (offset * 7) % 64;
            T* const gotAt = got.data() + (offset * 7) % 64;
            for (std::size_t row = 0; row < rows::kBayerRows; ++row) {
                run<T>(*rows::tier(0).table, kernel, row, channels, src, expectedAt, width);
                run<T>(tier, kernel, row, channels, src, gotAt, width);
                ASSERT_EQ(expected, got) << tier.name << ' ' << nameOf(kernel) << " offset " << offset;
            }
        }
    }
}

TEST_P(DemosaicRows, EqualScalarAtEveryAddress) {
    for (const Kernel kernel : kKernels) {
        compareOffsets<std::uint8_t>(table(), kernel);
        compareOffsets<std::uint16_t>(table(), kernel);
    }
}

VEK_FOR_EVERY_TIER(DemosaicRows);

} // namespace
} // namespace vek::test
