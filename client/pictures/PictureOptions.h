// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek::client {

/// How a picture is written; formats pass over what they do not have.
struct SPictureOptions {
    bool displayCurve = false; ///< the samples follow the sRGB curve, which PNG files then say
    int quality = 95;          ///< of JPEG, 1..100
    unsigned threads = 1;      ///< that compress PNG; the samples are the same, the file's length may differ a little
};

} // namespace vek::client
