// SPDX-License-Identifier: Apache-2.0
#include "client/develop/Developer.h"

#include "client/Errors.h"
#include "client/develop/Highlights.h"
#include "client/develop/Tone.h"
#include "client/stages/Conversion.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace vek::client {

namespace {

constexpr int kLargest12 = 4095;
/// Room below black, samples of 12 bits: noise there is kept until the tone curve, or shadows would become too bright.
constexpr unsigned kRoomBelowBlack = 128;
constexpr double kUnit = 4096; ///< of the chain's factors
constexpr int kLargestFactor = 32767;

/// A factor of the chain, -8 to 8.
int chainFactor(double factor, const char* settings) {
    const double units = std::round(factor * kUnit);
    if (!(std::abs(units) <= kLargestFactor)) {
        throw CMisfit(fmt::format("{} make a factor of {:.4g}: there are none beyond 8", settings, factor));
    }
    return static_cast<int>(units);
}

/// Rows of a matrix whose sums stay what they were, that of white being 1: what rounding takes away goes to the row's
/// largest factor, as far as there is room.
VekChainLinearMatrix chainMatrix(const Matrix3& matrix) {
    VekChainLinearMatrix chain{};
    chain.size = sizeof chain;
    for (std::size_t row = 0; row < 3; ++row) {
        int factors[3] = {};
        int sum = 0;
        double wholeSum = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            factors[i] = chainFactor(matrix[row][i], "<matrix>");
            sum += factors[i];
            wholeSum += matrix[row][i];
        }
        int& largest = *std::max_element(factors, factors + 3);
        largest = std::min(largest + static_cast<int>(std::lround(wholeSum * kUnit)) - sum, kLargestFactor);
        std::transform(factors, factors + 3, chain.factor[row],
                       [](int factor) { return static_cast<std::int16_t>(factor); });
    }
    return chain;
}

/// Offsets that leave the sample of black where it is.
void keepPedestal(VekChainLinearMatrix& matrix, unsigned pedestal) {
    for (std::size_t row = 0; row < 3; ++row) {
        const int sum = matrix.factor[row][0] + matrix.factor[row][1] + matrix.factor[row][2];
        const double moved = pedestal * (1 - sum / kUnit);
        matrix.offset[row] = static_cast<std::int16_t>(std::clamp(std::lround(moved), -16384L, 16383L));
    }
}

Vector3 matrixed(const std::optional<Matrix3>& matrix, const Vector3& color) {
    return matrix ? *matrix * color : color;
}

} // namespace

CDeveloper::CDeveloper(const CLibraryHandle& library, const SDeveloping& developing)
    : mLibrary(library), mDeveloping(developing) {
    const SDevelopment& development = developing.development;
    const STransferFormat& format = *development.format;
    const bool bayer = isBayer(developing.colorArray);
    setCorrections(library, developing.corrections, *developing.format,
                   {developing.width, developing.height, developing.colorArray, format.depth, {}});
    if (development.sharpness) {
        requireOk(VekCam_SetSharpnessMode(library.Get(), 1, development.sharpness->gain, development.sharpness->coring),
                  "sharpness");
    }
    SChainDescription description(format.code, developing.width, developing.height, developing.colorArray,
                                  developing.gray ? VEK_CHAIN_MONO : VEK_CHAIN_RGB);
    VekChainDescription& chain = description.chain;
    chain.demosaic = developing.gray ? static_cast<unsigned>(VEK_DEMOSAIC_MONO) : developing.method;
    chain.noise = developing.corrections.noise.value_or(VEK_NOISE_OFF);
    chain.stages = (developing.corrections.shadingPath.empty() ? 0U : unsigned{VEK_CHAIN_SHADING}) |
                   (development.sharpness ? unsigned{VEK_CHAIN_SHARPNESS} : 0U);

    // Levels.
    const bool blend = development.highlights == EHighlights::Blend && bayer && !developing.gray;
    mLargestGain = *std::ranges::max_element(development.gains);
    const bool dark = std::ranges::any_of(development.black, [](double level) { return level > 0; });
    mPedestal = dark ? kRoomBelowBlack : 0;
    const double to12 = std::ldexp(1.0, 12 - static_cast<int>(format.depth));
    const PhaseSlots slots = phaseSlots(developing.colorArray);
    VekChainLevels levels{};
    levels.size = sizeof levels;
    levels.pedestal = static_cast<std::uint16_t>(mPedestal);
    for (std::size_t i = 0; i < std::size(levels.gain); ++i) {
        // Blended highlights need all colours up to where each is saturated.
        const double balance = (bayer ? development.gains[slots[i]] : 1) / (blend ? mLargestGain : 1);
        const double range = (development.white - development.black[i]) * to12;
        levels.black[i] = static_cast<std::uint16_t>(std::lround(development.black[i] * to12));
        levels.gain[i] = static_cast<std::uint16_t>(
            chainFactor(balance * (kLargest12 - mPedestal) / range, "<black>, <white> and <wb>"));
    }
    chain.levels = &levels;

    // Colours and tone.
    VekChainLinearMatrix matrix{};
    VekChainTone tone{};
    mTone = toneTable(development.tone, mPedestal, development.exposure, developing.bits);
    if (blend) {
        mTone = toneTable(development.tone, 0, 1, developing.bits);
    } else {
        if (development.matrix && !developing.gray) {
            matrix = chainMatrix(*development.matrix);
            keepPedestal(matrix, mPedestal);
            chain.linearMatrix = &matrix;
        }
        tone.size = sizeof tone;
        tone.curve = VEK_CHAIN_CURVE_TABLE;
        std::ranges::fill(tone.table, mTone.data());
        tone.entries = mTone.size();
        chain.tone = &tone;
        description.picture.depth = developing.bits;
    }
    std::string reason;
    mChain = CChainRun::Make(library.Get(), description, developing.threads, reason);
    if (!mChain) {
        throw CBadArguments(fmt::format("the frame cannot be developed so: {}", reason));
    }
}

SPictureView CDeveloper::Blended(const SPictureView& linear) {
    const SDevelopment& development = mDeveloping.development;
    const auto* from = static_cast<const std::uint16_t*>(linear.samples);
    SPictureView picture = linear;
    picture.depth = mDeveloping.bits;
    mBlended.resize(picture.RowBytes() * picture.height);
    picture.samples = mBlended.data();
    // The colour that is saturated first is so at 1.
    const double scale = mLargestGain / (kLargest12 - mPedestal);
    // Where all are saturated, they come out at the mean of the factors.
    const std::array<double, 4>& gains = development.gains;
    const double whitest = (gains[kSlotR] + (gains[kSlotGr] + gains[kSlotGb]) / 2 + gains[kSlotB]) / 3;
    const std::size_t pixels = std::size_t{picture.width} * picture.height;
    for (std::size_t i = 0; i < pixels; ++i, from += 3) {
        Vector3 color{};
        std::transform(from, from + 3, color.begin(),
                       [&](int sample) { return (sample - static_cast<int>(mPedestal)) * scale; });
        color = matrixed(development.matrix, blendedHighlights(color));
        const double brightest = *std::ranges::max_element(color);
        const double shoulder = brightest > 0 ? rolledOff(brightest, whitest) / brightest : 1;
        for (std::size_t c = 0; c < 3; ++c) {
            const double light = std::clamp(color[c] * shoulder * development.exposure, 0.0, 1.0);
            const std::uint16_t value = mTone[static_cast<std::size_t>(std::lround(light * kLargest12))];
            if (picture.depth == 8) {
                mBlended[3 * i + c] = static_cast<std::uint8_t>(value);
            } else {
                reinterpret_cast<std::uint16_t*>(mBlended.data())[3 * i + c] = value;
            }
        }
    }
    return picture;
}

SPictureView CDeveloper::Picture(std::span<const std::uint8_t> bytes) {
    const SDevelopment& development = mDeveloping.development;
    const STransferFormat& format = *mDeveloping.format;
    std::vector<std::uint8_t> linear;
    if (!development.linearization.empty()) {
        const STransferredFrame frame = unpackedFrame(
            mLibrary,
            {&format, mDeveloping.width, mDeveloping.height, mDeveloping.colorArray, {bytes.begin(), bytes.end()}},
            mDeveloping.threads);
        linear = linearizedWords(frame.bytes, frame.format->layout == ELayout::Words, development.linearization);
        bytes = linear;
    }
    if (exceedsRange(bytes, *development.format)) {
        if (linear.empty()) {
            linear.assign(bytes.begin(), bytes.end());
            bytes = linear;
        }
        limitWords(linear, maxSample(development.format->depth));
    }
    SPictureView picture = mChain->Develop(bytes);
    if (picture.depth != mDeveloping.bits) {
        picture = Blended(picture);
    }
    return mDeveloping.turning.Any() ? turned(picture, mDeveloping.turning, mTurned) : picture;
}

} // namespace vek::client
