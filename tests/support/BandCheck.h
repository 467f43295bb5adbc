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
/// rows that the traits tell, a destination and a work area of just its size, each between protected pages. A serial
/// stage has its rows above in the destination, or, half the time where it may start there, in the source.
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

    /// Whether another row dy rows below changes what a random frame's middle row becomes. It does so sooner or later
    /// for the outermost rows that the traits tell.
    template <class Stage>
    bool ReadsRow(const Stage& stage, const SFrame& frame, const SBandImages& images, long dy) {
        static_assert(std::is_same_v<Src, Dst>);
        Prepare(frame, images);
        const std::vector<std::uint8_t> before = MiddleRow(stage, frame);
        const unsigned long y = frame.height / 2 + static_cast<unsigned long>(dy);
        fillSamples(reinterpret_cast<Src*>(mSource.data() + y * mSrcPitch), mSrcRowBytes / sizeof(Src), Pattern::Random,
                    images.depth, mRandom);
        return MiddleRow(stage, frame) != before;
    }

    CRandom& Random() { return mRandom; }
    /// Bands below the first one that a serial stage has started with the rows above it in the source.
    unsigned Started() const { return mStarted; }

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

    /// A destination that holds the source: a serial stage finds the rows above there.
    template <class Stage>
    std::vector<std::uint8_t> MiddleRow(const Stage& stage, const SFrame& frame) const {
        std::vector<std::uint8_t> dst = mSource;
        std::vector<std::uint8_t> work(roundUp16(stage.Traits(frame).workBytes));
        SBand<Src> band = Whole(frame, dst.data());
        band.dst.pitch = mSrcPitch;
        band.first = frame.height / 2;
        band.end = band.first + 1;
        band.work = work.data();
        stage.Rows(mKernels, frame, band);
        const std::uint8_t* const row = dst.data() + band.first * mSrcPitch;
        return {row, row + mSrcRowBytes};
    }

    template <class Stage>
    bool Starts(const Stage& stage, const SFrame& frame, unsigned long first) {
        if constexpr (requires(const SImage<const Src>& source) { stage.StartsAt(frame, source, first); }) {
            const SImage<const Src> source = {frame.width, frame.height, mSrcPitch,
                                              reinterpret_cast<const Src*>(mSource.data())};
            const bool starts = mRandom.Below(2) == 0 && stage.StartsAt(frame, source, first);
            mStarted += starts && first != 0 ? 1 : 0;
            return starts;
        }
        return false;
    }

    template <class Stage>
    ::testing::AssertionResult InBands(const Stage& stage, const STraits& traits, const SFrame& frame,
                                       const SBandImages& images, const std::vector<std::uint8_t>& whole) {
        const std::vector<std::uint8_t> canvas = Canvas(frame, images);
        unsigned long end = 0;
        for (unsigned long first = 0; first < frame.height; first = end) {
            end = std::min(frame.height, first + 1 + mRandom.Below(5));
            const unsigned long above = first - std::min<unsigned long>(first, traits.rowsAbove);
            const bool serial = traits.kind == EStage::Serial && !Starts(stage, frame, first);
            const unsigned long srcFirst = serial ? first : above;
            const unsigned long dstFirst = serial ? above : first;
            const unsigned long srcEnd = std::min(frame.height, end + traits.rowsBelow);
            CGuardedBuffer<std::uint8_t> src((srcEnd - srcFirst - 1) * mSrcPitch + mSrcRowBytes, Flush::Right);
            std::memcpy(src.data(), mSource.data() + srcFirst * mSrcPitch, src.size());
            CGuardedBuffer<std::uint8_t> dst((end - dstFirst - 1) * mDstPitch + mDstRowBytes, Flush::Right);
            const std::size_t done = (first - dstFirst) * mDstPitch;
            std::memcpy(dst.data(), whole.data() + dstFirst * mDstPitch, done);
            std::memcpy(dst.data() + done, canvas.data() + first * mDstPitch, dst.size() - done);
            CGuardedBuffer<std::uint8_t> work(roundUp16(traits.workBytes), Flush::Right);
            stage.Rows(mKernels, frame,
                       SBand<Src, Dst>{
                           {frame.width, frame.height, mSrcPitch, reinterpret_cast<const Src*>(src.data()), srcFirst},
                           {frame.width, frame.height, mDstPitch, reinterpret_cast<Dst*>(dst.data()), dstFirst},
                           first,
                           end,
                           work.data()});
            const auto* const expected = whole.data() + dstFirst * mDstPitch;
            const auto differ = std::mismatch(dst.data(), dst.data() + dst.size(), expected);
            if (differ.first != dst.data() + dst.size()) {
                const auto at = static_cast<std::size_t>(differ.first - dst.data());
                return ::testing::AssertionFailure()
                       << "seed " << mSeed << ", " << frame.width << " x " << frame.height << ", band " << first
                       << " .. " << end - 1 << ": byte " << at % mDstPitch << " of row " << dstFirst + at / mDstPitch
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
    unsigned mStarted = 0;
    std::size_t mSrcRowBytes = 0;
    std::size_t mDstRowBytes = 0;
    std::size_t mSrcPitch = 0;
    std::size_t mDstPitch = 0;
    std::vector<std::uint8_t> mSource;
};

} // namespace vek::test
