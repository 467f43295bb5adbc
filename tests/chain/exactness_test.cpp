// SPDX-License-Identifier: Apache-2.0
// A plan without stages of the chain's own makes what the exports make of a copy of the frame, bit for bit.
#include "chain/Plan.h"
#include "chain/RandomChain.h"

#include <gtest/gtest.h>

namespace vek::test {
namespace {

using CChainExactness = CRandomChain;

TEST_P(CChainExactness, EqualsTheExportsOneAfterTheOther) {
    CRandom random(static_cast<std::uint64_t>(GetParam()) + 1);
    unsigned made = 0;
    for (unsigned attempt = 0; attempt < 60; ++attempt) {
        SCase with;
        MakeCase(with, random);
        const SMadePlan best = createPlan(mHandle, with.description);
        if (best.plan == nullptr) {
            ASSERT_EQ(best.result, VEK_EINVAL);
            ASSERT_FALSE(best.reason.empty());
            continue;
        }
        ++made;
        const rows::SRowTable& kernels = AnyTier(random);
        SCOPED_TRACE(::testing::Message() << kernels.name << ", attempt " << attempt << ": " << Told(with));
        const SStagedPicture staged = callExports(mHandle, with.description, with.width, with.height, with.colorArray,
                                                  static_cast<unsigned short>(with.format.depth), with.samples);
        ASSERT_TRUE(staged.made);
        const PlanOwner plan(makePlan(kernels, best.plan->handle, with.description, nullptr).release());
        ASSERT_NO_FATAL_FAILURE(RunAndCompare(with, plan, staged, random));
    }
    EXPECT_GE(made, 15U);
}
INSTANTIATE_TEST_SUITE_P(Seeds, CChainExactness, ::testing::Range(0, 24));

} // namespace
} // namespace vek::test
