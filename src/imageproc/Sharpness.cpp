// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Sharpness.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/Memory.h"
#include "common/PixelFormat.h"
#include "common/Saturate.h"
#include "common/Status.h"
#include "imageproc/ColorSpace.h"
#include "imageproc/Sharpness_Corrections.h"

#include <algorithm>
#include <cstddef>

namespace vek {

namespace {

constexpr unsigned short kMinDepth = 8;
constexpr unsigned long kWorkBytesPerColumn = 10;

/// The work area: three rows of sums, by row number modulo 3, and two of luma, by row number modulo 2.
template <class T>
struct SWorkRows {
    unsigned short* work;
    unsigned long width;

    unsigned short* Sums(unsigned long y) const { return work + y % 3 * width; }
    T* Luma(unsigned long y) const {
        // Words first: the rows of luma may be of bytes.
        return reinterpret_cast<T*>(work + 3 * width) + y % 2 * width;
    }
};

} // namespace

/// Entry coring + n is n x gain / 100, rounded; the rounding of the single-precision sum belongs to the result.
void SSharpnessStage::UpdateTable() {
    constexpr unsigned last = 4095;
    const float step = static_cast<float>(gain) / 100.0F;
    std::array<float, 4096> sums{};
    for (std::size_t m = 1; m < sums.size(); ++m) {
        sums[m] = sums[m - 1] + step;
    }
    table.fill(0);
    for (std::size_t i = std::size_t{coring} + 1; i < table.size(); ++i) {
        // NOLINTNEXTLINE(bugprone-incorrect-roundings): this very rounding, of values that are not negative
        const auto rounded = static_cast<unsigned>(double{sums[i - coring]} + 0.5);
        table[i] = static_cast<unsigned short>(std::min(rounded, last));
    }
    for (std::size_t i = 0; i < raise8.size(); ++i) {
        raise8[i] = static_cast<unsigned char>(table[i]);
        lower8[i] = saturateTo<unsigned char>(table[i]);
    }
    const SCorrectionTable corrections = {table, sums, coring, step};
    hasSegments = findSegments(corrections, &segments);
    hasLine = findLine(corrections, &line);
    hasDigits = findDigits(corrections, &digits);
}

rows::SSharpening SSharpnessStage::Sharpening(unsigned maxValue) const {
    return {.table = table.data(),
            .raiseBytes = raise8.data(),
            .lowerBytes = raise8 == lower8 ? nullptr : lower8.data(),
            .coring = coring,
            .maxValue = maxValue,
            .segments = hasSegments ? &segments : nullptr,
            .line = hasLine ? &line : nullptr,
            .digits = hasDigits ? &digits : nullptr};
}

STraits SSharpnessStage::Traits(const SFrame& frame) const {
    if (mode == 0 || frame.width < 3 || frame.height < 3) {
        return {};
    }
    return {.kind = EStage::Window, .rowsAbove = 1, .rowsBelow = 1, .workBytes = kWorkBytesPerColumn * frame.width};
}

template <class T>
void SSharpnessStage::Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band,
                           bool continues) const {
    const rows::SColorRows<T>& colors = rows::colorRows<T>(kernels);
    const unsigned samples = colorSamples(frame.pixelFormat);
    const SWorkRows<T> work = {static_cast<unsigned short*>(band.work), frame.width};
    const rows::SSharpening sharpening = Sharpening((1U << frame.bitsPerPixel) - 1);
    // The sums of a row while it is as it came.
    const auto prepare = [&](unsigned long y) {
        const T* row = band.src.Row(y);
        if (samples != 0) {
            colors.luma(row, work.Luma(y), frame.width, samples, kLumaTables);
            row = work.Luma(y);
        }
        colors.sum3(row, work.Sums(y), frame.width);
    };
    bool prepared = continues && band.first > 1; // nothing is, for the first row
    for (unsigned long y = band.first; y < band.end; ++y) {
        if (y == 0 || y + 1 == frame.height) {
            takeRow(frame, band, y, std::max(samples, 1U));
            continue;
        }
        if (!prepared) {
            prepare(y - 1);
            prepare(y);
            prepared = true;
        }
        prepare(y + 1);
        // Kernels go from row to row, but where a fourth sample stays what it is.
        T* const to = samples == 4 ? takeRow(frame, band, y, samples) : band.dst.Row(y);
        const T* const from = samples == 4 ? to : band.src.Row(y);
        const rows::SNeighborSums sums = {work.Sums(y - 1), work.Sums(y), work.Sums(y + 1)};
        if (samples == 0) {
            colors.sharpenGray(from, to, sums, frame.width, sharpening);
        } else {
            colors.sharpenColor(from, to, samples, work.Luma(y), sums, frame.width, sharpening);
        }
    }
}
template void SSharpnessStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned char>&, bool) const;
template void SSharpnessStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned short>&, bool) const;

unsigned long CSharpness::SetMode(unsigned char mode, unsigned short gain, unsigned short coring) {
    mStage.mode = mode;
    mStage.gain = gain;
    mStage.coring = coring;
    // Off keeps the corrections of the last setting.
    if (mode != 0) {
        mStage.UpdateTable();
    }
    return kOk;
}

unsigned long CSharpness::GetMode(unsigned char* mode, unsigned short* gain, unsigned short* coring) {
    if (mode == nullptr || gain == nullptr || coring == nullptr) {
        return kInvalid;
    }
    *mode = mStage.mode;
    *gain = mStage.gain;
    *coring = mStage.coring;
    return kOk;
}

template <class T>
unsigned long CSharpness::Process(unsigned long width, unsigned long height, unsigned long pitch,
                                  unsigned long pixelFormat, T* image, unsigned short bits) const {
    if (mStage.mode == 0) {
        return kOk;
    }
    if (bits < kMinDepth || bits > SSharpnessStage::kMaxDepth) {
        return kInvalid;
    }
    // An image of no pixels needs no work buffer, however wide it is.
    const bool empty = width == 0 || height == 0;
    const Malloced<void> work(empty ? nullptr : allocateRows(width, kWorkBytesPerColumn));
    if (work == nullptr && !empty) {
        return kNoMemory;
    }
    const bool words = bits > kMinDepth;
    const unsigned samples = colorSamplesOf(pixelFormat, words);
    if (samples == 0 && !isGrayOf(pixelFormat, words)) {
        return kInvalid;
    }
    if (width < 3 || height < 3) {
        return kOk;
    }
    const unsigned long rowSamples = std::max(samples, 1U) * width;
    return runInPlace(mStage, mRows, {width, height, pixelFormat, 0, bits},
                      SRows<T>{pitchOr<T>(pitch, rowSamples), image}, work.get());
}

unsigned long CSharpness::ProcessW(unsigned long width, unsigned long height, unsigned long pitch,
                                   unsigned long pixelFormat, unsigned short* image, unsigned short bits) {
    return Process(width, height, pitch, pixelFormat, image, bits);
}

unsigned long CSharpness::ProcessB(unsigned long width, unsigned long height, unsigned long pitch,
                                   unsigned long pixelFormat, unsigned char* image, unsigned short bits) {
    return Process(width, height, pitch, pixelFormat, image, bits);
}

} // namespace vek
