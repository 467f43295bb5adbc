// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek::client {

/// Gives the calling thread SCHED_FIFO, and keeps the memory of the process where it is. Throws CFailure, which tells
/// what the system does not permit and how it would.
void becomeRealtime();

} // namespace vek::client
