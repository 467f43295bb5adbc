// SPDX-License-Identifier: Apache-2.0
#include "emulator/Emulation.h"

#include "emulator/Protocol.h"
#include "emulator/server/FrameLog.h"
#include "emulator/server/ProgramFile.h"
#include "emulator/server/Server.h"
#include "emulator/server/ShadowTree.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string_view>

namespace vek::emulator {

namespace {

namespace fs = std::filesystem;

constexpr char kLibrary[] = "libvekcam-emulate.so";

/// The library to preload: beside the program, as it is built, or where it is installed.
fs::path preloadLibrary() {
    const fs::path folder = fs::read_symlink("/proc/self/exe").parent_path();
    for (const fs::path& path : {folder / kLibrary, folder / VEKCAM_PRELOAD_FROM_PROGRAM / kLibrary}) {
        if (fs::exists(path)) {
            return path.lexically_normal();
        }
    }
    throw std::runtime_error(fmt::format("{} is neither in {} nor in {}", kLibrary, folder.string(),
                                         (folder / VEKCAM_PRELOAD_FROM_PROGRAM).lexically_normal().string()));
}

std::string randomToken() {
    std::array<unsigned char, 12> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        failedTo("no random numbers");
    }
    std::string token;
    for (const unsigned char byte : bytes) {
        token += fmt::format("{:02x}", byte);
    }
    return token;
}

/// A FIFO that lines are written to. One that was not there is taken away at the end.
class CTriggerPipe {
public:
    explicit CTriggerPipe(const std::string& path) : mPath(path) {
        mMade = mkfifo(path.c_str(), S_IRUSR | S_IWUSR) == 0;
        struct stat status {};
        if (!mMade && (stat(path.c_str(), &status) != 0 || !S_ISFIFO(status.st_mode))) {
            throw std::runtime_error(path + ": is no FIFO and cannot be made one");
        }
        // Open for writing, too: its end does not come when a writer goes.
        mPipe = checked(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC), path + ": cannot open");
    }
    ~CTriggerPipe() {
        if (mMade) {
            unlink(mPath.c_str());
        }
    }
    CTriggerPipe(const CTriggerPipe&) = delete;
    CTriggerPipe& operator=(const CTriggerPipe&) = delete;

    int Fd() const { return mPipe.Get(); }
    /// Lines that came in.
    std::size_t Lines() const {
        std::array<char, 4096> text{};
        const ssize_t bytes = read(mPipe.Get(), text.data(), text.size());
        return bytes <= 0 ? 0 : static_cast<std::size_t>(std::count(text.begin(), text.begin() + bytes, '\n'));
    }

private:
    std::string mPath;
    bool mMade = false;
    CHandle mPipe;
};

/// Signals that a program is told of when this process gets them.
class CSignals {
public:
    CSignals() {
        sigemptyset(&mSet);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
            sigaddset(&mSet, signal);
        }
        sigprocmask(SIG_BLOCK, &mSet, &mBefore);
        mPipe = checked(signalfd(-1, &mSet, SFD_CLOEXEC | SFD_NONBLOCK), "signals");
    }
    ~CSignals() { sigprocmask(SIG_SETMASK, &mBefore, nullptr); }
    CSignals(const CSignals&) = delete;
    CSignals& operator=(const CSignals&) = delete;

    int Fd() const { return mPipe.Get(); }
    const sigset_t& Before() const { return mBefore; }
    void Forward(pid_t program) const {
        signalfd_siginfo signal{};
        while (read(mPipe.Get(), &signal, sizeof(signal)) == sizeof(signal)) {
            // What is typed at the terminal reaches the program without help.
            if (signal.ssi_code != SI_KERNEL) {
                kill(program, static_cast<int>(signal.ssi_signo));
            }
        }
    }

private:
    sigset_t mSet{};
    sigset_t mBefore{};
    CHandle mPipe;
};

/// Starts a program with variables added to its environment. Throws CRefusal.
pid_t started(const std::vector<std::string>& program, const std::string& session, const std::string& preload,
              const sigset_t& signals) {
    std::vector<char*> arguments;
    arguments.reserve(program.size() + 1);
    for (const std::string& word : program) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        failedTo("cannot start " + program.front());
    }
    const CHandle in(ends[0]);
    CHandle out(ends[1]);
    const pid_t child = fork();
    if (child < 0) {
        failedTo("cannot start " + program.front());
    }
    if (child == 0) {
        setenv(kVariable, session.c_str(), 1);
        setenv("LD_PRELOAD", preload.c_str(), 1);
        for (const int ignored : {SIGPIPE, SIGXFSZ}) {
            std::signal(ignored, SIG_DFL);
        }
        sigprocmask(SIG_SETMASK, &signals, nullptr);
        execvp(arguments.front(), arguments.data());
        const int error = errno;
        [[maybe_unused]] const ssize_t told = write(out.Get(), &error, sizeof(error));
        _exit(127);
    }
    out.Reset();
    int error = 0;
    if (read(in.Get(), &error, sizeof(error)) == sizeof(error)) {
        waitpid(child, nullptr, 0);
        throw CRefusal(error == ENOENT ? 127 : 126,
                       program.front() + ": cannot be run: " + std::system_category().message(error));
    }
    return child;
}

std::string countsJson(const sim::SSentCounts& counts) {
    return fmt::format(R"("sent": {}, "whole": {}, "flagged": {}, "short": {}, "lost": {}, "noBuffer": {}, "left": {})",
                       counts.sent, counts.whole, counts.flagged, counts.shortFrames, counts.lost, counts.noBuffer,
                       counts.left);
}

double secondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

/// CPU time of this process, or of those that it waited for.
double cpuSeconds(int who) {
    rusage usage{};
    getrusage(who, &usage);
    return secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
}

void writeReport(const std::string& path, const sim::SSentCounts& counts, double seconds) {
    std::FILE* const file = std::fopen(path.c_str(), "we");
    const std::string text =
        fmt::format("{{{}, \"seconds\": {:.6f}, \"emulatorCpuSeconds\": {:.6f}, \"programCpuSeconds\": {:.6f}}}\n",
                    countsJson(counts), seconds, cpuSeconds(RUSAGE_SELF), cpuSeconds(RUSAGE_CHILDREN));
    bool bad = file == nullptr || std::fwrite(text.data(), 1, text.size(), file) != text.size();
    bad = (file != nullptr && std::fclose(file) != 0) || bad;
    if (bad) {
        failedTo(path + ": cannot write");
    }
}

} // namespace

int emulate(const SEmulation& emulation) {
    checkProgram(emulation.program.front());
    sim::CVideoNode node(emulation.camera, emulation.setup);
    const std::string card =
        emulation.setup.card.empty() ? std::string(emulation.camera->Model().name) : emulation.setup.card;
    CShadowTree shadow(emulation.node, card);
    std::string preload = preloadLibrary().string();
    if (preload.find_first_of(" :") != std::string::npos) {
        const std::string link = shadow.Folder() + '/' + kLibrary;
        fs::create_symlink(preload, link);
        preload = link;
    }
    if (const char* const others = std::getenv("LD_PRELOAD"); others != nullptr && *others != '\0') {
        preload += ':' + std::string(others);
    }
    std::optional<CFrameLog> log;
    if (!emulation.log.empty()) {
        log.emplace(emulation.log);
        node.SetLog([&log](const sim::SSentFrame& frame) { log->Add(frame); });
    }
    const std::string token = randomToken();
    CServer server(node, shadow, token);
    std::optional<CTriggerPipe> trigger;
    if (!emulation.trigger.empty()) {
        trigger.emplace(emulation.trigger);
        server.Watch(trigger->Fd(), [&] {
            for (std::size_t lines = trigger->Lines(); lines > 0; --lines) {
                node.Trigger();
            }
        });
    }
    const CSignals signals;
    const sim::NodeTime begin = sim::monotonicNow();
    const pid_t program = started(emulation.program, fmt::format("{}:{}:{}", token, emulation.node, shadow.Folder()),
                                  preload, signals.Before());
    const CHandle running(checked(static_cast<int>(syscall(SYS_pidfd_open, program, 0)), "cannot wait for a program"));
    server.Watch(running.Get(), [&server, &running] {
        server.Unwatch(running.Get());
        server.End();
    });
    server.Watch(signals.Fd(), [&signals, program] { signals.Forward(program); });
    server.Run();
    int status = 0;
    while (waitpid(program, &status, 0) < 0 && errno == EINTR) {
    }
    server.Finish();
    const double seconds = static_cast<double>((sim::monotonicNow() - begin).count()) * 1e-9;
    if (log) {
        node.SetLog({});
        log->End(fmt::format("{{\"totals\": {{{}}}}}", countsJson(node.Counts())));
    }
    if (!emulation.report.empty()) {
        writeReport(emulation.report, node.Counts(), seconds);
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace vek::emulator
