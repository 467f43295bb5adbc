// SPDX-License-Identifier: Apache-2.0
#include "Measurement.h"

#include "Errors.h"

#include "sim/ValueText.h"

#include <VekTrgApi.h>

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace vek::tools {

std::optional<SRegion> parsedRegion(std::string_view text) {
    const std::vector<std::string_view> parts = sim::SplitText(text, ',');
    std::array<std::uint32_t, 4> values{};
    if (parts.size() != values.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        constexpr std::uint32_t kLargest = std::numeric_limits<std::uint32_t>::max();
        const std::optional<std::uint32_t> value = sim::ReadWhole<std::uint32_t>(parts[i], i < 2 ? 0 : 1, kLargest);
        if (!value) {
            return std::nullopt;
        }
        values[i] = *value;
    }
    return SRegion{values[0], values[1], values[2], values[3]};
}

SRegion regionInside(const std::string& text, std::uint32_t width, std::uint32_t height) {
    const SRegion region = parsedRegion(text).value_or(SRegion{0, 0, width, height});
    if (region.x >= width || region.y >= height) {
        throw CBadArguments(fmt::format("--region {} lies outside the image of {} x {} pixels", text, width, height));
    }
    return {region.x, region.y, std::min(region.width, width - region.x), std::min(region.height, height - region.y)};
}

std::optional<unsigned> measuredFormat(const STransferFormat& format) {
    for (const STransferFormat& measured : kTransferFormats) {
        if (measured.measurable && measured.layout == format.layout && measured.depth == format.depth) {
            return measured.code;
        }
    }
    return std::nullopt;
}

std::array<float, 4> averagesOf(const CLibraryHandle& handle, std::span<const std::uint8_t> bytes,
                                const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                                unsigned short colorArray, const SRegion& region) {
    const unsigned code = measuredFormat(format).value_or(format.code);
    // The library reads words where the format has words; a vector's bytes are aligned for them.
    std::array<float, 4> averages{};
    const int status = VekCam_GetAveragePixelValue(handle.Get(), width, height, 0, colorArray, code, bytes.data(),
                                                   region.x, region.y, region.width, region.height, averages.data());
    if (status != VEK_OK) {
        throw CFailure(fmt::format("the library refused to measure {} x {} pixels of format {}: {}", width, height,
                                   format.name, status));
    }
    return averages;
}

} // namespace vek::tools
