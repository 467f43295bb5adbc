// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/Dng.h"
#include "client/profiles/Profile.h"

namespace vek::client {

/// Gives a frame for a DNG file what a profile says: levels, linearization, colours, neutral, noise, the shading map as
/// gain maps, the camera's name. Of two lights D65 comes first, else the order is the profile's; black levels of a
/// longer pattern are averaged over the places of the 2 x 2 cell. frame: as it was transferred, in the profile's
/// format. Throws CFailure where the shading map cannot be read or is of other frames.
void takeProfile(SDngFrame& frame, const SProfile& profile);

} // namespace vek::client
