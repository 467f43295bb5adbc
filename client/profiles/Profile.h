// SPDX-License-Identifier: Apache-2.0
// A camera profile: what a camera's frames need to become right pictures, as one JSON file (docs/profile.md). Members
// that Digital Negative (DNG) 1.6 (Adobe, 2021) has a tag for have its name, directions and units.
#pragma once

#include "client/profiles/CameraColors.h"

#include "formats/TransferFormats.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vek::client {

/// Levels of black, in samples (of LinearizationTable's values where there is one), for a pattern that begins in the
/// frame's first pixel and is repeated.
struct SBlackLevels {
    std::uint32_t rows = 1;
    std::uint32_t columns = 1;
    std::vector<double> levels; ///< rows * columns of them, row by row

    double At(std::size_t row, std::size_t column) const { return levels[row % rows * columns + column % columns]; }
    /// Means by phase, 2 x (row mod 2) + (column mod 2), of the places that a longer pattern has for each.
    std::array<double, 4> ByPhase() const;
    bool operator==(const SBlackLevels&) const = default;
};

/// A neutral and the light that it belongs to.
struct SNamedBalance {
    std::string name; ///< "D65"
    Neutral neutral;
};

/// What linear light, 0 to 1, becomes in a picture.
struct SToneCurve {
    enum class EKind {
        Srgb,   ///< IEC 61966-2-1
        Bt709,  ///< ITU-R BT.709
        Linear, ///< as it is
        Gamma,  ///< to the power of 1 / gamma
        Table   ///< values at even distances from 0 to 1, straight lines between them
    };
    EKind kind = EKind::Srgb;
    double gamma = 1;          ///< kLowestGamma .. kHighestGamma
    std::vector<double> table; ///< 0 .. 1 each
};
/// One of those that have a name ("srgb", "bt709", "linear"), in any case of its letters; nothing for another text.
std::optional<SToneCurve> toneCurveNamed(std::string_view text);
inline constexpr double kLowestGamma = 0.01;
inline constexpr double kHighestGamma = 655.35;

/// Noise of a sample x, 0 at black and 1 at white: its standard deviation is the root of scale * x + offset.
struct SNoise {
    double scale = 0;
    double offset = 0;
};

// Ranges of the members.
inline constexpr double kSmallestNeutral = 0.0001;
inline constexpr double kLargestNeutral = 10000;
inline constexpr unsigned kMostDelay = 1000;

/// Frames between the one during which a control was set and the first one that shows it.
struct SControlDelay {
    std::string control; ///< "exposure", "gain"
    unsigned frames = 0;
};

/// Puts an element in a list, in the place of the one that has the same name.
template <class T>
void replaceNamed(std::vector<T>& list, std::string T::*name, const T& element) {
    const auto found = std::find_if(list.begin(), list.end(), [&](const T& old) { return old.*name == element.*name; });
    if (found != list.end()) {
        *found = element;
    } else {
        list.push_back(element);
    }
}

/// A profile. What it does not say is nothing, null or empty.
struct SProfile {
    std::optional<std::string> cameraModel;
    std::optional<std::uint32_t> width;       ///< pixels
    std::optional<std::uint32_t> height;      ///< rows
    const STransferFormat* format = nullptr;  ///< a transfer format or one that the chain takes besides
    std::optional<unsigned short> colorArray; ///< enum VekColorArray, mono or Bayer
    std::optional<unsigned> bits;             ///< significant bits of a sample, where the format has more
    std::optional<SBlackLevels> blackLevel;   ///< 0 by default
    std::optional<unsigned> whiteLevel;       ///< of the black levels' unit
    std::vector<std::uint16_t> linearization; ///< value by sample; larger samples have the last one
    CameraColors colors;                      ///< the second one is there with the first alone
    std::optional<Neutral> asShotNeutral;
    std::vector<SNoise> noise; ///< one for all colours, or red's, green's and blue's
    std::vector<SNamedBalance> whiteBalances;
    std::optional<SToneCurve> tone;
    std::string darkFrame;  ///< path; in the file it is seen from the profile's folder
    std::string shadingMap; ///< the same
    std::vector<SControlDelay> controlDelays;
    nlohmann::ordered_json others = nlohmann::ordered_json::object(); ///< members that nobody here knows, kept

    /// Significant bits of a sample; nothing without bits and format.
    std::optional<unsigned> Depth() const;
    double BlackAt(std::size_t row, std::size_t column) const;
    /// Of the depth, or of the linearization, where the profile does not say; nothing where these are not known either.
    std::optional<unsigned> WhiteLevel() const;
    /// The neutral of a light that is named letter for letter; that of the shot for an empty name. Null where there
    /// is none.
    const Neutral* FindNeutral(std::string_view name) const;
    bool HasColors() const { return colors[0].color || colors[0].forward; }
};

/// The names of the members, in the order in which they are written.
std::span<const std::string_view> profileMembers();

/// A profile and what is to be said about its text.
struct SProfileReading {
    SProfile profile;
    std::vector<std::string> complaints; ///< what is wrong, each with its member's name: "width" is no ...
    std::vector<std::string> remarks;    ///< what is odd and no failure, unknown members among it
};

/// Makes a profile of a text. folder: the profile's, for the paths in it; empty: the one at hand. Any text gives a
/// reading; what is wrong is left out of its profile.
SProfileReading parsedProfile(std::string_view text, const std::string& folder = {});

/// Reads a file; "-" is standard input. Throws CFailure where it cannot be read.
SProfileReading readProfileText(const std::string& path);
/// The same, of a profile that is right. Throws CFailure, which tells file, member and what is wrong.
SProfile readProfile(const std::string& path);

/// The same where a file has the name; nothing where none has, and for "-".
std::optional<SProfile> readProfileIfThere(const std::string& path);

/// What does not fit together in a profile, in the words of complaints.
std::vector<std::string> misfits(const SProfile& profile);

/// The text of a profile, members in order and unknown ones behind them. folder: of the file that it goes to. Throws
/// CFailure for names and paths that are no UTF-8.
std::string profileText(const SProfile& profile, const std::string& folder = {});
/// The same as a value. Paths stay as they are.
nlohmann::ordered_json profileJson(const SProfile& profile);

/// The folder of a path, as the functions above take it; empty for "-", too.
std::string folderOf(const std::string& path);

/// Where the profile of a raw file lies that needs no naming: FILE.json beside FILE (frame.raw.json). Nothing where no
/// such file is there, and for "-".
std::optional<std::string> sidecarOf(const std::string& rawPath);

} // namespace vek::client
