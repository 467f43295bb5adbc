// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

namespace vek::client {

/// What becomes of a row of things: each is taken, worked on and finished.
struct SOrderedSteps {
    std::function<std::shared_ptr<void>()> take; ///< one after the other; null: there are no more
    std::function<void(void*)> work;             ///< several at once
    std::function<bool(void*)> finish;           ///< one after the other, as they were taken; false: no more are taken
    /// Told of the first signal that would end the program: the run may end in its own way, as take then says. Empty:
    /// the program ends. A second signal ends it in any case, unless it comes within a quarter of a second.
    std::function<void()> interrupt = {};
};

/// Runs the steps on threads, 1 or more: no more of them than the machine runs at once. At most twice as many things as
/// threads are under way. The steps run with signals held back; one that ends the program does so at once, temporary
/// files removed. What a step throws ends the run and is thrown.
void runInOrder(unsigned threads, const SOrderedSteps& steps);

} // namespace vek::client
