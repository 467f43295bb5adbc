// SPDX-License-Identifier: Apache-2.0
// Mirrored and transposed images, by the size of a pixel.
//
//   a b c d  ->  d c b a     reverse: the whole pixels of 16 bytes by one shuffle
//
//   a b c    ->  a d         transpose: squares of as many pixels as 16 bytes hold, whose rows are zipped until
//   d e f        b e         they are columns; blocks of such squares stay in the first-level cache
//                c f
//
// Pixels are moved as they are.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/simd/Pixels.inl"

namespace vek::rows::VEK_ISA {
namespace {

/// A pixel of Bytes bytes anywhere in memory.
template <std::size_t Bytes>
struct SPixel {
    std::uint8_t byte[Bytes];
};

template <std::size_t Bytes>
inline SPixel<Bytes> loadPixel(const std::uint8_t* at) {
    SPixel<Bytes> pixel;
    __builtin_memcpy(&pixel, at, Bytes);
    return pixel;
}
template <std::size_t Bytes>
inline void storePixel(std::uint8_t* at, SPixel<Bytes> pixel) {
    __builtin_memcpy(at, &pixel, Bytes);
}
template <std::size_t Bytes>
inline void copyPixel(std::uint8_t* to, const std::uint8_t* from) {
    __builtin_memcpy(to, from, Bytes);
}
template <std::size_t Bytes>
inline void swapPixels(std::uint8_t* a, std::uint8_t* b) {
    const SPixel<Bytes> pixel = loadPixel<Bytes>(a);
    storePixel(a, loadPixel<Bytes>(b));
    storePixel(b, pixel);
}

// ---- plain loops: pixels from .. to-1 ----

template <std::size_t Bytes>
inline void reverseSpan(const std::uint8_t* src, std::uint8_t* dst, std::size_t from, std::size_t width) {
    for (std::size_t x = from; x < width; ++x) {
        copyPixel<Bytes>(dst + x * Bytes, src + (width - 1 - x) * Bytes);
    }
}

/// Pixels from .. to-1 of a with those of b that are as far from its end.
template <std::size_t Bytes>
inline void exchangeSpan(std::uint8_t* a, std::uint8_t* b, std::size_t from, std::size_t to, std::size_t width) {
    for (std::size_t x = from; x < to; ++x) {
        swapPixels<Bytes>(a + x * Bytes, b + (width - 1 - x) * Bytes);
    }
}

/// Columns 0 .. width-1 of source rows 0 .. height-1.
template <std::size_t Bytes>
inline void transposeSpan(const std::uint8_t* src, std::ptrdiff_t srcPitch, std::uint8_t* dst, std::ptrdiff_t dstPitch,
                          std::size_t width, std::size_t height) {
    for (std::size_t x = 0; x < width; ++x) {
        std::uint8_t* const out = dst + static_cast<std::ptrdiff_t>(x) * dstPitch;
        for (std::size_t y = 0; y < height; ++y) {
            copyPixel<Bytes>(out + y * Bytes, src + static_cast<std::ptrdiff_t>(y) * srcPitch + x * Bytes);
        }
    }
}

/// The same in bands of as many source rows as fill whole cache lines of a destination row: each line is then written
/// at once.
template <std::size_t Bytes>
inline void transposeBands(const std::uint8_t* src, std::ptrdiff_t srcPitch, std::uint8_t* dst, std::ptrdiff_t dstPitch,
                           std::size_t width, std::size_t height) {
    constexpr std::size_t band = Bytes % 3 == 0 ? 192 / Bytes : 64 / Bytes;
    for (std::size_t y = 0; y < height; y += band) {
        transposeSpan<Bytes>(src + static_cast<std::ptrdiff_t>(y) * srcPitch, srcPitch, dst + y * Bytes, dstPitch,
                             width, height - y < band ? height - y : band);
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- 16 bytes at a time ----

using Bytes16 = V<std::uint8_t, 16>;

/// Whole pixels in 16 bytes, and the bytes that they take.
template <std::size_t Bytes>
constexpr std::size_t kPixels16 = 16 / Bytes;
template <std::size_t Bytes>
constexpr std::size_t kUsed16 = kPixels16<Bytes>* Bytes;

/// The last whole pixels of 16 bytes in reverse order, at the front; the rest is anything.
template <std::size_t Bytes>
VEK_INLINE Bytes16 reverseToFront(Bytes16 v) {
    return shuffle(v, constant<Bytes16>([](std::size_t i) {
                       const std::size_t pixel = i / Bytes;
                       return i < kUsed16<Bytes> ? 16 - (pixel + 1) * Bytes + i % Bytes : 0;
                   }));
}

/// The first whole pixels of 16 bytes in reverse order, at the back; the rest is anything.
template <std::size_t Bytes>
VEK_INLINE Bytes16 reverseToBack(Bytes16 v) {
    return shuffle(v, constant<Bytes16>([](std::size_t i) {
                       constexpr std::size_t unused = 16 - kUsed16<Bytes>;
                       const std::size_t pixel = (i - unused) / Bytes;
                       return i < unused ? 0 : (kPixels16<Bytes> - 1 - pixel) * Bytes + (i - unused) % Bytes;
                   }));
}

/// Bytes of moved where whole pixels stand at the front (or the back), of kept elsewhere.
template <std::size_t Bytes>
VEK_INLINE Bytes16 mergeFront(Bytes16 moved, Bytes16 kept) {
    return select(constant<Bytes16>([](std::size_t i) { return i < kUsed16<Bytes> ? 255 : 0; }), moved, kept);
}
template <std::size_t Bytes>
VEK_INLINE Bytes16 mergeBack(Bytes16 moved, Bytes16 kept) {
    return select(constant<Bytes16>([](std::size_t i) { return i >= 16 - kUsed16<Bytes> ? 255 : 0; }), moved, kept);
}

/// The pixels at the front of 16 bytes change places with those at the back of 16 others.
template <std::size_t Bytes>
inline void exchange16(std::uint8_t* front, std::uint8_t* back) {
    const Bytes16 f = load<Bytes16>(front);
    const Bytes16 b = load<Bytes16>(back);
    store(front, mergeFront<Bytes>(reverseToFront<Bytes>(b), f));
    store(back, mergeBack<Bytes>(reverseToBack<Bytes>(f), b));
}

/// Rows and columns of a tile.
template <std::size_t Bytes>
constexpr std::size_t kTile16 = 16 / kUnit<Bytes>;

/// Stores a tile's row of pixels: 16 bytes, or 12.
template <std::size_t Bytes>
VEK_INLINE void storeTileRow(std::uint8_t* p, Bytes16 v) {
    __builtin_memcpy(p, &v, kTile16<Bytes> * Bytes);
}

/// Rows become columns: zipping each row with the one half the square further down moves one bit of the row's number
/// into the column's; once for each bit of n.
template <std::size_t Unit, std::size_t n, class A>
VEK_INLINE void zipRows(A (&row)[n]) {
    for (std::size_t bit = 1; bit < n; bit *= 2) {
        A zipped[n];
        for (std::size_t i = 0; i < n / 2; ++i) {
            zipped[2 * i] = zipLow<Unit>(row[i], row[i + n / 2]);
            zipped[2 * i + 1] = zipHigh<Unit>(row[i], row[i + n / 2]);
        }
        for (std::size_t i = 0; i < n; ++i) {
            row[i] = zipped[i];
        }
    }
}

/// A square of as many pixels as 16 bytes hold. Reads 16 bytes of each row.
template <std::size_t Bytes>
inline void transposeTile(const std::uint8_t* src, std::ptrdiff_t srcPitch, std::uint8_t* dst,
                          std::ptrdiff_t dstPitch) {
    constexpr std::size_t n = kTile16<Bytes>;
    Bytes16 row[n];
    for (std::size_t i = 0; i < n; ++i) {
        row[i] = widenPixels<Bytes>(load<Bytes16>(src + static_cast<std::ptrdiff_t>(i) * srcPitch));
    }
    zipRows<kUnit<Bytes>>(row);
    for (std::size_t i = 0; i < n; ++i) {
        storeTileRow<Bytes>(dst + static_cast<std::ptrdiff_t>(i) * dstPitch, narrowPixels<Bytes>(row[i]));
    }
}

/// Tiles one below the other in the source, as many as there are rows for; n divides rows.
template <std::size_t Bytes>
inline void transposeColumn(const std::uint8_t* src, std::ptrdiff_t srcPitch, std::uint8_t* dst,
                            std::ptrdiff_t dstPitch, std::size_t rows) {
    constexpr std::size_t n = kTile16<Bytes>;
    std::size_t y = 0;
    // Bytes two tiles at a time where vectors allow. Larger pixels wait for memory, and for stores that straddle cache
    // lines.
    if constexpr (Bytes == 1 && kRowBytes == 32) {
        for (; y + 2 * n <= rows; y += 2 * n) {
            RowV<std::uint8_t> row[n];
            for (std::size_t i = 0; i < n; ++i) {
                row[i] = loadParts<RowV<std::uint8_t>>(src + static_cast<std::ptrdiff_t>(y + i) * srcPitch,
                                                       static_cast<std::ptrdiff_t>(n) * srcPitch);
            }
            zipRows<Bytes>(row);
            for (std::size_t i = 0; i < n; ++i) {
                store(dst + static_cast<std::ptrdiff_t>(i) * dstPitch + y * Bytes, row[i]);
            }
        }
    }
    for (; y < rows; y += n) {
        transposeTile<Bytes>(src + static_cast<std::ptrdiff_t>(y) * srcPitch, srcPitch, dst + y * Bytes, dstPitch);
    }
}

constexpr std::size_t kLine = 64; // bytes of a cache line

/// Whole tiles, in blocks of 16 by 4 that are about a cache line wide in the source and stay in the first-level cache:
/// of each line the four tiles are taken soon after one another. Within a block no more than a tile's destination rows
/// are written at a time: where the pitch is a power of two, the cache has room for few lines of one column.
template <std::size_t Bytes>
inline void transposeTiles(const std::uint8_t* src, std::ptrdiff_t srcPitch, std::uint8_t* dst, std::ptrdiff_t dstPitch,
                           std::size_t width, std::size_t height) {
    constexpr std::size_t n = kTile16<Bytes>;
    // Where it is the source's lines that get in each other's way, small pixels are copied first. Larger ones are read
    // on to the right at once, the fewer rows the larger they are.
    constexpr std::ptrdiff_t crowded = 1024;
    constexpr bool small = Bytes <= 2;
    const bool copied = small && srcPitch % crowded == 0;
    const bool byRows = !small && srcPitch % crowded == 0 && dstPitch % crowded != 0;
    const std::size_t blockColumns = byRows ? width : 4 * n;
    const std::size_t blockRows = byRows && Bytes > 3 ? 4 * n : 16 * n;
    alignas(kLine) std::uint8_t lines[small ? 16 * n : 1][kLine];
    for (std::size_t left = 0; left < width; left += blockColumns) {
        const std::size_t right = width - left < blockColumns ? width : left + blockColumns;
        for (std::size_t top = 0; top < height; top += blockRows) {
            const std::size_t bottom = height - top < blockRows ? height : top + blockRows;
            const std::uint8_t* block = src + static_cast<std::ptrdiff_t>(top) * srcPitch + left * Bytes;
            std::ptrdiff_t blockPitch = srcPitch;
            if (Bytes > 1 || copied) {
                // The block to the right comes after a whole column of blocks. Its lines lie in pages that are at hand
                // now; no prefetcher of the processor's own follows a column from page to page.
                for (std::size_t y = 0; right < width && y < bottom - top; ++y) {
                    __builtin_prefetch(block + static_cast<std::ptrdiff_t>(y) * srcPitch + (right - left) * Bytes, 0,
                                       2);
                }
            }
            if (copied && right - left == 4 * n) {
                for (std::size_t y = 0; y < bottom - top; ++y) {
                    __builtin_memcpy(lines[y], block + static_cast<std::ptrdiff_t>(y) * srcPitch, kLine);
                }
                block = lines[0];
                blockPitch = kLine;
            }
            for (std::size_t x = 0; x < right - left; x += n) {
                transposeColumn<Bytes>(block + x * Bytes, blockPitch,
                                       dst + static_cast<std::ptrdiff_t>(left + x) * dstPitch + top * Bytes, dstPitch,
                                       bottom - top);
            }
        }
    }
}

#endif

// ---- kernels ----

template <std::size_t Bytes>
void reverse(const std::uint8_t* src, std::uint8_t* dst, std::size_t width) {
    std::size_t x = 0;
#if VEK_VECTOR_BYTES != 0
    // What a store writes beyond whole pixels the next one puts right.
    for (; (width - x) * Bytes >= 16; x += kPixels16<Bytes>) {
        store(dst + x * Bytes, reverseToFront<Bytes>(load<Bytes16>(src + (width - x) * Bytes - 16)));
    }
#endif
    reverseSpan<Bytes>(src, dst, x, width);
}

template <std::size_t Bytes>
void reverseInPlace(std::uint8_t* row, std::size_t width) {
    std::size_t x = 0;
#if VEK_VECTOR_BYTES != 0
    for (; x * 2 < width && (width - 2 * x) * Bytes >= 32; x += kPixels16<Bytes>) {
        exchange16<Bytes>(row + x * Bytes, row + (width - x) * Bytes - 16);
    }
#endif
    exchangeSpan<Bytes>(row, row, x, width / 2, width);
}

template <std::size_t Bytes>
void exchangeReversed(std::uint8_t* a, std::uint8_t* b, std::size_t width) {
    std::size_t x = 0;
#if VEK_VECTOR_BYTES != 0
    for (; (width - x) * Bytes >= 16; x += kPixels16<Bytes>) {
        exchange16<Bytes>(a + x * Bytes, b + (width - x) * Bytes - 16);
    }
#endif
    exchangeSpan<Bytes>(a, b, x, width, width);
}

template <std::size_t Bytes>
void transpose(const std::uint8_t* src, std::ptrdiff_t srcPitch, std::uint8_t* dst, std::ptrdiff_t dstPitch,
               std::size_t width, std::size_t height) {
    std::size_t columns = 0;
    std::size_t rows = 0;
#if VEK_VECTOR_BYTES != 0
    // A tile reads 16 bytes of its rows, which are more than its pixels where those have 3 or 6 bytes.
    constexpr std::size_t n = kTile16<Bytes>;
    rows = height / n * n;
    columns = width * Bytes < 16 ? 0 : (width - 16 / Bytes - (16 % Bytes != 0 ? 1 : 0) + n) / n * n;
    transposeTiles<Bytes>(src, srcPitch, dst, dstPitch, columns, rows);
#endif
    // Rows beyond the tiles, then columns beyond them.
    transposeBands<Bytes>(src + static_cast<std::ptrdiff_t>(rows) * srcPitch, srcPitch, dst + rows * Bytes, dstPitch,
                          columns, height - rows);
    transposeBands<Bytes>(src + columns * Bytes, srcPitch, dst + static_cast<std::ptrdiff_t>(columns) * dstPitch,
                          dstPitch, width - columns, height);
}

#define VEK_BY_PIXEL(kernel)                                                                                           \
    { kernel<1>, kernel<2>, kernel<3>, kernel<4>, kernel<6>, kernel<8> }

constexpr SFlipRows flipTable() {
    return {.reverse = VEK_BY_PIXEL(reverse),
            .reverseInPlace = VEK_BY_PIXEL(reverseInPlace),
            .exchangeReversed = VEK_BY_PIXEL(exchangeReversed),
            .transpose = VEK_BY_PIXEL(transpose)};
}

#undef VEK_BY_PIXEL

} // namespace
} // namespace vek::rows::VEK_ISA
