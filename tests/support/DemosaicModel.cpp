// SPDX-License-Identifier: Apache-2.0
#include "support/DemosaicModel.h"

#include <cstring>

namespace vek::test {

namespace {

// Samples of an output pixel.
constexpr int kBlue = 0;
constexpr int kGreen = 1;
constexpr int kRed = 2;

bool isBayer(unsigned short colorArray) {
    return colorArray >= 2 && colorArray <= 5;
}

bool isYCrCb(unsigned short colorArray) {
    return colorArray >= 6 && colorArray <= 11;
}

bool isGreyCopy(const SDemosaicCall& call) {
    return call.method == 0 || call.colorArray == 1;
}

bool isBlockCopy(const SDemosaicCall& call, std::size_t sampleBytes) {
    return isGreyCopy(call) && call.channels == 1 &&
           modelSrcPitch(call, sampleBytes) == modelDstPitch(call, sampleBytes);
}

} // namespace

bool modelCovers(const SDemosaicCall& call) {
    if (isYCrCb(call.colorArray)) {
        return false;
    }
    return isGreyCopy(call) || !isBayer(call.colorArray) || call.method < 4 || call.method > 6;
}

unsigned long modelStatus(const SDemosaicCall& call) {
    if (isGreyCopy(call)) {
        if (call.colorArray == 0 || call.colorArray > 5) {
            return kModelInvalid;
        }
        return call.channels == 1 || call.channels == 3 || call.channels == 4 ? 0 : kModelInvalid;
    }
    if (!isBayer(call.colorArray) || call.method > 3 || (call.channels != 3 && call.channels != 4)) {
        return kModelInvalid;
    }
    if (call.width == 0 || call.height == 0) {
        return 0;
    }
    const bool needsCell = call.method == 2 || call.method == 3;
    return needsCell && (call.width < 2 || call.height < 2) ? kModelInvalid : 0;
}

unsigned long modelSrcPitch(const SDemosaicCall& call, std::size_t sampleBytes) {
    return call.srcPitch != 0 ? call.srcPitch : call.width * sampleBytes;
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
    // Bilinear interpolation of an odd width takes one sample behind each row's last.
    const bool oneMore = !isGreyCopy(call) && call.method == 3 && call.width % 2 == 1;
    const unsigned long samples = call.width + (oneMore ? 1 : 0);
    return (call.height - 1) * modelSrcPitch(call, sampleBytes) + samples * sampleBytes;
}

std::size_t modelDstBytes(const SDemosaicCall& call, std::size_t sampleBytes) {
    if (call.width == 0 || call.height == 0) {
        return 0;
    }
    if (isBlockCopy(call, sampleBytes)) {
        return call.height * modelDstPitch(call, sampleBytes);
    }
    return (call.height - 1) * modelDstPitch(call, sampleBytes) + call.width * call.channels * sampleBytes;
}

template <class T>
CDemosaicModel<T>::CDemosaicModel(const SDemosaicCall& call, const T* src, T* dst)
    : mCall(call), mpSrc(reinterpret_cast<const unsigned char*>(src)), mpDst(reinterpret_cast<unsigned char*>(dst)) {
    mCall.srcPitch = modelSrcPitch(call, sizeof(T));
    mCall.dstPitch = modelDstPitch(call, sizeof(T));
}

template <class T>
unsigned long CDemosaicModel<T>::RunMarkingReads(std::vector<bool>* readBytes) {
    readBytes->assign(modelSrcBytes(mCall, sizeof(T)), false);
    mpReadBytes = readBytes;
    const unsigned long status = Run();
    mpReadBytes = nullptr;
    return status;
}

template <class T>
unsigned long CDemosaicModel<T>::Run() {
    const unsigned long status = modelStatus(mCall);
    if (status != 0 || mCall.width == 0 || mCall.height == 0) {
        return status;
    }
    if (isGreyCopy(mCall)) {
        mvGrey();
        return 0;
    }
    for (unsigned long row = 0; row < mCall.height; ++row) {
        for (unsigned long column = 0; column < mCall.width; ++column) {
            switch (mCall.method) {
            case 1:
                mvNone(row, column);
                break;
            case 2:
                mvNearestNeighbor(row, column);
                break;
            default:
                mvBilinearSimple(row, column);
                break;
            }
        }
    }
    return 0;
}

template <class T>
T CDemosaicModel<T>::Source(unsigned long row, unsigned long column) {
    const std::size_t at = row * mCall.srcPitch + column * sizeof(T);
    if (mpReadBytes != nullptr) {
        for (std::size_t i = 0; i < sizeof(T); ++i) {
            mpReadBytes->at(at + i) = true;
        }
    }
    T value;
    std::memcpy(&value, mpSrc + at, sizeof value);
    return value;
}

template <class T>
void CDemosaicModel<T>::Store(unsigned long row, unsigned long column, int channel, T value) {
    const std::size_t sample = column * mCall.channels + static_cast<unsigned long>(channel);
    std::memcpy(mpDst + row * mCall.dstPitch + sample * sizeof(T), &value, sizeof value);
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
void CDemosaicModel<T>::mvGrey() {
    if (isBlockCopy(mCall, sizeof(T))) {
        const std::size_t bytes = mCall.height * mCall.srcPitch;
        if (mpReadBytes != nullptr) {
            mpReadBytes->assign(bytes, true);
        }
        std::memcpy(mpDst, mpSrc, bytes);
        return;
    }
    for (unsigned long row = 0; row < mCall.height; ++row) {
        for (unsigned long column = 0; column < mCall.width; ++column) {
            const T grey = Source(row, column);
            for (int channel = 0; channel < (mCall.channels == 1 ? 1 : 3); ++channel) {
                Store(row, column, channel, grey);
            }
        }
    }
}

template <class T>
void CDemosaicModel<T>::mvNone(unsigned long row, unsigned long column) {
    for (int channel = 0; channel < 3; ++channel) {
        Store(row, column, channel, T{0});
    }
    Store(row, column, Color(row, column), Source(row, column));
}

/// The cell of a pixel is the one at even rows and columns; where its lower row or right column lies outside, the
/// row above or the column to the left stands in.
template <class T>
void CDemosaicModel<T>::mvNearestNeighbor(unsigned long row, unsigned long column) {
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
void CDemosaicModel<T>::mvBilinearSimple(unsigned long row, unsigned long column) {
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

template class CDemosaicModel<std::uint8_t>;
template class CDemosaicModel<std::uint16_t>;

} // namespace vek::test
