// SPDX-License-Identifier: Apache-2.0
#include "client/stages/ChainRun.h"

#include "client/Errors.h"
#include "client/files/TemporaryFile.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <system_error>
#include <thread>

namespace vek::client {

namespace {

/// Rows of a band: so few that the threads end together, so many that the rows which two bands both need do not count.
constexpr std::uint32_t kBandRows = 64;

/// Throws std::bad_alloc for what cannot be refused otherwise.
void requireMemory(int status) {
    if (status != VEK_OK) {
        throw std::bad_alloc();
    }
}

} // namespace

SChainDescription::SChainDescription(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                                     unsigned short colorArray, std::uint32_t layout) {
    frame.size = sizeof frame;
    frame.width = width;
    frame.height = height;
    frame.format = format;
    frame.colorArray = colorArray;
    picture.size = sizeof picture;
    picture.layout = layout;
    chain.size = sizeof chain;
    chain.frame = &frame;
    chain.picture = &picture;
}

unsigned usualThreads() {
    constexpr unsigned kMost = 8;
    return std::clamp(std::thread::hardware_concurrency(), 1U, kMost);
}

std::optional<CChainRun> CChainRun::Make(VekCam_Handle handle, const SChainDescription& description, unsigned threads,
                                         std::string& reason) {
    char text[256] = "";
    VekChain_Plan plan = nullptr;
    const int status = VekChain_Create(handle, &description.chain, &plan, text, sizeof text);
    if (status == VEK_ENOMEM) {
        throw std::bad_alloc();
    }
    if (status != VEK_OK) {
        reason = text;
        return std::nullopt;
    }
    CChainRun run;
    run.mPlan.reset(plan);
    run.mTraits.size = sizeof run.mTraits;
    VekChain_Traits(plan, &run.mTraits);
    run.mChannels = description.picture.layout == VEK_CHAIN_MONO ? 1 : 3;
    const std::uint32_t bands = (run.mTraits.height + kBandRows - 1) / kBandRows;
    for (unsigned i = 0; i < std::min(threads, bands); ++i) {
        VekChain_Work work = nullptr;
        requireMemory(VekChain_CreateWork(plan, &work));
        run.mWorks.emplace_back(work);
    }
    VekChain_State state = nullptr;
    requireMemory(VekChain_CreateState(plan, &state));
    run.mState.reset(state);
    run.mPicture = std::make_unique_for_overwrite<std::uint8_t[]>(run.mTraits.pictureBytes);
    return run;
}

SPictureView CChainRun::Develop(std::span<const std::uint8_t> frame) {
    if (frame.size() < mTraits.frameBytes) {
        throw CFailure("a frame is too short for its chain");
    }
    std::atomic<bool> refused{false};
    if (VekChain_Prepare(mPlan.get(), mState.get(), mWorks.front().get(), frame.data()) != VEK_OK) {
        refused = true;
    }
    // Each thread takes the bands that are left.
    std::atomic<std::uint32_t> nextRow{0};
    const auto makeBands = [&](VekChain_Work work) {
        while (!refused) {
            const std::uint32_t first = nextRow.fetch_add(kBandRows);
            if (first >= mTraits.height) {
                return;
            }
            const std::uint32_t rows = std::min(kBandRows, mTraits.height - first);
            if (VekChain_Run(mPlan.get(), mState.get(), work, frame.data(), mPicture.get(), first, rows) != VEK_OK) {
                refused = true;
            }
        }
    };
    {
        std::vector<std::jthread> others;
        others.reserve(mWorks.size());
        {
            // Signals go to the thread that has the files: new threads hold back what this one does.
            const CSignalsBlocked blocked;
            try {
                for (std::size_t i = 1; i < mWorks.size(); ++i) {
                    others.emplace_back(makeBands, mWorks[i].get());
                }
            } catch (const std::system_error&) {
                // The system gives no more threads: those that there are do the work.
            }
        }
        makeBands(mWorks.front().get());
    }
    if (refused) {
        throw CFailure("the library refused a frame of a chain that it had taken");
    }
    return {mTraits.width, mTraits.height, mChannels, static_cast<unsigned short>(mTraits.depth), mPicture.get()};
}

} // namespace vek::client
