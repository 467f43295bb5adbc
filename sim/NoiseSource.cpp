// SPDX-License-Identifier: Apache-2.0
#include "sim/NoiseSource.h"

#include "sim/PortableMath.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace vek::sim {

namespace {

constexpr std::size_t kBins = 4096;        // equal probability each, 2^-12
constexpr float kExactPoissonMean = 12.0F; // below: inversion
constexpr int kMaxInversionSteps = 96;     // P(n > 96) is below 1e-40 for a mean of 12

/// Quantiles of the standard normal distribution. The two outermost bins are split again, so that the tails reach
/// to 5.6 sigma instead of ending at 3.5.
struct SNormalTable {
    std::array<float, kBins + 1> quantile; // z at probability i / 4096; the ends are not used
    std::array<float, kBins + 1> tail;     // z at probability i / 4096^2: the first bin of quantile

    SNormalTable() : quantile{}, tail{} {
        // Distribution function on a grid from -8 to 0 by Simpson's rule, exact enough to start from 0 at -8.
        constexpr int stepsPerUnit = 2048;
        constexpr int steps = 8 * stepsPerUnit;
        constexpr double step = 1.0 / stepsPerUnit;
        constexpr double invSqrt2Pi = 0.39894228040143267794;
        const auto density = [](double z) { return invSqrt2Pi * portableExp(-0.5 * z * z); };
        std::vector<double> cdf(steps + 1, 0.0);
        for (int i = 0; i < steps; ++i) {
            const double z = -8.0 + i * step;
            cdf[static_cast<std::size_t>(i) + 1] =
                cdf[static_cast<std::size_t>(i)] +
                step / 6.0 * (density(z) + 4.0 * density(z + step / 2.0) + density(z + step));
        }
        std::size_t position = 0; // probabilities are asked for in rising order
        const auto invert = [&](double p) {
            while (position + 1 < cdf.size() - 1 && cdf[position + 1] < p) {
                ++position;
            }
            const double part = (p - cdf[position]) / (cdf[position + 1] - cdf[position]);
            return static_cast<float>(-8.0 + (static_cast<double>(position) + part) * step);
        };
        constexpr double binProbability = 1.0 / kBins;
        tail[0] = invert(binProbability * binProbability / 8.0);
        for (std::size_t i = 1; i <= kBins; ++i) {
            tail[i] = invert(static_cast<double>(i) * binProbability * binProbability);
        }
        quantile[0] = tail[0];
        quantile[1] = tail[kBins];
        for (std::size_t i = 2; i < kBins / 2; ++i) {
            quantile[i] = invert(static_cast<double>(i) * binProbability);
        }
        quantile[kBins / 2] = 0.0F;
        for (std::size_t i = 0; i < kBins / 2; ++i) {
            quantile[kBins - i] = -quantile[i];
        }
    }
};

const SNormalTable& normalTable() {
    static const SNormalTable table;
    return table;
}

} // namespace

CNoiseSource::CNoiseSource(std::uint64_t seed, std::uint64_t stream)
    : mKey(Mix(Mix(seed + 0x9E3779B97F4A7C15ULL) ^ (stream * 0xD1B54A32D192ED03ULL + 0x8CB92BA72F3D8DD7ULL))) {}

float gaussFromBits(std::uint32_t bits) {
    static const SNormalTable& table = normalTable();
    const std::uint32_t bin = bits >> 20;
    if (bin == 0 || bin == kBins - 1) {
        const std::uint32_t lower = bin == 0 ? bits : ~bits; // the upper tail mirrors the lower one
        const std::uint32_t part = (lower >> 8) & 0xFFFU;
        const float fraction = (static_cast<float>(lower & 0xFFU) + 0.5F) * (1.0F / 256.0F);
        const float z = table.tail[part] + (table.tail[part + 1] - table.tail[part]) * fraction;
        return bin == 0 ? z : -z;
    }
    const float fraction = (static_cast<float>(bits & 0xFFFFFU) + 0.5F) * (1.0F / 1048576.0F);
    return table.quantile[bin] + (table.quantile[bin + 1] - table.quantile[bin]) * fraction;
}

float poissonFromBits(float mean, std::uint32_t bits) {
    if (!(mean > 0.0F)) {
        return 0.0F;
    }
    if (mean < kExactPoissonMean) {
        const double uniform = (static_cast<double>(bits) + 0.5) * (1.0 / 4294967296.0);
        double probability = portableExp(-static_cast<double>(mean));
        double sum = probability;
        int count = 0;
        while (uniform > sum && count < kMaxInversionSteps) {
            ++count;
            probability *= static_cast<double>(mean) / count;
            sum += probability;
        }
        return static_cast<float>(count);
    }
    // Second term of the Cornish-Fisher expansion: the third moment of a Poisson variable equals its mean.
    const float z = gaussFromBits(bits);
    const float value = mean + std::sqrt(mean) * z + (z * z - 1.0F) * (1.0F / 6.0F);
    return value > 0.0F ? value : 0.0F;
}

} // namespace vek::sim
