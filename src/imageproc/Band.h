// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Image.h"
#include "common/Status.h"

#include <algorithm>
#include <cstring>

namespace vek {

namespace rows {
struct SRowTable;
}

// A module of images is its settings, its checks, and a stage: a record of what the settings come to, which is copied
// by value, with two const functions. Traits(frame) tells how the stage makes rows of such a frame, and Rows(kernels,
// frame, band) makes a band of them. Any number of threads may run bands at once, each with a work area of its own. A
// module's own call checks, takes the work area and runs one band, the whole frame. A Reduction has no
// Rows: it measures rows of a frame, and what it measures of bands adds up.

/// What a stage knows of the frame that it is given. Members that a stage does not look at are 0.
struct SFrame {
    unsigned long width = 0;         ///< pixels
    unsigned long height = 0;        ///< rows
    unsigned long pixelFormat = 0;   ///< VEK_DESTINATION_... of grey and colour images
    unsigned short colorArray = 0;   ///< VEK_COLOR_ARRAY_... of raw ones
    unsigned short bitsPerPixel = 0; ///< significant bits of a sample

    bool HasPixels() const { return width != 0 && height != 0; }
};

/// What a row of a stage's result is made from. It depends on the settings and on the frame.
enum class EStage : unsigned char {
    None,        ///< the stage changes nothing
    Pointwise,   ///< the same row
    Window,      ///< rows around it, as they came
    Serial,      ///< all rows above it, as they have become; StartsAt tells where a band can do without them
    Permutation, ///< the row as far from the frame's other end
    FrameFirst,  ///< something that is measured in the whole frame before its first row
    WholeFrame,  ///< any row
    Reduction    ///< there are no rows: results of bands add up
};

struct STraits {
    EStage kind = EStage::None;
    unsigned rowsAbove = 0;        ///< of the source, that a row is made from; fewer where the frame ends. Serial: of
                                   ///< the destination
    unsigned rowsBelow = 0;        ///< of the source
    bool readsBehind = false;      ///< reads a sample behind a row, or a row behind the frame
    bool leavesOpen = false;       ///< leaves some blue, green, red or grey as the destination has it
    unsigned long workBytes = 0;   ///< of the work area, for a band of any height; its alignment is malloc's
    unsigned long resultBytes = 0; ///< of what FrameFirst measures, or of a Reduction's result

    bool operator==(const STraits&) const = default;
};

struct SRowRange {
    unsigned long first;
    unsigned long end; ///< first row behind the range
};

/// What a band of rows first .. end-1 needs of a source of so many rows; of a stage that has bands.
constexpr SRowRange sourceRows(const STraits& traits, unsigned long height, unsigned long first, unsigned long end) {
    switch (traits.kind) {
    case EStage::Permutation:
        return {height - end, height - first};
    case EStage::WholeFrame:
        return {0, height};
    case EStage::Serial: // those above are the destination's
        return {first, std::min(height, end + traits.rowsBelow)};
    default:
        return {first - std::min<unsigned long>(first, traits.rowsAbove), std::min(height, end + traits.rowsBelow)};
    }
}

/// Rows first .. end-1 of a frame that is measured.
struct SSourceBand {
    SRows<const unsigned char> src; ///< has these rows
    unsigned long first = 0;
    unsigned long end = 0;
};

/// Rows first .. end-1 of a stage's result; the frame tells how many pixels they have. Source and destination do not
/// overlap, or they are one image and the band is the whole frame.
template <class T>
struct SBand {
    SRows<const T> src; ///< has the band's rows and those around it that the traits tell
    SRows<T> dst;       ///< has the band's rows; Serial: and those above it that the traits tell
    unsigned long first = 0;
    unsigned long end = 0;
    void* work = nullptr;

    bool InPlace() const { return src.data == dst.data; }
};

/// The whole frame as a band in its own place.
template <class T>
SBand<T> wholeFrame(const SFrame& frame, const SRows<T>& image, void* work) {
    return {image, image, 0, frame.height, work};
}

/// A stage on an image in its own place. kInvalid, and nothing else, for a null image of some pixels.
template <class Stage, class T>
unsigned long runInPlace(const Stage& stage, const rows::SRowTable& kernels, const SFrame& frame, const SRows<T>& image,
                         void* work = nullptr) {
    if (!frame.HasPixels()) {
        return kOk;
    }
    if (image.data == nullptr) {
        return kInvalid;
    }
    stage.Rows(kernels, frame, wholeFrame(frame, image, work));
    return kOk;
}

/// Row y of the destination with what the source has there, for kernels that work in place. A fourth sample of a pixel
/// is not copied.
template <class T>
T* takeRow(const SFrame& frame, const SBand<T>& band, unsigned long y, unsigned samplesPerPixel) {
    T* const to = band.dst.Row(y);
    if (band.InPlace()) {
        return to;
    }
    const T* const from = band.src.Row(y);
    if (samplesPerPixel != 4) {
        std::memcpy(to, from, frame.width * samplesPerPixel * sizeof(T));
        return to;
    }
    for (unsigned long x = 0; x < frame.width; ++x) {
        std::memcpy(to + 4 * x, from + 4 * x, 3 * sizeof(T));
    }
    return to;
}

/// Rows of a stage that changes them one by one: body(row, y) works in place.
template <class T, class Body>
void forBandRows(const SFrame& frame, const SBand<T>& band, unsigned samplesPerPixel, Body body) {
    for (unsigned long y = band.first; y < band.end; ++y) {
        body(takeRow(frame, band, y, samplesPerPixel), y);
    }
}

} // namespace vek
