// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/SimulatedDriver.h"
#include "sim/node/ControlTable.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace vek::sim {

/// A frame that is ready to be sent.
struct SRingFrame {
    std::vector<std::uint8_t> bytes;
    std::size_t content = 0; ///< counts the frames that were made
};

/// Exposure and gain that a frame is taken with, in the controls' units.
struct SFrameSettings {
    std::uint32_t exposure = 0;
    std::uint16_t gain = 0;
    bool operator==(const SFrameSettings&) const = default;
};

/// Frames that come from somewhere else than the camera's sensor, recordings for example: the bytes of frame number.
using FrameSource = std::function<std::vector<std::uint8_t>(std::uint64_t number)>;

/// Frames that are made once and sent again and again, as long as nothing changes what they look like.
class CFrameRing {
public:
    /// size: different frames; 0: each one is new. source: may be empty.
    CFrameRing(CSimulatedDriver& camera, unsigned size, FrameSource source);

    /// The frame with this number, from 0. It stays until the next call.
    const SRingFrame& Frame(std::uint64_t number, const SFrameSettings& settings, EPattern pattern);

    /// Makes all frames of the ring, which begin with this number.
    void Prepare(std::uint64_t number, const SFrameSettings& settings, EPattern pattern);

private:
    void Fill(SRingFrame& frame, std::uint64_t number, const SFrameSettings& settings, EPattern pattern);

    struct SEntry {
        SRingFrame frame;
        SFrameSettings settings;
        EPattern pattern = EPattern::Sensor;
        std::uint64_t version = 0; ///< of the camera's look
    };

    CSimulatedDriver& mCamera;
    FrameSource mSource;
    std::vector<SEntry> mEntries;
    SRingFrame mFresh;
    std::size_t mMade = 0;
};

} // namespace vek::sim
