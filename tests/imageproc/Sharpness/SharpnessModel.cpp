// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Sharpness/SharpnessModel.h"

#include "imageproc/ColorSpace/LumaModel.h"

#include <cstring>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned long kInvalid = static_cast<unsigned long>(-22L);

/// The image as it was, sample by sample.
template <class T>
class CPicture {
public:
    CPicture(const T* image, unsigned long width, unsigned long height, unsigned long lineBytes, unsigned samples)
        : mLineBytes(lineBytes), mSamples(samples) {
        const unsigned long last = width * samples - (samples == 4 ? 1 : 0);
        const auto* const bytes = reinterpret_cast<const unsigned char*>(image);
        mBytes.assign(bytes, bytes + (height - 1) * lineBytes + last * sizeof(T));
    }
    int Sample(unsigned long y, unsigned long x, unsigned s) const {
        T sample = 0;
        std::memcpy(&sample, mBytes.data() + y * mLineBytes + (x * mSamples + s) * sizeof(T), sizeof sample);
        return sample;
    }
    /// What is compared: a grey pixel itself, a colour pixel's luma.
    int Level(unsigned long y, unsigned long x) const {
        if (mSamples == 1) {
            return Sample(y, x, 0);
        }
        const auto component = [&](unsigned s) { return static_cast<unsigned>(Sample(y, x, s)); };
        return static_cast<int>(modelLuma(component(0), component(1), component(2)));
    }

private:
    unsigned long mLineBytes;
    unsigned mSamples;
    std::vector<unsigned char> mBytes;
};

/// The correction of a difference; beyond the table the last one.
int correction(const SSharpnessModel& module, int difference) {
    return module.table[static_cast<std::size_t>(difference > 4095 ? 4095 : difference)];
}

/// A word moved by move, kept within 0 .. max.
std::uint16_t moved(std::uint16_t sample, int move, bool bUp, int max, bool /*bGrey*/) {
    const int result = bUp ? sample + move : sample - move;
    if (bUp) {
        return static_cast<std::uint16_t>(result < max ? result : max);
    }
    return static_cast<std::uint16_t>(result > 0 ? result : 0);
}

/// A byte: grey images take moves modulo 256, colour images bounds and sums.
std::uint8_t moved(std::uint8_t sample, int move, bool bUp, int max, bool bGrey) {
    const auto top = static_cast<std::uint8_t>(max);
    if (bGrey) {
        const auto byte = static_cast<std::uint8_t>(move);
        if (bUp) {
            const auto room = static_cast<std::uint8_t>(max - sample);
            return room > byte ? static_cast<std::uint8_t>(sample + byte) : top;
        }
        return sample > byte ? static_cast<std::uint8_t>(sample - byte) : std::uint8_t{0};
    }
    if (bUp) {
        const auto bound = static_cast<std::uint8_t>(max - move);
        return sample < bound ? static_cast<std::uint8_t>(sample + move) : top;
    }
    return sample > move ? static_cast<std::uint8_t>(sample - move) : std::uint8_t{0};
}

} // namespace

void SSharpnessModel::SetMode(unsigned char newMode, unsigned short newGain, unsigned short newCoring) {
    mode = newMode;
    gain = newGain;
    coring = newCoring;
    if (mode == 0) {
        return;
    }
    const float step = static_cast<float>(gain) / 100.0F;
    float sum = step;
    for (unsigned i = 0; i < 4096; ++i) {
        if (i <= coring) {
            table[i] = 0;
            continue;
        }
        table[i] = sum >= 4095.0F ? std::uint16_t{4095} : static_cast<std::uint16_t>(static_cast<double>(sum) + 0.5);
        sum += step;
    }
}

unsigned long modelSharpnessStatus(const SSharpnessModel& module, unsigned long pixelFormat, unsigned bits,
                                   unsigned* samples) {
    *samples = 0;
    if (module.mode == 0) {
        return 0;
    }
    if (bits < 8 || bits > 12) {
        return kInvalid;
    }
    const bool bDeep = bits > 8;
    switch (pixelFormat) {
    case 1:
        *samples = bDeep ? 0 : 1;
        break;
    case 4:
        *samples = bDeep ? 0 : 3;
        break;
    case 8:
        *samples = bDeep ? 0 : 4;
        break;
    case 2:
    case 16:
    case 32:
    case 64:
        *samples = bDeep ? 1 : 0;
        break;
    case 256:
        *samples = bDeep ? 3 : 0;
        break;
    case 512:
        *samples = bDeep ? 4 : 0;
        break;
    default:
        break;
    }
    return *samples != 0 ? 0 : kInvalid;
}

template <class T>
unsigned long modelSharpness(const SSharpnessModel& module, unsigned long width, unsigned long height,
                             unsigned long lineBytes, unsigned long pixelFormat, T* image, unsigned bits) {
    unsigned samples = 0;
    const unsigned long status = modelSharpnessStatus(module, pixelFormat, bits, &samples);
    if (status != 0 || samples == 0 || width < 3 || height < 3) {
        return status;
    }
    if (lineBytes == 0) {
        lineBytes = samples * width * sizeof(T);
        lineBytes += (4 - lineBytes % 4) % 4;
    }
    const int max = (1 << bits) - 1;
    const CPicture<T> before(image, width, height, lineBytes, samples);
    for (unsigned long y = 1; y + 1 < height; ++y) {
        for (unsigned long x = 1; x + 1 < width; ++x) {
            int sum = -before.Level(y, x);
            for (unsigned long row = y - 1; row <= y + 1; ++row) {
                for (unsigned long column = x - 1; column <= x + 1; ++column) {
                    sum += before.Level(row, column);
                }
            }
            const int difference = before.Level(y, x) - (sum + 4) / 8;
            const bool bUp = difference > module.coring;
            if (!bUp && difference >= -int{module.coring}) {
                continue;
            }
            const int move = correction(module, bUp ? difference : -difference);
            for (unsigned s = 0; s < samples && s < 3; ++s) {
                const T sample = moved(static_cast<T>(before.Sample(y, x, s)), move, bUp, max, samples == 1);
                std::memcpy(reinterpret_cast<unsigned char*>(image) + y * lineBytes + (x * samples + s) * sizeof(T),
                            &sample, sizeof sample);
            }
        }
    }
    return 0;
}

template unsigned long modelSharpness(const SSharpnessModel&, unsigned long, unsigned long, unsigned long,
                                      unsigned long, std::uint8_t*, unsigned);
template unsigned long modelSharpness(const SSharpnessModel&, unsigned long, unsigned long, unsigned long,
                                      unsigned long, std::uint16_t*, unsigned);

} // namespace vek::test
