// SPDX-License-Identifier: Apache-2.0
#include "client/stages/OrderedRun.h"

#include "client/files/TemporaryFile.h"

#include <tbb/info.h>
#include <tbb/parallel_pipeline.h>
#include <tbb/task_arena.h>

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <exception>
#include <optional>
#include <thread>

namespace vek::client {

namespace {

void runPipeline(int threads, const SOrderedSteps& steps) {
    using Thing = std::shared_ptr<void>;
    std::atomic<bool> ended{false};
    const auto take = [&](tbb::flow_control& control) {
        Thing thing = ended ? nullptr : steps.take();
        if (thing == nullptr) {
            control.stop();
        }
        return thing;
    };
    const auto work = [&](Thing thing) {
        if (!ended) {
            steps.work(thing.get());
        }
        return thing;
    };
    const auto finish = [&](const Thing& thing) {
        if (!ended && !steps.finish(thing.get())) {
            ended = true;
        }
    };
    tbb::task_arena(threads).execute([&] {
        tbb::parallel_pipeline(std::size_t{2} * static_cast<std::size_t>(threads),
                               tbb::make_filter<void, Thing>(tbb::filter_mode::serial_in_order, take) &
                                   tbb::make_filter<Thing, Thing>(tbb::filter_mode::parallel, work) &
                                   tbb::make_filter<Thing, void>(tbb::filter_mode::serial_in_order, finish));
    });
}

/// Tells the thread that waits for signals that there is nothing left to wait for. It does nothing by itself.
constexpr int kDone = SIGURG;

/// A signal so soon behind the first one is the same once more: sent to the whole group, and passed on by a program
/// that this one runs under.
constexpr std::chrono::milliseconds kSameSignal{250};

} // namespace

void runInOrder(unsigned threads, const SOrderedSteps& steps) {
    const int most = std::min(static_cast<int>(threads), tbb::info::default_concurrency());
    std::exception_ptr error;
    std::atomic<bool> done{false};
    // Threads inherit what is held back here; this one alone waits for signals.
    const CSignalsBlocked blocked;
    const pthread_t waiting = pthread_self();
    std::jthread runner([&] {
        try {
            runPipeline(most, steps);
        } catch (...) {
            error = std::current_exception();
        }
        done = true;
        pthread_kill(waiting, kDone);
    });
    sigset_t all;
    sigfillset(&all);
    std::optional<std::chrono::steady_clock::time_point> interrupted;
    while (!done) {
        int signal = 0;
        if (sigwait(&all, &signal) != 0) {
            continue;
        }
        if (CTemporaryFile::EndsProgram(signal)) {
            const auto now = std::chrono::steady_clock::now();
            if (!steps.interrupt || (interrupted && now - *interrupted > kSameSignal)) {
                CTemporaryFile::EndBySignal(signal);
            }
            if (!interrupted) {
                interrupted = now;
                steps.interrupt();
            }
        }
        if (signal == SIGTSTP || signal == SIGTTIN || signal == SIGTTOU) {
            kill(getpid(), SIGSTOP); // as from the terminal
        }
    }
    runner.join();
    // Behind this a signal ends the program, and its files are not complete yet.
    while (interrupted) {
        const auto left = *interrupted + kSameSignal - std::chrono::steady_clock::now();
        const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
        const timespec rest{0, nanoseconds};
        if (nanoseconds <= 0 || (sigtimedwait(&all, nullptr, &rest) < 0 && errno == EAGAIN)) {
            break;
        }
    }
    if (error) {
        std::rethrow_exception(error);
    }
}

} // namespace vek::client
