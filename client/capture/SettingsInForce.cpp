// SPDX-License-Identifier: Apache-2.0
#include "client/capture/SettingsInForce.h"

namespace vek::client {

void CSettingsInForce::Begin(EFrameSetting setting, std::optional<std::int32_t> value) {
    const auto index = static_cast<std::size_t>(setting);
    mValues[index] = value;
    mPending[index].clear();
}

void CSettingsInForce::Set(EFrameSetting setting, std::int32_t value, Time time) {
    mPending[static_cast<std::size_t>(setting)].push_back({value, time, std::nullopt});
}

void CSettingsInForce::Restart() {
    for (std::size_t i = 0; i < kFrameSettings; ++i) {
        if (!mPending[i].empty()) {
            mValues[i] = mPending[i].back().value;
            mPending[i].clear();
        }
    }
}

SFrameSettings CSettingsInForce::Of(std::uint64_t position, Time time) {
    SFrameSettings settings;
    for (std::size_t i = 0; i < kFrameSettings; ++i) {
        std::deque<SChange>& pending = mPending[i];
        for (SChange& change : pending) {
            if (!change.first && time > change.time) {
                change.first = position;
            }
        }
        while (!pending.empty() && pending.front().first && position >= *pending.front().first + mDelays.frames[i]) {
            mValues[i] = pending.front().value;
            pending.pop_front();
        }
        settings.values[i] = mValues[i];
        settings.settled = settings.settled && pending.empty();
    }
    return settings;
}

} // namespace vek::client
