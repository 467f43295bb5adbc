// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/files/OutputFile.h"
#include "client/pictures/Image.h"
#include "client/pictures/PictureOptions.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vek::client {

/// A kind of picture file.
struct SPictureFormat {
    std::string_view name;   ///< for messages
    unsigned short mostBits; ///< of a sample, 8 or 16; every format has 8
    bool hasColor;
    std::uint32_t mostSide; ///< pixels
    /// Writes an image that checkPicture lets through. Throws CFailure.
    void (*write)(COutputFile& file, const SPictureView& image, const SPictureOptions& options);
};

/// The format that the end of a path's name stands for; PNG where there is none, and of devices and pipes with an
/// unknown one. Null for other unknown ones.
const SPictureFormat* pictureFormat(const std::string& path);

/// The known ends of names: ".png, .tif, ...".
std::string pictureEndings();

/// What keeps a picture from being written to a path, "-" being standard output: a terminal stands there, or its name
/// ends in none of pictureEndings. Empty where nothing does.
std::string pictureComplaint(const std::string& path);

/// Throws CBadArguments where the format of a path, which pictureComplaint lets through, does not hold such pictures.
/// channels: 1 or 3; bits: of a sample, 8 or 16.
void checkPicture(const std::string& path, std::uint32_t width, std::uint32_t height, unsigned channels, unsigned bits);

/// Writes an image of depth 8 or 16 in a format. Throws CFailure.
void writePicture(COutputFile& file, const SPictureFormat& format, const SPictureView& image,
                  const SPictureOptions& options);
void writePicture(COutputFile& file, const SPictureFormat& format, const SImage& image, const SPictureOptions& options);

} // namespace vek::client
