// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/ColorArrays.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace vek::client {

/// The colours whose samples are counted apart: of a Bayer array by EColorSlot, of a picture red, green, blue, or grey
/// alone.
class CColorCells {
public:
    /// colorArray: enum VekColorArray, of one channel. channels: 1 or 3.
    CColorCells(unsigned channels, unsigned colorArray) : mChannels(channels), mSlots(phaseSlots(colorArray)) {
        mBayer = channels == 1 && isBayer(colorArray);
    }

    bool IsBayer() const { return mBayer; }
    /// 1, 3 or 4.
    std::size_t Count() const { return mBayer ? kColorSlots : mChannels; }
    std::string_view Name(std::size_t color) const {
        constexpr std::string_view kBayer[] = {"R", "Gr", "Gb", "B"};
        constexpr std::string_view kPicture[] = {"R", "G", "B"};
        return mBayer ? kBayer[color] : mChannels == 3 ? kPicture[color] : "grey";
    }
    /// The colours of row y's samples from its first one on, which are repeated.
    std::vector<std::size_t> OfRow(unsigned long y) const {
        if (mBayer) {
            const auto [even, odd] = rowSlots(mSlots, y);
            return {even, odd};
        }
        return mChannels == 3 ? std::vector<std::size_t>{0, 1, 2} : std::vector<std::size_t>{0};
    }

private:
    unsigned mChannels;
    PhaseSlots mSlots;
    bool mBayer = false;
};

} // namespace vek::client
