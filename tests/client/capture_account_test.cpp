// SPDX-License-Identifier: Apache-2.0
// The parts of a capture that only count: sequences, settings in force, policies, formats.
#include "client/Errors.h"
#include "client/capture/BufferPolicy.h"
#include "client/capture/CameraFailure.h"
#include "client/capture/CaptureAccount.h"
#include "client/capture/SettingsInForce.h"
#include "client/capture/VideoDevice.h"
#include "client/capture/VideoFormat.h"

#include "support/Random.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

using namespace std::chrono_literals;
using client::CSequence;

constexpr std::uint32_t kLast = 0xFFFFFFFF;

/// Frames lost in front of each of the numbers.
std::vector<std::uint64_t> lossesOf(const std::vector<std::uint32_t>& numbers) {
    CSequence sequence;
    sequence.Begin();
    std::vector<std::uint64_t> losses;
    for (const std::uint32_t number : numbers) {
        losses.push_back(sequence.Next(number, std::nullopt).lost);
    }
    return losses;
}

using Losses = std::vector<std::uint64_t>;

} // namespace

TEST(CaptureSequence, GapsAreLosses) {
    EXPECT_EQ(lossesOf({0, 1, 2, 5, 6}), (Losses{0, 0, 0, 2, 0}));
    EXPECT_EQ(lossesOf({3, 4}), (Losses{3, 0}));       // the first ones
    EXPECT_EQ(lossesOf({5000, 5001}), (Losses{0, 0})); // counted on from the stream before
}

TEST(CaptureSequence, NumbersGoRoundAt32Bits) {
    EXPECT_EQ(lossesOf({kLast - 1, kLast, 0, 1}), (Losses{0, 0, 0, 0}));
    EXPECT_EQ(lossesOf({kLast - 1, 1}), (Losses{0, 2}));
}

TEST(CaptureSequence, StepsBackAreNoLosses) {
    CSequence sequence;
    sequence.Begin();
    sequence.Next(10, std::nullopt);
    const CSequence::SStep back = sequence.Next(3, std::nullopt);
    EXPECT_TRUE(back.wentBack);
    EXPECT_EQ(back.lost, 0U);
    EXPECT_EQ(back.position, 11U);
    EXPECT_FALSE(sequence.Next(4, std::nullopt).wentBack);
    // A number twice, and counted on.
    EXPECT_FALSE(sequence.Next(4, std::nullopt).wentBack);
    EXPECT_TRUE(sequence.Next(5, std::nullopt).wentBack);
    EXPECT_TRUE(sequence.Counts());
}

TEST(CaptureSequence, StreamsBeginAnew) {
    CSequence sequence;
    sequence.Begin();
    EXPECT_EQ(sequence.Next(0, std::nullopt).position, 0U);
    EXPECT_EQ(sequence.Next(7, std::nullopt).position, 7U);
    sequence.Begin();
    const CSequence::SStep step = sequence.Next(0, std::nullopt);
    EXPECT_EQ(step.position, 0U);
    EXPECT_FALSE(step.wentBack);
    EXPECT_EQ(step.lost, 0U);
}

TEST(CaptureSequence, IntervalsTellOfLossesThatNumbersDoNotShow) {
    for (const bool counts : {false, true}) {
        CSequence sequence;
        sequence.Begin();
        CSequence::Time time = 5s;
        std::uint32_t number = 0;
        for (int i = 0; i < 20; ++i, time += 10ms) {
            EXPECT_EQ(sequence.Next(number, time).suspected, 0U);
            number += counts ? 1 : 0;
        }
        time += 30ms;
        const CSequence::SStep step = sequence.Next(number, time);
        EXPECT_EQ(step.suspected, 3U);
        EXPECT_EQ(step.lost, 0U);
        EXPECT_EQ(sequence.Counts(), counts);
        EXPECT_EQ(sequence.Interval(), CSequence::Time(10ms));
    }
}

TEST(CaptureSequence, IntervalsOfTriggersTellNothing) {
    CSequence sequence;
    sequence.Begin();
    CRandom random(3);
    CSequence::Time time = 5s;
    for (std::uint32_t i = 0; i < 200; ++i) {
        time += std::chrono::milliseconds(1 + random.Below(5000));
        EXPECT_EQ(sequence.Next(i, time).suspected, 0U);
    }
    EXPECT_FALSE(sequence.Interval());
}

TEST(CaptureSequence, PausesAndSlowerCamerasMissNothing) {
    CSequence sequence;
    sequence.Begin();
    CSequence::Time time = 5s;
    std::uint32_t number = 0;
    const auto next = [&](CSequence::Time distance) { return sequence.Next(number++, time += distance).suspected; };
    for (int i = 0; i < 20; ++i) {
        next(10ms);
    }
    EXPECT_EQ(next(25ms), 0U); // no multiple
    std::uint64_t suspected = 0;
    for (int i = 0; i < 100; ++i) {
        suspected += next(20ms);
    }
    EXPECT_LE(suspected, 8U);
    EXPECT_EQ(next(40ms), 1U); // the new interval is the usual one
}

TEST(CaptureSequence, AGapThatNumbersShowIsNotSuspectedAgain) {
    CSequence sequence;
    sequence.Begin();
    for (std::uint32_t i = 0; i < 20; ++i) {
        sequence.Next(i, i * 10ms + 1s);
    }
    const CSequence::SStep step = sequence.Next(23, 23 * 10ms + 1s);
    EXPECT_EQ(step.lost, 3U);
    EXPECT_EQ(step.suspected, 0U);
}

TEST(CaptureAccount, TheLawIsSaid) {
    client::SCaptureCounts counts;
    counts.delivered = 100;
    counts.lost = 3;
    counts.flagged = 1;
    counts.left = 8;
    EXPECT_EQ(counts.Sent(), 112U);
    EXPECT_EQ(client::conservationText(counts),
              "sent 112 = 100 delivered + 3 lost + 1 flagged + 0 short + 0 dropped + 8 left");
    EXPECT_EQ(client::incidentsText(counts), "");
    counts.timeouts = 1;
    counts.copied = 2;
    EXPECT_EQ(client::incidentsText(counts), "2 copied, 1 timeout");
    EXPECT_EQ(client::countsJson(counts)["sent"], 112);
}

TEST(CaptureSettings, FramesShowThemAfterTheDelay) {
    client::CSettingsInForce settings({.frames = {2, 0}});
    settings.Begin(client::EFrameSetting::Exposure, 100);
    settings.Begin(client::EFrameSetting::Gain, 5);
    EXPECT_EQ(settings.Of(0, 10ms).Exposure(), 100);
    settings.Set(client::EFrameSetting::Exposure, 200, 25ms);
    settings.Set(client::EFrameSetting::Gain, 9, 25ms);
    // Sent before, taken afterwards.
    client::SFrameSettings old = settings.Of(1, 20ms);
    EXPECT_EQ(old.Exposure(), 100);
    EXPECT_EQ(old.Gain(), 5);
    EXPECT_FALSE(old.settled);
    const client::SFrameSettings first = settings.Of(2, 30ms);
    EXPECT_EQ(first.Exposure(), 100);
    EXPECT_EQ(first.Gain(), 9);
    EXPECT_FALSE(first.settled);
    EXPECT_FALSE(settings.Of(3, 40ms).settled);
    const client::SFrameSettings shown = settings.Of(4, 50ms);
    EXPECT_EQ(shown.Exposure(), 200);
    EXPECT_TRUE(shown.settled);
}

TEST(CaptureSettings, LostFramesCountAsSent) {
    client::CSettingsInForce settings({.frames = {3, 0}});
    settings.Begin(client::EFrameSetting::Exposure, 1);
    settings.Set(client::EFrameSetting::Exposure, 2, 5ms);
    EXPECT_EQ(settings.Of(10, 10ms).Exposure(), 1);
    EXPECT_EQ(settings.Of(13, 40ms).Exposure(), 2); // 11 and 12 were lost
}

TEST(CaptureSettings, ChangesQuicklyAfterEachOther) {
    client::CSettingsInForce settings({.frames = {1, 0}});
    settings.Begin(client::EFrameSetting::Exposure, 1);
    settings.Set(client::EFrameSetting::Exposure, 2, 5ms);
    settings.Set(client::EFrameSetting::Exposure, 3, 15ms);
    EXPECT_EQ(settings.Of(0, 10ms).Exposure(), 1);
    EXPECT_EQ(settings.Of(1, 20ms).Exposure(), 2);
    EXPECT_EQ(settings.Of(2, 30ms).Exposure(), 3);
    settings.Set(client::EFrameSetting::Exposure, 4, 35ms);
    settings.Restart();
    EXPECT_EQ(settings.Of(0, 36ms).Exposure(), 4);
}

TEST(CapturePolicy, EachHasItsName) {
    for (const char* const name : {"wait", "drop-oldest", "drop-newest", "copy"}) {
        const auto policy = client::bufferPolicyNamed(name);
        ASSERT_TRUE(policy) << name;
        EXPECT_EQ(client::bufferPolicyName(*policy), name);
    }
    EXPECT_FALSE(client::bufferPolicyNamed("drop"));
}

TEST(CapturePolicy, WhatBecomesOfAFrame) {
    using client::EBufferPolicy;
    using client::EFrameTurn;
    const auto turn = [](EBufferPolicy policy, unsigned lent, unsigned waiting, unsigned droppable) {
        return client::turnOf(policy, 4, lent, waiting, droppable, 2);
    };
    for (const EBufferPolicy policy :
         {EBufferPolicy::Wait, EBufferPolicy::DropOldest, EBufferPolicy::DropNewest, EBufferPolicy::Copy}) {
        EXPECT_EQ(turn(policy, 0, 0, 0), EFrameTurn::Lend);
        EXPECT_EQ(turn(policy, 3, 1, 1), EFrameTurn::Lend);
    }
    EXPECT_EQ(turn(EBufferPolicy::Wait, 4, 0, 0), EFrameTurn::Leave);
    EXPECT_EQ(turn(EBufferPolicy::Wait, 2, 2, 2), EFrameTurn::Leave);
    EXPECT_EQ(turn(EBufferPolicy::DropNewest, 4, 1, 1), EFrameTurn::DropNewest);
    EXPECT_EQ(turn(EBufferPolicy::DropOldest, 4, 2, 2), EFrameTurn::DropOldest);
    EXPECT_EQ(turn(EBufferPolicy::DropOldest, 4, 0, 0), EFrameTurn::DropNewest); // readers hold them all
    EXPECT_EQ(turn(EBufferPolicy::Copy, 4, 1, 1), EFrameTurn::Copy);
    EXPECT_EQ(turn(EBufferPolicy::Copy, 4, 2, 0), EFrameTurn::Leave);
}

TEST(CaptureFormats, ThereAndBack) {
    for (const STransferFormat& format : kTransferFormats) {
        for (unsigned short array = VEK_COLOR_ARRAY_MONO; array <= VEK_COLOR_ARRAY_BGGR; ++array) {
            const auto fourCc = client::fourCcOf(format, array);
            ASSERT_TRUE(fourCc) << format.name;
            const auto meaning = client::meaningOf(*fourCc);
            ASSERT_TRUE(meaning) << format.name << ' ' << client::fourCcText(*fourCc);
            EXPECT_EQ(meaning->format->depth, format.depth);
            EXPECT_EQ(meaning->format->RowBytes(64), format.RowBytes(64)) << format.name;
            if (format.content == EContent::Raw && !format.IsPacked()) {
                EXPECT_EQ(meaning->colorArray, array) << format.name;
            }
        }
    }
    EXPECT_FALSE(client::meaningOf(0x47504A4D)); // MJPG
    EXPECT_EQ(client::fourCcText(0x47504A4D), "MJPG");
    EXPECT_EQ(client::fourCcText(1), "????");
}

TEST(CaptureFailures, EachKindHasItsMessage) {
    const std::pair<int, client::ECameraFailure> kinds[] = {
        {EINTR, client::ECameraFailure::Interrupted}, {EAGAIN, client::ECameraFailure::NoFrame},
        {EIO, client::ECameraFailure::Transfer},      {ENODEV, client::ECameraFailure::Unplugged},
        {EBUSY, client::ECameraFailure::InUse},       {ENOSPC, client::ECameraFailure::NoBandwidth}};
    std::vector<std::string> messages;
    for (const auto& [error, kind] : kinds) {
        try {
            client::throwCameraFailure("the camera", "start streaming", error);
        } catch (const client::CCameraFailure& failure) {
            EXPECT_EQ(failure.Kind(), kind);
            EXPECT_TRUE(std::string(failure.what()).starts_with("the camera: cannot start streaming: "));
            EXPECT_EQ(std::count(messages.begin(), messages.end(), failure.what()), 0);
            messages.emplace_back(failure.what());
        }
    }
    EXPECT_EQ(messages.size(), 6U);
    EXPECT_THROW(client::throwCameraFailure("the camera", "start", EPERM), client::CFailure);
}

TEST(CaptureIdentity, SerialNumbersComeFirst) {
    const client::SCameraIdentity camera{"A", "usb-1", "77"};
    EXPECT_TRUE(camera.IsSame({"A", "usb-2", "77"}));
    EXPECT_FALSE(camera.IsSame({"A", "usb-1", "78"}));
    EXPECT_TRUE(camera.IsSame({"A", "usb-1", ""}));
    EXPECT_FALSE(camera.IsSame({"A", "usb-2", ""}));
    EXPECT_FALSE(camera.IsSame({"B", "usb-1", ""}));
}

} // namespace vek::test
