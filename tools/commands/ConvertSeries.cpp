// SPDX-License-Identifier: Apache-2.0
#include "tools/commands/ConvertSeries.h"

#include "client/files/InputFile.h"
#include "client/files/JsonText.h"
#include "client/files/OutputPath.h"
#include "client/frames/DngOutput.h"
#include "client/recording/FrameSeriesOutput.h"
#include "client/recording/Recording.h"
#include "client/stages/OrderedRun.h"

#include "tools/options/FrameOptions.h"
#include "tools/text/Messages.h"
#include "tools/text/ProgressBar.h"

#include <fmt/args.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <utility>

namespace vek::tools {

namespace {

/// One frame on its way.
struct SJob {
    SSeriesFrame input;
    std::string output;
    std::shared_ptr<const SConvertArguments> arguments; ///< completed for frames of this form
    std::shared_ptr<CMakers> makers;                    ///< null: the output is a DNG file
    std::unique_ptr<COutputFiles> files;
    bool skipped = false;
    std::string failure;
};

/// The name of an output. Throws CBadArguments for a pattern that is none.
std::string outputName(const std::string& pattern, const std::string& name, std::uint64_t frame, std::uint64_t number) {
    try {
        return fmt::format(fmt::runtime(pattern), fmt::arg("name", name), fmt::arg("frame", frame),
                           fmt::arg("number", number));
    } catch (const fmt::format_error&) {
        throw CBadArguments(
            fmt::format("--output {}: no pattern: {{name}}, {{frame}}, {{number}} or with zeros in front, "
                        "{{frame:05}}, are known, other braces are doubled",
                        pattern));
    }
}

std::string frameText(const SSeriesFrame& frame) {
    return fmt::format("{}, frame {}", frame.path, frame.index);
}

class CSeries {
public:
    explicit CSeries(const SConvertArguments& arguments)
        : mArguments(arguments), mDng(isDngName(outputName(arguments.output, "x", 0, 0))) {
        if (mDng) {
            requireNoPicture(arguments);
        }
        if (arguments.input.frame) {
            throw CBadArguments("--frame is of one file's frame; --frames takes those of a series");
        }
        if (arguments.inputs.size() > 1 &&
            outputName(arguments.output, "a", 0, 0) == outputName(arguments.output, "b", 1, 1)) {
            throw CBadArguments(
                fmt::format("--output {}: many frames need a pattern, as {{name}}-{{frame}}.png", arguments.output));
        }
        if (isStandardOutput(arguments.output)) {
            throw CBadArguments("--output: the frames of a series do not go to standard output");
        }
        const CFrameFiles::BadFile bad = [this](const std::string& path, const std::string& reason) {
            mFailures.push_back(fmt::format("{}", reason.starts_with(path) ? reason : path + ": " + reason));
            Report({{"input", path}, {"error", reason}});
        };
        mFrames.emplace(
            expandedPaths(arguments.inputs), arguments.frames.value_or(SFrameSteps()), arguments.input,
            [this](const std::string& path) { return FormOf(path); }, warn,
            arguments.keepGoing ? bad : CFrameFiles::BadFile());
    }

    void Run() {
        mProgress.emplace(mFrames->Count().value_or(0));
        runInOrder(mArguments.conversion.threads,
                   {[this] { return Take(); }, [this](void* job) { Work(*static_cast<SJob*>(job)); },
                    [this](void* job) { return Finish(*static_cast<SJob*>(job)); }});
        mProgress.reset();
        if (mFailures.empty()) {
            return;
        }
        if (!mArguments.keepGoing) {
            throw CFailure(mFailures.front());
        }
        for (const std::string& failure : mFailures) {
            complain(failure);
        }
        complain(fmt::format("{} done, {} failed", mDone, mFailures.size()));
        throw CExit(kSomeFailed);
    }

private:
    /// Arguments for the frames of a file.
    std::shared_ptr<SConvertArguments> ArgumentsOf(const std::string& path) const {
        auto arguments = std::make_shared<SConvertArguments>(mArguments);
        arguments->input.path = path;
        arguments->output = outputName(mArguments.output, stemOf(path), 0, 0);
        return arguments;
    }

    SRawForm FormOf(const std::string& path) {
        std::shared_ptr<SConvertArguments> arguments = ArgumentsOf(path);
        SConversion& conversion = arguments->conversion;
        // Options that a PNG file has no use for may be of raw files beside it.
        const CChosenFrame input(nullptr,
                                 {conversion.width, conversion.height, arguments->format, arguments->colorArray},
                                 arguments->profile, arguments->input);
        takeForm(*arguments, input.Form(), input.Profile());
        mRaw[path] = std::move(arguments);
        return {conversion.format, conversion.width, conversion.height, conversion.colorArray};
    }

    /// What frames of a file become pictures by. White balance and exposure of the first one count for all of them, and
    /// for other files of the same form and profile.
    std::pair<std::shared_ptr<const SConvertArguments>, std::shared_ptr<CMakers>> MakersFor(const SSeriesFrame& frame) {
        if (!frame.tags) {
            const SConvertArguments& raw = *mRaw.at(frame.path);
            const SConversion& conversion = raw.conversion;
            const std::string profile = !raw.profile.empty() ? raw.profile : sidecarOf(frame.path).value_or("");
            const std::string key = fmt::format("{} {} {} {} {}", conversion.width, conversion.height,
                                                conversion.format->code, conversion.colorArray, profile);
            if (mMade != nullptr && mMadeKey == key) {
                return {mMadeOf, mMade};
            }
            mMadeKey = key;
        } else {
            mMadeKey.clear();
        }
        const auto arguments = frame.tags ? ArgumentsOf(frame.path) : mRaw.at(frame.path);
        if (frame.tags) {
            takeForm(*arguments, frame.frame, std::nullopt);
        }
        // Frames are made on several threads, each by one.
        arguments->conversion.threads = 1;
        mMadeOf = arguments;
        mMade = nullptr;
        if (mDng) {
            requireRaw(*arguments);
        } else {
            const auto read = [&]() -> const STransferredFrame& { return frame.frame; };
            mMade = std::make_shared<CMakers>(makerKind(*arguments, read, frame.tags ? &*frame.tags : nullptr));
        }
        return {mMadeOf, mMade};
    }

    std::shared_ptr<void> Take() {
        auto job = std::make_shared<SJob>();
        try {
            std::optional<SSeriesFrame> frame = mFrames->Next();
            if (!frame) {
                return nullptr;
            }
            job->input = std::move(*frame);
        } catch (const CFailure& failure) {
            job->input = mFrames->LeaveFile();
            job->failure = failure.what();
            return job;
        }
        const SSeriesFrame& frame = job->input;
        job->output = outputName(mArguments.output, stemOf(frame.path), frame.index, frame.number);
        if (!mOutputs.insert(job->output).second) {
            throw CBadArguments(
                fmt::format("--output {}: {} and a frame before it would become {}; {{number}} tells them "
                            "apart",
                            mArguments.output, frameText(frame), job->output));
        }
        job->skipped = mArguments.resume && isRegularFile(job->output);
        if (!job->skipped) {
            try {
                std::tie(job->arguments, job->makers) = MakersFor(frame);
            } catch (const CFailure& failure) {
                job->failure = failure.what();
            }
        }
        return job;
    }

    void Work(SJob& job) {
        if (job.skipped || !job.failure.empty()) {
            return;
        }
        const SConvertArguments& arguments = *job.arguments;
        try {
            job.files = std::make_unique<COutputFiles>(InputsOf(job));
            if (job.makers == nullptr) {
                SDngFrame dng = untouchedFrame(arguments, CLibraryHandle(-1), std::move(job.input.frame));
                if (job.input.meta) {
                    takeMeta(dng.tags, *job.input.meta);
                }
                if (job.input.tags) {
                    dng.tags = *job.input.tags;
                    dng.tags.linearization.clear();
                }
                takeLevels(arguments, dng);
                writeDng(job.files->Open(job.output), dng);
            } else {
                SMaker maker = job.makers->Take();
                const SPictureView picture = maker.picture(job.input.frame.bytes);
                writePicture(job.files->Open(job.output), *pictureFormat(job.output), picture,
                             pictureOptions(arguments, job.makers->Srgb()));
                job.makers->Give(std::move(maker));
            }
            job.files->Complete();
        } catch (const CFailure& failure) {
            job.failure = failure.what();
            job.files.reset();
        }
        job.input.frame.bytes = {};
    }

    static std::vector<std::string> InputsOf(const SJob& job) {
        std::vector<std::string> inputs = filesRead(*job.arguments);
        inputs.push_back(job.input.path);
        return inputs;
    }

    bool Finish(SJob& job) {
        if (job.failure.empty() && job.files != nullptr) {
            try {
                job.files->Publish();
            } catch (const CFailure& failure) {
                job.failure = failure.what();
            }
        }
        mProgress->Advance();
        nlohmann::ordered_json line = {
            {"input", job.input.path}, {"frame", job.input.index}, {"number", job.input.number}};
        if (!job.failure.empty()) {
            line["error"] = job.failure;
            Report(line);
            const bool tellsPath = job.failure.starts_with(job.input.path + ": ");
            mFailures.push_back(tellsPath ? job.failure : fmt::format("{}: {}", frameText(job.input), job.failure));
            return mArguments.keepGoing;
        }
        ++mDone;
        line["output"] = job.output;
        line["skipped"] = job.skipped;
        Report(line);
        return true;
    }

    void Report(const nlohmann::ordered_json& line) const {
        if (mArguments.json) {
            printNow(jsonLine(line));
        }
    }

    const SConvertArguments& mArguments;
    bool mDng;
    std::map<std::string, std::shared_ptr<SConvertArguments>> mRaw; ///< by the path of a raw file
    std::optional<CFrameFiles> mFrames;
    std::optional<CProgressBar> mProgress;
    std::set<std::string> mOutputs;
    std::string mMadeKey;
    std::shared_ptr<const SConvertArguments> mMadeOf;
    std::shared_ptr<CMakers> mMade;
    std::size_t mDone = 0;
    std::vector<std::string> mFailures;
};

} // namespace

void addSeriesOptions(CLI::App& command, SConvertArguments& arguments) {
    constexpr const char* kGroup = "Many frames";
    addParsedOption(command, "--frames", arguments.frames, parsedFrameSteps,
                    "is no FIRST:LAST:STEP, of which each may be left out",
                    "Which frames of the series, counted from 0 over all files; by default all")
        ->type_name("FIRST:LAST:STEP")
        ->group(kGroup);
    command.add_flag("--json", arguments.json, "Print a JSON object for each frame, one on a line")
        ->disable_flag_override()
        ->group(kGroup);
    command
        .add_flag("--keep-going", arguments.keepGoing,
                  "Go on after a frame that cannot be converted; the end says which, with exit code 4")
        ->disable_flag_override()
        ->group(kGroup);
    command
        .add_flag("--resume", arguments.resume,
                  "Leave out the frames whose file is there: files are complete or not there")
        ->disable_flag_override()
        ->group(kGroup);
}

bool isSeries(const SConvertArguments& arguments) {
    const bool pattern = arguments.output.find('{') != std::string::npos;
    const std::string& input = arguments.inputs.front();
    const bool glob = input.find_first_of("*?[") != std::string::npos && !isRegularFile(input);
    return arguments.inputs.size() > 1 || pattern || glob || arguments.frames || arguments.json ||
           arguments.keepGoing || arguments.resume;
}

void convertSeries(const SConvertArguments& arguments) {
    CSeries(arguments).Run();
}

bool isVideoName(const std::string& path) {
    return isNutName(path) || isSerName(path);
}

void convertToVideo(const SConvertArguments& arguments) {
    const std::string& path = arguments.inputs.front();
    requireNoPicture(arguments);
    if (arguments.inputs.size() > 1 || !isRecording(path)) {
        throw CBadArguments(fmt::format("{} is made of one recording, which has the frames' times", arguments.output));
    }
    for (const char* const option : {"--black", "--white", "--resume", "--json", "--keep-going", "--profile"}) {
        if (arguments.command->count(option) > 0) {
            throw CBadArguments(fmt::format("{} does not go with {}", option, arguments.output));
        }
    }
    requireFrameOptions(*arguments.command, path, EFrameFile::Recording);
    const CRecording recording(path);
    SRecordingForm form = recording.Form();
    form.pitch = 0;
    const SRawForm raw = {form.format, form.width, form.height, form.colorArray};
    SFrameSteps steps = arguments.frames.value_or(SFrameSteps());
    if (arguments.input.frame) {
        steps = {*arguments.input.frame, arguments.input.frame, 1};
    }
    CFrameFiles frames(
        {path}, steps, arguments.input, [&](const std::string&) { return raw; }, warn);
    const CLibraryHandle library(-1);
    const auto unpacked = [&](SSeriesFrame frame) {
        return form.format->IsRaw() ? unpackedFrame(library, std::move(frame.frame), arguments.conversion.threads)
                                    : std::move(frame.frame);
    };
    COutputFiles files(std::array{pathInside(path, std::string(kFramesName)), pathInside(path, std::string(kIndexName)),
                                  pathInside(path, std::string(kRecordingName))});
    std::unique_ptr<IFrameSeriesOutput> output;
    CProgressBar progress(*frames.Count());
    while (std::optional<SSeriesFrame> frame = frames.Next()) {
        const SFrameMeta meta = *frame->meta;
        const STransferredFrame words = unpacked(*std::move(frame));
        if (output == nullptr) {
            SRecordingForm written = form;
            written.format = words.format;
            COutputFile& file = files.Open(arguments.output);
            const ByteSink sink = [&file](std::span<const std::uint8_t> bytes) { file.Write(bytes); };
            output = isNutName(arguments.output) ? nutOutput(written, sink)
                                                 : serOutput(written, recording.Text().notes, *frames.Count(), sink);
        }
        output->Add(words.bytes, meta);
        progress.Advance();
    }
    output->Finish();
    files.Publish();
}

} // namespace vek::tools
