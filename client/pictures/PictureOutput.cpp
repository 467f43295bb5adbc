// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/PictureOutput.h"

#include "client/Errors.h"
#include "client/files/OutputPath.h"
#include "client/names/Names.h"
#include "client/pictures/JpegOutput.h"
#include "client/pictures/PngOutput.h"
#include "client/pictures/PnmOutput.h"
#include "client/pictures/TiffOutput.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace vek::client {

namespace {

constexpr std::uint32_t kAnySide = 0x7FFFFFFF;

constexpr SPictureFormat kPng = {"PNG", 16, true, kAnySide, writePng};
constexpr SPictureFormat kTiff = {"TIFF", 16, true, kAnySide, writeTiff};
constexpr SPictureFormat kJpeg = {"JPEG", 8, true, kLargestJpegSide, writeJpeg};
constexpr SPictureFormat kPpm = {"PPM", 16, true, kAnySide, writePpm};
constexpr SPictureFormat kPgm = {"PGM", 16, false, kAnySide, writePnm};
constexpr SPictureFormat kPnm = {"PNM", 16, true, kAnySide, writePnm};

struct SEnding {
    std::string_view ending;
    const SPictureFormat& format;
};
constexpr SEnding kEndings[] = {{".png", kPng},   {".tif", kTiff}, {".tiff", kTiff}, {".jpg", kJpeg},
                                {".jpeg", kJpeg}, {".ppm", kPpm},  {".pgm", kPgm},   {".pnm", kPnm}};

} // namespace

const SPictureFormat* pictureFormat(const std::string& path) {
    const std::string extension = std::filesystem::path(path).extension().string();
    const auto* const found = std::find_if(std::begin(kEndings), std::end(kEndings), [&](const SEnding& candidate) {
        return isName(extension, candidate.ending);
    });
    if (found != std::end(kEndings)) {
        return &found->format;
    }
    return extension.size() > 1 && !isDeviceOrPipe(path) ? nullptr : &kPng;
}

std::string pictureEndings() {
    std::string text;
    for (const SEnding& known : kEndings) {
        text += text.empty() ? "" : ", ";
        text += known.ending;
    }
    return text;
}

std::string pictureComplaint(const std::string& path) {
    if (pictureFormat(path) == nullptr) {
        return fmt::format("\"{}\": no known kind of picture: its name has to end in one of {}", path,
                           pictureEndings());
    }
    return bytesComplaint(path);
}

void checkPicture(const std::string& path, std::uint32_t width, std::uint32_t height, unsigned channels,
                  unsigned bits) {
    const SPictureFormat& format = *pictureFormat(path);
    if (bits > format.mostBits) {
        throw CBadArguments(
            fmt::format("{}: {} pictures have {} bits at most, not {}", path, format.name, format.mostBits, bits));
    }
    if (channels > 1 && !format.hasColor) {
        throw CBadArguments(fmt::format("{}: {} pictures are grey, this one has colours", path, format.name));
    }
    if (std::max(width, height) > format.mostSide) {
        throw CBadArguments(fmt::format("{}: {} pictures have {} pixels a side at most, this one {} x {}", path,
                                        format.name, format.mostSide, width, height));
    }
}

void writePicture(COutputFile& file, const SPictureFormat& format, const SPictureView& image,
                  const SPictureOptions& options) {
    format.write(file, image, options);
}

void writePicture(COutputFile& file, const SPictureFormat& format, const SImage& image,
                  const SPictureOptions& options) {
    std::vector<std::uint8_t> bytes;
    writePicture(file, format, viewOf(image, bytes), options);
}

} // namespace vek::client
