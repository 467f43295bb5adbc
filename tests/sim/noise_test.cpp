// SPDX-License-Identifier: Apache-2.0
#include "sim/NoiseSource.h"
#include "sim/PortableMath.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace vek::sim;

TEST(PortableMath, AgreesWithTheLibrary) {
    for (double x = -40.0; x <= 40.0; x += 0.37) {
        EXPECT_NEAR(portableExp(x) / std::exp(x), 1.0, 1e-13) << x;
        EXPECT_NEAR(portableCos(x), std::cos(x), 1e-12) << x;
        EXPECT_NEAR(portableSin(x), std::sin(x), 1e-12) << x;
        EXPECT_NEAR(portableDbToLinear(x) / std::pow(10.0, x / 20.0), 1.0, 1e-13) << x;
    }
    EXPECT_EQ(portableExp(0.0), 1.0);
    EXPECT_EQ(portableCos(0.0), 1.0);
}

TEST(NoiseSource, DependsOnSeedStreamAndIndexOnly) {
    const CNoiseSource a(1, 2);
    const std::uint64_t first = a.Bits(10);
    static_cast<void>(a.Bits(11));
    EXPECT_EQ(a.Bits(10), first);
    EXPECT_EQ(CNoiseSource(1, 2).Bits(10), first);
    EXPECT_NE(CNoiseSource(2, 2).Bits(10), first);
    EXPECT_NE(CNoiseSource(1, 3).Bits(10), first);
    EXPECT_NE(CNoiseSource(2, 1).Bits(10), first);
}

struct SMoments {
    double mean, variance, skewness, kurtosis;
};

template <typename Draw>
SMoments momentsOf(unsigned count, Draw draw) {
    double m1 = 0.0;
    for (unsigned i = 0; i < count; ++i) {
        m1 += static_cast<double>(draw(i));
    }
    m1 /= count;
    double m2 = 0.0;
    double m3 = 0.0;
    double m4 = 0.0;
    for (unsigned i = 0; i < count; ++i) {
        const double d = static_cast<double>(draw(i)) - m1;
        m2 += d * d / count;
        m3 += d * d * d / count;
        m4 += d * d * d * d / count;
    }
    return {m1, m2, m3 / std::pow(m2, 1.5), m4 / (m2 * m2)};
}

TEST(NoiseSource, GaussIsStandardNormal) {
    // Evenly spread bits: the table itself, without sampling error.
    const SMoments even = momentsOf(1U << 20, [](unsigned i) { return gaussFromBits((i << 12) + 2048U); });
    EXPECT_NEAR(even.mean, 0.0, 1e-5);
    EXPECT_NEAR(even.variance, 1.0, 1e-3);
    EXPECT_NEAR(even.skewness, 0.0, 1e-4);
    EXPECT_NEAR(even.kurtosis, 3.0, 0.01);
    // P(z < -1.959964) = 0.025, P(z < 1.281552) = 0.9
    EXPECT_NEAR(gaussFromBits(107374182U), -1.959964F, 1e-4F);
    EXPECT_NEAR(gaussFromBits(3865470566U), 1.281552F, 1e-4F);
    EXPECT_NEAR(gaussFromBits(0), -5.6F, 0.2F);
    EXPECT_NEAR(gaussFromBits(~0U), 5.6F, 0.2F);
    float last = -10.0F;
    for (std::uint64_t bits = 0; bits < (std::uint64_t{1} << 32); bits += 99991) {
        const float z = gaussFromBits(static_cast<std::uint32_t>(bits));
        ASSERT_GE(z, last) << bits;
        last = z;
    }
}

TEST(NoiseSource, PoissonHasEqualMeanAndVariance) {
    const CNoiseSource noise(5, 0);
    for (const float mean : {0.05F, 0.9F, 4.0F, 11.9F, 12.1F, 40.0F, 5000.0F}) {
        const SMoments m = momentsOf(
            200000, [&](unsigned i) { return poissonFromBits(mean, static_cast<std::uint32_t>(noise.Bits(i) >> 32)); });
        const double lambda = static_cast<double>(mean);
        // Five standard errors of mean and variance.
        EXPECT_NEAR(m.mean, lambda, 5.0 * std::sqrt(lambda / 200000.0)) << mean;
        EXPECT_NEAR(m.variance / lambda, 1.0, 5.0 * std::sqrt((2.0 + 1.0 / lambda) / 200000.0) + 0.006) << mean;
        EXPECT_NEAR(m.skewness * std::sqrt(lambda), 1.0, 0.1 + 0.03 * std::sqrt(lambda)) << mean;
    }
    EXPECT_EQ(poissonFromBits(0.0F, 12345), 0.0F);
    EXPECT_EQ(poissonFromBits(-1.0F, 12345), 0.0F);
    EXPECT_GE(poissonFromBits(12.0F, 0), 0.0F);
}

} // namespace
