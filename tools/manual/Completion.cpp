// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/Completion.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <map>

namespace vek::tools {

namespace {

/// Calls back for the program and each command below it; path: "" of the program, "/calibrate/flat" of a command.
void forEachCommand(const SCommand& command, const std::string& path,
                    const std::function<void(const std::string&, const SCommand&)>& call) {
    call(path, command);
    for (const SCommand& sub : command.commands) {
        forEachCommand(sub, path + "/" + sub.name, call);
    }
}

std::vector<std::string> withAliases(const SCommand& command) {
    std::vector<std::string> names = {command.name};
    names.insert(names.end(), command.aliases.begin(), command.aliases.end());
    return names;
}

bool takesProgram(const SCommand& command) {
    return std::any_of(command.arguments.begin(), command.arguments.end(),
                       [](const SOption& argument) { return argument.kind == EValue::Program; });
}

/// Words that are continued, by a value, get no blank behind them.
bool areContinued(const std::vector<std::string>& words) {
    return std::any_of(words.begin(), words.end(),
                       [](const std::string& word) { return word.ends_with('=') || word.ends_with(':'); });
}

std::string escapedWith(std::string_view text, std::string_view marked, std::string_view mark) {
    std::string result;
    for (const char letter : text) {
        result += marked.find(letter) != marked.npos ? mark : "";
        result += letter;
    }
    return result;
}

/// Text between single quotes of a shell that has no escapes in them.
std::string inQuotes(std::string_view text) {
    std::string result = "'";
    for (const char letter : text) {
        result += letter == '\'' ? "'\\''" : std::string(1, letter);
    }
    return result + "'";
}

std::string fileHead(const char* shell, const std::string& program) {
    return fmt::format("# SPDX-License-Identifier: Apache-2.0\n# {} of {}, made of the options that the program has.\n",
                       shell, program);
}

// bash

std::string bashKind(EValue kind) {
    switch (kind) {
    case EValue::File:
        return "kind=file";
    case EValue::Folder:
        return "kind=directory";
    case EValue::Program:
        return "kind=command";
    default:
        return "kind=";
    }
}

std::string bashAction(const SOption& option) {
    return option.words.empty() ? bashKind(option.kind) : fmt::format("words='{}'", fmt::join(option.words, " "));
}

/// What is offered where no option stands in front: commands, or what the command works on.
std::string bashArguments(const SCommand& command) {
    std::vector<std::string> names;
    for (const SCommand& sub : command.commands) {
        const std::vector<std::string> own = withAliases(sub);
        names.insert(names.end(), own.begin(), own.end());
    }
    if (!names.empty()) {
        return fmt::format("words='{}'", fmt::join(names, " "));
    }
    return command.arguments.empty() ? bashKind(EValue::Any) : bashAction(command.arguments.front());
}

// zsh

std::string zshText(std::string_view text) {
    return escapedWith(text, "[]:\\", "\\");
}

std::string zshAction(const SOption& option) {
    if (areContinued(option.words)) {
        std::vector<std::string> words;
        for (const std::string& word : option.words) {
            words.push_back(escapedWith(word, ":", "\\"));
        }
        return fmt::format("{{compadd -S \"\" -- {}}}", fmt::join(words, " "));
    }
    if (!option.words.empty()) {
        return fmt::format("({})", fmt::join(option.words, " "));
    }
    switch (option.kind) {
    case EValue::File:
        return "_files";
    case EValue::Folder:
        return "_files -/";
    case EValue::Program:
        return "_normal";
    default:
        return " ";
    }
}

/// An option as _arguments takes it: '(-f --format)'{-f,--format}'[help]:NAME:(raw8 raw10)'
std::string zshOption(const SOption& option) {
    std::string end = fmt::format("[{}]", zshText(shortHelp(option.help)));
    if (!option.value.empty()) {
        end += fmt::format("{}{}:{}", option.valueMayBeMissing ? "::" : ":", zshText(option.value), zshAction(option));
    }
    std::vector<std::string> others = option.repeats ? std::vector<std::string>() : option.names;
    others.insert(others.end(), option.excludes.begin(), option.excludes.end());
    const std::string front =
        (others.empty() ? "" : fmt::format("({})", fmt::join(others, " "))) + (option.repeats ? "*" : "");
    if (option.names.size() == 1) {
        return inQuotes(front + option.names.front() + end);
    }
    return inQuotes(front) + fmt::format("{{{}}}", fmt::join(option.names, ",")) + inQuotes(end);
}

std::string zshFunction(const std::string& program, const std::string& path) {
    std::string name = "_" + program + path;
    std::replace(name.begin(), name.end(), '/', '_');
    return name;
}

// fish

std::string fishQuotes(std::string_view text) {
    return "'" + escapedWith(text, "'\\", "\\") + "'";
}

std::string fishNames(const SOption& option) {
    std::string names;
    for (const std::string& name : option.names) {
        names += name.rfind("--", 0) == 0 ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    return names;
}

std::string fishAction(const SOption& option) {
    if (option.value.empty()) {
        return "";
    }
    std::string words =
        option.words.empty() ? "" : " -a " + fishQuotes(fmt::format("{}", fmt::join(option.words, " ")));
    if (option.valueMayBeMissing) {
        return words; // a value of its own is offered besides
    }
    return option.kind == EValue::File     ? " -r -F"
           : option.kind == EValue::Folder ? " -x -a '(__fish_complete_directories)'"
                                           : " -x" + words;
}

} // namespace

std::string bashCompletion(const SCommand& program) {
    std::string ways;
    std::string values;
    std::string options;
    std::string arguments;
    forEachCommand(program, "", [&](const std::string& path, const SCommand& command) {
        for (const SCommand& sub : command.commands) {
            std::vector<std::string> names;
            for (const std::string& name : withAliases(sub)) {
                names.push_back(fmt::format("{}/{}", path, name));
            }
            ways += fmt::format("            {}) path={}/{} ;;\n", fmt::join(names, " | "), path, sub.name);
        }
        if (takesProgram(command)) {
            ways += fmt::format("            {0}/--) path={0}/-- first=$((i + 1)) ;;\n", path);
        }
        // Options that take the same share a line.
        std::map<std::string, std::vector<std::string>> byAction;
        std::vector<std::string> all;
        for (const SOption& option : command.options) {
            all.insert(all.end(), option.names.begin(), option.names.end());
            for (const std::string& name : option.names) {
                if (!option.value.empty()) {
                    byAction[bashAction(option)].push_back(inQuotes(fmt::format("{} {}", path, name)));
                }
            }
        }
        for (const auto& [action, names] : byAction) {
            values += fmt::format("            {}) {} ;;\n", fmt::join(names, " | "), action);
        }
        options += fmt::format("            {}) words='{}' ;;\n", inQuotes(path), fmt::join(all, " "));
        arguments += fmt::format("                    {}) {} ;;\n", inQuotes(path), bashArguments(command));
    });
    std::string text = fileHead("Completion for bash", program.name);
    text += fmt::format(R"(_{}() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}}
    local path='' words='' kind=words first=0 i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case $path/${{COMP_WORDS[i]}} in
{}        esac
    done
    # bash makes a word of the mark in --option=value.
    if [[ $current == '=' ]]; then
        current=''
    elif [[ $previous == '=' ]] && ((COMP_CWORD > 1)); then
        previous=${{COMP_WORDS[COMP_CWORD - 2]}}
    fi
    if ((first > 0)); then
        kind=file
        ((COMP_CWORD > first)) || kind=command
    elif [[ $current == -* ]]; then
        case $path in
{}        esac
    else
        case "$path $previous" in
{}            *)
                case $path in
{}                esac
                ;;
        esac
    fi
    case $kind in
        words)
            mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
            if [[ ${{#COMPREPLY[@]}} -eq 1 && ${{COMPREPLY[0]}} == *[=:] ]]; then
                compopt -o nospace 2>/dev/null
            fi
            ;;
        ?*)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -A "$kind" -- "$current")
            ;;
    esac
}}
complete -F _{} {}
)",
                        program.name, ways, options, values, arguments, program.name, program.name);
    return text;
}

std::string zshCompletion(const SCommand& program) {
    std::string text = "#compdef " + program.name + "\n" + fileHead("Completion for zsh", program.name);
    forEachCommand(program, "", [&](const std::string& path, const SCommand& command) {
        text += fmt::format("\n{}() {{\n", zshFunction(program.name, path));
        text += "    local curcontext=$curcontext state line\n    typeset -A opt_args\n    _arguments -C";
        text += takesProgram(command) ? " -S" : "";
        for (const SOption& option : command.options) {
            text += " \\\n        " + zshOption(option);
        }
        for (const SOption& argument : command.arguments) {
            const bool isProgram = argument.kind == EValue::Program;
            const std::string place = isProgram ? "*::" : argument.repeats ? "*" : argument.required ? "" : ":";
            text += " \\\n        " + inQuotes(fmt::format("{}:{}:{}", place, argument.value, zshAction(argument)));
        }
        if (command.commands.empty()) {
            text += "\n}\n";
            return;
        }
        text += " \\\n        '1: :->command' \\\n        '*:: :->rest'\n    case $state in\n        command)\n";
        text += "            local -a commands=(\n";
        for (const SCommand& sub : command.commands) {
            for (const std::string& name : withAliases(sub)) {
                text +=
                    "                " + inQuotes(name + ":" + escapedWith(shortHelp(sub.help), ":\\", "\\")) + "\n";
            }
        }
        text += "            )\n            _describe -t commands command commands\n            ;;\n        rest)\n";
        text += "            case $words[1] in\n";
        for (const SCommand& sub : command.commands) {
            text += fmt::format("                {}) {} ;;\n", fmt::join(withAliases(sub), " | "),
                                zshFunction(program.name, path + "/" + sub.name));
        }
        text += "            esac\n            ;;\n    esac\n}\n";
    });
    return text + fmt::format("\n_{} \"$@\"\n", program.name);
}

std::string fishCompletion(const SCommand& program) {
    const std::string& name = program.name;
    std::string ways;
    std::string lines;
    forEachCommand(program, "", [&](const std::string& path, const SCommand& command) {
        const std::string start = fmt::format("complete -c {} -n '__{}_at \"{}\"'", name, name, path);
        for (const SCommand& sub : command.commands) {
            for (const std::string& own : withAliases(sub)) {
                ways +=
                    fmt::format("            case {0}/{1}\n                set path {0}/{2}\n", path, own, sub.name);
                lines += fmt::format("{} -a {} -d {}\n", start, own, fishQuotes(shortHelp(sub.help)));
            }
        }
        for (const SOption& option : command.options) {
            lines +=
                start + fishNames(option) + fishAction(option) + " -d " + fishQuotes(shortHelp(option.help)) + "\n";
            if (option.valueMayBeMissing && !option.words.empty()) {
                lines += fmt::format("complete -c {0} -n '__{0}_at \"{1}\"; and __{0}_behind {2}' -a {3}\n", name, path,
                                     fmt::join(option.names, " "),
                                     fishQuotes(fmt::format("{}", fmt::join(option.words, " "))));
            }
        }
        for (const SOption& argument : command.arguments) {
            lines += argument.kind == EValue::File || argument.kind == EValue::Folder ? start + " -F\n" : "";
        }
        if (takesProgram(command)) {
            ways += fmt::format("            case {0}/--\n                set path {0}/--\n", path);
            lines += fmt::format("complete -c {0} -n '__{0}_at \"{1}/--\"' -x -a '(__fish_complete_subcommand)'\n",
                                 name, path);
        }
    });
    return fileHead("Completion for fish", name) + fmt::format(R"(
# The command that the words in front of the cursor have come to.
function __{0}_at
    set -l path ''
    set -l words (commandline -opc)
    set -e words[1]
    for word in $words
        switch $path/$word
{1}        end
    end
    test "$path" = "$argv[1]"
end

# One of these is the last word in front of the cursor.
function __{0}_behind
    set -l words (commandline -opc)
    contains -- $words[-1] $argv
end

complete -c {0} -f
{2})",
                                                               name, ways, lines);
}

} // namespace vek::tools
