// SPDX-License-Identifier: Apache-2.0
// What running takes and refuses, whom it shares with, and who may call it when.
#include "chain/ChainCase.h"
#include "support/HandleTest.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace vek::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

class CChainRun : public CHandleTest {
protected:
    static constexpr std::uint32_t kWidth = 96;
    static constexpr std::uint32_t kHeight = 70;

    CChainRun() : mWith(kWidth, kHeight), mFrame(kWidth * kHeight) {
        CRandom random(11);
        random.Fill(mFrame.data(), mFrame.data() + mFrame.size());
    }

    /// The plan of the description as it is, with a work area and, where it needs one, a state.
    void Make() {
        const SMadePlan made = createPlan(mHandle, mWith.description);
        ASSERT_NE(nullptr, made.plan) << made.reason;
        mPlan.reset(const_cast<SMadePlan&>(made).plan.release());
        mWork = createWork(mPlan);
        mState = createState(mPlan);
        mTraits = traitsOf(mPlan);
    }
    Bytes Whole() {
        Bytes picture(mTraits.pictureBytes, 0xEE);
        EXPECT_EQ(0, VekChain_Prepare(mPlan.get(), mState.get(), mWork.get(), mFrame.data()));
        EXPECT_EQ(0, VekChain_Run(mPlan.get(), mState.get(), mWork.get(), mFrame.data(), picture.data(), 0, kHeight));
        return picture;
    }
    /// Every stage of bytes that a handle has.
    void SwitchOn() {
        Bytes dark(mFrame.size(), 3);
        dark[5] = 0;
        VekCam_NoiseReduction(mHandle, VEK_NOISE_STORE_DARK, kWidth, kHeight, 0, VEK_COLOR_ARRAY_RGGB, dark.data(), 8);
        VekCam_SetWhiteBalanceMode(mHandle, VEK_WB_MANUAL);
        VekCam_SetWhiteBalanceGain(mHandle, 200, 140, 150, 190);
        for (const unsigned char channel : {VEK_GAMMA_Y, VEK_GAMMA_R, VEK_GAMMA_GR, VEK_GAMMA_GB, VEK_GAMMA_B}) {
            VekCam_SetGammaMode(mHandle, channel, VEK_GAMMA_CURVE, 180, 0, 0, nullptr, 8);
        }
        VekCam_SetHueSaturationMode(mHandle, 1, 100, 140);
        VekCam_SetSharpnessMode(mHandle, 1, 70, 3);
        mWith.description.noise = VEK_NOISE_COMPLEX;
        mWith.description.stages = VEK_CHAIN_WHITE_BALANCE | VEK_CHAIN_RAW_GAMMA | VEK_CHAIN_COLOR_MATRIX |
                                   VEK_CHAIN_LUMA_GAMMA | VEK_CHAIN_SHARPNESS;
    }

    SChainCase mWith;
    Bytes mFrame;
    PlanOwner mPlan;
    WorkOwner mWork;
    StateOwner mState;
    VekChainTraits mTraits{};
};

TEST_F(CChainRun, TraitsTellOfThePlan) {
    mWith.picture.pitch = 400;
    Make();
    EXPECT_EQ(0U, mTraits.traits);
    EXPECT_EQ(1U, mTraits.rowMultiple);
    EXPECT_EQ(kWidth, mTraits.width);
    EXPECT_EQ(kHeight, mTraits.height);
    EXPECT_EQ(8U, mTraits.depth);
    EXPECT_EQ(8U, mTraits.workingDepth);
    EXPECT_EQ(kWidth, mTraits.framePitch);
    EXPECT_EQ(mFrame.size(), mTraits.frameBytes);
    EXPECT_EQ(400U, mTraits.picturePitch);
    EXPECT_EQ(400U * (kHeight - 1) + 3 * kWidth, mTraits.pictureBytes);
    EXPECT_NE(0U, mTraits.workBytes);
    EXPECT_EQ(0U, mTraits.stateBytes);
    EXPECT_EQ(nullptr, mState);
    VekChainTraits small = {};
    small.size = sizeof small - 1;
    EXPECT_EQ(VEK_EINVAL, VekChain_Traits(mPlan.get(), &small));
    EXPECT_EQ(VEK_EINVAL, VekChain_Traits(mPlan.get(), nullptr));
    EXPECT_EQ(VEK_EINVAL, VekChain_Traits(nullptr, &mTraits));
}

TEST_F(CChainRun, RefusesWhatItIsNotMadeFor) {
    Make();
    Bytes picture(mTraits.pictureBytes, 0xEE);
    const Bytes before = picture;
    const auto run = [&](const void* frame, void* to, std::uint32_t first, std::uint32_t rows) {
        return VekChain_Run(mPlan.get(), nullptr, mWork.get(), frame, to, first, rows);
    };
    EXPECT_EQ(VEK_EINVAL, VekChain_Run(nullptr, nullptr, mWork.get(), mFrame.data(), picture.data(), 0, 1));
    EXPECT_EQ(VEK_EINVAL, VekChain_Run(mPlan.get(), nullptr, nullptr, mFrame.data(), picture.data(), 0, 1));
    EXPECT_EQ(VEK_EINVAL, run(nullptr, picture.data(), 0, 1));
    EXPECT_EQ(VEK_EINVAL, run(mFrame.data(), nullptr, 0, 1));
    EXPECT_EQ(VEK_EINVAL, run(mFrame.data(), picture.data(), 0, kHeight + 1));
    EXPECT_EQ(VEK_EINVAL, run(mFrame.data(), picture.data(), kHeight, 1));
    EXPECT_EQ(VEK_EINVAL, run(mFrame.data(), picture.data(), kHeight + 1, 0));
    EXPECT_EQ(VEK_EINVAL, run(mFrame.data(), picture.data(), 1, 0xFFFFFFFF));
    EXPECT_EQ(VEK_OK, run(mFrame.data(), picture.data(), 3, 0));
    EXPECT_EQ(VEK_OK, run(mFrame.data(), picture.data(), kHeight, 0));
    EXPECT_EQ(before, picture);
}

TEST_F(CChainRun, RefusesAPictureThatOverlapsTheFrame) {
    Make();
    Bytes memory(mTraits.pictureBytes + 2 * mFrame.size(), 7);
    const auto run = [&](std::size_t frame, std::size_t picture) {
        return VekChain_Run(mPlan.get(), nullptr, mWork.get(), memory.data() + frame, memory.data() + picture, 0, 1);
    };
    const std::size_t pictureAt = mFrame.size();
    EXPECT_EQ(VEK_OK, run(0, pictureAt));
    EXPECT_EQ(VEK_EINVAL, run(1, pictureAt));
    EXPECT_EQ(VEK_EINVAL, run(pictureAt, pictureAt));
    EXPECT_EQ(VEK_EINVAL, run(pictureAt + mTraits.pictureBytes - 1, pictureAt));
    EXPECT_EQ(VEK_OK, run(pictureAt + mTraits.pictureBytes, pictureAt));
}

TEST_F(CChainRun, RefusesAPictureOfWordsAtAnOddAddress) {
    mWith.frame.format = VEK_TRANSFER_RAW12_PACKED;
    Make();
    Bytes memory(mTraits.pictureBytes + 2);
    std::uint8_t* const even = memory.data() + reinterpret_cast<std::uintptr_t>(memory.data()) % 2;
    EXPECT_EQ(VEK_EINVAL, VekChain_Run(mPlan.get(), nullptr, mWork.get(), mFrame.data(), even + 1, 0, 1));
}

TEST_F(CChainRun, LaterSettingsChangeNothing) {
    SwitchOn();
    Make();
    const Bytes picture = Whole();
    VekCam_SetWhiteBalanceGain(mHandle, 1, 2, 3, 4);
    VekCam_SetWhiteBalanceMode(mHandle, VEK_WB_AUTO);
    VekCam_SetGammaMode(mHandle, VEK_GAMMA_Y, VEK_GAMMA_NEGATIVE, 100, 0, 0, nullptr, 8);
    VekCam_SetGammaMode(mHandle, VEK_GAMMA_R, VEK_GAMMA_NEGATIVE, 100, 0, 0, nullptr, 8);
    VekCam_SetHueSaturationMode(mHandle, 1, 900, 10);
    VekCam_SetSharpnessMode(mHandle, 0, 0, 0);
    VekCam_NoiseReduction(mHandle, VEK_NOISE_STORE_DARK, kWidth, kHeight, 0, VEK_COLOR_ARRAY_RGGB, mFrame.data(), 8);
    EXPECT_EQ(picture, Whole());
    const PlanOwner now = createPlan(mHandle, mWith.description).plan;
    std::swap(mPlan, const_cast<PlanOwner&>(now));
    mState = createState(mPlan);
    EXPECT_NE(picture, Whole());
}

TEST_F(CChainRun, OutlivesItsHandle) {
    SwitchOn();
    Make();
    const Bytes picture = Whole();
    VekCam_Close(mHandle);
    mHandle = nullptr;
    EXPECT_EQ(picture, Whole());
}

TEST_F(CChainRun, AnUpdateKeepsTheSettingsOfTheOldPlan) {
    SwitchOn();
    Make();
    const Bytes picture = Whole();
    VekCam_SetSharpnessMode(mHandle, 0, 0, 0);
    mWith.description.mirror = VEK_MIRROR_NONE;
    VekChain_Plan plan = nullptr;
    ASSERT_EQ(0, VekChain_Update(mPlan.get(), &mWith.description, &plan, nullptr, 0));
    const PlanOwner old(mPlan.release());
    mPlan.reset(plan);
    EXPECT_EQ(picture, Whole());
    mWith.description.stages = 0;
    ASSERT_EQ(0, VekChain_Update(old.get(), &mWith.description, &plan, nullptr, 0));
    mPlan.reset(plan);
    EXPECT_NE(picture, Whole());
    char reason[100];
    mWith.description.demosaic = 99;
    EXPECT_EQ(VEK_EINVAL, VekChain_Update(old.get(), &mWith.description, &plan, reason, sizeof reason));
    EXPECT_EQ(nullptr, plan);
    EXPECT_EQ(0, std::strncmp(reason, "demosaic:", 9)) << reason;
    EXPECT_EQ(VEK_EINVAL, VekChain_Update(nullptr, &mWith.description, &plan, reason, sizeof reason));
}

TEST_F(CChainRun, ASmallerWorkAreaIsRefused) {
    Make();
    const WorkOwner small(mWork.release());
    SwitchOn();
    Make();
    Bytes picture(mTraits.pictureBytes);
    EXPECT_EQ(VEK_EINVAL, VekChain_Run(mPlan.get(), nullptr, small.get(), mFrame.data(), picture.data(), 0, kHeight));
    const WorkOwner large(mWork.release());
    mWith.description.noise = 0;
    mWith.description.stages = 0;
    Make();
    EXPECT_EQ(VEK_OK, VekChain_Run(mPlan.get(), nullptr, large.get(), mFrame.data(), picture.data(), 0, kHeight));
}

TEST_F(CChainRun, ABandLeavesTheOtherRowsAlone) {
    mWith.picture.pitch = 3 * kWidth + 5;
    Make();
    const Bytes whole = Whole();
    Bytes picture(mTraits.pictureBytes, 0x5A);
    ASSERT_EQ(0, VekChain_Run(mPlan.get(), nullptr, mWork.get(), mFrame.data(), picture.data(), 20, 7));
    for (std::size_t i = 0; i < picture.size(); ++i) {
        const std::size_t row = i / mTraits.picturePitch;
        const bool made = row >= 20 && row < 27 && i % mTraits.picturePitch < 3 * kWidth;
        ASSERT_EQ(made ? whole[i] : 0x5A, picture[i]) << i;
    }
}

TEST_F(CChainRun, TheRecursiveFilterIsPreparedFor) {
    mWith.description.noise = VEK_NOISE_EASY;
    Make();
    EXPECT_EQ(unsigned{VEK_CHAIN_SERIAL}, mTraits.traits);
    EXPECT_GE(mTraits.stateBytes, mFrame.size());
    ASSERT_NE(nullptr, mState);
    Bytes picture(mTraits.pictureBytes);
    const auto run = [&](VekChain_State state) {
        return VekChain_Run(mPlan.get(), state, mWork.get(), mFrame.data(), picture.data(), 0, kHeight);
    };
    EXPECT_EQ(VEK_EINVAL, run(nullptr));
    EXPECT_EQ(VEK_EINVAL, run(mState.get())) << "not prepared";
    EXPECT_EQ(VEK_EINVAL, VekChain_Prepare(mPlan.get(), nullptr, mWork.get(), mFrame.data()));
    EXPECT_EQ(VEK_EINVAL, VekChain_Prepare(mPlan.get(), mState.get(), nullptr, mFrame.data()));
    EXPECT_EQ(VEK_EINVAL, VekChain_Prepare(mPlan.get(), mState.get(), mWork.get(), nullptr));
    EXPECT_EQ(VEK_EINVAL, VekChain_Prepare(nullptr, mState.get(), mWork.get(), mFrame.data()));
    EXPECT_EQ(VEK_OK, VekChain_Prepare(mPlan.get(), mState.get(), mWork.get(), mFrame.data()));
    EXPECT_EQ(VEK_OK, run(mState.get()));
    const PlanOwner old(mPlan.release());
    VekChain_Plan plan = nullptr;
    ASSERT_EQ(0, VekChain_Update(old.get(), &mWith.description, &plan, nullptr, 0));
    mPlan.reset(plan);
    EXPECT_EQ(VEK_EINVAL, run(mState.get())) << "prepared by another plan";
    EXPECT_EQ(VEK_OK, VekChain_Prepare(mPlan.get(), mState.get(), mWork.get(), mFrame.data()));
    EXPECT_EQ(VEK_OK, run(mState.get()));
}

TEST_F(CChainRun, AStateServesPlansThatNeedNoMore) {
    VekCam_SetWhiteBalanceMode(mHandle, VEK_WB_AUTO);
    mWith.description.stages = VEK_CHAIN_WHITE_BALANCE;
    Make();
    const StateOwner small(mState.release());
    const std::size_t smallBytes = mTraits.stateBytes;
    mWith.description.stages = 0;
    mWith.description.noise = VEK_NOISE_EASY;
    Make();
    EXPECT_LT(smallBytes, mTraits.stateBytes);
    EXPECT_EQ(VEK_EINVAL, VekChain_Prepare(mPlan.get(), small.get(), mWork.get(), mFrame.data()));
    const StateOwner large(mState.release());
    mWith.description.stages = VEK_CHAIN_WHITE_BALANCE;
    mWith.description.noise = 0;
    Make();
    EXPECT_EQ(VEK_OK, VekChain_Prepare(mPlan.get(), large.get(), mWork.get(), mFrame.data()));
}

TEST_F(CChainRun, AnUpdateHasNoMapThatWasNeverMade) {
    Bytes flat(mFrame.size(), 60);
    VekCam_SetShadingCorrectionMode(mHandle, VEK_SHADING_CALIBRATE_GAIN);
    VekCam_SetShadingCorrectionTarget(mHandle, 120);
    VekCam_ShadingCorrection(mHandle, kWidth, kHeight, 0, flat.data(), 8);
    VekCam_SetShadingCorrectionMode(mHandle, VEK_SHADING_GAIN);
    Make();
    mWith.description.stages = VEK_CHAIN_SHADING;
    VekChain_Plan plan = nullptr;
    char reason[100];
    EXPECT_EQ(VEK_EINVAL, VekChain_Update(mPlan.get(), &mWith.description, &plan, reason, sizeof reason));
    EXPECT_EQ(0, std::strncmp(reason, "stages: the handle has no shading map", 37)) << reason;
    // A plan with shading makes it.
    Make();
    std::fill(mFrame.begin(), mFrame.end(), 50);
    EXPECT_EQ(Bytes(mTraits.pictureBytes, 100), Whole());
}

TEST_F(CChainRun, NoRowsAreNothingWhereverTheyBegin) {
    mWith.picture.layout = VEK_CHAIN_NV12;
    Make();
    Bytes picture(mTraits.pictureBytes);
    EXPECT_EQ(VEK_OK, VekChain_Run(mPlan.get(), nullptr, mWork.get(), mFrame.data(), picture.data(), 5, 0));
    EXPECT_EQ(VEK_EINVAL, VekChain_Run(mPlan.get(), nullptr, mWork.get(), mFrame.data(), picture.data(), 5, 2));
    EXPECT_EQ(VEK_EINVAL, VekChain_Run(mPlan.get(), nullptr, mWork.get(), mFrame.data(), picture.data(), 4, 3));
    EXPECT_EQ(VEK_OK, VekChain_Run(mPlan.get(), nullptr, mWork.get(), mFrame.data(), picture.data(), 4, 2));
}

TEST_F(CChainRun, MonoFramesNeedNoPreparation) {
    mWith.description.noise = VEK_NOISE_EASY;
    mWith.frame.colorArray = VEK_COLOR_ARRAY_MONO;
    Make();
    EXPECT_EQ(0U, mTraits.traits);
    EXPECT_EQ(VEK_OK, VekChain_Prepare(mPlan.get(), nullptr, mWork.get(), mFrame.data()));
}

TEST_F(CChainRun, TheAutomaticBalanceMeasuresEachFrame) {
    VekCam_SetWhiteBalanceMode(mHandle, VEK_WB_AUTO);
    mWith.description.stages = VEK_CHAIN_WHITE_BALANCE;
    Make();
    EXPECT_EQ(unsigned{VEK_CHAIN_FRAME_FIRST}, mTraits.traits);
    const Bytes first = Whole();
    for (std::uint8_t& sample : mFrame) {
        sample /= 2;
    }
    const Bytes second = Whole();
    VekCam_SetWhiteBalanceMode(mHandle, VEK_WB_AUTO);
    VekCam_WhiteBalance(mHandle, kWidth, kHeight, kWidth, VEK_COLOR_ARRAY_RGGB, mFrame.data(), 8);
    Bytes expected(3 * mFrame.size());
    ASSERT_EQ(0, VekCam_ColorInterpolation(mHandle, kWidth, kHeight, VEK_COLOR_ARRAY_RGGB, mFrame.data(),
                                           expected.data(), VEK_DEMOSAIC_NEAREST_NEIGHBOR, VEK_DESTINATION_BGR24, 8));
    EXPECT_EQ(expected, second);
    EXPECT_NE(first, second);
}

TEST_F(CChainRun, TheBalanceOfOnceIsThatOfTheFirstFrame) {
    VekCam_SetWhiteBalanceMode(mHandle, VEK_WB_ONCE);
    mWith.description.stages = VEK_CHAIN_WHITE_BALANCE;
    Make();
    Whole();
    for (std::size_t i = 0; i < mFrame.size(); i += 2) {
        mFrame[i] /= 3;
    }
    Bytes raw = mFrame;
    CRandom random(11);
    Bytes firstRaw(mFrame.size());
    random.Fill(firstRaw.data(), firstRaw.data() + firstRaw.size());
    // The handle, on which the plan has left no trace, does the same with its two frames.
    VekCam_WhiteBalance(mHandle, kWidth, kHeight, kWidth, VEK_COLOR_ARRAY_RGGB, firstRaw.data(), 8);
    VekCam_WhiteBalance(mHandle, kWidth, kHeight, kWidth, VEK_COLOR_ARRAY_RGGB, raw.data(), 8);
    Bytes expected(3 * mFrame.size());
    VekCam_ColorInterpolation(mHandle, kWidth, kHeight, VEK_COLOR_ARRAY_RGGB, raw.data(), expected.data(),
                              VEK_DEMOSAIC_NEAREST_NEIGHBOR, VEK_DESTINATION_BGR24, 8);
    EXPECT_EQ(expected, Whole());
}

TEST_F(CChainRun, ThreadsMakeBandsOfOneFrame) {
    SwitchOn();
    VekCam_SetWhiteBalanceMode(mHandle, VEK_WB_AUTO);
    Make();
    const Bytes whole = Whole();
    for (unsigned threads = 1; threads <= 8; ++threads) {
        Bytes picture(mTraits.pictureBytes, 0);
        std::atomic<std::uint32_t> next{0};
        std::atomic<int> failures{0};
        const auto work = [&] {
            const WorkOwner area = createWork(mPlan);
            for (std::uint32_t first = next.fetch_add(9); first < kHeight; first = next.fetch_add(9)) {
                failures += VekChain_Run(mPlan.get(), mState.get(), area.get(), mFrame.data(), picture.data(), first,
                                         std::min(9U, kHeight - first)) != 0;
            }
        };
        std::vector<std::thread> pool;
        for (unsigned i = 0; i < threads; ++i) {
            pool.emplace_back(work);
        }
        for (std::thread& thread : pool) {
            thread.join();
        }
        ASSERT_EQ(0, failures);
        ASSERT_EQ(whole, picture) << threads << " threads";
    }
}

TEST_F(CChainRun, ThreadsMakeDifferentFramesWithOnePlan) {
    SwitchOn();
    Make();
    std::vector<Bytes> frames(4, mFrame);
    std::vector<Bytes> expected;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        std::rotate(frames[i].begin(), frames[i].begin() + static_cast<std::ptrdiff_t>(i * 977), frames[i].end());
        mFrame = frames[i];
        expected.push_back(Whole());
    }
    std::vector<Bytes> pictures(frames.size(), Bytes(mTraits.pictureBytes));
    std::vector<std::thread> pool;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        pool.emplace_back([&, i] {
            const WorkOwner area = createWork(mPlan);
            for (unsigned repeat = 0; repeat < 5; ++repeat) {
                VekChain_Run(mPlan.get(), nullptr, area.get(), frames[i].data(), pictures[i].data(), 0, kHeight);
            }
        });
    }
    for (std::thread& thread : pool) {
        thread.join();
    }
    EXPECT_EQ(expected, pictures);
}

TEST_F(CChainRun, NullsAreIgnoredAtTheEnd) {
    VekChain_Destroy(nullptr);
    VekChain_DestroyWork(nullptr);
    VekChain_DestroyState(nullptr);
    VekChain_Work work = nullptr;
    EXPECT_EQ(VEK_EINVAL, VekChain_CreateWork(nullptr, &work));
    VekChain_State state = nullptr;
    EXPECT_EQ(VEK_EINVAL, VekChain_CreateState(nullptr, &state));
    Make();
    EXPECT_EQ(VEK_EINVAL, VekChain_CreateWork(mPlan.get(), nullptr));
    EXPECT_EQ(VEK_EINVAL, VekChain_CreateState(mPlan.get(), nullptr));
}

TEST(ChainTiers, OneOfThemRuns) {
    std::vector<std::string> names;
    int running = 0;
    int runs = -1;
    for (std::uint32_t i = 0; const char* const name = VekChain_Tier(i, &runs); ++i) {
        EXPECT_STREQ(name, VekChain_Tier(i, nullptr));
        names.emplace_back(name);
        running += runs;
    }
    EXPECT_EQ(0, runs);
    EXPECT_EQ(1, running);
    EXPECT_EQ("scalar", names.at(0));
#if defined(__x86_64__)
    EXPECT_EQ((std::vector<std::string>{"scalar", "sse42", "avx2", "avx512"}), names);
#elif defined(__aarch64__)
    EXPECT_EQ((std::vector<std::string>{"scalar", "neon"}), names);
#endif
}

} // namespace
} // namespace vek::test
