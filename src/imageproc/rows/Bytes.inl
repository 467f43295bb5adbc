// SPDX-License-Identifier: Apache-2.0
// Samples and packed pixels to bytes.

namespace vek::rows::VEK_ISA {
namespace {

template <class T>
inline std::uint8_t shifted(T sample, int shift) {
    const std::uint32_t wide = sample;
    return static_cast<std::uint8_t>(shift >= 0 ? wide >> shift : wide << -shift);
}

template <class T, unsigned Channels>
void shiftToBytes(const T* src, std::uint8_t* dst, std::size_t width, int shift) {
    for (std::size_t x = 0; x < width; ++x) {
        std::uint8_t* const pixel = dst + x * Channels;
        pixel[0] = shifted(src[x], shift);
        if constexpr (Channels > 1) {
            pixel[1] = pixel[2] = pixel[0];
        }
    }
}

template <unsigned Bits>
void unpackToBytes(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, int shift) {
    for (std::size_t x = 0; x < width; ++x) {
        dst[x] = static_cast<std::uint8_t>(packedWord<Bits>(src, x) >> shift);
    }
}

constexpr SByteRows byteTable() {
    return {{shiftToBytes<std::uint8_t, 1>, shiftToBytes<std::uint8_t, 3>, shiftToBytes<std::uint8_t, 4>},
            {shiftToBytes<std::uint16_t, 1>, shiftToBytes<std::uint16_t, 3>, shiftToBytes<std::uint16_t, 4>},
            unpackToBytes<10>,
            unpackToBytes<12>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
