// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Gamma.h"

#include "VekTrgApi.h"
#include "common/Bayer.h"
#include "common/Image.h"
#include "common/PixelFormat.h"
#include "common/Status.h"
#include "imageproc/ColorSpace.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vek {

namespace {

constexpr unsigned short kMaxDepth = 12;
constexpr unsigned kMaxValue8 = 255;
constexpr unsigned kMaxValue16 = 4095;
constexpr unsigned short kUnityGamma = 100;

/// Bytes of a pixel as the luma pass counts them.
unsigned long mulPixelSize(unsigned long pixelFormat) {
    const unsigned samples = colourSamples(pixelFormat);
    if (samples != 0) {
        return isOfWords(pixelFormat) ? 2 * samples : samples;
    }
    return isGreyOfWords(pixelFormat) ? 2 : 1;
}

/// Channel of a raw image's colour slot.
std::size_t channelOf(EColourSlot slot) {
    return std::size_t{VEK_GAMMA_R} + slot;
}

/// value without its fraction, modulo 65536; 0 where it is no number.
unsigned short mwWrap(double value) {
    const double rest = std::fmod(std::trunc(value), 65536.0);
    return rest == rest ? static_cast<unsigned short>(static_cast<int>(rest)) : static_cast<unsigned short>(0);
}

} // namespace

CGamma::CGamma(const rows::SRowTable& rows) : mRows(rows) {
    for (unsigned char channel = 0; channel < kChannels; ++channel) {
        mResetGammaTable(mwTable[channel], 8);
        mvStore(channel, VEK_GAMMA_OFF, kUnityGamma, 0, 0, 8);
    }
}

void CGamma::mvStore(unsigned char channel, unsigned char mode, unsigned short gamma, short brightness,
                     unsigned short contrast, unsigned short bits) {
    mMode[channel] = mode;
    mwGamma[channel] = gamma;
    mBrightness[channel] = brightness;
    mwContrast[channel] = contrast;
    mwBits[channel] = bits;
    std::transform(mwTable[channel].begin(), mwTable[channel].begin() + kEntries8, mTable8[channel].begin(),
                   [](unsigned short entry) { return static_cast<unsigned char>(entry); });
    if (channel == VEK_GAMMA_Y) {
        mbBytes = std::equal(mTable8[channel].begin(), mTable8[channel].end(), mwTable[channel].begin());
    }
}

template <>
const unsigned char* CGamma::mpCurve(std::size_t channel) const {
    return mTable8[channel].data();
}
template <>
const unsigned short* CGamma::mpCurve(std::size_t channel) const {
    return mwTable[channel].data();
}

/// Identity up to the depth's largest value, and that one above.
void CGamma::mResetGammaTable(Table& table, unsigned short bits) {
    const unsigned maxValue = (1U << std::min(bits, kMaxDepth)) - 1;
    for (unsigned i = 0; i < kEntries; ++i) {
        table[i] = static_cast<unsigned short>(std::min(i, maxValue));
    }
}

/// The depth's entries end for end.
void CGamma::mReverseGammaTable(Table& table, unsigned short bits) {
    std::reverse(table.begin(), table.begin() + (1L << std::min(bits, kMaxDepth)));
}

/// Entries above the depth stay as they are.
unsigned long CGamma::mExpandGammaTable(unsigned short gamma, short brightness, unsigned short contrast, Table& table,
                                        unsigned short bits) {
    if (gamma == 0) {
        return kInvalid;
    }
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
            entry = x >= maxValue || value > maxValue ? static_cast<unsigned short>(maxValue) : mwWrap(value);
        }
    }
    return kOk;
}

unsigned long CGamma::GetMode(unsigned char channel, unsigned char* mode, unsigned short* gamma, short* brightness,
                              void* contrast, void* table, unsigned short* bits) {
    if (channel >= kChannels) {
        return kInvalid;
    }
    const unsigned depth = bits == nullptr ? 8 : std::clamp<unsigned>(*bits, 8, kMaxDepth);
    if (mode != nullptr) {
        *mode = mMode[channel];
    }
    if (gamma != nullptr) {
        *gamma = mwGamma[channel];
    }
    if (brightness != nullptr) {
        *brightness = mBrightness[channel];
    }
    if (contrast != nullptr) {
        // The caller's memory may have any alignment.
        const auto low = static_cast<unsigned char>(mwContrast[channel]);
        depth == 8 ? std::memcpy(contrast, &low, sizeof low)
                   : std::memcpy(contrast, &mwContrast[channel], sizeof mwContrast[channel]);
    }
    if (table != nullptr) {
        depth == 8 ? std::memcpy(table, mTable8[channel].data(), kEntries8)
                   : std::memcpy(table, mwTable[channel].data(), sizeof(unsigned short) << depth);
    }
    if (bits != nullptr) {
        *bits = mwBits[channel];
    }
    return kOk;
}

unsigned long CGamma::SetMode(unsigned char channel, unsigned char mode, unsigned short gamma, short brightness,
                              unsigned short contrast, const void* table, unsigned short bits) {
    if (channel >= kChannels || bits > kMaxDepth) {
        return kInvalid;
    }
    Table& curve = mwTable[channel];
    switch (mode) {
    case VEK_GAMMA_TABLE:
        if (table == nullptr) {
            return kInvalid;
        }
        if (bits <= 8) {
            const auto* const bytes = static_cast<const unsigned char*>(table);
            std::copy(bytes, bytes + (1L << bits), curve.begin());
        } else {
            std::memcpy(curve.data(), table, sizeof(unsigned short) << bits);
        }
        break;
    case VEK_GAMMA_CURVE:
    case VEK_GAMMA_NEGATIVE:
        if (mExpandGammaTable(gamma, brightness, contrast, curve, bits) != kOk) {
            return kInvalid;
        }
        if (mode == VEK_GAMMA_NEGATIVE) {
            mReverseGammaTable(curve, bits);
        }
        mvStore(channel, mode, gamma, brightness, contrast, bits);
        return kOk;
    case VEK_GAMMA_OFF:
        mResetGammaTable(curve, bits);
        break;
    default:
        return kInvalid;
    }
    mvStore(channel, mode, kUnityGamma, 0, 0, bits);
    return kOk;
}

template <class T>
unsigned long CGamma::ProcColorRaw(unsigned long width, unsigned long height, unsigned long lineBytes,
                                   unsigned short colorArray, T* image) const {
    if (colorArray == VEK_COLOR_ARRAY_MONO) {
        return kOk;
    }
    lineBytes = pitchOr<T>(lineBytes, width);
    // One curve is enough for all four: the tables of channels that are off then limit samples to their own depth.
    if (std::all_of(mMode.begin() + VEK_GAMMA_R, mMode.end(), [](unsigned char m) { return m == VEK_GAMMA_OFF; })) {
        return kOk;
    }
    const PhaseSlots slots = phaseSlots(colorArray);
    const auto lookUp = rows::curveRows<T>(mRows).lookUp;
    return SImage<T>{width, height, lineBytes, image}.forRows([&](T* row, unsigned long y) {
        lookUp(row, width, mpCurve<T>(channelOf(slots[2 * (y % 2)])), mpCurve<T>(channelOf(slots[2 * (y % 2) + 1])));
    });
}

template <class T>
unsigned long CGamma::mProcGray(unsigned long width, unsigned long height, unsigned long lineBytes, T* image) const {
    const auto lookUp = rows::curveRows<T>(mRows).lookUp;
    const T* const curve = mpCurve<T>(VEK_GAMMA_Y);
    return SImage<T>{width, height, lineBytes, image}.forRows(
        [&](T* row, unsigned long) { lookUp(row, width, curve, curve); });
}

template <class T>
unsigned long CGamma::mProcBGR(unsigned long width, unsigned long height, unsigned long lineBytes, unsigned long step,
                               T* image, unsigned maxValue) const {
    const auto lumaCurve = rows::colourRows<T>(mRows).lumaCurve;
    const rows::SLumaCurve curve = {mwTable[VEK_GAMMA_Y].data(), mbBytes ? mTable8[VEK_GAMMA_Y].data() : nullptr};
    return SImage<T>{width, height, lineBytes, image}.forRows(
        [&](T* row, unsigned long) { lumaCurve(row, width, step, kLumaTables, curve, maxValue); });
}

template <class T>
unsigned long CGamma::ProcBGROrGray(unsigned long width, unsigned long height, unsigned long lineBytes,
                                    unsigned long pixelFormat, T* image) const {
    // Fixed behaviour: the size of a pixel counts bytes, but serves as a number of samples from here on. A colour image
    // of words is walked in steps of twice its pixels, along lines of twice their length.
    const unsigned long pixelSize = mulPixelSize(pixelFormat);
    lineBytes = pitchOr<T>(lineBytes, pixelSize * width);
    if (mMode[VEK_GAMMA_Y] == VEK_GAMMA_OFF) {
        return kOk;
    }
    constexpr bool words = sizeof(T) != 1;
    if (colourSamples(pixelFormat) != 0 && isOfWords(pixelFormat) == words) {
        return mProcBGR(width, height, lineBytes, pixelSize, image, words ? kMaxValue16 : kMaxValue8);
    }
    const bool grey = words ? pixelFormat == VEK_DESTINATION_MONO10 || pixelFormat == VEK_DESTINATION_MONO12
                            : pixelFormat == VEK_DESTINATION_MONO8;
    return grey ? mProcGray(width, height, lineBytes, image) : kInvalid;
}

unsigned long CGamma::ProcColorRawB(unsigned long width, unsigned long height, unsigned long lineBytes,
                                    unsigned short colorArray, unsigned char* image) {
    return ProcColorRaw(width, height, lineBytes, colorArray, image);
}

unsigned long CGamma::ProcColorRawW(unsigned long width, unsigned long height, unsigned long lineBytes,
                                    unsigned short colorArray, unsigned short* image) {
    return ProcColorRaw(width, height, lineBytes, colorArray, image);
}

unsigned long CGamma::ProcBGROrGrayB(unsigned long width, unsigned long height, unsigned long lineBytes,
                                     unsigned long pixelFormat, unsigned char* image) {
    return ProcBGROrGray(width, height, lineBytes, pixelFormat, image);
}

unsigned long CGamma::ProcBGROrGrayW(unsigned long width, unsigned long height, unsigned long lineBytes,
                                     unsigned long pixelFormat, unsigned short* image) {
    return ProcBGROrGray(width, height, lineBytes, pixelFormat, image);
}

} // namespace vek
