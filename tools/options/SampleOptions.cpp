// SPDX-License-Identifier: Apache-2.0
#include "tools/options/SampleOptions.h"

#include "client/files/InputFile.h"
#include "client/frames/DngInput.h"
#include "client/pictures/PictureInput.h"
#include "client/pictures/PngInput.h"
#include "client/recording/Recording.h"
#include "client/stages/ChainRun.h"
#include "client/stages/FrameSamples.h"

#include "tools/options/Options.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vek::tools {

namespace {

EFrameFile kindOf(const std::string& path) {
    if (isRecording(path)) {
        return EFrameFile::Recording;
    }
    if (const std::optional<SPngForm> png = pngFormOf(path)) {
        return png->gray && !png->transparent && png->bits >= 8 ? EFrameFile::Png : EFrameFile::Picture;
    }
    return isDngFile(path) ? EFrameFile::Dng : beginsAsPicture(path) ? EFrameFile::Picture : EFrameFile::Raw;
}

} // namespace

void addSampleOptions(CLI::App& command, SSampleOptions& options) {
    options.command = &command;
    addFrameSize(command, options.width, options.height);
    addChainFormat(command, options.format, "Of raw files; of a grey PNG file of 16 bits how many low ones count");
    addColorArray(command, options.colorArray, ", and has to be with bgr and ycrcb");
    addProfile(command, options.profile);
    addFrameChoice(command, options.choice, nullptr);
}

std::string SChosenSamples::Text() const {
    const std::string size = fmt::format("{} x {} pixels", image.width, image.height);
    if (format == nullptr) {
        return fmt::format("{}, {} picture of {} bits", size, image.channels == 1 ? "grey" : "colour", image.depth);
    }
    return format->IsRaw() ? fmt::format("{}, {}, {}", size, format->name, colorArrayName(colorArray))
                           : fmt::format("{}, {}", size, format->name);
}

SChosenSamples readChosenSamples(const CLibraryHandle& library, const SSampleOptions& options, const std::string& path,
                                 bool strict) {
    SChosenSamples samples;
    samples.path = path;
    SFrameChoice choice = options.choice;
    choice.path = path;
    requireReadable(path); // before something else is missed
    if (!choice.force && kindOf(path) == EFrameFile::Picture) {
        samples.kind = EFrameFile::Picture;
        if (strict) {
            requireFrameOptions(*options.command, path, samples.kind);
        }
        samples.image = readPicture(path);
        samples.colorArray = samples.image.channels == 1 ? VEK_COLOR_ARRAY_MONO : 0;
        return samples;
    }
    // What a file's own profile tells is not the next one's.
    SSampleOptions own = options;
    CChosenFrame frame(strict ? options.command : nullptr, {own.width, own.height, own.format, own.colorArray},
                       options.profile, choice);
    samples.kind = frame.Kind();
    samples.format = frame.Form().format;
    samples.colorArray = frame.Form().colorArray;
    samples.profile = frame.Profile();
    if (frame.Dng()) {
        samples.tags = frame.Dng()->tags;
    }
    samples.image = frameSamples(library, frame.Take(), usualThreads());
    return samples;
}

CSampleSeries::CSampleSeries(const CLibraryHandle& library, const SSampleOptions& options,
                             const std::vector<std::string>& files, const SFrameSteps& steps)
    : mLibrary(library), mOptions(options), mSteps(steps), mPaths(expandedPaths(files)), mNext(steps.first) {
    std::size_t pictures = 0;
    for (const std::string& path : mPaths) {
        requireReadable(path);
        const EFrameFile kind = options.choice.force && !isRecording(path) ? EFrameFile::Raw : kindOf(path);
        requireFrameOptions(*options.command, path, kind);
        pictures += kind == EFrameFile::Png || kind == EFrameFile::Picture ? 1 : 0;
    }
    if (pictures == 0) {
        orForced([&] {
            return &mFrames.emplace(
                mPaths, steps, options.choice, [this](const std::string& path) { return FormOf(path); }, warn);
        });
    } else if (pictures < mPaths.size()) {
        throw CBadArguments("raw frames and pictures cannot be measured together");
    } else if (steps.first >= mPaths.size()) {
        throw CFailure(fmt::format("no frame {}: {} there, counted from 0", steps.first,
                                   pictures == 1 ? "1 frame is" : fmt::format("{} frames are", pictures)));
    }
}

SRawForm CSampleSeries::FormOf(const std::string& path) {
    SSampleOptions own = mOptions;
    own.choice.path = path;
    const CChosenFrame frame(nullptr, {own.width, own.height, own.format, own.colorArray}, own.profile, own.choice);
    mProfile = mProfile ? mProfile : frame.Profile();
    return {frame.Form().format, frame.Form().width, frame.Form().height, frame.Form().colorArray};
}

std::optional<SChosenSamples> CSampleSeries::Next() {
    if (!mFrames) {
        const std::uint64_t last = std::min<std::uint64_t>(mSteps.last.value_or(mPaths.size()), mPaths.size() - 1);
        if (mNext > last) {
            return std::nullopt;
        }
        const std::string& path = mPaths[mNext];
        mNext += std::min<std::uint64_t>(mSteps.step, mPaths.size());
        return readChosenSamples(mLibrary, mOptions, path, true);
    }
    std::optional<SSeriesFrame> frame = orForced([&] { return mFrames->Next(); });
    if (!frame) {
        return std::nullopt;
    }
    SChosenSamples samples;
    samples.kind = frame->tags ? EFrameFile::Dng : EFrameFile::Raw;
    samples.path = frame->path;
    samples.format = frame->frame.format;
    samples.colorArray = frame->frame.colorArray;
    samples.tags = std::move(frame->tags);
    samples.profile = samples.tags ? std::nullopt : mProfile;
    samples.image = frameSamples(mLibrary, std::move(frame->frame), usualThreads());
    return samples;
}

} // namespace vek::tools
