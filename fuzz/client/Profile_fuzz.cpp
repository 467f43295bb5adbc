// SPDX-License-Identifier: Apache-2.0
// Any bytes as a camera profile, a DNG or a DCP file: what is taken for one is written and read as the same profile
// again, and its colours, where it has some, keep white white.
#include "client/Errors.h"
#include "client/profiles/Profile.h"
#include "client/profiles/ProfileImport.h"
#include "client/profiles/TuningFile.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace vek::client;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void checkColors(const SProfile& profile, const Neutral& neutral) {
    const Vector3 gains = balanceGains(neutral);
    require(std::min({gains[0], gains[1], gains[2]}) == 1);
    try {
        const Vector3 white = balancedToSrgb(profile.colors, neutral) * Vector3{1, 1, 1};
        for (const double color : white) {
            // Matrices that all but lose a colour are taken, and have large numbers that cancel.
            require(!std::isfinite(color) || std::abs(color - 1) < 1e-3);
        }
    } catch (const CFailure&) {
        return;
    }
}

void checkProfile(const SProfile& profile) {
    const std::string text = profileText(profile);
    const SProfileReading again = parsedProfile(text);
    require(again.complaints.empty());
    require(profileText(again.profile) == text);
    require(profile.BlackAt(1, 1) >= 0);
    for (const SNamedBalance& balance : profile.whiteBalances) {
        require(profile.FindNeutral(balance.name) != nullptr);
        checkColors(profile, balance.neutral);
    }
    if (profile.asShotNeutral) {
        checkColors(profile, *profile.asShotNeutral);
    }
    try {
        libcameraTuning(profile);
    } catch (const CFailure&) {
        return;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const SProfileReading reading = parsedProfile(text);
    if (reading.complaints.empty()) {
        checkProfile(reading.profile);
    }
    try {
        checkProfile(importedProfile({data, size}, "input").profile);
    } catch (const CFailure&) {
        return 0;
    }
    return 0;
}
