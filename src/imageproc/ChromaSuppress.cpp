// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ChromaSuppress.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/PixelFormat.h"
#include "common/Status.h"
#include "imageproc/ColorSpace.h"

namespace vek {

namespace {

unsigned long mulGet(unsigned short value, unsigned short* output) {
    if (output == nullptr) {
        return kInvalid;
    }
    *output = value;
    return kOk;
}

unsigned long mulSet(unsigned short& field, unsigned short value) {
    field = value;
    return kOk;
}

} // namespace

template <class T>
unsigned long CChromaSuppress::Process(unsigned long width, unsigned long height, unsigned long lineBytes,
                                       unsigned samplesPerPixel, T* image, unsigned bits) const {
    const auto maxValue = static_cast<T>((1U << bits) - 1);
    const bool lowOff = mLimits.lowStart == 0 || mLimits.lowSlope == 0;
    const bool highOff = static_cast<T>(mLimits.highStart) >= maxValue || mLimits.highSlope == 0;
    if (lowOff && highOff) {
        return kOk;
    }
    lineBytes = pitchOr<T>(lineBytes, samplesPerPixel * width);
    const auto suppressChroma = rows::colourRows<T>(mRows).suppressChroma;
    return SImage<T>{width, height, lineBytes, image}.forRows(
        [&](T* row, unsigned long) { suppressChroma(row, width, samplesPerPixel, kLumaTables, mLimits); });
}

unsigned long CChromaSuppress::ProcessB(unsigned long width, unsigned long height, unsigned long lineBytes,
                                        unsigned long pixelFormat, unsigned char* image) {
    if (pixelFormat == VEK_DESTINATION_MONO8) {
        return kOk;
    }
    const unsigned samples = isOfWords(pixelFormat) ? 0 : colourSamples(pixelFormat);
    return samples != 0 ? Process(width, height, lineBytes, samples, image, 8) : kInvalid;
}

unsigned long CChromaSuppress::ProcessW(unsigned long width, unsigned long height, unsigned long lineBytes,
                                        unsigned long pixelFormat, unsigned short* image) {
    if (isGreyOfWords(pixelFormat)) {
        return kOk;
    }
    const unsigned samples = isOfWords(pixelFormat) ? colourSamples(pixelFormat) : 0;
    return samples != 0 ? Process(width, height, lineBytes, samples, image, 16) : kInvalid;
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
    return mulSet(mLimits.lowStart, level);
}
unsigned long CChromaSuppress::GetLowStartLevel(unsigned short* level) {
    return mulGet(mLimits.lowStart, level);
}
unsigned long CChromaSuppress::SetLowSlope(unsigned short slope) {
    return mulSet(mLimits.lowSlope, slope);
}
unsigned long CChromaSuppress::GetLowSlope(unsigned short* slope) {
    return mulGet(mLimits.lowSlope, slope);
}
unsigned long CChromaSuppress::SetHighStartLevel(unsigned short level) {
    return mulSet(mLimits.highStart, level);
}
unsigned long CChromaSuppress::GetHighStartLevel(unsigned short* level) {
    return mulGet(mLimits.highStart, level);
}
unsigned long CChromaSuppress::SetHighSlope(unsigned short slope) {
    return mulSet(mLimits.highSlope, slope);
}
unsigned long CChromaSuppress::GetHighSlope(unsigned short* slope) {
    return mulGet(mLimits.highSlope, slope);
}

} // namespace vek
