// SPDX-License-Identifier: Apache-2.0
// What people call the codes of the library's header. Names are lower case, so that they can be typed; a text is
// taken for one in any case of its letters (ASCII).
#pragma once

#include "formats/ColorArrays.h"
#include "formats/DemosaicMethods.h"
#include "formats/TransferFormats.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vek::client {

/// A code of the library's header and its name.
struct SName {
    unsigned code;
    std::string_view name;
};

// Tables, each in the order of its codes. They live as long as the program.
std::span<const SName> colorArrays();      ///< enum VekColorArray, all eleven
std::span<const SName> bayerColorArrays(); ///< the ones a raw frame can have, mono included
std::span<const SName> demosaicMethods();  ///< enum VekDemosaicMethod and the chain's own
std::span<const SName> noiseModes();       ///< enum VekNoiseReductionMode, the two that correct frames
std::span<const SName> alcModes();         ///< enum VekALCMode without off
std::span<const SName> alcModesAndOff();

/// Whether a text is a name, which is lower case already, with any case of its letters.
bool isName(std::string_view text, std::string_view name);

/// Finds a code by its number, decimal or hexadecimal behind 0x, or its name; nothing when there is none.
std::optional<unsigned> findCode(std::span<const SName> names, std::string_view text);
/// The same for transfer formats; null when there is none.
const STransferFormat* findTransferFormat(std::string_view text);
/// The same for these and the formats that the chain takes besides.
const STransferFormat* findChainFormat(std::string_view text);

/// Names for printing; "unknown" for a code without one.
std::string_view colorArrayName(unsigned code);
std::string_view transferFormatName(unsigned code);
std::string_view methodName(unsigned code);
std::string_view alcModeName(unsigned code);

/// Name of a pixel format in the GenICam Pixel Format Naming Convention; "none" for VEK_PFNC_NONE.
std::string_view pixelFormatName(int pixelFormat);

/// The names in the order of their codes, separated by ", ".
std::string nameList(std::span<const SName> names);
/// Their codes: "0 to 6", "0 to 6 or 16".
std::string numberList(std::span<const SName> names);
/// The same of the transfer formats that fit.
std::string transferFormatList(bool (*fits)(const STransferFormat&) = [](const STransferFormat&) { return true; });

/// The colour array of a frame of a format. given: of the sensor, enum VekColorArray, mono or Bayer; nothing: the
/// format may tell (mono for a grey one, 0 for blue-green-red, that of its pixels for YCrCb). Throws CMisfit, which
/// names the setting "colour-array", where the two do not go together and where a raw format's is not given.
unsigned short frameColorArray(const STransferFormat& format, std::optional<unsigned> given);

} // namespace vek::client
