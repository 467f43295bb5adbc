// SPDX-License-Identifier: Apache-2.0
// Luminance control in a closed loop: library, driver and sensor together, before an even wall.
#include "control/LuminanceCtrl/ClosedLoop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>

namespace vek::test {

namespace {

constexpr unsigned kTarget = 128;
constexpr unsigned kDeadBand = 5;
constexpr unsigned kRestBand = 10;
constexpr unsigned kTail = 40; // frames in which a loop at rest has to stay there

/// A model and the frames in which it settles, from either end. Where a curve's two directions are no inverse of each
/// other, gain goes back too far in one step and returns in steps of one setting value.
struct SLoopModel {
    const char* name;
    unsigned frames;
};

void PrintTo(const SLoopModel& model, std::ostream* stream) {
    *stream << model.name;
}

bool isExposureMode(unsigned mode) {
    return mode != VEK_ALC_GAIN && mode != VEK_ALC_GAIN_ONCE;
}
bool isGainMode(unsigned mode) {
    return mode != VEK_ALC_EXPOSURE && mode != VEK_ALC_EXPOSURE_ONCE;
}

class AlcClosedLoop : public ::testing::TestWithParam<SLoopModel> {
protected:
    static const sim::SCameraModel& Model() { return sim::findCameraModel(GetParam().name); }
    static std::string Name() { return GetParam().name; }

    /// A loop that starts at one end of its range.
    struct SStart {
        bool bright;
        std::uint32_t Exposure() const { return bright ? 0 : 1; }
        unsigned Gain() const { return bright ? Model().maxGain : Model().initialGain; }
    };

    /// No setting between the ones that a loop swings between has a level in the dead band.
    static void ExpectNothingBetween(CClosedLoop& loop, const std::vector<SLoopStep>& steps) {
        const auto [darkest, brightest] = std::minmax_element(
            steps.begin(), steps.end(), [](const auto& a, const auto& b) { return a.level < b.level; });
        ASSERT_TRUE(darkest->level < kTarget && brightest->level > kTarget) << "still on its way";
        const unsigned maxShort = loop.MaxShortExposure();
        const auto clocks = [=](const SLoopStep& step) { return step.exposure != 0 ? step.exposure : maxShort; };
        const auto [shortest, longest] = std::minmax_element(
            steps.begin(), steps.end(), [&](const auto& a, const auto& b) { return clocks(a) < clocks(b); });
        const auto [low, high] = std::minmax_element(steps.begin(), steps.end(),
                                                     [](const auto& a, const auto& b) { return a.gain < b.gain; });
        ASSERT_TRUE(clocks(*shortest) == clocks(*longest) || low->gain == high->gain) << "both swing";
        const std::uint32_t step = std::max<std::uint32_t>(1, (clocks(*longest) - clocks(*shortest)) / 64);
        for (std::uint32_t exposure = clocks(*shortest); exposure <= clocks(*longest); exposure += step) {
            for (unsigned gain = low->gain; gain <= high->gain; ++gain) {
                const unsigned level = loop.LevelAt(exposure, gain);
                ASSERT_GT(SLoopStep{.level = level}.Off(kTarget), kDeadBand)
                    << "exposure " << exposure << ", gain " << gain << ": level " << level;
            }
        }
    }

    /// Why a loop may rest outside its band: the limits, or an exposure too short to be divided finely enough.
    static void ExpectRestIsJustified(CClosedLoop& loop, const SLoopStep& rest, unsigned mode) {
        if (rest.Off(kTarget) <= kRestBand) {
            return;
        }
        const bool dark = rest.level < kTarget;
        const std::uint32_t exposure = rest.exposure != 0 ? rest.exposure : loop.MaxShortExposure();
        const std::uint32_t exposureLimit = dark ? loop.MaxShortExposure() : 1;
        const unsigned gainLimit = dark ? Model().maxGain : Model().initialGain;
        const bool nextIsThisOne = kTarget * exposure / std::max(rest.level, 1U) == exposure;
        const bool exposureDone = !isExposureMode(mode) || exposure == exposureLimit || nextIsThisOne;
        const bool gainDone = !isGainMode(mode) || rest.gain == gainLimit || (isExposureMode(mode) && nextIsThisOne);
        EXPECT_TRUE(exposureDone && gainDone)
            << "rests at level " << rest.level << ", exposure " << rest.exposure << ", gain " << rest.gain;
    }

    static void ExpectWithinLimits(CClosedLoop& loop, const std::vector<SLoopStep>& steps) {
        for (const SLoopStep& step : steps) {
            ASSERT_LE(step.exposure, loop.MaxShortExposure());
            ASSERT_GE(step.gain, Model().initialGain);
            ASSERT_LE(step.gain, Model().maxGain);
        }
    }

    static void RunUnder(float light, SStart start, unsigned char mode) {
        CClosedLoop loop(Name(), start.Exposure(), start.Gain());
        loop.Driver().SetLightLevel(light);
        VekCam_SetALCMode(loop.Handle(), mode);
        const std::vector<SLoopStep> steps = loop.Run(GetParam().frames + kTail);
        ExpectWithinLimits(loop, steps);
        const std::vector<SLoopStep> tail(steps.end() - kTail, steps.end());
        const bool moves =
            std::any_of(tail.begin(), tail.end(), [](const SLoopStep& step) { return step.changes != 0; });
        if (moves) {
            VekCam_SetALCMode(loop.Handle(), VEK_ALC_OFF);
            ExpectNothingBetween(loop, tail);
        } else {
            ExpectRestIsJustified(loop, tail.back(), mode);
        }
    }

    static void RunUnderManyLights(unsigned char mode) {
        // Relative to the light with which the longest exposure alone reaches the target.
        const float normal = CClosedLoop(Name(), 0, Model().initialGain).LightForLevel(kTarget);
        for (const float factor : {0.01F, 0.08F, 0.3F, 0.7F, 0.84F, 1.0F, 1.9F, 5.3F, 12.0F, 24.735F, 300.0F}) {
            for (const bool bright : {false, true}) {
                SCOPED_TRACE("light " + std::to_string(factor) + (bright ? ", from bright" : ", from dark"));
                RunUnder(normal * factor, {bright}, mode);
            }
        }
    }
};

// At rest, or swinging about a target that no setting reaches.
TEST_P(AlcClosedLoop, ExposureAndGainSettle) {
    RunUnderManyLights(VEK_ALC_EXPOSURE_AND_GAIN);
}
TEST_P(AlcClosedLoop, ExposureSettles) {
    RunUnderManyLights(VEK_ALC_EXPOSURE);
}
TEST_P(AlcClosedLoop, GainSettles) {
    RunUnderManyLights(VEK_ALC_GAIN);
}

// A target in the middle of the exposure's range is always reached: the band of rest is entered and never left.
TEST_P(AlcClosedLoop, FollowsTheLightInSteps) {
    CClosedLoop loop(Name(), 1, Model().initialGain);
    const float normal = loop.LightForLevel(kTarget);
    VekCam_SetALCMode(loop.Handle(), VEK_ALC_EXPOSURE_AND_GAIN);
    for (const float factor : {1.5F, 4.0F, 2.0F, 8.0F, 1.2F}) {
        SCOPED_TRACE("light " + std::to_string(factor));
        loop.Driver().SetLightLevel(normal * factor);
        const std::vector<SLoopStep> steps = loop.Run(40);
        const unsigned rest = framesToRest(steps);
        ASSERT_GT(rest, 0U);
        EXPECT_LE(rest, 20U); // from one clock, the exposure doubles 17 times
        for (std::size_t i = rest; i < steps.size(); ++i) {
            EXPECT_EQ(steps[i].changes, 0U) << "frame " << i;
        }
        EXPECT_LE(steps.back().Off(kTarget), kRestBand);
        EXPECT_EQ(steps.back().gain, Model().initialGain);
    }
}

TEST_P(AlcClosedLoop, OneShotModesEndByThemselves) {
    const float normal = CClosedLoop(Name(), 0, Model().initialGain).LightForLevel(kTarget);
    struct SOnce {
        unsigned char mode;
        float factor; // light under which the mode has the way to the target
    };
    for (const SOnce once : {SOnce{VEK_ALC_EXPOSURE_AND_GAIN_ONCE, 0.3F}, SOnce{VEK_ALC_EXPOSURE_AND_GAIN_ONCE, 4.0F},
                             SOnce{VEK_ALC_EXPOSURE_ONCE, 4.0F}, SOnce{VEK_ALC_GAIN_ONCE, 0.3F}}) {
        SCOPED_TRACE("mode " + std::to_string(once.mode) + ", light " + std::to_string(once.factor));
        CClosedLoop loop(Name(), isExposureMode(once.mode) ? 1 : 0, Model().initialGain);
        loop.Driver().SetLightLevel(normal * once.factor);
        VekCam_SetALCMode(loop.Handle(), once.mode);
        const std::vector<SLoopStep> steps = loop.Run(GetParam().frames);
        const unsigned rest = framesToRest(steps);
        ASSERT_GT(rest, 1U);
        EXPECT_EQ(steps[rest - 2].mode, once.mode);
        EXPECT_EQ(steps[rest - 1].mode, VEK_ALC_OFF);
        EXPECT_LE(steps[rest - 1].Off(kTarget), kRestBand);
        // Over: another light moves nothing any more.
        loop.Driver().SetLightLevel(normal * 20);
        for (const SLoopStep& step : loop.Run(3)) {
            EXPECT_EQ(step.changes, 0U);
            EXPECT_EQ(step.exposure, steps.back().exposure);
            EXPECT_EQ(step.gain, steps.back().gain);
        }
    }
}

// An AE maximum of 0 is the longest exposure that keeps the frame rate; it is written as 0.
TEST_P(AlcClosedLoop, LongestExposureIsWrittenAsItsCode) {
    CClosedLoop loop(Name(), 1, Model().initialGain);
    loop.Driver().SetLightLevel(loop.LightForLevel(kTarget / 2.0));
    VekCam_SetALCMode(loop.Handle(), VEK_ALC_EXPOSURE);
    const std::vector<SLoopStep> steps = loop.Run(40);
    EXPECT_EQ(steps.back().exposure, 0U);
    EXPECT_EQ(steps.back().changes, 0U);
    EXPECT_EQ(steps.back().level, loop.LevelAt(loop.MaxShortExposure(), steps.back().gain));
}

// At rest 10 off is nothing; more starts a run, which ends within 5 of the target.
TEST_P(AlcClosedLoop, Hysteresis) {
    CClosedLoop loop(Name(), 0, Model().initialGain);
    const float fitting = loop.LightForLevel(kTarget);
    loop.Driver().SetLightLevel(fitting);
    VekCam_SetALCMode(loop.Handle(), VEK_ALC_EXPOSURE_AND_GAIN);
    EXPECT_EQ(loop.Step().changes, 0U);
    loop.Driver().SetLightLevel(loop.LightForLevel(kTarget + 8));
    for (const SLoopStep& step : loop.Run(5)) {
        EXPECT_EQ(step.changes, 0U) << step.level;
    }
    loop.Driver().SetLightLevel(loop.LightForLevel(kTarget + 14));
    const std::vector<SLoopStep> steps = loop.Run(20);
    EXPECT_EQ(steps.front().changes, VEK_ALC_EXPOSURE_CHANGED);
    EXPECT_EQ(steps.back().changes, 0U);
    EXPECT_LE(steps.back().Off(kTarget), kDeadBand);
}

TEST_P(AlcClosedLoop, LimitsOfTheApplicationHold) {
    const unsigned lowGain = Model().initialGain + Model().maxGain / 8;
    const unsigned highGain = Model().maxGain / 2;
    const unsigned maxShort = CClosedLoop(Name(), 0, Model().initialGain).MaxShortExposure();
    const std::uint32_t shortest = maxShort / 8;
    const std::uint32_t longest = maxShort / 2;
    for (const bool swapped : {false, true}) {
        for (const unsigned char mode : {VEK_ALC_EXPOSURE_AND_GAIN, VEK_ALC_EXPOSURE, VEK_ALC_GAIN}) {
            for (const float factor : {0.0F, 0.5F, 1.0F, 3.0F, 50.0F}) {
                SCOPED_TRACE("mode " + std::to_string(mode) + ", light " + std::to_string(factor));
                CClosedLoop loop(Name(), 1, Model().initialGain);
                loop.Driver().SetLightLevel(factor);
                VekCam_SetAGCMinGain(loop.Handle(), static_cast<unsigned short>(swapped ? highGain : lowGain));
                VekCam_SetAGCMaxGain(loop.Handle(), static_cast<unsigned short>(swapped ? lowGain : highGain));
                VekCam_SetAEMinExposureClock(loop.Handle(), swapped ? longest : shortest);
                VekCam_SetAEMaxExposureClock(loop.Handle(), swapped ? shortest : longest);
                VekCam_SetALCMode(loop.Handle(), mode);
                const std::vector<SLoopStep> steps = loop.Run(30);
                // The first frame is taken with what the camera had.
                for (std::size_t i = 1; i < steps.size(); ++i) {
                    if (isExposureMode(mode)) {
                        ASSERT_GE(steps[i].exposure, shortest) << i;
                        ASSERT_LE(steps[i].exposure, longest) << i;
                    }
                    if (isGainMode(mode)) {
                        ASSERT_GE(steps[i].gain, lowGain) << i;
                        ASSERT_LE(steps[i].gain, highGain) << i;
                    }
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Models, AlcClosedLoop,
                         ::testing::Values(SLoopModel{"global-1m", 70}, SLoopModel{"rolling-4m", 110},
                                           SLoopModel{"line-2m", 40}, SLoopModel{"global-5m", 900},
                                           SLoopModel{"global-3m", 400}, SLoopModel{"global-2m", 60},
                                           SLoopModel{"clock-vga", 60}),
                         [](const auto& name) {
                             std::string text = name.param.name;
                             std::replace(text.begin(), text.end(), '-', '_');
                             return text;
                         });

// Gain values 1 and 2 of this curve are a ninth apart, the dead band is a thirteenth wide: under a light that asks for
// a gain in between the control swings between the two, and a one-shot run goes on.
TEST(AlcGranularity, GainBetweenTwoSettingsSwingsBetweenThem) {
    CClosedLoop loop("line-2m", 0, 4);
    loop.Driver().SetLightLevel(loop.LightForLevel(108.5));
    ASSERT_LT(loop.LevelAt(0, 1), kTarget - kDeadBand);
    ASSERT_GT(loop.LevelAt(0, 2), kTarget + kDeadBand);
    VekCam_SetALCMode(loop.Handle(), VEK_ALC_GAIN_ONCE);
    const std::vector<SLoopStep> steps = loop.Run(60);
    for (std::size_t i = 20; i < steps.size(); ++i) {
        EXPECT_EQ(steps[i].changes, VEK_ALC_GAIN_CHANGED);
        EXPECT_EQ(steps[i].gain, steps[i - 2].gain);
        EXPECT_EQ(steps[i].mode, VEK_ALC_GAIN_ONCE);
    }
    EXPECT_EQ(steps.back().gain + steps[steps.size() - 2].gain, 3U);
}

} // namespace

} // namespace vek::test
