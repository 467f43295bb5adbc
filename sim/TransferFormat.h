// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace vek::sim {

/// An image between sensor and transfer: samples of depth significant bits, row by row without padding.
struct SRasterImage {
    unsigned width = 0;
    unsigned height = 0;
    unsigned depth = 8;    ///< 8 .. 16
    unsigned channels = 1; ///< 1: mosaic or grey; 3: red, green, blue
    std::vector<std::uint16_t> samples;

    SRasterImage() = default;
    SRasterImage(unsigned imageWidth, unsigned imageHeight, unsigned imageDepth, unsigned imageChannels)
        : width(imageWidth), height(imageHeight), depth(imageDepth), channels(imageChannels),
          samples(std::size_t{imageWidth} * imageHeight * imageChannels) {}
};

/// What a transfer format (enum VekTransferFormat) carries.
enum class ETransferContent {
    Raw,   ///< the sensor's mosaic
    Gray,  ///< luma
    Color, ///< blue, green, red or YCrCb
};

constexpr unsigned long kTransferFormatCount = 22;

/// What people call the formats, by code; p: packed.
inline constexpr std::array<std::string_view, kTransferFormatCount> kTransferFormatNames = {
    "raw8",           "raw10",          "raw10p", "raw12", "raw12p",   "mono8",    "mono10",   "mono10p",
    "mono12",         "mono12p",        "bgr8",   "bgr10", "ycrcb411", "ycrcb422", "ycrcb444", "ycrcb411-bt709",
    "ycrcb422-bt709", "ycrcb444-bt709", "raw14",  "raw16", "mono14",   "mono16"};

/// All three throw std::invalid_argument for codes above 21.
ETransferContent transferContent(unsigned long format);
/// Significant bits of a sample: 8, 10, 12, 14 or 16.
unsigned transferDepth(unsigned long format);
/// Bytes of one row of width pixels. Rows follow each other without padding; only a packed row, and a YCrCb row
/// whose last group is cut off, ends inside a unit and starts the next row at a byte.
std::size_t transferRowBytes(unsigned long format, unsigned width);

/// Bytes of a whole frame: rows x row bytes.
std::size_t frameBytes(unsigned long format, unsigned width, unsigned height);

/// Writes an image in a transfer format.
/// Samples are moved to the format's depth by shifting: low bits are dropped, missing ones are 0. Only YCrCb scales
/// (full range to 0 .. 255) and rounds to nearest; the chroma of a group is the mean over its pixels.
/// Raw formats take one channel. Grey formats take one, or three as BT.601 luma. Colour formats take three, or one as
/// neutral grey. Throws std::invalid_argument for any other pair and for codes above 21.
std::vector<std::uint8_t> encodeFrame(unsigned long format, const SRasterImage& image);

/// BT.601 luma of a three-channel image as a one-channel image of the same depth, rounded to nearest.
SRasterImage lumaOf(const SRasterImage& image);

} // namespace vek::sim
