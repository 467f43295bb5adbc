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

/// A sum with 22 fraction bits as a byte, the fraction cut off.
inline std::uint8_t byteOf(int sum) {
    return static_cast<std::uint8_t>(sum < 1 ? 0 : sum < 255 << 22 ? sum >> 22 : 255);
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
    static std::size_t end(std::size_t width) { return width - 4; }
};

template <YCrCb Packing, unsigned Channels>
void yCrCbToBgr(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, YCrCbTable table) {
    using P = SPacking<Packing>;
    if (width == 0 || (Packing == YCrCb::P411 && width <= 4)) {
        return;
    }
    const std::uint8_t* group = src;
    SChroma chroma;
    for (std::size_t x = 0; x < P::end(width); x += P::pixels) {
        chroma = SChroma(table, group[P::cb], group[P::cr]);
        for (std::size_t i = 0; i < P::pixels; ++i) {
            storeYCrCb(dst + (x + i) * Channels, table[0][group[P::luma[i]]], chroma);
        }
        group += P::bytes;
    }
    if (const std::size_t rest = width % P::pixels; rest != 0) {
        storeYCrCb(dst, table[0][group[P::luma[rest - 1]]], chroma);
    }
}

template <YCrCb Packing>
void yCrCbToGrey(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, YCrCbTable table) {
    using P = SPacking<Packing>;
    for (std::size_t x = 0; x < width; ++x) {
        const std::size_t at = x / P::pixels * P::bytes + P::luma[x % P::pixels];
        dst[x] = static_cast<std::uint8_t>(table[0][src[at]] >> 22);
    }
}

constexpr SYCrCbRows yCrCbTable() {
    return {{{yCrCbToBgr<YCrCb::P422, 3>, yCrCbToBgr<YCrCb::P422, 4>},
             {yCrCbToBgr<YCrCb::P444, 3>, yCrCbToBgr<YCrCb::P444, 4>},
             {yCrCbToBgr<YCrCb::P411, 3>, yCrCbToBgr<YCrCb::P411, 4>}},
            {yCrCbToGrey<YCrCb::P422>, yCrCbToGrey<YCrCb::P444>, yCrCbToGrey<YCrCb::P411>}};
}

} // namespace
} // namespace vek::rows::VEK_ISA
