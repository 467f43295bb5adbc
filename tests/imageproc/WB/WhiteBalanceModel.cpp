// SPDX-License-Identifier: Apache-2.0
#include "imageproc/WB/WhiteBalanceModel.h"

#include "common/Status.h"
#include "support/ImageLayout.h"

#include <cmath>
#include <cstring>

namespace vek::test {

namespace {

enum Color { R, Gr, Gb, B };

/// The colour of each phase; null for a colour array that has none.
const Color* colorsOf(unsigned short colorArray) {
    static const Color rggb[] = {R, Gr, Gb, B};
    static const Color grbg[] = {Gr, R, B, Gb};
    static const Color gbrg[] = {Gb, B, R, Gr};
    static const Color bggr[] = {B, Gb, Gr, R};
    switch (colorArray) {
    case 1:
    case 2:
        return rggb;
    case 3:
        return grbg;
    case 4:
        return gbrg;
    case 5:
        return bggr;
    default:
        return nullptr;
    }
}

int phaseOf(const Color* colors, Color color) {
    int phase = 0;
    while (colors[phase] != color) {
        ++phase;
    }
    return phase;
}

void buildTable(SWhiteBalanceModel* model, int color, unsigned bits) {
    const unsigned max = (1U << bits) - 1;
    for (unsigned i = 0; i <= max; ++i) {
        const unsigned scaled = i * unsigned{model->gains[color]} / 128;
        const auto entry = static_cast<std::uint16_t>(scaled < max ? scaled : max);
        if (bits > 8) {
            const std::size_t at = SWhiteBalanceModel::kByteTables + (static_cast<std::size_t>(color) * 4096 + i) * 2;
            std::memcpy(model->storage + at, &entry, 2);
        } else {
            model->storage[static_cast<std::size_t>(color) * 256 + i] = static_cast<std::uint8_t>(entry);
        }
    }
}

std::uint16_t wordAt(const SWhiteBalanceModel& model, std::size_t byte) {
    std::uint16_t word;
    std::memcpy(&word, model.storage + byte, 2);
    return word;
}

std::uint8_t lookUp(const SWhiteBalanceModel& model, int color, std::uint8_t sample, bool wordTables) {
    const auto k = static_cast<std::size_t>(color);
    return wordTables ? static_cast<std::uint8_t>(wordAt(model, model.kByteTables + (k * 4096 + sample) * 2))
                      : model.storage[k * 256 + sample];
}

/// Words are looked up where the byte tables begin, whatever the depth.
std::uint16_t lookUp(const SWhiteBalanceModel& model, int color, std::uint16_t sample, bool) {
    const std::size_t index = sample < 4095 ? sample : 4095;
    return wordAt(model, 256 * static_cast<std::size_t>(color) + 2 * index);
}

template <class T>
void measure(SWhiteBalanceModel* model, const SWhiteBalanceCall& call, const T* image) {
    std::uint64_t sum[4] = {};
    std::memset(model->histogram, 0, sizeof model->histogram);
    std::memset(model->count, 0, sizeof model->count);
    const unsigned long pitch = modelPitch(call, sizeof(T));
    for (unsigned long y = 0; call.width != 0 && y < call.height; ++y) {
        for (unsigned long x = 0; call.height != 0 && x < call.width; ++x) {
            const T value = sampleAt<T>(image, pitch, y, x);
            const unsigned long phase = 2 * (y % 2) + x % 2;
            ++model->histogram[phase][value < 4096 ? value : 4095];
            sum[phase] += value;
            ++model->count[phase];
        }
    }
    for (int f = 0; f < 4; ++f) {
        model->average[f] =
            model->count[f] == 0 ? 0.0 : static_cast<double>(sum[f]) / static_cast<double>(model->count[f]);
    }
}

/// The mean that a phase has behind the gain, with what saturates counted as the value at which saturation begins.
double averageBehindGain(const SWhiteBalanceModel& model, int phase, std::uint16_t gain, unsigned bits) {
    if (gain == 0) {
        return 0.0;
    }
    const std::uint64_t maxValue = (1U << bits) - 1;
    const std::uint64_t limit = maxValue * 128 / gain;
    double result = 0.0;
    if (maxValue > limit) {
        std::uint64_t sum = 0;
        for (std::uint64_t v = 0; v <= maxValue; ++v) {
            sum += model.histogram[phase][v] * (v < limit ? v : limit);
        }
        result = gain * (static_cast<double>(sum) / static_cast<double>(model.count[phase]));
    } else {
        result = gain * model.average[phase];
    }
    return result / 128;
}

std::uint16_t automaticGain(const SWhiteBalanceModel& model, int phase, double target, unsigned bits) {
    const double average = model.average[phase];
    if (model.count[phase] == 0 || average < 1.0 / static_cast<double>(model.count[phase])) {
        return 128;
    }
    const double estimate = 128 * target / average;
    auto gain = static_cast<std::uint16_t>(estimate > 65535.0 ? 65535.0 : std::trunc(estimate));
    while (gain <= 639 && !(averageBehindGain(model, phase, gain, bits) >= target)) {
        ++gain;
    }
    return gain;
}

} // namespace

unsigned long modelPitch(const SWhiteBalanceCall& call, std::size_t sampleBytes) {
    return call.pitch != 0 ? call.pitch : derivedPitch(call.width * sampleBytes);
}

std::size_t modelExtent(const SWhiteBalanceCall& call, std::size_t sampleBytes) {
    return imageExtent(call.width, call.height, modelPitch(call, sampleBytes), call.width * sampleBytes);
}

void modelSetGains(SWhiteBalanceModel* model, const std::uint16_t* gains) {
    for (int k = 0; k < 4; ++k) {
        if (gains[k] != model->gains[k]) {
            model->gains[k] = gains[k];
            model->tableDepth = 0;
        }
    }
}

template <class T>
unsigned long modelWhiteBalance(SWhiteBalanceModel* model, const SWhiteBalanceCall& call, T* image, WideBytes reading) {
    const bool missing = image == nullptr && call.width != 0 && call.height != 0;
    const Color* const colors = colorsOf(call.colorArray);
    if (call.bits > 12) {
        return kInvalid;
    }
    if (model->mode == 0) {
        return kOk;
    }
    if (model->mode == 2 || model->mode == 3) {
        if (missing) {
            return kInvalid;
        }
        measure(model, call, image);
        if (colors == nullptr) {
            return kInvalid;
        }
        const double target = (model->average[phaseOf(colors, Gr)] + model->average[phaseOf(colors, Gb)]) / 2;
        std::uint16_t gains[4];
        std::memcpy(gains, model->gains, sizeof gains);
        gains[R] = automaticGain(*model, phaseOf(colors, R), target, call.bits);
        gains[B] = automaticGain(*model, phaseOf(colors, B), target, call.bits);
        modelSetGains(model, gains);
        if (model->mode == 3) {
            model->mode = 1;
        }
    }
    if (model->tableDepth != call.bits) {
        for (int k = 0; k < 4; ++k) {
            buildTable(model, k, call.bits);
        }
        model->tableDepth = call.bits;
    }
    if (model->gains[R] == 128 && model->gains[Gr] == 128 && model->gains[Gb] == 128 && model->gains[B] == 128) {
        return kOk;
    }
    if (colors == nullptr || missing) {
        return kInvalid;
    }
    const unsigned long pitch = modelPitch(call, sizeof(T));
    const bool wordTables = reading == WideBytes::WordTables && call.bits > 8;
    for (unsigned long y = 0; call.width != 0 && y < call.height; ++y) {
        for (unsigned long x = 0; x < call.width; ++x) {
            const Color color = colors[2 * (y % 2) + x % 2];
            setSampleAt(image, pitch, y, x, lookUp(*model, color, sampleAt<T>(image, pitch, y, x), wordTables));
        }
    }
    return kOk;
}

template unsigned long modelWhiteBalance(SWhiteBalanceModel*, const SWhiteBalanceCall&, std::uint8_t*, WideBytes);
template unsigned long modelWhiteBalance(SWhiteBalanceModel*, const SWhiteBalanceCall&, std::uint16_t*, WideBytes);

} // namespace vek::test
