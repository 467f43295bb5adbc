// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/RawFrame.h"
#include "client/pictures/Image.h"
#include "client/stages/LibraryHandle.h"

#include <VekTrgChain.h>

#include <array>
#include <optional>
#include <string>

namespace vek::client {

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

/// Stages that a setting file switches on. They run with the settings that the handle has of it.
struct SFileStages {
    bool balance = false;
    bool rawGamma = false;
    bool color = false;
    bool luma = false;
    bool sharpness = false;
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
    SFileStages file; ///< the settings above come before its own

    /// Those that run, rotation and mirror apart: bits of enum VekChainStage.
    unsigned ChainStages() const {
        const auto bit = [](bool runs, unsigned stage) { return runs ? stage : 0; };
        return bit(balance || file.balance, VEK_CHAIN_WHITE_BALANCE) |
               bit(rawGamma || file.rawGamma, VEK_CHAIN_RAW_GAMMA) |
               bit(OnColor() || file.color, VEK_CHAIN_COLOR_MATRIX) | bit(OnLuma() || file.luma, VEK_CHAIN_LUMA_GAMMA) |
               bit(sharpness || file.sharpness, VEK_CHAIN_SHARPNESS);
    }

    bool OnRaw() const { return balance || rawGamma || mirror || rotation || file.balance || file.rawGamma; }
    bool OnColor() const { return matrix || hue || saturation || suppressHigh || suppressLow; }
    bool OnLuma() const { return gamma || brightness || contrast; }
    bool Any() const {
        return OnRaw() || OnColor() || OnLuma() || sharpness || file.color || file.luma || file.sharpness;
    }
};

/// Depth that the stages work at: the white balance and the luma curve of deeper frames give no usable picture, and
/// only bytes are mirrored.
inline constexpr unsigned short kStagesDepth = 8;

/// Has a handle read a setting file, and tells which stages it switches on; nothing when the library refuses a setting.
/// Throws CFailure when the file cannot be read.
std::optional<SFileStages> readFileStages(const CLibraryHandle& library, const std::string& path);

/// The stages of a file that do something to such a frame. grayPicture: what the demosaicing makes of it.
SFileStages stagesForFrame(const SFileStages& stages, unsigned short colorArray, bool grayPicture);

/// Throws CMisfit when a stage cannot work on such a frame. It names the settings "wb", "raw-gamma", "mirror",
/// "rotate", "matrix", "hue", "saturation", "suppress-high" and "suppress-low". colorArray: of a raw frame;
/// grayPicture: what the demosaicing makes of it.
void checkStages(const SStages& stages, const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                 unsigned short colorArray, bool grayPicture);

/// Gives the library the settings of the stages. Throws CFailure when it refuses.
void setStages(const CLibraryHandle& library, const SStages& stages);

/// Takes a raw frame down to the stages' depth and through those that work on raw frames, which were set. A quarter
/// turn exchanges its width and height, and its colour array may become another. Throws CFailure when the library
/// refuses.
SRawFrame afterRawStages(const CLibraryHandle& library, const SStages& stages, const SRawFrame& frame);

/// The size and colour array, without samples, of a frame of a size and colour array after the mirror and rotation.
SRawFrame turnedFrame(const CLibraryHandle& library, const SStages& stages, const SRawFrame& frame);

/// Takes a picture of the stages' depth through the others, which were set, in place. Throws CFailure when the library
/// refuses.
void runPictureStages(const CLibraryHandle& library, const SStages& stages, SImage& image);

} // namespace vek::client
