// SPDX-License-Identifier: Apache-2.0
// What a raw frame needs to become a right picture: levels, white balance, colours, tone. Choices say where each comes
// from; settled with a profile and a frame they are figures.
#pragma once

#include "client/frames/Measurement.h"
#include "client/profiles/Profile.h"
#include "client/stages/Corrections.h"
#include "client/stages/Stages.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace vek::client {

/// Levels of black.
struct SBlackChoice {
    enum class EKind {
        Unsaid,
        Levels,
        Dark,   ///< of the dark frame that the corrections name
        Masked, ///< means of a region that no light reaches
        Profile
    };
    EKind kind = EKind::Unsaid;
    std::array<double, 4> levels{}; ///< samples of the format, by phase 2 x (row mod 2) + (column mod 2)
    SRegion masked = {};
};

/// White balance.
struct SBalanceChoice {
    enum class EKind {
        Unsaid,
        Factors,
        Auto,   ///< the frame's mean becomes grey
        Grey,   ///< so does a region's
        Profile ///< a neutral of the profile's
    };
    EKind kind = EKind::Unsaid;
    std::array<double, 4> gains = {1, 1, 1, 1}; ///< by colour slot: R, Gr, Gb, B; above 0
    SRegion grey = {};
    std::string name; ///< of the profile's neutral; empty: that of the shot
};

/// Colour matrix.
struct SMatrixChoice {
    enum class EKind { Unsaid, None, Matrix, Profile };
    EKind kind = EKind::Unsaid;
    Matrix3 matrix{}; ///< samples behind white balance to linear sRGB
};

/// What becomes of pixels of which a colour is saturated.
enum class EHighlights {
    Clip, ///< all colours end where the first one does: they are white
    Blend ///< what the other colours tell is kept, faded to grey, and the range above is rolled off
};

/// What a picture is developed by, as it was asked for.
struct SDevelopmentChoices {
    SBlackChoice black;
    std::optional<double> white; ///< samples of the format
    SBalanceChoice balance;
    SMatrixChoice matrix;
    std::optional<SToneCurve> tone; ///< without it the profile's, or that of sRGB
    std::optional<double> stops;    ///< of exposure, powers of 2; without it 0
    bool autoStops = false;         ///< the bright end of the picture becomes white
    EHighlights highlights = EHighlights::Clip;
    std::optional<SSharpness> sharpness; ///< coring in levels of 12 bits
};
inline constexpr double kMostStops = 10;

/// The same in figures.
struct SDevelopment {
    const STransferFormat* format = nullptr;    ///< of the samples: the narrowest with room for white
    std::vector<std::uint16_t> linearization;   ///< value by sample, in front of all else; empty: none
    std::array<double, 4> black{};              ///< linear samples, by phase
    double white = 0;                           ///< linear sample, above the levels of black
    bool darkSubtracted = false;                ///< the corrections take the levels of black away
    std::array<double, 4> gains = {1, 1, 1, 1}; ///< by colour slot, the smallest being 1
    std::optional<Matrix3> matrix;              ///< samples behind white balance to linear sRGB, each row's sum being 1
    SToneCurve tone;
    double exposure = 1; ///< factor in front of the tone curve
    EHighlights highlights = EHighlights::Clip;
    std::optional<SSharpness> sharpness;
    std::vector<std::string> assumed; ///< what nobody said: "black 0", ...
};

/// A conversion's part of it: the corrections that a profile brings, its dark frame and its shading map, where none
/// were asked for.
void takeProfile(SCorrections& corrections, const SProfile& profile);

/// Settles the choices. frame: the first one, raw or mono, whose white balance and brightness count where the choices
/// ask for what a frame shows; profile: null where there is none; gray: of the picture. Throws CMisfit, which names the
/// settings "black", "white", "wb" and "matrix", where they do not fit together or the profile does not have what is
/// asked of it, CFailure where the dark frame cannot be read.
SDevelopment settled(const SDevelopmentChoices& choices, const SProfile* profile, const SCorrections& corrections,
                     const CLibraryHandle& library, const STransferredFrame& frame, bool gray);

} // namespace vek::client
