// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/ImageArena.h"
#include "support/SampleTypes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace vek::test {

/// Runs a stage on an image against its model. The image is exactly as large as the call may touch. Everything in and
/// around it is random, so that a padding byte or a fourth sample that changes shows.
template <class T>
class CInPlaceCheck {
public:
    explicit CInPlaceCheck(std::size_t capacity, std::uint64_t seed = 20477) : mArena(capacity, seed) {}

    /// stage(samples) makes the call, model(samples) does the same to a copy; both give a status. Samples are of depth
    /// bits.
    template <class Stage, class Model>
    ::testing::AssertionResult Run(const SInPlaceImage& image, unsigned depth, Flush flush, Stage stage, Model model) {
        T* const samples = mArena.Place(inPlaceBytes(image, sizeof(T)), flush, [&](T* first, std::size_t count) {
            Random().Fill(reinterpret_cast<std::uint8_t*>(first), reinterpret_cast<std::uint8_t*>(first + count));
            Fill(image, depth, first);
        });
        const unsigned long expected = model(mArena.Expected());
        const auto status = static_cast<unsigned long>(stage(samples));
        ::testing::AssertionResult result = mArena.Check(inPlacePitch(image, sizeof(T)), status, expected);
        if (!result) {
            result << " (" << 8 * sizeof(T) << " bit, " << image.width << " x " << image.height << ", samples "
                   << image.samples << " of " << depth << " bits, pitch " << image.pitch << ", flush "
                   << sideName(flush) << ')';
        }
        return result;
    }

    CRandom& Random() { return mArena.Random(); }

private:
    /// Samples of the image: random, extremes, near an end, flat, close to each other or a slow ramp.
    void Fill(const SInPlaceImage& image, unsigned depth, T* samples) {
        const std::uint64_t max = (std::uint64_t{1} << depth) - 1;
        const std::uint64_t kind = Random().Below(9);
        const std::uint64_t base = Random().Next() & max;
        for (unsigned long y = 0; y < image.height && image.width != 0; ++y) {
            const bool last = y + 1 == image.height;
            const unsigned long count = image.width * image.samples - (last && image.samples == 4 ? 1 : 0);
            for (unsigned long x = 0; x < count; ++x) {
                const std::uint64_t random = Random().Next();
                const std::uint64_t value = kind == 0   ? random % 2 * max
                                            : kind == 1 ? max - random % 4 % (max + 1)
                                            : kind == 2 ? random % 8 & max
                                            : kind == 3 ? base
                                            : kind == 4 ? (base + random % 16) & max
                                            : kind == 5 ? (base / 2 + 3 * x + 5 * y + random % 4) & max
                                                        : random & max;
                setSampleAt(samples, inPlacePitch(image, sizeof(T)), y, x, static_cast<T>(value));
            }
        }
    }

    CImageArena<T> mArena;
};

struct SImageSize {
    unsigned long width;
    unsigned long height;
};
constexpr SImageSize kOddSizes[] = {{67, 5}, {131, 3}, {259, 2}, {1, 40}, {33, 7}, {64, 4}, {1023, 1}, {515, 3}};

/// Sizes without pixels, however large the other side is.
constexpr SImageSize kNoPixels[] = {{0, 0}, {0, 5}, {5, 0}, {0, ~0UL}, {~0UL, 0}};

/// test(image, turn) on every size up to 12 x 12, of every number of samples a pixel and every kind of pitch. newRow()
/// is called before each height's images.
template <class T, class Test, class NewRow>
void forSmallImages(std::initializer_list<unsigned> samplesAPixel, Test test, NewRow newRow) {
    unsigned turn = 0;
    for (unsigned long height = 0; height <= 12; ++height) {
        newRow();
        for (unsigned long width = 0; width <= 12; ++width) {
            for (const unsigned samples : samplesAPixel) {
                for (unsigned kind = 0; kind < 4; ++kind) {
                    ASSERT_NO_FATAL_FAILURE(test(withPitch({width, height, samples, 0}, kind, sizeof(T)), turn++));
                }
            }
        }
    }
}

/// The same on the odd sizes, twice with each kind of pitch. newImage() is called before each size.
template <class T, class Test, class NewImage>
void forOddImages(std::initializer_list<unsigned> samplesAPixel, Test test, NewImage newImage) {
    unsigned turn = 0;
    for (const SImageSize& size : kOddSizes) {
        for (const unsigned samples : samplesAPixel) {
            newImage();
            for (unsigned kind = 0; kind < 8; ++kind) {
                const SInPlaceImage image = withPitch({size.width, size.height, samples, 0}, kind, sizeof(T));
                ASSERT_NO_FATAL_FAILURE(test(image, turn++));
            }
        }
    }
}

} // namespace vek::test
