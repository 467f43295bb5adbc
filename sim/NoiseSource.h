// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace vek::sim {

/// Random numbers by counter: the number of a pixel follows from seed, stream and pixel index alone, whatever was
/// drawn before. Any part of a frame can be made on its own and equals the same part of the whole frame.
class CNoiseSource {
public:
    /// stream separates uses of one seed: the frame number, or a constant for a fixed pattern.
    CNoiseSource(std::uint64_t seed, std::uint64_t stream);

    /// 64 uniformly distributed bits for one index.
    std::uint64_t Bits(std::uint64_t index) const { return Mix(mKey + index * 0x9E3779B97F4A7C15ULL); }

    /// Bijective scrambling of 64 bits: each input bit changes each output bit with a probability of about one half.
    static std::uint64_t Mix(std::uint64_t value) {
        value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
        value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
        return value ^ (value >> 31);
    }

private:
    std::uint64_t mKey;
};

/// Standard normal deviate from 32 uniform bits by the inverse distribution function; within -5.6 .. 5.6.
float gaussFromBits(std::uint32_t bits);

/// Poisson deviate from 32 uniform bits. Exact by inversion for small means; from 12 on a normal deviate with the
/// Poisson distribution's mean, variance and skewness, not rounded to an integer. Never negative.
float poissonFromBits(float mean, std::uint32_t bits);

} // namespace vek::sim
