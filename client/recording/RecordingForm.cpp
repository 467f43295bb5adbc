// SPDX-License-Identifier: Apache-2.0
#include "client/recording/RecordingForm.h"

#include "client/Errors.h"
#include "client/files/JsonText.h"
#include "client/names/Names.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace vek::client {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::uint64_t kRecordingVersion = 1;
constexpr std::uint64_t kMostSide = 65535; // a side
constexpr std::uint64_t kLongestPitch = std::uint64_t{1} << 30;
constexpr std::uint64_t kMostFrames = std::uint64_t{1} << 40;

/// "RG12"; a number where it has other characters than letters, digits and blanks. Nothing without one.
Json fourCcJson(std::uint32_t fourCc) {
    if (fourCc == 0) {
        return nullptr;
    }
    std::string text;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        text += static_cast<char>(fourCc >> shift);
    }
    const bool plain = std::all_of(text.begin(), text.end(), [](char c) { return c > 0x1F && c < 0x7F; });
    return plain ? Json(text) : Json(fourCc);
}

std::uint32_t fourCcOfText(const std::string& text) {
    std::uint32_t fourCc = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        fourCc |= std::uint32_t{static_cast<unsigned char>(text[i])} << (8 * i);
    }
    return fourCc;
}

/// Members of an object; throw CFailure for those of another kind.
class CMembers {
public:
    explicit CMembers(const Json& json) : mJson(json) {}

    const Json* Find(const char* name) const {
        const auto found = mJson.find(name);
        return found != mJson.end() && !found->is_null() ? &*found : nullptr;
    }
    std::uint64_t Whole(const char* name, std::uint64_t low, std::uint64_t high) const {
        const Json* const value = Find(name);
        if (value == nullptr || !value->is_number_unsigned() || value->get<std::uint64_t>() < low ||
            value->get<std::uint64_t>() > high) {
            throw CFailure(fmt::format("\"{}\" is no whole number of {} to {}", name, low, high));
        }
        return value->get<std::uint64_t>();
    }
    /// Empty where there is none.
    std::string Text(const char* name) const {
        const Json* const value = Find(name);
        if (value != nullptr && !value->is_string()) {
            throw CFailure(fmt::format("\"{}\" is no text", name));
        }
        return value != nullptr ? value->get<std::string>() : std::string();
    }
    bool Truth(const char* name) const {
        const Json* const value = Find(name);
        if (value == nullptr || !value->is_boolean()) {
            throw CFailure(fmt::format("\"{}\" is neither true nor false", name));
        }
        return value->get<bool>();
    }
    /// Null where there is none.
    Json Object(const char* name) const {
        const Json* const value = Find(name);
        if (value != nullptr && !value->is_object()) {
            throw CFailure(fmt::format("\"{}\" is no object", name));
        }
        return value != nullptr ? *value : Json();
    }

private:
    const Json& mJson;
};

std::uint32_t readFourCc(const CMembers& members) {
    const Json* const value = members.Find("fourcc");
    if (value != nullptr && value->is_string() && value->get<std::string>().size() == 4) {
        return fourCcOfText(value->get<std::string>());
    }
    return value == nullptr ? 0 : static_cast<std::uint32_t>(members.Whole("fourcc", 1, 0xFFFFFFFF));
}

SRecordingForm readForm(const CMembers& members) {
    SRecordingForm form;
    form.width = static_cast<std::uint32_t>(members.Whole("width", 1, kMostSide));
    form.height = static_cast<std::uint32_t>(members.Whole("height", 1, kMostSide));
    const std::string format = members.Text("format");
    form.format = findChainFormat(format);
    if (form.format == nullptr) {
        throw CFailure(fmt::format("\"format\" {} is unknown", format));
    }
    const std::string array = members.Text("colorArray");
    const std::optional<unsigned> given = array.empty() ? std::nullopt : findCode(bayerColorArrays(), array);
    if (!array.empty() && !given) {
        throw CFailure(fmt::format("\"colorArray\" {} is none of: {}", array, nameList(bayerColorArrays())));
    }
    try {
        form.colorArray = frameColorArray(*form.format, given);
    } catch (const CMisfit& misfit) {
        throw CFailure(misfit.Text([](std::string_view) { return "\"colorArray\""; }));
    }
    form.fourCc = readFourCc(members);
    const std::uint64_t rowBytes = form.format->RowBytes(form.width);
    const std::uint64_t pitch = members.Whole("pitch", rowBytes, kLongestPitch);
    form.pitch = pitch != rowBytes ? pitch : 0;
    const auto require = [&](const char* name, std::uint64_t value) {
        const std::uint64_t told = members.Whole(name, 0, ~std::uint64_t{0});
        if (told != value) {
            throw CFailure(fmt::format("\"{}\" is {}: frames of this form have {}", name, told, value));
        }
    };
    require("frameBytes", form.FrameBytes());
    require("stride", form.Stride());
    return form;
}

} // namespace

std::uint64_t SRecordingForm::PitchBytes() const {
    return pitch != 0 ? pitch : format->RowBytes(width);
}

std::uint64_t SRecordingForm::FrameBytes() const {
    return PitchBytes() * height;
}

std::uint64_t SRecordingForm::Stride() const {
    return (FrameBytes() + kFrameAlignment - 1) / kFrameAlignment * kFrameAlignment;
}

std::string recordingText(const SRecordingText& recording) {
    const SRecordingForm& form = recording.form;
    const SRecordingNotes& notes = recording.notes;
    const auto textJson = [](const std::string& text) { return text.empty() ? Json() : Json(text); };
    const Json json = {
        {"recording", kRecordingVersion},
        {"complete", recording.complete},
        {"frames", recording.frames},
        {"width", form.width},
        {"height", form.height},
        {"format", form.format->name},
        {"colorArray", form.format->IsRaw() ? Json(colorArrayName(form.colorArray)) : Json()},
        {"fourcc", fourCcJson(form.fourCc)},
        {"pitch", form.PitchBytes()},
        {"frameBytes", form.FrameBytes()},
        {"stride", form.Stride()},
        {"clock", textJson(notes.clock)},
        {"tool", textJson(notes.tool)},
        {"device", notes.device},
        {"profile", notes.profile},
        {"started", textJson(notes.started)},
        {"ended", textJson(notes.ended)},
        {"endedBy", textJson(notes.why)},
        {"account", notes.account},
    };
    return jsonText(json);
}

SRecordingText parsedRecording(std::string_view text) {
    const Json json = parsedJson(text);
    if (!json.is_object() || !json.contains("recording")) {
        throw CFailure("it tells of no recording");
    }
    const CMembers members(json);
    members.Whole("recording", kRecordingVersion, kRecordingVersion);
    SRecordingText recording;
    recording.form = readForm(members);
    recording.complete = members.Truth("complete");
    recording.frames = members.Whole("frames", 0, kMostFrames);
    recording.notes.clock = members.Text("clock");
    recording.notes.tool = members.Text("tool");
    recording.notes.device = members.Object("device");
    recording.notes.profile = members.Object("profile");
    recording.notes.started = members.Text("started");
    recording.notes.ended = members.Text("ended");
    recording.notes.why = members.Text("endedBy");
    recording.notes.account = members.Object("account");
    return recording;
}

} // namespace vek::client
