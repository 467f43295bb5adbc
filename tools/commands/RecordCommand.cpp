// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/camera/UnitConverter.h"
#include "client/capture/Capture.h"
#include "client/capture/VideoDevice.h"
#include "client/files/JsonText.h"
#include "client/profiles/RecordedProfile.h"
#include "client/recording/RecordingWriter.h"
#include "client/stages/LibraryHandle.h"
#include "client/stages/OrderedRun.h"
#include "client/statistics/FrameGlance.h"

#include "tools/commands/Commands.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/LiveOptions.h"
#include "tools/options/Options.h"
#include "tools/text/LiveLine.h"
#include "tools/text/Messages.h"
#include "tools/text/TimeText.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <ctime>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace vek::tools {

namespace {

struct SRecordArguments {
    SLiveOptions live;
    std::optional<std::uint64_t> frames;
    std::string output;
    std::string until;
    std::string profile;
    unsigned buffers = 0;
    bool force = false;
    bool noLoss = false;
    bool json = false;
};

const char* clockText(ERecordClock clock) {
    return clock == ERecordClock::Monotonic ? "monotonic" : clock == ERecordClock::Copied ? "copied" : "unknown";
}

/// Settings of a camera as times and decibels, as far as it tells its clocks and its gain curve.
class CSettingUnits {
public:
    explicit CSettingUnits(const ICamera& camera) : mLibrary(camera.Fd()), mUnits(mLibrary.Get()) {}

    std::optional<std::uint64_t> Nanoseconds(std::int32_t clocks) {
        return mTime.Of(clocks, [this](std::int32_t value) {
            return static_cast<std::uint64_t>(
                std::llround(double{mUnits.Seconds(static_cast<unsigned long>(value))} * 1e9));
        });
    }
    std::optional<std::int32_t> MilliDb(std::int32_t gain) {
        return mDecibels.Of(gain, [this](std::int32_t value) {
            return static_cast<std::int32_t>(
                std::lround(double{mUnits.Decibels(static_cast<unsigned short>(value))} * 1e3));
        });
    }

private:
    /// The last value that was converted: most frames have the one of the frame before.
    template <class T>
    struct SLast {
        std::optional<std::int32_t> value;
        std::optional<T> converted;

        template <class Convert>
        std::optional<T> Of(std::int32_t wanted, const Convert& convert) {
            if (value != wanted) {
                value = wanted;
                try {
                    converted = wanted >= 0 ? std::optional<T>(convert(wanted)) : std::nullopt;
                } catch (const CFailure&) {
                    converted = std::nullopt; // a camera without the controls of this family
                }
            }
            return converted;
        }
    };

    CLibraryHandle mLibrary;
    CUnitConverter mUnits;
    SLast<std::uint64_t> mTime;
    SLast<std::int32_t> mDecibels;
};

class CRecordRun {
public:
    explicit CRecordRun(const SRecordArguments& arguments) : mArguments(arguments) {
        if (!arguments.profile.empty()) {
            mProfile = readProfile(arguments.profile);
        }
        mUntil = untilOf(arguments.until);
        try {
            mOutput = fmt::format(fmt::runtime(arguments.output), fmt::arg("time", timeName(wallNow())));
        } catch (const fmt::format_error&) {
            throw CBadArguments(
                fmt::format("--output {}: no pattern: {{time}} is known, other braces are doubled", arguments.output));
        }
    }

    void Run() {
        constexpr unsigned kReaders = 2; // the frame that is copied, and the next one
        mLive = openLive(mArguments.live);
        mCapture.emplace(mLive.camera, captureSetup(mArguments.live, mLive, kReaders, mProfile ? &*mProfile : nullptr));
        TakeUnits();
        MakeWriter();
        mLine.emplace();
        mBegin = monotonicNow();
        std::exception_ptr error;
        try {
            runInOrder(1, {[this] { return Take(); }, [](void*) {}, [](void*) { return true; },
                           [this] {
                               mInterrupted = true;
                               mCapture->End();
                           }});
        } catch (...) {
            error = std::current_exception();
        }
        mSeconds = std::chrono::duration<double>(monotonicNow() - mBegin).count();
        mLine.reset();
        mCounts = mCapture->Stop();
        try {
            mWriter->Flush();
        } catch (...) {
            error = error ? error : std::current_exception();
        }
        Finish(error);
        Tell();
        if (error) {
            Rethrow(error);
        }
        RequireAll();
    }

private:
    using Time = CCapture::Time;

    void TakeUnits() {
        try {
            mUnits.emplace(*mLive.camera);
        } catch (const CFailure&) {
            mUnits.reset(); // no trigger camera
        }
    }

    void MakeWriter() {
        const SVideoFormat& video = mCapture->Format();
        SRecordingSetup setup;
        setup.form = {video.format, video.width, video.height, video.colorArray, video.fourCc, 0};
        mNotes.tool = "vekcam " VEKCAM_VERSION;
        mNotes.device["name"] = mLive.camera->Name();
        if (const auto device = std::dynamic_pointer_cast<const CVideoDevice>(mLive.camera)) {
            const SCameraIdentity& identity = device->Identity();
            mNotes.device["card"] = identity.card;
            mNotes.device["bus"] = identity.busInfo;
            mNotes.device["serial"] = identity.serial;
        }
        if (mProfile) {
            mNotes.profile = recordedProfileJson(*mProfile);
        }
        mNotes.started = momentText(wallNow());
        setup.notes = mNotes;
        setup.force = mArguments.force;
        setup.buffers = mArguments.buffers;
        mWriter.emplace(mOutput, setup);
    }

    bool Enough() const { return mArguments.frames && mTaken >= *mArguments.frames; }

    std::shared_ptr<void> Take() {
        if (Enough()) {
            return nullptr;
        }
        const std::optional<CFrameLease> lease = nextFrame(*mCapture, mUntil, *mLine, [this] { Draw(); });
        if (!lease) {
            return nullptr;
        }
        const SCapturedFrame& frame = lease->Frame();
        const SFrameMeta meta = MetaOf(frame);
        mNotes.clock = mTaken == 0 ? clockText(meta.clock) : mNotes.clock;
        mLast = frame.settings;
        if (mLine->Due()) {
            const SVideoFormat& video = mCapture->Format();
            const unsigned white = mProfile ? mProfile->WhiteLevel().value_or(0) : 0;
            mGlance = glanceOf(lease->Bytes(), *video.format, video.width, video.height, white);
            Draw();
        }
        mWriter->Add(lease->Bytes(), meta);
        ++mTaken;
        return mStep;
    }

    SFrameMeta MetaOf(const SCapturedFrame& frame) {
        SFrameMeta meta;
        meta.position = frame.position;
        meta.sequence = frame.sequence;
        meta.driverFlags = frame.flags;
        meta.timeNs = frame.timestamp.count();
        meta.clock = frame.clock == EFrameClock::Monotonic ? ERecordClock::Monotonic
                     : frame.clock == EFrameClock::Copied  ? ERecordClock::Copied
                                                           : ERecordClock::Unknown;
        meta.moment =
            frame.moment == EFrameMoment::StartOfExposure ? ERecordMoment::StartOfExposure : ERecordMoment::EndOfFrame;
        meta.arrivalNs = frame.arrival.count();
        meta.wallNs = frame.wall.count();
        meta.lostBefore = static_cast<std::uint32_t>(frame.lostBefore);
        meta.exposure = frame.settings.Exposure();
        meta.gain = frame.settings.Gain();
        meta.settled = frame.settings.settled;
        if (mUnits && meta.exposure) {
            meta.exposureNs = mUnits->Nanoseconds(*meta.exposure);
        }
        if (mUnits && meta.gain) {
            meta.gainMilliDb = mUnits->MilliDb(*meta.gain);
        }
        return meta;
    }

    void Draw() {
        SLiveFigures figures;
        figures.state = mCapture->State();
        figures.frames = mTaken;
        const double seconds = std::chrono::duration<double>(monotonicNow() - mBegin).count();
        if (mTaken > 0 && seconds > 0) {
            figures.rate = static_cast<double>(mTaken) / seconds;
        }
        if (mGlance) {
            figures.level = mGlance->level;
            figures.clipped = mGlance->clipped;
        }
        figures.settings = mLast;
        mLine->Draw(figures);
    }

    std::string Reason(const std::exception_ptr& error) const {
        if (error) {
            try {
                std::rethrow_exception(error);
            } catch (const std::exception& failure) {
                return oneLine(failure.what());
            }
        }
        return Enough()                     ? "the number of frames was reached"
               : mInterrupted               ? "a signal"
               : mCapture->SawEndOfStream() ? "the camera ended the stream"
               : mUntil                     ? "the time was reached"
                                            : "the capture ended";
    }

    void Finish(const std::exception_ptr& error) {
        mNotes.ended = momentText(wallNow());
        mNotes.why = Reason(error);
        mNotes.account = AccountJson(mWriter->Counts());
        mRecorded = mWriter->Finish(mNotes);
    }

    nlohmann::ordered_json AccountJson(const SRecordingCounts& recorded) const {
        nlohmann::ordered_json account = countsJson(mCounts);
        account["recorded"] = recorded.written;
        account["notRecorded"] = mCounts.delivered - recorded.written;
        account["bytes"] = recorded.bytes;
        account["direct"] = recorded.direct;
        account["mostWaiting"] = recorded.mostWaiting;
        account["seconds"] = mSeconds;
        return account;
    }

    void Tell() const {
        if (mArguments.json) {
            print(jsonLine({{"account", AccountJson(mRecorded)}}));
            return;
        }
        const double megabytes = static_cast<double>(mRecorded.bytes) / 1e6;
        std::string text = fmt::format("{} recorded in {:.3g} s, {:.4g} MB", mRecorded.written, mSeconds, megabytes);
        if (mSeconds > 0) {
            text += fmt::format(", {:.4g} MB/s", megabytes / mSeconds);
        }
        text += mRecorded.direct ? "" : ", through the page cache";
        print(text + '\n' + conservationText(mCounts) + '\n');
        if (const std::uint64_t missing = mCounts.delivered - mRecorded.written; missing > 0) {
            print(fmt::format("{} of the delivered frames not recorded\n", missing));
        }
        if (const std::string incidents = incidentsText(mCounts); !incidents.empty()) {
            print(incidents + '\n');
        }
    }

    [[noreturn]] void Rethrow(const std::exception_ptr& error) const {
        try {
            std::rethrow_exception(error);
        } catch (const CDiskFull& full) {
            throw CDiskFull(fmt::format("{}; the {} frames before are recorded", full.what(), mRecorded.written));
        }
    }

    void RequireAll() const {
        if (mInterrupted && (mArguments.frames || mUntil) && !Enough()) {
            throw CCameraFailure(
                ECameraFailure::Interrupted,
                fmt::format("{}: a signal ended the recording after {} frames", mLive.camera->Name(), mTaken));
        }
        if (mCapture->SawEndOfStream() && mArguments.frames && !Enough()) {
            throw CCameraFailure(ECameraFailure::StreamEnded,
                                 fmt::format("{}: the camera ended the stream after {} of {} frames",
                                             mLive.camera->Name(), mTaken, *mArguments.frames));
        }
        requireNoLoss(mLive.camera->Name(), mCounts, mArguments.noLoss);
    }

    const SRecordArguments& mArguments;
    std::string mOutput;
    std::optional<SProfile> mProfile;
    std::optional<Time> mUntil;
    SLiveCamera mLive;
    std::optional<CSettingUnits> mUnits;
    SRecordingNotes mNotes;
    std::optional<CRecordingWriter> mWriter;
    std::optional<CCapture> mCapture;
    std::optional<CLiveLine> mLine;
    std::shared_ptr<void> mStep = std::make_shared<int>();
    std::optional<SFrameGlance> mGlance;
    SFrameSettings mLast;
    std::uint64_t mTaken = 0;
    std::atomic<bool> mInterrupted{false};
    Time mBegin{};
    double mSeconds = 0;
    SCaptureCounts mCounts;
    SRecordingCounts mRecorded;
};

} // namespace

void addRecordCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("record", "Record the frames of a camera as they come");
    const auto arguments = std::make_shared<SRecordArguments>();
    addLiveOptions(*command, arguments->live);
    command
        ->add_option("-n,--frames", arguments->frames,
                     "Frames to record; by default until a signal, --until or the camera ends it")
        ->transform(range(1, 1000000000000));
    command
        ->add_option(
            "-o,--output", arguments->output,
            wrapped("Folder to make, run.vrec: frames.raw has the frames, index.bin what is known of each, "
                    "recording.json of all. {time} stands for the moment of the beginning (UTC). \"vekcam convert\" "
                    "and the other commands take the folder as a file"))
        ->type_name("FOLDER")
        ->required();
    command->add_flag("--force", arguments->force, "Replace a recording that is there")->disable_flag_override();
    addUntil(*command, arguments->until);
    addProfile(*command, arguments->profile)
        ->description("Camera profile, as \"vekcam profile new\" writes it: the recording keeps it, and it tells\n"
                      "the delay of controls");
    command
        ->add_option("--buffers", arguments->buffers,
                     "Frames that may wait for the disk; by default 16, of small frames as many as 16 MB hold")
        ->transform(range(2, 100000));
    addNoLoss(*command, arguments->noLoss);
    command->add_flag("--json", arguments->json, "Print the account as JSON")->disable_flag_override();
    addQueueOptions(*command, arguments->live);
    command->callback([arguments] { CRecordRun(*arguments).Run(); });
}

} // namespace vek::tools
