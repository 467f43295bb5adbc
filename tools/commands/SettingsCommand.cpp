// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/files/JsonText.h"
#include "client/files/OutputFile.h"
#include "client/settings/HandleSettings.h"
#include "client/stages/LibraryHandle.h"

#include "tools/commands/Commands.h"
#include "tools/options/CameraOptions.h"
#include "tools/options/Options.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <array>
#include <memory>
#include <vector>

namespace vek::tools {

namespace {

using Json = nlohmann::ordered_json;

/// A line of a table of settings. remark: what is special about the value, if anything.
std::string tableLine(std::string_view key, std::string_view value, std::string_view meaning, std::string_view remark) {
    std::string line = fmt::format("{:<24}{:>7}  {}", key, value, meaning);
    if (!remark.empty()) {
        line += fmt::format("{}[{}]", meaning.empty() ? "" : "  ", remark);
    }
    return line + "\n";
}

Json valueJson(const SSetting& key, long value, VekCam_Handle camera) {
    return {{"value", value}, {"meaning", settingMeaning(key, value, camera)}};
}

Json passedOverJson(const SSettingText& text) {
    Json list = Json::array();
    for (const SPassedOver& passed : text.passedOver) {
        list.push_back({{"line", passed.line},
                        {"key", passed.key},
                        {"value", passed.value ? Json(*passed.value) : Json()},
                        {"why", passed.why}});
    }
    return list;
}

std::string passedOverLines(const SSettingText& text) {
    std::string lines;
    for (const SPassedOver& passed : text.passedOver) {
        const std::string number = passed.value ? fmt::format(" {}", *passed.value) : std::string();
        lines +=
            fmt::format("line {}: {}{} is passed over: {}\n", passed.line, oneLine(passed.key), number, passed.why);
    }
    return lines;
}

// ---- save ----

struct SSaveArguments {
    std::string file;
    SCameraChoice camera;
    std::vector<std::string> changes;
};

/// What KEY=VALUE asks for; complaint: receives what is wrong with it.
std::optional<SSettingChange> parsedChange(std::string_view text, std::string& complaint) {
    const std::size_t equals = text.find('=');
    const std::optional<std::size_t> index = findSetting(text.substr(0, equals));
    if (equals == std::string_view::npos || !index) {
        complaint = equals == std::string_view::npos ? "is no KEY=VALUE" : "names no key of a setting file";
        return std::nullopt;
    }
    const SSetting& setting = allSettings()[*index];
    const std::string_view value = text.substr(equals + 1);
    const std::span<const SName> names = settingNames(setting.kind);
    if (const auto code = findCode(names, value)) {
        return SSettingChange{*index, static_cast<long>(*code)};
    }
    const std::optional<long> number = sim::readWhole<long>(value, setting.Lowest(), setting.Highest());
    if (!number) {
        const std::string numbers = fmt::format("{} to {}", setting.Lowest(), setting.Highest());
        complaint = "is neither of: " + nameList(names) + ", nor a number of " + numbers;
        if (names.empty()) {
            complaint = "is no number of " + numbers;
        }
        return std::nullopt;
    }
    return SSettingChange{*index, *number};
}

CLI::Validator isChange() {
    std::string keys;
    for (const SSettingKey& key : kSettingKeys) {
        keys += fmt::format("{}{}=", keys.empty() ? "" : ", ", key.name);
    }
    return CLI::Validator(
        [](std::string& text) {
            std::string complaint;
            return parsedChange(text, complaint) ? std::string() : '"' + text + "\" " + complaint;
        },
        "", keys);
}

void applyTexts(VekCam_Handle handle, const std::vector<std::string>& texts) {
    std::vector<SSettingChange> changes;
    std::array<const std::string*, kSettingCount> asked{};
    for (const std::string& text : texts) {
        std::string complaint;
        changes.push_back(*parsedChange(text, complaint));
        asked[changes.back().key] = &text;
    }
    if (const std::optional<SRefusedChange> refused = applyChanges(handle, changes)) {
        const std::string& text = *asked[refused->key];
        if (!refused->kept) {
            throw CBadArguments(fmt::format("--set {}: the library refuses it", text));
        }
        throw CBadArguments(
            fmt::format("--set {}: the library keeps {}{}", text, *refused->kept,
                        followsMode(allSettings()[refused->key].kind) ? ": its mode has to be set, too" : ""));
    }
}

void save(const SSaveArguments& arguments) {
    const auto camera = openCamera(arguments.camera);
    const CLibraryHandle handle(camera->Fd());
    applyTexts(handle.Get(), arguments.changes);
    writeSettingFile(handle.Get(), arguments.file);
    if (!isStandardOutput(arguments.file)) {
        print(fmt::format("{}: {} settings of {}\n", arguments.file, kSettingCount, camera->Name()));
    }
}

// ---- load ----

struct SLoadArguments {
    std::string file;
    SCameraChoice camera;
    bool json = false;
};

/// Tells what a handle has after a file was read into it.
void printLoaded(const SLoadArguments& arguments, const ICamera& camera, VekCam_Handle handle, bool accepted) {
    const SSettingText text = readSettingText(arguments.file);
    const SettingValues values = handleSettings(handle);
    Json settings;
    std::string lines;
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        const SSetting& key = allSettings()[i];
        const std::optional<SFileSetting>& setting = text.settings[i];
        Json& json = settings[std::string(key.name)] = valueJson(key, values[i], handle);
        json["file"] = setting ? Json(setting->written) : Json();
        const std::string remark = !setting                        ? "not in the file"
                                   : setting->written == values[i] ? ""
                                                                   : fmt::format("the file has {}", setting->written);
        lines += tableLine(key.name, fmt::format("{}", values[i]), settingMeaning(key, values[i], handle), remark);
    }
    if (arguments.json) {
        print(jsonText({{"file", arguments.file},
                        {"camera", camera.Name()},
                        {"accepted", accepted},
                        {"settings", settings},
                        {"passedOver", passedOverJson(text)}}));
    } else {
        print(lines + passedOverLines(text));
    }
}

void load(const SLoadArguments& arguments) {
    const auto camera = openCamera(arguments.camera);
    const CLibraryHandle handle(camera->Fd());
    const bool accepted = readSettingFile(handle.Get(), arguments.file);
    printLoaded(arguments, *camera, handle.Get(), accepted);
    if (!accepted) {
        throw CFailure(
            fmt::format("{}: the library refuses a setting; those behind it are not applied", arguments.file));
    }
}

// ---- show ----

struct SShowArguments {
    std::string file;
    bool json = false;
};

Json shownJson(const SShowArguments& arguments, const SSettingText& text, const SVerdict& verdict) {
    Json settings;
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        const SSetting& key = allSettings()[i];
        Json& json = settings[std::string(key.name)];
        if (const auto& setting = text.settings[i]) {
            json = valueJson(key, setting->value, nullptr);
            json["line"] = setting->line;
            json["written"] = setting->written;
            json["refused"] = verdict.refused[i];
            json["kept"] = verdict.refused[i] ? Json() : Json(verdict.kept[i]);
        }
    }
    const std::optional<std::size_t> refused = verdict.StopsAt();
    return {{"file", arguments.file},
            {"settings", settings},
            {"passedOver", passedOverJson(text)},
            {"stopsAt", refused ? Json(allSettings()[*refused].name) : Json()}};
}

std::string remarkOn(const SFileSetting& setting, bool refused, long kept) {
    if (refused) {
        return "refused";
    }
    if (kept != setting.value) {
        return fmt::format("the library keeps {}", kept);
    }
    return setting.written != setting.value ? fmt::format("{} does not fit and is cut", setting.written) : "";
}

std::string shownText(const SSettingText& text, const SVerdict& verdict) {
    std::string lines;
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        const SSetting& key = allSettings()[i];
        if (const auto& setting = text.settings[i]) {
            lines +=
                tableLine(key.name, fmt::format("{}", setting->value), settingMeaning(key, setting->value, nullptr),
                          remarkOn(*setting, verdict.refused[i], verdict.kept[i]));
        } else {
            lines += tableLine(key.name, "-", "", "not in the file: stays as it is");
        }
    }
    lines += passedOverLines(text);
    if (const std::optional<std::size_t> refused = verdict.StopsAt()) {
        lines += fmt::format("The library stops at {}: the settings from there on stay as they are.\n",
                             allSettings()[*refused].name);
    }
    return lines;
}

void show(const SShowArguments& arguments) {
    const SSettingText text = readSettingText(arguments.file);
    const CLibraryHandle library(-1);
    const SVerdict verdict = verdictOn(library.Get(), text);
    if (arguments.json) {
        print(jsonText(shownJson(arguments, text, verdict)));
    } else {
        print(shownText(text, verdict));
    }
}

// ---- diff ----

/// Differences are an exit code of their own, so what keeps the files from being compared has another one.
constexpr int kDifferent = 1;

struct SDiffArguments {
    std::string a;
    std::string b;
    bool json = false;
};

std::optional<long> valueOf(const std::optional<SFileSetting>& setting) {
    return setting ? std::optional(setting->value) : std::nullopt;
}

std::string sideText(const SSetting& key, const std::optional<SFileSetting>& setting) {
    return setting ? fmt::format("{} ({})", setting->value, settingMeaning(key, setting->value, nullptr)) : "-";
}

Json sideJson(const SSetting& key, const std::optional<SFileSetting>& setting) {
    return setting ? valueJson(key, setting->value, nullptr) : Json();
}

SSettingText readSide(const std::string& path) {
    try {
        return readSettingText(path);
    } catch (const CFailure& failure) {
        throw CBadArguments(failure.what());
    }
}

void diff(const SDiffArguments& arguments) {
    const SSettingText a = readSide(arguments.a);
    const SSettingText b = readSide(arguments.b);
    Json differences = Json::object();
    std::string lines;
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        const SSetting& key = allSettings()[i];
        const auto& inA = a.settings[i];
        const auto& inB = b.settings[i];
        if (valueOf(inA) == valueOf(inB)) {
            continue;
        }
        differences[std::string(key.name)] = {{"a", sideJson(key, inA)}, {"b", sideJson(key, inB)}};
        lines += fmt::format("{:<24}{:<32}{}\n", key.name, sideText(key, inA), sideText(key, inB));
    }
    const bool same = differences.empty();
    if (arguments.json) {
        print(jsonText({{"a", arguments.a}, {"b", arguments.b}, {"same", same}, {"differences", differences}}));
    } else {
        print(lines);
    }
    if (!same) {
        throw CExit(kDifferent);
    }
}

// ---- options ----

CLI::Option* addFile(CLI::App& command, const char* name, std::string& path, const char* help) {
    CLI::Option* const option = command.add_option(name, path, help);
    return option->type_name(option->get_name() == "FILE" ? "" : "FILE")->required();
}

void addSave(CLI::App& settings) {
    CLI::App* const command = settings.add_subcommand("save", "Write the settings of a new handle, changed by --set");
    const auto arguments = std::make_shared<SSaveArguments>();
    addFile(*command, "FILE", arguments->file, "File to write; - writes standard output");
    addCameraOptions(*command, arguments->camera);
    command
        ->add_option("--set", arguments->changes,
                     "Another value for a key, a number or the name of a mode; may be given\n"
                     "several times")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false)
        ->check(isChange());
    command->callback([arguments] { save(*arguments); });
}

void addLoad(CLI::App& settings) {
    CLI::App* const command =
        settings.add_subcommand("load", "Read a file into a new handle and tell what the handle then has");
    const auto arguments = std::make_shared<SLoadArguments>();
    addFile(*command, "FILE", arguments->file, "File to read; it has to be writable, too");
    addCameraOptions(*command, arguments->camera);
    addJson(*command, arguments->json);
    command->callback([arguments] { load(*arguments); });
}

void addShow(CLI::App& settings) {
    CLI::App* const command = settings.add_subcommand("show", "Tell what a file has, in words");
    const auto arguments = std::make_shared<SShowArguments>();
    addFile(*command, "FILE", arguments->file, "File to read; - reads standard input");
    addJson(*command, arguments->json);
    command->callback([arguments] { show(*arguments); });
}

void addDiff(CLI::App& settings) {
    CLI::App* const command = settings.add_subcommand("diff", "Tell in which settings two files differ");
    const auto arguments = std::make_shared<SDiffArguments>();
    addFile(*command, "A", arguments->a, "File to read; - reads standard input");
    addFile(*command, "B", arguments->b, "The other file");
    addJson(*command, arguments->json);
    command->footer("Exit codes: 0 same, 1 different, 2 bad arguments or a file that cannot be read.");
    command->callback([arguments] { diff(*arguments); });
}

} // namespace

void addSettingsCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("settings", "Write, read, explain and compare setting files");
    command->require_subcommand(1);
    addSave(*command);
    addLoad(*command);
    addShow(*command);
    addDiff(*command);
}

} // namespace vek::tools
