// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorMatrix/ColorMatrixModel.h"

#include "common/Status.h"

#include <algorithm>
#include <cmath>

namespace vek::test {

namespace {

constexpr std::array<short, 12> kIdentity = {100, 0, 0, 0, 0, 100, 0, 0, 0, 0, 100, 0};

// Rows and columns of matrices.
constexpr int kR = 0;
constexpr int kG = 1;
constexpr int kB = 2;

struct SMatrix {
    float at[3][3];
};

/// Hue and saturation, in single precision, operation by operation.
SMatrix hueMatrix(short hue, unsigned short saturation) {
    const float wr = 0.2989F;
    const float wg = 0.5866F;
    const float wb = 0.1145F;
    const double pi = 3.14159265358979323846;
    const double angle = hue / 10.0;
    const float s = static_cast<float>(std::sin(angle * pi / 180.0));
    const float c = static_cast<float>(std::cos(angle * pi / 180.0));
    const float k = static_cast<float>(saturation) / 100.0F;
    SMatrix h{};
    h.at[kR][kR] = (wr * s + (1.0F - wr) * c) * k + wr;
    h.at[kR][kG] = ((s - c) * k + 1.0F) * wg;
    h.at[kR][kB] = ((wb - 1.0F) * s - wb * c) * k + wb;
    h.at[kB][kR] = ((1.0F - wr) * s - wr * c) * k + wr;
    h.at[kB][kG] = (1.0F - (s + c) * k) * wg;
    h.at[kB][kB] = ((1.0F - wb) * c - wb * s) * k + wb;
    h.at[kG][kR] = (1.0F - h.at[kR][kR]) * wr / wg - h.at[kB][kR] * wb / wg;
    h.at[kG][kG] = 1.0F - h.at[kR][kG] * wr / wg - h.at[kB][kG] * wb / wg;
    h.at[kG][kB] = (1.0F - h.at[kB][kB]) * wb / wg - h.at[kR][kB] * wr / wg;
    return h;
}

} // namespace

CColorMatrixModel::CColorMatrixModel() : mMatrix(kIdentity) {}

unsigned long CColorMatrixModel::SetColorMatrix(unsigned char mode, const short* values) {
    if (mode != 0 && mode != 255) {
        return kInvalid;
    }
    mMatrix = kIdentity;
    if (mode == 255) {
        std::copy(values, values + 12, mMatrix.begin());
    }
    mMatrixMode = mode;
    Update();
    return 0;
}

unsigned long CColorMatrixModel::SetHueSaturation(unsigned char mode, short newHue, unsigned short newSaturation) {
    if (mode > 1) {
        return kInvalid;
    }
    mHue = mode == 1 ? newHue : short{0};
    mSaturation = mode == 1 ? newSaturation : std::uint16_t{100};
    mHueMode = mode;
    Update();
    return 0;
}

void CColorMatrixModel::Update() {
    const SMatrix h = hueMatrix(mHue, mSaturation);
    SMatrix k{};
    float offset[3] = {};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            k.at[row][column] = static_cast<float>(mMatrix[row * 4 + column]) / 100.0F;
        }
        offset[row] = static_cast<float>(mMatrix[row * 4 + 3]) / 100.0F;
    }
    SMatrix m{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            m.at[row][column] =
                h.at[row][0] * k.at[0][column] + h.at[row][1] * k.at[1][column] + h.at[row][2] * k.at[2][column];
        }
    }
    constexpr int kColors[3] = {kB, kG, kR}; // samples of a pixel
    SMatrix sum = m;
    double largest = 0;
    for (std::size_t i = 0; i < 4096; ++i) {
        for (std::size_t input = 0; input < 3; ++input) {
            for (std::size_t output = 0; output < 3; ++output) {
                float value = sum.at[kColors[output]][kColors[input]];
                if (kColors[input] == kR) {
                    value = offset[kColors[output]] + value;
                }
                largest = std::max(largest, std::fabs(static_cast<double>(value)));
                mTables[input][i][output] = static_cast<std::int64_t>(value);
            }
        }
        for (std::size_t row = 0; row < 3; ++row) {
            for (std::size_t column = 0; column < 3; ++column) {
                sum.at[row][column] += m.at[row][column];
            }
        }
    }
    mDefined = largest * 3 < 2147483647.0;
}

unsigned long CColorMatrixModel::Status(unsigned long pixelFormat, unsigned* samples) const {
    *samples = 0;
    switch (pixelFormat) {
    case 1:
    case 2:
    case 16:
    case 32:
    case 64:
        return 0;
    case 4:
    case 256:
        *samples = mMatrixMode == 0 && mHueMode == 0 ? 0 : 3;
        return 0;
    case 8:
    case 512:
        *samples = mMatrixMode == 0 && mHueMode == 0 ? 0 : 4;
        return 0;
    default:
        return kInvalid;
    }
}

std::int64_t CColorMatrixModel::Sum(unsigned blue, unsigned green, unsigned red, unsigned output) const {
    const auto entry = [&](std::size_t input, unsigned sample) {
        return mTables[input][sample > 4095 ? 4095 : sample][output];
    };
    return entry(0, blue) + entry(1, green) + entry(2, red);
}

template <class T>
unsigned long CColorMatrixModel::Process(SInPlaceImage image, unsigned long pixelFormat, T* samples,
                                         unsigned bits) const {
    const unsigned long status = Status(pixelFormat, &image.samples);
    if (status != 0 || image.samples == 0) {
        return status;
    }
    const unsigned long pitch = inPlacePitch(image, sizeof(T));
    std::int64_t max = (std::int64_t{1} << bits) - 1;
    if (sizeof(T) == 1) {
        max %= 256;
    }
    for (unsigned long y = 0; image.width != 0 && y < image.height; ++y) {
        for (unsigned long x = 0; x < image.width; ++x) {
            T bgr[3];
            for (unsigned s = 0; s < 3; ++s) {
                bgr[s] = sampleAt<T>(samples, pitch, y, x * image.samples + s);
            }
            for (unsigned output = 0; output < 3; ++output) {
                const std::int64_t sum = Sum(bgr[0], bgr[1], bgr[2], output);
                const T result = sum >= 0 && sum <= max         ? static_cast<T>(sum)
                                 : sum > max && sum < (1 << 28) ? static_cast<T>(max)
                                                                : T{0};
                setSampleAt(samples, pitch, y, x * image.samples + output, result);
            }
        }
    }
    return 0;
}

template unsigned long CColorMatrixModel::Process(SInPlaceImage, unsigned long, std::uint8_t*, unsigned) const;
template unsigned long CColorMatrixModel::Process(SInPlaceImage, unsigned long, std::uint16_t*, unsigned) const;

} // namespace vek::test
