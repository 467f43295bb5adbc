// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Image.h"
#include "LibraryHandle.h"

#include <array>
#include <optional>

namespace vek::tools {

struct SBalance {
    unsigned char mode;                  ///< enum VekWhiteBalanceMode
    std::array<unsigned short, 4> gains; ///< of R, Gr, Gb, B; 128 is 1
};

struct SChromaLimit {
    unsigned short start; ///< luma
    unsigned short slope; ///< 1/16384 of full suppression for each level beyond
};

struct SSharpness {
    unsigned short gain;  ///< per cent
    unsigned char coring; ///< differences up to this one are left alone, levels
};

/// The library's image stages that are asked for, in the order in which they run; settings in the library's units.
struct SStages {
    std::optional<SBalance> balance;
    std::optional<unsigned short> rawGamma; ///< hundredths, for all four colours
    std::optional<unsigned char> mirror;    ///< enum VekMirror
    std::optional<unsigned char> rotation;  ///< enum VekRotation
    // Here the raw frame becomes a picture.
    std::optional<std::array<short, 12>> matrix; ///< hundredths; rows R, G, B of three coefficients and an offset
    std::optional<short> hue;                    ///< tenths of a degree
    std::optional<unsigned short> saturation;    ///< per cent
    std::optional<SChromaLimit> suppressHigh;
    std::optional<SChromaLimit> suppressLow;
    std::optional<unsigned short> gamma;    ///< of the luma curve, hundredths
    std::optional<short> brightness;        ///< of the luma curve, levels
    std::optional<unsigned short> contrast; ///< of the luma curve, levels at either end
    std::optional<SSharpness> sharpness;

    bool onRaw() const { return balance || rawGamma || mirror || rotation; }
    bool onColour() const { return matrix || hue || saturation || suppressHigh || suppressLow; }
    bool onLuma() const { return gamma || brightness || contrast; }
    bool any() const { return onRaw() || onColour() || onLuma() || sharpness; }
};

/// Depth that the stages work at: the white balance and the luma curve of deeper frames give no usable picture, and
/// only bytes are mirrored.
inline constexpr unsigned short kStagesDepth = 8;

/// Throws CBadArguments when a stage cannot work on such a frame. colorArray: of a raw frame; greyPicture: what the
/// demosaicing makes of it.
void checkStages(const SStages& stages, const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                 unsigned short colorArray, bool greyPicture);

/// Takes a raw frame down to the stages' depth and through those that work on raw frames. A quarter turn exchanges its
/// width and height, and its colour array may become another. Throws CFailure when the library refuses.
SRawFrame afterRawStages(const CLibraryHandle& library, const SStages& stages, const SRawFrame& frame);

/// Takes a picture of the stages' depth through the others, in place. Throws CFailure when the library refuses.
void runPictureStages(const CLibraryHandle& library, const SStages& stages, SImage& image);

} // namespace vek::tools
