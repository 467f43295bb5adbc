// SPDX-License-Identifier: Apache-2.0
#include "client/names/Names.h"

#include "client/Errors.h"

#include <VekTrgApi.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace vek::client {

namespace {

constexpr std::array kColorArrays = {
    SName{VEK_COLOR_ARRAY_MONO, "mono"},
    SName{VEK_COLOR_ARRAY_RGGB, "rggb"},
    SName{VEK_COLOR_ARRAY_GRBG, "grbg"},
    SName{VEK_COLOR_ARRAY_GBRG, "gbrg"},
    SName{VEK_COLOR_ARRAY_BGGR, "bggr"},
    SName{VEK_COLOR_ARRAY_YCRCB422, "ycrcb422"},
    SName{VEK_COLOR_ARRAY_YCRCB444, "ycrcb444"},
    SName{VEK_COLOR_ARRAY_YCRCB411, "ycrcb411"},
    SName{VEK_COLOR_ARRAY_YCRCB422_BT709, "ycrcb422-bt709"},
    SName{VEK_COLOR_ARRAY_YCRCB444_BT709, "ycrcb444-bt709"},
    SName{VEK_COLOR_ARRAY_YCRCB411_BT709, "ycrcb411-bt709"},
};

constexpr auto kMethods = [] {
    std::array<SName, kChainMethods.size()> names{};
    std::transform(kChainMethods.begin(), kChainMethods.end(), names.begin(), [](const SDemosaicMethod& method) {
        return SName{method.code, method.name};
    });
    return names;
}();

constexpr std::array kAlcModes = {
    SName{VEK_ALC_OFF, "off"},
    SName{VEK_ALC_EXPOSURE_AND_GAIN, "both"},
    SName{VEK_ALC_EXPOSURE, "exposure"},
    SName{VEK_ALC_GAIN, "gain"},
    SName{VEK_ALC_EXPOSURE_AND_GAIN_ONCE, "both-once"},
    SName{VEK_ALC_EXPOSURE_ONCE, "exposure-once"},
    SName{VEK_ALC_GAIN_ONCE, "gain-once"},
};

constexpr std::array kNoiseModes = {
    SName{VEK_NOISE_EASY, "easy"},
    SName{VEK_NOISE_COMPLEX, "complex"},
};

constexpr std::string_view kUnknown = "unknown";

/// The number that a text is; nothing for another text.
std::optional<unsigned> numberOf(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(hexadecimal ? 2 : 0);
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, hexadecimal ? 16 : 10);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// The element of a table whose number or name text is; null when there is none.
template <class Table>
auto findIn(const Table& table, std::string_view text) -> decltype(table.data()) {
    const std::optional<unsigned> number = numberOf(text);
    for (const auto& element : table) {
        if (number ? element.code == *number : isName(text, element.name)) {
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

void append(std::string& list, std::string_view name) {
    list += list.empty() ? "" : ", ";
    list += name;
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

std::span<const SName> noiseModes() {
    return kNoiseModes;
}

std::span<const SName> alcModesAndOff() {
    return kAlcModes;
}

std::span<const SName> alcModes() {
    return std::span(kAlcModes).subspan<1>();
}

bool isName(std::string_view text, std::string_view name) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::ranges::equal(text, name, {}, lower);
}

std::optional<unsigned> findCode(std::span<const SName> names, std::string_view text) {
    const SName* const found = findIn(names, text);
    return found != nullptr ? std::optional(found->code) : std::nullopt;
}

const STransferFormat* findTransferFormat(std::string_view text) {
    return findIn(kTransferFormats, text);
}

const STransferFormat* findChainFormat(std::string_view text) {
    const STransferFormat* const format = findTransferFormat(text);
    return format != nullptr ? format : findIn(kChainFormats, text);
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
    const auto found = std::ranges::find(kPixelFormatNames, pixelFormat, &SPixelFormatName::value);
    return found != kPixelFormatNames.end() ? found->name : kUnknown;
}

std::string nameList(std::span<const SName> names) {
    std::string list;
    for (const SName& name : names) {
        append(list, name.name);
    }
    return list;
}

std::string numberList(std::span<const SName> names) {
    std::string list;
    for (std::size_t first = 0; first < names.size();) {
        std::size_t last = first;
        while (last + 1 < names.size() && names[last + 1].code == names[last].code + 1) {
            ++last;
        }
        list += list.empty() ? "" : " or ";
        list += last == first ? fmt::format("{}", names[first].code)
                              : fmt::format("{} to {}", names[first].code, names[last].code);
        first = last + 1;
    }
    return list;
}

std::string transferFormatList(bool (*fits)(const STransferFormat&)) {
    std::string list;
    for (const STransferFormat& format : kTransferFormats) {
        if (fits(format)) {
            append(list, format.name);
        }
    }
    return list;
}

unsigned short frameColorArray(const STransferFormat& format, std::optional<unsigned> given) {
    if (!format.IsRaw()) {
        if (given) {
            throw CMisfit(fmt::format("<colour-array> does not go with format {}", format.name));
        }
        return VekTransferColorArray(format.code, 0);
    }
    if (!given && !format.IsMono()) {
        throw CMisfit(fmt::format("<colour-array> is required with format {}", format.name));
    }
    const unsigned colorArray = given.value_or(VEK_COLOR_ARRAY_MONO);
    if (format.IsMono() && colorArray != VEK_COLOR_ARRAY_MONO) {
        throw CMisfit(
            fmt::format("<colour-array> {} does not go with format {}", colorArrayName(colorArray), format.name));
    }
    return static_cast<unsigned short>(colorArray);
}

} // namespace vek::client
