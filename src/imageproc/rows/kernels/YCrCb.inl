// SPDX-License-Identifier: Apache-2.0
// Rows of YCrCb bytes to blue-green-red or grey.
//
//   4:2:2   y0 cb y1 cr           Each pixel has its own luma and its group's chroma; groups know nothing of each
//   4:4:4   y cb cr               other. A colour is the sum of table entries with 22 fraction bits, the fraction cut
//   4:1:1   y0 y1 cb y2 y3 cr     off, within 0 .. 255. The blocks compute what the tables hold.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/DensePixels.inl"
#include "imageproc/rows/simd/ByteGroups.inl"
#include "imageproc/rows/simd/Pixels.inl"

namespace vek::rows::VEK_ISA {
namespace {

using YCrCbTable = const int (*)[256];

/// What a group's chroma adds to each colour of its pixels.
struct SChroma {
    int blue = 0;
    int green = 0;
    int red = 0;

    SChroma() = default;
    SChroma(YCrCbTable table, std::uint8_t cb, std::uint8_t cr)
        : blue(table[4][cb]), green(table[2][cb] + table[3][cr]), red(table[1][cr]) {}
};

/// A sum with 22 fraction bits as a byte, the fraction cut off. Limits are applied to the whole part: that needs no
/// branches, which noise in the picture would make costly.
inline std::uint8_t byteOf(int sum) {
    const int whole = sum >> 22;
    const int raised = whole > 0 ? whole : 0;
    return static_cast<std::uint8_t>(raised < 255 ? raised : 255);
}

inline void storeYCrCb(std::uint8_t* pixel, int y, const SChroma& chroma) {
    pixel[0] = byteOf(y + chroma.blue);
    pixel[1] = byteOf(y + chroma.green);
    pixel[2] = byteOf(y + chroma.red);
}

/// What is told apart by the packing: pixels and bytes of a group, the places of its bytes, and the column up to which
/// whole groups are decoded.
template <YCrCb Packing>
struct SPacking;
template <>
struct SPacking<YCrCb::P444> {
    static constexpr std::size_t pixels = 1;
    static constexpr std::size_t bytes = 3;
    static constexpr std::size_t luma[] = {0};
    static constexpr std::size_t cb = 1;
    static constexpr std::size_t cr = 2;
    static std::size_t End(std::size_t width) { return width; }
};
template <>
struct SPacking<YCrCb::P422> {
    static constexpr std::size_t pixels = 2;
    static constexpr std::size_t bytes = 4;
    static constexpr std::size_t luma[] = {0, 2};
    static constexpr std::size_t cb = 1;
    static constexpr std::size_t cr = 3;
    static std::size_t End(std::size_t width) { return width - 1; }
};
template <>
struct SPacking<YCrCb::P411> {
    static constexpr std::size_t pixels = 4;
    static constexpr std::size_t bytes = 6;
    static constexpr std::size_t luma[] = {0, 1, 3, 4};
    static constexpr std::size_t cb = 2;
    static constexpr std::size_t cr = 5;
    static std::size_t End(std::size_t width) { return width > 4 ? width - 4 : 0; }
};

/// The luma byte of column x, counted from the row's first byte.
template <YCrCb Packing>
constexpr std::size_t lumaAt(std::size_t x) {
    using P = SPacking<Packing>;
    return x / P::pixels * P::bytes + P::luma[x % P::pixels];
}

// ---- plain loops ----

/// Columns 0 .. count-1, whole groups.
template <YCrCb Packing, unsigned Channels>
inline void groupSpan(const std::uint8_t* src, std::uint8_t* dst, std::size_t count, YCrCbTable table) {
    using P = SPacking<Packing>;
    const std::uint8_t* group = src;
    for (std::size_t x = 0; x < count; x += P::pixels) {
        const SChroma chroma(table, group[P::cb], group[P::cr]);
        for (std::size_t i = 0; i < P::pixels; ++i) {
            storeYCrCb(dst + (x + i) * Channels, table[0][group[P::luma[i]]], chroma);
        }
        group += P::bytes;
    }
}

template <YCrCb Packing>
inline void lumaSpan(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, YCrCbTable table) {
    for (std::size_t x = 0; x < width; ++x) {
        dst[x] = static_cast<std::uint8_t>(table[0][src[lumaAt<Packing>(x)]] >> 22);
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- blocks of kYCrCbLanes pixels: there is so much to compute that memory does not matter ----

using YBytes = WideV<std::uint8_t>;
using YWords = WideV<std::uint16_t>;
using YSigned = WideV<std::int16_t>;
using YDoubles = WideV<std::int32_t>;
constexpr std::size_t kYCrCbLanes = kLanes<YBytes>;

enum class YCrCbPlane { Luma, Cb, Cr };

template <YCrCb Packing, YCrCbPlane Plane>
constexpr std::size_t planeAt(std::size_t x) {
    using P = SPacking<Packing>;
    const std::size_t group = x / P::pixels * P::bytes;
    return Plane == YCrCbPlane::Luma ? lumaAt<Packing>(x) : group + (Plane == YCrCbPlane::Cb ? P::cb : P::cr);
}

/// What stands in memory for a block.
template <YCrCb Packing>
using YCrCbBlock = CByteGroups<YBytes, SPacking<Packing>::pixels, SPacking<Packing>::bytes>;

template <YCrCbPlane Plane, YCrCb Packing, class Block>
VEK_INLINE YBytes planeOf(const Block& block) {
    return block.Pick([](std::size_t x) { return planeAt<Packing, Plane>(x); });
}

/// A colour space: the range of luma and chroma, and the weights of luma (in every colour), Cr in red, Cb and Cr in
/// green and Cb in blue, in 1/100000.
template <YCrCbSpace Space>
struct SSpace;
template <>
struct SSpace<YCrCbSpace::Full601> {
    static constexpr std::uint8_t lumaLow = 0;
    static constexpr std::uint8_t lumaHigh = 255;
    static constexpr std::uint8_t chromaLow = 0;
    static constexpr std::uint8_t chromaHigh = 255;
    static constexpr int luma = 100000;
    static constexpr int crRed = 140200;
    static constexpr int cbGreen = -34414;
    static constexpr int crGreen = -71414;
    static constexpr int cbBlue = 177200;
};
template <>
struct SSpace<YCrCbSpace::Video709> {
    static constexpr std::uint8_t lumaLow = 16;
    static constexpr std::uint8_t lumaHigh = 235;
    static constexpr std::uint8_t chromaLow = 16;
    static constexpr std::uint8_t chromaHigh = 240;
    static constexpr int luma = 116438;
    static constexpr int crRed = 179274;
    static constexpr int cbGreen = -21325;
    static constexpr int crGreen = -53291;
    static constexpr int cbBlue = 211240;
};

// The floor of a sum of weighted bytes in lanes of 16 bits: an estimate in 1/64, never too small and by less than 1/8
// too large, has the right whole part or one too many. Which of the two tells the rest that it leaves of the sum in
// 1/50000, which lanes of 16 bits hold modulo 2^16: it is within -6250 .. 50000.
constexpr int kWhole = 50000;
constexpr int kEstimateMargin = 3; // of 1/64: what the roundings of three products take away at most, and a bit
constexpr int kExactBias = 25000;  // centres the rest in a signed word

/// A weight for mulRound15 with scale times a byte, to 1/64.
constexpr std::int16_t estimateWeight(int weight, int scale) {
    const int half = weight < 0 ? -50000 : 50000;
    return static_cast<std::int16_t>((weight * (2097152L / scale) + half) / 100000);
}
/// A weight in 1/50000, half of an odd one cut off downwards.
constexpr std::uint16_t exactWeight(int weight) {
    return static_cast<std::uint16_t>(weight >> 1);
}

// The floor of one weighted byte takes a product alone: a byte's multiples of a weight of two or three decimals keep
// further away from whole numbers than the product with a weight in 1/65536 is wrong.
constexpr int nearestWhole(int weight) {
    return (weight + 50000) / 100000;
}
constexpr int fractionWeight(int weight) {
    const long scaled = (weight - 100000 * nearestWhole(weight)) * 65536L;
    return static_cast<int>((scaled + (scaled < 0 ? -50000 : 50000)) / 100000);
}

// The floor of a sum of two weighted bytes in lanes of 32 bits, where no third one counts: weights with 23 fraction
// bits are wrong by less than 1/100000 together, sums are multiples of 1/50000, and half of that moves them off the
// wholes.
constexpr unsigned kPairBits = 23;
constexpr int kPairBias = (1 << kPairBits) / 100000 + 1;
constexpr int pairWeight(int weight) {
    const std::int64_t scaled = std::int64_t{weight} << kPairBits;
    return static_cast<int>((scaled + (scaled < 0 ? -50000 : 50000)) / 100000);
}

/// What the blocks need of a colour space, in every lane.
template <class A>
constexpr SLanes<A> same(int value) {
    return makeLanes<A>([=](std::size_t) { return value; });
}
template <class A>
constexpr SLanes<A> inTurn(int even, int odd) {
    return makeLanes<A>([=](std::size_t i) { return i % 2 == 0 ? even : odd; });
}
template <YCrCbSpace Space>
struct SYConstants {
    using S = SSpace<Space>;
    SLanes<YBytes> lumaLow = same<YBytes>(S::lumaLow);
    SLanes<YBytes> lumaHigh = same<YBytes>(S::lumaHigh);
    SLanes<YBytes> chromaLow = same<YBytes>(S::chromaLow);
    SLanes<YBytes> chromaHigh = same<YBytes>(S::chromaHigh);
    SLanes<YBytes> chromaZero = same<YBytes>(0x80);
    SLanes<YBytes> one = same<YBytes>(1);
    SLanes<YBytes> nibble = same<YBytes>(15);
    SLanes<YWords> whole = same<YWords>(kWhole);
    SLanes<YWords> exactBias = same<YWords>(kExactBias);
    SLanes<YSigned> below = same<YSigned>(-kExactBias);
    SLanes<YSigned> margin = same<YSigned>(kEstimateMargin);
    SLanes<YSigned> lumaEstimate = same<YSigned>(estimateWeight(S::luma, 128));
    SLanes<YSigned> crRedEstimate = same<YSigned>(estimateWeight(S::crRed, 256));
    SLanes<YSigned> cbGreenEstimate = same<YSigned>(estimateWeight(S::cbGreen, 256));
    SLanes<YSigned> crGreenEstimate = same<YSigned>(estimateWeight(S::crGreen, 256));
    SLanes<YSigned> cbBlueEstimate = same<YSigned>(estimateWeight(S::cbBlue, 256));
    SLanes<YWords> lumaExact = same<YWords>(exactWeight(S::luma));
    SLanes<YWords> crRedExact = same<YWords>(exactWeight(S::crRed));
    SLanes<YWords> cbGreenExact = same<YWords>(exactWeight(S::cbGreen));
    SLanes<YWords> crGreenExact = same<YWords>(exactWeight(S::crGreen));
    SLanes<YWords> cbBlueExact = same<YWords>(exactWeight(S::cbBlue));
    SLanes<YSigned> crRedFraction = same<YSigned>(fractionWeight(S::crRed));
    SLanes<YSigned> cbBlueFraction = same<YSigned>(fractionWeight(S::cbBlue));
    // Of words Cb, Cr, Cb, ...
    SLanes<YWords> lowByte = same<YWords>(0xFF);
    SLanes<YWords> pairZero = same<YWords>(0x8000);
    SLanes<YSigned> pairWhole = inTurn<YSigned>(nearestWhole(S::cbBlue), nearestWhole(S::crRed));
    SLanes<YSigned> pairFraction = inTurn<YSigned>(fractionWeight(S::cbBlue), fractionWeight(S::crRed));
    SLanes<YSigned> pairGreenHigh = inTurn<YSigned>(pairWeight(S::cbGreen) >> 8, pairWeight(S::crGreen) >> 8);
    SLanes<YSigned> pairGreenLow = inTurn<YSigned>(pairWeight(S::cbGreen) & 0xFF, pairWeight(S::crGreen) & 0xFF);
    SLanes<YDoubles> pairBias = same<YDoubles>(kPairBias);
};

/// The constants, by an address that tells the compiler nothing: it would build most of them anew for every block, from
/// a general register, instead of reading them.
template <YCrCbSpace Space>
inline const SYConstants<Space>& yConstants() {
    static constexpr SYConstants<Space> kConstants;
    const SYConstants<Space>* constants = &kConstants;
    __asm__("" : "+r"(constants));
    return *constants;
}

template <YCrCbSpace Space>
VEK_INLINE YBytes limitLuma(const SYConstants<Space>& c, YBytes y) {
    if constexpr (SSpace<Space>::lumaLow == 0) {
        return y;
    } else {
        return smaller(larger(y, c.lumaLow.Vec()), c.lumaHigh.Vec()) - c.lumaLow.Vec();
    }
}
/// As signed bytes around 0.
template <YCrCbSpace Space>
VEK_INLINE YBytes limitChroma(const SYConstants<Space>& c, YBytes v) {
    if constexpr (SSpace<Space>::chromaLow != 0) {
        v = smaller(larger(v, c.chromaLow.Vec()), c.chromaHigh.Vec());
    }
    return v ^ c.chromaZero.Vec();
}

/// The floor of a chroma times a positive weight.
template <int Weight>
VEK_INLINE YSigned floorOfOne(YSigned chroma, YSigned fraction) {
    return mulHigh(chroma, fraction) + (nearestWhole(Weight) == 1 ? chroma : chroma + chroma);
}

/// A sum of weighted bytes.
struct SYSum {
    YSigned estimate;
    YWords exact;
};
VEK_INLINE SYSum operator+(const SYSum& a, const SYSum& b) {
    return {a.estimate + b.estimate, a.exact + b.exact};
}

template <YCrCbSpace Space>
VEK_INLINE YSigned floorOf(const SYConstants<Space>& c, const SYSum& sum) {
    const YSigned whole = sum.estimate >> 6;
    const auto rest = (YSigned)(sum.exact - (YWords)whole * c.whole.Vec());
    return rest < c.below.Vec() ? whole - 1 : whole;
}

/// Luma's share of a sum, with what the estimate and the rest are moved by.
template <YCrCbSpace Space>
VEK_INLINE SYSum lumaShare(const SYConstants<Space>& c, YSigned luma) {
    return {mulRound15(luma << 7, c.lumaEstimate.Vec()) + c.margin.Vec(),
            (YWords)luma * c.lumaExact.Vec() - c.exactBias.Vec()};
}

/// Bits luma / 16 of entry luma % 16: the lumas below.
constexpr std::uint16_t kShort709[16] = {0x00C0, 0x0800, 0x0001, 0x0030, 0x0200, 0x2000, 0x0008, 0x0000,
                                         0x0000, 0x0012, 0x0340, 0x2800, 0x0008, 0x0080, 0x1800, 0x0002};

/// 1 for a luma whose green, where a chroma makes it a whole number, is cut off to the one below: the three rounded
/// entries of the table add up to a little less. For a luma there is one such chroma at most, so luma alone tells.
template <YCrCbSpace Space>
VEK_INLINE YBytes greenFallsShort(const SYConstants<Space>& c, YBytes luma) {
    if constexpr (Space == YCrCbSpace::Full601) {
        return YBytes{};
    } else {
        const auto lows = constant<YBytes>([](std::size_t i) { return kShort709[i % 16]; });
        const auto highs = constant<YBytes>([](std::size_t i) { return kShort709[i % 16] >> 8; });
        const auto lowBit = constant<YBytes>([](std::size_t i) { return 1 << i % 16; });
        const auto highBit = constant<YBytes>([](std::size_t i) { return 1 << i % 16 >> 8; });
        const YBytes row = luma & c.nibble.Vec();
        const YBytes bit = (YBytes)(as<std::uint16_t>(luma) >> 4) & c.nibble.Vec();
        const YBytes found =
            (shuffle(lows, row) & shuffle(lowBit, bit)) | (shuffle(highs, row) & shuffle(highBit, bit));
        return smaller(found, c.one.Vec());
    }
}

/// Words of a low and a high byte: the first or the last of each 16.
template <bool Last>
VEK_INLINE YSigned zipSigned(YBytes low, YBytes high) {
    return (YSigned)(Last ? zipHigh<1>(low, high) : zipLow<1>(low, high));
}

/// Chroma as 256 times a signed byte.
template <YCrCbSpace Space>
VEK_INLINE SColors<YSigned> decodeWords(const SYConstants<Space>& c, YSigned luma, YSigned cbHigh, YSigned crHigh,
                                        YSigned fallsShort) {
    using S = SSpace<Space>;
    const YSigned cb = cbHigh >> 8;
    const YSigned cr = crHigh >> 8;
    const SYSum cbGreen = {mulRound15(cbHigh, c.cbGreenEstimate.Vec()), (YWords)cb * c.cbGreenExact.Vec()};
    const SYSum crGreen = {mulRound15(crHigh, c.crGreenEstimate.Vec()), (YWords)cr * c.crGreenExact.Vec()};
    if constexpr (S::luma == 100000) {
        // Luma is whole: what chroma adds to it is rounded by itself.
        static_assert(S::cbGreen % 2 == 0 && S::crGreen % 2 == 0);
        const SYSum moved = {c.margin.Vec(), -c.exactBias.Vec()};
        return {luma + floorOfOne<S::cbBlue>(cb, c.cbBlueFraction.Vec()), luma + floorOf(c, moved + cbGreen + crGreen),
                luma + floorOfOne<S::crRed>(cr, c.crRedFraction.Vec())};
    } else {
        static_assert(S::cbGreen % 2 != 0 && S::crGreen % 2 != 0);
        const SYSum share = lumaShare(c, luma);
        const SYSum halves = {YSigned{}, (YWords)((cb + cr - fallsShort) >> 1)};
        const SYSum cbBlue = {mulRound15(cbHigh, c.cbBlueEstimate.Vec()), (YWords)cb * c.cbBlueExact.Vec()};
        const SYSum crRed = {mulRound15(crHigh, c.crRedEstimate.Vec()), (YWords)cr * c.crRedExact.Vec()};
        return {floorOf(c, share + cbBlue), floorOf(c, share + cbGreen + crGreen + halves), floorOf(c, share + crRed)};
    }
}

/// One of two words in both of them.
template <std::size_t Which>
VEK_INLINE YSigned both(YSigned v) {
    return (YSigned)shuffle((YBytes)v,
                            constant<YBytes>([](std::size_t i) { return i % 16 / 4 * 4 + 2 * Which + i % 2; }));
}

/// Body, in registers: colours of groups of two pixels whose luma is whole, in words. What chroma adds is computed once
/// for both pixels, as a group's four bytes stand in memory:
///
///   y0 cb | y1 cr   the low bytes are the lumas, the high ones a pair of words to multiply
///
template <YCrCbSpace Space>
VEK_INLINE SColors<YSigned> decodeGroups(const SYConstants<Space>& c, YWords groups) {
    using S = SSpace<Space>;
    static_assert(S::luma == 100000 && S::lumaLow == 0 && S::chromaLow == 0);
    const auto luma = (YSigned)(groups & c.lowByte.Vec());
    const auto high = (YSigned)((groups ^ c.pairZero.Vec()) & ~c.lowByte.Vec());
    const YSigned pair = high >> 8;
    const YSigned blueRed = mulHigh(pair, c.pairFraction.Vec()) + pair * c.pairWhole.Vec();
    const YDoubles green =
        addPairs(addPairs(c.pairBias.Vec(), high, c.pairGreenHigh.Vec()), pair, c.pairGreenLow.Vec());
    // The whole part to the upper word.
    return {luma + both<0>(blueRed), luma + both<1>((YSigned)(green >> (kPairBits - 16))), luma + both<1>(blueRed)};
}

template <unsigned Channels>
VEK_INLINE void storeWords(std::uint8_t* dst, const SColors<YSigned>& low, const SColors<YSigned>& high) {
    storePixels<Channels>(dst, SColors<YBytes>{pack<std::uint8_t>(low.blue, high.blue),
                                               pack<std::uint8_t>(low.green, high.green),
                                               pack<std::uint8_t>(low.red, high.red)});
}

template <YCrCbSpace Space, YCrCb Packing, unsigned Channels>
VEK_INLINE void decodeBlock(const SYConstants<Space>& c, const std::uint8_t* src, std::uint8_t* dst) {
    if constexpr (Packing == YCrCb::P422 && Space == YCrCbSpace::Full601) {
        const SHalves<YWords> groups = loadInTurn<YWords>(src);
        storeWords<Channels>(dst, decodeGroups(c, groups.low), decodeGroups(c, groups.high));
    } else {
        const YCrCbBlock<Packing> block(src);
        const YBytes luma = limitLuma(c, planeOf<YCrCbPlane::Luma, Packing>(block));
        const YBytes cb = limitChroma(c, planeOf<YCrCbPlane::Cb, Packing>(block));
        const YBytes cr = limitChroma(c, planeOf<YCrCbPlane::Cr, Packing>(block));
        const YBytes fallsShort = greenFallsShort(c, luma);
        const YBytes zero{};
        storeWords<Channels>(dst,
                             decodeWords(c, zipSigned<false>(luma, zero), zipSigned<false>(zero, cb),
                                         zipSigned<false>(zero, cr), zipSigned<false>(fallsShort, zero)),
                             decodeWords(c, zipSigned<true>(luma, zero), zipSigned<true>(zero, cb),
                                         zipSigned<true>(zero, cr), zipSigned<true>(fallsShort, zero)));
    }
}

/// The luma bytes of a block as grey.
template <YCrCbSpace Space, YCrCb Packing>
VEK_INLINE void grayBlock(const SYConstants<Space>& c, const std::uint8_t* src, std::uint8_t* dst) {
    const YBytes luma = limitLuma(c, planeOf<YCrCbPlane::Luma, Packing>(YCrCbBlock<Packing>(src)));
    YBytes gray = luma;
    if constexpr (Space != YCrCbSpace::Full601) {
        gray = pack<std::uint8_t>(floorOf(c, lumaShare(c, zipSigned<false>(luma, YBytes{}))),
                                  floorOf(c, lumaShare(c, zipSigned<true>(luma, YBytes{}))));
    }
    store(dst, gray);
}

/// Calls block(from, to) for the columns 0 .. count-1, which become Channels bytes each and are made of bytes bytes of
/// src. The last one may be a copy of what is left of those, with zeros behind it: nothing else is read or written.
template <YCrCb Packing, unsigned Channels, class Block>
inline void forYCrCbBlocks(const std::uint8_t* src, std::size_t bytes, std::uint8_t* dst, std::size_t count,
                           Block block) {
    using P = SPacking<Packing>;
    constexpr std::size_t blockBytes = YCrCbBlock<Packing>::kBytes;
    for (std::size_t x = 0; x < count; x += kYCrCbLanes) {
        const std::uint8_t* from = src + x / P::pixels * P::bytes;
        const std::size_t left = bytes - static_cast<std::size_t>(from - src);
        std::uint8_t* to = dst + x * Channels;
        std::uint8_t copy[blockBytes];
        std::uint8_t pixels[kYCrCbLanes * Channels];
        const bool whole = left >= blockBytes;
        prefetchWrites<kYCrCbLanes * Channels>(to);
        if (!whole) {
            __builtin_memset(copy, 0, sizeof copy);
            __builtin_memcpy(copy, from, left);
            from = copy;
            to = pixels;
        }
        block(from, to);
        if (!whole) {
            for (std::size_t i = 0; i < count - x; ++i) {
                __builtin_memcpy(dst + (x + i) * Channels, pixels + i * Channels, Channels == 1 ? 1 : 3);
            }
        }
    }
}

#endif

// ---- kernels ----

template <YCrCbSpace Space, YCrCb Packing, unsigned Channels>
void yCrCbToBgr(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, YCrCbTable table) {
    using P = SPacking<Packing>;
    if (width == 0) {
        return;
    }
    const std::size_t groups = (P::End(width) + P::pixels - 1) / P::pixels;
#if VEK_VECTOR_BYTES != 0
    const SYConstants<Space>& constants = yConstants<Space>();
    forYCrCbBlocks<Packing, Channels>(src, groups * P::bytes, dst, groups * P::pixels,
                                      [&](const std::uint8_t* from, std::uint8_t* to) {
                                          decodeBlock<Space, Packing, Channels>(constants, from, to);
                                      });
#else
    groupSpan<Packing, Channels>(src, dst, groups * P::pixels, table);
#endif
    if (const std::size_t rest = width % P::pixels; rest != 0) {
        const std::uint8_t* const behind = src + groups * P::bytes;
        const std::uint8_t* const last = behind - P::bytes;
        const SChroma chroma = groups == 0 ? SChroma() : SChroma(table, last[P::cb], last[P::cr]);
        storeYCrCb(dst, table[0][behind[P::luma[rest - 1]]], chroma);
    }
}

template <YCrCbSpace Space, YCrCb Packing>
void yCrCbToGray(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, [[maybe_unused]] YCrCbTable table) {
    if (width == 0) {
        return;
    }
#if VEK_VECTOR_BYTES != 0
    const SYConstants<Space>& constants = yConstants<Space>();
    // A row of luma alone ends with its last luma byte.
    forYCrCbBlocks<Packing, 1>(
        src, lumaAt<Packing>(width - 1) + 1, dst, width,
        [&](const std::uint8_t* from, std::uint8_t* to) { grayBlock<Space, Packing>(constants, from, to); });
#else
    lumaSpan<Packing>(src, dst, width, table);
#endif
}

#define VEK_BY_LAYOUT(...)                                                                                             \
    { yCrCbToBgr<__VA_ARGS__, 3>, yCrCbToBgr<__VA_ARGS__, 4> }
#define VEK_BY_PACKING(space)                                                                                          \
    { VEK_BY_LAYOUT(space, YCrCb::P422), VEK_BY_LAYOUT(space, YCrCb::P444), VEK_BY_LAYOUT(space, YCrCb::P411) }
#define VEK_GREY_BY_PACKING(space)                                                                                     \
    { yCrCbToGray<space, YCrCb::P422>, yCrCbToGray<space, YCrCb::P444>, yCrCbToGray<space, YCrCb::P411> }

constexpr SYCrCbRows yCrCbTable() {
    return {.toBgr = {VEK_BY_PACKING(YCrCbSpace::Full601), VEK_BY_PACKING(YCrCbSpace::Video709)},
            .toGray = {VEK_GREY_BY_PACKING(YCrCbSpace::Full601), VEK_GREY_BY_PACKING(YCrCbSpace::Video709)}};
}

#undef VEK_GREY_BY_PACKING
#undef VEK_BY_PACKING
#undef VEK_BY_LAYOUT

} // namespace
} // namespace vek::rows::VEK_ISA
