// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/SimulatedDriver.h"

#include <memory>

namespace vek::sim {

/// Puts a driver behind a new file descriptor of this process. In a program that links the interposer, ioctl and read
/// on the descriptor, or on a duplicate of it, reach the driver. The table keeps the driver alive until
/// closeSimulatedCamera. Returns the descriptor, or -1 with errno.
int openSimulatedCamera(std::shared_ptr<CSimulatedDriver> driver);

/// Takes the driver off its descriptor and all duplicates and closes fd. Returns 0, or -1 with errno EBADF when fd
/// stands for no simulated camera.
int closeSimulatedCamera(int fd);

/// Driver behind a descriptor; null when there is none. Any descriptor number may be asked for; errno is kept.
std::shared_ptr<CSimulatedDriver> findSimulatedCamera(int fd);

} // namespace vek::sim
