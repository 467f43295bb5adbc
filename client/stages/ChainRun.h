// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"

#include <VekTrgChain.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace vek::client {

/// A description of a chain and what it points to, of a frame without padding. All else is 0.
struct SChainDescription {
    VekChainFrame frame{};
    VekChainPicture picture{};
    VekChainDescription chain{};

    SChainDescription(std::uint32_t format, std::uint32_t width, std::uint32_t height, unsigned short colorArray,
                      std::uint32_t layout);
    SChainDescription(const SChainDescription&) = delete;
    SChainDescription& operator=(const SChainDescription&) = delete;
};

/// Threads that the machine runs at once, up to 8: more of them wait for memory.
unsigned usualThreads();

/// Most threads that a run takes.
inline constexpr unsigned kMostThreads = 256;

/// Develops frames by a chain of the library, bands of rows on several threads. Owns the plan, the work areas, the
/// state and the picture. The pixels do not depend on the number of threads.
class CChainRun {
public:
    /// Nothing where the library refuses the description; reason tells why then. handle: with the settings that the
    /// chain shall have, which it keeps as they are now. description: of VEK_CHAIN_MONO or VEK_CHAIN_RGB, pitches of 0.
    /// threads: 1 to kMostThreads. Throws std::bad_alloc.
    static std::optional<CChainRun> Make(VekCam_Handle handle, const SChainDescription& description, unsigned threads,
                                         std::string& reason);

    /// frame: FrameBytes of them, or more. The picture stays until the next one is developed. Throws CFailure for a
    /// frame that is too short.
    SPictureView Develop(std::span<const std::uint8_t> frame);

    std::size_t FrameBytes() const { return mTraits.frameBytes; }
    /// How many threads make the bands: no more than there are bands.
    unsigned Threads() const { return static_cast<unsigned>(mWorks.size()); }

private:
    struct SEnd {
        void operator()(VekChain_Plan plan) const { VekChain_Destroy(plan); }
        void operator()(VekChain_Work work) const { VekChain_DestroyWork(work); }
        void operator()(VekChain_State state) const { VekChain_DestroyState(state); }
    };
    template <class Pointer>
    using Owner = std::unique_ptr<std::remove_pointer_t<Pointer>, SEnd>;

    CChainRun() = default;

    Owner<VekChain_Plan> mPlan;
    VekChainTraits mTraits{};
    Owner<VekChain_State> mState;
    std::vector<Owner<VekChain_Work>> mWorks; ///< one of each thread
    std::unique_ptr<std::uint8_t[]> mPicture;
    unsigned short mChannels = 0;
};

} // namespace vek::client
