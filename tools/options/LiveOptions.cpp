// SPDX-License-Identifier: Apache-2.0
#include "tools/options/LiveOptions.h"

#include "client/camera/CameraInfo.h"
#include "client/capture/VideoDevice.h"
#include "client/files/InputFile.h"

#include "tools/options/FrameOptions.h"
#include "tools/options/Options.h"
#include "tools/simulation/SimulatedStream.h"
#include "tools/text/Messages.h"

#include "sim/ValueText.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <utility>

namespace vek::tools {

namespace {

constexpr double kLongestSeconds = 1e6;
constexpr std::size_t kLongestScript = 1U << 20;

std::chrono::nanoseconds nanoseconds(double seconds) {
    return std::chrono::nanoseconds(std::llround(seconds * 1e9));
}

/// "90s" -> 90.
std::optional<double> parsedSeconds(std::string_view text) {
    constexpr std::array<std::pair<std::string_view, double>, 4> kUnits = {
        {{"ms", 1e-3}, {"s", 1}, {"m", 60}, {"h", 3600}}};
    for (const auto& [unit, factor] : kUnits) {
        if (text.ends_with(unit)) {
            const std::optional<double> number =
                sim::readNumber(text.substr(0, text.size() - unit.size()), 0, kLongestSeconds);
            return number ? std::optional(*number * factor) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::optional<unsigned> digits(std::string_view text, std::size_t begin, std::size_t count, unsigned most) {
    return begin + count <= text.size() ? sim::readWhole<unsigned>(text.substr(begin, count), 0U, most) : std::nullopt;
}

std::chrono::nanoseconds wallClock() {
    return std::chrono::system_clock::now().time_since_epoch();
}

/// "18:30" or "18:30:15" into a time.
bool takeClock(std::string_view text, std::tm& time) {
    const bool seconds = text.size() == 8 && text[5] == ':';
    if ((text.size() != 5 && !seconds) || text[2] != ':') {
        return false;
    }
    const auto hour = digits(text, 0, 2, 23);
    const auto minute = digits(text, 3, 2, 59);
    const auto second = seconds ? digits(text, 6, 2, 59) : std::optional(0U);
    if (!hour || !minute || !second) {
        return false;
    }
    time.tm_hour = static_cast<int>(*hour);
    time.tm_min = static_cast<int>(*minute);
    time.tm_sec = static_cast<int>(*second);
    return true;
}

} // namespace

void addLiveOptions(CLI::App& command, SLiveOptions& options) {
    addCameraOptions(command, options.camera, "/dev/video0");
    CLI::Option* const device = options.camera.deviceOption;
    addFormat(command, options.format,
              wrapped(fmt::format("Transfer format that the camera is set to, by default the one that it has: {}",
                                  formatGroups())));
    command.add_option("--exposure", options.exposure, "Exposure clocks; the camera's current ones by default")
        ->transform(range(0, kMaxControl));
    command.add_option("--gain", options.gain, "Gain setting value; the camera's current one by default")
        ->transform(range(0, kMaxGain));
    command
        .add_option("--timeout", options.timeout,
                    "Longest wait for a frame, seconds; by default there is no end to it: a trigger camera\nsends the "
                    "next one now, or in an hour")
        ->type_name("SECONDS")
        ->check(numberRange(0.001, kLongestSeconds));
    command
        .add_flag("--reconnect", options.reconnect,
                  "Go on when the camera is plugged in again, by the account of before")
        ->disable_flag_override();
    addSimulatedSetup(command, options.setup, device);
    addLight(command, options.light, "Light on the simulated scene", device);
    command
        .add_option("--fps", options.framesPerSecond,
                    "Frames a second that the simulated camera sends, whether they are taken or not; by\ndefault it "
                    "sends one when one is asked for")
        ->check(numberRange(0.001, 1e6))
        ->excludes(device);
    command
        .add_option("--sim-delay", options.simulatedDelay,
                    "Frames that the simulated camera sends before one shows an exposure or gain that was set")
        ->capture_default_str()
        ->transform(range(0, client::kMostDelay))
        ->excludes(device);
    command
        .add_option("--faults", options.faults,
                    "File that tells what goes wrong on the simulated camera, one fault a line:\nframe 12 lose 3")
        ->type_name("FILE")
        ->excludes(device);
}

void addQueueOptions(CLI::App& command, SLiveOptions& options) {
    command.add_option("--queue", options.queue, "Frames that may wait until a thread is free")
        ->capture_default_str()
        ->transform(range(1, 100000));
    command
        .add_option("--policy", options.policy,
                    "What happens to a new frame when no buffer is left for it: wait (in the driver, which\nloses "
                    "frames when its buffers are full), drop-oldest, drop-newest, copy (to memory)")
        ->type_name("wait|drop-oldest|drop-newest|copy")
        ->capture_default_str()
        ->check(isText([](std::string_view text) { return client::bufferPolicyNamed(text).has_value(); },
                       "is none of: wait, drop-oldest, drop-newest, copy"));
    command
        .add_flag("--realtime", options.realtime, "Take frames with real-time priority (SCHED_FIFO), all memory locked")
        ->disable_flag_override();
}

void addUntil(CLI::App& command, std::string& until) {
    command.add_option("--until", until, "End after a time, 90s, 10m, 2h, or at one, 18:30, 2026-05-03T18:30:00")
        ->type_name("TIME")
        ->check(isText([](std::string_view text) { return parsedMoment(text, wallClock()).has_value(); },
                       "is neither a time, as 90s or 10m, nor a moment, as 18:30 or 2026-05-03T18:30:00"));
}

std::optional<std::chrono::nanoseconds> untilOf(const std::string& until) {
    if (until.empty()) {
        return std::nullopt;
    }
    const auto now = wallClock();
    return client::monotonicNow() + (*parsedMoment(until, now) - now);
}

void addNoLoss(CLI::App& command, bool& noLoss) {
    command
        .add_flag("--no-loss", noLoss,
                  "End with exit code 13 where a frame was lost, damaged or dropped; else that is a\nwarning")
        ->disable_flag_override();
}

void requireNoLoss(const std::string& camera, const client::SCaptureCounts& counts, bool noLoss) {
    const std::uint64_t lost = counts.lost + counts.flagged + counts.shortFrames + counts.dropped;
    if (lost == 0) {
        return;
    }
    const std::string text = fmt::format("{}: {} of {} frames did not come", camera, lost, counts.Sent());
    if (noLoss) {
        complain(text);
        throw CExit(kFramesLost);
    }
    warn(text);
}

std::optional<client::CFrameLease> nextFrame(client::CCapture& capture, std::optional<std::chrono::nanoseconds> until,
                                             const CLiveLine& line, const std::function<void()>& draw) {
    for (;;) {
        const std::chrono::nanoseconds look = client::monotonicNow() + std::chrono::milliseconds(500);
        const bool last = until && (!line.Visible() || *until <= look);
        const std::optional<std::chrono::nanoseconds> wait = last             ? until
                                                             : line.Visible() ? std::optional(look)
                                                                              : std::nullopt;
        if (until && client::monotonicNow() >= *until) {
            return std::nullopt;
        }
        std::optional<client::CFrameLease> lease = capture.Next(wait);
        if (lease || last || capture.Ended()) {
            return lease;
        }
        draw();
    }
}

SLiveCamera openLive(const SLiveOptions& options) {
    SLiveCamera live;
    if (options.camera.Simulated()) {
        const sim::SCameraModel& model = modelNamed(options.camera.model);
        sim::SSensorConfig sensor = sensorOf(model, options.setup);
        sensor.lightLevel = options.light;
        live.driver = std::make_shared<sim::CSimulatedDriver>(model, sensor);
        SSimulatedStream stream;
        stream.framesPerSecond = options.framesPerSecond;
        stream.controlDelay = options.simulatedDelay;
        stream.faults =
            options.faults.empty() ? "" : client::readWholeFile(options.faults, kLongestScript, "fault script");
        stream.faultsName = options.faults;
        const auto node = makeStreamingNode(live.driver, stream);
        live.camera = openNode(node);
        live.reopen = [node] { return reopenNode(node); };
    } else {
        const std::string path = options.camera.device;
        const auto device = std::make_shared<client::CVideoDevice>(path);
        live.camera = device;
        live.reopen = [path, identity = device->Identity()] { return client::reopened(path, identity); };
    }
    setExposureAndGain(*live.camera, options.exposure, options.gain);
    return live;
}

client::SCaptureSetup captureSetup(const SLiveOptions& options, const SLiveCamera& camera, unsigned readers,
                                   const client::SProfile* profile) {
    client::SCaptureSetup setup;
    setup.format = options.format.empty() ? nullptr : client::findTransferFormat(options.format);
    setup.queue = options.queue;
    setup.readers = readers;
    setup.policy = *client::bufferPolicyNamed(options.policy);
    if (options.timeout) {
        setup.timeout = nanoseconds(*options.timeout);
    }
    if (profile != nullptr) {
        for (const client::SControlDelay& delay : profile->controlDelays) {
            if (delay.control == "exposure" || delay.control == "gain") {
                setup.delays.frames[delay.control == "gain" ? 1 : 0] = delay.frames;
            }
        }
    }
    setup.realtime = options.realtime;
    if (options.reconnect) {
        setup.reopen = camera.reopen;
    }
    return setup;
}

std::optional<std::chrono::nanoseconds> parsedMoment(std::string_view text, std::chrono::nanoseconds now) {
    if (const std::optional<double> seconds = parsedSeconds(text)) {
        return now + nanoseconds(*seconds);
    }
    const std::time_t nowSeconds = std::chrono::duration_cast<std::chrono::seconds>(now).count();
    std::tm time{};
    localtime_r(&nowSeconds, &time);
    if (takeClock(text, time)) {
        time.tm_isdst = -1;
        std::chrono::nanoseconds moment = std::chrono::seconds(std::mktime(&time));
        if (moment <= now) {
            ++time.tm_mday;
            time.tm_isdst = -1;
            moment = std::chrono::seconds(std::mktime(&time));
        }
        return moment;
    }
    if (text.size() >= 16 && text[4] == '-' && text[7] == '-' && (text[10] == 'T' || text[10] == ' ')) {
        const auto year = digits(text, 0, 4, 9999);
        const auto month = digits(text, 5, 2, 12);
        const auto day = digits(text, 8, 2, 31);
        if (year && month && day && *month > 0 && *day > 0 && takeClock(text.substr(11), time)) {
            time.tm_year = static_cast<int>(*year) - 1900;
            time.tm_mon = static_cast<int>(*month) - 1;
            time.tm_mday = static_cast<int>(*day);
            time.tm_isdst = -1;
            return std::chrono::seconds(std::mktime(&time));
        }
    }
    return std::nullopt;
}

} // namespace vek::tools
