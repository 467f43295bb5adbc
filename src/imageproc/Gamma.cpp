// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Gamma.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/PixelFormat.h"
#include "common/Status.h"
#include "imageproc/ColorSpace.h"
#include "imageproc/CurveSegments.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vek {

namespace {

constexpr unsigned short kMaxDepth = 12;
constexpr unsigned kMaxValue8 = 255;
constexpr unsigned kMaxValue16 = 4095;
constexpr unsigned short kUnityGamma = 100;

/// Samples from one pixel to the next, as the luma pass counts them. Fixed behaviour: they are its bytes, so that a
/// colour image of words is walked in steps of twice its pixels, along rows of twice their length.
unsigned long stepOf(unsigned long pixelFormat) {
    const unsigned samples = std::max(colorSamples(pixelFormat), 1U);
    return isOfWords(pixelFormat) ? 2 * samples : samples;
}

/// value without its fraction, modulo 65536; 0 where it is no number.
unsigned short wrap(double value) {
    const double rest = std::fmod(std::trunc(value), 65536.0);
    return rest == rest ? static_cast<unsigned short>(static_cast<int>(rest)) : static_cast<unsigned short>(0);
}

using Table = decltype(SGammaCurve::words);

/// Identity up to the depth's largest value, and that one above.
void resetTable(Table& table, unsigned short bits) {
    const unsigned maxValue = (1U << std::min(bits, kMaxDepth)) - 1;
    for (unsigned i = 0; i < table.size(); ++i) {
        table[i] = static_cast<unsigned short>(std::min(i, maxValue));
    }
}

/// The depth's entries end for end.
void reverseTable(Table& table, unsigned short bits) {
    std::reverse(table.begin(), table.begin() + (1L << std::min(bits, kMaxDepth)));
}

/// Entries above the depth stay as they are. gamma: not 0.
void expandTable(unsigned short gamma, short brightness, unsigned short contrast, Table& table, unsigned short bits) {
    const int maxValue = (1 << std::min(bits, kMaxDepth)) - 1;
    const double exponent = 100.0 / gamma;
    const int margin = std::min<int>(contrast, maxValue / 2);
    // Fixed behaviour: 255 at every depth, here and below.
    const double slope = 255.0 / (255.0 - 2 * margin);
    for (int i = 0; i <= maxValue; ++i) {
        const int level = i + brightness;
        unsigned short& entry = table[static_cast<std::size_t>(i)];
        if (level > maxValue) {
            entry = 255;
        } else if (level < 0 || level <= margin) {
            entry = 0;
        } else if (level >= maxValue - margin) {
            entry = static_cast<unsigned short>(maxValue);
        } else {
            const double x = (level - margin) * slope;
            const double value = maxValue * std::pow(x / maxValue, exponent) + 0.5;
            entry = x >= maxValue || value > maxValue ? static_cast<unsigned short>(maxValue) : wrap(value);
        }
    }
}

/// Even and odd columns of a row through their curves.
template <class T>
void lookUpRow(const rows::SRowTable& kernels, T* row, unsigned long width, const SGammaCurve& even,
               const SGammaCurve& odd) {
    if constexpr (sizeof(T) == 1) {
        kernels.curves8.lookUp(row, width, even.Entries<T>(), odd.Entries<T>());
    } else {
        kernels.wordCurves.lookUp(row, width, even.Words(), odd.Words());
    }
}

} // namespace

rows::SToneCurve SGammaCurve::Words() const {
    rows::SToneCurve curve = {};
    curve.entries = words.data();
    curve.shift = rows::SToneCurve::kStepShift;
    curve.bySteps = true;
    if (mState == ESegments::Found) {
        curve.segments = &mSegments;
        curve.exceptions = mExceptions;
        std::copy(mException.begin(), mException.end(), curve.exception);
    }
    return curve;
}

void SGammaCurve::SeekSegments() {
    if (mState != ESegments::NotSought) {
        return;
    }
    rows::SToneCurve curve = Words();
    fitSegments(curve, mSegments);
    // With more exceptions than this, loads are faster in noise.
    constexpr unsigned most = 4;
    mState = curve.segments == nullptr || curve.exceptions > most ? ESegments::None : ESegments::Found;
    mExceptions = curve.exceptions;
    std::copy(curve.exception, curve.exception + mException.size(), mException.begin());
}

void SRawGammaStage::SeekSegments(const rows::SRowTable& kernels) {
    if (on && kernels.segments) {
        for (auto curve = curves.begin(); curve != curves.end(); ++curve) {
            const auto like = std::find_if(curves.begin(), curve,
                                           [&](const SGammaCurve& earlier) { return earlier.words == curve->words; });
            *curve = *like;
            curve->SeekSegments();
        }
    }
}

STraits SRawGammaStage::Traits(const SFrame& frame) const {
    if (frame.colorArray == VEK_COLOR_ARRAY_MONO || !on) {
        return {};
    }
    return {.kind = EStage::Pointwise};
}

template <class T>
void SRawGammaStage::Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const {
    const PhaseSlots slots = phaseSlots(frame.colorArray);
    forBandRows(frame, band, 1, [&](T* row, unsigned long y) {
        const auto [even, odd] = rowSlots(slots, y);
        lookUpRow(kernels, row, frame.width, curves[even], curves[odd]);
    });
}
template void SRawGammaStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned char>&) const;
template void SRawGammaStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned short>&) const;

void SLumaGammaStage::SeekSegments(const rows::SRowTable& kernels) {
    if (on && kernels.segments) {
        curve.SeekSegments();
    }
}

STraits SLumaGammaStage::Traits(const SFrame& frame) const {
    if (!on) {
        return {};
    }
    return {.kind = colorSamplesOf(frame.pixelFormat, true) != 0 ? EStage::WholeFrame : EStage::Pointwise};
}

template <class T>
void SLumaGammaStage::Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const {
    const unsigned samples = colorSamples(frame.pixelFormat);
    if (samples == 0) {
        forBandRows(frame, band, 1, [&](T* row, unsigned long) { lookUpRow(kernels, row, frame.width, curve, curve); });
        return;
    }
    const auto lumaCurve = rows::colorRows<T>(kernels).lumaCurve;
    const rows::SToneCurve words = curve.Words();
    const rows::SLumaCurve levels = {curve.words.data(), bytesAreLevels ? curve.bytes.data() : nullptr, &words};
    const unsigned long step = stepOf(frame.pixelFormat);
    const unsigned maxValue = sizeof(T) == 1 ? kMaxValue8 : kMaxValue16;
    forBandRows(frame, band, samples,
                [&](T* row, unsigned long) { lumaCurve(row, frame.width, step, kLumaTables, levels, maxValue); });
}
template void SLumaGammaStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned char>&) const;
template void SLumaGammaStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned short>&) const;

CGamma::CGamma(const rows::SRowTable& rows) : mRows(rows) {
    for (unsigned char channel = 0; channel < kChannels; ++channel) {
        resetTable(Curve(channel).words, 8);
        Store(channel, {VEK_GAMMA_OFF, kUnityGamma, 0, 0, 8});
    }
}

SGammaCurve& CGamma::Curve(unsigned char channel) {
    return channel == VEK_GAMMA_Y ? mLuma.curve : mRaw.curves[channel - std::size_t{VEK_GAMMA_R}];
}

/// The channel's settings, and what follows from them and from its new table of words.
void CGamma::Store(unsigned char channel, const SChannel& settings) {
    mChannels[channel] = settings;
    SGammaCurve& curve = Curve(channel);
    curve.WordsChange();
    std::transform(curve.words.begin(), curve.words.begin() + curve.bytes.size(), curve.bytes.begin(),
                   [](unsigned short entry) { return static_cast<unsigned char>(entry); });
    if (channel == VEK_GAMMA_Y) {
        mLuma.on = settings.mode != VEK_GAMMA_OFF;
        mLuma.bytesAreLevels = std::equal(curve.bytes.begin(), curve.bytes.end(), curve.words.begin());
    }
    mRaw.on = std::any_of(mChannels.begin() + VEK_GAMMA_R, mChannels.end(),
                          [](const SChannel& raw) { return raw.mode != VEK_GAMMA_OFF; });
}

unsigned long CGamma::GetMode(unsigned char channel, unsigned char* mode, unsigned short* gamma, short* brightness,
                              void* contrast, void* table, unsigned short* bits) {
    if (channel >= mChannels.size()) {
        return kInvalid;
    }
    const unsigned depth = bits == nullptr ? 8 : std::clamp<unsigned>(*bits, 8, kMaxDepth);
    const SChannel& settings = mChannels[channel];
    if (mode != nullptr) {
        *mode = settings.mode;
    }
    if (gamma != nullptr) {
        *gamma = settings.gamma;
    }
    if (brightness != nullptr) {
        *brightness = settings.brightness;
    }
    if (contrast != nullptr) {
        // The caller's memory may have any alignment.
        const auto low = static_cast<unsigned char>(settings.contrast);
        depth == 8 ? std::memcpy(contrast, &low, sizeof low)
                   : std::memcpy(contrast, &settings.contrast, sizeof settings.contrast);
    }
    if (table != nullptr) {
        const SGammaCurve& curve = Curve(channel);
        depth == 8 ? std::memcpy(table, curve.bytes.data(), curve.bytes.size())
                   : std::memcpy(table, curve.words.data(), sizeof(unsigned short) << depth);
    }
    if (bits != nullptr) {
        *bits = settings.bits;
    }
    return kOk;
}

unsigned long CGamma::SetMode(unsigned char channel, unsigned char mode, unsigned short gamma, short brightness,
                              unsigned short contrast, const void* table, unsigned short bits) {
    if (channel >= mChannels.size() || bits > kMaxDepth) {
        return kInvalid;
    }
    Table& words = Curve(channel).words;
    switch (mode) {
    case VEK_GAMMA_TABLE:
        if (table == nullptr) {
            return kInvalid;
        }
        if (bits <= 8) {
            const auto* const bytes = static_cast<const unsigned char*>(table);
            std::copy(bytes, bytes + (1L << bits), words.begin());
        } else {
            std::memcpy(words.data(), table, sizeof(unsigned short) << bits);
        }
        break;
    case VEK_GAMMA_CURVE:
    case VEK_GAMMA_NEGATIVE:
        if (gamma == 0) {
            return kInvalid;
        }
        expandTable(gamma, brightness, contrast, words, bits);
        if (mode == VEK_GAMMA_NEGATIVE) {
            reverseTable(words, bits);
        }
        Store(channel, {mode, gamma, brightness, contrast, bits});
        return kOk;
    case VEK_GAMMA_OFF:
        resetTable(words, bits);
        break;
    default:
        return kInvalid;
    }
    Store(channel, {mode, kUnityGamma, 0, 0, bits});
    return kOk;
}

template <class T>
unsigned long CGamma::ProcColorRaw(unsigned long width, unsigned long height, unsigned long pitch,
                                   unsigned short colorArray, T* image) const {
    const SFrame frame = {width, height, 0, colorArray, 0};
    if (mRaw.Traits(frame).kind == EStage::None) {
        return kOk;
    }
    return runInPlace(mRaw, mRows, frame, SRows<T>{pitchOr<T>(pitch, width), image});
}

template <class T>
unsigned long CGamma::ProcBGROrGray(unsigned long width, unsigned long height, unsigned long pitch,
                                    unsigned long pixelFormat, T* image) const {
    if (!mLuma.on) {
        return kOk;
    }
    constexpr bool words = sizeof(T) != 1;
    const bool color = colorSamplesOf(pixelFormat, words) != 0;
    const bool gray = words ? isMono10Or12(pixelFormat) : pixelFormat == VEK_DESTINATION_MONO8;
    if (!color && !gray) {
        return kInvalid;
    }
    pitch = pitchOr<T>(pitch, stepOf(pixelFormat) * width);
    return runInPlace(mLuma, mRows, {width, height, pixelFormat, 0, 0}, SRows<T>{pitch, image});
}

unsigned long CGamma::ProcColorRawB(unsigned long width, unsigned long height, unsigned long pitch,
                                    unsigned short colorArray, unsigned char* image) {
    return ProcColorRaw(width, height, pitch, colorArray, image);
}

unsigned long CGamma::ProcColorRawW(unsigned long width, unsigned long height, unsigned long pitch,
                                    unsigned short colorArray, unsigned short* image) {
    SeekRawSegments();
    return ProcColorRaw(width, height, pitch, colorArray, image);
}

unsigned long CGamma::ProcBGROrGrayB(unsigned long width, unsigned long height, unsigned long pitch,
                                     unsigned long pixelFormat, unsigned char* image) {
    return ProcBGROrGray(width, height, pitch, pixelFormat, image);
}

unsigned long CGamma::ProcBGROrGrayW(unsigned long width, unsigned long height, unsigned long pitch,
                                     unsigned long pixelFormat, unsigned short* image) {
    SeekLumaSegments();
    return ProcBGROrGray(width, height, pitch, pixelFormat, image);
}

} // namespace vek
