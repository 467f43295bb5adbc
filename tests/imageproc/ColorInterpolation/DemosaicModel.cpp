// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorInterpolation/DemosaicModel.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace vek::test {

namespace {

// Samples of an output pixel.
constexpr int kBlue = 0;
constexpr int kGreen = 1;
constexpr int kRed = 2;

bool isYCrCb(unsigned short colorArray) {
    return colorArray >= 6 && colorArray <= 11;
}

bool isGrayCopy(const SDemosaicCall& call) {
    return call.method == 0 || call.colorArray == 1;
}

bool isBlockCopy(const SDemosaicCall& call, std::size_t sampleBytes) {
    return isGrayCopy(call) && !isYCrCb(call.colorArray) && call.channels == 1 &&
           modelSrcPitch(call, sampleBytes) == modelDstPitch(call, sampleBytes);
}

// Layouts of YCrCb, without the flavour.
enum class Packing { P422, P444, P411 };

Packing packingOf(unsigned short colorArray) {
    switch (colorArray) {
    case 6:
    case 9:
        return Packing::P422;
    case 7:
    case 10:
        return Packing::P444;
    default:
        return Packing::P411;
    }
}

bool isVideoRange(unsigned short colorArray) {
    return colorArray >= 9;
}

/// Where the luma of a pixel stands in its row: Y Cb Cr, Y0 Cb Y1 Cr, or Y0 Y1 Cb Y2 Y3 Cr.
unsigned long lumaOffset(Packing packing, unsigned long column) {
    switch (packing) {
    case Packing::P444:
        return 3 * column;
    case Packing::P422:
        return 2 * column;
    default:
        return column / 4 * 6 + std::array<unsigned long, 4>{0, 1, 3, 4}[column % 4];
    }
}

/// Bytes from the start of a row to the last one that is read.
unsigned long ycrcbRowBytes(const SDemosaicCall& call) {
    const Packing packing = packingOf(call.colorArray);
    const unsigned long width = call.width;
    if (isGrayCopy(call)) {
        return lumaOffset(packing, width - 1) + 1;
    }
    switch (packing) {
    case Packing::P444:
        return 3 * width;
    case Packing::P422:
        return width % 2 == 0 ? 2 * width : lumaOffset(packing, width - 1) + 1;
    default:
        return width % 4 == 0 ? (width - 4) / 4 * 6 : lumaOffset(packing, width - 1) + 1;
    }
}

} // namespace

bool modelDecodes(const SDemosaicCall& call) {
    return isYCrCb(call.colorArray);
}

unsigned long modelSmallest(const SDemosaicCall& call) {
    if (isGrayCopy(call) || isYCrCb(call.colorArray) || call.method == 1) {
        return 1;
    }
    return call.method <= 4 ? 2 : 4;
}

unsigned long modelStatus(const SDemosaicCall& call) {
    if (call.colorArray == 0 || call.colorArray > kLastColorArray) {
        return kModelInvalid;
    }
    if (isGrayCopy(call)) {
        const bool taken = call.channels == 1 || call.channels == 3 || call.channels == 4;
        return isYCrCb(call.colorArray) || taken ? 0 : kModelInvalid;
    }
    if (call.channels != 3 && call.channels != 4) {
        return kModelInvalid;
    }
    if (isYCrCb(call.colorArray)) {
        return 0;
    }
    if (call.method > kLastMethod) {
        return kModelInvalid;
    }
    if (call.width == 0 || call.height == 0) {
        return 0;
    }
    const unsigned long smallest = modelSmallest(call);
    return call.width < smallest || call.height < smallest ? kModelInvalid : 0;
}

unsigned long modelSrcPitch(const SDemosaicCall& call, std::size_t sampleBytes) {
    if (call.srcPitch != 0) {
        return call.srcPitch;
    }
    if (!isYCrCb(call.colorArray)) {
        return call.width * sampleBytes;
    }
    switch (packingOf(call.colorArray)) {
    case Packing::P422:
        return 2 * call.width * sampleBytes;
    case Packing::P444:
        return 3 * call.width * sampleBytes;
    default:
        return sampleBytes == 1 ? call.width + call.width / 2 : 3 * call.width;
    }
}

unsigned long modelDstPitch(const SDemosaicCall& call, std::size_t sampleBytes) {
    if (call.dstPitch != 0) {
        return call.dstPitch;
    }
    const unsigned long row = call.channels * call.width * sampleBytes;
    return row % 4 == 0 ? row : row + 4 - row % 4;
}

std::size_t modelSrcBytes(const SDemosaicCall& call, std::size_t sampleBytes) {
    if (call.width == 0 || call.height == 0 || modelStatus(call) != 0) {
        return 0;
    }
    if (isBlockCopy(call, sampleBytes)) {
        return call.height * modelSrcPitch(call, sampleBytes);
    }
    const unsigned long pitch = modelSrcPitch(call, sampleBytes);
    if (isYCrCb(call.colorArray)) {
        const unsigned long row = ycrcbRowBytes(call);
        return row == 0 ? 0 : (call.height - 1) * pitch + row;
    }
    // Bilinear interpolation of an odd width takes one sample behind each row's last. Method 6 does so, too, but not in
    // its last row; it and method 5 leave the last row of an odd height alone.
    const bool oneMore = !isGrayCopy(call) && call.method == 3 && call.width % 2 == 1;
    const bool oneRowLess = !isGrayCopy(call) && call.method >= 5 && call.height % 2 == 1;
    const unsigned long samples = call.width + (oneMore ? 1 : 0);
    const unsigned long rows = call.height - (oneRowLess ? 1 : 0);
    return (rows - 1) * pitch + samples * sampleBytes;
}

std::size_t modelDstBytes(const SDemosaicCall& call, std::size_t sampleBytes) {
    if (call.width == 0 || call.height == 0) {
        return 0;
    }
    if (isBlockCopy(call, sampleBytes)) {
        return call.height * modelDstPitch(call, sampleBytes);
    }
    unsigned long row = call.width * call.channels * sampleBytes;
    if (isYCrCb(call.colorArray)) {
        row = isGrayCopy(call) ? call.width : call.width * call.channels;
    }
    return (call.height - 1) * modelDstPitch(call, sampleBytes) + row;
}

template <class T>
CDemosaicModel<T>::CDemosaicModel(const SDemosaicCall& call, const T* src, T* dst)
    : mCall(call), mSrc(reinterpret_cast<const unsigned char*>(src)), mDst(reinterpret_cast<unsigned char*>(dst)) {
    mCall.srcPitch = modelSrcPitch(call, sizeof(T));
    mCall.dstPitch = modelDstPitch(call, sizeof(T));
}

template <class T>
unsigned long CDemosaicModel<T>::RunMarkingReads(std::vector<bool>* readBytes) {
    readBytes->assign(modelSrcBytes(mCall, sizeof(T)), false);
    mReadBytes = readBytes;
    const unsigned long status = Run();
    mReadBytes = nullptr;
    return status;
}

template <class T>
unsigned long CDemosaicModel<T>::Run() {
    const unsigned long status = modelStatus(mCall);
    if (status != 0 || mCall.width == 0 || mCall.height == 0) {
        return status;
    }
    if (isYCrCb(mCall.colorArray)) {
        for (unsigned long row = 0; row < mCall.height; ++row) {
            if (!isGrayCopy(mCall)) {
                YCrCbRow(row);
                continue;
            }
            for (unsigned long column = 0; column < mCall.width; ++column) {
                YCrCbGray(row, column);
            }
        }
        return 0;
    }
    if (isGrayCopy(mCall)) {
        Gray();
        return 0;
    }
    for (unsigned long row = 0; row < mCall.height; ++row) {
        for (unsigned long column = 0; column < mCall.width; ++column) {
            switch (mCall.method) {
            case 1:
                None(row, column);
                break;
            case 2:
                NearestNeighbor(row, column);
                break;
            case 3:
                BilinearSimple(row, column);
                break;
            case 4:
                BiCubic(row, column);
                break;
            case 5:
                BilinearFalseColorReduction(row, column);
                break;
            default:
                NearestNeighbor2(row, column);
                break;
            }
        }
    }
    return 0;
}

template <class T>
T CDemosaicModel<T>::Source(unsigned long row, unsigned long column) {
    const std::size_t at = row * mCall.srcPitch + column * sizeof(T);
    if (mReadBytes != nullptr) {
        for (std::size_t i = 0; i < sizeof(T); ++i) {
            mReadBytes->at(at + i) = true;
        }
    }
    T value;
    std::memcpy(&value, mSrc + at, sizeof value);
    return value;
}

template <class T>
void CDemosaicModel<T>::Store(unsigned long row, unsigned long column, int channel, T value) {
    const std::size_t sample = column * mCall.channels + static_cast<unsigned long>(channel);
    std::memcpy(mDst + row * mCall.dstPitch + sample * sizeof(T), &value, sizeof value);
}

/// Own colour of a site; the pattern repeats every two rows and columns.
template <class T>
int CDemosaicModel<T>::Color(unsigned long row, unsigned long column) const {
    static const int cells[4][2][2] = {{{kRed, kGreen}, {kGreen, kBlue}},
                                       {{kGreen, kRed}, {kBlue, kGreen}},
                                       {{kGreen, kBlue}, {kRed, kGreen}},
                                       {{kBlue, kGreen}, {kGreen, kRed}}};
    return cells[mCall.colorArray - 2][row % 2][column % 2];
}

template <class T>
void CDemosaicModel<T>::Gray() {
    if (isBlockCopy(mCall, sizeof(T))) {
        const std::size_t bytes = mCall.height * mCall.srcPitch;
        if (mReadBytes != nullptr) {
            mReadBytes->assign(bytes, true);
        }
        std::memcpy(mDst, mSrc, bytes);
        return;
    }
    for (unsigned long row = 0; row < mCall.height; ++row) {
        for (unsigned long column = 0; column < mCall.width; ++column) {
            const T gray = Source(row, column);
            for (int channel = 0; channel < (mCall.channels == 1 ? 1 : 3); ++channel) {
                Store(row, column, channel, gray);
            }
        }
    }
}

template <class T>
void CDemosaicModel<T>::None(unsigned long row, unsigned long column) {
    for (int channel = 0; channel < 3; ++channel) {
        Store(row, column, channel, T{0});
    }
    Store(row, column, Color(row, column), Source(row, column));
}

/// The cell of a pixel is the one at even rows and columns; where its lower row or right column lies outside, the
/// row above or the column to the left stands in.
template <class T>
void CDemosaicModel<T>::NearestNeighbor(unsigned long row, unsigned long column) {
    const unsigned long upper = row - row % 2;
    const unsigned long lower = upper + 1 < mCall.height ? upper + 1 : upper - 1;
    const unsigned long left = column - column % 2;
    const unsigned long right = left + 1 < mCall.width ? left + 1 : left - 1;
    for (const unsigned long r : {upper, lower}) {
        for (const unsigned long c : {left, right}) {
            const int color = Color(r, c);
            if (color != kGreen || r == row) {
                Store(row, column, color, Source(r, c));
            }
        }
    }
}

/// One of a row's two colours at a site: the own value, else the mean of left and right. Column 0 has only a right
/// neighbour, the last column of an even width only a left one; an odd width's last column takes column width too.
template <class T>
T CDemosaicModel<T>::Horizontal(unsigned long row, unsigned long column, int color) {
    if (Color(row, column) == color) {
        return Source(row, column);
    }
    if (column == 0) {
        return Source(row, 1);
    }
    if (column == mCall.width - 1 && mCall.width % 2 == 0) {
        return Source(row, column - 1);
    }
    const std::uint32_t sum = std::uint32_t{Source(row, column - 1)} + std::uint32_t{Source(row, column + 1)};
    return static_cast<T>(sum / 2);
}

template <class T>
void CDemosaicModel<T>::BilinearSimple(unsigned long row, unsigned long column) {
    const int rowColor = Color(row, 0) == kGreen ? Color(row, 1) : Color(row, 0);
    const int third = rowColor == kRed ? kBlue : kRed;
    Store(row, column, kGreen, Horizontal(row, column, kGreen));
    Store(row, column, rowColor, Horizontal(row, column, rowColor));
    if (row == 0) {
        Store(row, column, third, Horizontal(1, column, third));
    } else if (row + 1 < mCall.height) {
        const std::uint32_t above = Horizontal(row - 1, column, third);
        const std::uint32_t below = Horizontal(row + 1, column, third);
        Store(row, column, third, static_cast<T>((above + below) / 2));
    } else if (mCall.height % 2 == 0) {
        Store(row, column, third, Horizontal(row - 1, column, third));
    }
    // The last row of an odd height leaves the third colour as the destination holds it.
}

int modelCubicInner(int sum) {
    return static_cast<int>(std::floor(0.625 * sum + 0.5));
}

int modelCubicOuter(int sum) {
    return -static_cast<int>(std::floor(0.125 * sum + 0.5));
}

namespace {

/// Weights -1, 5, 5, -1 in eighths by way of the two tables, whose last entry larger sums take. The result is a byte.
template <class T>
T cubic(T farLess, T nearLess, T nearMore, T farMore) {
    const int inner = std::min(int{nearLess} + int{nearMore}, 8191);
    const int outer = std::min(int{farLess} + int{farMore}, 8191);
    return static_cast<T>(std::clamp(modelCubicInner(inner) + modelCubicOuter(outer), 0, 255));
}

template <class T>
T mean(T a, T b) {
    return static_cast<T>((std::uint32_t{a} + std::uint32_t{b}) / 2);
}

} // namespace

/// One of a row's two colours at a site: the own value, else the cubic of the four nearest where all lie in the row,
/// else the mean of two, else the only neighbour.
template <class T>
T CDemosaicModel<T>::CubicInRow(unsigned long row, unsigned long column, int color) {
    if (Color(row, column) == color) {
        return Source(row, column);
    }
    if (column >= 3 && column + 3 < mCall.width) {
        return cubic(Source(row, column - 3), Source(row, column - 1), Source(row, column + 1),
                     Source(row, column + 3));
    }
    if (column >= 1 && column + 1 < mCall.width) {
        return mean(Source(row, column - 1), Source(row, column + 1));
    }
    return column == 0 ? Source(row, 1) : Source(row, column - 1);
}

/// The third colour follows the same rule down a column, from what the rows hold of it after the pass along rows.
template <class T>
void CDemosaicModel<T>::BiCubic(unsigned long row, unsigned long column) {
    const int rowColor = Color(row, 0) == kGreen ? Color(row, 1) : Color(row, 0);
    const int third = rowColor == kRed ? kBlue : kRed;
    Store(row, column, kGreen, CubicInRow(row, column, kGreen));
    Store(row, column, rowColor, CubicInRow(row, column, rowColor));
    const auto at = [&](unsigned long r) { return CubicInRow(r, column, third); };
    if (row == 0) {
        Store(row, column, third, at(1));
    } else if (row >= 3 && row + 3 < mCall.height) {
        Store(row, column, third, cubic(at(row - 3), at(row - 1), at(row + 1), at(row + 3)));
    } else if (row + 1 < mCall.height) {
        Store(row, column, third, mean(at(row - 1), at(row + 1)));
    } else {
        Store(row, column, third, at(row - 1));
    }
}

/// Mean of the two greens of the 2 x 2 block whose first sample is (top, left).
template <class T>
T CDemosaicModel<T>::BlockGreen(unsigned long top, unsigned long left) {
    const unsigned long upper = Color(top, left) == kGreen ? left : left + 1;
    const unsigned long lower = Color(top + 1, left) == kGreen ? left : left + 1;
    return mean(Source(top, upper), Source(top + 1, lower));
}

/// Rows come in pairs; two rows of an even height, three of an odd one are left, and share the block at the first of
/// them.
template <class T>
void CDemosaicModel<T>::NearestNeighbor2(unsigned long row, unsigned long column) {
    const unsigned long width = mCall.width;
    const unsigned long tail = mCall.height - (mCall.height % 2 == 0 ? 2 : 3);
    const unsigned long top = std::min(row, tail);
    const bool secondOfPair = row < tail && row % 2 == 1;
    const unsigned long left = std::min(column, width - 2);
    for (const unsigned long r : {top, top + 1}) {
        for (const unsigned long c : {left, left + 1}) {
            if (Color(r, c) != kGreen) {
                Store(row, column, Color(r, c), Source(r, c));
            }
        }
    }
    T green;
    if (column == width - 1 && width % 2 == 1 && secondOfPair) {
        green = BlockGreen(top, width - 1); // one sample past the end of a row
    } else if (column == width - 1 && width % 2 == 0 && !secondOfPair) {
        green = Source(top, Color(top, width - 1) == kGreen ? width - 1 : width - 2);
    } else {
        green = BlockGreen(top, left);
    }
    Store(row, column, kGreen, green);
}

/// Blue and red are 9, 3, 3, 1 sixteenths of the block's own sample, of the ones across the block's centre along the
/// row and along the column, and of the one across both. What lies outside is replaced by the own sample's row or
/// column.
template <class T>
void CDemosaicModel<T>::BilinearFalseColorReduction(unsigned long row, unsigned long column) {
    const unsigned long width = mCall.width;
    const unsigned long tail = mCall.height - (mCall.height % 2 == 0 ? 2 : 3);
    const unsigned long top = std::min(row, tail);
    for (const unsigned long r : {top, top + 1}) {
        for (const unsigned long c : {column, column + 1}) {
            const int color = Color(r, c);
            if (color == kGreen) {
                continue;
            }
            unsigned long farRow = r;
            if (r == top && row < tail) {
                farRow = r + 2;
            } else if (r != top && row <= tail && r >= 2) {
                farRow = r - 2;
            }
            const unsigned long nearColumn = c < width ? c : width - 2;
            unsigned long farColumn = nearColumn;
            if (c == column && c + 2 < width) {
                farColumn = c + 2;
            } else if (c != column && c >= 2) {
                farColumn = c - 2;
            }
            const std::uint32_t sum = 9U * Source(r, nearColumn) + 3U * Source(r, farColumn) +
                                      3U * Source(farRow, nearColumn) + Source(farRow, farColumn);
            Store(row, column, color, static_cast<T>(sum / 16));
        }
    }
    T green;
    if (column + 1 < width) {
        green = BlockGreen(top, column);
    } else if (width % 2 == 1) {
        green = BlockGreen(top, column - 1);
    } else {
        green = Source(Color(top, column) == kGreen ? top : top + 1, column);
    }
    Store(row, column, kGreen, green);
}

template <class T>
std::uint8_t CDemosaicModel<T>::Byte(unsigned long row, unsigned long offset) {
    const std::size_t at = row * mCall.srcPitch + offset;
    if (mReadBytes != nullptr) {
        mReadBytes->at(at) = true;
    }
    return mSrc[at];
}

template <class T>
void CDemosaicModel<T>::StoreByte(unsigned long row, unsigned long offset, std::uint8_t value) {
    mDst[row * mCall.dstPitch + offset] = value;
}

// Rows of the conversion tables.
constexpr int kLuma = 0;
constexpr int kCrToRed = 1;
constexpr int kCbToGreen = 2;
constexpr int kCrToGreen = 3;
constexpr int kCbToBlue = 4;

std::int32_t modelYCrCbEntry(bool video, int row, int value) {
    static const double full[5] = {1.0, 1.402, -0.34414, -0.71414, 1.772};
    static const double narrow[5] = {1.16438, 1.79274, -0.21325, -0.53291, 2.1124};
    int level = value - (row == kLuma ? 0 : 128);
    if (video) {
        level = row == kLuma ? std::clamp(value, 16, 235) - 16 : std::clamp(value, 16, 240) - 128;
    }
    return static_cast<std::int32_t>(std::floor((video ? narrow : full)[row] * level * 4194304 + 0.5));
}

template <class T>
void CDemosaicModel<T>::YCrCbGray(unsigned long row, unsigned long column) {
    const std::uint8_t luma = Byte(row, lumaOffset(packingOf(mCall.colorArray), column));
    const std::int32_t expanded = modelYCrCbEntry(true, kLuma, luma) >> 22;
    StoreByte(row, column, isVideoRange(mCall.colorArray) ? static_cast<std::uint8_t>(expanded) : luma);
}

/// chroma: the terms of blue, green and red.
template <class T>
void CDemosaicModel<T>::YCrCbPixel(unsigned long row, unsigned long column, std::uint8_t luma,
                                   const std::int32_t (&chroma)[3]) {
    for (unsigned long channel = 0; channel < 3; ++channel) {
        const std::int32_t sum = modelYCrCbEntry(isVideoRange(mCall.colorArray), kLuma, luma) + chroma[channel];
        const std::int32_t level = sum < 1 ? 0 : sum < 0x3FC00000 ? sum >> 22 : 255;
        StoreByte(row, column * mCall.channels + channel, static_cast<std::uint8_t>(level));
    }
}

/// Complete groups, then what is left of the row, which lands on the row's first pixel. 4:1:1 leaves out the last group
/// of a width that is a multiple of 4.
template <class T>
void CDemosaicModel<T>::YCrCbRow(unsigned long row) {
    const bool video = isVideoRange(mCall.colorArray);
    const Packing packing = packingOf(mCall.colorArray);
    const unsigned long width = mCall.width;
    unsigned long group = 1;
    unsigned long groupBytes = 3;
    unsigned long cbAt = 1;
    unsigned long crAt = 2;
    unsigned long groups = width;
    if (packing == Packing::P422) {
        group = 2;
        groupBytes = 4;
        cbAt = 1;
        crAt = 3;
        groups = width / 2;
    } else if (packing == Packing::P411) {
        group = 4;
        groupBytes = 6;
        cbAt = 2;
        crAt = 5;
        groups = (width - 1) / 4;
    }
    std::int32_t chroma[3] = {0, 0, 0};
    for (unsigned long i = 0; i < groups; ++i) {
        const std::uint8_t cb = Byte(row, i * groupBytes + cbAt);
        const std::uint8_t cr = Byte(row, i * groupBytes + crAt);
        chroma[kBlue] = modelYCrCbEntry(video, kCbToBlue, cb);
        chroma[kGreen] = modelYCrCbEntry(video, kCbToGreen, cb) + modelYCrCbEntry(video, kCrToGreen, cr);
        chroma[kRed] = modelYCrCbEntry(video, kCrToRed, cr);
        for (unsigned long column = i * group; column < (i + 1) * group; ++column) {
            YCrCbPixel(row, column, Byte(row, lumaOffset(packing, column)), chroma);
        }
    }
    for (unsigned long column = groups * group; width % group != 0 && column < width; ++column) {
        YCrCbPixel(row, 0, Byte(row, lumaOffset(packing, column)), chroma);
    }
}

template class CDemosaicModel<std::uint8_t>;
template class CDemosaicModel<std::uint16_t>;

} // namespace vek::test
