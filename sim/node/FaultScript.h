// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/node/NodeTime.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

namespace vek::sim {

enum class EFault : unsigned char {
    Lose,         ///< the frame never reaches the driver: its number is missing
    Flag,         ///< the buffer comes with V4L2_BUF_FLAG_ERROR
    Short,        ///< fewer bytes than a frame has
    Stall,        ///< nothing comes for a while, nothing is lost
    Sequence,     ///< the frame has another number, and those behind it count on from there
    Unplug,       ///< the cable is pulled in place of the frame, and may be put back in
    EndOfStream,  ///< V4L2_EVENT_EOS in front of the frame
    SourceChange, ///< V4L2_EVENT_SOURCE_CHANGE in front of the frame
};

/// What goes wrong at a frame.
struct SFrameFault {
    EFault kind = EFault::Lose;
    std::uint32_t value = 0;                            ///< Short: bytes; Sequence: the number
    std::optional<std::chrono::milliseconds> time = {}; ///< Stall: how long; Unplug: until it is put back in
    bool operator==(const SFrameFault&) const = default;
};

/// Faults on demand.
struct SFaultScript {
    std::multimap<std::uint64_t, SFrameFault> frames; ///< by number of the frame, from 0, over all streams of the node
    std::map<std::uint64_t, int> requests;            ///< by number of the ioctl, from 1, less those that are to
                                                      ///< be tried again (EAGAIN): the errno value it fails with
};

/// Reads a script, one fault a line; # begins a comment.
///   frame N lose [COUNT]
///   frame N flag [COUNT]
///   frame N short BYTES [COUNT]
///   frame N stall MILLISECONDS
///   frame N sequence NUMBER
///   frame N unplug [MILLISECONDS]
///   frame N eos
///   frame N source-change
///   request N ERRNO             a name such as EIO
/// Throws std::invalid_argument, "line 3: what is needed".
SFaultScript parseFaultScript(std::string_view text);

} // namespace vek::sim
