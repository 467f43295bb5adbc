// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "chain/Plan.h"
#include "chain/WorkArea.h"

namespace vek {

/// Rows first .. end-1 of a picture, from a frame or from what a state has kept of it. All arguments are checked.
void runBand(const CVekChainPlan& plan, const CVekChainState* state, CVekChainWork& work, const void* frame,
             void* picture, unsigned long first, unsigned long end);

/// What comes before a frame's bands. All arguments are checked.
void prepareFrame(const CVekChainPlan& plan, CVekChainState& state, CVekChainWork& work, const void* frame);

} // namespace vek
