// SPDX-License-Identifier: Apache-2.0
// Transfer formats by the four-character codes of Video4Linux2.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vek::sim {

/// Four-character code of a transfer format (enum VekTransferFormat) of a sensor with a colour array, 1 .. 5. Formats
/// that V4L2 has no code for get one of the driver's own, 'V', 'K' and the transfer format in two digits.
std::uint32_t fourCcOf(unsigned long format, int colorArray);

/// What the kernel calls a format of a sensor with a colour array, up to 31 characters; the simulation's own name of
/// one that only this driver has.
std::string formatDescription(unsigned long format, int colorArray);

/// The formats that a camera with this colour array offers, each code once.
std::vector<unsigned long> offeredFormats(int colorArray);

/// The first format with a code, that of ITU-R BT.709 where it is wished for and there is one; nothing: no format has
/// the code.
std::optional<unsigned long> formatOf(std::uint32_t fourCc, int colorArray, bool bt709);

bool isYCrCb(unsigned long format);
bool isBt709(unsigned long format);

} // namespace vek::sim
