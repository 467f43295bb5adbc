// SPDX-License-Identifier: Apache-2.0
// Raw frames of Digital Negative files (DNG 1.6, Adobe, 2021) and what the files tell of them.
#pragma once

#include "client/frames/Measurement.h"
#include "client/recording/FrameRecord.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vek::client {

/// Three rows of three.
using DngMatrix = std::array<double, 9>;

/// Codes of EXIF's LightSource.
inline constexpr unsigned short kLightD65 = 21;
inline constexpr unsigned short kLightD50 = 23;

/// The colours of a camera under a light.
struct SDngColors {
    unsigned short light = kLightD65;            ///< of EXIF's LightSource
    DngMatrix colorMatrix{};                     ///< from CIE XYZ to the camera's linear red, green, blue
    std::optional<DngMatrix> forwardMatrix = {}; ///< from white-balanced camera colours to CIE XYZ of D50
};

/// Gains over a rectangle of a frame, which lie on a grid of points and are interpolated between them; opcode GainMap.
struct SGainMap {
    // The samples: those of every rowStep-th row and columnStep-th column of the rectangle.
    std::uint32_t top = 0;
    std::uint32_t left = 0;
    std::uint32_t bottom = 0; ///< behind the last row
    std::uint32_t right = 0;  ///< behind the last column
    std::uint32_t rowStep = 1;
    std::uint32_t columnStep = 1;
    // The points, as parts of the frame's height and width.
    std::uint32_t rows = 1;
    std::uint32_t columns = 1;
    double rowSpacing = 1;
    double columnSpacing = 1;
    double firstRow = 0;
    double firstColumn = 0;
    std::vector<float> gains; ///< rows of columns

    bool operator==(const SGainMap&) const = default;
};

/// What a DNG file tells of its frame.
struct SDngTags {
    std::string cameraModel = "VekCam"; ///< UniqueCameraModel
    std::vector<double> black = {0};    ///< of all samples, or of the phases 2 x (row mod 2) + column mod 2
    unsigned white = 0;                 ///< WhiteLevel, in linear samples; 0: the largest that the bits hold
    std::vector<std::uint16_t> linearization =
        {};                              ///< of each sample; those behind its end count as its last. Empty: none
    std::vector<SDngColors> colors = {}; ///< up to two lights
    std::optional<std::array<double, 3>> neutral = {}; ///< AsShotNeutral: grey in the camera's red, green, blue
    std::vector<double> noise = {};          ///< NoiseProfile: scale and offset, of all colours or of red, green, blue
    unsigned short orientation = 1;          ///< as TIFF has it, 1..8
    std::vector<SGainMap> gainMaps = {};     ///< of OpcodeList2: before the frame is demosaiced
    std::string description = {};            ///< ImageDescription; empty: none
    std::string dateTime = {};               ///< DateTimeOriginal, "YYYY:MM:DD HH:MM:SS"; empty: none
    std::optional<double> exposureTime = {}; ///< seconds
};

/// The frame of a DNG file.
struct SDngFrame {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned short colorArray = 0;   ///< enum VekColorArray: Bayer or mono
    unsigned short bits = 16;        ///< of a stored sample, 8 or 16
    std::vector<std::uint8_t> bytes; ///< rows without padding, words little-endian; before the linearization
    SDngTags tags;

    /// The largest linear sample.
    unsigned White() const;
};

/// The gain map of a phase (2 x (row mod 2) + column mod 2; nothing: all samples) of a frame: rows x columns points
/// from corner to corner, 2 or more each way or 1.
SGainMap gainMapOf(std::optional<unsigned> phase, std::uint32_t width, std::uint32_t height, std::uint32_t rows,
                   std::uint32_t columns, std::vector<float> gains);

/// A frame for a DNG file, with tags that tell nothing but the largest sample of its format: the colours are those of
/// a camera that has sRGB's primaries. frame: of a format of bytes or words.
SDngFrame dngFrameOf(const STransferredFrame& frame);

/// Takes what is known of a recorded frame: its time (UTC), its exposure, and the rest in words.
void takeMeta(SDngTags& tags, const SFrameMeta& meta);

/// Whether the colours of a frame are those of dngFrameOf, which tell nothing of its camera.
bool hasStandInColors(const SDngTags& tags);

/// The frame with linear samples, as one that was transferred in the smallest format which holds its white level.
STransferredFrame transferredFrameOf(const SDngFrame& frame);

/// The mean of its black levels, in linear samples.
double blackLevelOf(const SDngTags& tags);

} // namespace vek::client
