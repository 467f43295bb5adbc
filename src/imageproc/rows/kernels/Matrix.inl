// SPDX-License-Identifier: Apache-2.0
// Blue-green-red pixels through a colour matrix: sums of table entries.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Luma.inl"
#include "imageproc/rows/simd/ByteTable.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. to-1 ----

/// 0 .. maxValue as it is, larger sums below 2^28 as maxValue, negative and still larger ones as 0.
template <class T>
inline T clampSum(std::uint32_t sum, unsigned maxValue) {
    return static_cast<T>(sum <= maxValue ? sum : sum < 1U << 28 ? maxValue : 0);
}

template <class T>
inline void matrixSpan(T* row, std::size_t from, std::size_t to, std::size_t step, const SMatrixTables& tables,
                       unsigned maxValue) {
    for (std::size_t x = from; x < to; ++x) {
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

#if VEK_VECTOR_BYTES != 0

// A pixel is a vector of sums, of which the first three have a meaning. They are added without a sign: the others may
// leave its range.

/// Sums of 32 bits. They go to bytes or words as a clamp does it, which is what the limits of 2^28 come to where no sum
/// reaches them.
struct SWideSums {
    using Vector = V<std::uint32_t, 16>;
    using Entry = SMatrixTables::Entry;
};
/// Sums of 16 bits, in the lower half.
struct SNarrowSums {
    using Vector = V<std::uint16_t, 16>;
    using Entry = SMatrixTables::NarrowEntry;
};

/// 16 bytes of samples from four pixels (bytes) or two (words).
template <class T>
VEK_INLINE V<T, 16> packSums(const SWideSums::Vector* sums) {
    using Signed = V<std::int32_t, 16>;
    if constexpr (sizeof(T) == 1) {
        return pack<T>(pack<std::int16_t>((Signed)sums[0], (Signed)sums[1]),
                       pack<std::int16_t>((Signed)sums[2], (Signed)sums[3]));
    } else {
        return pack<T>((Signed)sums[0], (Signed)sums[1]);
    }
}
template <class T>
VEK_INLINE V<T, 16> packSums(const SNarrowSums::Vector* sums) {
    using Signed = V<std::int16_t, 16>;
    const auto low = (Signed)zipLow<8>(sums[0], sums[1]);
    if constexpr (sizeof(T) == 1) {
        return pack<T>(low, (Signed)zipLow<8>(sums[2], sums[3]));
    } else {
        return (V<T, 16>)larger(low, Signed{});
    }
}

/// The first 12 bytes.
template <class A>
VEK_INLINE void store12(void* p, A v) {
    const std::uint64_t low = as<std::uint64_t>(v)[0];
    const std::uint32_t high = as<std::uint32_t>(v)[2];
    __builtin_memcpy(p, &low, sizeof low);
    __builtin_memcpy(static_cast<std::uint8_t*>(p) + sizeof low, &high, sizeof high);
}

/// A sample's entry; one of 8 bytes comes with the next one. Held: the sample may lie beyond the table.
template <class Kind, bool Held, class T>
VEK_INLINE typename Kind::Vector entryAt(const typename Kind::Entry* table, T sample) {
    typename Kind::Vector entry;
    __builtin_memcpy(&entry, table[Held ? entryOf<4096>(sample) : unsigned{sample}], sizeof entry);
    return entry;
}

/// The three tables of a kind.
template <class Kind>
struct SProducts {
    const typename Kind::Entry* blue;
    const typename Kind::Entry* green;
    const typename Kind::Entry* red;

    template <bool Held, class T>
    VEK_INLINE typename Kind::Vector Sums(const T* pixel) const {
        return entryAt<Kind, Held>(blue, pixel[0]) + entryAt<Kind, Held>(green, pixel[1]) +
               entryAt<Kind, Held>(red, pixel[2]);
    }
};

/// Blocks of pixels that stand step samples apart, 3 if Dense. Their samples are places in tables, so that they come
/// from memory one by one:
///
///   pixel 0   blue[b] + green[g] + red[r] = b' g' r' -  |
///   pixel 1   blue[b] + green[g] + red[r] = b' g' r' -  | packed and limited:   b' g' r' - b' g' r' - ...
///   ...                                                 |
///
/// No neighbours. The sums stop at 0 and maxValue.
template <bool Held, bool Dense, class Kind, class T>
inline void multiplyBlocks(T* pixels, std::size_t count, std::size_t step, SProducts<Kind> products, T maxValue) {
    constexpr std::size_t block = 4 / sizeof(T);
    const auto max = all<V<T, 16>>(maxValue);
    for (std::size_t x = 0; x < count; x += block) {
        T* const at = pixels + x * step;
        typename Kind::Vector sums[block];
        for (std::size_t i = 0; i < block; ++i) {
            sums[i] = products.template Sums<Held>(at + i * step);
        }
        const auto samples = smaller(packSums<T>(sums), max);
        if constexpr (Dense) {
            store12(at, narrowPixels<3 * sizeof(T)>(as<std::uint8_t>(samples)));
        } else {
            T stored[16 / sizeof(T)];
            __builtin_memcpy(stored, &samples, sizeof stored);
            for (std::size_t i = 0; i < block; ++i) {
                __builtin_memcpy(at + i * step, stored + 4 * i, 3 * sizeof(T));
            }
        }
    }
}

#if defined(__AVX512VBMI__)

#define VEK_MATRIX_STEPS 1

/// The products of bytes in registers: steps as multiplyBytePairs takes them, what is left by output and input.
template <bool InPairs>
struct SMatrixSteps {
    using Bytes = SByteTable::Bytes;
    using Signed = Like<std::int8_t, Bytes>;
    using Words = Like<std::uint16_t, Bytes>; ///< added modulo 2^16: the sums fit, with their signs, parts may not
    struct SOutput {
        Signed blueGreen;
        Signed blueGreenLeft;
        Signed redLeft; ///< step and sign
        Words base;
    };
    SOutput output[3];
    const SMatrixTables::ByteSteps* input;

    VEK_INLINE explicit SMatrixSteps(const SMatrixTables::ByteSteps* of) : input(of) {
        for (std::size_t j = 0; j < 3; ++j) {
            output[j] = {BytePairs(of[0].step[j], of[1].step[j]), BytePairs(of[0].sign[j], of[1].sign[j]),
                         BytePairs(of[2].step[j], of[2].sign[j]),
                         all<Words>(static_cast<std::uint16_t>(of[0].base[j] + of[1].base[j] + of[2].base[j]))};
        }
    }

    /// What the steps of an input leave for output j.
    VEK_INLINE static Bytes LookUp(const std::uint8_t (&rest)[256], Bytes samples) {
        if constexpr (InPairs) {
            // The low seven bits of an index count.
            const auto pair = (Bytes)(as<std::uint16_t>(samples) >> 1);
            return meanUp(permute2(load<Bytes>(rest), load<Bytes>(rest + 64), pair), samples & 1);
        } else {
            return SByteTable(rest).LookUp(samples);
        }
    }

private:
    /// Two bytes in every two lanes.
    VEK_INLINE static Signed BytePairs(std::int8_t first, std::int8_t second) {
        return (Signed)all<Words>(static_cast<std::uint16_t>(second << 8 | static_cast<std::uint8_t>(first)));
    }
};

/// Body, in registers: sums of 16-bit products of bytes. No neighbours; the sums stop at 0 and 255.
///
///   blue' = step x b + step x g + step x r + left of r + left of b + left of g + base      and so on
///           |  a pair of bytes  |   |     a pair     |   |       a pair      |
template <bool InPairs, class A = SByteTable::Bytes>
VEK_INLINE SColors<A> matrixBlock(const SColors<A>& colors, const SMatrixSteps<InPairs>& steps) {
    const SHalves<A> blueGreen = {zipLow<1>(colors.blue, colors.green), zipHigh<1>(colors.blue, colors.green)};
    A out[3];
    for (std::size_t j = 0; j < 3; ++j) {
        const A blue = steps.LookUp(steps.input[0].rest[j], colors.blue);
        const A green = steps.LookUp(steps.input[1].rest[j], colors.green);
        const A red = steps.LookUp(steps.input[2].rest[j], colors.red);
        const auto& output = steps.output[j];
        using Words = typename SMatrixSteps<InPairs>::Words;
        const auto sum = [&](A bytes, A redLeft, A blueGreenLeft) {
            const Words words = (Words)multiplyBytePairs(bytes, output.blueGreen) +
                                (Words)multiplyBytePairs(redLeft, output.redLeft) +
                                (Words)multiplyBytePairs(blueGreenLeft, output.blueGreenLeft) + output.base;
            return as<std::int16_t>(words);
        };
        out[j] = pack<std::uint8_t>(sum(blueGreen.low, zipLow<1>(colors.red, red), zipLow<1>(blue, green)),
                                    sum(blueGreen.high, zipHigh<1>(colors.red, red), zipHigh<1>(blue, green)));
    }
    return {out[0], out[1], out[2]};
}

/// Whole blocks of dense pixels; returns the columns that they have.
template <bool InPairs>
inline std::size_t multiplyInRegisters(std::uint8_t* row, std::size_t width, const SMatrixSteps<InPairs>& steps) {
    using A = SByteTable::Bytes;
    std::size_t x = 0;
    for (; x + kLanes<A> <= width; x += kLanes<A>) {
        prefetchPixels(row + 3 * x);
        storePixels<3>(row + 3 * x, matrixBlock(load3<A>(row + 3 * x), steps));
    }
    return x;
}

/// The same for pixels that stand step samples apart, by way of dense ones.
template <bool InPairs>
inline std::size_t multiplyApart(std::uint8_t* row, std::size_t width, std::size_t step,
                                 const SMatrixSteps<InPairs>& steps) {
    CDensePixels<std::uint8_t> dense(step);
    std::size_t x = 0;
    while (const std::size_t columns = chunkColumns<std::uint8_t>(x, width)) {
        std::uint8_t* const pixels = row + x * step;
        multiplyInRegisters(dense.Take(pixels, columns), columns, steps);
        dense.PutBack(pixels, columns);
        x += columns;
    }
    return x;
}

/// Calls body with the tables' steps.
template <class Body>
VEK_INLINE auto withMatrixSteps(const SMatrixTables& tables, Body body) {
    return tables.inPairs ? body(SMatrixSteps<true>(tables.steps)) : body(SMatrixSteps<false>(tables.steps));
}

#else
#define VEK_MATRIX_STEPS 0
#endif

template <class Kind, class T>
inline std::size_t multiply(T* row, std::size_t done, std::size_t width, std::size_t step, SProducts<Kind> products,
                            T maxValue) {
    constexpr std::size_t block = 4 / sizeof(T);
    std::size_t x = done;
    if (step != 3) {
        const std::size_t columns = (width - x) / block * block;
        multiplyBlocks<true, false>(row + x * step, columns, step, products, maxValue);
        return x + columns;
    }
    if constexpr (sizeof(T) != 1) {
        constexpr std::size_t lanes = kLanes<WideV<T>>;
        const WideV<T> last = all<WideV<T>>(4095);
        for (; x + lanes <= width; x += lanes) {
            T* const pixels = row + 3 * x;
            prefetchPixels(pixels);
            anyAbove(pixels, last) ? multiplyBlocks<true, true>(pixels, lanes, 3, products, maxValue)
                                   : multiplyBlocks<false, true>(pixels, lanes, 3, products, maxValue);
        }
    }
    const std::size_t columns = (width - x) / block * block;
    multiplyBlocks<sizeof(T) != 1, true>(row + 3 * x, columns, 3, products, maxValue);
    return x + columns;
}

template <class T>
inline std::size_t matrixBlocks(T* row, std::size_t width, std::size_t step, const SMatrixTables& tables,
                                unsigned maxValue) {
    std::size_t done = 0;
#if VEK_MATRIX_STEPS
    if constexpr (sizeof(T) == 1) {
        if (tables.steps != nullptr && maxValue == 255) {
            done = withMatrixSteps(tables, [=](const auto& steps) {
                return step == 3 ? multiplyInRegisters(row, width, steps) : multiplyApart(row, width, step, steps);
            });
        }
    }
#endif
    if (sizeof(T) == 1 ? tables.narrowBytes : tables.narrowWords) {
        constexpr unsigned largest = 0x7FFF; // which no sum of 16 bits exceeds
        const auto held = static_cast<T>(sizeof(T) == 2 && maxValue > largest ? largest : maxValue);
        const SProducts<SNarrowSums> products = {tables.narrowBlue, tables.narrowGreen, tables.narrowRed};
        return multiply(row, done, width, step, products, held);
    }
    const SProducts<SWideSums> products = {tables.blue, tables.green, tables.red};
    return tables.moderate ? multiply(row, 0, width, step, products, static_cast<T>(maxValue)) : 0;
}

#endif

// ---- kernels ----

template <class T>
void matrix(T* row, std::size_t width, std::size_t step, const SMatrixTables& tables, unsigned maxValue) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = matrixBlocks(row, width, step, tables, maxValue);
#endif
    matrixSpan(row, done, width, step, tables, maxValue);
}

} // namespace
} // namespace vek::rows::VEK_ISA
