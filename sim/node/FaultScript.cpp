// SPDX-License-Identifier: Apache-2.0
#include "sim/node/FaultScript.h"

#include "sim/ValueText.h"

#include <array>
#include <cerrno>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace vek::sim {

namespace {

struct SErrorName {
    std::string_view name;
    int error;
};

// What drivers answer, and what the system says in front of them.
constexpr std::array kErrors = {
    SErrorName{"EAGAIN", EAGAIN}, SErrorName{"EBUSY", EBUSY},   SErrorName{"EFAULT", EFAULT},
    SErrorName{"EINTR", EINTR},   SErrorName{"EINVAL", EINVAL}, SErrorName{"EIO", EIO},
    SErrorName{"ENODEV", ENODEV}, SErrorName{"ENOMEM", ENOMEM}, SErrorName{"ENOSPC", ENOSPC},
    SErrorName{"EPIPE", EPIPE},   SErrorName{"ERANGE", ERANGE}, SErrorName{"ETIMEDOUT", ETIMEDOUT}};

std::vector<std::string_view> wordsOf(std::string_view line) {
    std::vector<std::string_view> words;
    line = line.substr(0, line.find('#'));
    constexpr std::string_view kBlanks = " \t\r";
    for (std::size_t from = line.find_first_not_of(kBlanks); from != std::string_view::npos;) {
        const std::size_t to = std::min(line.find_first_of(kBlanks, from), line.size());
        words.push_back(line.substr(from, to - from));
        from = line.find_first_not_of(kBlanks, to);
    }
    return words;
}

/// The words of one line, taken from left to right.
class CFaultLine {
public:
    explicit CFaultLine(std::vector<std::string_view> words) : mWords(std::move(words)) {}

    bool Ended() const { return mNext == mWords.size(); }

    std::string_view Word(const char* what) {
        if (Ended()) {
            throw std::invalid_argument(std::string(what) + " is missing");
        }
        return mWords[mNext++];
    }

    template <class Number>
    Number Whole(const char* what, Number low, Number high = std::numeric_limits<Number>::max()) {
        const std::string_view word = Word(what);
        const std::optional<Number> number = readWhole<Number>(word, low, high);
        if (!number) {
            throw std::invalid_argument(std::string(what) + ": " +
                                        wholeComplaint(word, std::to_string(low), std::to_string(high)));
        }
        return *number;
    }

    void End() const {
        if (!Ended()) {
            throw std::invalid_argument("nothing is expected behind \"" + std::string(mWords[mNext - 1]) + '"');
        }
    }

private:
    std::vector<std::string_view> mWords;
    std::size_t mNext = 0;
};

constexpr std::uint64_t kMostFrames = 1000000; // of one line

void readFrameFault(CFaultLine& line, SFaultScript& script) {
    const auto frame =
        line.Whole<std::uint64_t>("number of the frame", 0, std::numeric_limits<std::uint64_t>::max() / 2);
    const std::string_view kind = line.Word("what happens");
    const auto milliseconds = [&] { return std::chrono::milliseconds(line.Whole<std::uint32_t>("milliseconds", 0)); };
    SFrameFault fault;
    std::uint64_t count = 1;
    const auto readCount = [&] { count = line.Ended() ? 1 : line.Whole<std::uint64_t>("count", 1, kMostFrames); };
    if (kind == "lose") {
        fault.kind = EFault::Lose;
        readCount();
    } else if (kind == "flag") {
        fault.kind = EFault::Flag;
        readCount();
    } else if (kind == "short") {
        fault.kind = EFault::Short;
        fault.value = line.Whole<std::uint32_t>("bytes", 0);
        readCount();
    } else if (kind == "stall") {
        fault.kind = EFault::Stall;
        fault.time = milliseconds();
    } else if (kind == "sequence") {
        fault.kind = EFault::Sequence;
        fault.value = line.Whole<std::uint32_t>("sequence number", 0);
    } else if (kind == "unplug") {
        fault.kind = EFault::Unplug;
        if (!line.Ended()) {
            fault.time = milliseconds();
        }
    } else if (kind == "eos") {
        fault.kind = EFault::EndOfStream;
    } else if (kind == "source-change") {
        fault.kind = EFault::SourceChange;
    } else {
        throw std::invalid_argument('"' + std::string(kind) +
                                    "\" is none of: lose, flag, short, stall, sequence, unplug, eos, source-change");
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        script.frames.emplace(frame + i, fault);
    }
}

void readRequestFault(CFaultLine& line, SFaultScript& script) {
    const auto number = line.Whole<std::uint64_t>("number of the request", 1);
    const std::string_view name = line.Word("the error");
    std::string list;
    for (const SErrorName& error : kErrors) {
        if (error.name == name) {
            script.requests[number] = error.error;
            return;
        }
        list += (list.empty() ? "" : ", ") + std::string(error.name);
    }
    throw std::invalid_argument('"' + std::string(name) + "\" is none of: " + list);
}

void readLine(std::string_view text, SFaultScript& script) {
    std::vector<std::string_view> words = wordsOf(text);
    if (words.empty()) {
        return;
    }
    CFaultLine line(std::move(words));
    const std::string_view first = line.Word("what fails");
    if (first == "frame") {
        readFrameFault(line, script);
    } else if (first == "request") {
        readRequestFault(line, script);
    } else {
        throw std::invalid_argument('"' + std::string(first) + "\": a line begins with frame or request");
    }
    line.End();
}

} // namespace

SFaultScript parseFaultScript(std::string_view text) {
    SFaultScript script;
    unsigned number = 0;
    for (const std::string_view line : splitText(text, '\n')) {
        ++number;
        try {
            readLine(line, script);
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument("line " + std::to_string(number) + ": " + error.what());
        }
    }
    return script;
}

} // namespace vek::sim
