// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vek::test {

/// A test with a directory of its own, removed at its end.
class CFileTest : public ::testing::Test {
protected:
    CFileTest();
    ~CFileTest() override;

    /// Path of a file in the directory; the file need not exist.
    std::string Path(const std::string& name) const { return (mDirectory / name).string(); }

    /// Writes a file and returns its path.
    std::string Write(const std::string& name, const std::vector<std::uint8_t>& bytes) const;

    /// The same of a text.
    std::string WriteText(const std::string& name, std::string_view text) const;

    /// The names in a directory of the test's own, or in it itself, sorted.
    std::vector<std::string> Names(const std::string& directory = "") const;

    /// A file as text.
    std::string Content(const std::string& name) const;

private:
    std::filesystem::path mDirectory;
};

std::vector<std::uint8_t> readFile(const std::string& path);

/// Words as a raw file has them: little-endian.
std::vector<std::uint8_t> littleEndian(const std::vector<std::uint16_t>& words);

} // namespace vek::test
