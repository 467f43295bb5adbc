// SPDX-License-Identifier: Apache-2.0
#include "sim/TransferFormat.h"

#include "VekTrgApi.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace vek::sim {

namespace {

enum class ELayout { Bytes, Words, Packed, Bgr8, Bgr10, YCrCb411, YCrCb422, YCrCb444 };

struct SFormat {
    ETransferContent content;
    ELayout layout;
    unsigned depth;
    bool bt709;
};

constexpr std::array<SFormat, kTransferFormatCount> kFormats = {{
    {ETransferContent::Raw, ELayout::Bytes, 8, false},      // 0
    {ETransferContent::Raw, ELayout::Words, 10, false},     // 1
    {ETransferContent::Raw, ELayout::Packed, 10, false},    // 2
    {ETransferContent::Raw, ELayout::Words, 12, false},     // 3
    {ETransferContent::Raw, ELayout::Packed, 12, false},    // 4
    {ETransferContent::Gray, ELayout::Bytes, 8, false},     // 5
    {ETransferContent::Gray, ELayout::Words, 10, false},    // 6
    {ETransferContent::Gray, ELayout::Packed, 10, false},   // 7
    {ETransferContent::Gray, ELayout::Words, 12, false},    // 8
    {ETransferContent::Gray, ELayout::Packed, 12, false},   // 9
    {ETransferContent::Color, ELayout::Bgr8, 8, false},     // 10
    {ETransferContent::Color, ELayout::Bgr10, 10, false},   // 11
    {ETransferContent::Color, ELayout::YCrCb411, 8, false}, // 12
    {ETransferContent::Color, ELayout::YCrCb422, 8, false}, // 13
    {ETransferContent::Color, ELayout::YCrCb444, 8, false}, // 14
    {ETransferContent::Color, ELayout::YCrCb411, 8, true},  // 15
    {ETransferContent::Color, ELayout::YCrCb422, 8, true},  // 16
    {ETransferContent::Color, ELayout::YCrCb444, 8, true},  // 17
    {ETransferContent::Raw, ELayout::Words, 14, false},     // 18
    {ETransferContent::Raw, ELayout::Words, 16, false},     // 19
    {ETransferContent::Gray, ELayout::Words, 14, false},    // 20
    {ETransferContent::Gray, ELayout::Words, 16, false},    // 21
}};
static_assert(VEK_TRANSFER_MONO16 + 1 == kTransferFormatCount);

const SFormat& formatOf(unsigned long format) {
    if (format >= kFormats.size()) {
        throw std::invalid_argument("unknown transfer format");
    }
    return kFormats[format];
}

unsigned toDepth(unsigned value, unsigned from, unsigned to) {
    return from >= to ? value >> (from - to) : value << (to - from);
}

/// Pixel access with the grey-to-colour rule of encodeFrame. Components 0, 1, 2: red, green, blue.
unsigned componentOf(const SRasterImage& image, std::size_t pixel, std::size_t component) {
    return image.samples[pixel * image.channels + (image.channels == 1 ? 0 : component)];
}

/// Weights of red, green, blue in luma and the resulting chroma scale, ITU-R BT.601 and BT.709.
struct SYcc {
    double red, green, blue;
    double lumaOffset, lumaScale, chromaScale; // bytes
};

constexpr SYcc kBt601 = {0.299, 0.587, 0.114, 0.0, 1.0, 1.0};                         // full range
constexpr SYcc kBt709 = {0.2126, 0.7152, 0.0722, 16.0, 219.0 / 255.0, 224.0 / 255.0}; // 16 .. 235, 16 .. 240

std::uint8_t roundToByte(double value) {
    return static_cast<std::uint8_t>(std::clamp(std::floor(value + 0.5), 0.0, 255.0));
}

struct SYccPixel {
    double luma, blueDifference, redDifference; // bytes, not rounded; differences centred on 0
};

SYccPixel toYcc(const SRasterImage& image, std::size_t pixel, const SYcc& matrix) {
    const double scale = 255.0 / ((1U << image.depth) - 1U);
    const double red = componentOf(image, pixel, 0) * scale;
    const double green = componentOf(image, pixel, 1) * scale;
    const double blue = componentOf(image, pixel, 2) * scale;
    const double luma = matrix.red * red + matrix.green * green + matrix.blue * blue;
    // The largest blue difference is (1 - blue weight) x 255: halved it spans one side of the chroma range.
    return {matrix.lumaOffset + matrix.lumaScale * luma,
            matrix.chromaScale * (blue - luma) / (2.0 * (1.0 - matrix.blue)),
            matrix.chromaScale * (red - luma) / (2.0 * (1.0 - matrix.red))};
}

void encodeYccRow(const SFormat& format, const SRasterImage& image, unsigned row, std::uint8_t* out,
                  std::size_t rowBytes) {
    const unsigned groupPixels = format.layout == ELayout::YCrCb411 ? 4U : format.layout == ELayout::YCrCb422 ? 2U : 1U;
    const std::size_t groupBytes = groupPixels == 4 ? 6 : groupPixels == 2 ? 4 : 3;
    const SYcc& matrix = format.bt709 ? kBt709 : kBt601;
    for (unsigned first = 0; first < image.width; first += groupPixels) {
        std::array<std::uint8_t, 4> luma{};
        double blueDifference = 0.0;
        double redDifference = 0.0;
        const unsigned count = std::min(groupPixels, image.width - first);
        for (unsigned i = 0; i < count; ++i) {
            const SYccPixel pixel = toYcc(image, std::size_t{row} * image.width + first + i, matrix);
            luma[i] = roundToByte(pixel.luma);
            blueDifference += pixel.blueDifference;
            redDifference += pixel.redDifference;
        }
        const std::uint8_t cb = roundToByte(128.0 + blueDifference / count);
        const std::uint8_t cr = roundToByte(128.0 + redDifference / count);
        std::array<std::uint8_t, 6> group{};
        switch (groupPixels) {
        case 1:
            group = {luma[0], cb, cr, 0, 0, 0};
            break;
        case 2:
            group = {luma[0], cb, luma[1], cr, 0, 0};
            break;
        default:
            group = {luma[0], luma[1], cb, luma[2], luma[3], cr};
            break;
        }
        const std::size_t at = first / groupPixels * groupBytes;
        std::copy_n(group.begin(), std::min(groupBytes, rowBytes - at), out + at);
    }
}

void encodePackedRow(const std::uint16_t* samples, unsigned width, unsigned from, unsigned depth, std::uint8_t* out) {
    std::uint32_t pending = 0; // bits not yet written, the earliest in bit 0
    unsigned pendingBits = 0;
    for (unsigned x = 0; x < width; ++x) {
        pending |= toDepth(samples[x], from, depth) << pendingBits;
        pendingBits += depth;
        for (; pendingBits >= 8; pendingBits -= 8, pending >>= 8) {
            *out++ = static_cast<std::uint8_t>(pending);
        }
    }
    if (pendingBits > 0) {
        *out = static_cast<std::uint8_t>(pending);
    }
}

void encodeRow(const SFormat& format, const SRasterImage& image, unsigned row, std::uint8_t* out,
               std::size_t rowBytes) {
    const std::size_t first = std::size_t{row} * image.width;
    switch (format.layout) {
    case ELayout::Bytes:
        for (unsigned x = 0; x < image.width; ++x) {
            out[x] = static_cast<std::uint8_t>(toDepth(image.samples[first + x], image.depth, 8));
        }
        break;
    case ELayout::Words:
        for (unsigned x = 0; x < image.width; ++x) {
            const unsigned value = toDepth(image.samples[first + x], image.depth, format.depth);
            out[std::size_t{x} * 2] = static_cast<std::uint8_t>(value);
            out[std::size_t{x} * 2 + 1] = static_cast<std::uint8_t>(value >> 8);
        }
        break;
    case ELayout::Packed:
        encodePackedRow(image.samples.data() + first, image.width, image.depth, format.depth, out);
        break;
    case ELayout::Bgr8:
        for (std::size_t x = 0; x < image.width; ++x) {
            for (std::size_t c = 0; c < 3; ++c) {
                out[x * 3 + c] =
                    static_cast<std::uint8_t>(toDepth(componentOf(image, first + x, 2 - c), image.depth, 8));
            }
        }
        break;
    case ELayout::Bgr10:
        for (std::size_t x = 0; x < image.width; ++x) {
            std::uint64_t word = 0;
            for (std::size_t c = 0; c < 3; ++c) {
                word |= std::uint64_t{toDepth(componentOf(image, first + x, 2 - c), image.depth, 10)} << (10 * c);
            }
            for (std::size_t byte = 0; byte < 8; ++byte) {
                out[x * 8 + byte] = static_cast<std::uint8_t>(word >> (8 * byte));
            }
        }
        break;
    case ELayout::YCrCb411:
    case ELayout::YCrCb422:
    case ELayout::YCrCb444:
        encodeYccRow(format, image, row, out, rowBytes);
        break;
    }
}

} // namespace

ETransferContent transferContent(unsigned long format) {
    return formatOf(format).content;
}

unsigned transferDepth(unsigned long format) {
    return formatOf(format).depth;
}

std::size_t transferRowBytes(unsigned long format, unsigned width) {
    const SFormat& description = formatOf(format);
    const std::size_t pixels = width;
    switch (description.layout) {
    case ELayout::Bytes:
        return pixels;
    case ELayout::Words:
        return pixels * 2;
    case ELayout::Packed:
        return (pixels * description.depth + 7) / 8;
    case ELayout::Bgr8:
        return pixels * 3;
    case ELayout::Bgr10:
        return pixels * 8; // one 64-bit word a pixel, the upper 34 bits are 0
    case ELayout::YCrCb411:
        return pixels + pixels / 2;
    case ELayout::YCrCb422:
        return pixels * 2;
    case ELayout::YCrCb444:
        return pixels * 3;
    }
    return 0;
}

std::size_t frameBytes(unsigned long format, unsigned width, unsigned height) {
    return transferRowBytes(format, width) * height;
}

SRasterImage lumaOf(const SRasterImage& image) {
    SRasterImage luma(image.width, image.height, image.depth, 1);
    for (std::size_t i = 0; i < luma.samples.size(); ++i) {
        const double value = kBt601.red * componentOf(image, i, 0) + kBt601.green * componentOf(image, i, 1) +
                             kBt601.blue * componentOf(image, i, 2);
        luma.samples[i] = static_cast<std::uint16_t>(std::floor(value + 0.5));
    }
    return luma;
}

std::vector<std::uint8_t> encodeFrame(unsigned long format, const SRasterImage& image) {
    const SFormat& description = formatOf(format);
    if ((image.channels != 1 && image.channels != 3) || image.depth < 8 || image.depth > 16 ||
        image.samples.size() != std::size_t{image.width} * image.height * image.channels) {
        throw std::invalid_argument("malformed image");
    }
    if (image.channels == 3 && description.content == ETransferContent::Raw) {
        throw std::invalid_argument("a raw transfer format carries one channel");
    }
    if (image.channels == 3 && description.content == ETransferContent::Gray) {
        return encodeFrame(format, lumaOf(image));
    }
    const std::size_t rowBytes = transferRowBytes(format, image.width);
    std::vector<std::uint8_t> frame(rowBytes * image.height);
    for (unsigned row = 0; row < image.height; ++row) {
        encodeRow(description, image, row, frame.data() + row * rowBytes, rowBytes);
    }
    return frame;
}

} // namespace vek::sim
