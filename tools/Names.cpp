// SPDX-License-Identifier: Apache-2.0
#include "Names.h"

#include "sim/SimulatedSensor.h"
#include "sim/ValueText.h"

#include <VekTrgApi.h>

#include <array>

namespace vek::tools {

namespace {

constexpr SName sensorArray(unsigned code) {
    return {code, sim::kColorArrayNames[code - VEK_COLOR_ARRAY_MONO]};
}

constexpr std::array kColorArrays = {
    sensorArray(VEK_COLOR_ARRAY_MONO),
    sensorArray(VEK_COLOR_ARRAY_RGGB),
    sensorArray(VEK_COLOR_ARRAY_GRBG),
    sensorArray(VEK_COLOR_ARRAY_GBRG),
    sensorArray(VEK_COLOR_ARRAY_BGGR),
    SName{VEK_COLOR_ARRAY_YCRCB422, "ycrcb422"},
    SName{VEK_COLOR_ARRAY_YCRCB444, "ycrcb444"},
    SName{VEK_COLOR_ARRAY_YCRCB411, "ycrcb411"},
    SName{VEK_COLOR_ARRAY_YCRCB422_BT709, "ycrcb422-bt709"},
    SName{VEK_COLOR_ARRAY_YCRCB444_BT709, "ycrcb444-bt709"},
    SName{VEK_COLOR_ARRAY_YCRCB411_BT709, "ycrcb411-bt709"},
};

constexpr std::array kMethods = {
    SName{VEK_DEMOSAIC_MONO, "mono"},
    SName{VEK_DEMOSAIC_NONE, "none"},
    SName{VEK_DEMOSAIC_NEAREST_NEIGHBOR, "nearest"},
    SName{VEK_DEMOSAIC_BILINEAR_SIMPLE, "bilinear"},
    SName{VEK_DEMOSAIC_BICUBIC, "bicubic"},
    SName{VEK_DEMOSAIC_BILINEAR_FALSE_COLOR_REDUCTION, "bilinear-fcr"},
    SName{VEK_DEMOSAIC_NEAREST_NEIGHBOR2, "nearest2"},
};

constexpr std::array kAlcModes = {
    SName{VEK_ALC_OFF, "off"},
    SName{VEK_ALC_EXPOSURE_AND_GAIN, "both"},
    SName{VEK_ALC_EXPOSURE, "exposure"},
    SName{VEK_ALC_GAIN, "gain"},
    SName{VEK_ALC_EXPOSURE_AND_GAIN_ONCE, "both-once"},
    SName{VEK_ALC_EXPOSURE_ONCE, "exposure-once"},
    SName{VEK_ALC_GAIN_ONCE, "gain-once"},
};

struct SPixelFormatName {
    int value;
    std::string_view name;
};
constexpr std::array kPixelFormats = {
    SPixelFormatName{VEK_PFNC_NONE, "none"},
    SPixelFormatName{VEK_PFNC_MONO8, "Mono8"},
    SPixelFormatName{VEK_PFNC_BAYER_GR8, "BayerGR8"},
    SPixelFormatName{VEK_PFNC_BAYER_RG8, "BayerRG8"},
    SPixelFormatName{VEK_PFNC_BAYER_GB8, "BayerGB8"},
    SPixelFormatName{VEK_PFNC_BAYER_BG8, "BayerBG8"},
    SPixelFormatName{VEK_PFNC_MONO10, "Mono10"},
    SPixelFormatName{VEK_PFNC_BAYER_GR10, "BayerGR10"},
    SPixelFormatName{VEK_PFNC_BAYER_RG10, "BayerRG10"},
    SPixelFormatName{VEK_PFNC_BAYER_GB10, "BayerGB10"},
    SPixelFormatName{VEK_PFNC_BAYER_BG10, "BayerBG10"},
    SPixelFormatName{VEK_PFNC_MONO12, "Mono12"},
    SPixelFormatName{VEK_PFNC_BAYER_GR12, "BayerGR12"},
    SPixelFormatName{VEK_PFNC_BAYER_RG12, "BayerRG12"},
    SPixelFormatName{VEK_PFNC_BAYER_GB12, "BayerGB12"},
    SPixelFormatName{VEK_PFNC_BAYER_BG12, "BayerBG12"},
    SPixelFormatName{VEK_PFNC_MONO14, "Mono14"},
    SPixelFormatName{VEK_PFNC_MONO16, "Mono16"},
    SPixelFormatName{VEK_PFNC_BAYER_GR16, "BayerGR16"},
    SPixelFormatName{VEK_PFNC_BAYER_RG16, "BayerRG16"},
    SPixelFormatName{VEK_PFNC_BAYER_GB16, "BayerGB16"},
    SPixelFormatName{VEK_PFNC_BAYER_BG16, "BayerBG16"},
    SPixelFormatName{VEK_PFNC_BGR8, "BGR8"},
    SPixelFormatName{VEK_PFNC_BGR10, "BGR10"},
    SPixelFormatName{VEK_PFNC_YCBCR411_8, "YCbCr411_8"},
    SPixelFormatName{VEK_PFNC_YCBCR422_8, "YCbCr422_8"},
    SPixelFormatName{VEK_PFNC_YCBCR8, "YCbCr8"},
};

constexpr std::string_view kUnknown = "unknown";

/// The element of a table whose number or name text is; null when there is none.
template <class Table>
auto findIn(const Table& table, std::string_view text) -> decltype(table.data()) {
    const std::optional<unsigned> number = sim::ReadCode(text);
    for (const auto& element : table) {
        if (number ? element.code == *number : sim::IsName(text, element.name)) {
            return &element;
        }
    }
    return nullptr;
}

template <class Table>
std::string_view nameIn(const Table& table, unsigned code) {
    for (const auto& element : table) {
        if (element.code == code) {
            return element.name;
        }
    }
    return kUnknown;
}

template <class Table>
std::string listOf(const Table& table) {
    std::string list;
    for (const auto& element : table) {
        list += list.empty() ? "" : ", ";
        list += element.name;
    }
    return list;
}

} // namespace

std::span<const SName> colorArrays() {
    return kColorArrays;
}

std::span<const SName> bayerColorArrays() {
    return std::span(kColorArrays).first<5>();
}

std::span<const SName> demosaicMethods() {
    return kMethods;
}

std::span<const SName> alcModesAndOff() {
    return kAlcModes;
}

std::span<const SName> alcModes() {
    return std::span(kAlcModes).subspan<1>();
}

std::optional<unsigned> findCode(std::span<const SName> names, std::string_view text) {
    const SName* const found = findIn(names, text);
    return found != nullptr ? std::optional(found->code) : std::nullopt;
}

const STransferFormat* findTransferFormat(std::string_view text) {
    return findIn(kTransferFormats, text);
}

std::string_view colorArrayName(unsigned code) {
    return nameIn(kColorArrays, code);
}

std::string_view transferFormatName(unsigned code) {
    return nameIn(kTransferFormats, code);
}

std::string_view methodName(unsigned code) {
    return nameIn(kMethods, code);
}

std::string_view alcModeName(unsigned code) {
    return nameIn(kAlcModes, code);
}

std::string_view pixelFormatName(int pixelFormat) {
    for (const SPixelFormatName& format : kPixelFormats) {
        if (format.value == pixelFormat) {
            return format.name;
        }
    }
    return kUnknown;
}

std::string nameList(std::span<const SName> names) {
    return listOf(names);
}

std::string transferFormatList() {
    return listOf(kTransferFormats);
}

} // namespace vek::tools
