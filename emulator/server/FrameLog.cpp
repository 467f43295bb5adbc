// SPDX-License-Identifier: Apache-2.0
#include "emulator/server/FrameLog.h"

#include "emulator/server/Handle.h"

#include <fmt/format.h>
#include <zlib.h>

#include <string_view>

namespace vek::emulator {

namespace {

constexpr std::size_t kKnown = 1024;

std::string_view fateName(sim::EFate fate) {
    switch (fate) {
    case sim::EFate::Whole:
        return "whole";
    case sim::EFate::Flagged:
        return "flagged";
    case sim::EFate::Short:
        return "short";
    case sim::EFate::Lost:
        return "lost";
    case sim::EFate::NoBuffer:
        return "noBuffer";
    }
    return "";
}

} // namespace

CFrameLog::CFrameLog(const std::string& path) : mPath(path), mFile(std::fopen(path.c_str(), "we")), mKnown(kKnown) {
    if (mFile == nullptr) {
        failedTo(path + ": cannot write");
    }
}

CFrameLog::~CFrameLog() {
    if (mFile != nullptr) {
        std::fclose(mFile);
    }
}

std::uint32_t CFrameLog::Checksum(const sim::SSentFrame& frame) {
    const auto computed = [&] {
        return static_cast<std::uint32_t>(crc32_z(0, frame.bytes.data(), static_cast<z_size_t>(frame.bytes.size())));
    };
    if (frame.fate == sim::EFate::Short) {
        return computed();
    }
    SKnown& known = mKnown[frame.content % kKnown];
    if (!known.filled || known.content != frame.content) {
        known = {frame.content, true, computed()};
    }
    return known.crc;
}

void CFrameLog::Add(const sim::SSentFrame& frame) {
    const bool arrived = !frame.bytes.empty();
    std::string line =
        fmt::format(R"({{"number": {}, "sequence": {}, "time": {}, "fate": "{}", "exposure": {}, )"
                    R"("gain": {})",
                    frame.number, frame.sequence, frame.time.count(), fateName(frame.fate), frame.exposure, frame.gain);
    if (arrived) {
        line += fmt::format(R"(, "bytes": {}, "crc32": "{:08x}")", frame.bytes.size(), Checksum(frame));
    }
    line += "}\n";
    std::fwrite(line.data(), 1, line.size(), mFile);
}

void CFrameLog::End(const std::string& totals) {
    const std::string line = totals + '\n';
    std::fwrite(line.data(), 1, line.size(), mFile);
    std::FILE* const file = mFile;
    mFile = nullptr;
    const bool bad = std::ferror(file) != 0;
    if (std::fclose(file) != 0 || bad) {
        failedTo(mPath + ": cannot write");
    }
}

} // namespace vek::emulator
