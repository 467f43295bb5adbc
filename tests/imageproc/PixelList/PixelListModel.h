// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace vek::test {

/// Plain model of the bounded list of bright pixels.
class CPixelListModel {
public:
    struct SEntry {
        unsigned long x;
        unsigned long y;
        unsigned value;
    };

    explicit CPixelListModel(std::size_t capacity) : mCapacity(capacity) {}

    void Add(unsigned long x, unsigned long y, unsigned value) {
        if (mEntries.size() < mCapacity) {
            mEntries.push_back({x, y, value});
            return;
        }
        if (value <= MinValue()) {
            return;
        }
        const unsigned min = MinValue();
        mEntries.erase(
            std::find_if(mEntries.begin(), mEntries.end(), [min](const SEntry& entry) { return entry.value <= min; }));
        mEntries.push_back({x, y, value});
    }
    unsigned MinValue() const {
        unsigned min = 65535;
        for (const SEntry& entry : mEntries) {
            min = std::min(min, entry.value);
        }
        return min;
    }
    const std::vector<SEntry>& Entries() const { return mEntries; }

private:
    std::size_t mCapacity;
    std::vector<SEntry> mEntries;
};

} // namespace vek::test
