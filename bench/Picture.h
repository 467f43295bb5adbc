// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Operation.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace vek::bench {

/// Bytes, or 12 bits in words, of an image. It is one band of rows over and over: an image is restored from so few
/// bytes that the caches go on holding the image itself. Branches that depend on samples are not learnt from a band.
template <class T>
class CPicture {
public:
    CPicture(SInput input, std::size_t samplesPerPixel)
        : mSamples(input.size.Pixels() * samplesPerPixel),
          mBand(input.size.width * samplesPerPixel * std::min(input.size.height, kBandRows)) {
        constexpr std::uint32_t maxValue = (1U << kDepth<T>)-1;
        std::uint32_t state = 1;
        for (std::size_t i = 0; i < mBand.size(); ++i) {
            state = state * 1664525U + 1013904223U;
            const std::uint32_t noise = state >> (32 - kDepth<T>);
            switch (input.content) {
            case EContent::Picture:
                mBand[i] = static_cast<T>(std::min(Level(input.size, i, samplesPerPixel) + (noise >> 5), maxValue));
                break;
            case EContent::Flat:
                mBand[i] = static_cast<T>((maxValue + 1) / 2);
                break;
            case EContent::Noise:
                mBand[i] = static_cast<T>(noise);
                break;
            case EContent::Clipped:
                mBand[i] = static_cast<T>(maxValue);
                break;
            }
        }
    }
    std::size_t Samples() const { return mSamples; }
    const std::vector<T>& Band() const { return mBand; }

    void Fill(T* image) const {
        for (std::size_t done = 0; done < mSamples;) {
            const std::size_t count = std::min(mBand.size(), mSamples - done);
            std::copy_n(mBand.data(), count, image + done);
            done += count;
        }
    }

private:
    static constexpr unsigned long kBandRows = 32;

    /// Up and down again in five sixths of a row, a third of a turn later for each further sample of a pixel.
    static std::uint32_t Level(SSize size, std::size_t i, std::size_t samplesPerPixel) {
        const std::size_t pixel = i / samplesPerPixel;
        const std::size_t column = pixel % size.width * kFrame.width / size.width;
        const std::size_t turn = column + 2 * (pixel / size.width) + 683 * (i % samplesPerPixel);
        const std::size_t phase = turn / 4 % 512;
        const std::size_t level = phase < 256 ? phase : 511 - phase;
        return static_cast<std::uint32_t>(level << (kDepth<T> - 8));
    }

    std::size_t mSamples;
    std::vector<T> mBand;
};

/// An image of the picture's samples, and a few behind it: odd widths may read one.
template <class T>
std::vector<T> makeImage(const CPicture<T>& picture) {
    std::vector<T> image(picture.Samples() + 8);
    picture.Fill(image.data());
    return image;
}

/// call(image) changes an image in place. Each call gets the picture anew: what the one before left could be easier.
template <class T, class Call>
SJob inPlaceJob(CPicture<T> picture, Call call) {
    struct SState {
        CPicture<T> picture;
        std::vector<T> image;
        Call call;
    };
    std::vector<T> image = makeImage(picture);
    const auto state = std::make_shared<SState>(SState{std::move(picture), std::move(image), std::move(call)});
    return {[state] { state->call(state->image.data()); }, [state] { state->picture.Fill(state->image.data()); }};
}

/// call(source, destination) leaves the source alone; the destination has so many samples.
template <class Dst, class Src, class Call>
SJob conversionJob(const CPicture<Src>& picture, std::size_t dstSamples, Call call) {
    struct SState {
        std::vector<Src> src;
        std::vector<Dst> dst;
        Call call;
    };
    const auto state =
        std::make_shared<SState>(SState{makeImage(picture), std::vector<Dst>(dstSamples), std::move(call)});
    return {[state] { state->call(state->src.data(), state->dst.data()); }, {}};
}

} // namespace vek::bench
