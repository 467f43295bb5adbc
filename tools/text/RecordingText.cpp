// SPDX-License-Identifier: Apache-2.0
#include "tools/text/RecordingText.h"

#include "client/files/JsonText.h"
#include "client/names/Names.h"
#include "client/recording/FrameSeriesOutput.h"

#include "tools/text/Columns.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>

namespace vek::tools {

namespace {

using Json = nlohmann::ordered_json;

/// From the first frame to the last one, seconds.
double secondsOf(const client::CRecording& recording) {
    const std::uint64_t count = recording.Count();
    const std::int64_t first = client::timeOf(recording.Meta(0));
    const std::int64_t last = client::timeOf(recording.Meta(count - 1));
    return (static_cast<double>(last) - static_cast<double>(first)) * 1e-9;
}

/// The smallest and the largest of a setting that is known of some frames: "1000" or "1000 to 2000".
template <class T>
std::string rangeOf(const client::CRecording& recording, std::optional<T> client::SFrameMeta::*value) {
    std::optional<T> low;
    std::optional<T> high;
    for (std::uint64_t i = 0; i < recording.Count(); ++i) {
        const std::optional<T>& one = recording.Meta(i).*value;
        if (one) {
            low = std::min(low.value_or(*one), *one);
            high = std::max(high.value_or(*one), *one);
        }
    }
    return !low ? "" : *low == *high ? fmt::format("{}", *low) : fmt::format("{} to {}", *low, *high);
}

std::string accountText(const Json& account) {
    std::string text;
    for (const auto& [name, value] : account.items()) {
        text += fmt::format("{}{} {}", text.empty() ? "" : ", ", name, value.dump());
    }
    return text;
}

/// A text out of a file, on one line.
std::string plain(const Json& value) {
    return oneLine(value.is_string() ? value.get<std::string>() : value.dump());
}

} // namespace

std::string recordingLines(const client::CRecording& recording, std::span<const client::SRecordingDamage> damages,
                           bool checked) {
    const client::SRecordingForm& form = recording.Form();
    const client::SRecordingNotes& notes = recording.Text().notes;
    CColumns lines(14);
    const auto add = [&](const char* name, const std::string& text) {
        if (!text.empty()) {
            lines.Add(name, oneLine(text));
        }
    };
    add("recording", recording.Path());
    add("image", form.format->IsRaw() ? fmt::format("{} x {} pixels, {}, {}", form.width, form.height,
                                                    form.format->name, client::colorArrayName(form.colorArray))
                                      : fmt::format("{} x {} pixels, {}", form.width, form.height, form.format->name));
    add("frames", fmt::format("{} of {} bytes, {} bytes from one to the next", recording.Count(), form.FrameBytes(),
                              form.Stride()));
    if (recording.Count() > 1) {
        const double seconds = secondsOf(recording);
        std::string text = fmt::format("{:.6g} s", seconds);
        if (seconds > 0) {
            text += fmt::format(", {:.6g} a second", static_cast<double>(recording.Count() - 1) / seconds);
        }
        add("time", text);
    }
    add("exposure", rangeOf(recording, &client::SFrameMeta::exposure));
    add("gain", rangeOf(recording, &client::SFrameMeta::gain));
    add("clock", notes.clock);
    if (notes.device.is_object()) {
        for (const auto& [name, value] : notes.device.items()) {
            add(name == "name" ? "device" : oneLine(name).c_str(),
                value.is_string() && value.get_ref<const std::string&>().empty() ? "" : plain(value));
        }
    }
    add("profile", notes.profile.is_object() ? "yes" : "no");
    add("tool", notes.tool);
    add("begun", notes.started);
    add("ended", notes.ended);
    add("ended by", notes.why);
    if (notes.account.is_object()) {
        add("account", accountText(notes.account));
    }
    for (const client::SRecordingDamage& damage : damages) {
        add("damage", damageText(damage));
    }
    if (checked && damages.empty()) {
        add("check", "all frames are as they were written");
    }
    return lines.Text();
}

std::string recordingJson(const client::CRecording& recording, std::span<const client::SRecordingDamage> damages,
                          bool checked) {
    Json json = client::parsedJson(client::recordingText(recording.Text()));
    json["readable"] = recording.Count();
    json["checked"] = checked;
    Json list = Json::array();
    for (const client::SRecordingDamage& damage : damages) {
        Json entry = {{"text", damageText(damage)}};
        if (damage.count > 0) {
            entry["first"] = damage.first;
            entry["count"] = damage.count;
        }
        list.push_back(entry);
    }
    json["damages"] = list;
    return client::jsonText(json);
}

} // namespace vek::tools
