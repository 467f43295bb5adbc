// SPDX-License-Identifier: Apache-2.0
#include "client/frames/Measurement.h"

#include "client/Errors.h"
#include "formats/ColorArrays.h"

#include <VekTrgApi.h>

#include <fmt/format.h>

#include <algorithm>

namespace vek::client {

std::optional<SRegion> partInside(const SRegion& region, std::uint32_t width, std::uint32_t height) {
    if (region.x >= width || region.y >= height) {
        return std::nullopt;
    }
    return SRegion{region.x, region.y, std::min(region.width, width - region.x),
                   std::min(region.height, height - region.y)};
}

std::optional<unsigned> measuredFormat(const STransferFormat& format) {
    for (const STransferFormat& measured : kTransferFormats) {
        if (measured.measurable && measured.layout == format.layout && measured.depth == format.depth) {
            return measured.code;
        }
    }
    return std::nullopt;
}

std::array<float, 4> averagesOf(VekCam_Handle handle, std::span<const std::uint8_t> bytes,
                                const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                                unsigned short colorArray, const SRegion& region) {
    const unsigned code = measuredFormat(format).value_or(format.code);
    std::array<float, 4> averages{};
    const int status = VekCam_GetAveragePixelValue(handle, width, height, 0, colorArray, code, bytes.data(), region.x,
                                                   region.y, region.width, region.height, averages.data());
    if (status != VEK_OK) {
        throw CFailure(fmt::format("the library refused to measure {} x {} pixels of format {}: {}", width, height,
                                   format.name, status));
    }
    return averages;
}

SMeasurement measured(VekCam_Handle handle, const STransferredFrame& frame, const SRegion& region) {
    const auto averages = [&](unsigned short colorArray) {
        return averagesOf(handle, frame.bytes, *frame.format, frame.width, frame.height, colorArray, region);
    };
    return {region, averages(frame.colorArray), averages(VEK_COLOR_ARRAY_MONO)[0],
            frame.format->IsPacked() && region.x > 0};
}

std::array<std::string_view, 4> placeNames(unsigned colorArray) {
    constexpr std::array<std::string_view, kColorSlots> names = {"R", "Gr", "Gb", "B"};
    const PhaseSlots slots = phaseSlots(colorArray);
    return {names[slots[0]], names[slots[1]], names[slots[2]], names[slots[3]]};
}

} // namespace vek::client
