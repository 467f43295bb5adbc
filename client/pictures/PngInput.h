// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vek::client {

/// What a PNG file says of its picture in front of the samples.
struct SPngForm {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned short bits = 0; ///< of a stored sample: 1, 2, 4, 8, 16
    bool gray = false;       ///< neither colours nor a palette
    bool transparent = false;
};

/// Nothing where a path is no regular file that begins as a PNG file does.
std::optional<SPngForm> pngFormOf(const std::string& path);

/// Reads a PNG file, samples as they are stored; those of less than 8 bits are scaled to 8, a palette becomes its
/// colours. Throws CFailure, also for pictures that are transparent somewhere.
SImage readPng(const std::string& path);

/// Reads a grey PNG file of 16 bits. Throws CFailure, also for PNG files of another form.
SImage readGrayPng16(const std::string& path);

} // namespace vek::client
