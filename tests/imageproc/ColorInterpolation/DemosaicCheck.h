// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/ColorInterpolation/DemosaicModel.h"
#include "support/ImageArena.h"
#include "support/SampleTypes.h"

#include <algorithm>

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

constexpr SPlacement kSameSide[] = {{Flush::Right, Flush::Right, 0, 0}, {Flush::Left, Flush::Left, 0, 0}};

/// Runs one call against the model. The source holds exactly what the call may read, the destination exactly its
/// pixels. Everything in and around the destination is random before the call, so a sample, a padding byte or a fourth
/// sample that changes without need shows.
template <class T>
class CDemosaicCheck {
public:
    explicit CDemosaicCheck(std::size_t capacity, std::uint64_t seed = 20231)
        : mSource(capacity, seed), mDestination(capacity, seed + 1) {}

    /// function(call, src, dst) makes the call; okStatus and badStatus are what it gives for the model's 0 and -22.
    template <class Function>
    ::testing::AssertionResult Run(const SDemosaicCall& call, const SPlacement& place, Function function,
                                   unsigned long okStatus = 0, unsigned long badStatus = kModelInvalid) {
        T* const src = mSource.Place(
            WholeSamples(modelSrcBytes(call, sizeof(T))), place.src,
            [this](T* samples, std::size_t count) { FillSource(samples, count); }, place.srcOffset * sizeof(T));
        T* const dst = mDestination.Place(
            WholeSamples(modelDstBytes(call, sizeof(T))), place.dst,
            [this](T* samples, std::size_t count) {
                mDestination.Random().Fill(reinterpret_cast<std::uint8_t*>(samples),
                                           reinterpret_cast<std::uint8_t*>(samples + count));
            },
            place.dstOffset * sizeof(T));
        const bool ok = CDemosaicModel<T>(call, src, mDestination.Expected()).Run() == 0;
        const auto status = static_cast<unsigned long>(function(call, src, dst));
        if (!mSource.Matches()) {
            return Failure(call, place) << "the source changed";
        }
        const ::testing::AssertionResult result =
            mDestination.Check(modelDstPitch(call, sizeof(T)), status, ok ? okStatus : badStatus);
        return result ? result : Failure(call, place) << result.message();
    }

    CRandom& Random() { return mSource.Random(); }

private:
    /// YCrCb is bytes in buffers of words too: one byte more keeps the words aligned.
    static std::size_t WholeSamples(std::size_t bytes) { return (bytes + sizeof(T) - 1) / sizeof(T) * sizeof(T); }

    /// Random samples of full, 12-bit or 8-bit range, only the two extremes, near the largest value, or all the same
    /// extreme.
    void FillSource(T* samples, std::size_t count) {
        const std::uint64_t kind = Random().Next() % 10;
        constexpr std::uint64_t max = static_cast<T>(-1);
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint64_t random = Random().Next();
            samples[i] = static_cast<T>(kind == 0   ? random % 2 * max
                                        : kind == 1 ? max - random % 3
                                        : kind == 2 ? max
                                        : kind == 3 ? random % 3
                                        : kind <= 5 ? random & 0xFFF
                                        : kind <= 7 ? random & 0xFF
                                                    : random);
        }
    }

    static ::testing::AssertionResult Failure(const SDemosaicCall& call, const SPlacement& place) {
        return ::testing::AssertionFailure()
               << 8 * sizeof(T) << " bit, " << call.width << " x " << call.height << ", pitches " << call.srcPitch
               << " and " << call.dstPitch << ", method " << int{call.method} << ", colour array " << call.colorArray
               << ", channels " << call.channels << ", flush " << sideName(place.src) << " +" << place.srcOffset
               << " and " << sideName(place.dst) << " +" << place.dstOffset << ": ";
    }

    CImageArena<T> mSource;
    CImageArena<T> mDestination;
};

} // namespace vek::test
