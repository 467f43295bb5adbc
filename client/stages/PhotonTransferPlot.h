// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"
#include "client/stages/PhotonTransfer.h"

#include <span>
#include <string>

namespace vek::client {

/// The variances over the signals, with the lines of the gain and the point of saturation, and, where exposures are
/// known, the deviations from linearity below. title: of the whole. Throws CFailure.
SImage photonTransferPicture(std::span<const SPhotonTransfer> colors, const std::string& title);

} // namespace vek::client
