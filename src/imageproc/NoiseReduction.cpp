// SPDX-License-Identifier: Apache-2.0
#include "imageproc/NoiseReduction.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/Memory.h"
#include "common/Status.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace vek {

namespace {

constexpr bool isBayer(unsigned short colorArray) {
    return colorArray >= VEK_COLOR_ARRAY_RGGB && colorArray <= VEK_COLOR_ARRAY_BGGR;
}

/// Columns at which row y holds green, where the top left pixel is green or is not.
constexpr unsigned greenParityOf(bool greenFirst, unsigned long y) {
    return greenFirst == (y % 2 == 0) ? 0 : 1;
}
constexpr bool isGreenFirst(unsigned short colorArray) {
    return colorArray == VEK_COLOR_ARRAY_GRBG || colorArray == VEK_COLOR_ARRAY_GBRG;
}

/// A pixel near the edge and those of its neighbours that take part.
template <class T>
class CNeighbourhood {
public:
    CNeighbourhood(unsigned long width, unsigned long height, unsigned long x, unsigned long y, T centre)
        : mWidth(width), mHeight(height), mX(x), mY(y), mValues{centre, 0, 0, 0, 0} {}

    /// The neighbour dx columns and dy rows away, where it lies in the image. at(x, y): its value.
    template <class At>
    void Add(long dx, long dy, At at) {
        // Steps to the left of 0 become huge numbers.
        const unsigned long x = mX + static_cast<unsigned long>(dx);
        const unsigned long y = mY + static_cast<unsigned long>(dy);
        if (x < mWidth && y < mHeight) {
            mValues[mCount++] = at(x, y);
        }
    }
    /// mGetCenterValueSmaller of the values, mostly without sorting: its branches would be mispredicted in noise.
    T Smaller() {
        const auto& [centre, a, b, c, d] = mValues;
        switch (mCount) {
        case 3:
            return std::min(centre, std::max(a, b));
        case 4: {
            const int inner = centre + a + b + c - std::min({centre, a, b, c}) - std::max({centre, a, b, c});
            return std::min(centre, static_cast<T>(inner >> 1));
        }
        case 5: // centre, or the third smallest of the others
            return std::min(
                centre, std::max(std::min(std::max(a, b), std::max(c, d)), std::max(std::min(a, b), std::min(c, d))));
        default:
            return mGetCenterValueSmaller(mValues, mCount);
        }
    }

private:
    unsigned long mWidth;
    unsigned long mHeight;
    unsigned long mX;
    unsigned long mY;
    T mValues[5];
    int mCount = 1;
};

/// What an easy filter on a Bayer image knows of it.
template <class T>
struct SBayerFilter {
    unsigned long width;
    unsigned long height;
    unsigned long linePitch;
    T* image;
    const T* firstRow; ///< row 0 as it was
    bool greenFirst;

    T* row(unsigned long y) const { return rowAt(image, y, linePitch); }

    /// Filters one pixel by the rules of the image's edge: neighbours outside drop out. Where the top left pixel is
    /// green, greens one column from the left edge, or from the right edge of an even width, take the neighbours on the
    /// far side of it alone, and the top left one takes the next green of its own row.
    void FilterPixel(unsigned long x, unsigned long y) const {
        // Row 0 is filtered from samples as they came; everything else from what stands in the image by now.
        const auto at = [&](unsigned long column, unsigned long line) {
            return y == 0 && line == 0 ? firstRow[column] : row(line)[column];
        };
        CNeighbourhood<T> pixels(width, height, x, y, at(x, y));
        if (x % 2 != greenParityOf(greenFirst, y)) {
            pixels.Add(-2, 0, at);
            pixels.Add(2, 0, at);
            pixels.Add(0, -2, at);
            pixels.Add(0, 2, at);
        } else if (greenFirst && x == 0 && y == 0) {
            pixels.Add(2, 0, at);
            pixels.Add(1, 1, at);
        } else {
            const bool left = !greenFirst || x != 1;
            const bool right = !greenFirst || x != width - 2 || width % 2 != 0;
            for (const long dy : {-1L, 1L}) {
                if (left) {
                    pixels.Add(-1, dy, at);
                }
                if (right) {
                    pixels.Add(1, dy, at);
                }
            }
        }
        row(y)[x] = pixels.Smaller();
    }
};

template <class T>
void mvEasyBayer(const rows::SNoiseRows<T>& kernels, const SBayerFilter<T>& filter) {
    for (unsigned long y = 0; y < filter.height; ++y) {
        const bool inner = y >= 2 && y + 2 < filter.height;
        filter.FilterPixel(0, y);
        filter.FilterPixel(1, y);
        if (inner) {
            kernels.easyBayer(filter.row(y - 2), filter.row(y - 1), filter.row(y), filter.row(y + 1), filter.row(y + 2),
                              filter.width, greenParityOf(filter.greenFirst, y));
        } else {
            for (unsigned long x = 2; x + 2 < filter.width; ++x) {
                filter.FilterPixel(x, y);
            }
        }
        filter.FilterPixel(filter.width - 2, y);
        filter.FilterPixel(filter.width - 1, y);
    }
}

} // namespace

template <class T>
T mGetCenterValue(T* values, int n) {
    for (int end = n; end >= 2; --end) {
        for (int i = 0; i + 1 < end; ++i) {
            if (values[i] < values[i + 1]) {
                std::swap(values[i], values[i + 1]);
            }
        }
    }
    return n % 2 != 0 ? values[n / 2] : static_cast<T>((values[n / 2 - 1] + values[n / 2]) >> 1);
}

template <class T>
T mGetCenterValueSmaller(T* values, int n) {
    const T first = values[0];
    return std::min(first, mGetCenterValue(values, n));
}

template <class T>
T mGetCenterValueLarger(T* values, int n) {
    const T first = values[0];
    return std::max(first, mGetCenterValue(values, n));
}

template unsigned char mGetCenterValue(unsigned char*, int);
template unsigned short mGetCenterValue(unsigned short*, int);
template unsigned char mGetCenterValueSmaller(unsigned char*, int);
template unsigned short mGetCenterValueSmaller(unsigned short*, int);
template unsigned char mGetCenterValueLarger(unsigned char*, int);
template unsigned short mGetCenterValueLarger(unsigned short*, int);

/// snapshot: room for a row.
template <class T>
unsigned long CNoiseReduction::mEasyNR_XGGY(unsigned long width, unsigned long height, unsigned long linePitch,
                                            T* image, T* snapshot) const {
    std::copy(image, image + width, snapshot);
    mvEasyBayer<T>(rows::noiseRows<T>(mRows), {width, height, linePitch, image, snapshot, false});
    return kOk;
}

template <class T>
unsigned long CNoiseReduction::mEasyNR_GXYG(unsigned long width, unsigned long height, unsigned long linePitch,
                                            T* image, T* snapshot) const {
    std::copy(image, image + width, snapshot);
    mvEasyBayer<T>(rows::noiseRows<T>(mRows), {width, height, linePitch, image, snapshot, true});
    return kOk;
}

/// snapshot: room for two rows.
template <class T>
unsigned long CNoiseReduction::mEasyNR_MONO(unsigned long width, unsigned long height, unsigned long linePitch,
                                            T* image, T* snapshot) const {
    const auto easyMono = rows::noiseRows<T>(mRows).easyMono;
    for (unsigned long y = 0; y < height; ++y) {
        // The row and the one above it as they came; the rows below have not been touched yet.
        T* const row = rowAt(image, y, linePitch);
        T* const original = snapshot + y % 2 * width;
        const T* const above = snapshot + (y + 1) % 2 * width;
        std::copy(row, row + width, original);
        const bool inner = y >= 1 && y + 1 < height;
        if (inner) {
            easyMono(above, row, rowAt(image, y + 1, linePitch), width);
        }
        const auto at = [&](unsigned long column, unsigned long line) {
            return line == y ? original[column] : line < y ? above[column] : rowAt(image, line, linePitch)[column];
        };
        for (unsigned long x = 0; x < width; x += inner && x == 0 ? width - 1 : 1) {
            CNeighbourhood<T> pixels(width, height, x, y, original[x]);
            pixels.Add(-1, 0, at);
            pixels.Add(1, 0, at);
            pixels.Add(0, -1, at);
            pixels.Add(0, 1, at);
            row[x] = pixels.Smaller();
        }
    }
    return kOk;
}

template <class T>
unsigned long CNoiseReduction::mEasyNR(int width, int height, unsigned long linePitch, unsigned short colorArray,
                                       T* image) const {
    const auto columns = static_cast<unsigned long>(width);
    const auto rows = static_cast<unsigned long>(height);
    // Fixed behaviour: as large as the image, though its first rows are enough, and without it there is no filtering,
    // and no error either.
    const Malloced<void> snapshot(allocateRows(rows, linePitch));
    if (snapshot == nullptr) {
        return kOk;
    }
    const bool mono = colorArray == VEK_COLOR_ARRAY_MONO;
    const int minSize = mono ? 2 : 4;
    if ((!mono && !isBayer(colorArray)) || width < minSize || height < minSize || image == nullptr) {
        return kInvalid;
    }
    T* const samples = static_cast<T*>(snapshot.get());
    if (mono) {
        return mEasyNR_MONO(columns, rows, linePitch, image, samples);
    }
    return isGreenFirst(colorArray) ? mEasyNR_GXYG(columns, rows, linePitch, image, samples)
                                    : mEasyNR_XGGY(columns, rows, linePitch, image, samples);
}

void CNoiseReduction::FreeDarkImageBuffer() {
    if (mpDarkImage != nullptr) {
        mpDarkImage.reset();
        mDarkImageSize = 0;
    }
    mDarkWidth = 0;
    mDarkHeight = 0;
    mDarkColorArray = 0;
}

template <class T>
unsigned long CNoiseReduction::mDarkCL(unsigned long width, unsigned long height, unsigned long linePitch,
                                       unsigned short colorArray, const T* image) {
    if (image == nullptr && width != 0 && height != 0) {
        return kInvalid;
    }
    FreeDarkImageBuffer();
    mpDarkImage.reset(static_cast<unsigned char*>(allocateRows(height, linePitch)));
    if (mpDarkImage == nullptr) {
        mDarkImageSize = 0;
        return kNoMemory;
    }
    mDarkImageSize = linePitch * height;
    mDarkMode = VEK_NOISE_STORE_DARK;
    mDarkWidth = width;
    mDarkHeight = height;
    mDarkLinePitch = linePitch;
    mDarkColorArray = colorArray;
    if (width == 0 || height == 0) {
        return kOk;
    }
    T* const dark = reinterpret_cast<T*>(mpDarkImage.get());
    // With what lies between the rows: to deeper samples, of which a row takes the whole pitch, it is pixels. Behind
    // the last row the image ends.
    const unsigned long lastRow = linePitch * (height - 1);
    const unsigned long rowBytes = width * sizeof(T);
    std::memcpy(dark, image, lastRow + rowBytes);
    std::memset(mpDarkImage.get() + lastRow + rowBytes, 0, linePitch - rowBytes);

    // Floor of each place in the 2 x 2 cell, over whole cells: an odd last row or column keeps its raw values.
    const unsigned long evenWidth = width & ~1UL;
    const unsigned long evenHeight = height & ~1UL;
    constexpr T largest = std::numeric_limits<T>::max();
    T floor[2][2] = {{largest, largest}, {largest, largest}};
    for (unsigned long y = 0; y < evenHeight; ++y) {
        const T* const row = rowAt(dark, y, linePitch);
        for (unsigned long x = 0; x < evenWidth; ++x) {
            floor[y % 2][x % 2] = std::min(floor[y % 2][x % 2], row[x]);
        }
    }
    for (unsigned long y = 0; y < evenHeight; ++y) {
        T* const row = rowAt(dark, y, linePitch);
        for (unsigned long x = 0; x < evenWidth; ++x) {
            row[x] = static_cast<T>(row[x] - floor[y % 2][x % 2]);
        }
    }
    return kOk;
}

/// Row y, all rows up to two below it subtracted already.
template <class T>
void CNoiseReduction::mMedianFilterClippedPixel(unsigned long width, unsigned long height, unsigned long linePitch,
                                                unsigned short colorArray, const T* liveRow, T* image, T threshold,
                                                unsigned long y) const {
    const rows::SNoiseRows<T>& kernels = rows::noiseRows<T>(mRows);
    const auto row = [&](unsigned long line) { return rowAt(image, line, linePitch); };
    if (colorArray == VEK_COLOR_ARRAY_MONO) {
        if (y >= 1 && y + 1 < height) {
            kernels.repairMono(row(y - 1), row(y), row(y + 1), liveRow, width, threshold);
        }
    } else if (y >= 2 && y + 2 < height) {
        kernels.repairBayer(row(y - 2), row(y - 1), row(y), row(y + 1), row(y + 2), liveRow, width,
                            greenParityOf(isGreenFirst(colorArray), y), threshold);
    }
}

template <class T>
unsigned long CNoiseReduction::mComplexNR(unsigned long width, unsigned long height, unsigned long linePitch,
                                          unsigned short colorArray, T* image, unsigned short bitsPerPixel) const {
    // The size counts rows without padding, the stored one rows with it: a padded dark frame never fits.
    if (mpDarkImage == nullptr || width * height * sizeof(T) != mDarkImageSize || mDarkMode != VEK_NOISE_STORE_DARK ||
        width != mDarkWidth || linePitch != mDarkLinePitch || height != mDarkHeight || colorArray != mDarkColorArray) {
        return kInvalid;
    }
    const Malloced<void> live(allocateRows(height, linePitch));
    if (live == nullptr) {
        return kNoMemory;
    }
    const bool known = colorArray == VEK_COLOR_ARRAY_MONO || isBayer(colorArray);
    if (width == 0 || height == 0) {
        return known ? kOk : kInvalid;
    }
    if (image == nullptr) {
        return kInvalid;
    }
    const auto power = [](int exponent) { return exponent < 0 || exponent > 63 ? 0UL : 1UL << exponent; };
    const auto threshold = static_cast<T>(power(bitsPerPixel) - power(bitsPerPixel - 7) - 1);
    const T* const dark = reinterpret_cast<const T*>(mpDarkImage.get());
    const auto subtract = rows::noiseRows<T>(mRows).subtract;
    // Rows are repaired two behind the subtraction: what a repair reads is there, and only three live rows are kept.
    constexpr unsigned long reach = 2;
    T* const samples = static_cast<T*>(live.get());
    const auto liveRow = [&](unsigned long y) { return samples + y % (reach + 1) * width; };
    T brightest[reach + 1] = {};
    for (unsigned long y = 0; y < height + reach; ++y) {
        if (y < height) {
            brightest[y % (reach + 1)] =
                subtract(rowAt(image, y, linePitch), rowAt(dark, y, linePitch), liveRow(y), width);
        }
        if (y >= reach && known && brightest[(y - reach) % (reach + 1)] >= threshold) {
            mMedianFilterClippedPixel<T>(width, height, linePitch, colorArray, liveRow(y - reach), image, threshold,
                                         y - reach);
        }
    }
    return known ? kOk : kInvalid;
}

template <class T>
unsigned long CNoiseReduction::Run(unsigned long width, unsigned long height, unsigned long linePitch,
                                   unsigned short colorArray, T* image, unsigned short bitsPerPixel,
                                   unsigned long mode) {
    if (linePitch == 0) {
        linePitch = width * ((bitsPerPixel + 7UL) >> 3);
    }
    // The frames that this module keeps hold linePitch bytes a row, where they have any.
    const bool pitchOk = height == 0 || linePitch / sizeof(T) >= width;
    switch (mode) {
    case VEK_NOISE_OFF:
        return kOk;
    case VEK_NOISE_EASY:
        return pitchOk ? mEasyNR(static_cast<int>(width), static_cast<int>(height), linePitch, colorArray, image)
                       : kInvalid;
    case VEK_NOISE_COMPLEX:
        return mComplexNR(width, height, linePitch, colorArray, image, bitsPerPixel);
    case VEK_NOISE_STORE_DARK:
        return pitchOk ? mDarkCL<T>(width, height, linePitch, colorArray, image) : kInvalid;
    default:
        return kInvalid;
    }
}

unsigned long CNoiseReduction::NRProcB(unsigned long width, unsigned long height, unsigned long linePitch,
                                       unsigned short colorArray, unsigned char* image, unsigned short bitsPerPixel,
                                       unsigned long mode) {
    return Run(width, height, linePitch, colorArray, image, bitsPerPixel, mode);
}

unsigned long CNoiseReduction::NRProcW(unsigned long width, unsigned long height, unsigned long linePitch,
                                       unsigned short colorArray, unsigned short* image, unsigned short bitsPerPixel,
                                       unsigned long mode) {
    return Run(width, height, linePitch, colorArray, image, bitsPerPixel, mode);
}

} // namespace vek
