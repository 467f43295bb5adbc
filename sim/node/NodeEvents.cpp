// SPDX-License-Identifier: Apache-2.0
#include "sim/node/NodeEvents.h"

#include <algorithm>

namespace vek::sim {

namespace {

constexpr std::size_t kMostOfAKind = 4; // that wait; of a control the last value is all that counts

std::size_t mostOf(std::uint32_t type) {
    return type == V4L2_EVENT_CTRL ? 1 : kMostOfAKind;
}

} // namespace

bool CNodeEvents::Subscribe(std::uint32_t type, std::uint32_t id, std::uint32_t flags) {
    for (const SSubscription& subscription : mSubscriptions) {
        if (subscription.type == type && subscription.id == id) {
            return false;
        }
    }
    mSubscriptions.push_back({type, id, flags});
    return true;
}

void CNodeEvents::Unsubscribe(std::uint32_t type, std::uint32_t id) {
    const auto ends = [&](std::uint32_t itsType, std::uint32_t itsId) {
        return type == V4L2_EVENT_ALL || (itsType == type && itsId == id);
    };
    std::erase_if(mSubscriptions,
                  [&](const SSubscription& subscription) { return ends(subscription.type, subscription.id); });
    std::erase_if(mPending, [&](const v4l2_event& event) { return ends(event.type, event.id); });
}

bool CNodeEvents::Wants(std::uint32_t type, std::uint32_t id, bool own) const {
    return std::any_of(mSubscriptions.begin(), mSubscriptions.end(), [&](const SSubscription& subscription) {
        return subscription.type == type && subscription.id == id &&
               (!own || (subscription.flags & V4L2_EVENT_SUB_FL_ALLOW_FEEDBACK) != 0);
    });
}

void CNodeEvents::Put(v4l2_event event) {
    const auto same = [&](const v4l2_event& other) { return other.type == event.type && other.id == event.id; };
    if (std::count_if(mPending.begin(), mPending.end(), same) >= static_cast<std::ptrdiff_t>(mostOf(event.type))) {
        const auto oldest = std::find_if(mPending.begin(), mPending.end(), same);
        if (event.type == V4L2_EVENT_CTRL) {
            event.u.ctrl.changes |= oldest->u.ctrl.changes;
        } else if (event.type == V4L2_EVENT_SOURCE_CHANGE) {
            event.u.src_change.changes |= oldest->u.src_change.changes;
        }
        mPending.erase(oldest);
    }
    event.sequence = mSequence++;
    mPending.push_back(event);
}

std::optional<v4l2_event> CNodeEvents::Take() {
    if (mPending.empty()) {
        return std::nullopt;
    }
    v4l2_event event = mPending.front();
    mPending.pop_front();
    event.pending = static_cast<std::uint32_t>(mPending.size());
    return event;
}

} // namespace vek::sim
