// SPDX-License-Identifier: Apache-2.0
// The capture engine on the simulated camera's node, whose truth its account is held against.
#include "client/Errors.h"
#include "client/camera/CameraInfo.h"
#include "client/capture/CameraControls.h"
#include "client/capture/Capture.h"
#include "client/capture/ControlDelay.h"
#include "client/stages/OrderedRun.h"
#include "client/stages/StreamLuminance.h"
#include "client/statistics/FrameGlance.h"

#include "sim/SimulatedDevice.h"
#include "sim/node/VideoNode.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <linux/videodev2.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vek::test {

namespace {

using namespace std::chrono_literals;
using client::CCapture;
using client::CFrameLease;
using client::ECameraFailure;

class CNodeCamera : public client::ICamera {
public:
    explicit CNodeCamera(std::shared_ptr<sim::CVideoNode> node) : mFd(sim::openSimulatedCamera(std::move(node))) {}
    ~CNodeCamera() override { sim::closeSimulatedCamera(mFd); }
    CNodeCamera(const CNodeCamera&) = delete;
    CNodeCamera& operator=(const CNodeCamera&) = delete;
    int Fd() const override { return mFd; }
    const std::string& Name() const override { return mName; }

private:
    std::string mName = "the camera";
    int mFd;
};

/// A camera of 64 x 48 pixels that streams.
struct SCamera {
    explicit SCamera(sim::SNodeSetup setup = {}, const std::string& script = {}) {
        const sim::SCameraModel& model = sim::findCameraModel("global-1m");
        sim::SSensorConfig sensor = sim::CSimulatedDriver::DefaultSensor(model);
        sensor.width = 64;
        sensor.height = 48;
        driver = std::make_shared<sim::CSimulatedDriver>(model, sensor);
        setup.faults = sim::parseFaultScript(script);
        node = std::make_shared<sim::CVideoNode>(driver, setup);
    }
    std::shared_ptr<const client::ICamera> Open() const { return std::make_shared<CNodeCamera>(node); }
    std::function<std::shared_ptr<const client::ICamera>()> Reopen() const {
        return [node = node]() -> std::shared_ptr<const client::ICamera> {
            node->Advance();
            return node->IsPlugged() ? std::make_shared<CNodeCamera>(node) : nullptr;
        };
    }

    std::shared_ptr<sim::CSimulatedDriver> driver;
    std::shared_ptr<sim::CVideoNode> node;
};

/// When cameras that run free stopped to send, so that accounts and truth are of the same frames; 0: they run.
std::atomic<std::int64_t> stillAt{0};

/// The cameras' clock stands still while it lives.
class CStillness {
public:
    CStillness() { stillAt = client::monotonicNow().count(); }
    ~CStillness() { stillAt = 0; }
    CStillness(const CStillness&) = delete;
    CStillness& operator=(const CStillness&) = delete;
};

sim::SNodeSetup freeRunning(double framesPerSecond) {
    sim::SNodeSetup setup;
    setup.now = [] { return stillAt != 0 ? sim::NodeTime(stillAt.load()) : client::monotonicNow(); };
    setup.pace = sim::EPace::Free;
    setup.framesPerSecond = framesPerSecond;
    setup.ring = 4;
    return setup;
}

/// Frames lost at the end, behind the last one that came, are seen by nobody.
void expectLaw(const client::SCaptureCounts& counts, const sim::SSentCounts& truth, const std::string& what) {
    EXPECT_LE(counts.Sent(), truth.sent) << what << ": " << client::conservationText(counts);
    EXPECT_EQ(counts.delivered + counts.dropped + counts.left, truth.whole) << what;
    EXPECT_EQ(counts.flagged, truth.flagged) << what;
    EXPECT_EQ(counts.shortFrames, truth.shortFrames) << what;
    EXPECT_LE(counts.lost, truth.lost + truth.noBuffer) << what;
    EXPECT_EQ(truth.sent - counts.Sent(), truth.lost + truth.noBuffer - counts.lost) << what;
}

/// The kind of failure that ends a call; nothing where none does.
std::optional<ECameraFailure> failureOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const client::CCameraFailure& failure) {
        EXPECT_FALSE(std::string(failure.what()).empty());
        return failure.Kind();
    }
    return std::nullopt;
}

/// Takes frames until so many have come, or the capture ends. Returns how many did.
unsigned taken(CCapture& capture, unsigned most) {
    unsigned count = 0;
    while (count < most && capture.Next()) {
        ++count;
    }
    return count;
}

std::size_t openDescriptors() {
    std::size_t count = 0;
    DIR* const folder = opendir("/proc/self/fd");
    while (readdir(folder) != nullptr) {
        ++count;
    }
    closedir(folder);
    return count;
}

std::size_t mappings() {
    std::ifstream maps("/proc/self/maps");
    return static_cast<std::size_t>(std::count(std::istreambuf_iterator<char>(maps), {}, '\n'));
}

} // namespace

TEST(CaptureStream, FramesAreThoseThatWereSent) {
    const SCamera camera;
    std::vector<std::vector<std::uint8_t>> sent;
    camera.node->SetLog(
        [&](const sim::SSentFrame& frame) { sent.emplace_back(frame.bytes.begin(), frame.bytes.end()); });
    CCapture capture(camera.Open(), {.format = transferFormat(VEK_TRANSFER_RAW12)});
    EXPECT_EQ(capture.Format().format->code, unsigned{VEK_TRANSFER_RAW12});
    EXPECT_EQ(capture.Format().width, 64U);
    EXPECT_EQ(capture.Format().colorArray, VEK_COLOR_ARRAY_RGGB);
    EXPECT_EQ(capture.Transfer(), client::ETransfer::Mapped);
    EXPECT_GE(capture.DriverShare(), 3U);
    std::vector<std::vector<std::uint8_t>> came;
    for (unsigned i = 0; i < 20; ++i) {
        const std::optional<CFrameLease> lease = capture.Next();
        ASSERT_TRUE(lease);
        EXPECT_EQ(lease->Frame().number, i);
        EXPECT_EQ(lease->Frame().sequence, i);
        EXPECT_EQ(lease->Frame().lostBefore, 0U);
        EXPECT_EQ(lease->Frame().clock, client::EFrameClock::Monotonic);
        EXPECT_EQ(lease->Frame().moment, client::EFrameMoment::EndOfFrame);
        EXPECT_EQ(lease->Frame().settings.Exposure(), static_cast<std::int32_t>(camera.driver->ExposureValue()));
        came.emplace_back(lease->Bytes().begin(), lease->Bytes().end());
    }
    const CStillness still;
    const client::SCaptureCounts counts = capture.Stop();
    EXPECT_EQ(counts.delivered, 20U);
    sent.resize(20);
    EXPECT_EQ(came, sent);
    expectLaw(counts, camera.node->Counts(), "all");
}

TEST(CaptureStream, MultiPlanarCamerasAndStartOfExposure) {
    sim::SNodeSetup setup;
    setup.multiPlanar = true;
    setup.startOfExposure = true;
    const SCamera camera(setup);
    CCapture capture(camera.Open(), {});
    const std::optional<CFrameLease> lease = capture.Next();
    ASSERT_TRUE(lease);
    EXPECT_EQ(lease->Bytes().size(), capture.Format().FrameBytes());
    EXPECT_EQ(lease->Frame().moment, client::EFrameMoment::StartOfExposure);
}

TEST(CaptureStream, FormatsAreAgreedOn) {
    const SCamera camera;
    for (const STransferFormat& format : kTransferFormats) {
        CCapture capture(camera.Open(), {.format = &format});
        EXPECT_EQ(capture.Format().format, &format);
        const std::optional<CFrameLease> lease = capture.Next();
        ASSERT_TRUE(lease) << format.name;
        EXPECT_EQ(lease->Bytes().size(), format.RowBytes(64) * 48) << format.name;
    }
}

TEST(CaptureStream, EachFaultIsCounted) {
    struct SCase {
        const char* script;
        std::uint64_t lost, flagged, shortFrames;
    };
    for (const SCase& fault :
         {SCase{"frame 5 lose 3", 3, 0, 0}, SCase{"frame 0 lose 2", 2, 0, 0}, SCase{"frame 5 flag 2", 0, 2, 0},
          SCase{"frame 7 short 100 2", 0, 0, 2}, SCase{"frame 3 lose\nframe 6 flag\nframe 8 short 0", 1, 1, 1},
          SCase{"frame 4 sequence 4294967293", 0, 0, 0}}) {
        const SCamera camera({}, fault.script);
        CCapture capture(camera.Open(), {});
        EXPECT_EQ(taken(capture, 30), 30U);
        const CStillness still;
        const client::SCaptureCounts counts = capture.Stop();
        EXPECT_EQ(counts.lost, fault.lost) << fault.script;
        EXPECT_EQ(counts.flagged, fault.flagged) << fault.script;
        EXPECT_EQ(counts.shortFrames, fault.shortFrames) << fault.script;
        EXPECT_EQ(counts.delivered, 30U) << fault.script;
        expectLaw(counts, camera.node->Counts(), fault.script);
    }
}

TEST(CaptureStream, EachFailureHasItsKind) {
    const std::pair<const char*, ECameraFailure> cases[] = {
        {"frame 6 unplug", ECameraFailure::Unplugged},    {"frame 6 source-change", ECameraFailure::FormatChanged},
        {"request 40 EIO", ECameraFailure::Transfer},     {"request 40 ENODEV", ECameraFailure::Unplugged},
        {"request 40 EBUSY", ECameraFailure::InUse},      {"request 40 ENOSPC", ECameraFailure::NoBandwidth},
        {"frame 4 stall 60000", ECameraFailure::NoFrame},
    };
    for (const auto& [script, kind] : cases) {
        const SCamera camera(freeRunning(1000), script);
        EXPECT_EQ(failureOf([&] {
                      CCapture capture(camera.Open(), {.timeout = 200ms});
                      taken(capture, 100);
                  }),
                  kind)
            << script;
    }
}

TEST(CaptureStream, EndOfStreamIsAnEnd) {
    const SCamera camera(freeRunning(1000), "frame 20 eos");
    CCapture capture(camera.Open(), {.queue = 30});
    const unsigned count = taken(capture, 1000);
    EXPECT_LT(count, 100U);
    EXPECT_TRUE(capture.SawEndOfStream());
    EXPECT_TRUE(capture.Ended());
    EXPECT_FALSE(capture.Next());
    const CStillness still;
    const client::SCaptureCounts counts = capture.Stop();
    expectLaw(counts, camera.node->Counts(), "eos");
}

TEST(CaptureStream, SomeoneElseStreams) {
    const SCamera camera;
    CCapture first(camera.Open(), {});
    ASSERT_TRUE(first.Next());
    EXPECT_EQ(failureOf([&] {
                  CCapture second(camera.Open(), {});
                  second.Next();
              }),
              ECameraFailure::InUse);
}

TEST(CaptureStream, TheDeadlineEndsTheWait) {
    sim::SNodeSetup setup;
    setup.pace = sim::EPace::Trigger;
    const SCamera camera(setup);
    CCapture capture(camera.Open(), {.timeout = 100ms});
    const auto begin = client::monotonicNow();
    EXPECT_EQ(failureOf([&] { capture.Next(); }), ECameraFailure::NoFrame);
    const auto waited = client::monotonicNow() - begin;
    EXPECT_GE(waited, 100ms);
    EXPECT_LT(waited, 5s);
    EXPECT_EQ(capture.Stop().timeouts, 1U);
}

TEST(CaptureStream, WaitingTakesNoProcessorTimeAndEndsWhenAsked) {
    sim::SNodeSetup setup;
    setup.pace = sim::EPace::Trigger;
    const SCamera camera(setup);
    CCapture capture(camera.Open(), {});
    EXPECT_FALSE(capture.Next(client::monotonicNow() + 20ms));
    EXPECT_FALSE(capture.Ended());
    auto waiting = std::async(std::launch::async, [&] { return capture.Next().has_value(); });
    std::this_thread::sleep_for(50ms);
    EXPECT_GE(client::monotonicNow() - capture.State().waitingSince, 50ms);
    camera.node->Trigger();
    EXPECT_TRUE(waiting.get());
    auto last = std::async(std::launch::async, [&] { return capture.Next().has_value(); });
    std::this_thread::sleep_for(20ms);
    capture.End();
    EXPECT_FALSE(last.get());
    EXPECT_TRUE(capture.Ended());
}

TEST(CaptureStream, SignalsOfOthersAreNoInterruption) {
    struct sigaction ignore {};
    ignore.sa_handler = [](int) {};
    struct sigaction before {};
    sigaction(SIGUSR1, &ignore, &before);
    sim::SNodeSetup setup;
    setup.pace = sim::EPace::Trigger;
    const SCamera camera(setup);
    CCapture capture(camera.Open(), {});
    auto waiting = std::async(std::launch::async, [&] { return capture.Next().has_value(); });
    for (int i = 0; i < 20; ++i) {
        std::this_thread::sleep_for(2ms);
        kill(getpid(), SIGUSR1);
    }
    camera.node->Trigger();
    EXPECT_TRUE(waiting.get());
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(CaptureStream, SlowReadersByEachPolicy) {
    for (const auto policy : {client::EBufferPolicy::Wait, client::EBufferPolicy::DropOldest,
                              client::EBufferPolicy::DropNewest, client::EBufferPolicy::Copy}) {
        sim::SNodeSetup setup;
        setup.pace = sim::EPace::Trigger;
        setup.ring = 4;
        const SCamera camera(setup);
        CCapture capture(camera.Open(), {.queue = 3, .readers = 2, .policy = policy});
        std::uint64_t last = 0;
        // Frames come ten times as fast as they are looked at, however busy the machine is.
        std::atomic<bool> more = true;
        std::thread pulses([&] {
            while (more) {
                camera.node->Trigger();
                std::this_thread::sleep_for(2ms);
            }
        });
        for (unsigned i = 0; i < 12; ++i) {
            const std::optional<CFrameLease> lease = capture.Next();
            EXPECT_TRUE(lease);
            if (!lease) {
                break;
            }
            EXPECT_TRUE(i == 0 || lease->Frame().position > last); // in order
            last = lease->Frame().position;
            std::this_thread::sleep_for(20ms);
        }
        more = false;
        pulses.join();
        const client::SCaptureCounts counts = capture.Stop();
        const std::string name(client::bufferPolicyName(policy));
        expectLaw(counts, camera.node->Counts(), name);
        const bool drops = policy == client::EBufferPolicy::DropOldest || policy == client::EBufferPolicy::DropNewest;
        EXPECT_EQ(counts.dropped > 0, drops) << name;
        if (!drops) {
            EXPECT_GT(counts.lost, 0U) << name; // the driver has no buffer for them
        }
        EXPECT_EQ(counts.copied > 0, policy == client::EBufferPolicy::Copy) << name;
    }
}

TEST(CaptureStream, TheDriverKeepsItsShare) {
    const SCamera camera;
    CCapture capture(camera.Open(), {.queue = 1, .readers = 3, .policy = client::EBufferPolicy::DropNewest});
    std::vector<CFrameLease> held;
    for (unsigned i = 0; i < capture.Buffers() - capture.DriverShare(); ++i) {
        held.push_back(*capture.Next());
    }
    // All that readers may hold is held: no more comes until one is given back.
    EXPECT_FALSE(capture.Next(client::monotonicNow() + 50ms));
    held.pop_back();
    EXPECT_TRUE(capture.Next());
    std::vector<std::vector<std::uint8_t>> before;
    for (const CFrameLease& lease : held) {
        before.emplace_back(lease.Bytes().begin(), lease.Bytes().end());
    }
    taken(capture, 20);
    for (std::size_t i = 0; i < held.size(); ++i) { // the driver has not written into them
        EXPECT_TRUE(std::equal(held[i].Bytes().begin(), held[i].Bytes().end(), before[i].begin()));
    }
}

TEST(CaptureStream, BuffersGoAfterTheLastReader) {
    const SCamera camera;
    auto capture = std::make_unique<CCapture>(camera.Open(), client::SCaptureSetup{});
    CFrameLease lease = *capture->Next();
    const std::vector<std::uint8_t> bytes(lease.Bytes().begin(), lease.Bytes().end());
    std::atomic<bool> ended{false};
    std::thread end([&] {
        capture.reset();
        ended = true;
    });
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(ended);
    const CFrameLease copy = lease;
    lease = {};
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(ended);
    EXPECT_TRUE(std::equal(copy.Bytes().begin(), copy.Bytes().end(), bytes.begin()));
    const_cast<CFrameLease&>(copy) = {};
    end.join();
    EXPECT_TRUE(ended);
}

TEST(CaptureStream, ConservationOfRandomRuns) {
    CRandom random(17);
    for (int run = 0; run < 40; ++run) {
        std::string script;
        std::uint64_t frame = 0;
        for (int i = 0; i < 12; ++i) {
            frame += 2 + random.Below(9);
            const char* const kinds[] = {"lose", "flag", "short 40", "stall 3"};
            const std::uint64_t kind = random.Below(4);
            script += "frame " + std::to_string(frame) + ' ' + kinds[kind];
            script += kind < 3 && random.Below(2) != 0 ? " 2\n" : "\n";
        }
        const bool free = random.Below(2) != 0;
        const SCamera camera(free ? freeRunning(2000) : sim::SNodeSetup(), script);
        client::SCaptureSetup setup;
        setup.queue = static_cast<unsigned>(1 + random.Below(6));
        setup.readers = static_cast<unsigned>(1 + random.Below(6));
        setup.policy = static_cast<client::EBufferPolicy>(random.Below(free ? 4 : 1));
        CCapture capture(camera.Open(), setup);
        std::vector<CFrameLease> held;
        for (int i = 0; i < 60; ++i) {
            std::optional<CFrameLease> lease = capture.Next(client::monotonicNow() + 5s);
            ASSERT_TRUE(lease) << script;
            if (random.Below(3) == 0) {
                held.push_back(std::move(*lease));
            }
            if (held.size() >= setup.readers) {
                held.clear();
            }
            if (free && random.Below(10) == 0) {
                std::this_thread::sleep_for(5ms);
            }
        }
        held.clear();
        const CStillness still;
        const client::SCaptureCounts counts = capture.Stop();
        EXPECT_EQ(counts.delivered, 60U);
        expectLaw(counts, camera.node->Counts(), script);
    }
}

TEST(CaptureStream, UnpluggedAgainAndAgain) {
    const SCamera camera;
    client::SCaptureSetup setup;
    setup.reopen = camera.Reopen();
    const std::size_t descriptors = openDescriptors();
    const std::size_t maps = mappings();
    {
        CCapture capture(camera.Open(), setup);
        for (unsigned i = 0; i < 100; ++i) {
            ASSERT_TRUE(capture.Next());
            camera.node->Unplug();
            camera.node->Replug();
            // Frames of before may wait still.
            while (capture.State().counts.interruptions <= i) {
                ASSERT_TRUE(capture.Next());
            }
        }
        const CStillness still;
        const client::SCaptureCounts counts = capture.Stop();
        EXPECT_EQ(counts.interruptions, 100U);
        EXPECT_EQ(counts.Sent(), counts.delivered + counts.left + counts.lost);
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_LE(mappings(), maps + 8);
}

TEST(CaptureStream, SettingsComeBackWithTheCamera) {
    const SCamera camera;
    client::SCaptureSetup setup;
    setup.reopen = camera.Reopen();
    CCapture capture(camera.Open(), setup);
    ASSERT_TRUE(capture.Next());
    capture.Set(client::EFrameSetting::Exposure, 4321);
    camera.driver->SetGain(0);
    camera.node->Unplug();
    camera.driver->SetExposure(77); // it has lost its power
    camera.node->Replug();
    while (capture.State().counts.interruptions == 0) {
        ASSERT_TRUE(capture.Next());
    }
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(capture.Next());
    }
    EXPECT_EQ(camera.driver->ExposureValue(), 4321U);
    EXPECT_EQ(capture.Next()->Frame().settings.Exposure(), 4321);
}

TEST(CaptureStream, NothingLeaks) {
    const SCamera camera;
    const auto once = [&] {
        CCapture capture(camera.Open(), {});
        taken(capture, 5);
    };
    once();
    const std::size_t descriptors = openDescriptors();
    const std::size_t maps = mappings();
    for (int i = 0; i < 50; ++i) {
        once();
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_LE(mappings(), maps + 8);
}

TEST(CaptureStream, SettingsInForceAreTheCamerasTruth) {
    for (const unsigned delay : {0U, 1U, 2U, 5U}) {
        sim::SNodeSetup node;
        node.controlDelay = delay;
        const SCamera camera(node);
        std::vector<std::pair<std::uint32_t, std::int32_t>> truth; // by sequence
        camera.node->SetLog([&](const sim::SSentFrame& frame) {
            truth.emplace_back(frame.sequence, static_cast<std::int32_t>(frame.exposure));
        });
        client::SCaptureSetup setup;
        setup.delays.frames = {delay, delay};
        CCapture capture(camera.Open(), setup);
        std::vector<std::pair<std::uint32_t, std::int32_t>> said;
        for (int i = 0; i < 120; ++i) {
            const std::optional<CFrameLease> lease = capture.Next();
            ASSERT_TRUE(lease);
            said.emplace_back(lease->Frame().sequence, lease->Frame().settings.Exposure().value_or(-1));
            if (i % 20 == 10) {
                capture.Set(client::EFrameSetting::Exposure, 5000 + i);
            }
        }
        capture.Stop();
        unsigned wrong = 0;
        for (std::size_t i = 0; i < said.size(); ++i) {
            ASSERT_EQ(said[i].first, truth[i].first);
            wrong += said[i].second != truth[i].second ? 1 : 0;
        }
        // A frame that is sent while the control is being set may be on either side.
        EXPECT_LE(wrong, 6U) << delay;
        if (delay > 0) {
            EXPECT_TRUE(std::any_of(said.begin(), said.end(), [](const auto& frame) { return frame.second == 5090; }));
        }
    }
}

TEST(CaptureStream, TheDelayOfControlsIsMeasured) {
    for (const unsigned delay : {0U, 1U, 3U}) {
        sim::SNodeSetup setup;
        setup.controlDelay = delay;
        const SCamera camera(setup);
        CCapture capture(camera.Open(), {});
        const auto levelOf = [&](const CFrameLease& lease) {
            const client::SVideoFormat& video = capture.Format();
            const client::SFrameGlance glance =
                client::glanceOf(lease.Bytes(), *video.format, video.width, video.height);
            return std::pair(glance.level, glance.clipped);
        };
        const client::SDelayMeasurement exposure =
            client::measuredDelay(capture, client::EFrameSetting::Exposure, 1, 100000, 4, levelOf);
        EXPECT_EQ(exposure.frames, delay);
        EXPECT_EQ(exposure.rounds.size(), 4U);
        const client::SDelayMeasurement gain =
            client::measuredDelay(capture, client::EFrameSetting::Gain, 0, 240, 4, levelOf);
        EXPECT_EQ(gain.frames, delay);
        EXPECT_EQ(gain.control, "gain");
        EXPECT_EQ(camera.driver->ExposureValue(), 10000U); // as it was
        EXPECT_EQ(camera.driver->GainValue(), 0U);
    }
}

TEST(CaptureStream, TheDelayIsNotGuessed) {
    for (const bool dark : {true, false}) {
        const SCamera camera;
        camera.driver->SetLightLevel(dark ? 0.0F : 1000.0F);
        CCapture capture(camera.Open(), {});
        const auto levelOf = [&](const CFrameLease& lease) {
            const client::SVideoFormat& video = capture.Format();
            const client::SFrameGlance glance =
                client::glanceOf(lease.Bytes(), *video.format, video.width, video.height);
            return std::pair(glance.level, glance.clipped);
        };
        try {
            client::measuredDelay(capture, client::EFrameSetting::Gain, 0, 240, 4, levelOf);
            ADD_FAILURE();
        } catch (const client::CFailure& failure) {
            EXPECT_NE(std::string(failure.what()).find(dark ? "too dark" : "too bright"), std::string::npos)
                << failure.what();
        }
    }
}

TEST(CaptureStream, LuminanceControlSettlesInSpiteOfDelays) {
    sim::SNodeSetup setup;
    setup.controlDelay = 3;
    const SCamera camera(setup);
    client::SCaptureSetup capturing;
    capturing.delays.frames = {3, 3};
    CCapture capture(camera.Open(), capturing);
    client::CStreamLuminance luminance(capture, {.target = 60});
    double level = 0;
    unsigned changes = 0;
    std::int32_t last = 0;
    for (int i = 0; i < 200; ++i) {
        const std::optional<CFrameLease> lease = capture.Next();
        ASSERT_TRUE(lease);
        luminance.See(*lease);
        const client::SVideoFormat& video = capture.Format();
        level = client::glanceOf(lease->Bytes(), *video.format, video.width, video.height).level * 255;
        const auto now = static_cast<std::int32_t>(camera.driver->ExposureValue());
        changes += i > 100 && now != last ? 1 : 0;
        last = now;
    }
    EXPECT_NEAR(level, 60, 12);
    EXPECT_EQ(changes, 0U); // at rest
}

TEST(CaptureStream, OrderedBehindWorkers) {
    const SCamera camera(freeRunning(2000));
    CCapture capture(camera.Open(), {.queue = 4, .readers = 8});
    struct SJob {
        CFrameLease lease;
        std::uint64_t number = 0;
    };
    std::vector<std::uint64_t> order;
    unsigned count = 0;
    client::runInOrder(4, {[&]() -> std::shared_ptr<void> {
                               if (count++ >= 100) {
                                   return nullptr;
                               }
                               auto job = std::make_shared<SJob>();
                               job->lease = *capture.Next();
                               return job;
                           },
                           [](void* job) {
                               auto& own = *static_cast<SJob*>(job);
                               own.number = own.lease.Frame().number;
                               std::this_thread::sleep_for(std::chrono::microseconds(own.number * 37 % 700));
                               own.lease = {};
                           },
                           [&](void* job) {
                               order.push_back(static_cast<SJob*>(job)->number);
                               return true;
                           }});
    EXPECT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    const CStillness still;
    const client::SCaptureCounts counts = capture.Stop();
    expectLaw(counts, camera.node->Counts(), "ordered");
}

TEST(OrderedRun, ASecondSignalEndsTheProgramUnlessItIsTheSame) {
    // A run that does not care about the first one.
    const auto endAfter = [](std::chrono::milliseconds pause) {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe(ends.data()), 0);
        const pid_t child = fork();
        if (child == 0) {
            client::runInOrder(1, {[&]() -> std::shared_ptr<void> {
                                       static_cast<void>(!write(ends[1], "t", 1));
                                       std::this_thread::sleep_for(std::chrono::seconds(2));
                                       return nullptr;
                                   },
                                   [](void*) {}, [](void*) { return true; },
                                   [&] { static_cast<void>(!write(ends[1], "i", 1)); }});
            _exit(7);
        }
        char told = 0;
        EXPECT_EQ(read(ends[0], &told, 1), 1); // it is under way
        kill(child, SIGINT);
        EXPECT_EQ(read(ends[0], &told, 1), 1);
        EXPECT_EQ(told, 'i');
        std::this_thread::sleep_for(pause);
        kill(child, SIGTERM);
        int status = 0;
        waitpid(child, &status, 0);
        close(ends[0]);
        close(ends[1]);
        return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    };
    EXPECT_EQ(endAfter(std::chrono::milliseconds(0)), 7);
    EXPECT_EQ(endAfter(std::chrono::milliseconds(500)), -SIGTERM);
}

TEST(CaptureControls, AreListedReadAndSet) {
    const SCamera camera;
    const auto opened = camera.Open();
    std::vector<client::SCameraControl> controls = client::cameraControls(*opened);
    for (const char* const name : {"exposure", "gain", "transfer_format", "image_width", "clock", "0x00980913"}) {
        EXPECT_NE(client::findControl(controls, name), nullptr) << name;
    }
    const client::SCameraControl& gain = *client::findControl(controls, "gain");
    EXPECT_EQ(gain.value, 0);
    EXPECT_EQ(gain.maximum, 240);
    EXPECT_EQ(gain.unit, "setting value");
    client::setCameraControl(*opened, gain, "30");
    EXPECT_EQ(camera.driver->GainValue(), 30U);
    EXPECT_THROW(client::setCameraControl(*opened, gain, "241"), client::CBadArguments);
    EXPECT_THROW(client::setCameraControl(*opened, gain, "much"), client::CBadArguments);
    EXPECT_THROW(client::setCameraControl(*opened, *client::findControl(controls, "clock"), "1"),
                 client::CBadArguments);
    EXPECT_EQ(client::findControl(controls, "focus"), nullptr);
    EXPECT_TRUE(
        std::is_sorted(controls.begin(), controls.end(), [](const auto& a, const auto& b) { return a.id < b.id; }));
}

} // namespace vek::test
