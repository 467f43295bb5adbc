// SPDX-License-Identifier: Apache-2.0
#include "tools/simulation/Chart.h"

#include "client/names/Names.h"

#include <VekTrgApi.h>

#include <algorithm>
#include <cstddef>

namespace vek::tools {

using namespace client;

namespace {

/// Channel (red 0, green 1, blue 2) that a filter passes, by slot.
constexpr std::size_t kFilterChannels[kColorSlots] = {0, 1, 1, 2};

} // namespace

std::optional<Gains> neutralPatchGains(const SImage& image, const std::vector<sim::SPatch>& patches,
                                       const SDisplayLevels& levels) {
    Gains sums = {0, 0, 0};
    for (const sim::SPatch& patch : patches) {
        const auto [low, high] = std::minmax_element(patch.color.begin(), patch.color.end());
        // Greys that are neither lost in noise nor near the end of the range; margins keep the edges out.
        if (*low != *high || *low < 0.1F || *high > 0.6F || patch.width < 8 || patch.height < 8) {
            continue;
        }
        for (std::size_t y = patch.y + 2; y < patch.y + patch.height - 2; ++y) {
            for (std::size_t x = patch.x + 2; x < patch.x + patch.width - 2; ++x) {
                for (std::size_t c = 0; c < 3; ++c) {
                    sums[c] += image.samples[y * image.RowSamples() + 3 * x + c] - levels.black;
                }
            }
        }
    }
    if (*std::min_element(sums.begin(), sums.end()) <= 0) {
        return std::nullopt;
    }
    const double strongest = *std::max_element(sums.begin(), sums.end());
    return Gains{strongest / sums[0], strongest / sums[1], strongest / sums[2]};
}

SImage trueColors(const sim::CSimulatedDriver& driver, SSimulatedSetup setup) {
    // The four Bayer phases hold each pixel under each of the filters.
    setup.noNoise = true;
    setup.hot = 0;
    const sim::SCameraModel& model = driver.Model();
    sim::CSimulatedDriver perfect(model, sensorOf(model, setup));
    perfect.SetExposure(driver.ExposureValue());
    perfect.SetGain(driver.GainValue());
    SImage truth{perfect.Width(), perfect.Height(), 1, static_cast<unsigned short>(model.depth), {}};
    if (perfect.ColorArray() == VEK_COLOR_ARRAY_MONO) {
        truth.samples = perfect.CaptureRaw().samples;
    } else {
        truth.channels = 3;
        truth.samples.resize(truth.RowSamples() * truth.height);
        for (int colorArray = VEK_COLOR_ARRAY_RGGB; isBayer(static_cast<unsigned>(colorArray)); ++colorArray) {
            perfect.SetColorArray(colorArray);
            const PhaseSlots slots = phaseSlots(static_cast<unsigned>(colorArray));
            const std::vector<std::uint16_t> mosaic = perfect.CaptureRaw().samples;
            for (std::size_t i = 0; i < mosaic.size(); ++i) {
                const std::size_t place = i % truth.width % 2 + i / truth.width % 2 * 2;
                truth.samples[3 * i + kFilterChannels[slots[place]]] = mosaic[i];
            }
        }
    }
    return truth;
}

} // namespace vek::tools
