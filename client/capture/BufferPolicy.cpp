// SPDX-License-Identifier: Apache-2.0
#include "client/capture/BufferPolicy.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vek::client {

namespace {

constexpr std::array<std::pair<std::string_view, EBufferPolicy>, 4> kPolicies = {
    std::pair{std::string_view("wait"), EBufferPolicy::Wait},
    {"drop-oldest", EBufferPolicy::DropOldest},
    {"drop-newest", EBufferPolicy::DropNewest},
    {"copy", EBufferPolicy::Copy}};

} // namespace

std::optional<EBufferPolicy> bufferPolicyNamed(std::string_view text) {
    const auto* const found =
        std::find_if(kPolicies.begin(), kPolicies.end(), [text](const auto& policy) { return policy.first == text; });
    return found != kPolicies.end() ? std::optional(found->second) : std::nullopt;
}

std::string_view bufferPolicyName(EBufferPolicy policy) {
    return kPolicies[static_cast<std::size_t>(policy)].first;
}

EFrameTurn turnOf(EBufferPolicy policy, unsigned readers, unsigned lent, unsigned waiting, unsigned droppable,
                  unsigned queue) {
    if (lent < readers && waiting < queue) {
        return EFrameTurn::Lend;
    }
    switch (policy) {
    case EBufferPolicy::DropOldest:
        return droppable > 0 ? EFrameTurn::DropOldest : EFrameTurn::DropNewest;
    case EBufferPolicy::DropNewest:
        return EFrameTurn::DropNewest;
    case EBufferPolicy::Copy:
        return waiting < queue ? EFrameTurn::Copy : EFrameTurn::Leave;
    case EBufferPolicy::Wait:
        break;
    }
    return EFrameTurn::Leave;
}

} // namespace vek::client
