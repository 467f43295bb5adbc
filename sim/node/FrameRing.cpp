// SPDX-License-Identifier: Apache-2.0
#include "sim/node/FrameRing.h"

#include <algorithm>
#include <utility>

namespace vek::sim {

CFrameRing::CFrameRing(CSimulatedDriver& camera, unsigned size, FrameSource source)
    : mCamera(camera), mSource(std::move(source)), mEntries(size) {}

void CFrameRing::Fill(SRingFrame& frame, std::uint64_t number, const SFrameSettings& settings, EPattern pattern) {
    if (mSource) {
        frame.bytes = mSource(number);
    } else if (pattern == EPattern::Counter) {
        frame.bytes.resize(mCamera.FrameSize());
        for (std::size_t i = 0; i < frame.bytes.size(); ++i) {
            frame.bytes[i] = static_cast<std::uint8_t>(i + number);
        }
    } else {
        frame.bytes = mCamera.CaptureWith(settings.exposure, settings.gain);
    }
    frame.content = mMade++;
}

const SRingFrame& CFrameRing::Frame(std::uint64_t number, const SFrameSettings& settings, EPattern pattern) {
    if (mEntries.empty()) {
        Fill(mFresh, number, settings, pattern);
        return mFresh;
    }
    SEntry& entry = mEntries[number % mEntries.size()];
    const std::uint64_t version = mCamera.LookVersion();
    const bool fits = !entry.frame.bytes.empty() && entry.settings == settings && entry.pattern == pattern &&
                      entry.version == version;
    if (!fits) {
        Fill(entry.frame, number, settings, pattern);
        entry.settings = settings;
        entry.pattern = pattern;
        entry.version = version;
    }
    return entry.frame;
}

void CFrameRing::Prepare(std::uint64_t number, const SFrameSettings& settings, EPattern pattern) {
    for (std::size_t i = 0; i < mEntries.size(); ++i) {
        Frame(number + i, settings, pattern);
    }
}

} // namespace vek::sim
