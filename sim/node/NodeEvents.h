// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <linux/videodev2.h>

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace vek::sim {

/// Subscriptions and pending events of one open file.
class CNodeEvents {
public:
    /// Whether it is a new one. Flags of V4L2_EVENT_SUB_FL_...; another subscription of the same event changes nothing.
    bool Subscribe(std::uint32_t type, std::uint32_t id, std::uint32_t flags);
    /// V4L2_EVENT_ALL ends all of them. What is pending of an ended one goes.
    void Unsubscribe(std::uint32_t type, std::uint32_t id);
    /// Whether an event is wanted; own: the file itself made it happen.
    bool Wants(std::uint32_t type, std::uint32_t id, bool own) const;
    /// Puts an event behind the others. Of one kind a few wait at most: older ones go, and changes add up.
    void Put(v4l2_event event);
    /// The oldest, with its number and how many are behind it.
    std::optional<v4l2_event> Take();
    bool Pending() const { return !mPending.empty(); }

private:
    struct SSubscription {
        std::uint32_t type;
        std::uint32_t id;
        std::uint32_t flags;
    };

    std::vector<SSubscription> mSubscriptions;
    std::deque<v4l2_event> mPending;
    std::uint32_t mSequence = 0;
};

} // namespace vek::sim
