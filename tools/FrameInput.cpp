// SPDX-License-Identifier: Apache-2.0
#include "FrameInput.h"

#include "Descriptor.h"
#include "Errors.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace vek::tools {

namespace {

// A pipe tells its length only at its end: memory grows with what really came.
constexpr std::size_t kPieceBytes = std::size_t{1} << 20;

[[noreturn]] void throwTooShort(const std::string& name, std::uint64_t needed, std::uint64_t present) {
    throw CFailure(fmt::format("{}: too short: {} bytes needed, {} there", name, needed, present));
}

/// Appends up to count bytes to data; fewer only at the end of the file.
void appendPiece(int fd, const std::string& name, std::vector<std::uint8_t>& data, std::size_t count) {
    const std::size_t wanted = data.size() + count;
    std::size_t filled = data.size();
    data.resize(wanted);
    while (filled < wanted) {
        const ssize_t got = read(fd, data.data() + filled, wanted - filled);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            throw CFailure(fmt::format("{}: cannot read: {}", name, systemMessage(errno)));
        }
        if (got == 0) {
            break;
        }
        filled += static_cast<std::size_t>(got);
    }
    data.resize(filled);
}

std::size_t pieceOf(std::uint64_t left) {
    return static_cast<std::size_t>(std::min<std::uint64_t>(left, kPieceBytes));
}

std::vector<std::uint8_t> readFrom(int fd, const std::string& name, std::uint64_t offset, std::uint64_t size) {
    struct stat status {};
    const bool regular = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    std::uint64_t toSkip = offset;
    if (regular) {
        // Standard input may stand in the middle of its file.
        const off_t position = std::max<off_t>(lseek(fd, 0, SEEK_CUR), 0);
        const auto present = static_cast<std::uint64_t>(std::max<off_t>(status.st_size - position, 0));
        if (present < offset + size) {
            throwTooShort(name, offset + size, present);
        }
        if (lseek(fd, static_cast<off_t>(offset), SEEK_CUR) >= 0) {
            toSkip = 0;
        }
    }
    std::vector<std::uint8_t> data;
    for (std::uint64_t skipped = 0; skipped < toSkip; skipped += data.size()) {
        data.clear();
        appendPiece(fd, name, data, pieceOf(toSkip - skipped));
        if (data.empty()) {
            throwTooShort(name, offset + size, skipped);
        }
    }
    data.clear();
    if (regular) {
        data.reserve(static_cast<std::size_t>(size));
    }
    while (data.size() < size) {
        const std::size_t before = data.size();
        appendPiece(fd, name, data, pieceOf(size - before));
        if (data.size() == before) {
            throwTooShort(name, offset + size, offset + before);
        }
    }
    return data;
}

} // namespace

std::vector<std::uint8_t> readBytes(const std::string& path, std::uint64_t offset, std::uint64_t size) {
    if (path == "-") {
        return readFrom(STDIN_FILENO, "standard input", offset, size);
    }
    const CDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.IsOpen()) {
        throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
    }
    return readFrom(file.Get(), path, offset, size);
}

SRawFrame rawFrame(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::uint32_t width,
                   std::uint32_t height, unsigned short colorArray) {
    const std::size_t pixels = static_cast<std::size_t>(width) * height;
    SRawFrame frame{width, height, colorArray, libraryDepth(format), {}};
    if (format.layout == ELayout::Bytes) {
        std::vector<std::uint8_t> samples;
        samples.reserve(pixels + 1);
        samples.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(pixels));
        appendSpareSample(samples, width);
        frame.samples = std::move(samples);
        return frame;
    }
    const std::uint16_t largest = maxSample(format.depth);
    const int shift = format.depth - frame.depth;
    std::vector<std::uint16_t> samples;
    samples.reserve(pixels + 1);
    for (std::size_t i = 0; i < pixels; ++i) {
        const auto word = static_cast<std::uint16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
        samples.push_back(static_cast<std::uint16_t>(std::min(word, largest) >> shift));
    }
    appendSpareSample(samples, width);
    frame.samples = std::move(samples);
    return frame;
}

} // namespace vek::tools
