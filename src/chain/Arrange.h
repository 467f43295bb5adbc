// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Image.h"

struct CVekChainPlan;

namespace vek {

/// Finished blue-green-red rows first .. end-1 to a picture of another layout.
template <class T>
void arrangeRows(const CVekChainPlan& plan, const SImage<const T>& rows, const SImage<T>& picture, unsigned long first,
                 unsigned long end);

} // namespace vek
