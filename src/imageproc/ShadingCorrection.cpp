// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ShadingCorrection.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/Saturate.h"
#include "common/Status.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

namespace vek {

namespace {

constexpr unsigned long kCalibrationFailed = 1;
/// Gains have so many fraction bits.
constexpr unsigned kGainBits = 7;
/// Target where nothing could be measured.
constexpr double kDefaultTarget = 128.0;

/// The part of the calibration image that targets are measured in: a centred square.
struct SMeasuringSquare {
    unsigned long x;
    unsigned long y;
    unsigned long size;

    SMeasuringSquare(unsigned long width, unsigned long height) {
        size = std::min(width, height);
        if (size > 3) {
            size >>= 2;
        }
        x = (width - size) >> 1;
        y = (height - size) >> 1;
    }
};

/// A mean as a target.
unsigned short mwTarget(double sum, unsigned long count, double maxValue) {
    const double mean = count == 0 ? kDefaultTarget : sum / static_cast<double>(count);
    return saturateTo<unsigned short>(std::min(mean, maxValue));
}

/// How a target turns calibration values into gains.
struct SGainRule {
    unsigned int blackOffset;
    unsigned int numerator;
    unsigned int floor;
    int largest;

    SGainRule(unsigned short target, unsigned int offset, unsigned short limit)
        : blackOffset(offset), numerator(0), floor(0), largest(limit << kGainBits) {
        if (offset < target) {
            const unsigned int range = target - offset;
            numerator = range << kGainBits;
            floor = limit != 0 ? range / limit : 0;
        }
    }
    int Entry(double calibration) const {
        const double value = calibration > blackOffset ? calibration - blackOffset : 0.0;
        return value > 0 && value > floor ? saturateTo<int>(numerator / value) : largest;
    }
};

} // namespace

CShadingCorrection::~CShadingCorrection() {
    Reset();
}

bool CShadingCorrection::IsColor() const {
    return mColorArray != VEK_COLOR_ARRAY_MONO;
}

int* CShadingCorrection::mpMapRow(unsigned long y) const {
    return rowAt(mpMap, y, mMapLinePitch);
}

unsigned long CShadingCorrection::Reset() {
    std::free(mpMap);
    mpMap = nullptr;
    mMapWidth = 0;
    mMapHeight = 0;
    mMapLinePitch = 0;
    mMapSize = 0;
    return kOk;
}

/// The map stays null when memory runs out. Its entries are 0.
unsigned long CShadingCorrection::CreateMapBuffer(unsigned long width, unsigned long height, unsigned long linePitch) {
    Reset();
    unsigned long size = 0;
    if (__builtin_mul_overflow(linePitch, height, &size) || size > PTRDIFF_MAX) {
        return kOk;
    }
    mpMap = static_cast<int*>(std::calloc(std::max(size, 1UL), 1));
    if (mpMap != nullptr) {
        mMapSize = size;
        mMapWidth = width;
        mMapHeight = height;
        mMapLinePitch = linePitch;
    }
    return kOk;
}

unsigned long CShadingCorrection::SetMode(unsigned long mode) {
    mMode = mode;
    if (mode == VEK_SHADING_CALIBRATE_GAIN || mode == VEK_SHADING_CALIBRATE_OFFSET) {
        mCalibrationCount = 0;
    }
    return kOk;
}

unsigned long CShadingCorrection::GetMode(unsigned long* mode) {
    if (mode != nullptr) {
        *mode = mMode;
    }
    return kOk;
}

unsigned long CShadingCorrection::SetTargetAll(unsigned short target) {
    mTarget.fill(target);
    return kOk;
}

unsigned long CShadingCorrection::GetTargetAll(unsigned short* target) {
    if (target == nullptr) {
        return kInvalid;
    }
    *target = static_cast<unsigned short>((mTarget[0] + mTarget[1] + mTarget[2] + mTarget[3]) >> 2);
    return kOk;
}

unsigned long CShadingCorrection::SetTargetEachColor(const unsigned short* targets) {
    if (targets == nullptr) {
        return kInvalid;
    }
    std::copy(targets, targets + kPhases, mTarget.begin());
    return kOk;
}

unsigned long CShadingCorrection::GetTargetEachColor(unsigned short* targets) {
    if (targets == nullptr) {
        return kInvalid;
    }
    std::copy(mTarget.begin(), mTarget.end(), targets);
    return kOk;
}

unsigned long CShadingCorrection::SetColorArray(unsigned short colorArray) {
    mColorArray = colorArray;
    return kOk;
}

unsigned long CShadingCorrection::GetColorArray(unsigned short* colorArray) {
    if (colorArray == nullptr) {
        return kInvalid;
    }
    *colorArray = mColorArray;
    return kOk;
}

unsigned long CShadingCorrection::SetMap(unsigned long width, unsigned long height, unsigned long linePitch,
                                         const int* map) {
    if (linePitch / sizeof(int) < width || (map == nullptr && linePitch != 0 && height != 0)) {
        return kInvalid;
    }
    if (mpMap == nullptr || mMapWidth != width || mMapHeight != height || mMapLinePitch != linePitch) {
        CreateMapBuffer(width, height, linePitch);
    }
    if (mpMap == nullptr) {
        return kNoMemory;
    }
    if (map != nullptr) {
        std::memcpy(mpMap, map, mMapSize);
    }
    return kOk;
}

unsigned long CShadingCorrection::GetMap(unsigned long* width, unsigned long* height, unsigned long* linePitch,
                                         int* map) {
    if (width != nullptr) {
        *width = mMapWidth;
    }
    if (height != nullptr) {
        *height = mMapHeight;
    }
    if (linePitch != nullptr) {
        *linePitch = mMapLinePitch;
    }
    if (map != nullptr && mpMap != nullptr) {
        std::memcpy(map, mpMap, mMapSize);
    }
    return kOk;
}

template <class T>
unsigned long CShadingCorrection::Calibration(unsigned long width, unsigned long height, unsigned long linePitch,
                                              const T* image) {
    if (image == nullptr && width != 0 && height != 0) {
        return kInvalid;
    }
    // Fixed behaviour: the image's pitch against that of the map, 4 bytes a pixel. With every other pitch calibration
    // starts anew at each frame, and the last frame alone counts.
    if (mCalibrationCount != 0 && (width != mMapWidth || height != mMapHeight || linePitch != mMapLinePitch ||
                                   width != mCalibrationWidth || height != mCalibrationHeight)) {
        mCalibrationCount = 0;
    }
    if (mCalibrationCount == 0) {
        Reset();
        mpCalibrationImage.reset();
        mCalibrationWidth = 0;
        mCalibrationHeight = 0;
        unsigned long size = 0;
        unsigned long mapPitch = 0;
        // Without pixels there is no size that is too large.
        const bool tooWide = __builtin_mul_overflow(width, sizeof(int), &mapPitch);
        if (__builtin_mul_overflow(width, height, &size) || size > PTRDIFF_MAX / sizeof(double) ||
            (tooWide && size != 0)) {
            return kCalibrationFailed;
        }
        CreateMapBuffer(width, height, mapPitch);
        mpCalibrationImage.reset(new (std::nothrow) double[size]());
        if (mpCalibrationImage == nullptr) {
            Reset(); // a map of zeros would make frames black
            return kCalibrationFailed;
        }
        mCalibrationWidth = width;
        mCalibrationHeight = height;
    }
    const auto addToMean = rows::shadingRows<T>(mRows).addToMean;
    SImage<const T>{width, height, linePitch, image}.forRows([&](const T* row, unsigned long y) {
        addToMean(row, mpCalibrationImage.get() + y * width, width, static_cast<double>(mCalibrationCount));
    });
    ++mCalibrationCount;
    return kOk;
}

/// The targets that are set, those of 0 measured in the calibration image.
CShadingCorrection::Targets CShadingCorrection::mTargetsFor(unsigned int bitsPerPixel) const {
    if (std::all_of(mTarget.begin(), mTarget.end(), [](unsigned short target) { return target != 0; })) {
        return mTarget;
    }
    const SMeasuringSquare square(mMapWidth, mMapHeight);
    double sum[kPhases] = {};
    unsigned long count[kPhases] = {};
    for (unsigned long y = square.y; y < square.y + square.size; ++y) {
        for (unsigned long x = square.x; x < square.x + square.size; ++x) {
            const std::size_t phase = 2 * (y % 2) + x % 2;
            sum[phase] += mpCalibrationImage[y * mMapWidth + x];
            ++count[phase];
        }
    }
    const double maxValue = std::pow(2.0, bitsPerPixel) - 1;
    Targets targets = mTarget;
    if (!IsColor()) {
        // All four together, those that are set as well.
        targets.fill(mwTarget(sum[0] + sum[1] + sum[2] + sum[3], count[0] + count[1] + count[2] + count[3], maxValue));
        return targets;
    }
    for (std::size_t phase = 0; phase < kPhases; ++phase) {
        if (targets[phase] == 0) {
            targets[phase] = mwTarget(sum[phase], count[phase], maxValue);
        }
    }
    return targets;
}

void CShadingCorrection::UpdateMap(unsigned int bitsPerPixel) {
    if (mpMap == nullptr || mMapWidth == 0 || mMapWidth != mCalibrationWidth || mMapHeight != mCalibrationHeight) {
        return; // no pixels, or another map that was set in between: it stays
    }
    const Targets targets = mTargetsFor(bitsPerPixel);
    for (unsigned long y = 0; y < mMapHeight; ++y) {
        int* const entries = mpMapRow(y);
        const double* const calibration = mpCalibrationImage.get() + y * mMapWidth;
        const unsigned short rowTargets[] = {targets[2 * (y % 2)], targets[2 * (y % 2) + 1]};
        if (mMode == VEK_SHADING_GAIN) {
            const SGainRule rules[] = {{rowTargets[0], mBlackOffset, mGainLimit},
                                       {rowTargets[1], mBlackOffset, mGainLimit}};
            for (unsigned long x = 0; x < mMapWidth; ++x) {
                entries[x] = rules[x % 2].Entry(calibration[x]);
            }
        } else if (mMode == VEK_SHADING_OFFSET) {
            for (unsigned long x = 0; x < mMapWidth; ++x) {
                entries[x] = rowTargets[x % 2] - static_cast<int>(calibration[x]);
            }
        }
    }
}

template <class T>
unsigned long CShadingCorrection::Correction(unsigned long width, unsigned long height, unsigned long linePitch,
                                             T* image, unsigned short bitsPerPixel) const {
    if (width != mMapWidth || height != mMapHeight || mpMap == nullptr) {
        return kOk;
    }
    const unsigned maxValue = bitsPerPixel < 32 ? (1U << bitsPerPixel) - 1 : ~0U;
    const rows::SShadingRows<T>& kernels = rows::shadingRows<T>(mRows);
    return SImage<T>{width, height, linePitch, image}.forRows([&](T* row, unsigned long y) {
        const int* const entries = mpMapRow(y);
        if (mMode == VEK_SHADING_GAIN) {
            kernels.gain(row, entries, width, mBlackOffset, maxValue);
        } else if (mMode == VEK_SHADING_OFFSET) {
            kernels.offset(row, entries, width, maxValue);
        } else {
            kernels.show(row, entries, width, maxValue);
        }
    });
}

template <class T>
unsigned long CShadingCorrection::Process(unsigned long width, unsigned long height, unsigned long linePitch, T* image,
                                          unsigned short bitsPerPixel) {
    if (linePitch == 0) {
        linePitch = width * sizeof(T);
    }
    switch (mMode) {
    case VEK_SHADING_CALIBRATE_GAIN:
    case VEK_SHADING_CALIBRATE_OFFSET:
        return Calibration<T>(width, height, linePitch, image);
    case VEK_SHADING_GAIN:
    case VEK_SHADING_OFFSET:
    case VEK_SHADING_SHOW_MAP:
        if (mCalibrationCount != 0) {
            UpdateMap(bitsPerPixel);
            mCalibrationCount = 0;
        }
        return Correction(width, height, linePitch, image, bitsPerPixel);
    default:
        return kOk;
    }
}

unsigned long CShadingCorrection::ProcessW(unsigned long width, unsigned long height, unsigned long linePitch,
                                           unsigned short* image, unsigned short bitsPerPixel) {
    return Process(width, height, linePitch, image, bitsPerPixel);
}

unsigned long CShadingCorrection::ProcessB(unsigned long width, unsigned long height, unsigned long linePitch,
                                           unsigned char* image, unsigned short bitsPerPixel) {
    return Process(width, height, linePitch, image, bitsPerPixel);
}

} // namespace vek
