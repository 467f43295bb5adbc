// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>

namespace vek::tools {

/// A bar on standard error while a command works through several steps, with steps a second and the time left; nothing
/// when standard error is no terminal or there is one step only. Gone again when the object ends.
class CProgressBar {
public:
    /// steps: 0 where nobody knows how many there are.
    explicit CProgressBar(std::size_t steps);
    ~CProgressBar();
    CProgressBar(const CProgressBar&) = delete;
    CProgressBar& operator=(const CProgressBar&) = delete;

    void Advance();

private:
    using Clock = std::chrono::steady_clock;

    void Draw() const;

    std::size_t mSteps;
    std::size_t mDone = 0;
    bool mVisible;
    Clock::time_point mBegin = Clock::now();
};

} // namespace vek::tools
