// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace vek::tools {

/// A bar on standard error while a command works through several steps; nothing when standard error is no terminal
/// or there is one step only. Gone again when the object ends.
class CProgressBar {
public:
    explicit CProgressBar(std::size_t steps);
    ~CProgressBar();
    CProgressBar(const CProgressBar&) = delete;
    CProgressBar& operator=(const CProgressBar&) = delete;

    void Advance();

private:
    void Draw() const;

    std::size_t mSteps;
    std::size_t mDone = 0;
    bool mVisible;
};

} // namespace vek::tools
