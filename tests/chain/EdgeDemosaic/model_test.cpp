// SPDX-License-Identifier: Apache-2.0
// The stage with every tier's kernels against the model.
#include "chain/EdgeDemosaic.h"
#include "chain/EdgeDemosaic/EdgeDemosaicModel.h"
#include "imageproc/ModuleTest.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace vek::test {
namespace {

template <class T>
void compareWithModel(const rows::SRowTable& table, const SFrame& frame, Pattern pattern, CRandom& random) {
    std::vector<T> samples(frame.width * frame.height);
    fillSamples(samples.data(), samples.size(), pattern, frame.bitsPerPixel, random);
    std::vector<T> pixels(3 * samples.size());
    SEdgeDemosaicStage().Rows(table, frame,
                              SBand<T>{{frame.width * sizeof(T), samples.data()},
                                       {3 * frame.width * sizeof(T), pixels.data()},
                                       0,
                                       frame.height,
                                       nullptr});
    const CEdgeDemosaicModel<T> model(static_cast<long>(frame.width), static_cast<long>(frame.height), frame.colorArray,
                                      frame.bitsPerPixel, samples);
    for (unsigned long y = 0; y < frame.height; ++y) {
        for (unsigned long x = 0; x < frame.width; ++x) {
            const auto expected = model.Pixel(static_cast<long>(x), static_cast<long>(y));
            for (std::size_t color = 0; color < 3; ++color) {
                ASSERT_EQ(pixels[3 * (y * frame.width + x) + color], expected[color])
                    << table.name << ", " << frame.width << " x " << frame.height << ", array " << frame.colorArray
                    << ", " << frame.bitsPerPixel << " bit: colour " << color << " of " << x << ", " << y;
            }
        }
    }
}

/// Frames of one size in every Bayer phase, pattern and depth.
void compareSize(unsigned long width, unsigned long height) {
    CRandom random(width * 100 + height);
    for (const rows::SRowTable* const table : usableTables()) {
        for (unsigned short array = VEK_COLOR_ARRAY_RGGB; array <= VEK_COLOR_ARRAY_BGGR; ++array) {
            for (const Pattern pattern : kPatterns) {
                ASSERT_NO_FATAL_FAILURE(
                    compareWithModel<std::uint8_t>(*table, {width, height, 0, array, 8}, pattern, random));
                for (const unsigned short depth : std::initializer_list<unsigned short>{8, 10, 12, 13}) {
                    ASSERT_NO_FATAL_FAILURE(
                        compareWithModel<std::uint16_t>(*table, {width, height, 0, array, depth}, pattern, random));
                }
            }
        }
    }
}

TEST(EdgeDemosaicModel, SmallFrames) {
    for (unsigned long width = 2; width <= 9; ++width) {
        for (unsigned long height = 2; height <= 9; ++height) {
            ASSERT_NO_FATAL_FAILURE(compareSize(width, height));
        }
    }
}

TEST(EdgeDemosaicModel, FramesOfRandomSizes) {
    CRandom random(5);
    for (unsigned turn = 0; turn < 25; ++turn) {
        ASSERT_NO_FATAL_FAILURE(compareSize(2 + random.Below(200), 2 + random.Below(12)));
    }
}

} // namespace
} // namespace vek::test
