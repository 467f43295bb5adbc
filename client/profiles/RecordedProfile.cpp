// SPDX-License-Identifier: Apache-2.0
#include "client/profiles/RecordedProfile.h"

#include "client/Errors.h"

#include <fmt/format.h>

#include <filesystem>
#include <utility>

namespace vek::client {

nlohmann::ordered_json recordedProfileJson(const SProfile& profile) {
    SProfile absolute = profile;
    for (std::string* const path : {&absolute.darkFrame, &absolute.shadingMap}) {
        if (!path->empty()) {
            *path = std::filesystem::absolute(*path).string();
        }
    }
    nlohmann::ordered_json json = profileJson(absolute);
    try {
        static_cast<void>(json.dump());
    } catch (const nlohmann::json::type_error&) {
        throw CFailure("a name or a path in the profile is no UTF-8");
    }
    return json;
}

std::optional<SProfile> recordedProfile(const SRecordingNotes& notes, const std::string& path) {
    if (!notes.profile.is_object()) {
        return std::nullopt;
    }
    SProfileReading reading = parsedProfile(notes.profile.dump());
    if (!reading.complaints.empty()) {
        throw CFailure(
            fmt::format("{}: no camera profile in {}: {}", path, kRecordingName, reading.complaints.front()));
    }
    return std::move(reading.profile);
}

} // namespace vek::client
