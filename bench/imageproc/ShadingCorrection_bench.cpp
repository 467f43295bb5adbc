// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ShadingCorrection.h"

#include "Operations.h"
#include "imageproc/Stages.h"

#include <memory>
#include <vector>

namespace vek::bench {
namespace {

/// The mean is read and written, too.
template <class T>
SOperation calibration() {
    return {"shading calibration", kBits<T>, sizeof(T) + 2.0 * sizeof(double),
            [](const rows::SRowTable& table, SInput input) {
                const auto module = std::make_shared<CShadingCorrection>(table);
                module->SetMode(VEK_SHADING_CALIBRATE_GAIN);
                const auto picture = std::make_shared<std::vector<T>>(makeImage(CPicture<T>(input, 1)));
                return SJob{[=] { process(*module, input.size, picture->data()); }, {}};
            },
            true};
}

/// Reads frame and map, entries of Entry, and writes the frame.
template <class T, class Entry>
SOperation correction(const char* name, unsigned long calibrating, unsigned long correcting, bool extra = false) {
    return {name, kBits<T>, 2.0 * sizeof(T) + sizeof(Entry),
            [=](const rows::SRowTable& table, SInput input) {
                const auto module = std::make_shared<CShadingCorrection>(table);
                calibrate<T>(*module, input.size, calibrating, correcting);
                return inPlaceJob(CPicture<T>(input, 1), [=](T* image) { process(*module, input.size, image); });
            },
            extra};
}

template <class T>
Operations ofSamples() {
    return {correction<T, std::uint16_t>("shading gain", VEK_SHADING_CALIBRATE_GAIN, VEK_SHADING_GAIN),
            correction<T, int>("shading offset", VEK_SHADING_CALIBRATE_OFFSET, VEK_SHADING_OFFSET, true),
            calibration<T>()};
}

} // namespace

Operations shadingOperations() {
    return joined(ofSamples<std::uint8_t>(), ofSamples<std::uint16_t>());
}

} // namespace vek::bench
