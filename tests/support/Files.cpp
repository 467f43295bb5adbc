// SPDX-License-Identifier: Apache-2.0
#include "support/Files.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace vek::test {

CFileTest::CFileTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vekcam-cli-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no directory for the test");
    }
    mDirectory = pattern;
}

CFileTest::~CFileTest() {
    std::error_code ignored;
    std::filesystem::remove_all(mDirectory, ignored);
}

std::string CFileTest::Write(const std::string& name, const std::vector<std::uint8_t>& bytes) const {
    std::ofstream file(mDirectory / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return Path(name);
}

std::string CFileTest::WriteText(const std::string& name, std::string_view text) const {
    return Write(name, std::vector<std::uint8_t>(text.begin(), text.end()));
}

std::vector<std::string> CFileTest::Names(const std::string& directory) const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(mDirectory / directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string CFileTest::Content(const std::string& name) const {
    const std::vector<std::uint8_t> bytes = readFile(Path(name));
    return {bytes.begin(), bytes.end()};
}

std::vector<std::uint8_t> readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::uint8_t> littleEndian(const std::vector<std::uint16_t>& words) {
    std::vector<std::uint8_t> bytes;
    for (const std::uint16_t word : words) {
        bytes.push_back(static_cast<std::uint8_t>(word & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(word >> 8));
    }
    return bytes;
}

} // namespace vek::test
