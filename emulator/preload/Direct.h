// SPDX-License-Identifier: Apache-2.0
// What the functions of the C library and system calls by number have in common. Answers are those of system calls:
// negative errno values for failures.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/stat.h>

#include <csignal>
#include <cstddef>
#include <ctime>

namespace vek::emulator {

long openDirect(int folder, const char* path, int flags, mode_t mode);
long statDirect(int folder, const char* path, struct stat* status, int flags);
long statDirect(int fd, struct stat* status);
long statxDirect(int folder, const char* path, int flags, unsigned mask, struct statx* status);
long accessDirect(int folder, const char* path, int mode, int flags);
long linkDirect(int folder, const char* path, char* buffer, std::size_t size);

/// On a camera's descriptor.
long cameraIoctl(int fd, unsigned long request, void* argument);
long cameraRead(int fd, void* buffer, std::size_t size);
long cameraMap(int fd, void* address, std::size_t length, int protection, int flags, off_t offset);
/// On any.
long ioctlDirect(int fd, unsigned long request, void* argument);
long readDirect(int fd, void* buffer, std::size_t size);
long mapDirect(void* address, std::size_t length, int protection, int flags, int fd, off_t offset);
long unmapDirect(void* address, std::size_t length);
/// signals: null, or those that are blocked meanwhile.
long pollDirect(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* signals);
/// timeout: null, to wait without end.
long selectDirect(int count, fd_set* in, fd_set* out, fd_set* odd, const timespec* timeout, const sigset_t* signals);
long epollControl(int instance, int operation, int fd, epoll_event* event);
long epollWait(int instance, epoll_event* events, int count, const timespec* timeout, const sigset_t* signals);
void epollMade(int instance);

} // namespace vek::emulator
