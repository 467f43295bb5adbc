// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <csignal>
#include <mutex>
#include <string>

namespace vek::client {

/// Holds signals back while it lives.
class CSignalsBlocked {
public:
    CSignalsBlocked();
    ~CSignalsBlocked();
    CSignalsBlocked(const CSignalsBlocked&) = delete;
    CSignalsBlocked& operator=(const CSignalsBlocked&) = delete;

private:
    sigset_t mBefore{};
};

/// A new, hidden file with a name of its own, removed at the end of the object and by every signal that ends the
/// program, unless it was renamed before.
class CTemporaryFile {
public:
    /// folder: descriptor of the directory; has to stay open. mode: as of open, the process's mask is taken away.
    CTemporaryFile(int folder, mode_t mode);
    ~CTemporaryFile();
    CTemporaryFile(const CTemporaryFile&) = delete;
    CTemporaryFile& operator=(const CTemporaryFile&) = delete;

    /// Of the file, open for writing; the caller's to close. -1 where the file could not be made: errno tells why.
    int Fd() const { return mFd; }

    /// What a signal that ends the program does, for one that a thread waited for while others hold theirs back:
    /// removes the files of all objects and ends the program by the signal.
    [[noreturn]] static void EndBySignal(int signal);
    /// Whether a signal is one of those, and not ignored.
    static bool EndsProgram(int signal);

    /// Gives it a name in its folder that it keeps, in place of the file that has the name. False, with errno, where
    /// the system refuses.
    bool Rename(const std::string& name);

private:
    [[noreturn]] static void OnSignal(int signal);
    static void CatchSignals();
    void Forget();

    // The files of all objects, for the signal handler. Changes under the mutex while signals are blocked only: where
    // several threads have such files, none but one that makes no files lets signals through, and that one waits for
    // them.
    static std::mutex sMutex;
    static CTemporaryFile* volatile sFirst;
    CTemporaryFile* mNext = nullptr;

    int mFolder;
    int mFd = -1;
    char mName[40] = {}; // empty when the file is gone or renamed
};

} // namespace vek::client
