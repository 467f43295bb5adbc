// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"
#include "imageproc/Band.h"
#include "imageproc/rows/RowDispatch.h"
#include "support/GuardedBuffer.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <vector>

namespace vek {

inline void PrintTo(const STraits& traits, std::ostream* out) {
    *out << "kind " << static_cast<int>(traits.kind) << ", rows above " << traits.rowsAbove << " and below "
         << traits.rowsBelow << (traits.readsBehind ? ", reads behind" : "")
         << (traits.leavesOpen ? ", leaves open" : "") << ", " << traits.workBytes << " bytes of work, "
         << traits.resultBytes << " of result";
}

} // namespace vek

namespace vek::test {

/// The images that a stage is tried on: samples of a source and of a destination pixel, 4 with an unused one.
struct SBandImages {
    unsigned srcSamples = 1;
    unsigned dstSamples = 1;
    unsigned depth = 8;
    bool turned = false; ///< the destination has as many columns as the source has rows
};

/// Bytes of a work area whose end touches a protected page and whose start is aligned for what a stage keeps there.
inline std::size_t roundUpTo16(unsigned long bytes) {
    return (bytes + 15) / 16 * 16;
}

/// Runs a stage band by band and compares the bands with the whole frame at once. Every band has a source of just the
/// rows that the traits tell, a destination and a work area of just its size, each between protected pages. A serial
/// stage has its rows above in the destination, or, half the time where it may start there, in the source.
template <class T>
class CBandCheck {
public:
    CBandCheck(const rows::SRowTable& kernels, std::uint64_t seed) : mKernels(kernels), mSeed(seed), mRandom(seed) {}

    /// Whole frame into another image, in one band and in bands of random heights.
    template <class Stage>
    ::testing::AssertionResult Run(const Stage& stage, const SFrame& frame, const SBandImages& images) {
        Prepare(frame, images);
        return InBands(stage, stage.Traits(frame), frame, Whole(stage, frame, kCanvas));
    }

    /// The frame in its own place, and in bands of random heights into another image.
    template <class Stage>
    ::testing::AssertionResult RunInPlace(const Stage& stage, const SFrame& frame, const SBandImages& images) {
        Prepare(frame, images);
        std::vector<std::uint8_t> changed = mSource;
        const STraits traits = stage.Traits(frame);
        CGuardedBuffer<std::uint8_t> work(roundUpTo16(traits.workBytes), Flush::Right);
        const SRows<T> image = {mSrcPitch, reinterpret_cast<T*>(changed.data())};
        stage.Rows(mKernels, frame, wholeFrame(frame, image, work.data()));
        // What lies between pixels and rows is the destination's own.
        std::vector<std::uint8_t> whole = Canvas(kCanvas);
        for (unsigned long y = 0; y < frame.height; ++y) {
            for (unsigned long x = 0; x < frame.width; ++x) {
                const std::size_t pixel = x * images.dstSamples * sizeof(T);
                std::memcpy(whole.data() + y * mDstPitch + pixel, changed.data() + y * mSrcPitch + pixel,
                            std::min(images.dstSamples, 3U) * sizeof(T));
            }
        }
        return InBands(stage, traits, frame, whole);
    }

    /// What is measured in the whole frame, and the sum of what is measured in bands of it.
    template <class Stage>
    ::testing::AssertionResult RunReduction(const Stage& stage, const SFrame& frame, const SBandImages& images) {
        Prepare(frame, images);
        const auto* const data = reinterpret_cast<const T*>(mSource.data());
        const auto whole = stage.Measure(mKernels, frame, SSourceBand{{mSrcPitch, data}, 0, frame.height});
        decltype(stage.Measure(mKernels, frame, SSourceBand{})) sum{};
        ForBands(stage.Traits(frame), frame.height, [&](unsigned long first, unsigned long end, SRowRange rows) {
            CGuardedBuffer<std::uint8_t> src(SourceBytes(rows), Flush::Right);
            CopySource(rows, src);
            const auto* const there = reinterpret_cast<const T*>(src.data());
            sum.Add(stage.Measure(mKernels, frame, SSourceBand{{mSrcPitch, there, rows.first}, first, end}));
            return ::testing::AssertionSuccess();
        });
        return sum == whole ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "seed " << mSeed;
    }

    /// What the results of the whole frame show of the traits: the reach, whether samples behind the rows count and
    /// whether some are left open. The rest is what the stage tells.
    template <class Stage>
    STraits Observed(const Stage& stage, const SFrame& frame, const SBandImages& images) {
        Prepare(frame, images);
        mSrcPitch = mSrcRowBytes + 2 * sizeof(T);
        mSource.resize(mSrcPitch * frame.height);
        fillSamples(reinterpret_cast<T*>(mSource.data()), mSource.size() / sizeof(T), Pattern::Random, images.depth,
                    mRandom);
        const std::vector<std::uint8_t> whole = Whole(stage, frame, kCanvas);
        STraits traits = stage.Traits(frame);
        traits.rowsAbove = 0;
        traits.rowsBelow = 0;
        for (unsigned long y = 0; y < frame.height; ++y) {
            const std::vector<std::uint8_t> changed = WithInverted(stage, frame, y * mSrcPitch, mSrcRowBytes, images);
            for (unsigned long other = 0; other < mDstHeight; ++other) {
                const auto* const row = whole.data() + other * mDstPitch;
                if (std::equal(row, row + mDstRowBytes, changed.data() + other * mDstPitch)) {
                    continue;
                }
                traits.rowsAbove = std::max(traits.rowsAbove, static_cast<unsigned>(other > y ? other - y : 0));
                traits.rowsBelow = std::max(traits.rowsBelow, static_cast<unsigned>(y > other ? y - other : 0));
            }
        }
        traits.readsBehind = false;
        for (unsigned long y = 0; y < frame.height; ++y) {
            traits.readsBehind |= WithInverted(stage, frame, y * mSrcPitch + mSrcRowBytes, sizeof(T), images) != whole;
        }
        traits.leavesOpen = LeavesOpen(images, whole, Whole(stage, frame, static_cast<std::uint8_t>(~kCanvas)));
        return traits;
    }

    /// Whether another row dy rows below changes what a random frame's middle row becomes. It does so sooner or later
    /// for the outermost rows that the traits tell.
    template <class Stage>
    bool ReadsRow(const Stage& stage, const SFrame& frame, const SBandImages& images, long dy) {
        Prepare(frame, images);
        const std::vector<std::uint8_t> before = MiddleRow(stage, frame);
        const unsigned long y = frame.height / 2 + static_cast<unsigned long>(dy);
        fillSamples(reinterpret_cast<T*>(mSource.data() + y * mSrcPitch), mSrcRowBytes / sizeof(T), Pattern::Random,
                    images.depth, mRandom);
        return MiddleRow(stage, frame) != before;
    }

    CRandom& Random() { return mRandom; }
    /// Bands below the first one that a serial stage has started with the rows above it in the source.
    unsigned Started() const { return mStarted; }

private:
    static constexpr std::uint8_t kCanvas = 0x5A;

    void Prepare(const SFrame& frame, const SBandImages& images) {
        mDstWidth = images.turned ? frame.height : frame.width;
        mDstHeight = images.turned ? frame.width : frame.height;
        mSrcRowBytes = frame.width * images.srcSamples * sizeof(T);
        mDstRowBytes = mDstWidth * images.dstSamples * sizeof(T);
        // Even: images of bytes may hold words.
        mSrcPitch = mSrcRowBytes + 2 * mRandom.Below(4) * sizeof(T);
        mDstPitch = mDstRowBytes + mRandom.Below(8) * sizeof(T);
        // And the sample behind the last row.
        mSource.resize(mSrcPitch * frame.height + sizeof(T));
        fillSamples(reinterpret_cast<T*>(mSource.data()), mSource.size() / sizeof(T), kPatterns[mRandom.Below(4)],
                    images.depth, mRandom);
    }
    /// A destination with something in it.
    std::vector<std::uint8_t> Canvas(std::uint8_t seed) const {
        std::vector<std::uint8_t> canvas(mDstPitch * mDstHeight);
        for (std::size_t i = 0; i < canvas.size(); ++i) {
            canvas[i] = static_cast<std::uint8_t>(seed ^ i % 251);
        }
        return canvas;
    }
    /// What the frame in one band makes of a canvas.
    template <class Stage>
    std::vector<std::uint8_t> Whole(const Stage& stage, const SFrame& frame, std::uint8_t canvas) const {
        std::vector<std::uint8_t> whole = Canvas(canvas);
        CGuardedBuffer<std::uint8_t> work(roundUpTo16(stage.Traits(frame).workBytes), Flush::Right);
        stage.Rows(mKernels, frame,
                   SBand<T>{{mSrcPitch, reinterpret_cast<const T*>(mSource.data())},
                            {mDstPitch, reinterpret_cast<T*>(whole.data())},
                            0,
                            mDstHeight,
                            work.data()});
        return whole;
    }
    /// The same with other low bits in some bytes of the source, within its depth.
    template <class Stage>
    std::vector<std::uint8_t> WithInverted(const Stage& stage, const SFrame& frame, std::size_t first,
                                           std::size_t count, const SBandImages& images) {
        const std::vector<std::uint8_t> before = mSource;
        for (std::size_t i = first; i < first + count; ++i) {
            const bool high = sizeof(T) == 2 && i % 2 != 0;
            mSource[i] ^= static_cast<std::uint8_t>(high ? (1U << (images.depth - 8)) - 1 : 0xFF);
        }
        std::vector<std::uint8_t> changed = Whole(stage, frame, kCanvas);
        mSource = before;
        return changed;
    }
    /// Whether two canvases show through, but for fourth samples.
    bool LeavesOpen(const SBandImages& images, const std::vector<std::uint8_t>& one,
                    const std::vector<std::uint8_t>& other) const {
        const std::size_t pixel = images.dstSamples * sizeof(T);
        const std::size_t used = images.dstSamples == 4 ? 3 * sizeof(T) : pixel;
        for (unsigned long y = 0; y < mDstHeight; ++y) {
            for (unsigned long x = 0; x < mDstWidth; ++x) {
                const std::size_t at = y * mDstPitch + x * pixel;
                if (std::memcmp(one.data() + at, other.data() + at, used) != 0) {
                    return true;
                }
            }
        }
        return false;
    }

    /// Calls body(first, end, rows of the source) for bands of random heights, until one fails.
    template <class Body>
    ::testing::AssertionResult ForBands(const STraits& traits, unsigned long srcHeight, Body body) {
        unsigned long end = 0;
        for (unsigned long first = 0; first < mDstHeight; first = end) {
            end = std::min(mDstHeight, first + 1 + mRandom.Below(5));
            const ::testing::AssertionResult result = body(first, end, sourceRows(traits, srcHeight, first, end));
            if (!result) {
                return result;
            }
        }
        return ::testing::AssertionSuccess();
    }
    std::size_t SourceBytes(SRowRange rows) const { return (rows.end - rows.first - 1) * mSrcPitch + mSrcRowBytes; }
    void CopySource(SRowRange rows, CGuardedBuffer<std::uint8_t>& to) const {
        std::memcpy(to.data(), mSource.data() + rows.first * mSrcPitch, to.size());
    }

    /// A destination that holds the source: a serial stage finds the rows above there.
    template <class Stage>
    std::vector<std::uint8_t> MiddleRow(const Stage& stage, const SFrame& frame) const {
        std::vector<std::uint8_t> dst = mSource;
        std::vector<std::uint8_t> work(roundUpTo16(stage.Traits(frame).workBytes));
        const unsigned long y = frame.height / 2;
        stage.Rows(mKernels, frame,
                   SBand<T>{{mSrcPitch, reinterpret_cast<const T*>(mSource.data())},
                            {mSrcPitch, reinterpret_cast<T*>(dst.data())},
                            y,
                            y + 1,
                            work.data()});
        const std::uint8_t* const row = dst.data() + y * mSrcPitch;
        return {row, row + mSrcRowBytes};
    }

    template <class Stage>
    bool Starts(const Stage& stage, const SFrame& frame, unsigned long first) {
        if constexpr (requires(const SRows<const T>& source) { stage.StartsAt(frame, source, first); }) {
            const SRows<const T> source = {mSrcPitch, reinterpret_cast<const T*>(mSource.data())};
            const bool starts = mRandom.Below(2) == 0 && stage.StartsAt(frame, source, first);
            mStarted += starts && first != 0 ? 1 : 0;
            return starts;
        }
        return false;
    }

    template <class Stage>
    ::testing::AssertionResult InBands(const Stage& stage, const STraits& traits, const SFrame& frame,
                                       const std::vector<std::uint8_t>& whole) {
        const std::vector<std::uint8_t> canvas = Canvas(kCanvas);
        return ForBands(traits, frame.height, [&](unsigned long first, unsigned long end, SRowRange rows) {
            const unsigned long above = first - std::min<unsigned long>(first, traits.rowsAbove);
            const bool starts = traits.kind == EStage::Serial && Starts(stage, frame, first);
            const unsigned long dstFirst = traits.kind == EStage::Serial && !starts ? above : first;
            rows.first = starts ? above : rows.first;
            CGuardedBuffer<std::uint8_t> src(SourceBytes(rows) + (traits.readsBehind ? sizeof(T) : 0), Flush::Right);
            CopySource(rows, src);
            CGuardedBuffer<std::uint8_t> dst((end - dstFirst - 1) * mDstPitch + mDstRowBytes, Flush::Right);
            const std::size_t done = (first - dstFirst) * mDstPitch;
            std::memcpy(dst.data(), whole.data() + dstFirst * mDstPitch, done);
            std::memcpy(dst.data() + done, canvas.data() + first * mDstPitch, dst.size() - done);
            CGuardedBuffer<std::uint8_t> work(roundUpTo16(traits.workBytes), Flush::Right);
            stage.Rows(mKernels, frame,
                       SBand<T>{{mSrcPitch, reinterpret_cast<const T*>(src.data()), rows.first},
                                {mDstPitch, reinterpret_cast<T*>(dst.data()), dstFirst},
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
                std::memcmp(src.data(), mSource.data() + rows.first * mSrcPitch, src.size()) != 0) {
                return ::testing::AssertionFailure() << "seed " << mSeed << ": wrote outside of the band";
            }
            return ::testing::AssertionSuccess();
        });
    }

    const rows::SRowTable& mKernels;
    std::uint64_t mSeed;
    CRandom mRandom;
    unsigned mStarted = 0;
    unsigned long mDstWidth = 0;
    unsigned long mDstHeight = 0;
    std::size_t mSrcRowBytes = 0;
    std::size_t mDstRowBytes = 0;
    std::size_t mSrcPitch = 0;
    std::size_t mDstPitch = 0;
    std::vector<std::uint8_t> mSource;
};

/// Random colour frames of one format, in place and in bands. settings(module, random, bits) makes a module's settings.
template <class T, class Module, class Settings>
void tryColorBands(unsigned long format, unsigned samples, unsigned short bits, Settings settings) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        CBandCheck<T> check(rows::bestTable(), seed);
        CRandom& random = check.Random();
        Module module(rows::bestTable());
        settings(module, random, bits);
        const SFrame frame = {1 + random.Below(150), 1 + random.Below(12), format, 0, bits};
        ASSERT_TRUE(check.RunInPlace(module.Stage(), frame, {samples, samples, bits}));
    }
}

/// The same for all four colour formats. fourBits: depth of words with a fourth sample.
template <class Module, class Settings>
void tryAllColorBands(unsigned short fourBits, Settings settings) {
    tryColorBands<std::uint8_t, Module>(VEK_DESTINATION_BGR24, 3, 8, settings);
    tryColorBands<std::uint8_t, Module>(VEK_DESTINATION_BGRX32, 4, 8, settings);
    tryColorBands<std::uint16_t, Module>(VEK_DESTINATION_BGR48, 3, 12, settings);
    tryColorBands<std::uint16_t, Module>(VEK_DESTINATION_BGRX64, 4, fourBits, settings);
}

} // namespace vek::test
