// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/ImageLayout.h"

#include <array>
#include <cstdint>

namespace vek::test {

/// A colour matrix module: its settings and the tables that they make.
class CColorMatrixModel {
public:
    CColorMatrixModel();

    unsigned long SetColorMatrix(unsigned char mode, const short* matrix);
    unsigned long SetHueSaturation(unsigned char mode, short hue, unsigned short saturation);

    /// Status of a format; samples receives those of a pixel, 0 where there is nothing to do.
    unsigned long Status(unsigned long pixelFormat, unsigned* samples) const;
    /// One output sample (0 blue, 1 green, 2 red) of a pixel before it is clamped; the inputs are as in the image.
    std::int64_t Sum(unsigned blue, unsigned green, unsigned red, unsigned output) const;
    /// One call, pixel by pixel. The samples a pixel are those of the format.
    template <class T>
    unsigned long Process(SInPlaceImage image, unsigned long pixelFormat, T* samples, unsigned bits) const;
    /// Whether every entry and every sum fits in 32 bits; beyond that no result is defined.
    bool Defined() const { return mDefined; }

    unsigned char mMatrixMode = 0;
    std::array<short, 12> mMatrix{};
    unsigned char mHueMode = 0;
    short mHue = 0;
    unsigned short mSaturation = 100;

private:
    void Update();

    bool mDefined = true;
    /// [input][index][output], both in the order blue, green, red.
    std::array<std::array<std::array<std::int64_t, 3>, 4096>, 3> mTables{};
};

extern template unsigned long CColorMatrixModel::Process(SInPlaceImage, unsigned long, std::uint8_t*, unsigned) const;
extern template unsigned long CColorMatrixModel::Process(SInPlaceImage, unsigned long, std::uint16_t*, unsigned) const;

} // namespace vek::test
