// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/profiles/Profile.h"

#include <string>

namespace vek::client {

/// The colour matrices of a profile as a tuning file of libcamera has them: YAML, the algorithm Ccm, for each light its
/// temperature and a matrix from samples behind white balance to linear sRGB, whose printed rows have the sum 1. Throws
/// CFailure where the profile has no matrices, or no light to them.
std::string libcameraTuning(const SProfile& profile);

} // namespace vek::client
