// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/GuardedBuffer.h"
#include "support/ImageLayout.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace vek::test {

/// One image that a call reads, writes or works on in place, flush with a protected page. Its padding and the bytes on
/// its other side are random, and are compared after the call as the pixels are. A model works on a copy, Expected().
template <class T>
class CImageArena {
public:
    explicit CImageArena(std::size_t capacityBytes, std::uint64_t seed = 4711)
        : mRandom(seed), mLeft(capacityBytes, Flush::Left), mRight(capacityBytes, Flush::Right) {}

    /// A new image of so many bytes, offset bytes away from the protected page; fill(samples, count) sets its samples.
    template <std::invocable<T*, std::size_t> Fill>
    T* Place(std::size_t bytes, Flush flush, Fill fill, std::size_t offset = 0) {
        CGuardedBuffer<std::uint8_t>& arena = flush == Flush::Left ? mLeft : mRight;
        if (bytes + offset > arena.size()) {
            throw std::bad_alloc();
        }
        std::uint8_t* const end = arena.data() + arena.size();
        mImage = flush == Flush::Left ? arena.data() + offset : end - bytes - offset;
        mFirst = mImage - std::min(kMargin, mImage - arena.data());
        mLast = mImage + bytes + std::min(kMargin, end - (mImage + bytes));
        const std::size_t count = bytes / sizeof(T);
        mRandom.Fill(mFirst, mImage);
        mRandom.Fill(mImage + count * sizeof(T), mLast);
        fill(reinterpret_cast<T*>(mImage), count);
        mBefore.assign(mFirst, mLast);
        mExpected = mBefore;
        return reinterpret_cast<T*>(mImage);
    }
    /// Samples of so many bits: random, extremes only, near one end, or all the same.
    T* Place(std::size_t bytes, Flush flush, unsigned depth) {
        return Place(bytes, flush, [this, depth](T* samples, std::size_t count) { Fill(samples, count, depth); });
    }

    /// The image as the call should leave it; as it was before the call until a model has worked on it.
    T* Expected() { return reinterpret_cast<T*>(mExpected.data() + (mImage - mFirst)); }
    void ResetExpected() { mExpected = mBefore; }

    bool Matches() const { return std::equal(mExpected.begin(), mExpected.end(), mFirst); }
    ::testing::AssertionResult Check(std::size_t pitch) const {
        const auto differ = std::mismatch(mExpected.begin(), mExpected.end(), mFirst);
        if (differ.first == mExpected.end()) {
            return ::testing::AssertionSuccess();
        }
        const std::ptrdiff_t at = differ.second - mImage;
        const auto row = static_cast<std::ptrdiff_t>(pitch == 0 ? 1 : pitch);
        return ::testing::AssertionFailure()
               << "byte " << at << " (row " << at / row << ", sample " << at % row / std::ptrdiff_t{sizeof(T)}
               << ") became " << int{*differ.second} << " from "
               << int{mBefore[static_cast<std::size_t>(differ.first - mExpected.begin())]} << ", not "
               << int{*differ.first};
    }
    /// The status of the call as well.
    ::testing::AssertionResult Check(std::size_t pitch, unsigned long status, unsigned long expected) const {
        return status == expected ? Check(pitch)
                                  : ::testing::AssertionFailure() << "status " << static_cast<long>(status) << ", not "
                                                                  << static_cast<long>(expected);
    }

    CRandom& Random() { return mRandom; }

private:
    void Fill(T* samples, std::size_t count, unsigned depth) {
        const std::uint64_t max = (std::uint64_t{1} << depth) - 1;
        const std::uint64_t kind = mRandom.Below(8);
        const std::uint64_t same = mRandom.Next() & max;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint64_t random = mRandom.Next();
            const std::uint64_t value = kind == 0   ? random % 2 * max
                                        : kind == 1 ? max - std::min(max, random % 3)
                                        : kind == 2 ? std::min(max, random % 3)
                                        : kind == 3 ? same
                                                    : random & max;
            samples[i] = static_cast<T>(value);
        }
    }

    static constexpr std::ptrdiff_t kMargin = 80;
    CRandom mRandom;
    CGuardedBuffer<std::uint8_t> mLeft;
    CGuardedBuffer<std::uint8_t> mRight;
    std::uint8_t* mImage = nullptr;
    std::uint8_t* mFirst = nullptr;
    std::uint8_t* mLast = nullptr;
    std::vector<std::uint8_t> mBefore;
    std::vector<std::uint8_t> mExpected;
};

} // namespace vek::test
