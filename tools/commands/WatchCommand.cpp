// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/capture/Capture.h"
#include "client/files/JsonText.h"
#include "client/stages/FrameSamples.h"
#include "client/stages/OrderedRun.h"
#include "client/statistics/FrameStatistics.h"
#include "client/statistics/IntervalMeter.h"

#include "tools/commands/Commands.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/LiveOptions.h"
#include "tools/options/Options.h"
#include "tools/text/HistogramText.h"
#include "tools/text/LuminanceReport.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vek::tools {

namespace {

constexpr std::chrono::nanoseconds kBetweenLines = std::chrono::seconds(1);
constexpr std::chrono::nanoseconds kBetweenDrawings = std::chrono::milliseconds(250);

struct SWatchArguments {
    SLiveOptions live;
    std::string profile;
    std::string region;
    std::optional<std::uint64_t> reports;
    bool json = false;
};

/// What is looked at together: two frames that follow each other tell the noise.
struct SWatched {
    CFrameLease first;
    CFrameLease second;
    SIntervals intervals;
    SCaptureCounts counts;
    std::optional<SFrameStatistics> statistics;
};

class CWatch {
public:
    explicit CWatch(const SWatchArguments& arguments)
        : mArguments(arguments), mLive(!arguments.json && outputIsLive()) {
        if (!arguments.profile.empty()) {
            mProfile = readProfile(arguments.profile);
        }
    }

    void Run() {
        mCamera = openLive(mArguments.live);
        SCaptureSetup setup = captureSetup(mArguments.live, mCamera, 4, mProfile ? &*mProfile : nullptr);
        mCapture.emplace(mCamera.camera, setup);
        TakeForm();
        std::exception_ptr error;
        try {
            runInOrder(2, {[this] { return Take(); }, [this](void* watched) { Work(*static_cast<SWatched*>(watched)); },
                           [this](void* watched) { return Finish(*static_cast<SWatched*>(watched)); },
                           [this] {
                               mInterrupted = true;
                               mCapture->End();
                           }});
        } catch (...) {
            error = std::current_exception();
        }
        const SCaptureCounts counts = mCapture->Stop();
        if (mArguments.json) {
            print(jsonLine({{"account", countsJson(counts)}}));
        } else {
            print(conservationText(counts) + '\n');
        }
        error = error ? error : mFailure;
        if (error) {
            std::rethrow_exception(error);
        }
        if (mInterrupted && mArguments.reports) {
            throw CCameraFailure(ECameraFailure::Interrupted, mCamera.camera->Name() + ": a signal ended the watch");
        }
    }

private:
    void TakeForm() {
        const SVideoFormat& video = mCapture->Format();
        const STransferFormat& format = *video.format;
        mForm.width = video.width;
        mForm.height = video.height;
        mForm.channels = format.IsRaw() ? 1 : 3;
        mForm.depth = format.IsRaw() ? format.depth : 8;
        mForm.colorArray = video.colorArray;
        mForm.region = regionInside(mArguments.region, video.width, video.height);
        mForm.white = (1U << mForm.depth) - 1;
        if (mProfile && format.IsRaw()) {
            mForm.white = mProfile->WhiteLevel().value_or(mForm.white);
            const PhaseSlots slots = phaseSlots(video.colorArray);
            for (std::size_t phase = 0; phase < slots.size(); ++phase) {
                const std::size_t color = isBayer(video.colorArray) ? slots[phase] : 0;
                mForm.black[color] = mProfile->BlackAt(phase / 2, phase % 2);
            }
        }
        const bool wide = std::min(mForm.region.width, mForm.region.height) >= kSmallestTile;
        mForm.tileColumns = wide ? 1 : 0;
        mForm.tileRows = mForm.tileColumns;
    }

    std::optional<CFrameLease> NextFrame() {
        try {
            return mCapture->Next();
        } catch (const CFailure&) {
            mFailure = std::current_exception(); // what was looked at is told first
            return std::nullopt;
        }
    }

    /// Frames until it is time to look at two of them.
    std::shared_ptr<void> Take() {
        if (mArguments.reports && mTaken >= *mArguments.reports) {
            return nullptr;
        }
        auto watched = std::make_shared<SWatched>();
        while (std::optional<CFrameLease> lease = NextFrame()) {
            mIntervals.Add(lease->Frame().position, lease->Frame().timestamp);
            if (watched->first) {
                watched->second = std::move(*lease);
                watched->intervals = mIntervals.Take();
                watched->counts = mCapture->State().counts;
                mLooked = monotonicNow();
                ++mTaken;
                return watched;
            }
            if (monotonicNow() - mLooked >= (mLive ? kBetweenDrawings : kBetweenLines)) {
                watched->first = std::move(*lease);
            }
        }
        return nullptr;
    }

    SImage SamplesOf(const CFrameLease& lease) const {
        const SVideoFormat& video = mCapture->Format();
        const std::span<const std::uint8_t> bytes = lease.Bytes();
        return frameSamples(CLibraryHandle(-1),
                            {video.format, video.width, video.height, video.colorArray, {bytes.begin(), bytes.end()}},
                            1);
    }

    void Work(SWatched& watched) const {
        const SImage first = SamplesOf(std::exchange(watched.first, {}));
        SStatisticsForm form = mForm;
        form.depth = first.depth;
        form.channels = first.channels;
        CFrameStatistics statistics(form);
        statistics.Add(first);
        statistics.Add(SamplesOf(std::exchange(watched.second, {})));
        watched.statistics = statistics.Result();
    }

    bool Finish(const SWatched& watched) {
        const SFrameStatistics& statistics = *watched.statistics;
        const double range = static_cast<double>((1U << mForm.depth) - 1);
        const bool focused = !statistics.sharpness.percents.empty();
        const double focus = focused ? statistics.sharpness.percents.front() : 0;
        mBest = std::max(mBest, focus);
        double level = 0;
        double clipped = 0;
        std::uint64_t count = 0;
        for (const SColorStatistics& color : statistics.colors) {
            level += color.mean * static_cast<double>(color.count);
            clipped += color.clipped * static_cast<double>(color.count);
            count += color.count;
        }
        level /= static_cast<double>(count) * range;
        clipped /= static_cast<double>(count);
        // Green is most of what the eye sees, and half of the samples.
        const SColorStatistics& green = statistics.colors.size() > 1 ? statistics.colors[1] : statistics.colors[0];
        const SIntervals& intervals = watched.intervals;
        if (mArguments.json) {
            nlohmann::ordered_json json = {{"level", level},
                                           {"clipped", clipped},
                                           {"noise", green.temporalNoise},
                                           {"intervals",
                                            {{"count", intervals.count},
                                             {"mean", intervals.mean},
                                             {"jitter", intervals.deviation},
                                             {"longest", intervals.longest}}},
                                           {"lost", watched.counts.lost}};
            if (focused) {
                json["focus"] = focus;
                json["best"] = mBest;
            }
            printNow(jsonLine(json));
            return true;
        }
        std::string line = focused ? fmt::format("focus {:6.2f} best {:6.2f}  ", focus, mBest) : std::string();
        line +=
            fmt::format("level {:5.1f} %  clipped {:5.2f} %  noise {:6.2f}  {:6.2f} fps +- {:.2f} ms  lost {}",
                        100 * level, 100 * clipped, green.temporalNoise, intervals.mean > 0 ? 1 / intervals.mean : 0.0,
                        1000 * intervals.deviation, watched.counts.lost);
        const std::string histogram = histogramLine(statistics.colors, mForm.depth);
        if (!mLive) {
            printNow(fmt::format("{}  [{}]\n", line, histogram));
            return true;
        }
        printNow(fmt::format("{}\033[?7l\033[K{}\n\033[K[{}]\n\033[?7h", std::exchange(mDrawn, true) ? "\033[2A" : "",
                             line, histogram));
        return true;
    }

    const SWatchArguments& mArguments;
    bool mLive;
    std::optional<SProfile> mProfile;
    SLiveCamera mCamera;
    std::optional<CCapture> mCapture;
    SStatisticsForm mForm;
    CIntervalMeter mIntervals;
    std::chrono::nanoseconds mLooked{};
    std::uint64_t mTaken = 0;
    double mBest = 0;
    bool mDrawn = false;
    std::atomic<bool> mInterrupted{false};
    std::exception_ptr mFailure; ///< why no more frames come
};

} // namespace

void addWatchCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("watch", "Show focus, level, noise and timing of a camera while it is set up");
    const auto arguments = std::make_shared<SWatchArguments>();
    addLiveOptions(*command, arguments->live);
    addRegion(*command, arguments->region, "What is looked at");
    command
        ->add_option("-n,--reports", arguments->reports,
                     "Lines, one a second, or four a second on a terminal; by default until a signal")
        ->transform(range(1, 1000000000));
    addProfile(*command, arguments->profile);
    command->add_flag("--json", arguments->json, "Print a JSON object for each report")->disable_flag_override();
    command->callback([arguments] { CWatch(*arguments).Run(); });
}

} // namespace vek::tools
