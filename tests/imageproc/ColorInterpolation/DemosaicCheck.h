// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/ColorInterpolation/DemosaicModel.h"
#include "support/GuardedBuffer.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace vek::test {

/// Ways to give the two pitches.
constexpr unsigned kPitchKinds = 6;

/// Pitches of one kind. 16-bit pitches of Bayer images stay even, so that samples stay aligned.
template <class T>
SDemosaicCall withPitches(SDemosaicCall call, unsigned kind) {
    call.srcPitch = 0;
    const unsigned long srcRow = modelSrcPitch(call, sizeof(T));
    const unsigned long dstRow = call.width * call.channels * sizeof(T);
    switch (kind) {
    case 0:
        break;
    case 1: // both without padding
        call.srcPitch = srcRow;
        call.dstPitch = dstRow;
        break;
    case 2: // odd numbers of samples behind the rows; odd byte pitches for some 8-bit widths
        call.srcPitch = srcRow + 3 * sizeof(T);
        call.dstPitch = dstRow + 5 * sizeof(T);
        break;
    case 3: // source derived, destination given
        call.dstPitch = dstRow + 32;
        break;
    case 4: // source given, destination derived
        call.srcPitch = srcRow + 16;
        break;
    default: // equal, which makes grey copies of one channel block copies
        call.srcPitch = std::max(srcRow, dstRow) + 7 * sizeof(T);
        call.dstPitch = call.srcPitch;
        break;
    }
    return call;
}

/// Where the two images of a case lie. An offset moves an image away from the protected page, in samples.
struct SPlacement {
    Flush src = Flush::Right;
    Flush dst = Flush::Right;
    std::size_t srcOffset = 0;
    std::size_t dstOffset = 0;
};

/// Runs one call against the model. The source holds exactly what the call may read, the destination exactly its
/// pixels; both stand flush with a protected page. Everything in and around the destination is random before the
/// call, so a sample, a padding byte or a fourth sample that changes without need shows.
template <class T>
class CDemosaicCheck {
public:
    explicit CDemosaicCheck(std::size_t capacity, std::uint64_t seed = 20231)
        : mSeed(seed), mRandom(seed), mSrcLeft(capacity, Flush::Left), mSrcRight(capacity, Flush::Right),
          mDstLeft(capacity, Flush::Left), mDstRight(capacity, Flush::Right) {}

    /// function(call, src, dst) makes the call; okStatus and badStatus are what it gives for the model's 0 and -22.
    template <class Function>
    ::testing::AssertionResult Run(const SDemosaicCall& call, const SPlacement& place, Function function,
                                   unsigned long okStatus = 0, unsigned long badStatus = kModelInvalid) {
        const std::size_t srcBytes = WholeSamples(modelSrcBytes(call, sizeof(T)));
        const std::size_t dstBytes = WholeSamples(modelDstBytes(call, sizeof(T)));
        std::uint8_t* const src =
            Place(place.src == Flush::Left ? mSrcLeft : mSrcRight, srcBytes, place.src, place.srcOffset * sizeof(T));
        CGuardedBuffer<std::uint8_t>& arena = place.dst == Flush::Left ? mDstLeft : mDstRight;
        std::uint8_t* const dst = Place(arena, dstBytes, place.dst, place.dstOffset * sizeof(T));
        FillSource(src, srcBytes);
        const std::vector<std::uint8_t> srcBefore(src, src + srcBytes);

        constexpr std::size_t margin = 80;
        std::uint8_t* const first =
            std::max(arena.data(), dst - std::min<std::size_t>(margin, static_cast<std::size_t>(dst - arena.data())));
        std::uint8_t* const arenaEnd = arena.data() + arena.size();
        std::uint8_t* const last =
            dst + dstBytes + std::min(margin, static_cast<std::size_t>(arenaEnd - (dst + dstBytes)));
        for (std::uint8_t* p = first; p < last; ++p) {
            *p = static_cast<std::uint8_t>(mRandom.Next());
        }
        mExpected.assign(first, last);
        T* const modelDst = reinterpret_cast<T*>(mExpected.data() + (dst - first));
        const bool ok = CDemosaicModel<T>(call, reinterpret_cast<const T*>(src), modelDst).Run() == 0;

        const unsigned long status = function(call, reinterpret_cast<T*>(src), reinterpret_cast<T*>(dst));

        if (status != (ok ? okStatus : badStatus)) {
            return Failure(call, place) << "status " << static_cast<long>(status);
        }
        if (srcBytes != 0 && std::memcmp(src, srcBefore.data(), srcBytes) != 0) {
            return Failure(call, place) << "the source changed";
        }
        const auto differ = std::mismatch(mExpected.begin(), mExpected.end(), first);
        if (differ.first != mExpected.end()) {
            const std::ptrdiff_t at = differ.second - dst;
            const auto pitch = static_cast<std::ptrdiff_t>(modelDstPitch(call, sizeof(T)));
            return Failure(call, place) << "byte " << at << " of the destination (row " << at / pitch << ", sample "
                                        << at % pitch / static_cast<std::ptrdiff_t>(sizeof(T)) << ") is "
                                        << int{*differ.second} << ", not " << int{*differ.first};
        }
        return ::testing::AssertionSuccess();
    }

    CRandom& Random() { return mRandom; }

private:
    /// YCrCb is bytes in buffers of words too: one byte more keeps the words aligned.
    static std::size_t WholeSamples(std::size_t bytes) { return (bytes + sizeof(T) - 1) / sizeof(T) * sizeof(T); }

    static std::uint8_t* Place(CGuardedBuffer<std::uint8_t>& arena, std::size_t bytes, Flush flush,
                               std::size_t offset) {
        if (bytes + offset > arena.size()) {
            throw std::bad_alloc();
        }
        return flush == Flush::Left ? arena.data() + offset : arena.data() + arena.size() - bytes - offset;
    }

    /// Random samples of full, 12-bit or 8-bit range, only the two extremes, near the largest value, or all the same
    /// extreme.
    void FillSource(std::uint8_t* src, std::size_t bytes) {
        const std::uint64_t kind = mRandom.Next() % 10;
        constexpr std::uint64_t max = static_cast<T>(-1);
        for (std::size_t at = 0; at + sizeof(T) <= bytes; at += sizeof(T)) {
            const std::uint64_t random = mRandom.Next();
            std::uint64_t value = random & max;
            switch (kind) {
            case 0:
                value = random % 2 * max;
                break;
            case 1:
                value = max - random % 3;
                break;
            case 2:
                value = max;
                break;
            case 3:
                value = random % 3;
                break;
            case 4:
            case 5:
                value &= 0xFFF;
                break;
            case 6:
            case 7:
                value &= 0xFF;
                break;
            default:
                break;
            }
            const T sample = static_cast<T>(value);
            std::memcpy(src + at, &sample, sizeof sample);
        }
    }

    ::testing::AssertionResult Failure(const SDemosaicCall& call, const SPlacement& place) const {
        return ::testing::AssertionFailure()
               << "seed " << mSeed << ", " << 8 * sizeof(T) << " bit, " << call.width << " x " << call.height
               << ", pitches " << call.srcPitch << " and " << call.dstPitch << ", method " << int{call.method}
               << ", colour array " << call.colorArray << ", channels " << call.channels << ", flush "
               << (place.src == Flush::Left ? "left" : "right") << " +" << place.srcOffset << " and "
               << (place.dst == Flush::Left ? "left" : "right") << " +" << place.dstOffset << ": ";
    }

    std::uint64_t mSeed;
    CRandom mRandom;
    CGuardedBuffer<std::uint8_t> mSrcLeft;
    CGuardedBuffer<std::uint8_t> mSrcRight;
    CGuardedBuffer<std::uint8_t> mDstLeft;
    CGuardedBuffer<std::uint8_t> mDstRight;
    std::vector<std::uint8_t> mExpected;
};

} // namespace vek::test
