// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/CommandTree.h"

#include "tools/manual/Parts.h"

#include <algorithm>
#include <cctype>
#include <set>

namespace vek::tools {

namespace {

/// Help is broken into lines for terminals; others break theirs.
std::string inOneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

bool isSmall(char letter) {
    return std::islower(static_cast<unsigned char>(letter)) != 0 ||
           std::isdigit(static_cast<unsigned char>(letter)) != 0;
}

/// The words in what stands for a value: of "R,G,B|auto|grey:X,Y|profile[:NAME]" auto, grey: and profile.
std::vector<std::string> wordsIn(const std::string& value) {
    std::vector<std::string> words;
    if (value.find('|') == value.npos) {
        return words;
    }
    for (const std::string& part : partsOf(value, "|")) {
        std::size_t end = 0;
        while (end < part.size() && (isSmall(part[end]) || part[end] == '-')) {
            ++end;
        }
        if (end > 0 && (end == part.size() || part[end] == '[')) {
            words.push_back(part.substr(0, end));
        } else if (end > 0 && part[end] == ':') {
            words.push_back(part.substr(0, end + 1));
        }
    }
    return words;
}

/// The parser knows a few names of types; people call them otherwise.
std::string readableValue(const std::string& type, bool hasWords) {
    if (type == "UINT" || type == "INT") {
        return "N";
    }
    if (type == "FLOAT") {
        return "X";
    }
    return type == "TEXT" && hasWords ? "NAME" : type;
}

EValue kindOf(const std::string& value) {
    const auto begins = [&](std::string_view start) { return value.rfind(start, 0) == 0; };
    if (begins("FILE")) {
        return EValue::File;
    }
    if (begins("FOLDER") || begins("DIR")) {
        return EValue::Folder;
    }
    return begins("PROGRAM") ? EValue::Program : EValue::Any;
}

std::vector<std::string> namesOf(const std::set<CLI::Option*>& options) {
    std::vector<std::string> names;
    names.reserve(options.size());
    for (const CLI::Option* const option : options) {
        names.push_back(option->get_name());
    }
    std::sort(names.begin(), names.end()); // the set is in the order of addresses
    return names;
}

SOption readOption(CLI::Option& from) {
    SOption option;
    const bool isArgument = from.get_positional();
    for (const std::string& name : from.get_snames()) {
        option.names.push_back("-" + name);
    }
    for (const std::string& name : from.get_lnames()) {
        option.names.push_back("--" + name);
    }
    option.help = inOneLine(from.get_description());
    option.required = from.get_required();
    option.needs = namesOf(from.get_needs());
    option.excludes = namesOf(from.get_excludes());
    option.group = from.get_group();
    if (from.get_items_expected_max() == 0) {
        return option;
    }
    // The name of the type ends with what the checks say of themselves.
    std::string type = from.get_type_name();
    std::string checks;
    for (int i = 0;; ++i) {
        try {
            const CLI::Validator& check = *from.get_validator(i);
            const std::string said = check.get_description();
            checks += said.empty() ? "" : ":" + said;
            option.range = said.find("..") != said.npos ? said : option.range;
            if (said.find('|') != said.npos) {
                option.words = partsOf(said, "|");
            } else if (!check.get_name().empty()) {
                option.words = partsOf(check.get_name(), ", ");
            }
        } catch (const CLI::OptionNotFound&) {
            break;
        }
    }
    if (type.ends_with(checks)) {
        type.resize(type.size() - checks.size());
    }
    option.valueMayBeMissing = from.get_items_expected_min() == 0;
    if (type.size() > 2 && type.front() == '[' && type.back() == ']') {
        type = type.substr(1, type.size() - 2);
    }
    if (option.words.empty()) {
        option.words = wordsIn(type);
    }
    option.value = isArgument ? from.get_name() : readableValue(type, !option.words.empty());
    option.repeats = from.get_expected_max() == CLI::detail::expected_max_vector_size;
    option.byDefault = from.get_default_str();
    option.kind = !option.words.empty()        ? EValue::Words
                  : type.empty() || isArgument ? kindOf(type.empty() ? option.value : type)
                                               : kindOf(type);
    return option;
}

} // namespace

std::string shortHelp(std::string_view help) {
    const std::size_t end = std::min({help.find(". "), help.find(": "), help.find("; "), help.find(" (")});
    std::string first(help.substr(0, end));
    return first.ends_with('.') ? first.substr(0, first.size() - 1) : first;
}

SCommand readCommand(CLI::App& app) {
    SCommand command;
    command.name = app.get_name();
    command.aliases = app.get_aliases();
    command.help = inOneLine(app.get_description());
    command.footer = inOneLine(app.get_footer());
    for (CLI::Option* const option : app.get_options([](CLI::Option*) { return true; })) {
        if (!option->get_group().empty()) {
            (option->get_positional() ? command.arguments : command.options).push_back(readOption(*option));
        }
    }
    for (CLI::App* const sub : app.get_subcommands([](CLI::App*) { return true; })) {
        if (!sub->get_group().empty()) {
            command.commands.push_back(readCommand(*sub));
        }
    }
    // A command has its parent's footer where it has none of its own.
    for (SCommand& sub : command.commands) {
        sub.footer = sub.footer == command.footer ? "" : sub.footer;
    }
    return command;
}

} // namespace vek::tools
