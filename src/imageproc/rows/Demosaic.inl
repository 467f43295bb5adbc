// SPDX-License-Identifier: Apache-2.0
// Demosaic rows of all methods.
//
// A Bayer row holds green at the columns of one parity and its row colour (red or blue) at the others; the third
// colour stands in the rows above and below, at the columns of this row's greens.

namespace vek::rows::VEK_ISA {
namespace {

constexpr unsigned kBlue = 0;
constexpr unsigned kGreen = 1;
constexpr unsigned kRed = 2;

/// What a kernel knows of its row at compile time.
template <BayerRow Row>
struct SRow {
    static constexpr unsigned greenParity = Row == BayerRow::RG || Row == BayerRow::BG ? 1 : 0;
    static constexpr unsigned rowColour = Row == BayerRow::RG || Row == BayerRow::GR ? kRed : kBlue;
    static constexpr unsigned thirdColour = kRed - rowColour;
};

template <class T>
inline T mean(T a, T b) {
    return static_cast<T>((static_cast<std::uint32_t>(a) + b) >> 1);
}

// ---- plain loops: columns from .. to-1 of a row ----

template <class T, unsigned Channels>
inline void greySpan(const T* src, T* dst, std::size_t from, std::size_t to) {
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = dst + x * Channels;
        pixel[kBlue] = pixel[kGreen] = pixel[kRed] = src[x];
    }
}

template <class T, BayerRow Row, unsigned Channels>
inline void noneSpan(const T* row, T* dst, std::size_t from, std::size_t to) {
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = dst + x * Channels;
        pixel[kBlue] = pixel[kGreen] = pixel[kRed] = 0;
        pixel[x % 2 == SRow<Row>::greenParity ? kGreen : SRow<Row>::rowColour] = row[x];
    }
}

template <class T, BayerRow Row, unsigned Channels>
inline void nearestNeighborSpan(const T* row, const T* other, T* dst, std::size_t from, std::size_t to,
                                std::size_t width) {
    for (std::size_t x = from; x < to; ++x) {
        const std::size_t even = x & ~std::size_t{1};
        // The last column of an odd width takes its odd partner from the left.
        const std::size_t odd = even + 1 < width ? even + 1 : even - 1;
        const std::size_t greenColumn = SRow<Row>::greenParity == 0 ? even : odd;
        const std::size_t rowColumn = SRow<Row>::greenParity == 0 ? odd : even;
        T* const pixel = dst + x * Channels;
        pixel[kGreen] = row[greenColumn];
        pixel[SRow<Row>::rowColour] = row[rowColumn];
        pixel[SRow<Row>::thirdColour] = other[greenColumn];
    }
}

/// The colour that row holds at columns of Parity, at column x: the sample itself, or the mean of its neighbours,
/// or the one neighbour where the row has no other. In the last column of an odd width the right neighbour is the
/// sample behind the row.
template <class T, unsigned Parity>
inline T horizontal(const T* row, std::size_t x, std::size_t width) {
    if (x % 2 == Parity) {
        return row[x];
    }
    if (x == 0) {
        return row[1];
    }
    if (x % 2 == 1 && x + 1 == width) {
        return row[x - 1];
    }
    return mean(row[x - 1], row[x + 1]);
}

template <class T, BayerRow Row, unsigned Channels>
inline void bilinearOpenSpan(const T* row, T* dst, std::size_t from, std::size_t to, std::size_t width) {
    constexpr unsigned greenParity = SRow<Row>::greenParity;
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = dst + x * Channels;
        pixel[kGreen] = horizontal<T, greenParity>(row, x, width);
        pixel[SRow<Row>::rowColour] = horizontal<T, 1 - greenParity>(row, x, width);
    }
}

template <class T, BayerRow Row, unsigned Channels>
inline void bilinearSpan(const T* above, const T* row, const T* below, T* dst, std::size_t from, std::size_t to,
                         std::size_t width) {
    constexpr unsigned greenParity = SRow<Row>::greenParity;
    bilinearOpenSpan<T, Row, Channels>(row, dst, from, to, width);
    for (std::size_t x = from; x < to; ++x) {
        dst[x * Channels + SRow<Row>::thirdColour] =
            mean(horizontal<T, greenParity>(above, x, width), horizontal<T, greenParity>(below, x, width));
    }
}

/// The columns of x and x+1 at which the upper and the lower row of a block hold green; the other one holds the row's
/// colour.
template <BayerRow Upper>
struct SBlock {
    std::size_t upperGreen;
    std::size_t lowerGreen;
    explicit SBlock(std::size_t x)
        : upperGreen(x % 2 == SRow<Upper>::greenParity ? x : x + 1), lowerGreen(2 * x + 1 - upperGreen) {}
};

template <class T, BayerRow Upper, unsigned Channels>
inline void blockSpan(const T* upper, const T* lower, T* dst, std::size_t from, std::size_t to) {
    for (std::size_t x = from; x < to; ++x) {
        const SBlock<Upper> block(x);
        T* const pixel = dst + x * Channels;
        pixel[SRow<Upper>::rowColour] = upper[block.lowerGreen];
        pixel[kGreen] = mean(upper[block.upperGreen], lower[block.lowerGreen]);
        pixel[SRow<Upper>::thirdColour] = lower[block.upperGreen];
    }
}

/// (9 near + 3 far along the row + 3 far across it + far both) / 16.
template <class T>
inline T centre(T near, T farColumn, T farRow, T farBoth) {
    return static_cast<T>((9U * near + 3U * farColumn + 3U * farRow + farBoth) >> 4);
}

/// near and far: columns of a colour's samples at either side of the block's middle.
template <class T, BayerRow Upper>
inline void centreColours(const T* upper, const T* lower, const T* upperFar, const T* lowerFar, T* pixel,
                          std::size_t upperNear, std::size_t upperFarColumn, std::size_t lowerNear,
                          std::size_t lowerFarColumn) {
    pixel[SRow<Upper>::rowColour] =
        centre(upper[upperNear], upper[upperFarColumn], upperFar[upperNear], upperFar[upperFarColumn]);
    pixel[SRow<Upper>::thirdColour] =
        centre(lower[lowerNear], lower[lowerFarColumn], lowerFar[lowerNear], lowerFar[lowerFarColumn]);
}

template <class T, BayerRow Upper, unsigned Channels>
inline void centreSpan(const T* upper, const T* lower, const T* upperFar, const T* lowerFar, T* dst, std::size_t from,
                       std::size_t to, std::size_t width) {
    for (std::size_t x = from; x < to; ++x) {
        const SBlock<Upper> block(x);
        T* const pixel = dst + x * Channels;
        pixel[kGreen] = mean(upper[block.upperGreen], lower[block.lowerGreen]);
        // A colour in the block's left column has its next sample two to the right, one in the right column two to the
        // left; where the image ends its own one again.
        const auto farColumn = [=](std::size_t near) {
            return near == x ? (x + 2 < width ? x + 2 : near) : (x >= 1 ? x - 1 : near);
        };
        centreColours<T, Upper>(upper, lower, upperFar, lowerFar, pixel, block.lowerGreen, farColumn(block.lowerGreen),
                                block.upperGreen, farColumn(block.upperGreen));
    }
}

constexpr std::uint32_t kLargestCubicSum = 8191;

/// Cubic convolution, weights -1, 5, 5, -1 in eighths, each pair rounded by itself. 0 .. 255 at every depth.
template <class T>
inline T cubic(T outerLeft, T left, T right, T outerRight) {
    std::uint32_t inner = static_cast<std::uint32_t>(left) + right;
    std::uint32_t outer = static_cast<std::uint32_t>(outerLeft) + outerRight;
    inner = inner < kLargestCubicSum ? inner : kLargestCubicSum;
    outer = outer < kLargestCubicSum ? outer : kLargestCubicSum;
    const auto value = static_cast<std::int32_t>((5 * inner + 4) >> 3) - static_cast<std::int32_t>((outer + 4) >> 3);
    return static_cast<T>(value < 0 ? 0 : value > 255 ? 255 : value);
}

template <class T, unsigned GreenParity>
inline void biCubicSpan(const T* row, T* green, T* colour, std::size_t from, std::size_t to, std::size_t width) {
    for (std::size_t x = from; x < to; ++x) {
        T other = 0;
        if (x >= 3 && x + 3 < width) {
            other = cubic(row[x - 3], row[x - 1], row[x + 1], row[x + 3]);
        } else if (x >= 1 && x + 1 < width) {
            other = mean(row[x - 1], row[x + 1]);
        } else {
            other = row[x == 0 ? 1 : x - 1];
        }
        green[x] = x % 2 == GreenParity ? row[x] : other;
        colour[x] = x % 2 == GreenParity ? other : row[x];
    }
}

template <class T, unsigned Channels>
inline void pixelSpan(const T* blue, const T* green, const T* red, T* dst, std::size_t from, std::size_t to) {
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = dst + x * Channels;
        pixel[kBlue] = blue[x];
        pixel[kGreen] = green[x];
        pixel[kRed] = red[x];
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- blocks of kLanes<T> pixels ----

template <class T, BayerRow Row, unsigned Channels>
inline void storeColours(T* dst, Vec<T> rowColour, Vec<T> green, Vec<T> third) {
    if constexpr (SRow<Row>::rowColour == kBlue) {
        storePixels<Channels, T>(dst, rowColour, green, third);
    } else {
        storePixels<Channels, T>(dst, third, green, rowColour);
    }
}

/// Horizontal step for kLanes columns from x on, x even: columns of Parity hold the wanted colour themselves, the
/// others take the mean of their neighbours.
template <class T, unsigned Parity>
[[gnu::always_inline]] inline Vec<T> horizontalBlock(const T* row, std::size_t x) {
    const Vec<T> sides = meanVec(load(row + x - 1), load(row + x + 1));
    return select(parityMask<T, Parity>(), load(row + x), sides);
}

/// A Bayer row's green and its colour in blocks x, x+1, for kLanes blocks from x on, x even.
template <class T>
struct SBlockSamples {
    Vec<T> green;
    Vec<T> colour;
};
template <class T, unsigned GreenParity>
inline SBlockSamples<T> blockSamples(const T* row, std::size_t x) {
    const Vec<T> green = parityMask<T, GreenParity>();
    const Vec<T> left = load(row + x);
    const Vec<T> right = load(row + x + 1);
    return {select(green, left, right), select(green, right, left)};
}

/// A row's colour in such blocks, and the next sample of it beyond the block's middle.
template <class T>
struct SNearAndFar {
    Vec<T> near;
    Vec<T> far;
};
template <class T, unsigned GreenParity>
inline SNearAndFar<T> nearAndFar(const T* row, std::size_t x) {
    const Vec<T> green = parityMask<T, GreenParity>();
    return {select(green, load(row + x + 1), load(row + x)), select(green, load(row + x - 1), load(row + x + 2))};
}

/// Cubic convolution as in cubic().
[[gnu::always_inline]] inline Vec<std::uint16_t> cubicBlock(Vec<std::uint16_t> outerLeft, Vec<std::uint16_t> left,
                                                            Vec<std::uint16_t> right, Vec<std::uint16_t> outerRight) {
    using V = Vec<std::uint16_t>;
    const V largest = V{} + static_cast<std::uint16_t>(kLargestCubicSum);
    // Limited before they are added: the sum of any two samples does not fit.
    const auto limitedSum = [=](V a, V b) { return smaller(smaller(a, largest) + smaller(b, largest), largest); };
    const V inner = (limitedSum(left, right) * 5 + 4) >> 3;
    const V outer = (limitedSum(outerLeft, outerRight) + 4) >> 3;
    return smaller(larger(inner, outer) - outer, V{} + std::uint16_t{255});
}

#if defined(__ARM_NEON)

/// Lanes that are wide enough for the products.
struct SCentreOfLanes {
    template <class V>
    V operator()(V near, V farColumn, V farRow, V farBoth) const {
        return (near * 9 + (farColumn + farRow) * 3 + farBoth) >> 4;
    }
};

[[gnu::always_inline]] inline Vec<std::uint8_t> cubicBlock(Vec<std::uint8_t> outerLeft, Vec<std::uint8_t> left,
                                                           Vec<std::uint8_t> right, Vec<std::uint8_t> outerRight) {
    const auto half = [](uint8x8_t a, uint8x8_t b, uint8x8_t c, uint8x8_t d) {
        const uint16x8_t inner = vrshrq_n_u16(vmulq_n_u16(vaddl_u8(b, c), 5), 3);
        const uint16x8_t outer = vrshrq_n_u16(vaddl_u8(a, d), 3);
        return vqmovun_s16((int16x8_t)(inner - outer));
    };
    return vcombine_u8(
        half(vget_low_u8(outerLeft), vget_low_u8(left), vget_low_u8(right), vget_low_u8(outerRight)),
        half(vget_high_u8(outerLeft), vget_high_u8(left), vget_high_u8(right), vget_high_u8(outerRight)));
}

/// Means as in centre().
[[gnu::always_inline]] inline Vec<std::uint8_t> centreBlock(Vec<std::uint8_t> near, Vec<std::uint8_t> farColumn,
                                                            Vec<std::uint8_t> farRow, Vec<std::uint8_t> farBoth) {
    return inPairs<std::uint8_t>(SCentreOfLanes{}, near, farColumn, farRow, farBoth);
}
[[gnu::always_inline]] inline Vec<std::uint16_t> centreBlock(Vec<std::uint16_t> near, Vec<std::uint16_t> farColumn,
                                                             Vec<std::uint16_t> farRow, Vec<std::uint16_t> farBoth) {
    return inPairs<std::uint16_t>(SCentreOfLanes{}, near, farColumn, farRow, farBoth);
}

#else

#if VEK_VECTOR_BYTES == 32
#define VEK_MM(op) _mm256_##op
#else
#define VEK_MM(op) _mm_##op
#endif

/// Four neighbours, in the type that intrinsics take.
struct SSources {
    Register a;
    Register b;
    Register c;
    Register d;
};

[[gnu::always_inline]] inline Vec<std::uint8_t> cubicBlock(Vec<std::uint8_t> outerLeft, Vec<std::uint8_t> left,
                                                           Vec<std::uint8_t> right, Vec<std::uint8_t> outerRight) {
    // Pairs of bytes side by side are weighted and added by one instruction. A product by 4096 / 32768, rounded, is an
    // eighth, rounded; packing brings the difference back into 0 .. 255.
    const auto eighths = [](Register pairs, char weight) {
        return VEK_MM(mulhrs_epi16)(VEK_MM(maddubs_epi16)(pairs, VEK_MM(set1_epi8)(weight)), VEK_MM(set1_epi16)(4096));
    };
    const auto value = [=](Register inner, Register outer) {
        return VEK_MM(sub_epi16)(eighths(inner, 5), eighths(outer, 1));
    };
    const auto [a, b, c, d] = SSources{(Register)outerLeft, (Register)left, (Register)right, (Register)outerRight};
    return (Vec<std::uint8_t>)VEK_MM(packus_epi16)(value(VEK_MM(unpacklo_epi8)(b, c), VEK_MM(unpacklo_epi8)(a, d)),
                                                   value(VEK_MM(unpackhi_epi8)(b, c), VEK_MM(unpackhi_epi8)(a, d)));
}

/// The weights of two bytes or words that stand side by side, the first one in the lower half of lanes.
inline Register pairWeights(unsigned bits, int first, int second) {
    return bits == 8 ? VEK_MM(set1_epi16)(static_cast<short>(second << 8 | first))
                     : VEK_MM(set1_epi32)(second << 16 | first);
}

/// Means as in centre().
[[gnu::always_inline]] inline Vec<std::uint8_t> centreBlock(Vec<std::uint8_t> near, Vec<std::uint8_t> farColumn,
                                                            Vec<std::uint8_t> farRow, Vec<std::uint8_t> farBoth) {
    const auto half = [](Register ownRow, Register otherRow) {
        const Register own = VEK_MM(maddubs_epi16)(ownRow, pairWeights(8, 9, 3));
        const Register other = VEK_MM(maddubs_epi16)(otherRow, pairWeights(8, 3, 1));
        return VEK_MM(srli_epi16)(VEK_MM(add_epi16)(own, other), 4);
    };
    const auto [a, b, c, d] = SSources{(Register)near, (Register)farColumn, (Register)farRow, (Register)farBoth};
    return (Vec<std::uint8_t>)VEK_MM(packus_epi16)(half(VEK_MM(unpacklo_epi8)(a, b), VEK_MM(unpacklo_epi8)(c, d)),
                                                   half(VEK_MM(unpackhi_epi8)(a, b), VEK_MM(unpackhi_epi8)(c, d)));
}

/// The same for words. The products are of signed ones: all are moved down by half of their range, and so is their
/// mean, the weights being 16 in all.
[[gnu::always_inline]] inline Vec<std::uint16_t> centreBlock(Vec<std::uint16_t> near, Vec<std::uint16_t> farColumn,
                                                             Vec<std::uint16_t> farRow, Vec<std::uint16_t> farBoth) {
    const auto half = [](Register ownRow, Register otherRow) {
        const Register own = VEK_MM(madd_epi16)(ownRow, pairWeights(16, 9, 3));
        const Register other = VEK_MM(madd_epi16)(otherRow, pairWeights(16, 3, 1));
        return VEK_MM(srai_epi32)(VEK_MM(add_epi32)(own, other), 4);
    };
    const Vec<std::uint16_t> middle = Vec<std::uint16_t>{} + std::uint16_t{0x8000};
    const auto [a, b, c, d] = SSources{(Register)(near ^ middle), (Register)(farColumn ^ middle),
                                       (Register)(farRow ^ middle), (Register)(farBoth ^ middle)};
    const Register means = VEK_MM(packs_epi32)(half(VEK_MM(unpacklo_epi16)(a, b), VEK_MM(unpacklo_epi16)(c, d)),
                                               half(VEK_MM(unpackhi_epi16)(a, b), VEK_MM(unpackhi_epi16)(c, d)));
    return (Vec<std::uint16_t>)means ^ middle;
}

#undef VEK_MM

#endif

template <class T, unsigned GreenParity>
[[gnu::always_inline]] inline Vec<T> centreColour(const T* row, const T* farRow, std::size_t x) {
    const SNearAndFar<T> own = nearAndFar<T, GreenParity>(row, x);
    const SNearAndFar<T> other = nearAndFar<T, GreenParity>(farRow, x);
    return centreBlock(own.near, own.far, other.near, other.far);
}

/// An even number of columns, from .. from + count - 1, that blocks can take, all with reach columns beyond them within
/// the row; 0 where they do not fill a block.
template <class T>
inline std::size_t blockColumns(std::size_t from, std::size_t reach, std::size_t width) {
    const std::size_t count = width < from + reach ? 0 : (width - from - reach) & ~std::size_t{1};
    return count < kLanes<T> ? 0 : count;
}

/// Calls body(x) for blocks of kLanes<T> columns from first (even) on that lie before last; the last one overlaps its
/// predecessor, and every x is even. Returns the column behind them, first where the columns do not fill a block.
template <class T, class Body>
inline std::size_t forPlaneBlocks(std::size_t first, std::size_t last, Body body) {
    const std::size_t count = blockColumns<T>(first, 0, last);
    if (count == 0) {
        return first;
    }
    const std::size_t end = first + count - kLanes<T>;
    for (std::size_t x = first; x < end; x += kLanes<T>) {
        body(x);
    }
    body(end);
    return first + count;
}

/// Columns from 2 on that blocks can take: an even number, all with both neighbours within the row.
inline std::size_t innerColumns(std::size_t width) {
    return width < 4 ? 0 : (width - 3) & ~std::size_t{1};
}

#endif

// ---- kernels ----

template <class T, unsigned Channels>
void grey(const T* src, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    if (const std::size_t pairs = width & ~std::size_t{1}; pairs >= kLanes<T>) {
        forBlocks<T, Channels>(dst, 0, pairs, [=](std::size_t x) {
            const Vec<T> v = load(src + x);
            storePixels<Channels, T>(dst + x * Channels, v, v, v);
        });
        done = pairs;
    }
#endif
    greySpan<T, Channels>(src, dst, done, width);
}

template <class T, BayerRow Row, unsigned Channels>
void none(const T* row, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    if (const std::size_t pairs = width & ~std::size_t{1}; pairs >= kLanes<T>) {
        const Vec<T> green = parityMask<T, SRow<Row>::greenParity>();
        forBlocks<T, Channels>(dst, 0, pairs, [=](std::size_t x) {
            const Vec<T> v = load(row + x);
            storeColours<T, Row, Channels>(dst + x * Channels, v & ~green, v & green, Vec<T>{});
        });
        done = pairs;
    }
#endif
    noneSpan<T, Row, Channels>(row, dst, done, width);
}

template <class T, BayerRow Row, unsigned Channels>
void nearestNeighbor(const T* row, const T* other, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    if (const std::size_t pairs = width & ~std::size_t{1}; pairs >= kLanes<T>) {
        constexpr unsigned greenParity = SRow<Row>::greenParity;
        forBlocks<T, Channels>(dst, 0, pairs, [=](std::size_t x) {
            const Vec<T> v = load(row + x);
            storeColours<T, Row, Channels>(dst + x * Channels, shareInPairs<T, 1 - greenParity>(v),
                                           shareInPairs<T, greenParity>(v),
                                           shareInPairs<T, greenParity>(load(other + x)));
        });
        done = pairs;
    }
#endif
    nearestNeighborSpan<T, Row, Channels>(row, other, dst, done, width, width);
}

template <class T, BayerRow Row, unsigned Channels>
void bilinearSimple(const T* above, const T* row, const T* below, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    if (const std::size_t inner = innerColumns(width); inner >= kLanes<T>) {
        constexpr unsigned greenParity = SRow<Row>::greenParity;
        bilinearSpan<T, Row, Channels>(above, row, below, dst, 0, 2, width);
        forBlocks<T, Channels>(dst, 2, inner, [=](std::size_t x) {
            const Vec<T> third =
                meanVec(horizontalBlock<T, greenParity>(above, x), horizontalBlock<T, greenParity>(below, x));
            storeColours<T, Row, Channels>(dst + x * Channels, horizontalBlock<T, 1 - greenParity>(row, x),
                                           horizontalBlock<T, greenParity>(row, x), third);
        });
        done = 2 + inner;
    }
#endif
    bilinearSpan<T, Row, Channels>(above, row, below, dst, done, width, width);
}

// One row of a frame at most: not worth a block of its own.
template <class T, BayerRow Row, unsigned Channels>
void bilinearSimpleOpen(const T* row, T* dst, std::size_t width) {
    bilinearOpenSpan<T, Row, Channels>(row, dst, 0, width, width);
}

template <class T, BayerRow Upper, unsigned Channels>
void nearestNeighbor2(const T* upper, const T* lower, T* dst, std::size_t width, bool lowerOfPair) {
    const std::size_t last = width - 1;
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    if (const std::size_t inner = blockColumns<T>(0, 1, width); inner != 0) {
        constexpr unsigned greenParity = SRow<Upper>::greenParity;
        forBlocks<T, Channels>(dst, 0, inner, [=](std::size_t x) {
            const SBlockSamples<T> u = blockSamples<T, greenParity>(upper, x);
            const SBlockSamples<T> l = blockSamples<T, 1 - greenParity>(lower, x);
            storeColours<T, Upper, Channels>(dst + x * Channels, u.colour, meanVec(u.green, l.green), l.colour);
        });
        done = inner;
    }
#endif
    blockSpan<T, Upper, Channels>(upper, lower, dst, done, last);
    T* const pixel = dst + last * Channels;
    const T* const left = pixel - Channels;
    for (unsigned i = 0; i < 3; ++i) {
        pixel[i] = left[i];
    }
    if (width % 2 == 0 && !lowerOfPair) {
        pixel[kGreen] = upper[SBlock<Upper>(last - 1).upperGreen];
    } else if (width % 2 != 0 && lowerOfPair) {
        const SBlock<Upper> block(last);
        pixel[kGreen] = mean(upper[block.upperGreen], lower[block.lowerGreen]);
    }
}

template <class T, BayerRow Upper, unsigned Channels>
void bilinearFalseColorReduction(const T* upper, const T* lower, const T* upperFar, const T* lowerFar, T* dst,
                                 std::size_t width) {
    const std::size_t last = width - 1;
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    if (const std::size_t inner = blockColumns<T>(2, 2, width); inner != 0) {
        constexpr unsigned greenParity = SRow<Upper>::greenParity;
        centreSpan<T, Upper, Channels>(upper, lower, upperFar, lowerFar, dst, 0, 2, width);
        forBlocks<T, Channels>(dst, 2, inner, [=](std::size_t x) {
            const Vec<T> green =
                meanVec(blockSamples<T, greenParity>(upper, x).green, blockSamples<T, 1 - greenParity>(lower, x).green);
            storeColours<T, Upper, Channels>(dst + x * Channels, centreColour<T, greenParity>(upper, upperFar, x),
                                             green, centreColour<T, 1 - greenParity>(lower, lowerFar, x));
        });
        done = 2 + inner;
    }
#endif
    centreSpan<T, Upper, Channels>(upper, lower, upperFar, lowerFar, dst, done, last, width);
    // The last block has one column in the image. Each colour's last column stands for all of its samples.
    T* const pixel = dst + last * Channels;
    const SBlock<Upper> block(last);
    const std::size_t upperColumn = block.lowerGreen == last ? last : last - 1;
    const std::size_t lowerColumn = block.upperGreen == last ? last : last - 1;
    centreColours<T, Upper>(upper, lower, upperFar, lowerFar, pixel, upperColumn, upperColumn, lowerColumn,
                            lowerColumn);
    if (width % 2 == 0) {
        pixel[kGreen] = block.upperGreen == last ? upper[last] : lower[last];
    } else {
        const T* const left = pixel - Channels;
        pixel[kGreen] = left[kGreen];
    }
}

template <class T, unsigned GreenParity>
void biCubic(const T* row, T* green, T* colour, std::size_t from, std::size_t to, std::size_t width) {
    // So that x is a column of the row in all of them.
    green -= from;
    colour -= from;
    std::size_t done = from;
#if VEK_VECTOR_BYTES != 0
    const std::size_t first = from < 4 ? 4 : from;
    const std::size_t last = width < to + 3 ? width - 3 : to;
    if (width >= 3 && last >= first + kLanes<T>) {
        biCubicSpan<T, GreenParity>(row, green, colour, from, first, width);
        const Vec<T> greenColumns = parityMask<T, GreenParity>();
        done = forPlaneBlocks<T>(first, last, [=](std::size_t x) {
            const Vec<T> own = load(row + x);
            const Vec<T> other = cubicBlock(load(row + x - 3), load(row + x - 1), load(row + x + 1), load(row + x + 3));
            store(green + x, select(greenColumns, own, other));
            store(colour + x, select(greenColumns, other, own));
        });
    }
#endif
    biCubicSpan<T, GreenParity>(row, green, colour, done, to, width);
}

template <class T>
void biCubicThird(const T* above3, const T* above, const T* below, const T* below3, T* third, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = forPlaneBlocks<T>(0, width, [=](std::size_t x) {
        store(third + x, cubicBlock(load(above3 + x), load(above + x), load(below + x), load(below3 + x)));
    });
#endif
    for (std::size_t x = done; x < width; ++x) {
        third[x] = cubic(above3[x], above[x], below[x], below3[x]);
    }
}

template <class T>
void meanThird(const T* above, const T* below, T* third, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = forPlaneBlocks<T>(0, width,
                             [=](std::size_t x) { store(third + x, meanVec(load(above + x), load(below + x))); });
#endif
    for (std::size_t x = done; x < width; ++x) {
        third[x] = mean(above[x], below[x]);
    }
}

template <class T, unsigned Channels>
void pixels(const T* blue, const T* green, const T* red, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    if (const std::size_t pairs = width & ~std::size_t{1}; pairs >= kLanes<T>) {
        forBlocks<T, Channels>(dst, 0, pairs, [=](std::size_t x) {
            storePixels<Channels, T>(dst + x * Channels, load(blue + x), load(green + x), load(red + x));
        });
        done = pairs;
    }
#endif
    pixelSpan<T, Channels>(blue, green, red, dst, done, width);
}

#define VEK_BY_LAYOUT(kernel, ...)                                                                                     \
    { kernel<__VA_ARGS__, 3>, kernel<__VA_ARGS__, 4> }
#define VEK_BY_ROW(kernel)                                                                                             \
    {                                                                                                                  \
        VEK_BY_LAYOUT(kernel, T, BayerRow::RG), VEK_BY_LAYOUT(kernel, T, BayerRow::GR),                                \
            VEK_BY_LAYOUT(kernel, T, BayerRow::GB), VEK_BY_LAYOUT(kernel, T, BayerRow::BG)                             \
    }

template <class T>
constexpr SDemosaicRows<T> demosaicTable() {
    return {VEK_BY_LAYOUT(grey, T),
            VEK_BY_ROW(none),
            VEK_BY_ROW(nearestNeighbor),
            VEK_BY_ROW(bilinearSimple),
            VEK_BY_ROW(bilinearSimpleOpen),
            VEK_BY_ROW(nearestNeighbor2),
            VEK_BY_ROW(bilinearFalseColorReduction),
            {biCubic<T, 1>, biCubic<T, 0>, biCubic<T, 0>, biCubic<T, 1>}, // by the parity of green, as in SRow
            biCubicThird<T>,
            meanThird<T>,
            VEK_BY_LAYOUT(pixels, T)};
}

#undef VEK_BY_ROW
#undef VEK_BY_LAYOUT

} // namespace
} // namespace vek::rows::VEK_ISA
