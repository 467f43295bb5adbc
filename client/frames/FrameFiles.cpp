// SPDX-License-Identifier: Apache-2.0
#include "client/frames/FrameFiles.h"

#include "client/frames/DngInput.h"
#include "client/frames/DngOutput.h"
#include "client/frames/PngFrame.h"
#include "client/recording/Recording.h"

#include <fmt/format.h>
#include <glob.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

namespace vek::client {

namespace {

constexpr std::uint64_t kMostFrame = 1'000'000'000;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The digits that a text begins with, zeros in front left out; they are taken away from it.
std::string_view takenDigits(std::string_view& text) {
    const auto* const end = std::find_if_not(text.begin(), text.end(), isDigit);
    std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

/// A whole number up to kMostFrame; nothing for another text.
std::optional<std::uint64_t> frameNumber(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && value <= kMostFrame ? std::optional(value) : std::nullopt;
}

/// The files that a pattern stands for.
std::vector<std::string> matches(const std::string& pattern) {
    glob_t found{};
    const int status = glob(pattern.c_str(), 0, nullptr, &found);
    std::vector<std::string> paths;
    if (status == 0) {
        paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    }
    globfree(&found);
    if (status == GLOB_NOSPACE) {
        throw std::bad_alloc();
    }
    if (paths.empty()) {
        throw CFailure(fmt::format("{}: no such file, and none of such names", pattern));
    }
    std::sort(paths.begin(), paths.end(), comesNaturallyBefore);
    return paths;
}

} // namespace

std::optional<SFrameSteps> parsedFrameSteps(std::string_view text) {
    std::vector<std::string_view> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(':', begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    SFrameSteps steps;
    const auto number = [&](std::size_t i) { return frameNumber(parts[i]); };
    const bool wrong = text.empty() || parts.size() > 3 || std::any_of(parts.begin(), parts.end(), [](auto part) {
                           return !part.empty() && !frameNumber(part);
                       });
    if (wrong) {
        return std::nullopt;
    }
    steps.first = number(0).value_or(0);
    steps.last = parts.size() > 1 ? number(1) : steps.first;
    steps.step = parts.size() > 2 ? number(2).value_or(1) : 1;
    if (steps.step == 0 || steps.last.value_or(steps.first) < steps.first) {
        return std::nullopt;
    }
    return steps;
}

bool comesNaturallyBefore(std::string_view a, std::string_view b) {
    std::string_view restA = a;
    std::string_view restB = b;
    while (!restA.empty() && !restB.empty()) {
        if (isDigit(restA.front()) && isDigit(restB.front())) {
            const std::string_view numberA = takenDigits(restA);
            const std::string_view numberB = takenDigits(restB);
            if (numberA != numberB) {
                return numberA.size() != numberB.size() ? numberA.size() < numberB.size() : numberA < numberB;
            }
        } else if (restA.front() != restB.front()) {
            return static_cast<unsigned char>(restA.front()) < static_cast<unsigned char>(restB.front());
        } else {
            restA.remove_prefix(1);
            restB.remove_prefix(1);
        }
    }
    // Names that differ in zeros in front alone have an order, too.
    return restA.empty() != restB.empty() ? restA.empty() : a < b;
}

std::vector<std::string> expandedPaths(std::span<const std::string> paths) {
    std::vector<std::string> expanded;
    for (const std::string& path : paths) {
        if (path.find_first_of("*?[") == std::string::npos || access(path.c_str(), F_OK) == 0) {
            expanded.push_back(path);
        } else {
            const std::vector<std::string> found = matches(path);
            expanded.insert(expanded.end(), found.begin(), found.end());
        }
    }
    return expanded;
}

/// A file of the series.
struct CFrameFiles::SSource {
    std::string path;
    bool dng = false;
    bool png = false;
    bool recorded = false;
    SRawForm form;                         ///< of a raw or PNG one, or a recording
    std::optional<std::uint64_t> held;     ///< frames; nothing: a pipe
    std::unique_ptr<CFrameInput> input;    ///< open: standard input and pipes from the beginning on
    std::unique_ptr<CRecording> recording; ///< open

    void Close() {
        input.reset();
        recording.reset();
    }
};

CFrameFiles::CFrameFiles(std::vector<std::string> paths, const SFrameSteps& steps, const SFrameChoice& reading,
                         FormOf formOf, Warn warn, const BadFile& bad)
    : mSteps(steps), mReading(reading), mFormOf(std::move(formOf)), mWarn(std::move(warn)), mNext(steps.first) {
    if (std::count(paths.begin(), paths.end(), "-") > 1) {
        throw CBadArguments("standard input is named twice");
    }
    std::optional<std::uint64_t> held = 0;
    for (std::string& path : paths) {
        SSource source;
        source.path = std::move(path);
        try {
            LookAt(source);
        } catch (const CFailure& failure) {
            if (bad == nullptr) {
                throw;
            }
            bad(source.path, failure.what());
            continue;
        }
        held = held && source.held ? std::optional(*held + *source.held) : std::nullopt;
        mSources.push_back(std::move(source));
    }
    if (!held || (mSources.empty() && bad != nullptr)) {
        mCount = held;
        return;
    }
    if (mSteps.first >= *held) {
        throw CFailure(fmt::format("{}: no frame {}: {} there, counted from 0",
                                   mSources.size() == 1 ? mSources.front().path : "the files", mSteps.first,
                                   *held == 1 ? "1 frame is" : fmt::format("{} frames are", *held)));
    }
    const std::uint64_t last = std::min(mSteps.last.value_or(*held - 1), *held - 1);
    mCount = (last - mSteps.first) / mSteps.step + 1;
}

CFrameFiles::~CFrameFiles() = default;

std::unique_ptr<CFrameInput> CFrameFiles::Opened(const SSource& source) const {
    SFrameChoice choice = mReading;
    choice.path = source.path;
    return std::make_unique<CFrameInput>(choice, *source.form.format, source.form.width, source.form.height);
}

/// Learns what a file is and how many frames it holds.
void CFrameFiles::LookAt(SSource& source) {
    source.recorded = isRecording(source.path);
    if (source.recorded) {
        source.form = mFormOf(source.path);
        const CRecording recording(source.path);
        for (const SRecordingDamage& damage : recording.Damages()) {
            mWarn(fmt::format("{}: {}", source.path, damageText(damage)));
        }
        source.held = recording.Count();
        if (source.held == 0) {
            throw CFailure(fmt::format("{}: the recording holds no frame", source.path));
        }
        return;
    }
    source.dng = !mReading.force && source.path != "-" && (isDngName(source.path) || beginsAsTiff(source.path));
    if (source.dng) {
        source.held = 1;
        return;
    }
    source.form = mFormOf(source.path);
    source.png = !mReading.force && source.path != "-" && pngFormOf(source.path);
    if (source.png) {
        source.held = 1;
        return;
    }
    source.input = Opened(source);
    if (!source.input->IsRegular()) {
        return;
    }
    source.held = source.input->Held();
    if (source.held == 0) {
        source.input->ThrowMissing(0);
    }
    if (source.input->Rest() != 0) {
        mWarn(fmt::format("{}: holds {}: its size, format or offset may be another", source.input->Name(),
                          source.input->Content()));
    }
    // Opened anew, standard input would begin where it was left.
    if (source.path != "-") {
        source.input.reset();
    }
}

std::optional<SSeriesFrame> CFrameFiles::FromDng(const SSource& source, std::uint64_t index) {
    if (index > 0) {
        return std::nullopt;
    }
    std::optional<SDngFrame> dng = readDng(source.path);
    if (!dng) {
        throw COtherKind(fmt::format("{}: is no DNG file, and no raw frame", source.path));
    }
    SSeriesFrame frame;
    frame.frame = transferredFrameOf(*dng);
    frame.tags = std::move(dng->tags);
    return frame;
}

std::optional<SSeriesFrame> CFrameFiles::FromPng(const SSource& source, std::uint64_t index) {
    if (index > 0) {
        return std::nullopt;
    }
    SSeriesFrame frame;
    frame.frame = {source.form.format, source.form.width, source.form.height, source.form.colorArray, {}};
    readPngFrame(source.path, frame.frame, mWarn);
    return frame;
}

std::optional<SSeriesFrame> CFrameFiles::FromRaw(SSource& source, std::uint64_t index) {
    if (source.held && index >= *source.held) {
        return std::nullopt;
    }
    if (source.input == nullptr) {
        source.input = Opened(source);
    }
    std::optional<std::vector<std::uint8_t>> bytes = source.input->Read(index);
    if (!bytes) {
        if (source.held || source.input->Held() == 0) {
            source.input->ThrowMissing(index);
        }
        if (source.input->Rest() != 0) {
            mWarn(fmt::format("{}: ends inside a frame: it held {}", source.input->Name(), source.input->Content()));
        }
        return std::nullopt;
    }
    const std::string complaint = mWarnedOfWords ? std::string() : wordsComplaint(*bytes, *source.form.format);
    if (!complaint.empty()) {
        mWarn(fmt::format("{}: frame {}: {}", source.input->Name(), index, complaint));
        mWarnedOfWords = true;
    }
    SSeriesFrame frame;
    frame.frame = {source.form.format, source.form.width, source.form.height, source.form.colorArray,
                   *std::move(bytes)};
    return frame;
}

std::optional<SSeriesFrame> CFrameFiles::FromRecording(SSource& source, std::uint64_t index) {
    if (index >= *source.held) {
        return std::nullopt;
    }
    if (source.recording == nullptr) {
        source.recording = std::make_unique<CRecording>(source.path);
    }
    if (index >= source.recording->Count()) {
        throw CFailure(fmt::format("{}: the recording became shorter", source.path));
    }
    SSeriesFrame frame;
    frame.frame = {source.form.format, source.form.width, source.form.height, source.form.colorArray,
                   source.recording->Read(index)};
    frame.meta = source.recording->Meta(index);
    frame.index = source.recording->Record(index).number;
    return frame;
}

SSeriesFrame CFrameFiles::LeaveFile() {
    SSeriesFrame left;
    if (mSource >= mSources.size()) {
        return left;
    }
    SSource& source = mSources[mSource];
    left.path = source.path;
    left.index = mNext - mBefore;
    left.number = mNext;
    if (source.recording != nullptr && left.index < source.recording->Count()) {
        left.index = source.recording->Record(left.index).number;
        mNext += mSteps.step;
        return left;
    }
    ++mSource;
    mBefore += source.held ? *source.held : source.input->Held();
    while (mNext < mBefore) {
        mNext += mSteps.step;
    }
    source.Close();
    return left;
}

std::optional<SSeriesFrame> CFrameFiles::Next() {
    if (mSteps.last && mNext > *mSteps.last) {
        return std::nullopt;
    }
    while (mSource < mSources.size()) {
        SSource& source = mSources[mSource];
        const std::uint64_t index = mNext - mBefore;
        std::optional<SSeriesFrame> frame = source.dng        ? FromDng(source, index)
                                            : source.png      ? FromPng(source, index)
                                            : source.recorded ? FromRecording(source, index)
                                                              : FromRaw(source, index);
        if (frame) {
            frame->path = source.path;
            frame->index = frame->meta ? frame->index : index;
            frame->number = mNext;
            mNext += mSteps.step;
            return frame;
        }
        mBefore += source.held ? *source.held : source.input->Held();
        source.Close();
        ++mSource;
    }
    if (!mCount && mNext == mSteps.first) {
        throw CFailure(fmt::format("no frame {}: {} there, counted from 0", mNext,
                                   mBefore == 1 ? "1 frame is" : fmt::format("{} frames are", mBefore)));
    }
    return std::nullopt;
}

} // namespace vek::client
