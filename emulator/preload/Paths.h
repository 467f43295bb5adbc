// SPDX-License-Identifier: Apache-2.0
// Which paths mean the camera, and what stands in for others.
#pragma once

#include <climits>

namespace vek::emulator {

enum class EPlace : unsigned char {
    Elsewhere, ///< nothing to do with the camera
    Node,      ///< /dev/videoN
    Shadow,    ///< in a folder that something stands in for: SPlace::path is to be taken instead
};

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the path is written where there is one
struct SPlace {
    EPlace kind = EPlace::Elsewhere;
    char path[PATH_MAX];
};

/// What a path means. folder: a descriptor or AT_FDCWD, where the path is relative.
EPlace placeOf(int folder, const char* path, SPlace& place);
/// Whether a path ends in a symbolic link that leads to the node.
bool linksToNode(int folder, const char* path);
/// Takes the folder of what stands in off the front of a path; false where it is not there.
bool unshadow(char* path);

} // namespace vek::emulator
