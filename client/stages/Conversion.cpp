// SPDX-License-Identifier: Apache-2.0
#include "client/stages/Conversion.h"

#include "client/Errors.h"
#include "client/names/Names.h"
#include "client/pictures/DisplayRendering.h"
#include "formats/ColorArrays.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <variant>

namespace vek::client {

namespace {

/// The bicubic method gives deeper frames nothing above 255.
bool isBicubic(const SConversion& conversion) {
    return isBayer(conversion.colorArray) && conversion.method == VEK_DEMOSAIC_BICUBIC;
}

void checkDepth(const SConversion& conversion) {
    if (conversion.depth <= kStagesDepth) {
        return;
    }
    if (!conversion.format->IsRaw()) {
        throw CMisfit(fmt::format("<depth> {} needs a raw or mono frame: format {} is colour already", conversion.depth,
                                  conversion.format->name));
    }
    if (conversion.stages.Any() || isBicubic(conversion)) {
        throw CMisfit(fmt::format("<depth> {} does not go with {}, which work{} at 8 bits", conversion.depth,
                                  conversion.stages.Any() ? "image stages" : "method bicubic",
                                  conversion.stages.Any() ? "" : "s"));
    }
    if (conversion.depth > kColorsDepth && !isGray(conversion)) {
        throw CMisfit(fmt::format("<depth> {} needs a grey picture: colours have {} bits at most", conversion.depth,
                                  kColorsDepth));
    }
}

/// Of raw frames and of the pictures of others, before a stage takes them down.
unsigned short frameDepth(const SConversion& conversion) {
    const STransferFormat& format = *conversion.format;
    if (conversion.depth == 0 || !format.IsRaw()) {
        return libraryDepth(format);
    }
    const unsigned short most = format.IsPacked() || conversion.depth > kColorsDepth ? conversion.depth : kColorsDepth;
    return std::min(format.depth, most);
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

/// The code that the chain has for unpacked samples of a depth.
std::uint32_t samplesFormat(unsigned depth) {
    const auto* const found =
        std::find_if(kTransferFormats.begin(), kTransferFormats.end(), [&](const STransferFormat& format) {
            return format.content == EContent::Raw && !format.IsPacked() && format.depth == depth;
        });
    return found->code;
}

std::span<const std::uint8_t> samplesOf(const SRawFrame& frame) {
    return std::visit(
        [&](const auto& samples) {
            return std::span(reinterpret_cast<const std::uint8_t*>(samples.data()),
                             std::size_t{frame.width} * frame.height * sizeof samples[0]);
        },
        frame.samples);
}

/// A chain that takes frames of all formats to samples of a depth.
CChainRun unpackingOf(const CLibraryHandle& library, const STransferFormat& format, std::uint32_t width,
                      std::uint32_t height, unsigned short colorArray, unsigned short depth, unsigned threads) {
    SChainDescription description(format.code, width, height, colorArray, VEK_CHAIN_MONO);
    description.picture.depth = depth;
    description.chain.demosaic = VEK_DEMOSAIC_MONO;
    std::string reason;
    std::optional<CChainRun> run = CChainRun::Make(library.Get(), description, threads, reason);
    if (!run) {
        throw CFailure(fmt::format("the library does not unpack the frame: {}", reason));
    }
    return std::move(*run);
}

bool isPacked(const STransferFormat& format) {
    return format.layout != ELayout::Bytes && format.layout != ELayout::Words;
}

/// The bytes of a picture of samples, which are those of a format of them.
std::span<const std::uint8_t> unpackedBytes(const SPictureView& picture) {
    const std::size_t bytes = frameBytes(*transferFormat(samplesFormat(picture.depth)), picture.width, picture.height);
    return {static_cast<const std::uint8_t*>(picture.samples), bytes};
}

} // namespace

STransferredFrame unpackedFrame(const CLibraryHandle& library, STransferredFrame frame, unsigned threads) {
    const STransferFormat& format = *frame.format;
    if (isPacked(format)) {
        CChainRun run =
            unpackingOf(library, format, frame.width, frame.height, frame.colorArray, format.depth, threads);
        const std::span<const std::uint8_t> bytes = unpackedBytes(run.Develop(frame.bytes));
        frame.bytes.assign(bytes.begin(), bytes.end());
        frame.format = transferFormat(samplesFormat(format.depth));
    }
    return frame;
}

bool isGray(const SConversion& conversion) {
    return conversion.colorArray == VEK_COLOR_ARRAY_MONO || conversion.method == VEK_DEMOSAIC_MONO;
}

void checkMethod(const SConversion& conversion) {
    const std::uint32_t smallest = smallestSide(conversion.colorArray, conversion.method);
    if (conversion.width < smallest || conversion.height < smallest) {
        throw CBadArguments(
            fmt::format("method {} needs {} x {} pixels or more", methodName(conversion.method), smallest, smallest));
    }
}

unsigned short workingDepth(const SConversion& conversion) {
    const bool bytes = conversion.stages.Any() || isBicubic(conversion) || conversion.depth == kStagesDepth;
    return bytes ? kStagesDepth : frameDepth(conversion);
}

void complete(SConversion& conversion) {
    const STransferFormat& format = *conversion.format;
    const bool gray = isGray(conversion);
    conversion.stages.file = stagesForFrame(conversion.stages.file, conversion.colorArray, gray);
    const unsigned short depth = workingDepth(conversion);
    // Both are shifted down with the samples and have to stay apart.
    const int shift = format.depth - depth;
    if (blackOf(conversion) >> shift >= whiteOf(conversion) >> shift) {
        throw CMisfit(fmt::format("<black> {} is not below <white> {}", blackOf(conversion), whiteOf(conversion)));
    }
    checkCorrections(conversion.corrections, format, conversion.width, conversion.height, conversion.colorArray);
    checkStages(conversion.stages, format, conversion.width, conversion.height, conversion.colorArray, gray);
    checkDepth(conversion);
    if (conversion.bitsOut == 0) {
        conversion.bitsOut = depth == 8 || conversion.display ? 8 : 16;
    }
}

CConverter::CConverter(const CLibraryHandle& library, const SConversion& conversion, EDeveloper developer)
    : mLibrary(library), mConversion(conversion) {
    setStages(library, conversion.stages);
    const STransferFormat& format = *conversion.format;
    if (!format.IsRaw()) {
        return;
    }
    const unsigned short working = workingDepth(conversion);
    mSampleDepth = conversion.corrections.Any() ? frameDepth(conversion) : working;
    setCorrections(library, conversion.corrections, format,
                   {conversion.width, conversion.height, conversion.colorArray, mSampleDepth, {}});
    mRawByFunctions = IsTurned() || mSampleDepth != working || developer == EDeveloper::Functions;
    mDirect = !mRawByFunctions && format.depth == working;
    const bool edge = isBayer(conversion.colorArray) && conversion.method == VEK_CHAIN_DEMOSAIC_EDGE;
    if (developer == EDeveloper::Chain || edge || working > kColorsDepth) {
        MakeChain();
    }
    if (isPacked(format) && (!mDirect || !mChain)) {
        mUnpacking = unpackingOf(library, format, conversion.width, conversion.height, conversion.colorArray,
                                 mSampleDepth, conversion.threads);
    }
}

void CConverter::MakeChain() {
    const SStages& stages = mConversion.stages;
    const unsigned short working = workingDepth(mConversion);
    SRawFrame frame{mConversion.width, mConversion.height, mConversion.colorArray, working, {}};
    if (mRawByFunctions && (stages.mirror || stages.rotation)) {
        frame = turnedFrame(mLibrary, stages, frame);
    }
    SChainDescription description(mDirect ? mConversion.format->code : samplesFormat(working), frame.width,
                                  frame.height, frame.colorArray, isGray(mConversion) ? VEK_CHAIN_MONO : VEK_CHAIN_RGB);
    VekChainDescription& chain = description.chain;
    chain.demosaic = mConversion.method;
    chain.stages = stages.ChainStages();
    if (mRawByFunctions) {
        chain.stages &= ~static_cast<unsigned>(VEK_CHAIN_WHITE_BALANCE | VEK_CHAIN_RAW_GAMMA);
    } else {
        chain.noise = mConversion.corrections.noise.value_or(VEK_NOISE_OFF);
        if (!mConversion.corrections.shadingPath.empty()) {
            chain.stages |= VEK_CHAIN_SHADING;
        }
        chain.mirror = stages.mirror.value_or(VEK_MIRROR_NONE);
    }
    std::string reason;
    mChain = CChainRun::Make(mLibrary.Get(), description, mConversion.threads, reason);
    if (!mChain && (mConversion.method == VEK_CHAIN_DEMOSAIC_EDGE || working > kColorsDepth)) {
        throw CFailure(fmt::format("the library does not take the frame: {}", reason));
    }
}

SRawFrame CConverter::Samples(std::span<const std::uint8_t> bytes) {
    const STransferFormat& format = *mConversion.format;
    const std::uint32_t width = mConversion.width;
    const std::uint32_t height = mConversion.height;
    if (!mUnpacking) {
        return rawFrame(bytes, format, width, height, mConversion.colorArray, mSampleDepth);
    }
    const std::span<const std::uint8_t> unpacked = unpackedBytes(mUnpacking->Develop(bytes));
    return rawFrame(unpacked, *transferFormat(samplesFormat(mSampleDepth)), width, height, mConversion.colorArray,
                    mSampleDepth);
}

SImage CConverter::FromRaw(std::span<const std::uint8_t> bytes) {
    if (mDirect && mChain && !exceedsRange(bytes, *mConversion.format)) {
        return imageOf(mChain->Develop(bytes));
    }
    SRawFrame frame = Samples(bytes);
    if (mRawByFunctions || !mChain) {
        if (mConversion.corrections.Any()) {
            correct(mLibrary, mConversion.corrections, frame);
        }
        if (workingDepth(mConversion) == kStagesDepth) {
            frame = afterRawStages(mLibrary, mConversion.stages, frame);
        }
    }
    if (mChain) {
        return imageOf(mChain->Develop(samplesOf(frame)));
    }
    SImage image = mLibrary.Demosaic(frame, mConversion.method);
    RunPictureStages(image);
    return image;
}

void CConverter::RunPictureStages(SImage& image) const {
    if (mConversion.stages.Any()) {
        runPictureStages(mLibrary, mConversion.stages, image);
    }
}

SImage CConverter::Developed(std::span<const std::uint8_t> bytes) {
    if (mConversion.format->IsRaw()) {
        return FromRaw(bytes);
    }
    SImage image = mLibrary.Picture(bytes, *mConversion.format, mConversion.width, mConversion.height,
                                    mConversion.method == VEK_DEMOSAIC_MONO);
    RunPictureStages(image);
    return image;
}

SImage CConverter::Picture(std::span<const std::uint8_t> bytes) {
    SImage image = Developed(bytes);
    return mConversion.display ? displayed(image, mConversion) : scaledToDepth(std::move(image), mConversion.bitsOut);
}

} // namespace vek::client
