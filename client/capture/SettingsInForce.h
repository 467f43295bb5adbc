// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

namespace vek::client {

enum class EFrameSetting : unsigned char { Exposure, Gain };
inline constexpr std::size_t kFrameSettings = 2;

/// What a frame was taken with.
struct SFrameSettings {
    std::array<std::optional<std::int32_t>, kFrameSettings> values; ///< by EFrameSetting; nothing: not known
    bool settled = true; ///< nothing was set that the frame does not show yet

    std::optional<std::int32_t> Exposure() const { return values[0]; } ///< clocks
    std::optional<std::int32_t> Gain() const { return values[1]; }     ///< setting value
};

/// Which settings frames show: of the frames that the camera sends after a control was set, the first ones, as many as
/// the control's delay, show the old value, the next one the new value.
class CSettingsInForce {
public:
    using Time = std::chrono::nanoseconds; ///< CLOCK_MONOTONIC

    struct SDelays {
        std::array<unsigned, kFrameSettings> frames{}; ///< by EFrameSetting
    };
    explicit CSettingsInForce(SDelays delays) : mDelays(delays) {}

    /// What the camera had before it sent its first frame.
    void Begin(EFrameSetting setting, std::optional<std::int32_t> value);
    /// A setting was changed; time: when the driver had taken it.
    void Set(EFrameSetting setting, std::int32_t value, Time time);
    /// Streaming began anew: positions count from 0 again, and what was set is in force.
    void Restart();
    /// Of a frame; to be called in their order. position: number among the frames sent since streaming began.
    SFrameSettings Of(std::uint64_t position, Time time);

private:
    struct SChange {
        std::int32_t value;
        Time time;
        std::optional<std::uint64_t> first; ///< position of the first frame that was sent afterwards
    };

    SDelays mDelays;
    std::array<std::optional<std::int32_t>, kFrameSettings> mValues;
    std::array<std::deque<SChange>, kFrameSettings> mPending;
};

} // namespace vek::client
