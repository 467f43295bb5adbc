// SPDX-License-Identifier: Apache-2.0
#include "client/frames/DngOutput.h"

#include "client/frames/DngTagNames.h"
#include "client/names/Names.h"
#include "client/pictures/TiffFile.h"
#include "formats/ColorArrays.h"

#include <algorithm>
#include <bit>
#include <filesystem>

namespace vek::client {

namespace {

// Red, green, blue: the planes of the frame's colours.
constexpr std::uint8_t kPlanes[] = {0, 1, 2};

std::uint8_t planeOf(EColorSlot slot) {
    return slot == kSlotR ? 0 : slot == kSlotB ? 2 : 1;
}

template <class T>
std::vector<float> floats(const T& values) {
    std::vector<float> narrow;
    narrow.reserve(values.size());
    for (const double value : values) {
        narrow.push_back(static_cast<float>(value));
    }
    return narrow;
}

template <class T>
void append(std::vector<std::uint8_t>& bytes, T value) {
    for (int shift = static_cast<int>(8 * sizeof value) - 8; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

std::vector<std::uint8_t> opcodeListOf(const std::vector<SGainMap>& maps) {
    constexpr std::uint32_t kVersion = 0x01030000; // the first of DNG that has the opcode
    constexpr std::uint32_t kNoFlags = 0;
    constexpr std::uint32_t kHeadBytes = 4 * 11 + 8 * 4;
    std::vector<std::uint8_t> list;
    append(list, static_cast<std::uint32_t>(maps.size()));
    for (const SGainMap& map : maps) {
        append(list, std::uint32_t{kOpcodeGainMap});
        append(list, kVersion);
        append(list, kNoFlags);
        append(list, static_cast<std::uint32_t>(kHeadBytes + 4 * map.gains.size()));
        for (const std::uint32_t value : {map.top, map.left, map.bottom, map.right, 0U /* first plane */,
                                          1U /* planes */, map.rowStep, map.columnStep, map.rows, map.columns}) {
            append(list, value);
        }
        for (const double value : {map.rowSpacing, map.columnSpacing, map.firstRow, map.firstColumn}) {
            append(list, std::bit_cast<std::uint64_t>(value));
        }
        append(list, std::uint32_t{1}); // planes of the map
        for (const float gain : map.gains) {
            append(list, std::bit_cast<std::uint32_t>(gain));
        }
    }
    return list;
}

/// A tag of values, which libtiff takes behind their number.
template <class T>
void setArray(CTiffWriter& tiff, std::uint32_t tag, const T& values) {
    tiff.Set(tag, static_cast<int>(std::size(values)), std::data(values));
}

void setColorArray(CTiffWriter& tiff, unsigned short colorArray) {
    if (!isBayer(colorArray)) {
        tiff.Set(TIFFTAG_PHOTOMETRIC, kPhotometricLinearRaw);
        return;
    }
    constexpr std::uint16_t kRepeat[] = {2, 2};
    constexpr int kRectangular = 1;
    std::array<std::uint8_t, 4> pattern{};
    std::ranges::transform(phaseSlots(colorArray), pattern.begin(), planeOf);
    tiff.Set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_CFA);
    tiff.Set(TIFFTAG_CFAREPEATPATTERNDIM, kRepeat);
    setArray(tiff, TIFFTAG_CFAPATTERN, pattern);
    setArray(tiff, TIFFTAG_CFAPLANECOLOR, kPlanes);
    tiff.Set(TIFFTAG_CFALAYOUT, kRectangular);
}

void setLevels(CTiffWriter& tiff, const SDngFrame& frame) {
    const SDngTags& tags = frame.tags;
    const auto side = static_cast<std::uint16_t>(tags.black.size() == 4 ? 2 : 1);
    const std::uint16_t repeat[] = {side, side};
    const std::uint32_t white[] = {frame.White()};
    tiff.Set(TIFFTAG_BLACKLEVELREPEATDIM, repeat);
    setArray(tiff, TIFFTAG_BLACKLEVEL, floats(tags.black));
    setArray(tiff, TIFFTAG_WHITELEVEL, white);
    if (!tags.linearization.empty()) {
        setArray(tiff, TIFFTAG_LINEARIZATIONTABLE, tags.linearization);
    }
}

void setColors(CTiffWriter& tiff, const SDngTags& tags) {
    constexpr std::uint32_t kLights[] = {TIFFTAG_CALIBRATIONILLUMINANT1, TIFFTAG_CALIBRATIONILLUMINANT2};
    constexpr std::uint32_t kMatrices[] = {TIFFTAG_COLORMATRIX1, TIFFTAG_COLORMATRIX2};
    constexpr std::uint32_t kForward[] = {kTagForwardMatrix1, kTagForwardMatrix2};
    for (std::size_t i = 0; i < std::min(tags.colors.size(), std::size(kLights)); ++i) {
        tiff.Set(kLights[i], static_cast<int>(tags.colors[i].light));
        setArray(tiff, kMatrices[i], floats(tags.colors[i].colorMatrix));
        if (tags.colors[i].forwardMatrix) {
            setArray(tiff, kForward[i], floats(*tags.colors[i].forwardMatrix));
        }
    }
    if (tags.neutral) {
        setArray(tiff, TIFFTAG_ASSHOTNEUTRAL, floats(*tags.neutral));
    }
}

} // namespace

bool isDngName(const std::string& path) {
    return isName(std::filesystem::path(path).extension().string(), ".dng");
}

void writeDng(COutputFile& file, const SDngFrame& frame) {
    constexpr std::uint8_t kVersion[] = {1, 4, 0, 0};
    constexpr std::uint8_t kReadersVersion[] = {1, 3, 0, 0};
    constexpr int kWholePicture = 0;
    const SDngTags& tags = frame.tags;
    knowDngTags();
    CTiffWriter tiff(file.Name());
    tiff.SetForm(frame.width, frame.height, 1, frame.bits);
    tiff.Set(TIFFTAG_SUBFILETYPE, kWholePicture);
    tiff.Set(TIFFTAG_ORIENTATION, static_cast<int>(tags.orientation));
    tiff.Set(TIFFTAG_DNGVERSION, kVersion);
    tiff.Set(TIFFTAG_DNGBACKWARDVERSION, kReadersVersion);
    tiff.Set(TIFFTAG_UNIQUECAMERAMODEL, tags.cameraModel.c_str());
    tiff.Set(TIFFTAG_MODEL, tags.cameraModel.c_str());
    setColorArray(tiff, frame.colorArray);
    setLevels(tiff, frame);
    setColors(tiff, tags);
    if (!tags.noise.empty()) {
        setArray(tiff, kTagNoiseProfile, tags.noise);
    }
    if (!tags.gainMaps.empty()) {
        setArray(tiff, kTagOpcodeList2, opcodeListOf(tags.gainMaps));
    }
    if (!tags.description.empty()) {
        tiff.Set(TIFFTAG_IMAGEDESCRIPTION, tags.description.c_str());
    }
    if (!tags.dateTime.empty()) {
        tiff.Set(TIFFTAG_DATETIME, tags.dateTime.c_str());
        tiff.Set(kTagDateTimeOriginal, tags.dateTime.c_str());
    }
    if (tags.exposureTime) {
        tiff.Set(kTagExposureTime, *tags.exposureTime);
    }
    const std::size_t rowBytes = std::size_t{frame.width} * (frame.bits / 8);
    tiff.WriteRows([&](std::uint32_t y, std::uint8_t* row) {
        std::copy_n(frame.bytes.begin() + static_cast<std::ptrdiff_t>(y * rowBytes), rowBytes, row);
    });
    file.Write(tiff.Finish());
}

} // namespace vek::client
