// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/capture/CameraControls.h"
#include "client/files/JsonText.h"

#include "tools/commands/Commands.h"
#include "tools/options/LiveOptions.h"
#include "tools/options/Options.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vek::tools {

namespace {

struct SControlsArguments {
    SLiveOptions live;
    std::string name;
    std::vector<std::string> settings; ///< NAME=VALUE
    bool json = false;
};

std::string_view kindName(SCameraControl::EKind kind) {
    constexpr std::string_view kNames[] = {"integer", "switch",  "menu", "integer menu",
                                           "button",  "bitmask", "text", "other"};
    return kNames[static_cast<std::size_t>(kind)];
}

/// "0 to 240", ", in steps of 2" behind it; the entries of a menu.
std::string rangeText(const SCameraControl& control) {
    if (!control.menu.empty()) {
        std::vector<std::string> items;
        for (const SMenuItem& item : control.menu) {
            items.push_back(fmt::format("{} {}", item.value, item.name));
        }
        return fmt::format("{}", fmt::join(items, ", "));
    }
    if (!control.minimum || !control.maximum || control.kind == SCameraControl::EKind::Boolean) {
        return {};
    }
    const bool steps = control.step && *control.step > 1;
    return fmt::format("{} to {}{}", *control.minimum, *control.maximum,
                       steps ? fmt::format(" in steps of {}", *control.step) : "");
}

std::string flagsText(const SCameraControl& control) {
    std::vector<std::string_view> flags;
    if (control.readOnly) {
        flags.emplace_back("read only");
    }
    if (control.inactive) {
        flags.emplace_back("without effect now");
    }
    if (control.busy) {
        flags.emplace_back("cannot be set now");
    }
    return fmt::format("{}", fmt::join(flags, ", "));
}

nlohmann::ordered_json jsonOf(const SCameraControl& control) {
    nlohmann::ordered_json json = {{"name", control.name},
                                   {"id", fmt::format("0x{:08x}", control.id)},
                                   {"title", control.title},
                                   {"kind", kindName(control.kind)}};
    const auto add = [&json](const char* name, const std::optional<std::int64_t>& value) {
        if (value) {
            json[name] = *value;
        }
    };
    if (control.kind == SCameraControl::EKind::Text) {
        json["value"] = control.text;
    } else {
        add("value", control.value);
    }
    add("minimum", control.minimum);
    add("maximum", control.maximum);
    add("step", control.step);
    add("default", control.standard);
    for (const auto& [name, text] : {std::pair{"unit", control.unit}, {"meaning", control.meaning}}) {
        if (!text.empty()) {
            json[name] = text;
        }
    }
    for (const SMenuItem& item : control.menu) {
        json["menu"].push_back({{"value", item.value}, {"name", item.name}});
    }
    json["readOnly"] = control.readOnly;
    json["inactive"] = control.inactive;
    json["busy"] = control.busy;
    return json;
}

std::string textOf(const std::vector<SCameraControl>& controls) {
    std::size_t width = 0;
    for (const SCameraControl& control : controls) {
        width = std::max(width, control.name.size());
    }
    std::string text;
    for (const SCameraControl& control : controls) {
        std::string line = fmt::format("{:<{}}  {}", control.name, width, valueText(control));
        if (!control.unit.empty()) {
            line += ' ' + control.unit;
        }
        std::vector<std::string> notes;
        for (std::string note : {rangeText(control),
                                 control.standard && !control.readOnly && control.menu.empty()
                                     ? fmt::format("default {}", *control.standard)
                                     : std::string(),
                                 flagsText(control)}) {
            if (!note.empty()) {
                notes.push_back(std::move(note));
            }
        }
        if (!notes.empty()) {
            line += fmt::format(" ({})", fmt::join(notes, "; "));
        }
        if (!control.meaning.empty()) {
            line += "  " + control.meaning;
        }
        text += oneLine(line) + '\n';
    }
    return text;
}

const SCameraControl& controlNamed(const std::vector<SCameraControl>& controls, const std::string& name) {
    const SCameraControl* const control = findControl(controls, name);
    if (control == nullptr) {
        throw CBadArguments(fmt::format("{}: the camera has no such control; \"vekcam controls\" lists them", name));
    }
    return *control;
}

void list(const SControlsArguments& arguments) {
    const SLiveCamera live = openLive(arguments.live);
    const std::vector<SCameraControl> controls = cameraControls(*live.camera);
    if (!arguments.json) {
        print(textOf(controls));
        return;
    }
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    for (const SCameraControl& control : controls) {
        json.push_back(jsonOf(control));
    }
    print(json.dump(2) + '\n');
}

void get(const SControlsArguments& arguments) {
    const SLiveCamera live = openLive(arguments.live);
    const std::vector<SCameraControl> controls = cameraControls(*live.camera);
    const SCameraControl& control = controlNamed(controls, arguments.name);
    if (arguments.json) {
        print(jsonLine(jsonOf(control)));
        return;
    }
    if (!control.value && control.kind != SCameraControl::EKind::Text) {
        throw CFailure(fmt::format("{}: {} has no value that can be read", live.camera->Name(), control.name));
    }
    print(valueText(control) + '\n');
}

void set(const SControlsArguments& arguments) {
    const SLiveCamera live = openLive(arguments.live);
    std::vector<SCameraControl> controls = cameraControls(*live.camera);
    std::vector<std::pair<std::string, std::string>> settings;
    // All of them are known before the first one is set.
    for (const std::string& text : arguments.settings) {
        const std::size_t mark = text.find('=');
        if (mark == std::string::npos) {
            throw CBadArguments(fmt::format("\"{}\" is no NAME=VALUE", text));
        }
        settings.emplace_back(controlNamed(controls, text.substr(0, mark)).name, text.substr(mark + 1));
    }
    for (const auto& [name, value] : settings) {
        setCameraControl(*live.camera, controlNamed(controls, name), value);
    }
    controls = cameraControls(*live.camera);
    std::vector<SCameraControl> changed;
    changed.reserve(settings.size());
    for (const auto& [name, value] : settings) {
        changed.push_back(controlNamed(controls, name));
    }
    if (arguments.json) {
        for (const SCameraControl& control : changed) {
            print(jsonLine(jsonOf(control)));
        }
        return;
    }
    print(textOf(changed));
}

} // namespace

void addControlsCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("controls", "List, read and set a camera's controls");
    struct SPart {
        const char* name;
        const char* help;
        void (*run)(const SControlsArguments&);
    };
    command->require_subcommand(1);
    for (const SPart& part : {SPart{"list", "List every control: value, unit, range, what it means", list},
                              SPart{"get", "Print the value of one", get},
                              SPart{"set", "Set controls, and print what they are then", set}}) {
        CLI::App* const sub = command->add_subcommand(part.name, part.help);
        const auto own = std::make_shared<SControlsArguments>();
        addCameraOptions(*sub, own->live.camera, "/dev/video0");
        addJson(*sub, own->json);
        if (part.run == get) {
            sub->add_option("NAME", own->name, "Name, as the list has it, or number (0x00980913)")->required();
        } else if (part.run == set) {
            sub->add_option("SETTINGS", own->settings, "A number, on or off, an entry of the menu")
                ->type_name("NAME=VALUE ...")
                ->required();
        }
        sub->callback([own, run = part.run] { run(*own); });
    }
}

} // namespace vek::tools
