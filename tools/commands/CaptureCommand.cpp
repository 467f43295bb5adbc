// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/capture/Capture.h"
#include "client/files/JsonText.h"
#include "client/frames/DngOutput.h"
#include "client/stages/OrderedRun.h"
#include "client/stages/StreamLuminance.h"
#include "client/statistics/FrameGlance.h"

#include "tools/commands/Commands.h"
#include "tools/commands/ConvertMakers.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/LiveOptions.h"
#include "tools/text/LiveLine.h"
#include "tools/text/Messages.h"
#include "tools/text/TimeText.h"

#include <fmt/args.h>
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace vek::tools {

namespace {

struct SCaptureArguments {
    SLiveOptions live;
    SConvertArguments picture;
    std::optional<std::uint64_t> frames;
    std::string output;
    bool discard = false;
    bool json = false;
    std::string alc;
    unsigned target = 128;
    std::uint64_t every = 1;
    std::string until;
    std::optional<double> onChange; ///< per cent
    bool settle = false;
    bool noLoss = false;
};

/// A frame on its way.
struct SCaptureJob {
    CFrameLease lease;
    SCapturedFrame frame;
    std::uint64_t number = 0; ///< of those that are kept
    bool measured = false;
    SFrameGlance glance{};
    std::optional<std::chrono::nanoseconds> pictured; ///< when its picture was made, CLOCK_MONOTONIC
    std::string output;
    std::unique_ptr<COutputFiles> files;
};

/// The name of a frame's file. Throws CBadArguments for a pattern that is none.
std::string outputName(const std::string& pattern, const SCapturedFrame& frame, std::uint64_t number) {
    try {
        return fmt::format(fmt::runtime(pattern), fmt::arg("seq", frame.sequence), fmt::arg("n", number),
                           fmt::arg("time", timeName(frame.wall)),
                           fmt::arg("exposure", frame.settings.Exposure().value_or(0)),
                           fmt::arg("gain", frame.settings.Gain().value_or(0)));
    } catch (const fmt::format_error&) {
        throw CBadArguments(fmt::format("--output {}: no pattern: {{seq}}, {{n}}, {{time}}, {{exposure}}, {{gain}} or "
                                        "with zeros in front, {{seq:06}}, are known, other braces are doubled",
                                        pattern));
    }
}

std::string_view nameOf(EFrameClock clock) {
    return clock == EFrameClock::Monotonic ? "monotonic" : clock == EFrameClock::Copied ? "copied" : "unknown";
}

class CCaptureRun {
public:
    explicit CCaptureRun(const SCaptureArguments& arguments) : mArguments(arguments), mPicture(arguments.picture) {
        mPicture.output = arguments.output.empty() ? "frame.png" : outputName(arguments.output, {}, 0);
        mDng = isDngName(mPicture.output);
        mKeeps = !arguments.output.empty() || arguments.discard;
        if (!arguments.output.empty()) {
            CheckPattern();
        }
        if (mDng) {
            requireNoPicture(mPicture);
        }
        if (!mPicture.profile.empty()) {
            mProfile = readProfile(mPicture.profile);
        }
        mUntil = untilOf(arguments.until);
    }

    void Run() {
        const unsigned threads = mPicture.conversion.threads;
        mLive = openLive(mArguments.live);
        mCapture.emplace(mLive.camera,
                         captureSetup(mArguments.live, mLive, 2 * threads, mProfile ? &*mProfile : nullptr));
        TakeForm();
        if (!mArguments.alc.empty()) {
            SLuminanceSettings settings;
            settings.mode = static_cast<unsigned char>(*findCode(alcModes(), mArguments.alc));
            settings.target = static_cast<unsigned short>(mArguments.target);
            mLuminance.emplace(*mCapture, settings);
        }
        mLine.emplace();
        mBegin = monotonicNow();
        std::exception_ptr error;
        try {
            runInOrder(threads,
                       {[this] { return Take(); }, [this](void* job) { Work(*static_cast<SCaptureJob*>(job)); },
                        [this](void* job) { return Finish(*static_cast<SCaptureJob*>(job)); },
                        [this] {
                            mInterrupted = true;
                            mCapture->End();
                        }});
        } catch (...) {
            error = std::current_exception();
        }
        mLine.reset();
        mCounts = mCapture->Stop();
        Tell();
        error = error ? error : mFailure;
        if (error) {
            std::rethrow_exception(error);
        }
        RequireAll();
    }

private:
    void CheckPattern() const {
        if (isStandardOutput(mArguments.output)) {
            throw CBadArguments("--output: frames do not go to standard output");
        }
        if (const std::string complaint = frameOutputComplaint(mPicture.output); !complaint.empty()) {
            throw CBadArguments("--output: " + complaint);
        }
        SCapturedFrame other;
        other.sequence = 1;
        other.wall = std::chrono::seconds(1);
        if (mArguments.frames.value_or(0) != 1 && outputName(mArguments.output, other, 1) == mPicture.output) {
            throw CBadArguments(
                fmt::format("--output {}: many frames need a pattern, as frame-{{seq:06}}.png", mArguments.output));
        }
    }

    void TakeForm() {
        const SVideoFormat& video = mCapture->Format();
        STransferredFrame form;
        form.format = video.format;
        form.width = video.width;
        form.height = video.height;
        form.colorArray = video.colorArray;
        takeForm(mPicture, form, mProfile);
        mPicture.conversion.threads = 1; // of a frame; frames are made on several
        if (mDng) {
            requireRaw(mPicture);
        }
    }

    bool Enough() const { return mArguments.frames && mKept >= *mArguments.frames; }

    std::shared_ptr<void> Take() {
        while (!Enough()) {
            std::optional<CFrameLease> lease;
            try {
                lease = nextFrame(*mCapture, mUntil, *mLine, [this] { DrawLine(); });
            } catch (const CFailure&) {
                mFailure = std::current_exception(); // the frames before are finished first
            }
            if (!lease) {
                return nullptr;
            }
            if (mLuminance) {
                mLuminance->See(*lease);
            }
            if (!IsKept(*lease)) {
                ++mPassed;
                continue;
            }
            return JobOf(std::move(*lease));
        }
        return nullptr;
    }

    bool IsKept(const CFrameLease& lease) {
        const SCapturedFrame& frame = lease.Frame();
        if (mArguments.settle && !frame.settings.settled) {
            return false;
        }
        if (mEvery++ % mArguments.every != 0) {
            return false;
        }
        if (mArguments.onChange) {
            const SFrameGlance glance = Glance(lease);
            if (mLastKept && largestChange(*mLastKept, glance) < *mArguments.onChange / 100) {
                return false;
            }
            mLastKept = glance;
        }
        return true;
    }

    SFrameGlance Glance(const CFrameLease& lease) const {
        const SVideoFormat& video = mCapture->Format();
        const unsigned white = mProfile ? mProfile->WhiteLevel().value_or(0) : 0;
        return glanceOf(lease.Bytes(), *video.format, video.width, video.height, white);
    }

    std::shared_ptr<void> JobOf(CFrameLease lease) {
        auto job = std::make_shared<SCaptureJob>();
        job->frame = lease.Frame();
        job->number = mKept++;
        job->measured = mArguments.json || IsLineDue();
        job->lease = std::move(lease);
        if (!mArguments.output.empty()) {
            job->output = outputName(mArguments.output, job->frame, job->number);
            if (!mOutputs.insert(job->output).second) {
                throw CFailure(fmt::format("{}: a frame before has that name; {{n}} tells them apart, whatever the "
                                           "camera counts",
                                           job->output));
            }
        }
        if (mKeeps && !mDng && mMakers == nullptr) {
            const auto read = [&]() -> const STransferredFrame& {
                mFirst = FrameOf(job->lease);
                return mFirst;
            };
            mMakers = std::make_unique<CMakers>(makerKind(mPicture, read, nullptr));
            mFirst = {};
        }
        return job;
    }

    STransferredFrame FrameOf(const CFrameLease& lease) const {
        const SVideoFormat& video = mCapture->Format();
        const std::span<const std::uint8_t> bytes = lease.Bytes();
        return {video.format, video.width, video.height, video.colorArray, {bytes.begin(), bytes.end()}};
    }

    void Work(SCaptureJob& job) {
        if (job.measured) {
            job.glance = Glance(job.lease);
        }
        if (mKeeps) {
            if (!job.output.empty()) {
                job.files = std::make_unique<COutputFiles>(filesRead(mPicture));
            }
            mDng ? MakeDng(job) : MakePicture(job);
            if (job.files != nullptr) {
                job.files->Complete();
            }
        }
        job.lease = {};
    }

    void MakeDng(SCaptureJob& job) const {
        SDngFrame dng = untouchedFrame(mPicture, CLibraryHandle(-1), FrameOf(job.lease));
        job.lease = {}; // the camera has its buffer while the file is written
        takeLevels(mPicture, dng);
        if (job.files != nullptr) {
            writeDng(job.files->Open(job.output), dng);
        }
    }

    void MakePicture(SCaptureJob& job) const {
        SMaker maker = mMakers->Take();
        const SPictureView picture = maker.picture(job.lease.Bytes());
        job.pictured = monotonicNow();
        job.lease = {};
        if (job.files != nullptr) {
            writePicture(job.files->Open(job.output), *pictureFormat(job.output), picture,
                         pictureOptions(mPicture, mMakers->Srgb()));
        }
        mMakers->Give(std::move(maker));
    }

    bool Finish(SCaptureJob& job) {
        if (job.files != nullptr) {
            job.files->Publish();
        }
        const std::scoped_lock lock(mMutex);
        ++mDone;
        mLast = job.frame.settings;
        if (job.measured) {
            mGlance = job.glance;
        }
        if (mArguments.json) {
            printNow(jsonLine(JsonOf(job)));
        }
        if (mLine->Due()) {
            DrawLocked();
        }
        return true;
    }

    static nlohmann::ordered_json JsonOf(const SCaptureJob& job) {
        const SCapturedFrame& frame = job.frame;
        nlohmann::ordered_json json = {
            {"n", job.number},
            {"sequence", frame.sequence},
            {"timestamp", std::chrono::duration<double>(frame.timestamp).count()},
            {"clock", nameOf(frame.clock)},
            {"moment", frame.moment == EFrameMoment::StartOfExposure ? "start of exposure" : "end of frame"},
            {"time", std::chrono::duration<double>(frame.wall).count()},
            {"lostBefore", frame.lostBefore},
            {"settled", frame.settings.settled},
            {"level", job.glance.level},
            {"clipped", job.glance.clipped}};
        if (frame.settings.Exposure()) {
            json["exposure"] = *frame.settings.Exposure();
        }
        if (frame.settings.Gain()) {
            json["gain"] = *frame.settings.Gain();
        }
        if (job.pictured) {
            json["latency"] = std::chrono::duration<double>(*job.pictured - frame.arrival).count();
        }
        if (!job.output.empty()) {
            json["output"] = job.output;
        }
        return json;
    }

    bool IsLineDue() {
        const std::scoped_lock lock(mMutex);
        return mLine->Due();
    }

    void DrawLine() {
        const std::scoped_lock lock(mMutex);
        DrawLocked();
    }
    void DrawLocked() {
        SLiveFigures figures;
        figures.state = mCapture->State();
        figures.frames = mDone;
        const double seconds = std::chrono::duration<double>(monotonicNow() - mBegin).count();
        if (mDone > 0 && seconds > 0) {
            figures.rate = static_cast<double>(mDone) / seconds;
        }
        if (mGlance) {
            figures.level = mGlance->level;
            figures.clipped = mGlance->clipped;
        }
        figures.settings = mLast;
        mLine->Draw(figures);
    }

    /// The account, however the run has ended.
    void Tell() const {
        const double seconds = std::chrono::duration<double>(monotonicNow() - mBegin).count();
        if (mArguments.json) {
            nlohmann::ordered_json account = countsJson(mCounts);
            account["kept"] = mDone;
            account["passed"] = mPassed;
            account["seconds"] = seconds;
            print(jsonLine({{"account", account}}));
            return;
        }
        std::string text =
            fmt::format("{} {} in {:.3g} s", mDone,
                        mArguments.output.empty() ? mArguments.discard ? "developed" : "taken" : "written", seconds);
        if (mPassed > 0) {
            text += fmt::format(", {} passed over", mPassed);
        }
        print(text + '\n' + conservationText(mCounts) + '\n');
        if (const std::string incidents = incidentsText(mCounts); !incidents.empty()) {
            print(incidents + '\n');
        }
    }

    void RequireAll() const {
        const std::uint64_t kept = mKept;
        if (mInterrupted && (mArguments.frames || mUntil) && !Enough()) {
            throw CCameraFailure(
                ECameraFailure::Interrupted,
                fmt::format("{}: a signal ended the capture after {} frames", mLive.camera->Name(), kept));
        }
        if (mCapture->SawEndOfStream() && mArguments.frames && !Enough()) {
            throw CCameraFailure(ECameraFailure::StreamEnded,
                                 fmt::format("{}: the camera ended the stream after {} of {} frames",
                                             mLive.camera->Name(), kept, *mArguments.frames));
        }
        requireNoLoss(mLive.camera->Name(), mCounts, mArguments.noLoss);
    }

    using Time = CCapture::Time;

    const SCaptureArguments& mArguments;
    SConvertArguments mPicture; ///< completed with the camera's form
    std::optional<SProfile> mProfile;
    bool mDng = false;
    bool mKeeps = false; ///< frames are developed, or written
    std::optional<Time> mUntil;
    SLiveCamera mLive;
    std::optional<CCapture> mCapture;
    std::optional<CStreamLuminance> mLuminance;
    STransferredFrame mFirst;
    std::unique_ptr<CMakers> mMakers;
    std::set<std::string> mOutputs;
    std::optional<SFrameGlance> mLastKept;
    std::uint64_t mEvery = 0;
    std::uint64_t mKept = 0;
    std::uint64_t mPassed = 0;
    std::atomic<bool> mInterrupted{false};
    std::exception_ptr mFailure; ///< why no more frames come
    SCaptureCounts mCounts;
    Time mBegin{};

    std::mutex mMutex; ///< what is shown
    std::optional<CLiveLine> mLine;
    std::uint64_t mDone = 0;
    std::optional<SFrameGlance> mGlance;
    SFrameSettings mLast;
};

} // namespace

void addCaptureCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("capture", "Take frames from a camera, develop and write them");
    const auto arguments = std::make_shared<SCaptureArguments>();
    SConvertArguments& picture = arguments->picture;
    picture.command = command;
    picture.conversion.threads = usualThreads();

    addLiveOptions(*command, arguments->live);
    command
        ->add_option("-n,--frames", arguments->frames,
                     "Frames to keep; by default until a signal, --until or the camera ends it")
        ->transform(range(1, 1000000000000));
    command
        ->add_option("-o,--output", arguments->output,
                     wrapped("Pattern of the files, of the kind that it ends in, as of \"vekcam convert\": {seq} is "
                             "the driver's number, {n} that of the kept frames, {time} when it was taken (UTC), "
                             "{exposure}, {gain}; {seq:06} with zeros in front. Without it frames are taken and "
                             "counted"))
        ->type_name("FILE");
    command->add_flag("--discard", arguments->discard, "Develop the frames and write nothing")
        ->disable_flag_override()
        ->excludes("--output");
    addUntil(*command, arguments->until);
    command->add_option("--every", arguments->every, "Keep the first of so many frames")
        ->capture_default_str()
        ->transform(range(1, 1000000000));
    command
        ->add_option("--on-change", arguments->onChange,
                     "Keep frames that differ from the one kept last: one of 16 x 12 parts is brighter or\ndarker by "
                     "so many per cent of the range")
        ->type_name("PERCENT")
        ->check(numberRange(0, 100));
    command
        ->add_flag("--settle", arguments->settle,
                   "Leave out frames that were under way when exposure or gain was set, as the profile's\n"
                   "controlDelay tells")
        ->disable_flag_override();
    command
        ->add_option("--alc", arguments->alc,
                     "Automatic luminance control on the stream, number or name: " + nameList(alcModes()))
        ->type_name("MODE")
        ->check(isCodeOf(alcModes()));
    command->add_option("--alc-target", arguments->target, "Mean level that it is to reach, of 8-bit samples")
        ->capture_default_str()
        ->transform(range(0, 255))
        ->needs("--alc");
    addNoLoss(*command, arguments->noLoss);
    command->add_flag("--json", arguments->json, "Print a JSON object for each kept frame, and the account behind them")
        ->disable_flag_override();
    addQueueOptions(*command, arguments->live);
    command
        ->add_option("--threads", picture.conversion.threads,
                     "Threads that develop and write frames, by default as many as the machine runs at once,\nup to 8")
        ->transform(range(1, kMostThreads));
    addProfile(*command, picture.profile);
    addPictureOptions(*command, picture);
    command->callback([arguments] { CCaptureRun(*arguments).Run(); });
}

} // namespace vek::tools
