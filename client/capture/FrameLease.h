// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/capture/SettingsInForce.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>

namespace vek::client {

/// Clock of a frame's timestamp.
enum class EFrameClock : unsigned char { Unknown, Monotonic, Copied };
/// What a frame's timestamp is the moment of.
enum class EFrameMoment : unsigned char { EndOfFrame, StartOfExposure };

/// What is known of a frame that came.
struct SCapturedFrame {
    std::uint64_t number = 0;   ///< among those that were delivered, from 0, across interruptions
    std::uint64_t position = 0; ///< among those sent since streaming began
    std::uint32_t sequence = 0; ///< as the driver counts
    std::uint32_t flags = 0;    ///< V4L2_BUF_FLAG_...
    std::chrono::nanoseconds timestamp{};
    EFrameClock clock = EFrameClock::Unknown;
    EFrameMoment moment = EFrameMoment::EndOfFrame;
    std::chrono::nanoseconds arrival{}; ///< when it was taken from the driver, CLOCK_MONOTONIC
    std::chrono::nanoseconds wall{};    ///< the timestamp, or without a known clock the arrival, since 1970-01-01 UTC
    std::uint64_t lostBefore = 0;       ///< frames lost between this one and the one before
    SFrameSettings settings;
};

/// Memory of a frame: when the last lease of it ends, it goes back to the driver.
class IFrameMemory {
public:
    virtual ~IFrameMemory() = default;
    virtual std::span<const std::uint8_t> Bytes() const = 0;
    /// A descriptor of the same memory for other devices; -1: there is none. It stays the memory's.
    virtual int DmaBuffer() const { return -1; }
};

/// A reader's share in a frame. It may be copied and ended on any thread.
class CFrameLease {
public:
    CFrameLease() = default;
    CFrameLease(std::shared_ptr<const IFrameMemory> memory, SCapturedFrame frame)
        : mMemory(std::move(memory)), mFrame(frame) {}

    /// RowBytes x height, where the rows have no padding; aligned for words.
    std::span<const std::uint8_t> Bytes() const { return mMemory->Bytes(); }
    int DmaBuffer() const { return mMemory->DmaBuffer(); }
    const SCapturedFrame& Frame() const { return mFrame; }
    SCapturedFrame& Frame() { return mFrame; }
    explicit operator bool() const { return mMemory != nullptr; }

private:
    std::shared_ptr<const IFrameMemory> mMemory;
    SCapturedFrame mFrame;
};

} // namespace vek::client
