// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/Band.h"
#include "imageproc/rows/RowDispatch.h"
#include "support/GuardedBuffer.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

namespace vek::test {

/// The images that a stage is tried on: samples of a source and of a destination pixel, 4 with one that is nobody's.
struct SBandImages {
    unsigned srcSamples = 1;
    unsigned dstSamples = 1;
    unsigned depth = 8;
};

/// Runs a stage band by band and compares the bands with the whole frame at once. Every band has a source of just the
/// rows that the traits tell, a destination and a work area of just its size, each between protected pages.
template <class Src, class Dst = Src>
class CBandCheck {
public:
    CBandCheck(const rows::SRowTable& kernels, std::uint64_t seed) : mKernels(kernels), mSeed(seed), mRandom(seed) {}

    /// Whole frame into another image, in one band and in bands of random heights.
    template <class Stage>
    ::testing::AssertionResult Run(const Stage& stage, const SFrame& frame, const SBandImages& images) {
        Prepare(frame, images);
        std::vector<std::uint8_t> whole = Canvas(frame, images);
        SBand<Src, Dst> band = Whole(frame, whole.data());
        const STraits traits = stage.Traits(frame);
        CGuardedBuffer<std::uint8_t> work(roundUp16(traits.workBytes), Flush::Right);
        band.work = work.data();
        stage.Rows(mKernels, frame, band);
        return InBands(stage, traits, frame, images, whole);
    }

    /// The frame in its own place, and in bands of random heights into another image.
    template <class Stage>
    ::testing::AssertionResult RunInPlace(const Stage& stage, const SFrame& frame, const SBandImages& images) {
        static_assert(std::is_same_v<Src, Dst>);
        Prepare(frame, images);
        std::vector<std::uint8_t> changed = mSource;
        const STraits traits = stage.Traits(frame);
        CGuardedBuffer<std::uint8_t> work(roundUp16(traits.workBytes), Flush::Right);
        const SImage<Dst> image = {frame.width, frame.height, mSrcPitch, reinterpret_cast<Dst*>(changed.data())};
        stage.Rows(mKernels, frame, wholeFrame<Dst>(image, work.data()));
        // What lies between pixels and rows is the destination's own.
        std::vector<std::uint8_t> whole = Canvas(frame, images);
        for (unsigned long y = 0; y < frame.height; ++y) {
            for (unsigned long x = 0; x < frame.width; ++x) {
                const std::size_t pixel = x * images.dstSamples * sizeof(Dst);
                std::memcpy(whole.data() + y * mDstPitch + pixel, changed.data() + y * mSrcPitch + pixel,
                            std::min(images.dstSamples, 3U) * sizeof(Dst));
            }
        }
        return InBands(stage, traits, frame, images, whole);
    }

    CRandom& Random() { return mRandom; }

private:
    static std::size_t roundUp16(unsigned long bytes) { return (bytes + 15) / 16 * 16; }

    void Prepare(const SFrame& frame, const SBandImages& images) {
        mSrcRowBytes = frame.width * images.srcSamples * sizeof(Src);
        mDstRowBytes = frame.width * images.dstSamples * sizeof(Dst);
        mSrcPitch = mSrcRowBytes + mRandom.Below(8) * sizeof(Src);
        mDstPitch = mDstRowBytes + mRandom.Below(8) * sizeof(Dst);
        mSource.resize(mSrcPitch * frame.height);
        fillSamples(reinterpret_cast<Src*>(mSource.data()), mSource.size() / sizeof(Src), kPatterns[mRandom.Below(4)],
                    images.depth, mRandom);
    }
    /// A destination with something in it.
    std::vector<std::uint8_t> Canvas(const SFrame& frame, const SBandImages&) const {
        std::vector<std::uint8_t> canvas(mDstPitch * frame.height);
        for (std::size_t i = 0; i < canvas.size(); ++i) {
            canvas[i] = static_cast<std::uint8_t>(i % 251);
        }
        return canvas;
    }
    SBand<Src, Dst> Whole(const SFrame& frame, std::uint8_t* dst) const {
        return {{frame.width, frame.height, mSrcPitch, reinterpret_cast<const Src*>(mSource.data())},
                {frame.width, frame.height, mDstPitch, reinterpret_cast<Dst*>(dst)},
                0,
                frame.height,
                nullptr};
    }

    template <class Stage>
    ::testing::AssertionResult InBands(const Stage& stage, const STraits& traits, const SFrame& frame,
                                       const SBandImages& images, const std::vector<std::uint8_t>& whole) {
        const std::vector<std::uint8_t> canvas = Canvas(frame, images);
        unsigned long end = 0;
        for (unsigned long first = 0; first < frame.height; first = end) {
            end = std::min(frame.height, first + 1 + mRandom.Below(5));
            const unsigned long srcFirst = first - std::min<unsigned long>(first, traits.rowsAbove);
            const unsigned long srcEnd = std::min(frame.height, end + traits.rowsBelow);
            CGuardedBuffer<std::uint8_t> src((srcEnd - srcFirst - 1) * mSrcPitch + mSrcRowBytes, Flush::Right);
            std::memcpy(src.data(), mSource.data() + srcFirst * mSrcPitch, src.size());
            CGuardedBuffer<std::uint8_t> dst((end - first - 1) * mDstPitch + mDstRowBytes, Flush::Right);
            std::memcpy(dst.data(), canvas.data() + first * mDstPitch, dst.size());
            CGuardedBuffer<std::uint8_t> work(roundUp16(traits.workBytes), Flush::Right);
            stage.Rows(mKernels, frame,
                       SBand<Src, Dst>{
                           {frame.width, frame.height, mSrcPitch, reinterpret_cast<const Src*>(src.data()), srcFirst},
                           {frame.width, frame.height, mDstPitch, reinterpret_cast<Dst*>(dst.data()), first},
                           first,
                           end,
                           work.data()});
            const auto* const expected = whole.data() + first * mDstPitch;
            const auto differ = std::mismatch(dst.data(), dst.data() + dst.size(), expected);
            if (differ.first != dst.data() + dst.size()) {
                const auto at = static_cast<std::size_t>(differ.first - dst.data());
                return ::testing::AssertionFailure()
                       << "seed " << mSeed << ", " << frame.width << " x " << frame.height << ", band " << first
                       << " .. " << end - 1 << ": byte " << at % mDstPitch << " of row " << first + at / mDstPitch
                       << " is " << int{*differ.first} << ", not " << int{*differ.second};
            }
            if (!src.CanaryIntact() || !dst.CanaryIntact() ||
                std::memcmp(src.data(), mSource.data() + srcFirst * mSrcPitch, src.size()) != 0) {
                return ::testing::AssertionFailure() << "seed " << mSeed << ": wrote outside of the band";
            }
        }
        return ::testing::AssertionSuccess();
    }

    const rows::SRowTable& mKernels;
    std::uint64_t mSeed;
    CRandom mRandom;
    std::size_t mSrcRowBytes = 0;
    std::size_t mDstRowBytes = 0;
    std::size_t mSrcPitch = 0;
    std::size_t mDstPitch = 0;
    std::vector<std::uint8_t> mSource;
};

} // namespace vek::test
