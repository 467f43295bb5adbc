// SPDX-License-Identifier: Apache-2.0
#include "client/frames/PngFrame.h"

#include "client/names/Names.h"
#include "formats/ColorArrays.h"

#include <fmt/format.h>

#include <algorithm>

namespace vek::client {

namespace {

/// The format of samples in bytes or words.
const STransferFormat* sampledFormat(EContent content, unsigned depth) {
    const auto* const found =
        std::find_if(kTransferFormats.begin(), kTransferFormats.end(), [&](const STransferFormat& format) {
            return format.content == content && format.depth == depth &&
                   (format.layout == ELayout::Bytes || format.layout == ELayout::Words);
        });
    return found != kTransferFormats.end() ? found : nullptr;
}

} // namespace

STransferredFrame pngFrameForm(const std::string& path, const SPngForm& png, const STransferFormat* format,
                               std::optional<unsigned> colorArray) {
    if (!png.gray || png.transparent) {
        throw COtherKind(
            fmt::format("{}: is a {} PNG picture, no raw frame", path, png.gray ? "transparent" : "colour"));
    }
    if (png.bits < 8) {
        throw COtherKind(
            fmt::format("{}: is a PNG picture of {} bit{}, no raw frame", path, png.bits, png.bits == 1 ? "" : "s"));
    }
    if (format != nullptr && (!format->IsRaw() || (format->depth > 8) != (png.bits > 8))) {
        throw CBadArguments(fmt::format("format {} does not go with {}: its samples are grey, of {} bits", format->name,
                                        path, png.bits));
    }
    const bool bayer = colorArray && isBayer(*colorArray);
    const EContent content = format != nullptr ? format->content : bayer ? EContent::Raw : EContent::Mono;
    STransferredFrame frame;
    frame.format = sampledFormat(content, format != nullptr ? format->depth : png.bits);
    frame.width = png.width;
    frame.height = png.height;
    frame.colorArray = frameColorArray(*frame.format, colorArray.value_or(VEK_COLOR_ARRAY_MONO));
    return frame;
}

void readPngFrame(const std::string& path, STransferredFrame& frame, const Warn& warn) {
    const SImage image = readPng(path);
    if (image.width != frame.width || image.height != frame.height || image.channels != 1 ||
        (image.depth > 8) != (frame.format->depth > 8)) {
        throw CFailure(fmt::format("{}: became another picture while it was read", path));
    }
    frame.bytes.clear();
    frame.bytes.reserve(image.samples.size() * (image.depth / 8U));
    for (const std::uint16_t sample : image.samples) {
        frame.bytes.push_back(static_cast<std::uint8_t>(sample & 0xFF));
        if (image.depth == 16) {
            frame.bytes.push_back(static_cast<std::uint8_t>(sample >> 8));
        }
    }
    const std::string complaint = wordsComplaint(frame.bytes, *frame.format);
    if (!complaint.empty()) {
        warn(fmt::format("{}: {}", path, complaint));
    }
}

} // namespace vek::client
