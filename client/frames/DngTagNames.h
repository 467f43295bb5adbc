// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek::client {

// Tags that libtiff does not know by itself.
enum DngTag : unsigned {
    kTagExposureTime = 33434, // of EXIF, and of TIFF/EP in the frame's own directory
    kTagDateTimeOriginal = 36867,
    kTagForwardMatrix1 = 50964,
    kTagForwardMatrix2 = 50965,
    kTagOpcodeList2 = 51009,
    kTagNoiseProfile = 51041,
};

/// Photometric interpretation of samples that need no demosaicing.
inline constexpr unsigned kPhotometricLinearRaw = 34892;

/// Has libtiff know them, from now on.
void knowDngTags();

// The opcode list: big-endian, whatever the file is.
inline constexpr unsigned kOpcodeGainMap = 9;

} // namespace vek::client
