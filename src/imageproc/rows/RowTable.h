// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// Row kernels: pointers and a pixel count in, samples out. They allocate nothing, check nothing and accept any
/// address that suits the sample type. Every tier computes what the scalar one does, bit for bit, and reads and
/// writes no sample that the scalar one does not.
namespace vek::rows {

/// Instruction sets that the kernels are compiled for, in the order of preference on each architecture.
enum class Isa : std::uint8_t {
    Scalar, ///< the architecture's baseline; plain loops, the reference of the others
    Sse42,
    Avx2,
    Avx512, ///< with what src/CMakeLists.txt builds it with: VBMI and VNNI, too
    Neon
};

/// Colours of a Bayer row, column 0 first. Also the index into a kernel's table.
enum class BayerRow : std::uint8_t { RG, GR, GB, BG };
constexpr std::size_t kBayerRows = 4;
/// Columns at which such a row holds green: 0 for even ones, 1 for odd ones. And whether the others are red, not blue.
constexpr unsigned greenParityOf(BayerRow row) {
    return row == BayerRow::RG || row == BayerRow::BG ? 1 : 0;
}
constexpr bool isRedRow(BayerRow row) {
    return row == BayerRow::RG || row == BayerRow::GR;
}

/// Channels of a colour pixel, as an index: 0 for B, G, R; 1 for B, G, R and a sample that is never written.
constexpr std::size_t kPixelLayouts = 2;
constexpr std::size_t pixelLayout(unsigned channels) {
    return channels - 3;
}

template <class T>
struct SDemosaicRows {
    /// B = G = R = src. Reads and writes columns 0 .. width-1; any width.
    using Gray = void (*)(const T* src, T* dst, std::size_t width);
    Gray gray[kPixelLayouts];

    /// The own colour of each column, 0 in the two others. Any width.
    using None = void (*)(const T* row, T* dst, std::size_t width);
    None none[kBayerRows][kPixelLayouts];

    /// Both columns of a pair share the row's two colours and the third one, which other (the row of the same
    /// cell) holds; an odd last column pairs with the one before it. Width 2 and more.
    using NearestNeighbor = void (*)(const T* row, const T* other, T* dst, std::size_t width);
    NearestNeighbor nearestNeighbor[kBayerRows][kPixelLayouts];

    /// Own row's missing colour from left and right, the third colour from the rows above and below, after the
    /// same horizontal step. Reads column width of all three rows when the width is odd. Width 2 and more.
    using Bilinear = void (*)(const T* above, const T* row, const T* below, T* dst, std::size_t width);
    Bilinear bilinearSimple[kBayerRows][kPixelLayouts];

    /// The own row's two colours of bilinearSimple; the third one is left as dst holds it. Width 2 and more.
    using BilinearOpen = void (*)(const T* row, T* dst, std::size_t width);
    BilinearOpen bilinearSimpleOpen[kBayerRows][kPixelLayouts];

    // Block-centred methods: pixel x stands in the middle of columns x, x+1 of two rows. By the kind of the upper one.

    /// The block's samples, and the mean of its greens. The last pixel repeats the one before it but for its green:
    /// even widths, upper row of a pair (lower false): the upper row's green alone; odd widths, lower row: the mean of
    /// its own block, which reads column width of the row that has its green there. Width 2 and more.
    using Block = void (*)(const T* upper, const T* lower, T* dst, std::size_t width, bool lowerOfPair);
    Block nearestNeighbor2[kBayerRows][kPixelLayouts];

    /// Red and blue weighted 9, 3, 3, 1 with the next samples of their colour: those of the row two further, upperFar
    /// and lowerFar (the own row again where the image ends), and of the column two further. Width 3 and more.
    using Center = void (*)(const T* upper, const T* lower, const T* upperFar, const T* lowerFar, T* dst,
                            std::size_t width);
    Center bilinearFalseColorReduction[kBayerRows][kPixelLayouts];

    /// Edge-directed, from the row and the two above and below it; columns and, by the caller, rows mirrored as in
    /// Mirror.h. Samples: up to 13 bits, with which none of the sums wraps around. maxValue: that of the samples;
    /// results are 0 .. maxValue, but a pixel's own colour is its sample. Width 2 and more.
    using Edge = void (*)(const T* above2, const T* above, const T* row, const T* below, const T* below2, T* dst,
                          std::size_t width, T maxValue);
    Edge edgeDirected[kBayerRows][kPixelLayouts];

    // BiCubic works on one colour of a row at a time, a sample for each column.

    /// The row's two colours at columns from .. to-1 by cubic convolution: green and the other one, from green[0] and
    /// color[0] on. from: even. Width 2 and more.
    using Cubic = void (*)(const T* row, T* green, T* color, std::size_t from, std::size_t to, std::size_t width);
    Cubic biCubic[kBayerRows];

    /// A row's third colour from that of the rows 1 and 3 above and below it, by cubic convolution or as a mean. Any
    /// width.
    using CubicThird = void (*)(const T* above3, const T* above, const T* below, const T* below3, T* third,
                                std::size_t width);
    CubicThird biCubicThird;
    using MeanThird = void (*)(const T* above, const T* below, T* third, std::size_t width);
    MeanThird meanThird;

    /// Pixels of the three colours. Any width.
    using Pixels = void (*)(const T* blue, const T* green, const T* red, T* dst, std::size_t width);
    Pixels pixels[kPixelLayouts];
};

/// Packings of YCrCb, as an index into a kernel's table.
enum class YCrCb : std::uint8_t {
    P422, ///< Y0 Cb Y1 Cr
    P444, ///< Y Cb Cr
    P411  ///< Y0 Y1 Cb Y2 Y3 Cr
};
constexpr std::size_t kPackings = 3;

/// What YCrCb is decoded by, as an index into a kernel's table.
enum class YCrCbSpace : std::uint8_t {
    Full601, ///< ITU-R BT.601, full range
    Video709 ///< ITU-R BT.709, video range
};
constexpr std::size_t kYCrCbSpaces = 2;

/// Rows of YCrCb bytes. table: the colour space's own, rows of 256 for Y, Cr to red, Cb to green, Cr to green, Cb to
/// blue, 22 fraction bits.
struct SYCrCbRows {
    /// Whole groups become pixels, but for the last four pixels of 4:1:1 of a width that is a multiple of 4. Pixels
    /// behind the last whole group go to the row's first one, with the chroma of that group; 4:1:1 of width 4 and less
    /// does nothing. Any width.
    using ToBgr = void (*)(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, const int (*table)[256]);
    ToBgr toBgr[kYCrCbSpaces][kPackings][kPixelLayouts];
    /// dst[x]: luma of pixel x through row 0 of the table, which full range leaves as it is. Any width.
    void (*toGray[kYCrCbSpaces][kPackings])(const std::uint8_t* src, std::uint8_t* dst, std::size_t width,
                                            const int (*table)[256]);
};

/// Bytes of a grey or colour pixel, as an index into a kernel's table: 1, 3, 4.
constexpr std::size_t kBytePixels = 3;
constexpr std::size_t bytePixel(std::size_t bytes) {
    return bytes / 2;
}

/// Samples to bytes. Any width.
struct SByteRows {
    /// Samples shifted right, or left where shift is negative, into every channel; shift: -31 .. 31.
    void (*shift8[kBytePixels])(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, int shift);
    void (*shift16[kBytePixels])(const std::uint16_t* src, std::uint8_t* dst, std::size_t width, int shift);
    /// Packed pixels shifted right. Reads (width x bits + 7) / 8 bytes.
    void (*unpack10)(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, int shift);
    void (*unpack12)(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, int shift);
};

/// Sums of a row's samples: those of even columns are added to sums[0], those of odd ones to sums[1]. Any width.
struct SSumRows {
    void (*samples8)(const std::uint8_t* row, std::size_t width, std::uint64_t* sums);
    void (*samples16)(const std::uint16_t* row, std::size_t width, std::uint64_t* sums);
    /// Packed pixels, one little-endian bit stream from the row's first byte on; (width x bits + 7) / 8 bytes.
    void (*packed10)(const std::uint8_t* row, std::size_t width, std::uint64_t* sums);
    void (*packed12)(const std::uint8_t* row, std::size_t width, std::uint64_t* sums);
};

/// Entries of a table that samples are looked up in: every byte, or words of up to 12 bits.
template <class T>
constexpr std::size_t kCurveEntries = sizeof(T) == 1 ? 256 : 4096;

template <class T>
struct SCurveRows {
    /// In place: samples of even columns become even[sample], those of odd ones odd[sample]; words above the table
    /// take its last entry. Any width.
    void (*lookUp)(T* row, std::size_t width, const T* even, const T* odd);
};

/// What samples become: the last entry is that of all samples beyond the table, too.
struct SToneCurve {
    static constexpr std::size_t kSegment = 64;
    static constexpr std::size_t kMaxExceptions = 8;
    static constexpr unsigned kStep = 512;
    static constexpr unsigned kSteps = 8;
    static constexpr int kStepShift = 6; ///< the shift of curves by steps
    /// Entry i of a table of 4096 is base + ((slope + (bend x f >> 7)) x f >> 7) >> shift, by segment i / 64 and
    /// f = i % 64; slopes count in 16 bits. The bend of an exception is odd, that of all others even.
    struct alignas(64) Segments {
        std::uint16_t base[64];
        std::int16_t slope[64];
        std::int16_t bend[64];
    };

    const std::uint16_t* entries; ///< 256 of bytes, 4096 of words
    const std::uint8_t* low;      ///< low bytes of the entries: all there is to them where the result is bytes
    const std::uint8_t* high;     ///< high bytes of the entries
    const Segments* segments;     ///< null where too many segments are exceptions, and for bytes
    unsigned shift;
    bool bySteps;                           ///< bits 1 to 3 of a bend count steps, which are added to the result
    std::uint8_t exceptions;                ///< segments that are not as above, rising
    std::uint8_t exception[kMaxExceptions]; ///< their numbers
};

struct SWordCurveRows {
    /// In place: words of even columns become their entry of even, those of odd ones that of odd, whose segments are
    /// used where both have them. Curves by steps, of 4096 entries; low and high are not needed. Any width.
    void (*lookUp)(std::uint16_t* row, std::size_t width, const SToneCurve& even, const SToneCurve& odd);
};

/// A table of words that arithmetic gives: samples first .. first + span become what their entry holds,
///
///   min((min(max(sample - offset, 0), limit) x scale x factor) >> 16, largest)
struct SWordGain {
    const std::uint16_t* entries; ///< 4096; words above the table take its last one
    std::uint16_t first;
    std::uint16_t span;
    std::uint16_t offset;
    std::uint16_t limit;
    std::uint16_t scale; ///< scale x limit has 16 bits
    std::uint16_t factor;
    std::uint16_t largest;
};

struct SGainRows {
    /// In place: bytes of even columns become min(byte x evenGain / 128, 255), those of odd ones the same with oddGain.
    /// Gains: 16 bits. Any width.
    void (*bytes)(std::uint8_t* row, std::size_t width, unsigned evenGain, unsigned oddGain);
    /// In place: words of even columns become their entry of even's table, those of odd ones that of odd's. Any width.
    void (*words)(std::uint16_t* row, std::size_t width, const SWordGain& even, const SWordGain& odd);
};

/// Luma shares of blue, green and red, by sample: sample x 0.114, 0.587 and 0.299, rounded. Tiers with vectors
/// compute them.
struct SLumaTables {
    static constexpr unsigned kEntries = 4196;
    const std::uint16_t* blue;
    const std::uint16_t* green;
    const std::uint16_t* red;
};

/// Products of each input sample with a column of the colour matrix: the shares of blue, green and red output, and a
/// number that is not used. 4096 entries each.
struct SMatrixTables {
    using Entry = std::int32_t[4];
    const Entry* blue;
    const Entry* green;
    const Entry* red;
    /// The same in 16 bits, where they fit; one more entry follows each table.
    using NarrowEntry = std::int16_t[4];
    const NarrowEntry* narrowBlue;
    const NarrowEntry* narrowGreen;
    const NarrowEntry* narrowRed;
    /// The products of bytes once more, by output blue, green, red: step x sample + sign x left + base. left is
    /// rest[sample]; or, in pairs, (rest[sample / 2] + sample % 2 + 1) / 2, of which a register holds twice as many.
    struct alignas(64) ByteSteps {
        std::uint8_t rest[3][256];
        std::int8_t step[3];
        std::int8_t sign[3];
        std::int16_t base[3];
    };
    const ByteSteps*
        steps;        ///< of the blue, green and red input; null where they do not give all, or sums leave 16 bits
    bool inPairs;     ///< what is left stands in pairs
    bool moderate;    ///< no sum of three entries leaves -2^28 .. 2^28 - 1
    bool narrowBytes; ///< 16 bits hold every sum of the products of bytes
    bool narrowWords; ///< 16 bits hold every sum
};

/// Suppression strength by luma, 1/16384 for each level beyond a start level. A slope of 0 switches its part off.
struct SChromaLimits {
    std::uint16_t lowStart;
    std::uint16_t highStart;
    std::uint16_t lowSlope;
    std::uint16_t highSlope;
};

/// Levels by luma, 4096 entries.
struct SLumaCurve {
    const std::uint16_t* levels = nullptr;
    const std::uint8_t* bytes = nullptr; ///< the first 256, null where one of them is not a byte
    const SToneCurve* words = nullptr;   ///< the levels as a curve by steps; null where there is none
};

/// Corrections of words by arithmetic, for m = min(difference - coring, last), 0 within the coring, and p = m x slope:
///
///   (p + m x turn[i] + offset[i]) >> shift        i: exponent of max(p, least) as a float, modulo 16
///
/// That is 4095 or more where the table has 4095, its largest. Corrections are sums in single precision, which grow by
/// steps of their own between powers of two.
struct SCorrectionLine {
    static constexpr std::size_t kParts = 16;
    std::uint32_t slope; ///< p stays below 2^31
    std::uint32_t last;
    std::uint32_t least;
    unsigned shift;
    bool twice;                ///< the first half of the parts is like the second
    std::int32_t turn[kParts]; ///< of 16 bits
    std::int32_t offset[kParts];
};

/// Corrections of words by arithmetic, for m = min(difference - coring, last), 0 within the coring, as h x 2^bits +
/// low:
///
///   ((low x (slope + turn[h]) >> bits) + rest[h] >> shift) + h x whole + more[h]
///
/// and 1 more where low + 1 is add[h], 1 less where it is take[h]; or more, where the table has 4095. No step leaves 16
/// bits.
struct SCorrectionSegments {
    static constexpr std::size_t kSegments = 16;
    std::uint16_t last;
    std::uint16_t slope;
    std::uint16_t whole;
    unsigned bits;  ///< 1 .. 8
    unsigned shift; ///< 1 .. 8
    std::uint8_t turn[kSegments];
    std::uint8_t rest[kSegments];
    std::uint8_t more[kSegments];
    std::uint8_t add[kSegments]; ///< 0: nowhere
    std::uint8_t take[kSegments];
};

/// Corrections of bytes by arithmetic, for m = difference - coring, 0 within the coring, as 16 x i + k: whole parts and
/// 256ths of what each digit gives.
///
///   whole[i] + whole[k], and 1 if the rests come to one
struct SCorrectionDigits {
    struct SDigit {
        std::uint8_t whole[16]; ///< modulo 256
        std::uint8_t held[16];  ///< at most 255
        std::uint8_t rest[16];  ///< of the upper digit: 255 less it
    };
    SDigit upper;
    SDigit lower;
};

/// Correction by absolute difference, 4096 entries; 0 up to the coring.
struct SSharpening {
    const std::uint16_t* table;
    const std::uint8_t* raiseBytes; ///< the first 256 modulo 256
    const std::uint8_t* lowerBytes; ///< the first 256, at most 255; null where they are those of raiseBytes
    unsigned coring;                ///< differences up to this one, at most 65535, are left alone
    unsigned maxValue;              ///< largest sample
    // What gives every entry of table, of raiseBytes and of lowerBytes; null where nothing does.
    const SCorrectionSegments* segments;
    const SCorrectionLine* line;
    const SCorrectionDigits* digits;
};

/// sum3 of a row, as it came, and of those beside it.
struct SNeighborSums {
    const std::uint16_t* above;
    const std::uint16_t* own;
    const std::uint16_t* below;
};

/// Rows of blue-green-red pixels that stand step (3, 4, 6 or 8) samples apart, worked on in place where nothing else is
/// said. Samples behind a pixel's third are never written, and those behind the row's last pixel not read either. Words
/// above a table take its last entry. maxValue: at most what the sample holds. Any width.
template <class T>
struct SColorRows {
    /// The change of luma under curve is added to the three samples, which stay within 0 .. maxValue.
    void (*lumaCurve)(T* row, std::size_t width, std::size_t step, const SLumaTables& luma, const SLumaCurve& curve,
                      unsigned maxValue);
    /// Sums of the three tables' entries, modulo 2^32: 0 .. maxValue stay, larger ones below 2^28 become maxValue,
    /// others 0.
    void (*matrix)(T* row, std::size_t width, std::size_t step, const SMatrixTables& tables, unsigned maxValue);
    /// Blue and red move toward green where luma is beyond the limits.
    void (*suppressChroma)(T* row, std::size_t width, std::size_t step, const SLumaTables& luma,
                           const SChromaLimits& limits);
    /// lumaRow[x]: luma of pixel x.
    void (*luma)(const T* row, T* lumaRow, std::size_t width, std::size_t step, const SLumaTables& tables);

    /// sumRow[x] = row[x-1] + row[x] + row[x+1] modulo 65536, for x = 1 .. width-2.
    void (*sum3)(const T* row, std::uint16_t* sumRow, std::size_t width);
    /// Unsharp mask on columns 1 .. width-2 of a grey row; the others stay. dst: the row itself, or another one. Width
    /// 3 and more.
    void (*sharpenGray)(const T* row, T* dst, const SNeighborSums& sums, std::size_t width,
                        const SSharpening& sharpening);
    /// The same for pixels, by their luma of up to 13 bits: lumaRow is the row's own, the sums are of luma. Step 3: dst
    /// may be another row.
    void (*sharpenColor)(const T* row, T* dst, std::size_t step, const T* lumaRow, const SNeighborSums& sums,
                         std::size_t width, const SSharpening& sharpening);
};

/// Sizes of a pixel that is moved as a whole, as an index into a kernel's table: 1, 2, 3, 4, 6, 8 bytes.
constexpr std::size_t kPixelSizes = 6;
constexpr std::size_t pixelSize(std::size_t bytes) {
    return bytes <= 4 ? bytes - 1 : bytes / 2 + 1;
}

/// Pixels in another order. Addresses need no alignment; width counts pixels; any size.
struct SFlipRows {
    /// dst: src from right to left; they do not overlap.
    void (*reverse[kPixelSizes])(const std::uint8_t* src, std::uint8_t* dst, std::size_t width);
    void (*reverseInPlace[kPixelSizes])(std::uint8_t* row, std::size_t width);
    /// Pixel x of a and pixel width-1-x of b change places; the rows do not overlap.
    void (*exchangeReversed[kPixelSizes])(std::uint8_t* a, std::uint8_t* b, std::size_t width);
    /// Pixel x of source row y becomes pixel y of destination row x. Pitches in bytes, negative ones walk up; width
    /// and height of the source. The images do not overlap.
    void (*transpose[kPixelSizes])(const std::uint8_t* src, std::ptrdiff_t srcPitch, std::uint8_t* dst,
                                   std::ptrdiff_t dstPitch, std::size_t width, std::size_t height);
};

/// Noise reduction of raw and mono rows, in place. Neighbours at distance 1 stand in the rows above and below, at
/// distance 2 in above2 and below2.
template <class T>
struct SNoiseRows {
    /// Columns 1 .. width-2 become the median of themselves and their diagonal neighbours where that is darker. above:
    /// as it was before its own change.
    void (*easyMono)(const T* above, T* row, const T* below, std::size_t width);
    /// The same for columns 2 .. width-3 of a Bayer row, left to right: green takes its diagonal neighbours, the row's
    /// colour those two columns and two rows away.
    void (*easyBayer)(const T* above2, const T* above, T* row, const T* below, const T* below2, std::size_t width,
                      unsigned greenParity);
    /// row - dark, 0 at least; live gets the row as it was. Returns its largest sample. Any width.
    T (*subtract)(T* row, const T* dark, T* live, std::size_t width);
    /// Columns 1 .. width-2 (mono) or 2 .. width-3 (Bayer) that were at or above threshold in live and are below it now
    /// become the median of themselves and the neighbours of the easy filter where that is brighter, left to right.
    void (*repairMono)(const T* above, T* row, const T* below, const T* live, std::size_t width, T threshold);
    void (*repairBayer)(const T* above2, const T* above, T* row, const T* below, const T* below2, const T* live,
                        std::size_t width, unsigned greenParity, T threshold);
};

/// Largest gain, in 1/128, of SShadingRows' gain16.
constexpr std::uint16_t kLargestGain16 = 32767;

/// Rows of a shading map: signed 32-bit entries at any address. Samples are limited to maxValue. Any width.
template <class T>
struct SShadingRows {
    /// ((sample - offset) x entry) / 128 + offset, modulo 2^32.
    void (*gain)(T* row, const void* entries, std::size_t width, std::uint32_t offset, std::uint32_t maxValue);
    /// sample x gain / 128. gains: 0 .. kLargestGain16.
    void (*gain16)(T* row, const std::uint16_t* gains, std::size_t width, T maxValue);
    /// sample + entry, 0 at least.
    void (*offset)(T* row, const void* entries, std::size_t width, std::uint32_t maxValue);
    /// The entry itself; negative ones become maxValue.
    void (*show)(T* row, const void* entries, std::size_t width, std::uint32_t maxValue);
    /// (mean x count + sample) / (count + 1)
    void (*addToMean)(const T* row, double* mean, std::size_t width, double count);
};

/// Raw rows to words of up to 16 bits, and those to the 12 bits that the chain's own stages work at. Packed rows may
/// start at any address. Any width.
struct SUnpackRows {
    /// src and dst do not overlap, but for swapped, which also works in place.
    using ToWords = void (*)(const std::uint8_t* src, std::uint16_t* dst, std::size_t width);
    /// One little-endian bit stream from the row's first byte on; (width x bits + 7) / 8 bytes.
    ToWords stream10;
    ToWords stream12;
    /// Groups of MIPI CSI-2: four pixels in 5 bytes, two in 3, four in 7. The high 8 bits of each pixel come first, a
    /// byte for each, then the low bits of all as one little-endian bit stream. The row ends with a whole group.
    ToWords csi10;
    ToWords csi12;
    ToWords csi14;
    /// Words, the high byte first.
    ToWords swapped;

    /// Bytes x 16.
    void (*bytesToDepth12)(const std::uint8_t* src, std::uint16_t* dst, std::size_t width);
    /// In place, depth 8 to 16: samples above the depth count as its largest; shallower ones are multiplied, deeper
    /// ones divided and rounded, 4095 at most.
    void (*toDepth12)(std::uint16_t* row, std::size_t width, unsigned depth);
};

/// What a column of a mosaic becomes. black and pedestal: 0 .. 4095, gain: 0 .. 32767, of which 4096 is 1.
struct SLevel {
    std::uint16_t black;
    std::uint16_t gain;
    std::uint16_t pedestal;
};

/// Rows and columns: blue, green, red, of the result and of the pixel. factor: of which 4096 is 1; offset: levels,
/// -16384 .. 16383.
struct SLinearMatrix {
    std::int16_t factor[3][3];
    std::int16_t offset[3];
};

/// Samples of 12 bits in words that count light. Any width.
struct SLinearRows {
    /// ((sample - black) x gain + 2048 >> 12) + pedestal within 0 .. 4095, by the column's parity; samples above 4095
    /// count as 4095. dst may be src.
    void (*levels)(const std::uint16_t* src, std::uint16_t* dst, std::size_t width, const SLevel& even,
                   const SLevel& odd);
    /// Dense blue-green-red pixels, in place: (sum of factor x sample) + 4096 x offset + 2048 >> 12 within 0 .. 4095.
    void (*matrix)(std::uint16_t* row, std::size_t width, const SLinearMatrix& matrix);
};

/// Curves of blue, green and red.
struct SToneTables {
    SToneCurve curve[3];
    bool alike; ///< all three are the same
};

/// Samples through tone curves: words above 4095 take the last entry. A result in bytes has entries of 8 bits. src and
/// dst do not overlap, but may be the same row where the samples are of one type. Any width.
template <class In, class Out>
struct SToneRows {
    using Tone = void (*)(const In* src, Out* dst, std::size_t width, const SToneTables& tables);
    Tone pixels;  ///< dense blue-green-red pixels
    Tone samples; ///< single samples, all through the first curve
};

/// Order of a picture's colours, and what becomes of a fourth sample, as indices into a kernel's table.
enum class ColorOrder : std::uint8_t { BlueFirst, RedFirst };
constexpr std::size_t kColorOrders = 2;
enum class FourthSample : std::uint8_t {
    None,  ///< pixels have three samples
    Kept,  ///< neither read nor written
    Filled ///< it gets a value
};
constexpr std::size_t kFourthSamples = 3;

/// Dense blue-green-red pixels to those of a picture, which get fill as a fourth sample where they are filled. src and
/// dst do not overlap, but may be the same row where pixels have three samples. Any width.
template <class T>
struct SLayoutRows {
    using Arrange = void (*)(const T* src, T* dst, std::size_t width, T fill);
    Arrange arrange[kColorOrders][kFourthSamples];
};

/// Dense blue-green-red bytes to NV12: a byte of luma for each pixel, and Cb and Cr for each 2 x 2 of them. Any width.
struct SNv12Rows {
    void (*luma[kYCrCbSpaces])(const std::uint8_t* src, std::uint8_t* dst, std::size_t width);
    /// Of two rows, which are the same where there is an odd last one: (width + 1) / 2 pairs. An odd last column stands
    /// for both of its pair.
    using Chroma = void (*)(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* dst, std::size_t width);
    Chroma chroma[kYCrCbSpaces];
};

/// Statistics of the columns of one parity.
struct SRowCount {
    static constexpr std::size_t kBins = 64;
    std::uint64_t sum;
    std::uint64_t clipped;
    std::uint64_t bins[kBins];
};

/// Statistics on their way: even and odd columns are counted in pairs, so that two samples take one count. Zeros to
/// begin with.
struct SPairCounts {
    static constexpr std::size_t kPairs = SRowCount::kBins * SRowCount::kBins;
    static constexpr std::size_t kCopies = 4;
    static constexpr std::size_t kMaxColumns = 131070; ///< that the counts have room for, even
    std::uint16_t pairs[kCopies][kPairs];              ///< by bin of the even column + kBins x that of the odd one
    std::uint64_t unpaired;                            ///< pairs that are an even column alone: bin 0 of the odd one
    std::uint64_t sum[2];
    std::uint64_t clipped[2];
};

/// Statistics of even and of odd columns.
template <class T>
struct SCountRows {
    /// Adds columns of a row, kMaxColumns at most. Bin sample >> shift, 63 at most, where shift is less than the bits
    /// of T; samples from clipped on are clipped.
    using Count = void (*)(const T* row, std::size_t width, unsigned shift, T clipped, SPairCounts& counts);
    Count samples;
    /// The same of luma of dense blue-green-red pixels: (29 x blue + 150 x green + 77 x red + 128) >> 8.
    Count luma;
};

/// What follows the demosaic method of words of 12 bits on their way to bytes.
struct SDevelopment {
    const SLinearMatrix* matrix; ///< null: none
    const SToneTables* tone;     ///< results of 8 bits
};

/// Stages that follow one another in one pass over a row, whose pixels stay in registers in between: what their kernels
/// make one after the other, dense pixels. Width 2 and more.
struct SFusedRows {
    /// bilinearSimple, and matrix with maxValue 255.
    using BilinearMatrix = void (*)(const std::uint8_t* above, const std::uint8_t* row, const std::uint8_t* below,
                                    std::uint8_t* dst, std::size_t width, const SMatrixTables& tables);
    BilinearMatrix bilinearMatrix[kBayerRows];

    // scratch: room for a row of pixels.
    /// bilinearSimple and development.
    using BilinearToned = void (*)(const std::uint16_t* above, const std::uint16_t* row, const std::uint16_t* below,
                                   std::uint8_t* dst, std::size_t width, const SDevelopment& development,
                                   std::uint16_t* scratch);
    BilinearToned bilinearToned[kBayerRows];
    /// edgeDirected with maxValue 4095 and development.
    using EdgeToned = void (*)(const std::uint16_t* above2, const std::uint16_t* above, const std::uint16_t* row,
                               const std::uint16_t* below, const std::uint16_t* below2, std::uint8_t* dst,
                               std::size_t width, const SDevelopment& development, std::uint16_t* scratch);
    EdgeToned edgeToned[kBayerRows];
};

struct SRowTable {
    Isa isa;
    const char* name; ///< "scalar", "sse42", "avx2", "avx512", "neon"
    bool segments;    ///< curves of words go by segments
    SDemosaicRows<std::uint8_t> demosaic8;
    SDemosaicRows<std::uint16_t> demosaic16;
    SSumRows sums;
    SCurveRows<std::uint8_t> curves8;
    SCurveRows<std::uint16_t> curves16;
    SWordCurveRows wordCurves;
    SGainRows gains;
    SColorRows<std::uint8_t> colors8;
    SColorRows<std::uint16_t> colors16;
    SFlipRows flips;
    SYCrCbRows yCrCb;
    SByteRows bytes;
    SNoiseRows<std::uint8_t> noise8;
    SNoiseRows<std::uint16_t> noise16;
    SShadingRows<std::uint8_t> shading8;
    SShadingRows<std::uint16_t> shading16;
    SUnpackRows unpack;
    SLinearRows linear;
    SToneRows<std::uint8_t, std::uint8_t> tone8;
    SToneRows<std::uint8_t, std::uint16_t> tone8To16;
    SToneRows<std::uint16_t, std::uint8_t> tone16To8;
    SToneRows<std::uint16_t, std::uint16_t> tone16;
    SLayoutRows<std::uint8_t> layout8;
    SLayoutRows<std::uint16_t> layout16;
    SNv12Rows nv12;
    SCountRows<std::uint8_t> counts8;
    SCountRows<std::uint16_t> counts16;
    /// Moves what was counted, of bytes or words, to statistics: they are added to, counts is zeros again.
    void (*takeCounts)(SPairCounts& counts, SRowCount& even, SRowCount& odd);
    SFusedRows fused;
};

/// The member for a sample type: bytes or words.
template <class T, class Bytes, class Words>
constexpr const auto& forSample(const Bytes& bytes, const Words& words) {
    if constexpr (sizeof(T) == 1) {
        return bytes;
    } else {
        return words;
    }
}

/// The demosaic kernels for a sample type.
template <class T>
const SDemosaicRows<T>& demosaicRows(const SRowTable& table) {
    return forSample<T>(table.demosaic8, table.demosaic16);
}

/// The curve kernels for a sample type.
template <class T>
const SCurveRows<T>& curveRows(const SRowTable& table) {
    return forSample<T>(table.curves8, table.curves16);
}

/// The colour kernels for a sample type.
template <class T>
const SColorRows<T>& colorRows(const SRowTable& table) {
    return forSample<T>(table.colors8, table.colors16);
}

/// The noise reduction kernels for a sample type.
template <class T>
const SNoiseRows<T>& noiseRows(const SRowTable& table) {
    return forSample<T>(table.noise8, table.noise16);
}

/// The shading kernels for a sample type.
template <class T>
const SShadingRows<T>& shadingRows(const SRowTable& table) {
    return forSample<T>(table.shading8, table.shading16);
}

/// The tone kernels for two sample types.
template <class In, class Out>
const SToneRows<In, Out>& toneRows(const SRowTable& table) {
    if constexpr (sizeof(In) == 1) {
        return forSample<Out>(table.tone8, table.tone8To16);
    } else {
        return forSample<Out>(table.tone16To8, table.tone16);
    }
}

/// The layout kernels for a sample type.
template <class T>
const SLayoutRows<T>& layoutRows(const SRowTable& table) {
    return forSample<T>(table.layout8, table.layout16);
}

/// The kernels of statistics for a sample type.
template <class T>
const SCountRows<T>& countRows(const SRowTable& table) {
    return forSample<T>(table.counts8, table.counts16);
}

/// The sum kernel for a sample type.
template <class T>
auto sumRow(const SRowTable& table) {
    return forSample<T>(table.sums.samples8, table.sums.samples16);
}

} // namespace vek::rows
