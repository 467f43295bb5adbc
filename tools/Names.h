// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/TransferFormats.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vek::tools {

/// A code of the library's header and the name that the command line and the printed texts use for it.
struct SName {
    unsigned code;
    std::string_view name;
};

std::span<const SName> colorArrays();      ///< enum VekColorArray, all eleven
std::span<const SName> bayerColorArrays(); ///< the ones a raw frame can have, mono included
std::span<const SName> demosaicMethods();  ///< enum VekDemosaicMethod
std::span<const SName> alcModes();         ///< enum VekALCMode without off
std::span<const SName> alcModesAndOff();

/// Finds a code by its number, decimal or hexadecimal behind 0x, or its name (letter case does not matter); nothing
/// when there is none.
std::optional<unsigned> findCode(std::span<const SName> names, std::string_view text);
const STransferFormat* findTransferFormat(std::string_view text);

/// Names for printing; "unknown" for a code without one.
std::string_view colorArrayName(unsigned code);
std::string_view transferFormatName(unsigned code);
std::string_view methodName(unsigned code);
std::string_view alcModeName(unsigned code);

/// Name of a pixel format in the GenICam Pixel Format Naming Convention; "none" for VEK_PFNC_NONE.
std::string_view pixelFormatName(int pixelFormat);

/// The names in the order of their codes, separated by ", ".
std::string nameList(std::span<const SName> names);
std::string transferFormatList();

} // namespace vek::tools
