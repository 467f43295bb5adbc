// SPDX-License-Identifier: Apache-2.0
// Vectors of samples in the compiler's own vector types, and the one thing those cannot say well: storing three
// vectors of blue, green and red as interleaved pixels.

namespace vek::rows::VEK_ISA {
namespace {

// Of samples, or lane by lane.
template <class T>
inline T smaller(T a, T b) {
    return a < b ? a : b;
}
template <class T>
inline T larger(T a, T b) {
    return a < b ? b : a;
}

} // namespace
} // namespace vek::rows::VEK_ISA

#if VEK_VECTOR_BYTES != 0

#if defined(__ARM_NEON)
#include <arm_neon.h>
#else
#include <immintrin.h>
#endif

namespace vek::rows::VEK_ISA {
namespace {

#if !defined(__ARM_NEON)
/// A vector as the intrinsics take it.
#if VEK_VECTOR_BYTES == 64
using Register = __m512i;
#define VEK_MM(op) _mm512_##op
#elif VEK_VECTOR_BYTES == 32
using Register = __m256i;
#define VEK_MM(op) _mm256_##op
#else
using Register = __m128i;
#define VEK_MM(op) _mm_##op
#endif
#endif

template <class T>
struct SVec {
    typedef T type __attribute__((vector_size(VEK_VECTOR_BYTES)));
};
template <class T>
using Vec = typename SVec<T>::type;

/// Samples in a vector, and so pixels in a block.
template <class T>
constexpr std::size_t kLanes = VEK_VECTOR_BYTES / sizeof(T);

template <class T>
inline Vec<T> load(const T* p) {
    Vec<T> v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}

template <class T>
inline void store(T* p, Vec<T> v) {
    __builtin_memcpy(p, &v, sizeof v);
}

/// (a + b) >> 1 without a wider type.
template <class V>
inline V meanVec(V a, V b) {
    return (a & b) + ((a ^ b) >> 1);
}

/// A vector constant, built at compile time.
template <class T>
struct SLanes {
    alignas(VEK_VECTOR_BYTES) T lane[kLanes<T>];
    Vec<T> vec() const { return load(lane); }
};
template <class T, class F>
constexpr SLanes<T> makeLanes(F valueOfLane) {
    SLanes<T> lanes{};
    for (std::size_t i = 0; i < kLanes<T>; ++i) {
        lanes.lane[i] = static_cast<T>(valueOfLane(i));
    }
    return lanes;
}

/// All ones in the lanes whose index has the parity, 0 in the others.
template <class T, unsigned Parity>
inline Vec<T> parityMask() {
    static constexpr SLanes<T> kMask = makeLanes<T>([](std::size_t i) { return i % 2 == Parity ? ~T{0} : T{0}; });
    return kMask.vec();
}

/// Lanes of a where mask is set, lanes of b elsewhere.
template <class V>
inline V select(V mask, V a, V b) {
    return (a & mask) | (b & ~mask);
}

/// An integer as wide as two samples.
template <class T>
struct SPair {
    using type = std::uint16_t;
};
template <>
struct SPair<std::uint16_t> {
    using type = std::uint32_t;
};
template <>
struct SPair<std::uint32_t> {
    using type = std::uint64_t;
};

/// combine on the even and on the odd lanes of vectors, in lanes of twice the width; its results fit a sample.
template <class T, class Combine, class... V>
[[gnu::always_inline]] inline Vec<T> inPairs(Combine combine, V... v) {
    using Pair = typename SPair<T>::type;
    constexpr unsigned bits = 8 * sizeof(T);
    constexpr auto low = static_cast<Pair>((Pair{1} << bits) - 1);
    const Vec<Pair> even = combine((Vec<Pair>)v & low...);
    const Vec<Pair> odd = combine((Vec<Pair>)v >> bits...);
    return (Vec<T>)(even | odd << bits);
}

/// Both lanes of each pair get the pair's lane of Parity.
template <class T, unsigned Parity>
inline Vec<T> shareInPairs(Vec<T> v) {
    using Pair = typename SPair<T>::type;
    constexpr unsigned bits = 8 * sizeof(T);
    const Vec<Pair> kept = (Vec<Pair>)(v & parityMask<T, Parity>());
    return (Vec<T>)(kept | (Parity == 0 ? kept << bits : kept >> bits));
}

/// A column at which a row of pixels reaches a multiple of the vector's size in memory: even, 2 .. kLanes<T> behind
/// first (which is even). Where there is none (an odd one, an address that no column brings into line), first +
/// kLanes<T>. Stores that straddle cache lines cost up to half of a store-bound row's speed.
template <class T, unsigned Channels>
inline std::size_t alignedColumn(const T* dst, std::size_t first) {
    constexpr std::size_t lanes = kLanes<T>;
    const std::size_t sample = reinterpret_cast<std::uintptr_t>(dst) / sizeof(T) + first * Channels;
    std::size_t columns = 0;
    if constexpr (Channels == 3) {
        columns = (0 - sample) * 43 % lanes; // 3 x 43 = 1 modulo 64 and every smaller power of two
    } else {
        static_assert(Channels == 4);
        columns = (0 - sample / 4) % (lanes / 4);
    }
    return first + (columns % 2 == 0 && columns != 0 ? columns : lanes);
}

/// Calls body(x) for blocks of kLanes<T> columns that cover first .. first + count - 1; first and count are even,
/// and there is at least one block. Every x is even. Blocks overlap behind the first one, to bring the pixels of a
/// row at dst into line, and before the last one: a body that reads what it wrote is no use here.
template <class T, unsigned Channels, class Body>
inline void forBlocks(const T* dst, std::size_t first, std::size_t count, Body body) {
    const std::size_t last = first + count - kLanes<T>;
    std::size_t next = alignedColumn<T, Channels>(dst, first);
    // One place that calls body, so that it is inlined and its constants stay in registers.
    for (std::size_t x = first;; next = x + kLanes<T>) {
        body(x);
        if (x == last) {
            return;
        }
        x = next < last ? next : last;
    }
}

// Vectors as wide as the registers are: for kernels that compute more than they move, where lanes keep their places.
#if defined(__AVX512VBMI__)
constexpr std::size_t kWideBytes = 64;
#else
constexpr std::size_t kWideBytes = VEK_VECTOR_BYTES;
#endif

template <class T, std::size_t Bytes>
struct SVecOf {
    typedef T type __attribute__((vector_size(Bytes)));
};
template <class T, std::size_t Bytes>
using VecOf = typename SVecOf<T, Bytes>::type;
template <class T>
using WideVec = VecOf<T, kWideBytes>;

template <class V, class T>
inline V loadAs(const T* p) {
    V v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}

template <class V, class T>
inline void storeAs(T* p, V v) {
    __builtin_memcpy(p, &v, sizeof v);
}

/// v in a register: GCC loads a vector anew for each instruction that it can be an operand of, and loads off the lines
/// cost more than such instructions.
template <class V>
inline V inRegister(V v) {
#if defined(__x86_64__)
    __asm__("" : "+v"(v));
#endif
    return v;
}

/// Whether any bit is set, of vectors of any size.
template <class V>
inline bool anyLane(V mask) {
#if defined(__ARM_NEON)
    return vmaxvq_u8((uint8x16_t)mask) != 0;
#else
    if constexpr (sizeof mask == 16) {
        return _mm_testz_si128((__m128i)mask, (__m128i)mask) == 0;
    }
#if VEK_VECTOR_BYTES == 32
    if constexpr (sizeof mask == 32) {
        return _mm256_testz_si256((__m256i)mask, (__m256i)mask) == 0;
    }
#endif
#if defined(__AVX512VBMI__)
    if constexpr (sizeof mask == 64) {
        return _mm512_test_epi64_mask((__m512i)mask, (__m512i)mask) != 0;
    }
#endif
#endif
}

template <class V, class T, class Body>
inline std::size_t changeBlocksOf(T* row, std::size_t from, std::size_t to, Body body) {
    constexpr std::size_t lanes = sizeof(V) / sizeof(T);
    if (to < from + lanes) {
        return from;
    }
    const V first = body(V{}, from);
    const V last = body(V{}, to - lanes);
    const std::size_t misaligned = reinterpret_cast<std::uintptr_t>(row + from) / sizeof(T) % lanes;
    for (std::size_t x = from + lanes - misaligned; x + lanes <= to; x += lanes) {
        storeAs(row + x, body(V{}, x));
    }
    storeAs(row + from, first);
    storeAs(row + to - lanes, last);
    return to;
}

/// Changes columns from .. to-1 of a row in place, block by block: body(V{}, x) gives the vector V that goes to x, from
/// samples of the row at the same columns alone. The first and the last block overlap others, to bring those between
/// into line, and so are made before anything is stored. Returns to, or from where the columns do not fill a vector.
template <class T, class Body>
inline std::size_t changeBlocks(T* row, std::size_t from, std::size_t to, Body body) {
    const std::size_t done = changeBlocksOf<WideVec<T>>(row, from, to, body);
    if constexpr (sizeof(WideVec<T>) != sizeof(Vec<T>)) {
        return done == from ? changeBlocksOf<Vec<T>>(row, from, to, body) : done;
    }
    return done;
}

// shuffleBytes picks bytes within each 16 bytes of a vector by index; loadParts fills those 16-byte parts from
// addresses step bytes apart.
#if defined(__ARM_NEON)
inline Vec<std::uint8_t> shuffleBytes(Vec<std::uint8_t> v, Vec<std::uint8_t> index) {
    return vqtbl1q_u8(v, index);
}
inline Vec<std::uint8_t> loadParts(const std::uint8_t* p, std::size_t) {
    return load(p);
}
#elif VEK_VECTOR_BYTES == 64
inline Vec<std::uint8_t> shuffleBytes(Vec<std::uint8_t> v, Vec<std::uint8_t> index) {
    return (Vec<std::uint8_t>)_mm512_shuffle_epi8((__m512i)v, (__m512i)index);
}
#elif VEK_VECTOR_BYTES == 32
inline Vec<std::uint8_t> shuffleBytes(Vec<std::uint8_t> v, Vec<std::uint8_t> index) {
    return (Vec<std::uint8_t>)_mm256_shuffle_epi8((__m256i)v, (__m256i)index);
}
inline Vec<std::uint8_t> loadParts(const std::uint8_t* p, std::size_t step) {
    return (Vec<std::uint8_t>)_mm256_loadu2_m128i((const __m128i*)(p + step), (const __m128i*)p);
}
#else
inline Vec<std::uint8_t> shuffleBytes(Vec<std::uint8_t> v, Vec<std::uint8_t> index) {
    return (Vec<std::uint8_t>)_mm_shuffle_epi8((__m128i)v, (__m128i)index);
}
inline Vec<std::uint8_t> loadParts(const std::uint8_t* p, std::size_t) {
    return load(p);
}
#endif

/// The low byte of each word of a, then of b.
inline Vec<std::uint8_t> lowBytes(Vec<std::uint16_t> a, Vec<std::uint16_t> b) {
#if defined(__ARM_NEON)
    return vuzp1q_u8((uint8x16_t)a, (uint8x16_t)b);
#elif defined(__AVX512VBMI__)
    static constexpr SLanes<std::uint8_t> kEven = makeLanes<std::uint8_t>([](std::size_t i) { return 2 * i; });
    return (Vec<std::uint8_t>)VEK_MM(permutex2var_epi8)((Register)a, (Register)kEven.vec(), (Register)b);
#elif VEK_VECTOR_BYTES == 32
    // The pack works within 16 bytes: the middle quarters change places.
    const __m256i packed = _mm256_packus_epi16((__m256i)(a & 0xFF), (__m256i)(b & 0xFF));
    return (Vec<std::uint8_t>)_mm256_permute4x64_epi64(packed, 0xD8);
#else
    return (Vec<std::uint8_t>)_mm_packus_epi16((__m128i)(a & 0xFF), (__m128i)(b & 0xFF));
#endif
}

// storePixels writes kLanes<T> pixels of blue, green and red. It is inlined always: behind a call with vectors, g++ 12
// does not release the upper halves of the registers, and code without AVX is slow until someone does. A fourth sample
// of a pixel is neither read nor written: it may belong to another thread, or lie on a page that is not there.

#if defined(__ARM_NEON)

inline void storeThree(std::uint8_t* dst, uint8x16x3_t v) {
    vst3q_u8(dst, v);
}
inline void storeThree(std::uint16_t* dst, uint16x8x3_t v) {
    vst3q_u16(dst, v);
}
template <std::size_t Lane>
inline void storeLane(std::uint8_t* dst, uint8x16x3_t v) {
    vst3q_lane_u8(dst, v, Lane);
}
template <std::size_t Lane>
inline void storeLane(std::uint16_t* dst, uint16x8x3_t v) {
    vst3q_lane_u16(dst, v, Lane);
}
inline uint8x16x3_t three(Vec<std::uint8_t> b, Vec<std::uint8_t> g, Vec<std::uint8_t> r) {
    return {{b, g, r}};
}
inline uint16x8x3_t three(Vec<std::uint16_t> b, Vec<std::uint16_t> g, Vec<std::uint16_t> r) {
    return {{b, g, r}};
}

template <std::size_t Lane, class T, class Three>
inline void storeLanesFrom(T* dst, Three v) {
    if constexpr (Lane < kLanes<T>) {
        storeLane<Lane>(dst + 4 * Lane, v);
        storeLanesFrom<Lane + 1>(dst, v);
    }
}

template <unsigned Channels, class T>
[[gnu::always_inline]] inline void storePixels(T* dst, Vec<T> b, Vec<T> g, Vec<T> r) {
    if constexpr (Channels == 3) {
        storeThree(dst, three(b, g, r));
    } else {
        storeLanesFrom<0>(dst, three(b, g, r));
    }
}

#else // x86-64

/// Sample i of vector k of the interleaved pixels: its pixel within the block and its channel.
template <unsigned Channels, class T>
constexpr std::size_t pixelOf(std::size_t k, std::size_t i) {
    return (k * kLanes<T> + i) / Channels;
}
template <unsigned Channels, class T>
constexpr std::size_t channelOf(std::size_t k, std::size_t i) {
    return (k * kLanes<T> + i) % Channels;
}

/// The vectors of kLanes interleaved pixels, in memory order. A fourth channel holds anything.
template <unsigned Channels, class T>
struct SPixelVectors {
    Vec<T> v[Channels];
};

#if VEK_VECTOR_BYTES == 64

// vpermi2b and vpermi2w take any lane of two registers: two of them make a vector of pixels. In vectors of 32 bytes
// they are no faster than what AVX2 does.
inline Vec<std::uint8_t> permute2(Vec<std::uint8_t> a, Vec<std::uint8_t> index, Vec<std::uint8_t> b) {
    return (Vec<std::uint8_t>)VEK_MM(permutex2var_epi8)((Register)a, (Register)index, (Register)b);
}
inline Vec<std::uint16_t> permute2(Vec<std::uint16_t> a, Vec<std::uint16_t> index, Vec<std::uint16_t> b) {
    return (Vec<std::uint16_t>)VEK_MM(permutex2var_epi16)((Register)a, (Register)index, (Register)b);
}

template <unsigned Channels, std::size_t K, class T>
inline Vec<T> pixelVector(Vec<T> b, Vec<T> g, Vec<T> r) {
    static constexpr SLanes<T> kBlueGreen = makeLanes<T>(
        [](std::size_t i) { return pixelOf<Channels, T>(K, i) + (channelOf<Channels, T>(K, i) == 1 ? kLanes<T> : 0); });
    static constexpr SLanes<T> kRed = makeLanes<T>(
        [](std::size_t i) { return channelOf<Channels, T>(K, i) == 2 ? kLanes<T> + pixelOf<Channels, T>(K, i) : i; });
    return permute2(permute2(b, kBlueGreen.vec(), g), kRed.vec(), r);
}

template <unsigned Channels, class T>
inline SPixelVectors<Channels, T> interleave(Vec<T> b, Vec<T> g, Vec<T> r) {
    if constexpr (Channels == 3) {
        return {{pixelVector<3, 0, T>(b, g, r), pixelVector<3, 1, T>(b, g, r), pixelVector<3, 2, T>(b, g, r)}};
    } else {
        return {{pixelVector<4, 0, T>(b, g, r), pixelVector<4, 1, T>(b, g, r), pixelVector<4, 2, T>(b, g, r),
                 pixelVector<4, 3, T>(b, g, r)}};
    }
}

#else // pshufb and unpack work within 16 bytes

/// Samples in 16 bytes: as many pixels become Channels runs of 16 bytes, on their own.
template <class T>
constexpr std::size_t kRun = 16 / sizeof(T);

/// For 3 channels each position of a run belongs to a given channel in exactly one of the three runs (16 and 8 are
/// no multiples of 3), so one shuffle puts all samples of a channel where they go, and selections do the rest.
template <class T>
constexpr std::size_t runOf(std::size_t channel, std::size_t i) {
    for (std::size_t run = 0; run < 2; ++run) {
        if ((run * kRun<T> + i) % 3 == channel) {
            return run;
        }
    }
    return 2;
}

template <std::size_t Channel, class T>
inline Register spread(Vec<T> v) {
    static constexpr SLanes<std::uint8_t> kIndex = makeLanes<std::uint8_t>([](std::size_t byte) {
        const std::size_t i = byte % 16 / sizeof(T);
        return (runOf<T>(Channel, i) * kRun<T> + i) / 3 * sizeof(T) + byte % sizeof(T);
    });
    return VEK_MM(shuffle_epi8)((Register)v, (Register)kIndex.vec());
}

template <std::size_t Run, class T>
inline Register selectRun(Register b, Register g, Register r) {
    static constexpr SLanes<std::uint8_t> kGreen =
        makeLanes<std::uint8_t>([](std::size_t byte) { return runOf<T>(1, byte % 16 / sizeof(T)) == Run ? 255 : 0; });
    static constexpr SLanes<std::uint8_t> kRed =
        makeLanes<std::uint8_t>([](std::size_t byte) { return runOf<T>(2, byte % 16 / sizeof(T)) == Run ? 255 : 0; });
    const Register bg = VEK_MM(blendv_epi8)(b, g, (Register)kGreen.vec());
    return VEK_MM(blendv_epi8)(bg, r, (Register)kRed.vec());
}

template <class T>
inline Register unpackLow(Register a, Register b) {
    return sizeof(T) == 1 ? VEK_MM(unpacklo_epi8)(a, b) : VEK_MM(unpacklo_epi16)(a, b);
}
template <class T>
inline Register unpackHigh(Register a, Register b) {
    return sizeof(T) == 1 ? VEK_MM(unpackhi_epi8)(a, b) : VEK_MM(unpackhi_epi16)(a, b);
}
template <class T>
inline Register unpackPairsLow(Register a, Register b) {
    return sizeof(T) == 1 ? VEK_MM(unpacklo_epi16)(a, b) : VEK_MM(unpacklo_epi32)(a, b);
}
template <class T>
inline Register unpackPairsHigh(Register a, Register b) {
    return sizeof(T) == 1 ? VEK_MM(unpackhi_epi16)(a, b) : VEK_MM(unpackhi_epi32)(a, b);
}

template <unsigned Channels, class T>
inline SPixelVectors<Channels, T> interleave(Vec<T> b, Vec<T> g, Vec<T> r) {
    using V = Vec<T>;
    if constexpr (Channels == 3) {
        const Register sb = spread<0, T>(b);
        const Register sg = spread<1, T>(g);
        const Register sr = spread<2, T>(r);
        const Register run0 = selectRun<0, T>(sb, sg, sr);
        const Register run1 = selectRun<1, T>(sb, sg, sr);
        const Register run2 = selectRun<2, T>(sb, sg, sr);
#if VEK_VECTOR_BYTES == 32
        // The low halves hold the first 16 bytes' worth of pixels, the high halves the second.
        return {{(V)_mm256_permute2x128_si256(run0, run1, 0x20), (V)_mm256_blend_epi32(run2, run0, 0xF0),
                 (V)_mm256_permute2x128_si256(run1, run2, 0x31)}};
#else
        return {{(V)run0, (V)run1, (V)run2}};
#endif
    } else {
        const Register zero = Register{};
        const Register bgLow = unpackLow<T>((Register)b, (Register)g);
        const Register bgHigh = unpackHigh<T>((Register)b, (Register)g);
        const Register rLow = unpackLow<T>((Register)r, zero);
        const Register rHigh = unpackHigh<T>((Register)r, zero);
        const Register run0 = unpackPairsLow<T>(bgLow, rLow);
        const Register run1 = unpackPairsHigh<T>(bgLow, rLow);
        const Register run2 = unpackPairsLow<T>(bgHigh, rHigh);
        const Register run3 = unpackPairsHigh<T>(bgHigh, rHigh);
#if VEK_VECTOR_BYTES == 32
        return {{(V)_mm256_permute2x128_si256(run0, run1, 0x20), (V)_mm256_permute2x128_si256(run2, run3, 0x20),
                 (V)_mm256_permute2x128_si256(run0, run1, 0x31), (V)_mm256_permute2x128_si256(run2, run3, 0x31)}};
#else
        return {{(V)run0, (V)run1, (V)run2, (V)run3}};
#endif
    }
}

#endif

#if defined(__AVX512VBMI__)

#if VEK_VECTOR_BYTES == 64
using ByteMask = __mmask64;
using WordMask = __mmask32;
#else
using ByteMask = __mmask32;
using WordMask = __mmask16;
#endif

/// Stores the first three samples of each four.
inline void storeThreeOfFour(std::uint8_t* dst, Vec<std::uint8_t> pixels) {
    VEK_MM(mask_storeu_epi8)(dst, static_cast<ByteMask>(0x7777777777777777), (Register)pixels);
}
inline void storeThreeOfFour(std::uint16_t* dst, Vec<std::uint16_t> pixels) {
    VEK_MM(mask_storeu_epi16)(dst, static_cast<WordMask>(0x77777777), (Register)pixels);
}

#endif

/// Stores the first three samples of each four in 8 bytes.
inline void storeThreeOfFour(std::uint8_t* dst, std::uint64_t word) {
    const auto bg = static_cast<std::uint16_t>(word);
    const auto nextBg = static_cast<std::uint16_t>(word >> 32);
    __builtin_memcpy(dst, &bg, 2);
    dst[2] = static_cast<std::uint8_t>(word >> 16);
    __builtin_memcpy(dst + 4, &nextBg, 2);
    dst[6] = static_cast<std::uint8_t>(word >> 48);
}
inline void storeThreeOfFour(std::uint16_t* dst, std::uint64_t word) {
    const auto bg = static_cast<std::uint32_t>(word);
    __builtin_memcpy(dst, &bg, 4);
    dst[2] = static_cast<std::uint16_t>(word >> 32);
}

template <unsigned Channels, class T>
[[gnu::always_inline]] inline void storePixels(T* dst, Vec<T> b, Vec<T> g, Vec<T> r) {
    const SPixelVectors<Channels, T> pixels = interleave<Channels, T>(b, g, r);
    if constexpr (Channels == 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            store(dst + k * kLanes<T>, pixels.v[k]);
        }
    } else {
#if defined(__AVX512VBMI__)
        for (std::size_t k = 0; k < 4; ++k) {
            storeThreeOfFour(dst + k * kLanes<T>, pixels.v[k]);
        }
#else
        // No store of these instruction sets leaves single bytes out: pixels go out one by one.
        for (std::size_t k = 0; k < 4; ++k) {
            const auto words = (Vec<std::uint64_t>)pixels.v[k];
            for (std::size_t i = 0; i < kLanes<std::uint64_t>; ++i) {
                storeThreeOfFour(dst + k * kLanes<T> + i * (8 / sizeof(T)), words[i]);
            }
        }
#endif
    }
}

#endif // x86-64

// ---- arithmetic that the vector types cannot say ----

// addSat, subSat: a + b and a - b, held within the sample's range. mulHigh: the upper half of a product. mulRounded:
// (a x b + 2^14) >> 15, of factors below 2^15.
#if defined(__ARM_NEON)

inline Vec<std::uint8_t> addSat(Vec<std::uint8_t> a, Vec<std::uint8_t> b) {
    return vqaddq_u8(a, b);
}
inline Vec<std::uint16_t> addSat(Vec<std::uint16_t> a, Vec<std::uint16_t> b) {
    return vqaddq_u16(a, b);
}
inline Vec<std::uint8_t> subSat(Vec<std::uint8_t> a, Vec<std::uint8_t> b) {
    return vqsubq_u8(a, b);
}
inline Vec<std::uint16_t> subSat(Vec<std::uint16_t> a, Vec<std::uint16_t> b) {
    return vqsubq_u16(a, b);
}
inline Vec<std::uint16_t> mulHigh(Vec<std::uint16_t> a, Vec<std::uint16_t> b) {
    const uint32x4_t low = vmull_u16(vget_low_u16(a), vget_low_u16(b));
    const uint32x4_t high = vmull_high_u16(a, b);
    return vuzp2q_u16(vreinterpretq_u16_u32(low), vreinterpretq_u16_u32(high));
}
inline Vec<std::uint16_t> mulRounded(Vec<std::uint16_t> a, Vec<std::uint16_t> b) {
    return (Vec<std::uint16_t>)vqrdmulhq_s16((int16x8_t)a, (int16x8_t)b);
}

#else

inline Vec<std::uint8_t> addSat(Vec<std::uint8_t> a, Vec<std::uint8_t> b) {
    return (Vec<std::uint8_t>)VEK_MM(adds_epu8)((Register)a, (Register)b);
}
inline Vec<std::uint16_t> addSat(Vec<std::uint16_t> a, Vec<std::uint16_t> b) {
    return (Vec<std::uint16_t>)VEK_MM(adds_epu16)((Register)a, (Register)b);
}
inline Vec<std::uint8_t> subSat(Vec<std::uint8_t> a, Vec<std::uint8_t> b) {
    return (Vec<std::uint8_t>)VEK_MM(subs_epu8)((Register)a, (Register)b);
}
inline Vec<std::uint16_t> subSat(Vec<std::uint16_t> a, Vec<std::uint16_t> b) {
    return (Vec<std::uint16_t>)VEK_MM(subs_epu16)((Register)a, (Register)b);
}
inline Vec<std::uint16_t> mulHigh(Vec<std::uint16_t> a, Vec<std::uint16_t> b) {
    return (Vec<std::uint16_t>)VEK_MM(mulhi_epu16)((Register)a, (Register)b);
}
inline Vec<std::uint16_t> mulRounded(Vec<std::uint16_t> a, Vec<std::uint16_t> b) {
    return (Vec<std::uint16_t>)VEK_MM(mulhrs_epi16)((Register)a, (Register)b);
}

#endif

// ---- pixels in memory order ----

/// Blue, green and red of kLanes<T> pixels.
template <class T>
struct SColours {
    Vec<T> blue;
    Vec<T> green;
    Vec<T> red;
};

// loadColours takes kLanes<T> dense pixels of three samples apart. repeatLanes<K> gives sample i of the K-th of their
// three vectors in memory order the lane of its pixel in v.

#if VEK_VECTOR_BYTES == 64

template <std::size_t K, class T>
inline Vec<T> repeatLanes(Vec<T> v) {
    static constexpr SLanes<T> kIndex = makeLanes<T>([](std::size_t i) { return pixelOf<3, T>(K, i); });
    return permute2(v, kIndex.vec(), v);
}

template <std::size_t Channel, class T>
inline Vec<T> channelOfVectors(Vec<T> v0, Vec<T> v1, Vec<T> v2) {
    constexpr std::size_t lanes = kLanes<T>;
    static constexpr SLanes<T> kFirstTwo = makeLanes<T>([](std::size_t pixel) {
        const std::size_t sample = 3 * pixel + Channel;
        return sample < 2 * kLanes<T> ? sample : 0;
    });
    static constexpr SLanes<T> kThird = makeLanes<T>([](std::size_t pixel) {
        const std::size_t sample = 3 * pixel + Channel;
        return sample < 2 * lanes ? pixel : sample - lanes;
    });
    return permute2(permute2(v0, kFirstTwo.vec(), v1), kThird.vec(), v2);
}

template <class T>
inline SColours<T> loadColours(const T* p) {
    const Vec<T> v0 = load(p);
    const Vec<T> v1 = load(p + kLanes<T>);
    const Vec<T> v2 = load(p + 2 * kLanes<T>);
    return {channelOfVectors<0, T>(v0, v1, v2), channelOfVectors<1, T>(v0, v1, v2), channelOfVectors<2, T>(v0, v1, v2)};
}

#else

template <std::size_t K, class T>
inline Vec<T> repeatLanes(Vec<T> v) {
    static constexpr SLanes<std::uint8_t> kIndex = makeLanes<std::uint8_t>(
        [](std::size_t byte) { return (K * kLanes<T> + byte / sizeof(T)) / 3 * sizeof(T) % 16 + byte % sizeof(T); });
    auto source = (Vec<std::uint8_t>)v;
#if VEK_VECTOR_BYTES == 32
    // Of the six halves that the pixels fill, three have their pixels in the low half of v, three in the high one.
    constexpr int halves = K == 0 ? 0x00 : K == 1 ? 0x10 : 0x11;
    source = (Vec<std::uint8_t>)_mm256_permute2x128_si256((__m256i)v, (__m256i)v, halves);
#endif
    return (Vec<T>)shuffleBytes(source, kIndex.vec());
}

#if defined(__ARM_NEON)

inline SColours<std::uint8_t> loadColours(const std::uint8_t* p) {
    const uint8x16x3_t v = vld3q_u8(p);
    return {v.val[0], v.val[1], v.val[2]};
}
inline SColours<std::uint16_t> loadColours(const std::uint16_t* p) {
    const uint16x8x3_t v = vld3q_u16(p);
    return {v.val[0], v.val[1], v.val[2]};
}

#else

/// Each position belongs to the channel in one of the three runs: see runOf.
template <std::size_t Channel, class T>
inline Vec<T> channelOfRuns(Register run0, Register run1, Register run2) {
    static constexpr SLanes<std::uint8_t> kSecond = makeLanes<std::uint8_t>(
        [](std::size_t byte) { return runOf<T>(Channel, byte % 16 / sizeof(T)) == 1 ? 255 : 0; });
    static constexpr SLanes<std::uint8_t> kThird = makeLanes<std::uint8_t>(
        [](std::size_t byte) { return runOf<T>(Channel, byte % 16 / sizeof(T)) == 2 ? 255 : 0; });
    static constexpr SLanes<std::uint8_t> kIndex = makeLanes<std::uint8_t>([](std::size_t byte) {
        const std::size_t pixel = byte % 16 / sizeof(T);
        return (3 * pixel + Channel) % kRun<T> * sizeof(T) + byte % sizeof(T);
    });
    const auto all = select(kThird.vec(), (Vec<std::uint8_t>)run2,
                            select(kSecond.vec(), (Vec<std::uint8_t>)run1, (Vec<std::uint8_t>)run0));
    return (Vec<T>)shuffleBytes(all, kIndex.vec());
}

template <class T>
inline SColours<T> loadColours(const T* p) {
    const auto v0 = (Register)load(p);
    const auto v1 = (Register)load(p + kLanes<T>);
    const auto v2 = (Register)load(p + 2 * kLanes<T>);
#if VEK_VECTOR_BYTES == 32
    // The first 16 bytes' worth of pixels to the low halves, the second to the high ones.
    const Register run0 = _mm256_blend_epi32(v0, v1, 0xF0);
    const Register run1 = _mm256_permute2x128_si256(v0, v2, 0x21);
    const Register run2 = _mm256_blend_epi32(v1, v2, 0xF0);
#else
    const Register run0 = v0;
    const Register run1 = v1;
    const Register run2 = v2;
#endif
    return {channelOfRuns<0, T>(run0, run1, run2), channelOfRuns<1, T>(run0, run1, run2),
            channelOfRuns<2, T>(run0, run1, run2)};
}

#endif
#endif

#undef VEK_MM

} // namespace
} // namespace vek::rows::VEK_ISA

#endif // VEK_VECTOR_BYTES != 0
