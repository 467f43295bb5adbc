// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ChromaSuppress.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/PixelFormat.h"
#include "common/Status.h"
#include "imageproc/ColorSpace.h"

namespace vek {

namespace {

unsigned long get(unsigned short value, unsigned short* output) {
    if (output == nullptr) {
        return kInvalid;
    }
    *output = value;
    return kOk;
}

unsigned long set(unsigned short& field, unsigned short value) {
    field = value;
    return kOk;
}

} // namespace

STraits SChromaSuppressStage::Traits(const SFrame& frame) const {
    const bool words = isOfWords(frame.pixelFormat);
    // Fixed behaviour: images of bytes know the low byte of the high level alone.
    const unsigned highStart = words ? limits.highStart : limits.highStart & 0xFFU;
    const bool lowOff = limits.lowStart == 0 || limits.lowSlope == 0;
    const bool highOff = highStart >= (words ? 0xFFFFU : 0xFFU) || limits.highSlope == 0;
    if (colorSamples(frame.pixelFormat) == 0 || (lowOff && highOff)) {
        return {};
    }
    return {.kind = EStage::Pointwise};
}

template <class T>
void SChromaSuppressStage::Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const {
    const unsigned samples = colorSamples(frame.pixelFormat);
    const auto suppressChroma = rows::colorRows<T>(kernels).suppressChroma;
    forBandRows(frame, band, samples,
                [&](T* row, unsigned long) { suppressChroma(row, frame.width, samples, kLumaTables, limits); });
}
template void SChromaSuppressStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned char>&) const;
template void SChromaSuppressStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned short>&) const;

template <class T>
unsigned long CChromaSuppress::Process(unsigned long width, unsigned long height, unsigned long pitch,
                                       unsigned long pixelFormat, T* image) const {
    constexpr bool words = sizeof(T) != 1;
    if (isGrayOf(pixelFormat, words)) {
        return kOk;
    }
    const unsigned samples = colorSamplesOf(pixelFormat, words);
    if (samples == 0) {
        return kInvalid;
    }
    const SFrame frame = {width, height, pixelFormat, 0, 0};
    if (mStage.Traits(frame).kind == EStage::None) {
        return kOk;
    }
    return runInPlace(mStage, mRows, frame, SRows<T>{pitchOr<T>(pitch, samples * width), image});
}

unsigned long CChromaSuppress::ProcessB(unsigned long width, unsigned long height, unsigned long pitch,
                                        unsigned long pixelFormat, unsigned char* image) {
    return Process(width, height, pitch, pixelFormat, image);
}

unsigned long CChromaSuppress::ProcessW(unsigned long width, unsigned long height, unsigned long pitch,
                                        unsigned long pixelFormat, unsigned short* image) {
    return Process(width, height, pitch, pixelFormat, image);
}

unsigned long CChromaSuppress::SetStartLevel(unsigned short level) {
    return SetHighStartLevel(level);
}
unsigned long CChromaSuppress::GetStartLevel(unsigned short* level) {
    return GetHighStartLevel(level);
}
unsigned long CChromaSuppress::SetSlope(unsigned short slope) {
    return SetHighSlope(slope);
}
unsigned long CChromaSuppress::GetSlope(unsigned short* slope) {
    return GetHighSlope(slope);
}
unsigned long CChromaSuppress::SetLowStartLevel(unsigned short level) {
    return set(mStage.limits.lowStart, level);
}
unsigned long CChromaSuppress::GetLowStartLevel(unsigned short* level) {
    return get(mStage.limits.lowStart, level);
}
unsigned long CChromaSuppress::SetLowSlope(unsigned short slope) {
    return set(mStage.limits.lowSlope, slope);
}
unsigned long CChromaSuppress::GetLowSlope(unsigned short* slope) {
    return get(mStage.limits.lowSlope, slope);
}
unsigned long CChromaSuppress::SetHighStartLevel(unsigned short level) {
    return set(mStage.limits.highStart, level);
}
unsigned long CChromaSuppress::GetHighStartLevel(unsigned short* level) {
    return get(mStage.limits.highStart, level);
}
unsigned long CChromaSuppress::SetHighSlope(unsigned short slope) {
    return set(mStage.limits.highSlope, slope);
}
unsigned long CChromaSuppress::GetHighSlope(unsigned short* slope) {
    return get(mStage.limits.highSlope, slope);
}

} // namespace vek
