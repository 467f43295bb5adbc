// SPDX-License-Identifier: Apache-2.0
// Part of the build: writes the manual pages and the completion files that are installed.
// Usage: vekcam_manual FOLDER DATE SOURCE DESCRIPTION.md HEADER...
#include "tools/commands/Commands.h"
#include "tools/manual/Completion.h"
#include "tools/manual/Pages.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

namespace {

using namespace vek::tools;

std::string contentsOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error(path.string() + ": cannot be read");
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

void write(const std::filesystem::path& folder, const SManualFile& file) {
    const std::filesystem::path path = folder / file.name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    if (!(out << file.text << std::flush)) {
        throw std::runtime_error(path.string() + ": cannot be written");
    }
}

void writeAll(const std::vector<std::string>& arguments) {
    const std::filesystem::path folder = arguments.at(0);
    const SEdition edition = {arguments.at(1), arguments.at(2)};
    CLI::App app;
    describeProgram(app);
    const SCommand program = readCommand(app);
    std::vector<SManualFile> files = commandPages(program, contentsOf(arguments.at(3)), edition);
    std::vector<SHeaderFile> headers;
    for (std::size_t i = 4; i < arguments.size(); ++i) {
        const std::filesystem::path header = arguments[i];
        headers.push_back({header.filename().string(), contentsOf(header)});
    }
    const std::vector<SManualFile> pages = headerPages(headers, edition);
    files.insert(files.end(), pages.begin(), pages.end());
    files.push_back({"completion/" + program.name, bashCompletion(program)});
    files.push_back({"completion/_" + program.name, zshCompletion(program)});
    files.push_back({"completion/" + program.name + ".fish", fishCompletion(program)});
    // Pages of what is gone do not stay.
    for (const char* const part : {"man1", "man3", "completion"}) {
        std::filesystem::remove_all(folder / part);
    }
    for (const SManualFile& file : files) {
        write(folder, file);
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        writeAll(std::vector<std::string>(argv + 1, argv + argc));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "vekcam_manual: " << error.what() << '\n';
        return 1;
    }
}
