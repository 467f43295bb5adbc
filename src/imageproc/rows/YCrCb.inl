// SPDX-License-Identifier: Apache-2.0
// Rows of YCrCb bytes to blue-green-red or grey.

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
    static std::size_t end(std::size_t width) { return width; }
};
template <>
struct SPacking<YCrCb::P422> {
    static constexpr std::size_t pixels = 2;
    static constexpr std::size_t bytes = 4;
    static constexpr std::size_t luma[] = {0, 2};
    static constexpr std::size_t cb = 1;
    static constexpr std::size_t cr = 3;
    static std::size_t end(std::size_t width) { return width - 1; }
};
template <>
struct SPacking<YCrCb::P411> {
    static constexpr std::size_t pixels = 4;
    static constexpr std::size_t bytes = 6;
    static constexpr std::size_t luma[] = {0, 1, 3, 4};
    static constexpr std::size_t cb = 2;
    static constexpr std::size_t cr = 5;
    static std::size_t end(std::size_t width) { return width > 4 ? width - 4 : 0; }
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

// ---- blocks of kYCrCbLanes pixels ----

// AVX-512 takes 64 bytes at a time here: there is so much to compute that memory does not matter.
#if defined(__AVX512VBMI__)
constexpr std::size_t kYCrCbLanes = 64;
constexpr std::size_t kYCrCbPart = 64; // bytes that a shuffle reaches
#else
constexpr std::size_t kYCrCbLanes = VEK_VECTOR_BYTES;
constexpr std::size_t kYCrCbPart = 16;
#endif
typedef std::uint8_t YBytes __attribute__((vector_size(kYCrCbLanes)));
typedef std::uint16_t YWords __attribute__((vector_size(kYCrCbLanes)));
typedef std::int16_t YSigned __attribute__((vector_size(kYCrCbLanes)));

struct SYBytes {
    alignas(kYCrCbLanes) std::uint8_t byte[kYCrCbLanes];
    YBytes vec() const {
        YBytes v;
        __builtin_memcpy(&v, byte, sizeof v);
        return v;
    }
};
template <class F>
constexpr SYBytes makeYBytes(F byteAt) {
    SYBytes bytes{};
    for (std::size_t i = 0; i < kYCrCbLanes; ++i) {
        bytes.byte[i] = static_cast<std::uint8_t>(byteAt(i));
    }
    return bytes;
}

// In 16 bytes at a time: words of a low and a high byte, from the first and from the last 8 bytes of each; and back, as
// bytes that stop at 0 and 255. mulRounded: (a x b + 2^14) >> 15; mulHigh: a x b >> 16. shuffleY: bytes by index,
// within 16.
#if defined(__ARM_NEON)
inline YSigned zipWordsLow(YBytes low, YBytes high) {
    return (YSigned)vzip1q_u8(low, high);
}
inline YSigned zipWordsHigh(YBytes low, YBytes high) {
    return (YSigned)vzip2q_u8(low, high);
}
inline YBytes packWords(YSigned a, YSigned b) {
    return vcombine_u8(vqmovun_s16((int16x8_t)a), vqmovun_s16((int16x8_t)b));
}
inline YSigned mulRounded(YSigned a, YSigned b) {
    return (YSigned)vqrdmulhq_s16((int16x8_t)a, (int16x8_t)b);
}
inline YSigned mulHigh(YSigned a, YSigned b) {
    const int32x4_t low = vmull_s16(vget_low_s16((int16x8_t)a), vget_low_s16((int16x8_t)b));
    const int32x4_t high = vmull_high_s16((int16x8_t)a, (int16x8_t)b);
    return (YSigned)vuzp2q_s16((int16x8_t)low, (int16x8_t)high);
}
inline YBytes shuffleY(YBytes v, YBytes index) {
    return vqtbl1q_u8(v, index);
}
inline YBytes smaller(YBytes a, YBytes b) {
    return vminq_u8(a, b);
}
inline YBytes larger(YBytes a, YBytes b) {
    return vmaxq_u8(a, b);
}
#else
#if defined(__AVX512VBMI__)
#define VEK_MM(op) _mm512_##op
using YRegister = __m512i;
#elif VEK_VECTOR_BYTES == 32
#define VEK_MM(op) _mm256_##op
using YRegister = __m256i;
#else
#define VEK_MM(op) _mm_##op
using YRegister = __m128i;
#endif
inline YSigned zipWordsLow(YBytes low, YBytes high) {
    return (YSigned)VEK_MM(unpacklo_epi8)((YRegister)low, (YRegister)high);
}
inline YSigned zipWordsHigh(YBytes low, YBytes high) {
    return (YSigned)VEK_MM(unpackhi_epi8)((YRegister)low, (YRegister)high);
}
inline YBytes packWords(YSigned a, YSigned b) {
    return (YBytes)VEK_MM(packus_epi16)((YRegister)a, (YRegister)b);
}
inline YSigned mulRounded(YSigned a, YSigned b) {
    return (YSigned)VEK_MM(mulhrs_epi16)((YRegister)a, (YRegister)b);
}
inline YSigned mulHigh(YSigned a, YSigned b) {
    return (YSigned)VEK_MM(mulhi_epi16)((YRegister)a, (YRegister)b);
}
inline YBytes shuffleY(YBytes v, YBytes index) {
    return (YBytes)VEK_MM(shuffle_epi8)((YRegister)v, (YRegister)index);
}
inline YBytes smaller(YBytes a, YBytes b) {
    return (YBytes)VEK_MM(min_epu8)((YRegister)a, (YRegister)b);
}
inline YBytes larger(YBytes a, YBytes b) {
    return (YBytes)VEK_MM(max_epu8)((YRegister)a, (YRegister)b);
}
#undef VEK_MM
#endif

/// Bytes of YCrCb that make a part's pixels, and how many vectors of parts hold them. Each vector starts a part's size
/// behind the one before it, the last one where its end is the end of the bytes.
template <YCrCb Packing>
struct SYCrCbPart {
    static constexpr std::size_t bytes = kYCrCbPart / SPacking<Packing>::pixels * SPacking<Packing>::bytes;
    static constexpr std::size_t vectors = (bytes + kYCrCbPart - 1) / kYCrCbPart;
    static constexpr std::size_t blockBytes = kYCrCbLanes / kYCrCbPart * bytes;
    static constexpr std::size_t start(std::size_t vector) {
        return vector + 1 < vectors ? vector * kYCrCbPart : bytes - kYCrCbPart;
    }
    /// Where a part's byte at lies in the parts of a vector; kYCrCbPart and more where it does not, or is in an
    /// earlier one.
    static constexpr std::size_t find(std::size_t vector, std::size_t at) {
        const bool earlier = vector > 0 && at < start(vector - 1) + kYCrCbPart;
        return earlier || at < start(vector) ? 2 * kYCrCbPart : at - start(vector);
    }
};

enum class YCrCbPlane { Luma, Cb, Cr };

template <YCrCb Packing, YCrCbPlane Plane>
constexpr std::size_t planeAt(std::size_t x) {
    using P = SPacking<Packing>;
    const std::size_t group = x / P::pixels * P::bytes;
    return Plane == YCrCbPlane::Luma ? lumaAt<Packing>(x) : group + (Plane == YCrCbPlane::Cb ? P::cb : P::cr);
}

/// The vectors that hold a block, and a byte for each of its pixels out of them.
template <YCrCb Packing>
struct SYCrCbBlock {
    using Part = SYCrCbPart<Packing>;
    YBytes v[Part::vectors];

    explicit SYCrCbBlock(const std::uint8_t* p) {
        for (std::size_t i = 0; i < Part::vectors; ++i) {
#if defined(__AVX512VBMI__)
            __builtin_memcpy(&v[i], p + Part::start(i), sizeof v[i]);
#else
            v[i] = loadParts(p + Part::start(i), Part::bytes);
#endif
        }
    }

    template <YCrCbPlane Plane>
    YBytes plane() const {
#if defined(__AVX512VBMI__)
        static constexpr SYBytes kFirstTwo = makeYBytes([](std::size_t i) {
            const std::size_t at = Part::find(0, planeAt<Packing, Plane>(i));
            return at < kYCrCbPart ? at : kYCrCbPart + Part::find(1, planeAt<Packing, Plane>(i)) % kYCrCbPart;
        });
        const auto firstTwo = (YBytes)_mm512_permutex2var_epi8((__m512i)v[0], (__m512i)kFirstTwo.vec(), (__m512i)v[1]);
        if constexpr (Part::vectors == 2) {
            return firstTwo;
        } else {
            static constexpr SYBytes kThird =
                makeYBytes([](std::size_t i) { return Part::find(2, planeAt<Packing, Plane>(i)); });
            constexpr std::uint64_t third = [] {
                std::uint64_t mask = 0;
                for (std::size_t i = 0; i < kYCrCbLanes; ++i) {
                    mask |= std::uint64_t{kThird.byte[i] < kYCrCbPart} << i;
                }
                return mask;
            }();
            return (YBytes)_mm512_mask_permutexvar_epi8((__m512i)firstTwo, third, (__m512i)kThird.vec(), (__m512i)v[2]);
        }
#else
        YBytes bytes = pick<Plane, 0>() | pick<Plane, 1>();
        if constexpr (Part::vectors == 3) {
            bytes |= pick<Plane, 2>();
        }
        return bytes;
#endif
    }

#if !defined(__AVX512VBMI__)
    /// The bytes that a vector has, 0 for the other pixels.
    template <YCrCbPlane Plane, std::size_t I>
    YBytes pick() const {
        static constexpr SYBytes kIndex = makeYBytes([](std::size_t i) {
            const std::size_t at = Part::find(I, planeAt<Packing, Plane>(i % kYCrCbPart));
            return at < kYCrCbPart ? at : 0x80;
        });
        return shuffleY(v[I], kIndex.vec());
    }
#endif
};

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

/// A weight for mulRounded with scale times a byte, to 1/64.
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

/// What the blocks need of a colour space, in every lane.
template <class T>
struct SYSame {
    alignas(kYCrCbLanes) T lane[kYCrCbLanes / sizeof(T)];
    constexpr explicit SYSame(int value) : lane{} {
        for (T& each : lane) {
            each = static_cast<T>(value);
        }
    }
    auto vec() const {
        typedef T Same __attribute__((vector_size(kYCrCbLanes)));
        Same v;
        __builtin_memcpy(&v, lane, sizeof v);
        return v;
    }
};
template <YCrCbSpace Space>
struct SYConstants {
    using S = SSpace<Space>;
    using Bytes = SYSame<std::uint8_t>;
    using Words = SYSame<std::uint16_t>;
    using Signed = SYSame<std::int16_t>;
    Bytes lumaLow{S::lumaLow};
    Bytes lumaHigh{S::lumaHigh};
    Bytes chromaLow{S::chromaLow};
    Bytes chromaHigh{S::chromaHigh};
    Bytes chromaZero{0x80};
    Bytes one{1};
    Bytes nibble{15};
    Words whole{kWhole};
    Words exactBias{kExactBias};
    Signed below{-kExactBias};
    Signed margin{kEstimateMargin};
    Signed lumaEstimate{estimateWeight(S::luma, 128)};
    Signed crRedEstimate{estimateWeight(S::crRed, 256)};
    Signed cbGreenEstimate{estimateWeight(S::cbGreen, 256)};
    Signed crGreenEstimate{estimateWeight(S::crGreen, 256)};
    Signed cbBlueEstimate{estimateWeight(S::cbBlue, 256)};
    Words lumaExact{exactWeight(S::luma)};
    Words crRedExact{exactWeight(S::crRed)};
    Words cbGreenExact{exactWeight(S::cbGreen)};
    Words crGreenExact{exactWeight(S::crGreen)};
    Words cbBlueExact{exactWeight(S::cbBlue)};
    Signed crRedFraction{fractionWeight(S::crRed)};
    Signed cbBlueFraction{fractionWeight(S::cbBlue)};
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
inline YBytes limitLuma(const SYConstants<Space>& c, YBytes y) {
    if constexpr (SSpace<Space>::lumaLow == 0) {
        return y;
    } else {
        return smaller(larger(y, c.lumaLow.vec()), c.lumaHigh.vec()) - c.lumaLow.vec();
    }
}
/// As signed bytes around 0.
template <YCrCbSpace Space>
inline YBytes limitChroma(const SYConstants<Space>& c, YBytes v) {
    if constexpr (SSpace<Space>::chromaLow != 0) {
        v = smaller(larger(v, c.chromaLow.vec()), c.chromaHigh.vec());
    }
    return v ^ c.chromaZero.vec();
}

/// The floor of a chroma times a positive weight.
template <int Weight>
inline YSigned floorOfOne(YSigned chroma, YSigned fraction) {
    return mulHigh(chroma, fraction) + (nearestWhole(Weight) == 1 ? chroma : chroma + chroma);
}

/// A sum of weighted bytes.
struct SYSum {
    YSigned estimate;
    YWords exact;
};
inline SYSum operator+(const SYSum& a, const SYSum& b) {
    return {a.estimate + b.estimate, a.exact + b.exact};
}

template <YCrCbSpace Space>
inline YSigned floorOf(const SYConstants<Space>& c, const SYSum& sum) {
    const YSigned whole = sum.estimate >> 6;
    const auto rest = (YSigned)(sum.exact - (YWords)whole * c.whole.vec());
    return rest < c.below.vec() ? whole - 1 : whole;
}

/// Luma's share of a sum, with what the estimate and the rest are moved by.
template <YCrCbSpace Space>
inline SYSum lumaShare(const SYConstants<Space>& c, YSigned luma) {
    return {mulRounded(luma << 7, c.lumaEstimate.vec()) + c.margin.vec(),
            (YWords)luma * c.lumaExact.vec() - c.exactBias.vec()};
}

/// Bits luma / 16 of entry luma % 16: the lumas below.
constexpr std::uint16_t kShort709[16] = {0x00C0, 0x0800, 0x0001, 0x0030, 0x0200, 0x2000, 0x0008, 0x0000,
                                         0x0000, 0x0012, 0x0340, 0x2800, 0x0008, 0x0080, 0x1800, 0x0002};

/// 1 for a luma whose green, where a chroma makes it a whole number, is cut off to the one below: the three rounded
/// entries of the table add up to a little less. For a luma there is one such chroma at most, so luma alone tells.
template <YCrCbSpace Space>
inline YBytes greenFallsShort(const SYConstants<Space>& c, YBytes luma) {
    if constexpr (Space == YCrCbSpace::Full601) {
        return YBytes{};
    } else {
        static constexpr SYBytes kLow = makeYBytes([](std::size_t i) { return kShort709[i % 16]; });
        static constexpr SYBytes kHigh = makeYBytes([](std::size_t i) { return kShort709[i % 16] >> 8; });
        static constexpr SYBytes kLowBit = makeYBytes([](std::size_t i) { return 1 << i % 16; });
        static constexpr SYBytes kHighBit = makeYBytes([](std::size_t i) { return 1 << i % 16 >> 8; });
        const YBytes row = luma & c.nibble.vec();
        const YBytes bit = (YBytes)((YWords)luma >> 4) & c.nibble.vec();
        const YBytes found = (shuffleY(kLow.vec(), row) & shuffleY(kLowBit.vec(), bit)) |
                             (shuffleY(kHigh.vec(), row) & shuffleY(kHighBit.vec(), bit));
        return smaller(found, c.one.vec());
    }
}

struct SYColours {
    YSigned blue;
    YSigned green;
    YSigned red;
};

/// Chroma as 256 times a signed byte.
template <YCrCbSpace Space>
[[gnu::always_inline]] inline SYColours decodeWords(const SYConstants<Space>& c, YSigned luma, YSigned cbHigh,
                                                    YSigned crHigh, YSigned fallsShort) {
    using S = SSpace<Space>;
    const YSigned cb = cbHigh >> 8;
    const YSigned cr = crHigh >> 8;
    const SYSum cbGreen = {mulRounded(cbHigh, c.cbGreenEstimate.vec()), (YWords)cb * c.cbGreenExact.vec()};
    const SYSum crGreen = {mulRounded(crHigh, c.crGreenEstimate.vec()), (YWords)cr * c.crGreenExact.vec()};
    if constexpr (S::luma == 100000) {
        // Luma is whole: what chroma adds to it is rounded by itself.
        static_assert(S::cbGreen % 2 == 0 && S::crGreen % 2 == 0);
        const SYSum moved = {c.margin.vec(), -c.exactBias.vec()};
        return {luma + floorOfOne<S::cbBlue>(cb, c.cbBlueFraction.vec()), luma + floorOf(c, moved + cbGreen + crGreen),
                luma + floorOfOne<S::crRed>(cr, c.crRedFraction.vec())};
    } else {
        static_assert(S::cbGreen % 2 != 0 && S::crGreen % 2 != 0);
        const SYSum share = lumaShare(c, luma);
        const SYSum halves = {YSigned{}, (YWords)((cb + cr - fallsShort) >> 1)};
        const SYSum cbBlue = {mulRounded(cbHigh, c.cbBlueEstimate.vec()), (YWords)cb * c.cbBlueExact.vec()};
        const SYSum crRed = {mulRounded(crHigh, c.crRedEstimate.vec()), (YWords)cr * c.crRedExact.vec()};
        return {floorOf(c, share + cbBlue), floorOf(c, share + cbGreen + crGreen + halves), floorOf(c, share + crRed)};
    }
}

/// Stores a block's pixels.
#if defined(__AVX512VBMI__)
template <unsigned Channels, std::size_t K>
inline void storeYVector(std::uint8_t* dst, YBytes b, YBytes g, YBytes r) {
    static constexpr SYBytes kFromBlueGreen = makeYBytes([](std::size_t i) {
        const std::size_t at = K * kYCrCbLanes + i;
        return at / Channels + (at % Channels == 1 ? kYCrCbLanes : 0);
    });
    static constexpr SYBytes kFromRed = makeYBytes([](std::size_t i) {
        const std::size_t at = K * kYCrCbLanes + i;
        return at % Channels == 2 ? kYCrCbLanes + at / Channels : i;
    });
    const __m512i bg = _mm512_permutex2var_epi8((__m512i)b, (__m512i)kFromBlueGreen.vec(), (__m512i)g);
    const __m512i pixels = _mm512_permutex2var_epi8(bg, (__m512i)kFromRed.vec(), (__m512i)r);
    if constexpr (Channels == 3) {
        _mm512_storeu_si512(dst + K * kYCrCbLanes, pixels);
    } else {
        _mm512_mask_storeu_epi8(dst + K * kYCrCbLanes, 0x7777777777777777, pixels);
    }
    if constexpr (K + 1 < Channels) {
        storeYVector<Channels, K + 1>(dst, b, g, r);
    }
}
template <unsigned Channels>
inline void storeYPixels(std::uint8_t* dst, YBytes b, YBytes g, YBytes r) {
    storeYVector<Channels, 0>(dst, b, g, r);
}
#else
template <unsigned Channels>
inline void storeYPixels(std::uint8_t* dst, YBytes b, YBytes g, YBytes r) {
    storePixels<Channels>(dst, b, g, r);
}
#endif

template <YCrCbSpace Space, YCrCb Packing, unsigned Channels>
inline void decodeBlock(const SYConstants<Space>& c, const std::uint8_t* src, std::uint8_t* dst) {
    const SYCrCbBlock<Packing> block(src);
    const YBytes luma = limitLuma(c, block.template plane<YCrCbPlane::Luma>());
    const YBytes cb = limitChroma(c, block.template plane<YCrCbPlane::Cb>());
    const YBytes cr = limitChroma(c, block.template plane<YCrCbPlane::Cr>());
    const YBytes fallsShort = greenFallsShort(c, luma);
    const YBytes zero{};
    const SYColours low = decodeWords(c, zipWordsLow(luma, zero), zipWordsLow(zero, cb), zipWordsLow(zero, cr),
                                      zipWordsLow(fallsShort, zero));
    const SYColours high = decodeWords(c, zipWordsHigh(luma, zero), zipWordsHigh(zero, cb), zipWordsHigh(zero, cr),
                                       zipWordsHigh(fallsShort, zero));
    storeYPixels<Channels>(dst, packWords(low.blue, high.blue), packWords(low.green, high.green),
                           packWords(low.red, high.red));
}

/// The luma bytes of a block as grey.
template <YCrCbSpace Space, YCrCb Packing>
inline void greyBlock(const SYConstants<Space>& c, const std::uint8_t* src, std::uint8_t* dst) {
    const YBytes luma = limitLuma(c, SYCrCbBlock<Packing>(src).template plane<YCrCbPlane::Luma>());
    YBytes grey = luma;
    if constexpr (Space != YCrCbSpace::Full601) {
        grey = packWords(floorOf(c, lumaShare(c, zipWordsLow(luma, YBytes{}))),
                         floorOf(c, lumaShare(c, zipWordsHigh(luma, YBytes{}))));
    }
    __builtin_memcpy(dst, &grey, sizeof grey);
}

/// Calls block(from, to) for the columns 0 .. count-1, which become Channels bytes each and are made of bytes bytes of
/// src. The last one may be a copy of what is left of those, with zeros behind it: nothing else is read or written.
template <YCrCb Packing, unsigned Channels, class Block>
inline void forYCrCbBlocks(const std::uint8_t* src, std::size_t bytes, std::uint8_t* dst, std::size_t count,
                           Block block) {
    using P = SPacking<Packing>;
    constexpr std::size_t blockBytes = SYCrCbPart<Packing>::blockBytes;
    for (std::size_t x = 0; x < count; x += kYCrCbLanes) {
        const std::uint8_t* from = src + x / P::pixels * P::bytes;
        const std::size_t left = bytes - static_cast<std::size_t>(from - src);
        std::uint8_t* to = dst + x * Channels;
        std::uint8_t copy[blockBytes];
        std::uint8_t pixels[kYCrCbLanes * Channels];
        const bool whole = left >= blockBytes;
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
    const std::size_t groups = (P::end(width) + P::pixels - 1) / P::pixels;
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
void yCrCbToGrey(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, [[maybe_unused]] YCrCbTable table) {
    if (width == 0) {
        return;
    }
#if VEK_VECTOR_BYTES != 0
    const SYConstants<Space>& constants = yConstants<Space>();
    // A row of luma alone ends with its last luma byte.
    forYCrCbBlocks<Packing, 1>(
        src, lumaAt<Packing>(width - 1) + 1, dst, width,
        [&](const std::uint8_t* from, std::uint8_t* to) { greyBlock<Space, Packing>(constants, from, to); });
#else
    lumaSpan<Packing>(src, dst, width, table);
#endif
}

#define VEK_BY_LAYOUT(...)                                                                                             \
    { yCrCbToBgr<__VA_ARGS__, 3>, yCrCbToBgr<__VA_ARGS__, 4> }
#define VEK_BY_PACKING(space)                                                                                          \
    { VEK_BY_LAYOUT(space, YCrCb::P422), VEK_BY_LAYOUT(space, YCrCb::P444), VEK_BY_LAYOUT(space, YCrCb::P411) }
#define VEK_GREY_BY_PACKING(space)                                                                                     \
    { yCrCbToGrey<space, YCrCb::P422>, yCrCbToGrey<space, YCrCb::P444>, yCrCbToGrey<space, YCrCb::P411> }

constexpr SYCrCbRows yCrCbTable() {
    return {{VEK_BY_PACKING(YCrCbSpace::Full601), VEK_BY_PACKING(YCrCbSpace::Video709)},
            {VEK_GREY_BY_PACKING(YCrCbSpace::Full601), VEK_GREY_BY_PACKING(YCrCbSpace::Video709)}};
}

#undef VEK_GREY_BY_PACKING
#undef VEK_BY_PACKING
#undef VEK_BY_LAYOUT

} // namespace
} // namespace vek::rows::VEK_ISA
