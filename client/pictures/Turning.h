// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"

#include <cstdint>
#include <vector>

namespace vek::client {

/// How a picture is turned: a mirror, then a rotation.
struct STurning {
    bool leftRight = false; ///< left and right change places
    bool topBottom = false; ///< top and bottom do
    int quarters = 0;       ///< clockwise, 0 to 3

    bool Any() const { return leftRight || topBottom || quarters != 0; }
};

/// A turned picture. samples: keeps its own.
SPictureView turned(const SPictureView& picture, const STurning& turning, std::vector<std::uint8_t>& samples);

} // namespace vek::client
