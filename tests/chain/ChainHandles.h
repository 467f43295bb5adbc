// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgChain.h"

#include <memory>
#include <string>
#include <type_traits>

namespace vek::test {

struct SPlanEnd {
    void operator()(VekChain_Plan plan) const { VekChain_Destroy(plan); }
};
struct SWorkEnd {
    void operator()(VekChain_Work work) const { VekChain_DestroyWork(work); }
};
struct SStateEnd {
    void operator()(VekChain_State state) const { VekChain_DestroyState(state); }
};
using PlanOwner = std::unique_ptr<std::remove_pointer_t<VekChain_Plan>, SPlanEnd>;
using WorkOwner = std::unique_ptr<std::remove_pointer_t<VekChain_Work>, SWorkEnd>;
using StateOwner = std::unique_ptr<std::remove_pointer_t<VekChain_State>, SStateEnd>;

/// A plan, or none and the reason.
struct SMadePlan {
    int result = VEK_EINVAL;
    PlanOwner plan;
    std::string reason;
};
inline SMadePlan createPlan(VekCam_Handle handle, const VekChainDescription& description) {
    SMadePlan made;
    char reason[256] = {};
    VekChain_Plan plan = nullptr;
    made.result = VekChain_Create(handle, &description, &plan, reason, sizeof reason);
    made.plan.reset(plan);
    made.reason = reason;
    return made;
}
inline WorkOwner createWork(const PlanOwner& plan) {
    VekChain_Work work = nullptr;
    return WorkOwner(VekChain_CreateWork(plan.get(), &work) == VEK_OK ? work : nullptr);
}
inline StateOwner createState(const PlanOwner& plan) {
    VekChain_State state = nullptr;
    return StateOwner(VekChain_CreateState(plan.get(), &state) == VEK_OK ? state : nullptr);
}
inline VekChainTraits traitsOf(const PlanOwner& plan) {
    VekChainTraits traits = {};
    traits.size = sizeof traits;
    VekChain_Traits(plan.get(), &traits);
    return traits;
}

} // namespace vek::test
