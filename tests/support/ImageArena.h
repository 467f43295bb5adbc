// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/GuardedBuffer.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace vek::test {

/// Bytes from the start of an image to the end of its last row; 0 for an image of no pixels.
inline std::size_t imageExtent(unsigned long width, unsigned long height, std::size_t pitch, std::size_t rowBytes) {
    return width == 0 || height == 0 ? 0 : (height - 1) * pitch + rowBytes;
}

/// One image that a call works on in place, flush with a protected page. Its padding and the bytes on its far side are
/// random, and are compared after the call as the pixels are. A model works on a copy, Expected().
template <class T>
class CImageArena {
public:
    explicit CImageArena(std::size_t capacityBytes, std::uint64_t seed = 4711)
        : mRandom(seed), mLeft(capacityBytes, Flush::Left), mRight(capacityBytes, Flush::Right) {}

    /// A new image of so many bytes, samples of so many bits: random, extremes only, near one end, or all the same.
    T* Place(std::size_t bytes, Flush flush, unsigned depth) {
        CGuardedBuffer<std::uint8_t>& arena = flush == Flush::Left ? mLeft : mRight;
        if (bytes > arena.size()) {
            throw std::bad_alloc();
        }
        mpImage = flush == Flush::Left ? arena.data() : arena.data() + arena.size() - bytes;
        const std::size_t margin = std::min(kMargin, arena.size() - bytes);
        mpFirst = flush == Flush::Left ? mpImage : mpImage - margin;
        mpLast = mpFirst + bytes + margin;
        std::for_each(mpFirst, mpLast,
                      [this](std::uint8_t& byte) { byte = static_cast<std::uint8_t>(mRandom.Next()); });
        Fill(bytes / sizeof(T), depth);
        mBefore.assign(mpFirst, mpLast);
        mExpected = mBefore;
        return reinterpret_cast<T*>(mpImage);
    }

    /// The image as the call should leave it; as it was before the call until a model has worked on it.
    T* Expected() { return reinterpret_cast<T*>(mExpected.data() + (mpImage - mpFirst)); }
    void ResetExpected() { mExpected = mBefore; }

    bool Matches() const { return std::equal(mExpected.begin(), mExpected.end(), mpFirst); }
    ::testing::AssertionResult Check(std::size_t pitch) const {
        const auto differ = std::mismatch(mExpected.begin(), mExpected.end(), mpFirst);
        if (differ.first == mExpected.end()) {
            return ::testing::AssertionSuccess();
        }
        const std::ptrdiff_t at = differ.second - mpImage;
        const auto row = static_cast<std::ptrdiff_t>(pitch == 0 ? 1 : pitch);
        return ::testing::AssertionFailure()
               << "byte " << at << " (row " << at / row << ", sample " << at % row / std::ptrdiff_t{sizeof(T)}
               << ") became " << int{*differ.second} << " from "
               << int{mBefore[static_cast<std::size_t>(differ.first - mExpected.begin())]} << ", not "
               << int{*differ.first};
    }

    CRandom& Random() { return mRandom; }

private:
    void Fill(std::size_t count, unsigned depth) {
        T* const samples = reinterpret_cast<T*>(mpImage);
        const std::uint64_t max = (std::uint64_t{1} << depth) - 1;
        const std::uint64_t kind = mRandom.Below(8);
        const std::uint64_t same = mRandom.Next() & max;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint64_t random = mRandom.Next();
            std::uint64_t value = random & max;
            switch (kind) {
            case 0:
                value = random % 2 * max;
                break;
            case 1:
                value = max - std::min(max, random % 3);
                break;
            case 2:
                value = std::min(max, random % 3);
                break;
            case 3:
                value = same;
                break;
            default:
                break;
            }
            samples[i] = static_cast<T>(value);
        }
    }

    static constexpr std::size_t kMargin = 80;
    CRandom mRandom;
    CGuardedBuffer<std::uint8_t> mLeft;
    CGuardedBuffer<std::uint8_t> mRight;
    std::uint8_t* mpImage = nullptr;
    std::uint8_t* mpFirst = nullptr;
    std::uint8_t* mpLast = nullptr;
    std::vector<std::uint8_t> mBefore;
    std::vector<std::uint8_t> mExpected;
};

} // namespace vek::test
