// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ShadingCorrection.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/Saturate.h"
#include "common/Status.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace vek {

namespace {

constexpr unsigned long kCalibrationFailed = 1;
/// Gains have so many fraction bits.
constexpr unsigned kGainBits = 7;
constexpr unsigned short kGainLimit = 16;
constexpr unsigned kBlackOffset = 0;
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
unsigned short meanAsTarget(double sum, unsigned long count, double maxValue) {
    const double mean = count == 0 ? kDefaultTarget : sum / static_cast<double>(count);
    return saturateTo<unsigned short>(std::min(mean, maxValue));
}

/// How a target turns calibration values into gains.
struct SGainRule {
    unsigned int numerator = 0;
    unsigned int floor = 0;

    explicit SGainRule(unsigned short target) {
        if (kBlackOffset < target) {
            const unsigned int range = target - kBlackOffset;
            numerator = range << kGainBits;
            floor = range / kGainLimit;
        }
    }
    int Entry(double calibration) const {
        const double value = calibration > kBlackOffset ? calibration - kBlackOffset : 0.0;
        return value > 0 && value > floor ? saturateTo<int>(numerator / value) : kGainLimit << kGainBits;
    }
};

/// Bytes from row to row of 16-bit gains: whole cache lines.
constexpr unsigned long kGains16Alignment = 64;
constexpr unsigned long gains16Pitch(unsigned long width) {
    const unsigned long bytes = width * sizeof(std::uint16_t);
    return (bytes + kGains16Alignment - 1) / kGains16Alignment * kGains16Alignment;
}

/// The low halves of a row of entries. False where an entry is no gain for gain16.
bool narrowGains(const void* entries, std::uint16_t* gains, unsigned long width) {
    static_assert((rows::kLargestGain16 & (rows::kLargestGain16 + 1)) == 0, "an entry beyond has a bit beyond");
    std::uint32_t bits = 0;
    for (unsigned long x = 0; x < width; ++x) {
        std::uint32_t entry = 0;
        std::memcpy(&entry, static_cast<const unsigned char*>(entries) + x * sizeof entry, sizeof entry);
        gains[x] = static_cast<std::uint16_t>(entry);
        bits |= entry;
    }
    return bits <= rows::kLargestGain16;
}

bool isCalibration(unsigned long mode) {
    return mode == VEK_SHADING_CALIBRATE_GAIN || mode == VEK_SHADING_CALIBRATE_OFFSET;
}
bool isCorrection(unsigned long mode) {
    return mode == VEK_SHADING_GAIN || mode == VEK_SHADING_OFFSET || mode == VEK_SHADING_SHOW_MAP;
}

} // namespace

void SShadingMap::Clear() {
    *this = {};
}

void SShadingMap::Create(unsigned long columns, unsigned long rows, unsigned long rowPitch) {
    Clear();
    unsigned long bytes = 0;
    if (__builtin_mul_overflow(rowPitch, rows, &bytes) || bytes > PTRDIFF_MAX) {
        return;
    }
    entries.reset(static_cast<int*>(std::calloc(std::max(bytes, 1UL), 1)));
    if (entries != nullptr) {
        width = columns;
        height = rows;
        pitch = rowPitch;
        size = bytes;
    }
}

const std::uint16_t* SShadingMap::Gains16(unsigned long y) const {
    return gains16 != nullptr && rowFits[y] ? rowAt<const std::uint16_t>(gains16.get(), y, gains16Pitch(width))
                                            : nullptr;
}

void SShadingMap::UpdateGains16() {
    const unsigned long rowBytes = gains16Pitch(width);
    if (rowBytes >= pitch) { // a row of a few pixels would take more memory than it saves
        return;
    }
    if (gains16 == nullptr) {
        gains16.reset(static_cast<std::uint16_t*>(std::aligned_alloc(kGains16Alignment, rowBytes * height)));
        rowFits.reset(new (std::nothrow) bool[height]);
        if (gains16 == nullptr || rowFits == nullptr) {
            DropGains16();
            return;
        }
    }
    for (unsigned long y = 0; y < height; ++y) {
        rowFits[y] = narrowGains(Row(y), rowAt(gains16.get(), y, rowBytes), width);
    }
}

void SShadingMap::DropGains16() {
    gains16.reset();
    rowFits.reset();
}

STraits SShadingStage::Traits(const SFrame& frame) const {
    if (isCalibration(mode)) {
        return {.kind = EStage::Reduction, .resultBytes = frame.width * frame.height * sizeof(double)};
    }
    if (!isCorrection(mode) || map == nullptr || !map->Has(frame.width, frame.height)) {
        return {};
    }
    return {.kind = EStage::Pointwise};
}

template <class T>
void SShadingStage::Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const {
    const unsigned maxValue = frame.bitsPerPixel < 32 ? (1U << frame.bitsPerPixel) - 1 : ~0U;
    const rows::SShadingRows<T>& shading = rows::shadingRows<T>(kernels);
    forBandRows(frame, band, 1, [&](T* row, unsigned long y) {
        const int* const entries = map->Row(y);
        if (mode == VEK_SHADING_GAIN) {
            const std::uint16_t* const gains = map->Gains16(y);
            if (gains != nullptr && maxValue <= std::numeric_limits<T>::max()) {
                shading.gain16(row, gains, frame.width, static_cast<T>(maxValue));
                return;
            }
            shading.gain(row, entries, frame.width, kBlackOffset, maxValue);
        } else if (mode == VEK_SHADING_OFFSET) {
            shading.offset(row, entries, frame.width, maxValue);
        } else {
            shading.show(row, entries, frame.width, maxValue);
        }
    });
}
template void SShadingStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned char>&) const;
template void SShadingStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned short>&) const;

void SShadingMean::Clear() {
    *this = {};
}

template <class T>
void SShadingMean::Add(const rows::SRowTable& kernels, const SImage<const T>& frame, unsigned long first,
                       unsigned long end) {
    if (!frame.HasPixels()) {
        return;
    }
    const auto addToMean = rows::shadingRows<T>(kernels).addToMean;
    for (unsigned long y = first; y < end; ++y) {
        addToMean(frame.Row(y), values.get() + y * width, width, static_cast<double>(frames));
    }
}
template void SShadingMean::Add(const rows::SRowTable&, const SImage<const unsigned char>&, unsigned long,
                                unsigned long);
template void SShadingMean::Add(const rows::SRowTable&, const SImage<const unsigned short>&, unsigned long,
                                unsigned long);

/// No map stays when memory runs out.
void CShadingCorrection::CreateMap(unsigned long width, unsigned long height, unsigned long pitch) {
    if (SShadingMap* const map = ownAlone(mMap)) {
        map->Create(width, height, pitch);
    }
}

unsigned long CShadingCorrection::SetMode(unsigned long mode) {
    mMode = mode;
    if (isCalibration(mode)) {
        mMean.frames = 0;
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

unsigned long CShadingCorrection::SetMap(unsigned long width, unsigned long height, unsigned long pitch,
                                         const int* map) {
    if (pitch / sizeof(int) < width || (map == nullptr && pitch != 0 && height != 0)) {
        return kInvalid;
    }
    if (!isOwnedAlone(mMap) || !mMap->Has(width, height) || mMap->pitch != pitch) {
        CreateMap(width, height, pitch);
    }
    if (!HasMap()) {
        return kNoMemory;
    }
    if (map != nullptr) {
        std::memcpy(mMap->entries.get(), map, mMap->size);
    }
    mMap->UpdateGains16();
    return kOk;
}

unsigned long CShadingCorrection::GetMap(unsigned long* width, unsigned long* height, unsigned long* pitch, int* map) {
    if (width != nullptr) {
        *width = HasMap() ? mMap->width : 0;
    }
    if (height != nullptr) {
        *height = HasMap() ? mMap->height : 0;
    }
    if (pitch != nullptr) {
        *pitch = HasMap() ? mMap->pitch : 0;
    }
    if (map != nullptr && HasMap()) {
        std::memcpy(map, mMap->entries.get(), mMap->size);
    }
    return kOk;
}

/// An empty mean for frames of a size, and a map of zeros. False, and neither, when memory for the mean runs out; a map
/// that gets none is missing alone.
bool CShadingCorrection::StartMean(unsigned long width, unsigned long height) {
    mMean.Clear();
    SShadingMap* const map = ownAlone(mMap);
    if (map == nullptr) {
        return false;
    }
    map->Clear();
    unsigned long size = 0;
    unsigned long mapPitch = 0;
    // Without pixels there is no size that is too large.
    const bool tooWide = __builtin_mul_overflow(width, sizeof(int), &mapPitch);
    if (__builtin_mul_overflow(width, height, &size) || size > PTRDIFF_MAX / sizeof(double) || (tooWide && size != 0)) {
        return false;
    }
    map->Create(width, height, mapPitch);
    mMean.values.reset(new (std::nothrow) double[size]());
    if (mMean.values == nullptr) {
        map->Clear(); // a map of zeros would make frames black
        return false;
    }
    mMean.width = width;
    mMean.height = height;
    return true;
}

template <class T>
unsigned long CShadingCorrection::Calibrate(const SImage<const T>& frame) {
    if (frame.IsMissing()) {
        return kInvalid;
    }
    // Fixed behaviour: the image's pitch against that of the map, 4 bytes a pixel. With every other pitch calibration
    // starts anew at each frame, and the last frame alone counts.
    const bool goesOn = HasMap() && mMap->Has(frame.width, frame.height) && mMap->pitch == frame.pitch &&
                        mMean.width == frame.width && mMean.height == frame.height;
    if ((mMean.frames == 0 || !goesOn) && !StartMean(frame.width, frame.height)) {
        return kCalibrationFailed;
    }
    mMean.Add(mRows, frame, 0, frame.height);
    ++mMean.frames;
    return kOk;
}

/// The targets that are set, those of 0 measured in the calibration image.
CShadingCorrection::Targets CShadingCorrection::TargetsFor(unsigned int bitsPerPixel) const {
    if (std::all_of(mTarget.begin(), mTarget.end(), [](unsigned short target) { return target != 0; })) {
        return mTarget;
    }
    const SMeasuringSquare square(mMean.width, mMean.height);
    double sum[kPhases] = {};
    unsigned long count[kPhases] = {};
    for (unsigned long y = square.y; y < square.y + square.size; ++y) {
        for (unsigned long x = square.x; x < square.x + square.size; ++x) {
            const std::size_t phase = 2 * (y % 2) + x % 2;
            sum[phase] += mMean.values[y * mMean.width + x];
            ++count[phase];
        }
    }
    const double maxValue = std::pow(2.0, bitsPerPixel) - 1;
    Targets targets = mTarget;
    if (mColorArray == VEK_COLOR_ARRAY_MONO) {
        // All four together, those that are set as well.
        targets.fill(
            meanAsTarget(sum[0] + sum[1] + sum[2] + sum[3], count[0] + count[1] + count[2] + count[3], maxValue));
        return targets;
    }
    for (std::size_t phase = 0; phase < kPhases; ++phase) {
        if (targets[phase] == 0) {
            targets[phase] = meanAsTarget(sum[phase], count[phase], maxValue);
        }
    }
    return targets;
}

unsigned long CShadingCorrection::UpdateMap(unsigned int bitsPerPixel) {
    if (mMean.frames == 0 || !isCorrection(mMode)) {
        return kOk;
    }
    // Another map that was set in between stays, and so does the map that is shown.
    if (!HasMap() || mMap->width == 0 || !mMap->Has(mMean.width, mMean.height) || mMode == VEK_SHADING_SHOW_MAP) {
        mMean.frames = 0;
        return kOk;
    }
    if (!isOwnedAlone(mMap)) {
        const std::shared_ptr<SShadingMap> shared = mMap;
        CreateMap(shared->width, shared->height, shared->pitch);
        if (!HasMap()) {
            mMap = shared;
            return kNoMemory;
        }
        std::memcpy(mMap->entries.get(), shared->entries.get(), shared->size);
    }
    mMean.frames = 0;
    const Targets targets = TargetsFor(bitsPerPixel);
    for (unsigned long y = 0; y < mMap->height; ++y) {
        int* const entries = mMap->Row(y);
        const double* const calibration = mMean.values.get() + y * mMean.width;
        const unsigned short rowTargets[] = {targets[2 * (y % 2)], targets[2 * (y % 2) + 1]};
        if (mMode == VEK_SHADING_GAIN) {
            const SGainRule rules[] = {SGainRule(rowTargets[0]), SGainRule(rowTargets[1])};
            for (unsigned long x = 0; x < mMap->width; ++x) {
                entries[x] = rules[x % 2].Entry(calibration[x]);
            }
        } else {
            for (unsigned long x = 0; x < mMap->width; ++x) {
                entries[x] = rowTargets[x % 2] - static_cast<int>(calibration[x]);
            }
        }
    }
    if (mMode == VEK_SHADING_GAIN) {
        mMap->UpdateGains16();
    } else {
        mMap->DropGains16();
    }
    return kOk;
}

template <class T>
unsigned long CShadingCorrection::Process(unsigned long width, unsigned long height, unsigned long pitch, T* image,
                                          unsigned short bitsPerPixel) {
    if (pitch == 0) {
        pitch = width * sizeof(T);
    }
    if (isCalibration(mMode)) {
        return Calibrate<T>({width, height, pitch, image});
    }
    const unsigned long status = UpdateMap(bitsPerPixel);
    const SFrame frame = {width, height, 0, mColorArray, bitsPerPixel};
    const SShadingStage stage = Stage();
    if (status != kOk || stage.Traits(frame).kind == EStage::None) {
        return status;
    }
    return runInPlace(stage, mRows, frame, SRows<T>{pitch, image});
}

unsigned long CShadingCorrection::ProcessW(unsigned long width, unsigned long height, unsigned long pitch,
                                           unsigned short* image, unsigned short bitsPerPixel) {
    return Process(width, height, pitch, image, bitsPerPixel);
}

unsigned long CShadingCorrection::ProcessB(unsigned long width, unsigned long height, unsigned long pitch,
                                           unsigned char* image, unsigned short bitsPerPixel) {
    return Process(width, height, pitch, image, bitsPerPixel);
}

} // namespace vek
