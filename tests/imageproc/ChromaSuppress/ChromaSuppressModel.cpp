// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ChromaSuppress/ChromaSuppressModel.h"

#include "common/Status.h"
#include "imageproc/ColorSpace/LumaModel.h"

#include <initializer_list>

namespace vek::test {

namespace {

/// sample moved towards green by the fraction k / 16384, what is left of the step cut off.
std::int64_t pulled(std::int64_t sample, std::int64_t green, std::int64_t k) {
    const std::int64_t way = k * (green - sample);
    return way >= 0 ? sample + way / 16384 : sample - (-way) / 16384;
}

/// k of a luma, 0 to 16384.
std::int64_t strength(const SChromaSuppressModel& settings, unsigned luma) {
    std::uint32_t k = 0;
    if (luma < settings.lowStart && settings.lowSlope != 0) {
        const auto beyond = static_cast<std::uint16_t>(settings.lowStart - luma + 1);
        k = std::uint32_t{settings.lowSlope} * beyond;
    }
    if (luma > settings.highStart && settings.highSlope != 0) {
        const auto beyond = static_cast<std::uint16_t>(luma - settings.highStart + 1);
        const std::uint32_t high = std::uint32_t{settings.highSlope} * beyond;
        k = k > high ? k : high;
    }
    return k > 16383 ? 16384 : k;
}

} // namespace

unsigned long modelChromaStatus(unsigned long pixelFormat, unsigned sampleBytes) {
    if (sampleBytes == 1) {
        return pixelFormat == 1 || pixelFormat == 4 || pixelFormat == 8 ? 0 : kInvalid;
    }
    switch (pixelFormat) {
    case 2:
    case 16:
    case 32:
    case 64:
    case 256:
    case 512:
        return 0;
    default:
        return kInvalid;
    }
}

template <class T>
unsigned long modelChromaSuppress(const SChromaSuppressModel& settings, SInPlaceImage image, unsigned long pixelFormat,
                                  T* samples) {
    if (modelChromaStatus(pixelFormat, sizeof(T)) != 0) {
        return kInvalid;
    }
    if (pixelFormat != 4 && pixelFormat != 8 && pixelFormat != 256 && pixelFormat != 512) {
        return 0;
    }
    image.samples = pixelFormat == 4 || pixelFormat == 256 ? 3 : 4;
    const unsigned long pitch = inPlacePitch(image, sizeof(T));
    for (unsigned long y = 0; image.width != 0 && y < image.height; ++y) {
        for (unsigned long x = 0; x < image.width; ++x) {
            T bgr[3];
            for (unsigned s = 0; s < 3; ++s) {
                bgr[s] = sampleAt<T>(samples, pitch, y, x * image.samples + s);
            }
            const std::int64_t k = strength(settings, modelLuma(bgr[0], bgr[1], bgr[2]));
            for (const unsigned s : {0U, 2U}) {
                setSampleAt(samples, pitch, y, x * image.samples + s, static_cast<T>(pulled(bgr[s], bgr[1], k)));
            }
        }
    }
    return 0;
}

template unsigned long modelChromaSuppress(const SChromaSuppressModel&, SInPlaceImage, unsigned long, std::uint8_t*);
template unsigned long modelChromaSuppress(const SChromaSuppressModel&, SInPlaceImage, unsigned long, std::uint16_t*);

} // namespace vek::test
