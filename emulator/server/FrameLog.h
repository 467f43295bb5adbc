// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/node/SentFrames.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace vek::emulator {

/// Writes a line of JSON for each frame that the camera sent, and one with the totals.
class CFrameLog {
public:
    /// Throws std::runtime_error.
    explicit CFrameLog(const std::string& path);
    ~CFrameLog();
    CFrameLog(const CFrameLog&) = delete;
    CFrameLog& operator=(const CFrameLog&) = delete;

    void Add(const sim::SSentFrame& frame);
    /// The last line. Throws std::runtime_error where the file could not be written.
    void End(const std::string& totals);

private:
    std::uint32_t Checksum(const sim::SSentFrame& frame);

    struct SKnown {
        std::size_t content = 0;
        bool filled = false;
        std::uint32_t crc = 0;
    };

    std::string mPath;
    std::FILE* mFile;
    std::vector<SKnown> mKnown; ///< frames that are sent again and again
};

} // namespace vek::emulator
