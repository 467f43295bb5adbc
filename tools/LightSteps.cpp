// SPDX-License-Identifier: Apache-2.0
#include "LightSteps.h"

#include <charconv>

namespace vek::tools {

namespace {

/// Takes a number off the front of text.
template <class T>
std::optional<T> takenNumber(std::string_view& text) {
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{}) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return value;
}

bool takenMark(std::string_view& text, char mark) {
    const bool found = !text.empty() && text.front() == mark;
    text.remove_prefix(found ? 1 : 0);
    return found;
}

} // namespace

std::optional<std::vector<SLightStep>> parsedLightSteps(std::string_view text) {
    std::vector<SLightStep> steps;
    do {
        const std::optional<unsigned> frame = takenNumber<unsigned>(text);
        const bool colon = takenMark(text, ':');
        const std::optional<double> light = takenNumber<double>(text);
        // The comparison is false for what is not a number.
        if (!frame || !colon || !light || !(*light >= 0 && *light <= kMaxLight) ||
            (!steps.empty() && *frame <= steps.back().frame)) {
            return std::nullopt;
        }
        steps.push_back({*frame, static_cast<float>(*light)});
    } while (takenMark(text, ','));
    return text.empty() ? std::optional(steps) : std::nullopt;
}

} // namespace vek::tools
