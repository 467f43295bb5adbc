// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/PictureInput.h"

#include "client/Errors.h"
#include "client/files/Descriptor.h"
#include "client/pictures/JpegInput.h"
#include "client/pictures/PngInput.h"
#include "client/pictures/PnmInput.h"
#include "client/pictures/TiffInput.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace vek::client {

namespace {

/// How a kind of picture begins.
struct SKind {
    std::string_view begin;
    SImage (*read)(const std::string& path);
};
constexpr SKind kKinds[] = {
    {"\x89PNG\r\n\x1A\n", readPng},
    {{"II*\0", 4}, readTiff},
    {{"MM\0*", 4}, readTiff},
    {{"II+\0", 4}, readTiff}, // with offsets of 64 bits
    {{"MM\0+", 4}, readTiff},
    {"\xFF\xD8\xFF", readJpeg},
    {"P5\n", readPnm},
    {"P6\n", readPnm},
    {"P5 ", readPnm},
    {"P6 ", readPnm},
};

/// Null for files of other kinds.
const SKind* pictureKind(const std::string& path) {
    const CDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return nullptr;
    }
    char begin[8] = {};
    const ssize_t got = pread(file.Get(), begin, sizeof begin, 0);
    const std::string_view head(begin, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                          [&](const SKind& known) { return head.starts_with(known.begin); });
    return kind != std::end(kKinds) ? kind : nullptr;
}

} // namespace

bool beginsAsPicture(const std::string& path) {
    return pictureKind(path) != nullptr;
}

SImage readPicture(const std::string& path) {
    const SKind* const kind = pictureKind(path);
    if (kind == nullptr) {
        throw CFailure(fmt::format("{}: no known kind of picture", path));
    }
    return kind->read(path);
}

} // namespace vek::client
