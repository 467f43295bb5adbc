// SPDX-License-Identifier: Apache-2.0
// Photon transfer: a camera's gain and noise from pairs of frames, after EMVA Standard 1288, Release 4.0 Linear (2021).
// docs/noise.md has the definitions.
#pragma once

#include "client/drawing/Canvas.h"
#include "client/frames/Measurement.h"
#include "client/profiles/Profile.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vek::client {

/// What two frames of the same light tell of one colour, in samples (DN).
struct SPairLevels {
    double exposure = 0; ///< time, light or their product, of any unit; 0: not known
    double mean = 0;
    double variance = 0; ///< temporal, of one frame
    double spatial = 0;  ///< variance of the pattern that both frames have
};

/// A pair by colour, in the order of placeNames' places; mono: one.
using PairByColor = std::vector<SPairLevels>;

/// Measures a pair of frames of a form, which can be calibrated, in a region inside. exposure: as above.
PairByColor measuredPair(const STransferredFrame& a, const STransferredFrame& b, const SRegion& region,
                         double exposure);

/// Least temporal noise that a read noise is worked out of, DN: below it, rounding decides.
inline constexpr double kLeastReadNoiseDn = 0.5;

/// Part of the saturation's signal up to which the gain is worked out, and ends of the linearity's range.
inline constexpr double kGainRange = 0.7;
inline constexpr double kLinearityFrom = 0.05;
inline constexpr double kLinearityTo = 0.95;

struct SLinearity {
    double offset = 0;              ///< DN, and
    double slope = 0;               ///< DN per unit of exposure, of the line that fits best
    double error = 0;               ///< mean of the relative deviations' absolute values
    std::vector<SPoint> deviations; ///< exposure and relative deviation of the pairs in range
};

/// The figures of one colour.
struct SPhotonTransfer {
    std::string_view name;           ///< R, Gr, Gb, B; empty in mono frames
    std::vector<SPairLevels> points; ///< rising means
    SPairLevels dark;
    double gain = 0;                            ///< K, DN per electron
    std::optional<double> readNoise = {};       ///< electrons; nothing where rounding decides
    std::optional<std::size_t> saturation = {}; ///< the point of the largest variance; nothing: not reached
    std::optional<double> prnu = {};            ///< photo response non-uniformity, 1 being the signal; needs saturation
    double dsnu = 0;                            ///< dark signal non-uniformity, electrons
    std::optional<SLinearity> linearity = {};   ///< needs saturation and exposures

    double ReadNoiseDn() const; ///< temporal noise of the dark frames, rounding taken off; 0 where it is below that
    double Signal(const SPairLevels& point) const { return point.mean - dark.mean; }
    std::optional<double> SaturationElectrons() const;
};

/// Works out the figures. pairs: lit ones in any order; dark: one and more, whose mean is taken. colorArray: of the
/// frames. Throws CFailure where there are too few pairs, or none brighter than the dark ones.
std::vector<SPhotonTransfer> photonTransfer(std::span<const PairByColor> pairs, std::span<const PairByColor> dark,
                                            unsigned short colorArray);

/// The noise as a profile has it: of samples from 0 at black to 1 at white, for red, green and blue, or of mono frames
/// once. white: DN.
std::vector<SNoise> profileNoise(std::span<const SPhotonTransfer> colors, double white);

} // namespace vek::client
