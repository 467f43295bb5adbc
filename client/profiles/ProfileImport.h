// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/profiles/Profile.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vek::client {

/// A profile that was made of another file.
struct SImportedProfile {
    SProfile profile;
    std::vector<std::string> remarks; ///< what was not taken, and why
};

/// Makes a profile of the bytes of a DNG file or of a DCP one (a TIFF directory of the same tags behind the letters
/// IIRC or MMCR). name: of the file, for messages. Throws CFailure for other bytes.
SImportedProfile importedProfile(std::span<const std::uint8_t> bytes, const std::string& name);

/// The same of a file, which may be a profile as well. Throws CFailure.
SImportedProfile readImportedProfile(const std::string& path);

} // namespace vek::client
