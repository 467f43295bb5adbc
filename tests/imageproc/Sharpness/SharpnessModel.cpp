// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Sharpness/SharpnessModel.h"

#include "common/Status.h"
#include "imageproc/ColorSpace/LumaModel.h"

#include <vector>

namespace vek::test {

namespace {

/// The image as it was, sample by sample.
template <class T>
class CPicture {
public:
    CPicture(const SInPlaceImage& image, const T* samples) : mPitch(image.pitch), mSamples(image.samples) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(samples);
        mBytes.assign(bytes, bytes + inPlaceBytes(image, sizeof(T)));
    }
    int Sample(unsigned long y, unsigned long x, unsigned s) const {
        return sampleAt<T>(mBytes.data(), mPitch, y, x * mSamples + s);
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
    unsigned long mPitch;
    unsigned mSamples;
    std::vector<unsigned char> mBytes;
};

/// The correction of a difference; beyond the table the last one.
int correction(const SSharpnessModel& module, int difference) {
    return module.table[static_cast<std::size_t>(difference > 4095 ? 4095 : difference)];
}

/// A word moved by move, kept within 0 .. max.
std::uint16_t moved(std::uint16_t sample, int move, bool up, int max, bool /*grey*/) {
    const int result = up ? sample + move : sample - move;
    if (up) {
        return static_cast<std::uint16_t>(result < max ? result : max);
    }
    return static_cast<std::uint16_t>(result > 0 ? result : 0);
}

/// A byte: grey images take moves modulo 256, colour images bounds and sums.
std::uint8_t moved(std::uint8_t sample, int move, bool up, int max, bool gray) {
    const auto top = static_cast<std::uint8_t>(max);
    if (gray) {
        const auto byte = static_cast<std::uint8_t>(move);
        if (up) {
            const auto room = static_cast<std::uint8_t>(max - sample);
            return room > byte ? static_cast<std::uint8_t>(sample + byte) : top;
        }
        return sample > byte ? static_cast<std::uint8_t>(sample - byte) : std::uint8_t{0};
    }
    if (up) {
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
    const bool deep = bits > 8;
    switch (pixelFormat) {
    case 1:
        *samples = deep ? 0 : 1;
        break;
    case 4:
        *samples = deep ? 0 : 3;
        break;
    case 8:
        *samples = deep ? 0 : 4;
        break;
    case 2:
    case 16:
    case 32:
    case 64:
        *samples = deep ? 1 : 0;
        break;
    case 256:
        *samples = deep ? 3 : 0;
        break;
    case 512:
        *samples = deep ? 4 : 0;
        break;
    default:
        break;
    }
    return *samples != 0 ? 0 : kInvalid;
}

template <class T>
unsigned long modelSharpness(const SSharpnessModel& module, SInPlaceImage image, unsigned long pixelFormat, T* samples,
                             unsigned bits) {
    const unsigned long status = modelSharpnessStatus(module, pixelFormat, bits, &image.samples);
    if (status != 0 || image.samples == 0 || image.width < 3 || image.height < 3) {
        return status;
    }
    image.pitch = inPlacePitch(image, sizeof(T));
    const int max = (1 << bits) - 1;
    const CPicture<T> before(image, samples);
    for (unsigned long y = 1; y + 1 < image.height; ++y) {
        for (unsigned long x = 1; x + 1 < image.width; ++x) {
            int sum = -before.Level(y, x);
            for (unsigned long row = y - 1; row <= y + 1; ++row) {
                for (unsigned long column = x - 1; column <= x + 1; ++column) {
                    sum += before.Level(row, column);
                }
            }
            const int difference = before.Level(y, x) - (sum + 4) / 8;
            const bool up = difference > module.coring;
            if (!up && difference >= -int{module.coring}) {
                continue;
            }
            const int move = correction(module, up ? difference : -difference);
            for (unsigned s = 0; s < image.samples && s < 3; ++s) {
                const T sample = moved(static_cast<T>(before.Sample(y, x, s)), move, up, max, image.samples == 1);
                setSampleAt(samples, image.pitch, y, x * image.samples + s, sample);
            }
        }
    }
    return 0;
}

template unsigned long modelSharpness(const SSharpnessModel&, SInPlaceImage, unsigned long, std::uint8_t*, unsigned);
template unsigned long modelSharpness(const SSharpnessModel&, SInPlaceImage, unsigned long, std::uint16_t*, unsigned);

} // namespace vek::test
