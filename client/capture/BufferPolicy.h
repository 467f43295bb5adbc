// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vek::client {

/// What happens to a new frame while readers hold all buffers that are theirs.
enum class EBufferPolicy : unsigned char {
    Wait,       ///< it waits in the driver, which has no buffer for the ones after it at last
    DropOldest, ///< it takes the place of the oldest one that no reader has taken yet
    DropNewest, ///< it goes back to the driver
    Copy        ///< it is copied to memory of our own
};
/// "wait", "drop-oldest", "drop-newest", "copy"; nothing for another text.
std::optional<EBufferPolicy> bufferPolicyNamed(std::string_view text);
std::string_view bufferPolicyName(EBufferPolicy policy);

/// What to do about a frame that came or could be taken.
enum class EFrameTurn : unsigned char {
    Lend,       ///< hand it on
    Leave,      ///< do not take it from the driver
    DropOldest, ///< give the oldest one that waits back, hand this one on
    DropNewest, ///< give it back
    Copy        ///< copy it, give it back, hand the copy on
};

/// readers: the buffers that they may hold; lent: those that they do, frames that wait among them; waiting: frames that
/// no reader has taken yet, droppable: those of them that hold a buffer; queue: most that may wait.
EFrameTurn turnOf(EBufferPolicy policy, unsigned readers, unsigned lent, unsigned waiting, unsigned droppable,
                  unsigned queue);

} // namespace vek::client
