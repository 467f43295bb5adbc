// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/rows/RowDispatch.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace vek::test {

/// A test of one tier's kernels, skipped where the machine cannot run them.
class CTierTest : public testing::TestWithParam<std::size_t> {
protected:
    void SetUp() override {
        if (!rows::tier(GetParam()).usable) {
            GTEST_SKIP() << "this machine has no " << rows::tier(GetParam()).table->name;
        }
    }
    const rows::SRowTable& table() const { return *rows::tier(GetParam()).table; }
    static const rows::SRowTable& scalar() { return *rows::tier(0).table; }
};

inline std::string tierName(const testing::TestParamInfo<std::size_t>& info) {
    return rows::tier(info.param).table->name;
}

/// Runs a suite derived from CTierTest for every tier of this build.
#define VEK_FOR_EVERY_TIER(suite)                                                                                      \
    INSTANTIATE_TEST_SUITE_P(Tiers, suite, testing::Range(std::size_t{0}, rows::tierCount()), tierName)

} // namespace vek::test
