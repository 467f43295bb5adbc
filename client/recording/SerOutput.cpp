// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/names/Names.h"
#include "client/recording/ByteOrder.h"
#include "client/recording/FrameSeriesOutput.h"

#include "formats/ColorArrays.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

namespace vek::client {

namespace {

/// Ticks of 100 ns from 0001-01-01 to 1970-01-01.
constexpr std::int64_t kTicksOfEpoch = 621'355'968'000'000'000;
constexpr std::int64_t kNanosecondsPerTick = 100;

// ColorID of the header.
enum SerColor : unsigned { kSerMono = 0, kSerRggb = 8, kSerGrbg = 9, kSerGbrg = 10, kSerBggr = 11, kSerBgr = 101 };

std::uint64_t ticksOf(const SFrameMeta& meta) {
    return static_cast<std::uint64_t>(meta.wallNs / kNanosecondsPerTick + kTicksOfEpoch);
}

unsigned serColorOf(const SRecordingForm& form) {
    const STransferFormat& format = *form.format;
    if (format.code == VEK_TRANSFER_BGR8) {
        return kSerBgr;
    }
    if (!format.IsRaw() || (format.layout != ELayout::Words && format.layout != ELayout::Bytes)) {
        throw CBadArguments(fmt::format("a SER file has no frames of format {}", format.name));
    }
    switch (form.colorArray) {
    case VEK_COLOR_ARRAY_RGGB:
        return kSerRggb;
    case VEK_COLOR_ARRAY_GRBG:
        return kSerGrbg;
    case VEK_COLOR_ARRAY_GBRG:
        return kSerGbrg;
    case VEK_COLOR_ARRAY_BGGR:
        return kSerBggr;
    default:
        return kSerMono;
    }
}

class CSerOutput : public IFrameSeriesOutput {
public:
    CSerOutput(const SRecordingForm& form, const SRecordingNotes& notes, std::uint64_t frames, ByteSink sink)
        : mForm(form), mColor(serColorOf(form)), mFrames(frames), mSink(std::move(sink)) {
        if (frames > std::numeric_limits<std::int32_t>::max()) {
            throw CBadArguments(fmt::format("a SER file holds 2147483647 frames at most, no {}", frames));
        }
        const auto device = notes.device.is_object() ? notes.device.find("name") : notes.device.end();
        if (device != notes.device.end() && device->is_string()) {
            mInstrument = device->get<std::string>();
        }
    }

    void Add(std::span<const std::uint8_t> bytes, const SFrameMeta& meta) override {
        if (!mBegun) {
            Begin(ticksOf(meta));
        }
        mSink(bytes);
        appendLittle(mTrailer, ticksOf(meta), 8);
    }

    void Finish() override {
        if (!mBegun) {
            Begin(0);
        }
        mSink(mTrailer);
    }

private:
    void Begin(std::uint64_t ticks) {
        constexpr std::string_view kSerFileId = "LUCAM-RECORDER";
        constexpr std::uint64_t kLittleEndian = 1;
        constexpr std::size_t kTextBytes = 40;
        std::vector<std::uint8_t> header(kSerFileId.begin(), kSerFileId.end());
        for (const std::uint64_t value :
             {std::uint64_t{0} /* camera series */, std::uint64_t{mColor}, kLittleEndian, std::uint64_t{mForm.width},
              std::uint64_t{mForm.height}, std::uint64_t{mForm.format->depth}, mFrames}) {
            appendLittle(header, value, 4);
        }
        for (const std::string_view text : {std::string_view(), std::string_view(mInstrument), std::string_view()}) {
            const std::string_view part = text.substr(0, kTextBytes);
            header.insert(header.end(), part.begin(), part.end());
            header.resize(header.size() + kTextBytes - part.size());
        }
        appendLittle(header, ticks, 8); // local time, of which nothing is known but UTC
        appendLittle(header, ticks, 8);
        mSink(header);
        mBegun = true;
    }

    SRecordingForm mForm;
    unsigned mColor;
    std::uint64_t mFrames;
    ByteSink mSink;
    std::string mInstrument;
    std::vector<std::uint8_t> mTrailer; ///< time stamps
    bool mBegun = false;
};

} // namespace

bool isSerName(const std::string& path) {
    return isName(std::filesystem::path(path).extension().string(), ".ser");
}

std::unique_ptr<IFrameSeriesOutput> serOutput(const SRecordingForm& form, const SRecordingNotes& notes,
                                              std::uint64_t frames, ByteSink sink) {
    return std::make_unique<CSerOutput>(form, notes, frames, std::move(sink));
}

} // namespace vek::client
