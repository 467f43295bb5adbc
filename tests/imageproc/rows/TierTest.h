// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/rows/RowDispatch.h"
#include "support/Random.h"
#include "support/SampleTypes.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace vek::test {

/// A test of one tier's kernels, skipped where the machine cannot run them.
class CTierTest : public testing::TestWithParam<std::size_t> {
protected:
    void SetUp() override {
        if (!rows::tier(GetParam()).usable) {
            GTEST_SKIP() << "this machine has no " << rows::tier(GetParam()).table->name;
        }
    }
    const rows::SRowTable& Table() const { return *rows::tier(GetParam()).table; }
    static const rows::SRowTable& Scalar() { return *rows::tier(0).table; }
};

/// Runs kernel(table, row) of both tables on a row of count samples, which stood the same before. The scalar table's
/// row says what is right; the other's is flush with a protected page.
template <class T, class Kernel>
testing::AssertionResult sameRows(const rows::SRowTable& scalar, const rows::SRowTable& table,
                                  const std::vector<T>& before, Flush flush, Kernel kernel) {
    std::vector<T> expected = before;
    CGuardedBuffer<T> got(before.size(), flush);
    std::copy(before.begin(), before.end(), got.data());
    kernel(scalar, expected.data());
    kernel(table, got.data());
    const auto differing = std::mismatch(expected.begin(), expected.end(), got.data());
    if (differing.first != expected.end()) {
        return testing::AssertionFailure()
               << table.name << ", " << 8 * sizeof(T) << " bit, " << before.size() << " samples: sample "
               << differing.first - expected.begin() << " is " << +*differing.second << ", not " << +*differing.first;
    }
    return got.CanaryIntact() ? testing::AssertionSuccess()
                              : testing::AssertionFailure() << table.name << " writes outside of the row";
}

/// count samples of a pattern.
template <class T>
std::vector<T> samplesOf(std::size_t count, Pattern pattern, unsigned depth, CRandom& random) {
    std::vector<T> samples(count);
    fillSamples(samples.data(), count, pattern, depth, random);
    return samples;
}

inline std::string tierName(const testing::TestParamInfo<std::size_t>& info) {
    return rows::tier(info.param).table->name;
}

/// Runs a suite derived from CTierTest for every tier of this build.
#define VEK_FOR_EVERY_TIER(suite)                                                                                      \
    INSTANTIATE_TEST_SUITE_P(Tiers, suite, testing::Range(std::size_t{0}, rows::tierCount()), tierName)

} // namespace vek::test
