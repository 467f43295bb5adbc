// SPDX-License-Identifier: Apache-2.0
#include "imageproc/NoiseReduction.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/Memory.h"
#include "common/Status.h"
#include "formats/ColorArrays.h"
#include "imageproc/BayerRows.h"
#include "imageproc/rows/Median.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace vek {

namespace {

/// Largest width and height of the easy filters.
constexpr unsigned long kMaxSize = std::numeric_limits<int>::max();

/// A pixel near the edge and those of its neighbours that take part.
template <class T>
class CNeighborhood {
public:
    CNeighborhood(unsigned long width, unsigned long height, unsigned long x, unsigned long y, T center)
        : mWidth(width), mHeight(height), mX(x), mY(y), mValues{center, 0, 0, 0, 0} {}

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
        const auto& [center, a, b, c, d] = mValues;
        switch (mCount) {
        case 3:
            return std::min(center, std::max(a, b));
        case 4: {
            const int inner = center + a + b + c - std::min({center, a, b, c}) - std::max({center, a, b, c});
            return std::min(center, static_cast<T>(inner >> 1));
        }
        case 5:
            return rows::darkerMedian(center, a, b, c, d);
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

/// A row that an easy filter works on and those around it, by distance + 2: above it as they have become, below it as
/// they came.
template <class T>
struct SEasyRow {
    unsigned long width;
    unsigned long height;
    unsigned long y;
    const SPhase& phase;
    const T* lines[5];
    T* row;

    /// Filters one pixel by the rules of the image's edge: neighbours outside drop out. Where the top left pixel is
    /// green, greens one column from the left edge, or from the right edge of an even width, take the neighbours on the
    /// far side of it alone, and the top left one takes the next green of its own row.
    void FilterPixel(unsigned long x) const {
        const auto at = [&](unsigned long column, unsigned long line) { return lines[line + 2 - y][column]; };
        CNeighborhood<T> pixels(width, height, x, y, at(x, y));
        const bool greenFirst = phase.GreenParity(0) == 0; // the image's top left pixel is green
        if (x % 2 != phase.GreenParity(y)) {
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
        row[x] = pixels.Smaller();
    }
};

/// Row 0 is filtered from samples as they came, every other one from what stands in it by now. work: room for a row.
template <class T>
void easyBayerBand(const rows::SNoiseRows<T>& kernels, const SFrame& frame, const SBand<T>& band) {
    const SPhase& phase = phaseOf(frame.colorArray);
    const unsigned long width = frame.width;
    const unsigned long height = frame.height;
    if (band.first == 0) {
        std::copy_n(band.src.Row(0), width, static_cast<T*>(band.work));
    }
    forBandRows(frame, band, 1, [&](T* row, unsigned long y) {
        const auto above = [&](unsigned long distance) { return distance <= y ? band.dst.Row(y - distance) : nullptr; };
        const auto below = [&](unsigned long distance) {
            return y + distance < height ? band.src.Row(y + distance) : nullptr;
        };
        const T* const own = y == 0 ? static_cast<const T*>(band.work) : row;
        const SEasyRow<T> rows = {width, height, y, phase, {above(2), above(1), own, below(1), below(2)}, row};
        rows.FilterPixel(0);
        rows.FilterPixel(1);
        if (y >= 2 && y + 2 < height) {
            kernels.easyBayer(rows.lines[0], rows.lines[1], row, rows.lines[3], rows.lines[4], width,
                              phase.GreenParity(y));
        } else {
            for (unsigned long x = 2; x + 2 < width; ++x) {
                rows.FilterPixel(x);
            }
        }
        rows.FilterPixel(width - 2);
        rows.FilterPixel(width - 1);
    });
}

/// From samples as they came. work, in place: room for two rows.
template <class T>
void easyMonoBand(const rows::SNoiseRows<T>& kernels, const SFrame& frame, const SBand<T>& band) {
    const unsigned long width = frame.width;
    const unsigned long height = frame.height;
    forBandRows(frame, band, 1, [&](T* row, unsigned long y) {
        const T* above = y >= 1 ? band.src.Row(y - 1) : nullptr;
        const T* own = band.src.Row(y);
        const T* const below = y + 1 < height ? band.src.Row(y + 1) : nullptr;
        if (band.InPlace()) {
            // The row and the one above it are kept as they came; the one below has not been touched yet.
            T* const kept = static_cast<T*>(band.work) + y % 2 * width;
            std::copy_n(row, width, kept);
            above = static_cast<const T*>(band.work) + (y + 1) % 2 * width;
            own = kept;
        }
        const bool inner = y >= 1 && y + 1 < height;
        if (inner) {
            kernels.easyMono(above, row, below, width);
        }
        const T* const lines[] = {above, own, below};
        const auto at = [&](unsigned long column, unsigned long line) { return lines[line + 1 - y][column]; };
        for (unsigned long x = 0; x < width; x += inner && x == 0 ? width - 1 : 1) {
            CNeighborhood<T> pixels(width, height, x, y, at(x, y));
            pixels.Add(-1, 0, at);
            pixels.Add(1, 0, at);
            pixels.Add(0, -1, at);
            pixels.Add(0, 1, at);
            row[x] = pixels.Smaller();
        }
    });
}

/// Rows around a pixel that the complex filter repairs it from.
unsigned long repairReach(unsigned short colorArray) {
    return colorArray == VEK_COLOR_ARRAY_MONO ? 1 : isBayer(colorArray) ? 2 : 0;
}

/// Bytes of a sample.
constexpr unsigned long sampleBytes(unsigned short bitsPerPixel) {
    return (bitsPerPixel + 7UL) >> 3;
}

/// Samples from this one on are clipped.
template <class T>
T clippedFrom(unsigned short bitsPerPixel) {
    const auto power = [](int exponent) { return exponent < 0 || exponent > 63 ? 0UL : 1UL << exponent; };
    return static_cast<T>(power(bitsPerPixel) - power(bitsPerPixel - 7) - 1);
}

/// Rows that the complex filter's work area has room for: reach + 1 of the live frame, and as many below and above a
/// band as it reads.
constexpr unsigned long complexWorkRows(unsigned long reach) {
    return 3 * reach + 1;
}

/// Subtraction, and repair of what was clipped.
template <class T>
void complexBand(const rows::SNoiseRows<T>& kernels, const SFrame& frame, const SDarkFrame& dark,
                 const SBand<T>& band) {
    const unsigned long width = frame.width;
    const unsigned long reach = repairReach(frame.colorArray);
    const T threshold = clippedFrom<T>(frame.bitsPerPixel);
    const bool alone = band.dst.top == band.first;
    const unsigned long from = alone ? band.first - std::min(band.first, reach) : band.first;
    const auto workRow = [&](unsigned long row) { return static_cast<T*>(band.work) + row * width; };
    const auto liveRow = [&](unsigned long y) { return workRow(y % (reach + 1)); };
    // Row y less the dark frame: where the band goes, or beside it in the work area.
    const auto row = [&](unsigned long y) {
        if (y >= band.end && !band.InPlace()) {
            return workRow(reach + 1 + y - band.end);
        }
        return y < band.first && alone ? workRow(2 * reach + 1 + y - from) : band.dst.Row(y);
    };
    T brightest[3] = {};
    // Rows are repaired as many behind the subtraction as a repair reads.
    for (unsigned long y = from; y < std::min(frame.height, band.end + reach); ++y) {
        T* const subtracted = row(y);
        if (!band.InPlace()) {
            std::copy_n(band.src.Row(y), width, subtracted);
        }
        brightest[y % (reach + 1)] = kernels.subtract(subtracted, dark.Row<T>(y), liveRow(y), width);
        const unsigned long z = y - reach;
        if (reach == 0 || y < band.first + reach || z < reach || brightest[z % (reach + 1)] < threshold) {
            continue;
        }
        if (reach == 1) {
            kernels.repairMono(row(z - 1), row(z), row(z + 1), liveRow(z), width, threshold);
        } else {
            kernels.repairBayer(row(z - 2), row(z - 1), row(z), row(z + 1), row(z + 2), liveRow(z), width,
                                phaseOf(frame.colorArray).GreenParity(z), threshold);
        }
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

void SDarkFrame::Clear() {
    *this = {};
}

void SDarkFrame::Create(unsigned long columns, unsigned long rows, unsigned long rowPitch, unsigned short array) {
    Clear();
    samples.reset(static_cast<unsigned char*>(allocateRows(rows, rowPitch)));
    if (samples != nullptr) {
        width = columns;
        height = rows;
        pitch = rowPitch;
        colorArray = array;
    }
}

template <class T>
void SDarkFrame::Add(const SRows<const T>& frame, unsigned long first, unsigned long end) {
    // With what lies between the rows: to deeper samples, of which a row takes the whole pitch, it is pixels. Behind
    // the last row the image ends.
    const unsigned long behind = end == height ? pitch - width * sizeof(T) : 0;
    const unsigned long bytes = (end - first) * pitch - behind;
    std::memcpy(samples.get() + first * pitch, frame.Row(first), bytes);
    std::memset(samples.get() + first * pitch + bytes, 0, behind);
}
template void SDarkFrame::Add(const SRows<const unsigned char>&, unsigned long, unsigned long);
template void SDarkFrame::Add(const SRows<const unsigned short>&, unsigned long, unsigned long);

/// Over whole cells: an odd last row or column keeps its raw values.
template <class T>
void SDarkFrame::SubtractFloors() {
    const unsigned long evenWidth = width & ~1UL;
    const unsigned long evenHeight = height & ~1UL;
    constexpr T largest = std::numeric_limits<T>::max();
    T floor[2][2] = {{largest, largest}, {largest, largest}};
    for (unsigned long y = 0; y < evenHeight; ++y) {
        const T* const row = Row<T>(y);
        for (unsigned long x = 0; x < evenWidth; ++x) {
            floor[y % 2][x % 2] = std::min(floor[y % 2][x % 2], row[x]);
        }
    }
    for (unsigned long y = 0; y < evenHeight; ++y) {
        T* const row = rowAt(reinterpret_cast<T*>(samples.get()), y, pitch);
        for (unsigned long x = 0; x < evenWidth; ++x) {
            row[x] = static_cast<T>(row[x] - floor[y % 2][x % 2]);
        }
    }
}
template void SDarkFrame::SubtractFloors<unsigned char>();
template void SDarkFrame::SubtractFloors<unsigned short>();

STraits SNoiseStage::Traits(const SFrame& frame) const {
    const bool mono = frame.colorArray == VEK_COLOR_ARRAY_MONO;
    const unsigned long rowBytes = frame.width * sizeof(unsigned short); // at most
    switch (mode) {
    case VEK_NOISE_EASY: {
        const unsigned long minSize = mono ? 2 : 4;
        const auto takes = [&](unsigned long size) { return size >= minSize && size <= kMaxSize; };
        if (!isRaw(frame.colorArray) || !takes(frame.width) || !takes(frame.height)) {
            return {};
        }
        return mono ? STraits{.kind = EStage::Window, .rowsAbove = 1, .rowsBelow = 1, .workBytes = 2 * rowBytes}
                    : STraits{.kind = EStage::Serial, .rowsAbove = 2, .rowsBelow = 2, .workBytes = rowBytes};
    }
    case VEK_NOISE_COMPLEX: {
        if (dark == nullptr || dark->samples == nullptr || frame.width != dark->width || frame.height != dark->height ||
            frame.colorArray != dark->colorArray) {
            return {};
        }
        const auto reach = static_cast<unsigned>(repairReach(frame.colorArray));
        return {.kind = reach != 0 ? EStage::Serial : EStage::Pointwise,
                .rowsAbove = reach,
                .rowsBelow = reach,
                .workBytes = complexWorkRows(reach) * rowBytes};
    }
    case VEK_NOISE_STORE_DARK:
        return {.kind = EStage::Reduction,
                .readsBehind = true,
                .resultBytes = frame.width * frame.height * sampleBytes(frame.bitsPerPixel)};
    default:
        return {};
    }
}

template <class T>
bool SNoiseStage::StartsAt(const SFrame& frame, const SRows<const T>& source, unsigned long first) const {
    if (mode != VEK_NOISE_COMPLEX) {
        return first == 0;
    }
    const unsigned long reach = repairReach(frame.colorArray);
    const T threshold = clippedFrom<T>(frame.bitsPerPixel);
    for (unsigned long y = first - std::min(first, reach); y < first; ++y) {
        const T* const row = source.Row(y);
        if (std::any_of(row, row + frame.width, [&](T sample) { return sample >= threshold; })) {
            return false;
        }
    }
    return true;
}
template bool SNoiseStage::StartsAt(const SFrame&, const SRows<const unsigned char>&, unsigned long) const;
template bool SNoiseStage::StartsAt(const SFrame&, const SRows<const unsigned short>&, unsigned long) const;

template <class T>
void SNoiseStage::Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const {
    const rows::SNoiseRows<T>& noise = rows::noiseRows<T>(kernels);
    if (mode == VEK_NOISE_COMPLEX) {
        complexBand(noise, frame, *dark, band);
    } else if (frame.colorArray == VEK_COLOR_ARRAY_MONO) {
        easyMonoBand(noise, frame, band);
    } else {
        easyBayerBand(noise, frame, band);
    }
}
template void SNoiseStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned char>&) const;
template void SNoiseStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned short>&) const;

template <class T>
unsigned long CNoiseReduction::Easy(const SFrame& frame, unsigned long pitch, T* image) const {
    // Fixed behaviour: as large as the image, though its first rows are enough, and without it there is no filtering,
    // and no error either.
    const Malloced<void> work(allocateRows(frame.height, pitch));
    if (work == nullptr) {
        return kOk;
    }
    const SNoiseStage stage = Stage(VEK_NOISE_EASY);
    if (stage.Traits(frame).kind == EStage::None) {
        return kInvalid;
    }
    return runInPlace(stage, mRows, frame, SRows<T>{pitch, image}, work.get());
}

template <class T>
unsigned long CNoiseReduction::StoreDark(const SFrame& frame, unsigned long pitch, const T* image) {
    if (image == nullptr && frame.HasPixels()) {
        return kInvalid;
    }
    SDarkFrame* const dark = ownAlone(mDark);
    if (dark == nullptr) {
        return kNoMemory;
    }
    dark->Create(frame.width, frame.height, pitch, frame.colorArray);
    if (dark->samples == nullptr) {
        return kNoMemory;
    }
    if (frame.HasPixels()) {
        dark->Add<T>({pitch, image}, 0, frame.height);
        dark->SubtractFloors<T>();
    }
    return kOk;
}

template <class T>
unsigned long CNoiseReduction::Complex(const SFrame& frame, unsigned long pitch, T* image) const {
    const SNoiseStage stage = Stage(VEK_NOISE_COMPLEX);
    // Rows without padding, and the dark frame's as it was stored: a padded one never fits.
    if (stage.Traits(frame).kind == EStage::None || pitch != mDark->pitch ||
        frame.width * frame.height * sizeof(T) != mDark->pitch * mDark->height) {
        return kInvalid;
    }
    const Malloced<void> work(allocateRows(frame.height, pitch));
    if (work == nullptr) {
        return kNoMemory;
    }
    // Fixed behaviour: a frame of no known colour array has been subtracted from when it is refused.
    const unsigned long status = runInPlace(stage, mRows, frame, SRows<T>{pitch, image}, work.get());
    return isRaw(frame.colorArray) ? status : kInvalid;
}

template <class T>
unsigned long CNoiseReduction::Run(unsigned long width, unsigned long height, unsigned long pitch,
                                   unsigned short colorArray, T* image, unsigned short bitsPerPixel,
                                   unsigned long mode) {
    if (pitch == 0) {
        pitch = width * sampleBytes(bitsPerPixel);
    }
    // The frames that this module keeps hold pitch bytes a row, where they have any.
    const bool pitchOk = height == 0 || pitch / sizeof(T) >= width;
    const SFrame frame = {width, height, 0, colorArray, bitsPerPixel};
    switch (mode) {
    case VEK_NOISE_OFF:
        return kOk;
    case VEK_NOISE_EASY: {
        // Fixed behaviour: sizes pass through an int; what becomes negative there is too large a number behind it.
        const auto size = [](unsigned long value) { return static_cast<unsigned long>(static_cast<int>(value)); };
        return pitchOk ? Easy({size(width), size(height), 0, colorArray, bitsPerPixel}, pitch, image) : kInvalid;
    }
    case VEK_NOISE_COMPLEX:
        return Complex(frame, pitch, image);
    case VEK_NOISE_STORE_DARK:
        return pitchOk ? StoreDark<T>(frame, pitch, image) : kInvalid;
    default:
        return kInvalid;
    }
}

unsigned long CNoiseReduction::NRProcB(unsigned long width, unsigned long height, unsigned long pitch,
                                       unsigned short colorArray, unsigned char* image, unsigned short bitsPerPixel,
                                       unsigned long mode) {
    return Run(width, height, pitch, colorArray, image, bitsPerPixel, mode);
}

unsigned long CNoiseReduction::NRProcW(unsigned long width, unsigned long height, unsigned long pitch,
                                       unsigned short colorArray, unsigned short* image, unsigned short bitsPerPixel,
                                       unsigned long mode) {
    return Run(width, height, pitch, colorArray, image, bitsPerPixel, mode);
}

} // namespace vek
