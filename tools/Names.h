// SPDX-License-Identifier: Apache-2.0
#pragma once

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

/// How the samples of a transfer format lie in memory.
enum class ELayout {
    Bytes,  ///< one sample a pixel
    Words,  ///< one sample a pixel
    Packed, ///< one sample a pixel, rows are bit streams that start at a byte
    Bgr,    ///< blue, green and red of each pixel
    YCrCb,  ///< luma, and chroma that some pixels share
};

/// A transfer format as the tool sees it.
struct STransferFormat {
    unsigned code; ///< enum VekTransferFormat
    std::string_view name;
    unsigned short depth; ///< significant bits of a sample
    ELayout layout;
    unsigned short bits; ///< bits of a pixel in a row
    bool mono;           ///< grey whatever the sensor's colour array is

    /// Raw or mono, to be demosaiced; otherwise the camera has made colours of it.
    constexpr bool isRaw() const { return layout != ELayout::Bgr && layout != ELayout::YCrCb; }
};

std::span<const STransferFormat> transferFormats();
std::span<const SName> colorArrays();      ///< enum VekColorArray, all eleven
std::span<const SName> bayerColorArrays(); ///< the ones a raw frame can have, mono included
std::span<const SName> demosaicMethods();  ///< enum VekDemosaicMethod
std::span<const SName> alcModes();         ///< enum VekALCMode without off

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
