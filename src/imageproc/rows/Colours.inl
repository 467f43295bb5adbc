// SPDX-License-Identifier: Apache-2.0
// Rows of blue-green-red pixels: luma curve, colour matrix, chroma suppression; and the unsharp mask.

namespace vek::rows::VEK_ISA {
namespace {

/// Sample as an index into a table of Entries.
template <unsigned Entries, class T>
inline unsigned entryOf(T sample) {
    if constexpr (sizeof(T) == 1) {
        static_assert(Entries >= 256);
        return sample;
    } else {
        return sample < Entries ? sample : Entries - 1;
    }
}

/// Luma of a pixel; the sum of three largest shares fits 16 bits.
template <class T>
inline unsigned lumaOf(const T* pixel, const SLumaTables& tables) {
    constexpr unsigned entries = SLumaTables::kEntries;
    return static_cast<unsigned>(tables.blue[entryOf<entries>(pixel[0])] + tables.green[entryOf<entries>(pixel[1])] +
                                 tables.red[entryOf<entries>(pixel[2])]);
}

template <class T>
inline T clampTo(std::int32_t value, std::int32_t maxValue) {
    return static_cast<T>(value < 0 ? 0 : value > maxValue ? maxValue : value);
}

template <class T>
void lumaCurve(T* row, std::size_t width, std::size_t step, const SLumaTables& luma, const std::uint16_t* curve,
               unsigned maxValue) {
    const auto max = static_cast<std::int32_t>(maxValue);
    for (std::size_t x = 0; x < width; ++x) {
        T* const pixel = row + x * step;
        const unsigned y = lumaOf(pixel, luma);
        const auto change = static_cast<std::int16_t>(curve[entryOf<4096>(static_cast<std::uint16_t>(y))] - y);
        for (unsigned i = 0; i < 3; ++i) {
            pixel[i] = clampTo<T>(pixel[i] + change, max);
        }
    }
}

/// 0 .. maxValue as it is, larger sums below 2^28 as maxValue, negative and still larger ones as 0.
template <class T>
inline T clampSum(std::uint32_t sum, unsigned maxValue) {
    return static_cast<T>(sum <= maxValue ? sum : sum < 1U << 28 ? maxValue : 0);
}

template <class T>
void matrix(T* row, std::size_t width, std::size_t step, const SMatrixTables& tables, unsigned maxValue) {
    for (std::size_t x = 0; x < width; ++x) {
        T* const pixel = row + x * step;
        const SMatrixTables::Entry& blue = tables.blue[entryOf<4096>(pixel[0])];
        const SMatrixTables::Entry& green = tables.green[entryOf<4096>(pixel[1])];
        const SMatrixTables::Entry& red = tables.red[entryOf<4096>(pixel[2])];
        for (unsigned i = 0; i < 3; ++i) {
            // Unsigned: entries of extreme matrices may leave 31 bits together.
            const std::uint32_t sum = static_cast<std::uint32_t>(blue[i]) + static_cast<std::uint32_t>(green[i]) +
                                      static_cast<std::uint32_t>(red[i]);
            pixel[i] = clampSum<T>(sum, maxValue);
        }
    }
}

/// sample moved toward green by strength / 16384, the fraction cut off.
template <class T>
inline T towardGreen(T sample, T green, std::int32_t strength) {
    const std::int32_t move = strength * (green - sample);
    return static_cast<T>(move > 0 ? sample + (move >> 14) : sample - (-move >> 14));
}

template <class T>
void suppressChroma(T* row, std::size_t width, std::size_t step, const SLumaTables& luma, const SChromaLimits& limits) {
    constexpr std::uint32_t full = 1 << 14;
    for (std::size_t x = 0; x < width; ++x) {
        T* const pixel = row + x * step;
        const unsigned y = lumaOf(pixel, luma);
        std::uint32_t strength = 0;
        if (y < limits.lowStart) {
            strength = std::uint32_t{limits.lowSlope} * static_cast<std::uint16_t>(limits.lowStart - y + 1);
        }
        if (y > limits.highStart) {
            const std::uint32_t high =
                std::uint32_t{limits.highSlope} * static_cast<std::uint16_t>(y - limits.highStart + 1);
            strength = high > strength ? high : strength;
        }
        const auto k = static_cast<std::int32_t>(strength < full ? strength : full);
        pixel[0] = towardGreen(pixel[0], pixel[1], k);
        pixel[2] = towardGreen(pixel[2], pixel[1], k);
    }
}

template <class T>
void luma(const T* row, T* lumaRow, std::size_t width, std::size_t step, const SLumaTables& tables) {
    for (std::size_t x = 0; x < width; ++x) {
        lumaRow[x] = static_cast<T>(lumaOf(row + x * step, tables));
    }
}

template <class T>
void sum3(const T* row, std::uint16_t* sumRow, std::size_t width) {
    for (std::size_t x = 1; x + 1 < width; ++x) {
        sumRow[x] = static_cast<std::uint16_t>(row[x - 1] + row[x] + row[x + 1]);
    }
}

/// What a pixel differs by from the mean of its eight neighbours, which a half rounds up.
inline std::int32_t detail(unsigned centre, unsigned left, unsigned right, unsigned above, unsigned below) {
    return static_cast<std::int32_t>(centre) - static_cast<std::int32_t>((above + below + left + right + 4) >> 3);
}

/// Correction by absolute difference.
inline unsigned correctionOf(std::int32_t difference, const SSharpening& sharpening) {
    return sharpening.table[difference < 4096 ? difference : 4095];
}

// Bytes: the correction itself counts modulo 256 in grey images; in colour images the bound and the sum do. Both are a
// clamp to 0 .. 255 for corrections of up to 255.

inline std::uint8_t brighterGrey(std::uint8_t sample, unsigned correction, unsigned maxValue) {
    const unsigned step = correction & 0xFF;
    return static_cast<std::uint8_t>(((maxValue - sample) & 0xFF) > step ? sample + step : maxValue);
}
inline std::uint8_t darkerGrey(std::uint8_t sample, unsigned correction) {
    const unsigned step = correction & 0xFF;
    return static_cast<std::uint8_t>(sample > step ? sample - step : 0);
}
inline std::uint8_t brighterColour(std::uint8_t sample, unsigned correction, unsigned maxValue) {
    return static_cast<std::uint8_t>(sample < ((maxValue - correction) & 0xFF) ? sample + correction : maxValue);
}
inline std::uint8_t darkerColour(std::uint8_t sample, unsigned correction, unsigned) {
    return static_cast<std::uint8_t>(sample > correction ? sample - correction : 0);
}

// Words: plain clamps. A sample above maxValue that a grey image darkens may stay above it.

inline std::uint16_t brighterGrey(std::uint16_t sample, unsigned correction, unsigned maxValue) {
    return static_cast<std::uint16_t>(sample + correction < maxValue ? sample + correction : maxValue);
}
inline std::uint16_t darkerGrey(std::uint16_t sample, unsigned correction) {
    return static_cast<std::uint16_t>(sample > correction ? sample - correction : 0);
}
inline std::uint16_t brighterColour(std::uint16_t sample, unsigned correction, unsigned maxValue) {
    return brighterGrey(sample, correction, maxValue);
}
inline std::uint16_t darkerColour(std::uint16_t sample, unsigned correction, unsigned maxValue) {
    const std::uint16_t darker = darkerGrey(sample, correction);
    return static_cast<std::uint16_t>(darker < maxValue ? darker : maxValue);
}

template <class T>
void sharpenGrey(T* row, const std::uint16_t* above, const std::uint16_t* below, std::size_t width,
                 const SSharpening& sharpening) {
    const auto coring = static_cast<std::int32_t>(sharpening.coring);
    T left = row[0]; // as it was before its own change
    for (std::size_t x = 1; x + 1 < width; ++x) {
        const T centre = row[x];
        const std::int32_t difference = detail(centre, left, row[x + 1], above[x], below[x]);
        if (difference > coring) {
            row[x] = brighterGrey(centre, correctionOf(difference, sharpening), sharpening.maxValue);
        } else if (difference < -coring) {
            row[x] = darkerGrey(centre, correctionOf(-difference, sharpening));
        }
        left = centre;
    }
}

template <class T>
void sharpenColour(T* row, std::size_t step, const T* lumaRow, const std::uint16_t* above, const std::uint16_t* below,
                   std::size_t width, const SSharpening& sharpening) {
    const auto coring = static_cast<std::int32_t>(sharpening.coring);
    for (std::size_t x = 1; x + 1 < width; ++x) {
        T* const pixel = row + x * step;
        const std::int32_t difference = detail(lumaRow[x], lumaRow[x - 1], lumaRow[x + 1], above[x], below[x]);
        if (difference > coring) {
            const unsigned correction = correctionOf(difference, sharpening);
            for (unsigned i = 0; i < 3; ++i) {
                pixel[i] = brighterColour(pixel[i], correction, sharpening.maxValue);
            }
        } else if (difference < -coring) {
            const unsigned correction = correctionOf(-difference, sharpening);
            for (unsigned i = 0; i < 3; ++i) {
                pixel[i] = darkerColour(pixel[i], correction, sharpening.maxValue);
            }
        }
    }
}

template <class T>
constexpr SColourRows<T> colourTable() {
    return {lumaCurve<T>, matrix<T>, suppressChroma<T>, luma<T>, sum3<T>, sharpenGrey<T>, sharpenColour<T>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
