// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/GuardedBuffer.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace vek::test {

/// An image that a stage works on in place.
struct SInPlaceImage {
    unsigned long width = 0;     ///< pixels
    unsigned long height = 0;    ///< rows
    unsigned samples = 1;        ///< per pixel; of 4 the last one is nobody's
    unsigned long lineBytes = 0; ///< row to row; 0: derived
};

/// Bytes from row to row, derived where the image does not say.
inline unsigned long inPlacePitch(const SInPlaceImage& image, std::size_t sampleBytes) {
    if (image.lineBytes != 0) {
        return image.lineBytes;
    }
    const unsigned long row = image.samples * image.width * sampleBytes;
    return row % 4 == 0 ? row : row + 4 - row % 4;
}

/// Bytes from the first sample to the end of the last one that a stage may touch: the red sample of the last pixel
/// where pixels have a fourth one.
inline std::size_t inPlaceBytes(const SInPlaceImage& image, std::size_t sampleBytes) {
    if (image.width == 0 || image.height == 0) {
        return 0;
    }
    const unsigned long samples = image.width * image.samples - (image.samples == 4 ? 1 : 0);
    return (image.height - 1) * inPlacePitch(image, sampleBytes) + samples * sampleBytes;
}

/// Line lengths of one kind, in turn: derived, without padding, with a few samples and with many samples behind a row.
inline SInPlaceImage withLineBytes(SInPlaceImage image, unsigned kind, std::size_t sampleBytes) {
    const unsigned long row = image.width * image.samples * sampleBytes;
    constexpr unsigned long kPadding[] = {0, 0, 3, 40};
    image.lineBytes = kind % 4 == 0 ? 0 : row + kPadding[kind % 4] * sampleBytes;
    return image;
}

/// Runs a stage on an image against its model. The image is exactly as large as the call may touch and stands flush
/// with a protected page. Everything in and around it is random, so that a padding byte or a fourth sample that
/// changes shows.
template <class T>
class CInPlaceCheck {
public:
    explicit CInPlaceCheck(std::size_t capacity, std::uint64_t seed = 20477)
        : mSeed(seed), mRandom(seed), mLeft(capacity, Flush::Left), mRight(capacity, Flush::Right) {}

    /// stage(image) makes the call, model(image) does the same to a copy; both give a status. Samples are of depth
    /// bits.
    template <class Stage, class Model>
    ::testing::AssertionResult Run(const SInPlaceImage& image, unsigned depth, Flush flush, Stage stage, Model model) {
        const std::size_t bytes = inPlaceBytes(image, sizeof(T));
        CGuardedBuffer<std::uint8_t>& arena = flush == Flush::Left ? mLeft : mRight;
        if (bytes + kMargin > arena.size()) {
            return ::testing::AssertionFailure() << "the test's buffer is too small for " << bytes << " bytes";
        }
        std::uint8_t* const start = flush == Flush::Left ? arena.data() : arena.data() + arena.size() - bytes;
        std::uint8_t* const first = flush == Flush::Left ? start : start - kMargin;
        const std::size_t watched = bytes + kMargin;
        for (std::size_t i = 0; i < watched; ++i) {
            first[i] = static_cast<std::uint8_t>(mRandom.Next());
        }
        Fill(image, depth, start);
        mBefore.assign(first, first + watched);
        mExpected = mBefore;
        const unsigned long expected = model(reinterpret_cast<T*>(mExpected.data() + (start - first)));

        const unsigned long status = stage(reinterpret_cast<T*>(start));

        if (status != expected) {
            return Failure(image, depth, flush)
                   << "status " << static_cast<long>(status) << ", not " << static_cast<long>(expected);
        }
        const auto differ = std::mismatch(mExpected.begin(), mExpected.end(), first);
        if (differ.first != mExpected.end()) {
            const std::ptrdiff_t at = differ.second - start;
            const auto pitch = static_cast<std::ptrdiff_t>(inPlacePitch(image, sizeof(T)));
            const std::ptrdiff_t row = pitch != 0 ? at / pitch : 0;
            const std::ptrdiff_t inRow = at - row * pitch;
            const auto was = mBefore[static_cast<std::size_t>(differ.second - first)];
            return Failure(image, depth, flush)
                   << "byte " << at << " (row " << row << ", sample " << inRow / static_cast<std::ptrdiff_t>(sizeof(T))
                   << ") was " << int{was} << " and is " << int{*differ.second} << ", not " << int{*differ.first};
        }
        return ::testing::AssertionSuccess();
    }

    CRandom& Random() { return mRandom; }

private:
    static constexpr std::size_t kMargin = 80;

    /// Samples of the image: random, extremes, near an end, flat, close to each other or a slow ramp.
    void Fill(const SInPlaceImage& image, unsigned depth, std::uint8_t* start) {
        const std::uint64_t max = (std::uint64_t{1} << depth) - 1;
        const std::uint64_t kind = mRandom.Below(9);
        const std::uint64_t base = mRandom.Next() & max;
        for (unsigned long y = 0; y < image.height && image.width != 0; ++y) {
            const unsigned long row = y * inPlacePitch(image, sizeof(T));
            const bool bLast = y + 1 == image.height;
            const unsigned long count = image.width * image.samples - (bLast && image.samples == 4 ? 1 : 0);
            for (unsigned long x = 0; x < count; ++x) {
                const std::uint64_t random = mRandom.Next();
                std::uint64_t value = random & max;
                switch (kind) {
                case 0:
                    value = random % 2 * max;
                    break;
                case 1:
                    value = max - random % 4 % (max + 1);
                    break;
                case 2:
                    value = random % 8 & max;
                    break;
                case 3:
                    value = base;
                    break;
                case 4:
                    value = (base + random % 16) & max;
                    break;
                case 5:
                    value = std::min(max, (base / 2 + 3 * x + 5 * y + random % 4) & max);
                    break;
                default:
                    break;
                }
                const T sample = static_cast<T>(value);
                std::memcpy(start + row + x * sizeof(T), &sample, sizeof sample);
            }
        }
    }

    ::testing::AssertionResult Failure(const SInPlaceImage& image, unsigned depth, Flush flush) const {
        return ::testing::AssertionFailure()
               << "seed " << mSeed << ", " << 8 * sizeof(T) << " bit, " << image.width << " x " << image.height
               << ", samples " << image.samples << " of " << depth << " bits, line " << image.lineBytes << ", flush "
               << (flush == Flush::Left ? "left" : "right") << ": ";
    }

    std::uint64_t mSeed;
    CRandom mRandom;
    CGuardedBuffer<std::uint8_t> mLeft;
    CGuardedBuffer<std::uint8_t> mRight;
    std::vector<std::uint8_t> mBefore;
    std::vector<std::uint8_t> mExpected;
};

/// Sizes that every stage is tried on: all of 0..12 x 0..12 are left to the caller's loops, these come on top.
struct SImageSize {
    unsigned long width;
    unsigned long height;
};
constexpr SImageSize kOddSizes[] = {{67, 5}, {131, 3}, {259, 2}, {1, 40}, {33, 7}, {64, 4}, {1023, 1}, {515, 3}};

} // namespace vek::test
