// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ChromaSuppress/ChromaSuppressModel.h"

#include "imageproc/ColorSpace/LumaModel.h"

#include <cstddef>
#include <cstring>

namespace vek::test {

namespace {

constexpr unsigned long kInvalid = static_cast<unsigned long>(-22L);

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
unsigned long modelChromaSuppress(const SChromaSuppressModel& settings, unsigned long width, unsigned long height,
                                  unsigned long lineBytes, unsigned long pixelFormat, T* image) {
    if (modelChromaStatus(pixelFormat, sizeof(T)) != 0) {
        return kInvalid;
    }
    unsigned long samples = 0;
    if (pixelFormat == 4 || pixelFormat == 256) {
        samples = 3;
    } else if (pixelFormat == 8 || pixelFormat == 512) {
        samples = 4;
    } else {
        return 0;
    }
    if (width == 0 || height == 0) {
        return 0;
    }
    if (lineBytes == 0) {
        lineBytes = samples * width * sizeof(T);
        lineBytes += (4 - lineBytes % 4) % 4;
    }
    for (unsigned long y = 0; y < height; ++y) {
        for (unsigned long x = 0; x < width; ++x) {
            unsigned char* const pixel =
                reinterpret_cast<unsigned char*>(image) + y * lineBytes + x * samples * sizeof(T);
            T bgr[3];
            std::memcpy(bgr, pixel, sizeof bgr);
            const unsigned luma = modelLuma(bgr[0], bgr[1], bgr[2]);
            const std::int64_t k = strength(settings, luma);
            bgr[0] = static_cast<T>(pulled(bgr[0], bgr[1], k));
            bgr[2] = static_cast<T>(pulled(bgr[2], bgr[1], k));
            std::memcpy(pixel, bgr, sizeof bgr);
        }
    }
    return 0;
}

template unsigned long modelChromaSuppress(const SChromaSuppressModel&, unsigned long, unsigned long, unsigned long,
                                           unsigned long, std::uint8_t*);
template unsigned long modelChromaSuppress(const SChromaSuppressModel&, unsigned long, unsigned long, unsigned long,
                                           unsigned long, std::uint16_t*);

} // namespace vek::test
