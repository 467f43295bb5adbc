// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ShadingCorrection/ShadingModel.h"

#include "common/Status.h"
#include "support/ImageLayout.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vek::test {

namespace {

/// A new map of zeros.
void createMap(SShadingModel* model, unsigned long width, unsigned long height, unsigned long pitch) {
    model->width = width;
    model->height = height;
    model->pitch = pitch;
    model->hasMap = true;
    model->map.assign(pitch * height, 0);
}

template <class T>
void calibrate(SShadingModel* model, const SShadingCall& call, const T* image) {
    const unsigned long pitch = modelPitch(call, sizeof(T));
    if (model->count != 0 && (call.width != model->width || call.height != model->height || pitch != model->pitch)) {
        model->count = 0;
    }
    if (model->count == 0) {
        createMap(model, call.width, call.height, call.width * 4);
        model->calibrationWidth = call.width;
        model->calibrationHeight = call.height;
        model->calibration.assign(call.width * call.height, 0.0);
    }
    const auto count = static_cast<double>(model->count);
    for (unsigned long y = 0; y < call.height; ++y) {
        for (unsigned long x = 0; x < call.width; ++x) {
            double& mean = model->calibration[y * call.width + x];
            mean = (mean * count + sampleAt<T>(image, pitch, y, x)) / (count + 1);
        }
    }
    ++model->count;
}

double maxOf(unsigned bits) {
    return std::pow(2.0, bits) - 1;
}

/// The targets of the four phases, measured in the middle of the calibration image where they are not set.
void measureTargets(const SShadingModel& model, unsigned bits, std::uint32_t* targets) {
    bool allSet = true;
    for (int phase = 0; phase < 4; ++phase) {
        targets[phase] = model.targets[phase];
        allSet = allSet && targets[phase] != 0;
    }
    if (allSet) {
        return;
    }
    unsigned long side = model.width < model.height ? model.width : model.height;
    if (side > 3) {
        side /= 4;
    }
    const unsigned long top = (model.height - side) / 2;
    const unsigned long left = (model.width - side) / 2;
    double sum[4] = {};
    double count[4] = {};
    for (unsigned long y = top; y < top + side; ++y) {
        for (unsigned long x = left; x < left + side; ++x) {
            const unsigned long phase = y % 2 * 2 + x % 2;
            sum[phase] += model.calibration[y * model.width + x];
            ++count[phase];
        }
    }
    if (model.colorArray == 1) {
        const double pixels = count[0] + count[1] + count[2] + count[3];
        const double mean = pixels == 0 ? 128.0 : (sum[0] + sum[1] + sum[2] + sum[3]) / pixels;
        for (int phase = 0; phase < 4; ++phase) {
            targets[phase] = static_cast<std::uint32_t>(std::min(mean, maxOf(bits)));
        }
        return;
    }
    for (int phase = 0; phase < 4; ++phase) {
        if (targets[phase] == 0) {
            const double mean = count[phase] == 0 ? 128.0 : sum[phase] / count[phase];
            targets[phase] = static_cast<std::uint32_t>(std::min(mean, maxOf(bits)));
        }
    }
}

void updateMap(SShadingModel* model, unsigned bits) {
    if (model->calibrationWidth != model->width || model->calibrationHeight != model->height) {
        return;
    }
    std::uint32_t targets[4];
    measureTargets(*model, bits, targets);
    for (unsigned long y = 0; y < model->height; ++y) {
        for (unsigned long x = 0; x < model->width; ++x) {
            const double level = model->calibration[y * model->width + x];
            const std::uint32_t target = targets[y % 2 * 2 + x % 2];
            if (model->mode == 2) {
                const std::uint32_t floor = target / 16;
                const bool withinLimit = level > 0 && level > floor;
                const double gain = withinLimit ? target * 128 / level : 2048;
                setSampleAt(model->map.data(), model->pitch, y, x, static_cast<std::int32_t>(gain));
            } else if (model->mode == 4) {
                const auto offset = static_cast<std::int32_t>(target) - static_cast<std::int32_t>(level);
                setSampleAt(model->map.data(), model->pitch, y, x, offset);
            }
        }
    }
}

/// A result below the depth's end, or that end.
std::uint32_t corrected(unsigned long mode, std::uint32_t sample, std::int32_t entry, std::uint32_t max) {
    const auto bits = static_cast<std::uint32_t>(entry);
    if (mode == 255) {
        return bits < max ? bits : max;
    }
    if (mode == 2) {
        const std::uint32_t scaled = sample * bits >> 7;
        return scaled < max ? scaled : max;
    }
    const std::int64_t sum = std::int64_t{sample} + entry;
    return sum <= 0 ? 0 : sum < std::int64_t{max} ? static_cast<std::uint32_t>(sum) : max;
}

template <class T>
void correct(const SShadingModel& model, const SShadingCall& call, T* image, Beyond beyond) {
    if (!model.hasMap || call.width != model.width || call.height != model.height) {
        return;
    }
    const unsigned long pitch = modelPitch(call, sizeof(T));
    const auto max = static_cast<std::uint32_t>(maxOf(call.bits));
    for (unsigned long y = 0; y < call.height; ++y) {
        for (unsigned long x = 0; x < call.width; ++x) {
            std::uint32_t result =
                corrected(model.mode, sampleAt<T>(image, pitch, y, x), modelMapEntry(model, y, x), max);
            if (beyond == Beyond::Limited && result > std::numeric_limits<T>::max()) {
                result = std::numeric_limits<T>::max();
            }
            setSampleAt(image, pitch, y, x, static_cast<T>(result));
        }
    }
}

} // namespace

unsigned long modelPitch(const SShadingCall& call, std::size_t sampleBytes) {
    return call.pitch != 0 ? call.pitch : call.width * sampleBytes;
}

std::size_t modelExtent(const SShadingCall& call, std::size_t sampleBytes) {
    return imageExtent(call.width, call.height, modelPitch(call, sampleBytes), call.width * sampleBytes);
}

bool modelMixesSizes(const SShadingModel& model, const SShadingCall& call, std::size_t sampleBytes) {
    return (model.mode == 1 || model.mode == 3) && model.count != 0 && call.width == model.width &&
           call.height == model.height && modelPitch(call, sampleBytes) == model.pitch &&
           (model.calibrationWidth != model.width || model.calibrationHeight != model.height);
}

void modelSetShadingMode(SShadingModel* model, unsigned long mode) {
    model->mode = mode;
    if (mode == 1 || mode == 3) {
        model->count = 0;
    }
}

void modelSetMap(SShadingModel* model, unsigned long width, unsigned long height, unsigned long pitch,
                 const void* map) {
    createMap(model, width, height, pitch);
    std::memcpy(model->map.data(), map, model->map.size());
}

std::int32_t modelMapEntry(const SShadingModel& model, unsigned long y, unsigned long x) {
    return sampleAt<std::int32_t>(model.map.data(), model.pitch, y, x);
}

template <class T>
unsigned long modelShading(SShadingModel* model, const SShadingCall& call, T* image, Beyond beyond) {
    switch (model->mode) {
    case 1:
    case 3:
        calibrate(model, call, image);
        return kOk;
    case 2:
    case 4:
    case 255:
        if (model->count != 0) {
            updateMap(model, call.bits);
            model->count = 0;
        }
        correct(*model, call, image, beyond);
        return kOk;
    default:
        return kOk;
    }
}

template unsigned long modelShading(SShadingModel*, const SShadingCall&, std::uint8_t*, Beyond);
template unsigned long modelShading(SShadingModel*, const SShadingCall&, std::uint16_t*, Beyond);

} // namespace vek::test
