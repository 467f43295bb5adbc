// SPDX-License-Identifier: Apache-2.0
#include "client/capture/Realtime.h"

#include "client/Errors.h"

#include <fmt/format.h>
#include <sched.h>
#include <sys/mman.h>

#include <cerrno>

namespace vek::client {

namespace {

// Above ordinary programs, below the kernel's own interrupt threads, which have 50: the driver's comes first.
constexpr int kPriority = 40;

} // namespace

void becomeRealtime() {
    sched_param parameters{};
    parameters.sched_priority = kPriority;
    if (sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters) != 0) {
        throw CFailure(fmt::format("no real-time priority: {}: it takes the capability CAP_SYS_NICE, or a limit rtprio "
                                   "of {} or more",
                                   systemMessage(errno), kPriority));
    }
    if (mlockall(MCL_CURRENT | MCL_FUTURE) != 0) {
        throw CFailure(fmt::format("memory cannot be locked: {}: it takes the capability CAP_IPC_LOCK, or a limit "
                                   "memlock of the program's size",
                                   systemMessage(errno)));
    }
}

} // namespace vek::client
