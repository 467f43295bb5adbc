// SPDX-License-Identifier: Apache-2.0
#include "Program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <stdexcept>
#include <thread>

namespace vek::test {

namespace {

/// The program writes to end 1, the test reads from end 0.
struct SPipe {
    int end[2] = {-1, -1};

    /// terminal: end 1 is one, else a pipe's.
    explicit SPipe(bool terminal = false) {
        if (terminal ? openpty(&end[0], &end[1], nullptr, nullptr, nullptr) != 0 : pipe2(end, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        if (terminal) {
            fcntl(end[0], F_SETFD, FD_CLOEXEC);
            fcntl(end[1], F_SETFD, FD_CLOEXEC);
        }
    }
    ~SPipe() {
        CloseEnd(0);
        CloseEnd(1);
    }
    SPipe(const SPipe&) = delete;
    SPipe& operator=(const SPipe&) = delete;
    void CloseEnd(int which) {
        if (end[which] >= 0) {
            close(end[which]);
            end[which] = -1;
        }
    }
};

std::string readAll(int fd) {
    std::string text;
    char piece[65536];
    for (;;) {
        const ssize_t got = read(fd, piece, sizeof piece);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return text;
        }
        text.append(piece, static_cast<std::size_t>(got));
    }
}

void writeAll(int fd, const std::vector<std::uint8_t>& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t put = write(fd, bytes.data() + done, bytes.size() - done);
        if (put < 0 && errno != EINTR) {
            return; // the program need not take all of it
        }
        done += put > 0 ? static_cast<std::size_t>(put) : 0;
    }
}

/// Changes what a child inherits of the test, and takes it back.
class CInheritance {
public:
    explicit CInheritance(const SStreams& streams) : mUnprivileged(streams.unprivileged && geteuid() == 0) {
        constexpr uid_t kNobody = 65534;
        getrlimit(RLIMIT_FSIZE, &mBefore);
        if (streams.fileSize) {
            const rlimit tight = {*streams.fileSize, mBefore.rlim_max};
            setrlimit(RLIMIT_FSIZE, &tight);
        }
        if (mUnprivileged && (setegid(kNobody) != 0 || seteuid(kNobody) != 0)) {
            throw std::runtime_error("cannot give up privileges");
        }
    }
    ~CInheritance() {
        if (mUnprivileged && (seteuid(0) != 0 || setegid(getgid()) != 0)) {
            std::abort();
        }
        setrlimit(RLIMIT_FSIZE, &mBefore);
    }
    CInheritance(const CInheritance&) = delete;
    CInheritance& operator=(const CInheritance&) = delete;

private:
    rlimit mBefore{};
    bool mUnprivileged;
};

} // namespace

Arguments joined(std::initializer_list<Arguments> lists) {
    Arguments all;
    for (const Arguments& list : lists) {
        all.insert(all.end(), list.begin(), list.end());
    }
    return all;
}

Arguments sized(unsigned width, unsigned height, const Arguments& more) {
    return joined({{"-W", std::to_string(width), "-H", std::to_string(height)}, more});
}

SResult runVekcam(const Arguments& arguments, const SStreams& streams) {
    std::signal(SIGPIPE, SIG_IGN);
    Arguments words = joined({{VEKCAM_PROGRAM}, arguments});
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    Arguments variables = streams.environment;
    std::vector<char*> envp;
    for (std::string& variable : variables) {
        envp.push_back(variable.data());
    }
    for (char** variable = environ; *variable != nullptr; ++variable) {
        envp.push_back(*variable); // of two with one name the first counts
    }
    envp.push_back(nullptr);

    SPipe in;
    SPipe out(streams.outIsTerminal);
    SPipe err(streams.errIsTerminal);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (streams.inFile.empty()) {
        posix_spawn_file_actions_adddup2(&actions, in.end[0], STDIN_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, streams.inFile.c_str(), O_RDONLY, 0);
    }
    if (streams.outFile.empty()) {
        posix_spawn_file_actions_adddup2(&actions, out.end[1], STDOUT_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, streams.outFile.c_str(), O_WRONLY, 0);
    }
    posix_spawn_file_actions_adddup2(&actions, err.end[1], STDERR_FILENO);
    if (streams.outIsBrokenPipe) {
        out.CloseEnd(0);
    }
    if (!streams.directory.empty()) {
        posix_spawn_file_actions_addchdir_np(&actions, streams.directory.c_str());
    }
    // The program has to cope with these itself: an ignored signal would stay ignored.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        sigaddset(&defaults, signal);
    }
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    pid_t child = -1;
    int error = 0;
    {
        const CInheritance inherited(streams);
        error = posix_spawn(&child, VEKCAM_PROGRAM, &actions, &attributes, argv.data(), envp.data());
    }
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        throw std::runtime_error("cannot start " VEKCAM_PROGRAM);
    }
    in.CloseEnd(0);
    out.CloseEnd(1);
    err.CloseEnd(1);

    SResult result;
    std::thread writer([&] {
        writeAll(in.end[1], streams.in);
        in.CloseEnd(1);
    });
    std::thread reader([&] { result.err = readAll(err.end[0]); });
    std::thread other([&] {
        if (streams.meanwhile) {
            streams.meanwhile(child);
        }
    });
    if (!streams.outIsBrokenPipe) {
        result.out = readAll(out.end[0]);
    }
    reader.join();
    other.join();
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    writer.join();
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return result;
}

void expectDone(const SResult& result) {
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
}

std::string printed(const Arguments& arguments, const SStreams& streams) {
    SCOPED_TRACE(commandLine(arguments));
    const SResult result = runVekcam(arguments, streams);
    expectDone(result);
    return result.out;
}

nlohmann::json printedJson(const Arguments& arguments, const SStreams& streams) {
    return nlohmann::json::parse(printed(arguments, streams));
}

void expectOneLine(const SResult& result, int code, const std::string& message) {
    EXPECT_EQ(result.exitCode, code);
    EXPECT_TRUE(isOneLineMessage(result.err)) << result.err;
    EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
}

void expectRefused(const SResult& result, int code, const std::string& message) {
    expectOneLine(result, code, message);
    EXPECT_EQ(result.out, "");
}

void expectPart(const std::string& text, const std::string& part) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " is missing in\n" << text;
}

void PrintTo(const SRefusal& refusal, std::ostream* stream) {
    *stream << commandLine(refusal.arguments);
}

bool canRunUnprivileged() {
    try {
        return runVekcam({"--version"}, {.unprivileged = true}).exitCode == 0;
    } catch (const std::runtime_error&) {
        return false;
    }
}

std::string commandLine(const Arguments& arguments) {
    std::string line = "vekcam";
    for (const std::string& argument : arguments) {
        line += ' ';
        for (const char c : argument) {
            const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
                               c == '.' || c == '/';
            line += plain ? c : '_';
        }
    }
    return line;
}

bool isOneLineMessage(const std::string& text) {
    return text.starts_with("vekcam: ") && text.find('\n') == text.size() - 1 && text.size() > 9;
}

} // namespace vek::test
