// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorMatrix.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/PixelFormat.h"
#include "common/Saturate.h"
#include "common/Status.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <limits>

namespace vek {

namespace {

constexpr std::size_t kR = 0;
constexpr std::size_t kG = 1;
constexpr std::size_t kB = 2;
constexpr double kPi = 3.14159265358979323846;

} // namespace

/// Hue and saturation times colour matrix. Single precision, in this order: tables are the same on every machine.
CColorMatrix::Matrix3 CColorMatrix::MixMatrix() const {
    constexpr float wr = 0.2989F;
    constexpr float wg = 0.5866F;
    constexpr float wb = 0.1145F;
    const double angle = mHue / 10.0 * kPi / 180.0;
    const auto s = static_cast<float>(std::sin(angle));
    const auto c = static_cast<float>(std::cos(angle));
    const float k = static_cast<float>(mSaturation) / 100.0F;

    Matrix3 h{};
    h[kR][kR] = (wr * s + (1.0F - wr) * c) * k + wr;
    h[kR][kG] = ((s - c) * k + 1.0F) * wg;
    h[kR][kB] = ((wb - 1.0F) * s - wb * c) * k + wb;
    h[kB][kR] = ((1.0F - wr) * s - wr * c) * k + wr;
    h[kB][kG] = (1.0F - (s + c) * k) * wg;
    h[kB][kB] = ((1.0F - wb) * c - wb * s) * k + wb;
    h[kG][kR] = (1.0F - h[kR][kR]) * wr / wg - h[kB][kR] * wb / wg;
    h[kG][kG] = 1.0F - h[kR][kG] * wr / wg - h[kB][kG] * wb / wg;
    h[kG][kB] = (1.0F - h[kB][kB]) * wb / wg - h[kR][kB] * wr / wg;

    Matrix3 mix{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            for (std::size_t j = 0; j < 3; ++j) {
                mix[row][column] += h[row][j] * (static_cast<float>(mMatrix[4 * j + column]) / 100.0F);
            }
        }
    }
    return mix;
}

namespace {

// Three entries within these stay far from 2^28 together, and within 16 bits.
constexpr int kModerate = 1 << 26;
constexpr int kNarrow = std::numeric_limits<short>::max() / 3;

constexpr std::size_t kLastByte = std::numeric_limits<unsigned char>::max();

using ByteSteps = rows::SMatrixTables::ByteSteps;

/// What steps make of a sample.
int productOf(const ByteSteps& steps, std::size_t j, std::size_t sample, bool inPairs) {
    const unsigned char* const rest = steps.rest[j];
    const std::size_t left = inPairs ? (rest[sample / 2] + sample % 2 + 1) / 2 : rest[sample];
    return steps.step[j] * static_cast<int>(sample) + steps.sign[j] * static_cast<int>(left) + steps.base[j];
}

/// Steps of the products of bytes with output component j; false where they do not give all of them.
bool fitSteps(ByteSteps& steps, std::size_t j, const SColorMatrixStage::NarrowTable& products, int step, int sign,
              bool inPairs) {
    // What a step a sample leaves of the products, and the table's entries for it but for a base.
    const auto leftOf = [&](std::size_t i) { return sign * (products[i][j] - step * static_cast<int>(i)); };
    const auto restOf = [&](std::size_t i) { return inPairs ? leftOf(2 * i) + leftOf(2 * i + 1) - 1 : leftOf(i); };
    const std::size_t entries = inPairs ? (kLastByte + 1) / 2 : kLastByte + 1;
    int least = restOf(0);
    for (std::size_t i = 1; i < entries; ++i) {
        least = std::min(least, restOf(i));
    }
    // Entries of pairs hold twice what they leave.
    const int base = inPairs ? static_cast<int>(std::floor(least / 2.0)) : least;
    for (std::size_t i = 0; i < entries; ++i) {
        steps.rest[j][i] = static_cast<unsigned char>(restOf(i) - (inPairs ? 2 * base : base));
    }
    steps.step[j] = static_cast<signed char>(step);
    steps.sign[j] = static_cast<signed char>(sign);
    steps.base[j] = static_cast<short>(sign * base);
    for (std::size_t i = 0; i <= kLastByte; ++i) {
        if (productOf(steps, j, i, inPairs) != products[i][j]) {
            return false;
        }
    }
    return true;
}
/// The products lie along a line. What the largest whole step below its slope leaves rises by 0 or 1 from sample to
/// sample; what the next larger step leaves falls so. A pair has room for the one of them that changes by less than
/// half on average.
bool findSteps(ByteSteps& steps, std::size_t j, const SColorMatrixStage::NarrowTable& products, bool inPairs) {
    const int rise = products[kLastByte][j] - products[0][j];
    const int step = static_cast<int>(std::floor(static_cast<double>(rise) / kLastByte));
    return fitSteps(steps, j, products, step, 1, inPairs) ||
           (inPairs && fitSteps(steps, j, products, step + 1, -1, inPairs));
}

/// Stores an entry in both widths and returns its magnitude, at most kModerate.
int store(int& entry, short& narrow, float value) {
    entry = saturateTo<int>(value);
    narrow = saturateTo<short>(entry);
    return std::abs(std::clamp(entry, -kModerate, kModerate));
}

} // namespace

STraits SColorMatrixStage::Traits(const SFrame& frame) const {
    if (!on || colorSamples(frame.pixelFormat) == 0) {
        return {};
    }
    return {.kind = EStage::Pointwise};
}

void SColorMatrixStage::UpdateSteps() {
    const auto find = [this](bool pairs) {
        bool found = true;
        for (std::size_t j = 0; found && j < 3; ++j) {
            found = findSteps(steps[0], j, narrowB, pairs) && findSteps(steps[1], j, narrowG, pairs) &&
                    findSteps(steps[2], j, narrowR, pairs);
        }
        return found;
    };
    const bool fits = largest8 <= kNarrow;
    inPairs = fits && find(true);
    hasSteps = inPairs || (fits && find(false));
}

rows::SMatrixTables SColorMatrixStage::Tables() const {
    return {.blue = tableB.data(),
            .green = tableG.data(),
            .red = tableR.data(),
            .narrowBlue = narrowB.data(),
            .narrowGreen = narrowG.data(),
            .narrowRed = narrowR.data(),
            .steps = hasSteps ? steps.data() : nullptr,
            .inPairs = inPairs,
            .moderate = largest16 < kModerate,
            .narrowBytes = largest8 <= kNarrow,
            .narrowWords = largest16 <= kNarrow};
}

template <class T>
void SColorMatrixStage::Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const {
    constexpr unsigned largest = std::numeric_limits<T>::max();
    const unsigned maxValue =
        frame.bitsPerPixel < std::numeric_limits<T>::digits ? (1U << frame.bitsPerPixel) - 1 : largest;
    const unsigned samples = colorSamples(frame.pixelFormat);
    const auto matrix = rows::colorRows<T>(kernels).matrix;
    const rows::SMatrixTables tables = Tables();
    forBandRows(frame, band, samples,
                [&](T* row, unsigned long) { matrix(row, frame.width, samples, tables, maxValue); });
}
template void SColorMatrixStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned char>&) const;
template void SColorMatrixStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned short>&) const;

/// Fixed behaviour: entry i holds the products of i + 1, and the offsets stand in the table of red alone.
void CColorMatrix::UpdateStage() {
    const Matrix3 mix = MixMatrix();
    const std::array<float, 3> offset = {static_cast<float>(mMatrix[3]) / 100.0F,
                                         static_cast<float>(mMatrix[7]) / 100.0F,
                                         static_cast<float>(mMatrix[11]) / 100.0F};
    Matrix3 sum = mix;
    mStage.on = mMatrixMode != VEK_COLOR_MATRIX_IDENTITY || mHueSaturationMode != 0;
    constexpr std::size_t outputs[] = {kB, kG, kR};
    mStage.largest16 = 0;
    for (std::size_t i = 0; i < mStage.tableR.size(); ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            const std::array<float, 3>& row = sum[outputs[j]];
            mStage.largest16 =
                std::max({mStage.largest16, store(mStage.tableB[i][j], mStage.narrowB[i][j], row[kB]),
                          store(mStage.tableG[i][j], mStage.narrowG[i][j], row[kG]),
                          store(mStage.tableR[i][j], mStage.narrowR[i][j], offset[outputs[j]] + row[kR])});
        }
        if (i <= kLastByte) {
            mStage.largest8 = mStage.largest16;
        }
        for (std::size_t row = 0; row < 3; ++row) {
            for (std::size_t column = 0; column < 3; ++column) {
                sum[row][column] += mix[row][column];
            }
        }
    }
    mStage.UpdateSteps();
}

unsigned long CColorMatrix::SetColorMatrix(unsigned char mode, const short* matrix) {
    switch (mode) {
    case VEK_COLOR_MATRIX_IDENTITY:
        mMatrix = kIdentity;
        break;
    case VEK_COLOR_MATRIX_CUSTOM:
        if (matrix == nullptr) {
            return kInvalid;
        }
        std::copy(matrix, matrix + mMatrix.size(), mMatrix.begin());
        break;
    default:
        return kInvalid;
    }
    mMatrixMode = mode;
    UpdateStage();
    return kOk;
}

unsigned long CColorMatrix::GetColorMatrix(unsigned char* mode, short* matrix) {
    if (matrix != nullptr) {
        std::copy(mMatrix.begin(), mMatrix.end(), matrix);
    }
    if (mode != nullptr) {
        *mode = mMatrixMode;
    }
    return kOk;
}

unsigned long CColorMatrix::SetHueSaturation(unsigned char mode, short hue, unsigned short saturation) {
    if (mode > 1) {
        return kInvalid;
    }
    mHueSaturationMode = mode;
    mHue = mode == 1 ? hue : short{0};
    mSaturation = mode == 1 ? saturation : static_cast<unsigned short>(100);
    UpdateStage();
    return kOk;
}

unsigned long CColorMatrix::GetHueSaturation(unsigned char* mode, short* hue, unsigned short* saturation) {
    if (mode == nullptr || hue == nullptr || saturation == nullptr) {
        return kInvalid;
    }
    *mode = mHueSaturationMode;
    *hue = mHue;
    *saturation = mSaturation;
    return kOk;
}

template <class T>
unsigned long CColorMatrix::Process(unsigned long width, unsigned long height, unsigned long pitch,
                                    unsigned long pixelFormat, T* image, unsigned short bits) const {
    if (isGray(pixelFormat)) {
        return kOk;
    }
    const unsigned samples = colorSamples(pixelFormat);
    if (samples == 0) {
        return kInvalid;
    }
    if (!mStage.on) {
        return kOk;
    }
    return runInPlace(mStage, mRows, {width, height, pixelFormat, 0, bits},
                      SRows<T>{pitchOr<T>(pitch, samples * width), image});
}

unsigned long CColorMatrix::ProcessB(unsigned long width, unsigned long height, unsigned long pitch,
                                     unsigned long pixelFormat, unsigned char* image, unsigned short bits) {
    return Process(width, height, pitch, pixelFormat, image, bits);
}

unsigned long CColorMatrix::ProcessW(unsigned long width, unsigned long height, unsigned long pitch,
                                     unsigned long pixelFormat, unsigned short* image, unsigned short bits) {
    return Process(width, height, pitch, pixelFormat, image, bits);
}

} // namespace vek
