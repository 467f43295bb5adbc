// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vek::test {

/// splitmix64: small, seeded, the same on every machine.
class CRandom {
public:
    explicit CRandom(std::uint64_t seed) : mState(seed) {}

    std::uint64_t Next() {
        mState += 0x9E3779B97F4A7C15U;
        std::uint64_t z = mState;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31);
    }
    /// 0 .. bound-1.
    std::uint64_t Below(std::uint64_t bound) { return Next() % bound; }
    /// Any bytes.
    void Fill(std::uint8_t* first, const std::uint8_t* last) {
        while (first < last) {
            const std::uint64_t bytes = Next();
            const std::size_t count = std::min<std::size_t>(sizeof bytes, static_cast<std::size_t>(last - first));
            std::memcpy(first, &bytes, count);
            first += count;
        }
    }

private:
    std::uint64_t mState;
};

/// Test patterns for samples of a depth: what saturating, wrapping and rounding code stumbles over.
enum class Pattern { Random, Zero, Max, NearLimits };
constexpr Pattern kPatterns[] = {Pattern::Random, Pattern::Zero, Pattern::Max, Pattern::NearLimits};

template <class T>
void fillSamples(T* samples, std::size_t count, Pattern pattern, unsigned depth, CRandom& random) {
    const std::uint64_t max = (std::uint64_t{1} << depth) - 1;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint64_t v = 0;
        switch (pattern) {
        case Pattern::Random:
            v = random.Next() & max;
            break;
        case Pattern::Zero:
            break;
        case Pattern::Max:
            v = max;
            break;
        case Pattern::NearLimits:
            v = (random.Next() & 1) != 0 ? max - random.Below(3) : random.Below(3);
            break;
        }
        samples[i] = static_cast<T>(v);
    }
}

} // namespace vek::test
