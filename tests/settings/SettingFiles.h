// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vek::test {

/// A directory of a test's own, removed with what is in it. In memory where there is such a place: tests write
/// thousands of files, and a disk may wait for each.
class CTemporaryDirectory {
public:
    CTemporaryDirectory() {
        const std::filesystem::path memory("/dev/shm");
        const bool inMemory = access(memory.c_str(), W_OK | X_OK) == 0;
        std::string name =
            ((inMemory ? memory : std::filesystem::temp_directory_path()) / "vekcam-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary directory");
        }
        mPath = name;
    }
    ~CTemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    CTemporaryDirectory(const CTemporaryDirectory&) = delete;
    CTemporaryDirectory& operator=(const CTemporaryDirectory&) = delete;

    std::string File(std::string_view name) const { return (mPath / name).string(); }

private:
    std::filesystem::path mPath;
};

inline std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

inline void setContent(const std::string& path, std::string_view content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

/// Open descriptors of this process.
inline long openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

} // namespace vek::test
