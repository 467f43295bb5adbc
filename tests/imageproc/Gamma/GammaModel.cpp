// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Gamma/GammaModel.h"

#include "common/Status.h"
#include "support/ImageLayout.h"

#include <cmath>
#include <cstring>
#include <utility>

namespace vek::test {

namespace {

void identity(std::uint16_t* table, unsigned bits) {
    const unsigned max = (1U << bits) - 1;
    for (unsigned i = 0; i < 4096; ++i) {
        table[i] = static_cast<std::uint16_t>(i <= max ? i : max);
    }
}

void reverse(std::uint16_t* table, unsigned bits) {
    const unsigned count = 1U << bits;
    for (unsigned i = 0; i < count / 2; ++i) {
        std::swap(table[i], table[count - 1 - i]);
    }
}

/// A whole number of any size as 16 bits.
std::uint16_t lowWord(double whole) {
    const double rest = std::fmod(whole, 65536.0);
    return static_cast<std::uint16_t>(rest < 0 ? rest + 65536.0 : rest);
}

/// One entry of a curve; input is the level with the brightness added.
std::uint16_t curveEntry(int input, int max, int contrast, double steepness, double exponent) {
    if (input > max) {
        return 255;
    }
    if (input < 0 || input <= contrast) {
        return 0;
    }
    if (input >= max - contrast) {
        return static_cast<std::uint16_t>(max);
    }
    const double x = (input - contrast) * steepness;
    if (x >= max) {
        return static_cast<std::uint16_t>(max);
    }
    const double power = std::pow(x / max, exponent);
    if (std::isnan(power)) {
        return 0;
    }
    const double entry = std::trunc(max * power + 0.5);
    return entry > max ? static_cast<std::uint16_t>(max) : lowWord(entry);
}

void curve(std::uint16_t* table, const SGammaSetting& setting) {
    const int max = (1 << setting.bits) - 1;
    // No contrast is left at depths of 0 and 1.
    const int half = setting.bits == 0 ? 0 : (1 << (setting.bits - 1)) - 1;
    const int contrast = setting.contrast < half ? setting.contrast : half;
    const double steepness = 255.0 / (255.0 - 2 * contrast);
    for (int i = 0; i <= max; ++i) {
        table[i] = curveEntry(i + setting.brightness, max, contrast, steepness, 100.0 / setting.gamma);
    }
}

template <class T>
T* pixelAt(T* image, unsigned long pitch, unsigned long y, unsigned long sample) {
    return reinterpret_cast<T*>(reinterpret_cast<std::uint8_t*>(image) + y * pitch) + sample;
}

unsigned lookUp(const std::uint16_t* table, unsigned index) {
    return table[index < 4095 ? index : 4095];
}

/// Samples of a pixel, as the default pitch counts them.
unsigned long pixelSize(unsigned long format) {
    switch (format) {
    case 4:
        return 3;
    case 8:
        return 4;
    case 2:
    case 16:
    case 32:
    case 64:
        return 2;
    case 256:
        return 6;
    case 512:
        return 8;
    default:
        return 1;
    }
}

/// Components above the luma tables take their last entry.
int lumaShare(unsigned component, double weight) {
    return static_cast<int>(std::floor((component < 4195 ? component : 4195) * weight + 0.5));
}

template <class T>
void movePixel(const std::uint16_t* table, T* pixel, int max) {
    const int luma = lumaShare(pixel[0], 0.114) + lumaShare(pixel[1], 0.587) + lumaShare(pixel[2], 0.299);
    int difference = (static_cast<int>(lookUp(table, static_cast<unsigned>(luma))) - luma) & 0xFFFF;
    difference = difference > 32767 ? difference - 65536 : difference;
    for (int i = 0; i < 3; ++i) {
        const int moved = int{pixel[i]} + difference;
        pixel[i] = static_cast<T>(moved < 0 ? 0 : moved > max ? max : moved);
    }
}

bool isMissing(const SGammaCall& call, const void* image) {
    return image == nullptr && call.width != 0 && call.height != 0;
}

template <class T>
unsigned long rawGamma(const SGammaModel& model, const SGammaCall& call, T* image) {
    constexpr unsigned phases[4][4] = {{1, 2, 3, 4}, {2, 1, 4, 3}, {3, 4, 1, 2}, {4, 3, 2, 1}};
    if (call.selector == 1) {
        return kOk;
    }
    if (model.mode[1] == 0 && model.mode[2] == 0 && model.mode[3] == 0 && model.mode[4] == 0) {
        return kOk;
    }
    if (isMissing(call, image)) {
        return kInvalid;
    }
    const unsigned* const channels = phases[call.selector >= 3 && call.selector <= 5 ? call.selector - 2 : 0];
    for (unsigned long y = 0; call.width != 0 && y < call.height; ++y) {
        for (unsigned long x = 0; x < call.width; ++x) {
            T* const pixel = pixelAt(image, modelPitch(call, sizeof(T)), y, x);
            *pixel = static_cast<T>(lookUp(model.table[channels[2 * (y % 2) + x % 2]], *pixel));
        }
    }
    return kOk;
}

template <class T>
unsigned long pixelGamma(const SGammaModel& model, const SGammaCall& call, T* image) {
    const bool words = sizeof(T) == 2;
    if (model.mode[0] == 0) {
        return kOk;
    }
    const unsigned long format = call.selector;
    const bool color = words ? format == 256 || format == 512 : format == 4 || format == 8;
    const bool gray = words ? format == 16 || format == 32 : format == 1;
    if ((!color && !gray) || isMissing(call, image)) {
        return kInvalid;
    }
    const unsigned long pitch = modelPitch(call, sizeof(T));
    for (unsigned long y = 0; call.width != 0 && y < call.height; ++y) {
        for (unsigned long x = 0; x < call.width; ++x) {
            if (gray) {
                T* const pixel = pixelAt(image, pitch, y, x);
                *pixel = static_cast<T>(lookUp(model.table[0], *pixel));
            } else {
                movePixel(model.table[0], pixelAt(image, pitch, y, x * pixelSize(format)), words ? 4095 : 255);
            }
        }
    }
    return kOk;
}

} // namespace

SGammaModel::SGammaModel() {
    for (unsigned channel = 0; channel < kGammaChannels; ++channel) {
        mode[channel] = 0;
        gamma[channel] = 100;
        brightness[channel] = 0;
        contrast[channel] = 0;
        bits[channel] = 8;
        identity(table[channel], 8);
    }
}

unsigned long modelSetGamma(SGammaModel* model, const SGammaSetting& setting, const void* table) {
    const unsigned channel = setting.channel;
    if (channel >= kGammaChannels || setting.bits >= 13) {
        return kInvalid;
    }
    SGammaSetting kept = setting;
    switch (setting.mode) {
    case 255:
        if (table == nullptr) {
            return kInvalid;
        }
        for (unsigned i = 0; i < 1U << setting.bits; ++i) {
            std::uint16_t entry = 0;
            std::memcpy(&entry, static_cast<const std::uint8_t*>(table) + i * (setting.bits > 8 ? 2 : 1),
                        setting.bits > 8 ? 2 : 1);
            model->table[channel][i] = entry;
        }
        break;
    case 1:
    case 2:
        if (setting.gamma == 0) {
            return kInvalid;
        }
        curve(model->table[channel], setting);
        if (setting.mode == 2) {
            reverse(model->table[channel], setting.bits);
        }
        break;
    case 0:
        identity(model->table[channel], setting.bits);
        break;
    default:
        return kInvalid;
    }
    if (setting.mode == 0 || setting.mode == 255) {
        kept.gamma = 100;
        kept.brightness = 0;
        kept.contrast = 0;
    }
    model->mode[channel] = kept.mode;
    model->gamma[channel] = kept.gamma;
    model->brightness[channel] = kept.brightness;
    model->contrast[channel] = kept.contrast;
    model->bits[channel] = kept.bits;
    return kOk;
}

unsigned long modelPitch(const SGammaCall& call, std::size_t sampleBytes) {
    const unsigned long samples = call.raw ? 1 : pixelSize(call.selector);
    return call.pitch != 0 ? call.pitch : derivedPitch(samples * call.width * sampleBytes);
}

std::size_t modelExtent(const SGammaCall& call, std::size_t sampleBytes) {
    // Words of colour: a step from pixel to pixel of 6 or 8, of which 3 or 4 belong to the pixel.
    const unsigned long step = pixelSize(call.selector);
    const unsigned long last = call.selector == 256 ? 3 : call.selector == 512 ? 4 : step;
    const bool single = call.raw || call.selector == 16 || call.selector == 32;
    const unsigned long samples = call.width == 0 ? 0 : single ? call.width : (call.width - 1) * step + last;
    return imageExtent(call.width, call.height, modelPitch(call, sampleBytes), samples * sampleBytes);
}

template <class T>
unsigned long modelGamma(const SGammaModel& model, const SGammaCall& call, T* image) {
    return call.raw ? rawGamma(model, call, image) : pixelGamma(model, call, image);
}

template unsigned long modelGamma(const SGammaModel&, const SGammaCall&, std::uint8_t*);
template unsigned long modelGamma(const SGammaModel&, const SGammaCall&, std::uint16_t*);

} // namespace vek::test
