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
CColorMatrix::Matrix3 CColorMatrix::mGetMixMatrix() const {
    constexpr float wr = 0.2989F;
    constexpr float wg = 0.5866F;
    constexpr float wb = 0.1145F;
    const double angle = mHue / 10.0 * kPi / 180.0;
    const auto s = static_cast<float>(std::sin(angle));
    const auto c = static_cast<float>(std::cos(angle));
    const float k = static_cast<float>(mwSaturation) / 100.0F;

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

/// The bytes of a sample's products.
void mvSplit(rows::SMatrixTables::BytePlanes& planes, std::size_t sample, const short* products) {
    for (std::size_t j = 0; j < 3; ++j) {
        planes.low[j][sample] = static_cast<unsigned char>(products[j]);
        planes.high[j][sample] = static_cast<unsigned char>(products[j] >> 8);
    }
}

/// Stores an entry in both widths and returns its magnitude, at most kModerate.
int mnStore(int& entry, short& narrow, float value) {
    entry = saturateTo<int>(value);
    narrow = saturateTo<short>(entry);
    return std::abs(std::clamp(entry, -kModerate, kModerate));
}

} // namespace

/// Fixed behaviour: entry i holds the products of i + 1, and the offsets stand in the table of red alone.
void CColorMatrix::mUpdateTable() {
    const Matrix3 mix = mGetMixMatrix();
    const std::array<float, 3> offset = {static_cast<float>(mMatrix[3]) / 100.0F,
                                         static_cast<float>(mMatrix[7]) / 100.0F,
                                         static_cast<float>(mMatrix[11]) / 100.0F};
    Matrix3 sum = mix;
    constexpr std::size_t outputs[] = {kB, kG, kR};
    mLargest16 = 0;
    for (std::size_t i = 0; i < mTableR.size(); ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            const std::array<float, 3>& row = sum[outputs[j]];
            mLargest16 = std::max({mLargest16, mnStore(mTableB[i][j], mNarrowB[i][j], row[kB]),
                                   mnStore(mTableG[i][j], mNarrowG[i][j], row[kG]),
                                   mnStore(mTableR[i][j], mNarrowR[i][j], offset[outputs[j]] + row[kR])});
        }
        if (i <= kLastByte) {
            mLargest8 = mLargest16;
            mvSplit(mPlanes[0], i, mNarrowB[i]);
            mvSplit(mPlanes[1], i, mNarrowG[i]);
            mvSplit(mPlanes[2], i, mNarrowR[i]);
        }
        for (std::size_t row = 0; row < 3; ++row) {
            for (std::size_t column = 0; column < 3; ++column) {
                sum[row][column] += mix[row][column];
            }
        }
    }
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
    mUpdateTable();
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
    mwSaturation = mode == 1 ? saturation : static_cast<unsigned short>(100);
    mUpdateTable();
    return kOk;
}

unsigned long CColorMatrix::GetHueSaturation(unsigned char* mode, short* hue, unsigned short* saturation) {
    if (mode == nullptr || hue == nullptr || saturation == nullptr) {
        return kInvalid;
    }
    *mode = mHueSaturationMode;
    *hue = mHue;
    *saturation = mwSaturation;
    return kOk;
}

template <class T>
unsigned long CColorMatrix::Process(unsigned long width, unsigned long height, unsigned long lineBytes,
                                    unsigned long pixelFormat, T* image, unsigned short bits) const {
    if (pixelFormat == VEK_DESTINATION_MONO8 || isGreyOfWords(pixelFormat)) {
        return kOk;
    }
    const unsigned samples = colourSamples(pixelFormat);
    if (samples == 0) {
        return kInvalid;
    }
    lineBytes = pitchOr<T>(lineBytes, samples * width);
    if (mMatrixMode == VEK_COLOR_MATRIX_IDENTITY && mHueSaturationMode == 0) {
        return kOk;
    }
    const unsigned maxValue =
        bits < std::numeric_limits<T>::digits ? (1U << bits) - 1 : unsigned{std::numeric_limits<T>::max()};
    const auto matrix = rows::colourRows<T>(mRows).matrix;
    const rows::SMatrixTables tables = {
        mTableB.data(),  mTableG.data(), mTableR.data(),         mNarrowB.data(),      mNarrowG.data(),
        mNarrowR.data(), mPlanes.data(), mLargest16 < kModerate, mLargest8 <= kNarrow, mLargest16 <= kNarrow};
    return SImage<T>{width, height, lineBytes, image}.forRows(
        [&](T* row, unsigned long) { matrix(row, width, samples, tables, maxValue); });
}

unsigned long CColorMatrix::ProcessB(unsigned long width, unsigned long height, unsigned long lineBytes,
                                     unsigned long pixelFormat, unsigned char* image, unsigned short bits) {
    return Process(width, height, lineBytes, pixelFormat, image, bits);
}

unsigned long CColorMatrix::ProcessW(unsigned long width, unsigned long height, unsigned long lineBytes,
                                     unsigned long pixelFormat, unsigned short* image, unsigned short bits) {
    return Process(width, height, lineBytes, pixelFormat, image, bits);
}

} // namespace vek
