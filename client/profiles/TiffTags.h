// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vek::client {

/// Numbers of a tag, whatever their type; text where it is one.
struct STiffTag {
    std::vector<double> numbers;
    std::string text;
};
using TiffTags = std::map<std::uint32_t, STiffTag>;

/// Tags of the directories of a file that lies in memory, read by libtiff, which warns of nothing here.
class CTiffReader {
public:
    /// bytes: stay where they are. name: of the file, for messages. Throws CFailure where they are no TIFF file or one
    /// of its relatives.
    CTiffReader(std::span<const std::uint8_t> bytes, std::string name);
    ~CTiffReader();
    CTiffReader(const CTiffReader&) = delete;
    CTiffReader& operator=(const CTiffReader&) = delete;

    /// Whether the letters behind the byte order are those of a DCP file.
    bool IsDcp() const { return mIsDcp; }
    /// Where the first directory lies.
    std::uint32_t First() const { return mFirst; }
    /// The tags of a directory that a list names and that it has. Throws CFailure where it cannot be read.
    TiffTags Tags(std::uint32_t directory, std::span<const std::uint32_t> wanted);

private:
    struct SMemory;

    std::unique_ptr<SMemory> mMemory;
    std::string mName;
    bool mIsDcp = false;
    std::uint32_t mFirst = 0;
};

} // namespace vek::client
