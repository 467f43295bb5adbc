// SPDX-License-Identifier: Apache-2.0
#include "client/stages/Conversion.h"

#include "client/Errors.h"
#include "client/names/Names.h"
#include "client/pictures/DisplayRendering.h"
#include "formats/ColorArrays.h"

#include <fmt/format.h>

namespace vek::client {

namespace {

/// What the demosaicing makes of the frame.
bool isGray(const SConversion& conversion) {
    return conversion.colorArray == VEK_COLOR_ARRAY_MONO || conversion.method == VEK_DEMOSAIC_MONO;
}

/// The bicubic method gives deeper frames nothing above 255.
bool needsBytes(const SConversion& conversion) {
    return conversion.stages.Any() || (isBayer(conversion.colorArray) && conversion.method == VEK_DEMOSAIC_BICUBIC);
}

/// Of the picture in front of the display rendering.
unsigned short depthOf(const SConversion& conversion) {
    return needsBytes(conversion) ? kStagesDepth : libraryDepth(*conversion.format);
}

unsigned blackOf(const SConversion& conversion) {
    return conversion.black.value_or(0);
}

unsigned whiteOf(const SConversion& conversion) {
    return conversion.white.value_or(maxSample(conversion.format->depth));
}

/// The levels at the depth that the image has.
SImage displayed(const SImage& image, const SConversion& conversion) {
    const int shift = conversion.format->depth - image.depth;
    SDisplayLevels levels = {static_cast<double>(blackOf(conversion) >> shift),
                             static_cast<double>(whiteOf(conversion) >> shift)};
    // Method none leaves two channels of each pixel dark: a balance of what is there would tell nothing.
    const bool dark = isBayer(conversion.colorArray) && conversion.method == VEK_DEMOSAIC_NONE;
    const Gains gains = dark ? Gains{1, 1, 1} : grayWorldGains(image, levels);
    if (!conversion.white) {
        levels.white = brightLevel(image, levels, gains);
    }
    return renderForDisplay(image, levels, gains, conversion.bitsOut);
}

/// The picture in front of the stages that work on pictures.
SImage demosaiced(const CLibraryHandle& library, std::span<const std::uint8_t> bytes, const SConversion& conversion) {
    const STransferFormat& format = *conversion.format;
    const std::uint32_t width = conversion.width;
    const std::uint32_t height = conversion.height;
    if (!format.IsRaw()) {
        return library.Picture(bytes, format, width, height, conversion.method == VEK_DEMOSAIC_MONO);
    }
    SRawFrame frame = format.IsPacked() ? library.Unpacked(bytes, format, width, height, conversion.colorArray)
                                        : rawFrame(bytes, format, width, height, conversion.colorArray);
    if (conversion.corrections.Any()) {
        correct(library, conversion.corrections, format, frame);
    }
    if (needsBytes(conversion)) {
        frame = afterRawStages(library, conversion.stages, frame);
    }
    return library.Demosaic(frame, conversion.method);
}

} // namespace

void checkMethod(const SConversion& conversion) {
    const std::uint32_t smallest = smallestSide(conversion.colorArray, conversion.method);
    if (conversion.width < smallest || conversion.height < smallest) {
        throw CBadArguments(
            fmt::format("method {} needs {} x {} pixels or more", methodName(conversion.method), smallest, smallest));
    }
}

void complete(SConversion& conversion) {
    const STransferFormat& format = *conversion.format;
    const bool gray = isGray(conversion);
    conversion.stages.file = stagesForFrame(conversion.stages.file, conversion.colorArray, gray);
    const unsigned short depth = depthOf(conversion);
    // Both are shifted down with the samples and have to stay apart.
    const int shift = format.depth - depth;
    if (blackOf(conversion) >> shift >= whiteOf(conversion) >> shift) {
        throw CMisfit(fmt::format("<black> {} is not below <white> {}", blackOf(conversion), whiteOf(conversion)));
    }
    checkCorrections(conversion.corrections, format, conversion.width, conversion.height, conversion.colorArray);
    checkStages(conversion.stages, format, conversion.width, conversion.height, conversion.colorArray, gray);
    if (conversion.bitsOut == 0) {
        conversion.bitsOut = depth == 8 || conversion.display ? 8 : 16;
    }
}

SImage pictureOf(const CLibraryHandle& library, std::span<const std::uint8_t> bytes, const SConversion& conversion) {
    SImage image = demosaiced(library, bytes, conversion);
    if (conversion.stages.Any()) {
        runPictureStages(library, conversion.stages, image);
    }
    return conversion.display ? displayed(image, conversion) : scaledToDepth(image, conversion.bitsOut);
}

} // namespace vek::client
