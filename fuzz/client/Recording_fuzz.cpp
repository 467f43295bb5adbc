// SPDX-License-Identifier: Apache-2.0
// Any bytes as the three files of a recording: what is readable of it is read, and what is told of it has words.
#include "client/Errors.h"
#include "client/recording/Recording.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using namespace vek;
using namespace vek::client;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

/// A folder that is gone at the program's end.
class CFolder {
public:
    CFolder() { require(mkdtemp(mPath.data()) != nullptr); }
    ~CFolder() {
        for (const std::string_view name : {kFramesName, kIndexName, kRecordingName}) {
            unlink(File(name).c_str());
        }
        rmdir(mPath.c_str());
    }
    CFolder(const CFolder&) = delete;
    CFolder& operator=(const CFolder&) = delete;

    const std::string& Path() const { return mPath; }
    std::string File(std::string_view name) const { return mPath + "/" + std::string(name); }
    void Write(std::string_view name, std::span<const std::uint8_t> bytes) const {
        unlink(File(name).c_str()); // a file that is cut off and written anew may wait for the disk
        std::FILE* const file = std::fopen(File(name).c_str(), "wb");
        require(file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size());
        std::fclose(file);
    }

private:
    std::string mPath = "/tmp/recording-fuzz-XXXXXX";
};

/// Takes bytes from the front of data.
std::span<const std::uint8_t> taken(std::span<const std::uint8_t>& data, std::size_t count) {
    const auto part = data.first(std::min(count, data.size()));
    data = data.subspan(part.size());
    return part;
}

SRecordingForm smallForm() {
    return {transferFormat(VEK_TRANSFER_RAW8), 3, 2, VEK_COLOR_ARRAY_RGGB, 0, 0};
}

/// Gives records of the index sums that fit, each with a number that data tells.
std::vector<std::uint8_t> mendedIndex(std::span<const std::uint8_t> index) {
    std::vector<std::uint8_t> mended(index.begin(), index.end());
    for (std::size_t at = 0; at + kRecordBytes <= mended.size(); at += kRecordBytes) {
        SFrameRecord record;
        record.number = (mended[at] & 1) == 0 ? at / kRecordBytes : mended[at + 1];
        record.bytes = (mended[at] & 2) == 0 ? smallForm().FrameBytes() : mended[at + 2];
        if ((mended[at] & 4) == 0) {
            const RecordBytes bytes = recordBytes(record);
            std::copy(bytes.begin(), bytes.end(), mended.begin() + static_cast<std::ptrdiff_t>(at));
        }
    }
    return mended;
}

void readAll(const std::string& path) {
    const CRecording recording(path);
    std::uint64_t steps = 0;
    for (const SRecordingDamage& damage : recording.Check([&] { ++steps; })) {
        require(!damageText(damage).empty());
    }
    require(steps == recording.Count());
    const std::uint64_t rowBytes = recording.Form().format->RowBytes(recording.Form().width);
    for (std::uint64_t i = 0; i < recording.Count(); ++i) {
        require(recording.Record(i).number >= i);
        const auto frame = recording.Frame(i);
        require(frame.size() == recording.Form().FrameBytes());
        volatile std::uint8_t last = frame.back();
        static_cast<void>(last);
        try {
            require(recording.Read(i).size() == rowBytes * recording.Form().height);
        } catch (const CFailure&) {
            continue; // its sums are others
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const CFolder folder;
    std::span<const std::uint8_t> rest(data, size);
    const auto head = taken(rest, 4);
    if (head.size() < 4) {
        return 0;
    }
    const std::string usual = recordingText({smallForm(), {}, (head[0] & 4) != 0, head[3]});
    const std::span<const std::uint8_t> good(reinterpret_cast<const std::uint8_t*>(usual.data()), usual.size());
    folder.Write(kRecordingName, (head[0] & 1) != 0 ? taken(rest, std::size_t{head[1]} * 8) : good);
    const auto index = taken(rest, std::size_t{head[2]} * 32);
    if ((head[0] & 2) != 0) {
        folder.Write(kIndexName, index);
    } else {
        folder.Write(kIndexName, mendedIndex(index));
    }
    folder.Write(kFramesName, rest);
    if ((head[0] & 8) != 0) {
        // As large as recordings are, and mostly a hole.
        require(truncate(folder.File(kFramesName).c_str(), std::ptrdiff_t{head[3]} * 4096) == 0);
    }
    try {
        readAll(folder.Path());
    } catch (const CFailure&) {
        return 0;
    }
    return 0;
}
