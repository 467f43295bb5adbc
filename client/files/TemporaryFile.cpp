// SPDX-License-Identifier: Apache-2.0
#include "client/files/TemporaryFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>

namespace vek::client {

namespace {

/// Signals that end a program unless it does something about them, faults included.
constexpr int kFatalSignals[] = {SIGHUP,  SIGINT,  SIGQUIT,   SIGTERM, SIGALRM, SIGVTALRM, SIGPROF,
                                 SIGUSR1, SIGUSR2, SIGSTKFLT, SIGPOLL, SIGPWR,  SIGXCPU,   SIGABRT,
                                 SIGBUS,  SIGFPE,  SIGILL,    SIGSEGV, SIGSYS,  SIGTRAP};

} // namespace

CSignalsBlocked::CSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &mBefore);
}

CSignalsBlocked::~CSignalsBlocked() {
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &mBefore, nullptr);
    errno = error;
}

CTemporaryFile* volatile CTemporaryFile::sFirst = nullptr;
std::mutex CTemporaryFile::sMutex;

/// Calls what is allowed in a signal handler only.
void CTemporaryFile::OnSignal(int signal) {
    for (const CTemporaryFile* file = sFirst; file != nullptr; file = file->mNext) {
        unlinkat(file->mFolder, file->mName, 0);
    }
    // The default action comes back here and not by SA_RESETHAND: that would let a second signal end the program before
    // the first one is handled. It ends the program as soon as the signal is let through, unless that is the first
    // process of a container, which default actions spare.
    std::signal(signal, SIG_DFL);
    raise(signal);
    sigset_t raised;
    sigemptyset(&raised);
    sigaddset(&raised, signal);
    pthread_sigmask(SIG_UNBLOCK, &raised, nullptr);
    _exit(128 + signal);
}

void CTemporaryFile::EndBySignal(int signal) {
    const CSignalsBlocked blocked;
    const std::scoped_lock lock(sMutex);
    OnSignal(signal);
}

bool CTemporaryFile::EndsProgram(int signal) {
    struct sigaction action {};
    const bool known = std::find(std::begin(kFatalSignals), std::end(kFatalSignals), signal) != std::end(kFatalSignals);
    return known && sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN;
}

void CTemporaryFile::CatchSignals() {
    for (const int signal : kFatalSignals) {
        struct sigaction action {};
        // What is ignored stays ignored: under nohup a program outlives its terminal.
        if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) {
            continue;
        }
        action.sa_handler = OnSignal;
        sigfillset(&action.sa_mask); // a second one does not come in between
        sigaction(signal, &action, nullptr);
    }
}

CTemporaryFile::CTemporaryFile(int folder, mode_t mode) : mFolder(folder) {
    constexpr int kMostLeftovers = 1000; // of killed processes that had the same number
    static const bool caught = (CatchSignals(), true);
    static_cast<void>(caught);
    const CSignalsBlocked blocked;
    const std::scoped_lock lock(sMutex);
    for (int i = 0; i < kMostLeftovers && mFd < 0; ++i) {
        *fmt::format_to_n(mName, sizeof mName - 1, ".vekcam-{}-{}.tmp", getpid(), i).out = '\0';
        mFd = openat(folder, mName, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (mFd < 0 && errno != EEXIST) {
            break;
        }
    }
    if (mFd < 0) {
        mName[0] = '\0';
        return;
    }
    mNext = sFirst;
    sFirst = this;
}

CTemporaryFile::~CTemporaryFile() {
    if (mName[0] != '\0') {
        const CSignalsBlocked blocked;
        const std::scoped_lock lock(sMutex);
        unlinkat(mFolder, mName, 0);
        Forget();
    }
}

bool CTemporaryFile::Rename(const std::string& name) {
    const CSignalsBlocked blocked;
    const std::scoped_lock lock(sMutex);
    if (renameat(mFolder, mName, mFolder, name.c_str()) != 0) {
        return false;
    }
    Forget();
    return true;
}

void CTemporaryFile::Forget() {
    if (sFirst == this) {
        sFirst = mNext;
    } else {
        CTemporaryFile* before = sFirst;
        while (before->mNext != this) {
            before = before->mNext;
        }
        before->mNext = mNext;
    }
    mName[0] = '\0';
}

} // namespace vek::client
