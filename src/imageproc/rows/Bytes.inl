// SPDX-License-Identifier: Apache-2.0
// Samples and packed pixels to bytes.

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. width-1 ----

template <class T>
inline std::uint8_t shifted(T sample, int shift) {
    const std::uint32_t wide = sample;
    return static_cast<std::uint8_t>(shift >= 0 ? wide >> shift : wide << -shift);
}

template <class T, unsigned Channels>
inline void shiftSpan(const T* src, std::uint8_t* dst, std::size_t from, std::size_t width, int shift) {
    for (std::size_t x = from; x < width; ++x) {
        std::uint8_t* const pixel = dst + x * Channels;
        pixel[0] = shifted(src[x], shift);
        if constexpr (Channels > 1) {
            pixel[1] = pixel[2] = pixel[0];
        }
    }
}

template <unsigned Bits>
inline void unpackSpan(const std::uint8_t* src, std::uint8_t* dst, std::size_t from, std::size_t width, int shift) {
    for (std::size_t x = from; x < width; ++x) {
        dst[x] = static_cast<std::uint8_t>(packedWord<Bits>(src, x) >> shift);
    }
}

#if VEK_VECTOR_BYTES != 0

/// A shift of less than a sample's width: to the left, then to the right, one of them by 0.
template <class T>
struct SShift {
    explicit SShift(int shift)
        : left(shift < 0 ? -shift : 0), right(shift < 0 ? 0 : shift),
          kept(static_cast<std::uint8_t>((0xFF << left & 0xFF) >> right)) {}
    static bool takes(int shift) {
        constexpr int bits = 8 * sizeof(T);
        return shift > -bits && shift < bits;
    }
    int left;
    int right;
    /// Bits of a shifted byte that come from the byte itself, where bytes are shifted in pairs.
    std::uint8_t kept;
};

/// kLanes<std::uint8_t> samples as bytes.
inline Vec<std::uint8_t> shiftBlock(const std::uint8_t* src, const SShift<std::uint8_t>& shift) {
    const auto pairs = (Vec<std::uint16_t>)load(src);
    return (Vec<std::uint8_t>)(pairs << shift.left >> shift.right) & shift.kept;
}
inline Vec<std::uint8_t> shiftBlock(const std::uint16_t* src, const SShift<std::uint16_t>& shift) {
    return lowBytes(load(src) << shift.left >> shift.right,
                    load(src + kLanes<std::uint16_t>) << shift.left >> shift.right);
}

/// Stores block(x), kLanes<std::uint8_t> bytes, at dst + x for the columns 0 .. count-1, from left to right. The last
/// block overlaps the one before it by a multiple of Step columns. It is made first: the source may start where dst
/// does. Returns how many columns are done, all but Step - 1 at most.
template <std::size_t Step, class Block>
inline std::size_t storeByteBlocks(std::uint8_t* dst, std::size_t count, Block block) {
    constexpr std::size_t lanes = kLanes<std::uint8_t>;
    if (count < lanes) {
        return 0;
    }
    const std::size_t last = (count - lanes) / Step * Step;
    const Vec<std::uint8_t> lastBlock = block(last);
    for (std::size_t x = 0; x < last; x += lanes) {
        store(dst + x, block(x));
    }
    store(dst + last, lastBlock);
    return last + lanes;
}

#endif

// ---- kernels ----

template <class T, unsigned Channels>
void shiftToBytes(const T* src, std::uint8_t* dst, std::size_t width, int shift) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    if (SShift<T>::takes(shift)) {
        const SShift<T> by(shift);
        if constexpr (Channels == 1) {
            done = storeByteBlocks<1>(dst, width, [=](std::size_t x) { return shiftBlock(src + x, by); });
        } else if (const std::size_t pairs = width & ~std::size_t{1}; pairs >= kLanes<std::uint8_t>) {
            forBlocks<std::uint8_t, Channels>(dst, 0, pairs, [=](std::size_t x) {
                const Vec<std::uint8_t> v = shiftBlock(src + x, by);
                storePixels<Channels>(dst + x * Channels, v, v, v);
            });
            done = pairs;
        }
    }
#endif
    shiftSpan<T, Channels>(src, dst, done, width, shift);
}

template <unsigned Bits>
void unpackToBytes(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, int shift) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    // Larger shifts bring in bits of the next pixel.
    if (shift >= 0 && shift <= static_cast<int>(Bits) - 8) {
        constexpr std::size_t lanes = kLanes<std::uint8_t>;
        constexpr std::size_t half = kLanes<std::uint16_t>;
        constexpr std::size_t reach = half * Bits / 8 + kPackedReach<Bits>;
        const std::size_t rowBytes = packedBytes<Bits>(width);
        // Eight pixels take whole bytes, so blocks start at multiples of 8 columns.
        const std::size_t count = rowBytes < reach ? 0 : (rowBytes - reach) / Bits * 8 + lanes;
        done = storeByteBlocks<8>(dst, count, [=](std::size_t x) {
            const std::uint8_t* const p = src + x / 8 * Bits;
            return lowBytes(unpackBlock<Bits>(p) >> shift, unpackBlock<Bits>(p + half * Bits / 8) >> shift);
        });
    }
#endif
    unpackSpan<Bits>(src, dst, done, width, shift);
}

constexpr SByteRows byteTable() {
    return {{shiftToBytes<std::uint8_t, 1>, shiftToBytes<std::uint8_t, 3>, shiftToBytes<std::uint8_t, 4>},
            {shiftToBytes<std::uint16_t, 1>, shiftToBytes<std::uint16_t, 3>, shiftToBytes<std::uint16_t, 4>},
            unpackToBytes<10>,
            unpackToBytes<12>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
