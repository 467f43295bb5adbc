// SPDX-License-Identifier: Apache-2.0
// What the simulated camera knows of the frames that it has sent: the truth that readers' accounts are held against.
#pragma once

#include "sim/node/NodeTime.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace vek::sim {

/// What became of a frame on its way into a buffer.
enum class EFate : unsigned char {
    Whole,    ///< all its bytes are in a buffer
    Flagged,  ///< they are, with V4L2_BUF_FLAG_ERROR
    Short,    ///< fewer bytes are
    Lost,     ///< it never reached the driver
    NoBuffer, ///< no buffer was queued
};

struct SSentFrame {
    std::uint64_t number = 0;   ///< over all streams of the node, from 0
    std::uint32_t sequence = 0; ///< as the driver counts it
    NodeTime time{};            ///< timestamp
    EFate fate = EFate::Whole;
    std::uint32_t exposure = 0;          ///< exposure units that it was taken with
    std::uint16_t gain = 0;              ///< setting value that it was taken with
    std::span<const std::uint8_t> bytes; ///< what is in the buffer; empty where there is none. During the call only
    std::size_t content = 0;             ///< frames with one number here have the same bytes, but for short ones
};

/// sent = whole + flagged + shortFrames + lost + noBuffer.
struct SSentCounts {
    std::uint64_t sent = 0; ///< numbers that the sequence went through
    std::uint64_t whole = 0;
    std::uint64_t flagged = 0;
    std::uint64_t shortFrames = 0;
    std::uint64_t lost = 0;
    std::uint64_t noBuffer = 0;
    std::uint64_t left = 0; ///< of whole, flagged and shortFrames: never taken out of the queue
    bool operator==(const SSentCounts&) const = default;
};

} // namespace vek::sim
