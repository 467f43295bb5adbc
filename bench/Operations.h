// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Operation.h"

namespace vek::bench {

Operations averageOperations();
Operations chainOperations();
Operations chromaSuppressOperations();
Operations colorInterpolationOperations();
Operations colorMatrixOperations();
Operations flipOperations();
Operations formatConversionOperations();
Operations gammaOperations();
Operations noiseReductionOperations();
Operations planOperations();
Operations shadingOperations();
Operations sharpnessOperations();
Operations whiteBalanceOperations();

} // namespace vek::bench
