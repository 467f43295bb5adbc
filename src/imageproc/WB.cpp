// SPDX-License-Identifier: Apache-2.0
#include "imageproc/WB.h"

#include "common/Image.h"
#include "common/Saturate.h"
#include "common/Status.h"

#include <algorithm>
#include <cstring>

namespace vek {

namespace {

constexpr unsigned short kUnityGain = 128;
constexpr unsigned short kMaxDepth = 12;
/// The refinement of an automatic gain ends at this gain, a factor of 5.
constexpr unsigned short kMaxRefinedGain = 640;

bool isAutomatic(unsigned char mode) {
    return mode == VEK_WB_AUTO || mode == VEK_WB_ONCE;
}

/// Adds the samples of even columns to one histogram, those of odd ones to the other; values above them to their last
/// entries.
template <class T>
void countRow(const T* row, unsigned long width, unsigned long* even, unsigned long* odd) {
    const auto entry = [](T value) { return std::min<unsigned>(value, (1U << kMaxDepth) - 1); };
    unsigned long x = 0;
    // Several samples from one load: each of the increments is a load, too.
    for (; x + 4 <= width; x += 4) {
        std::array<T, 4> samples{};
        std::memcpy(samples.data(), row + x, sizeof samples);
        ++even[entry(samples[0])];
        ++odd[entry(samples[1])];
        ++even[entry(samples[2])];
        ++odd[entry(samples[3])];
    }
    for (; x < width; ++x) {
        ++(x % 2 == 0 ? even : odd)[entry(row[x])];
    }
}

/// min(i x gain / 128, the depth's largest value) for every i of the depth.
template <class T>
void fillTable(unsigned short gain, T* table, unsigned short bits) {
    const unsigned entries = 1U << bits;
    const unsigned maxValue = entries - 1;
    unsigned accumulator = 0;
    for (unsigned i = 0; i < entries; ++i) {
        table[i] = static_cast<T>(accumulator >> 7);
        accumulator = std::min(accumulator + gain, maxValue << 7);
    }
}

/// Mean that a phase would have after the gain, with saturation taken into account.
double averageAfter(unsigned short gain, double average, const SWBStatistics::Histogram& histogram, unsigned long count,
                    unsigned short bits) {
    if (gain == 0) {
        return 0.0;
    }
    const unsigned long maxValue = (1UL << bits) - 1;
    const unsigned long limit = maxValue * kUnityGain / gain;
    if (maxValue > limit) {
        unsigned long sum = 0;
        for (unsigned long value = 0; value <= maxValue; ++value) {
            sum += histogram[value] * std::min(value, limit);
        }
        average = static_cast<double>(sum) / static_cast<double>(count);
    }
    return gain * average / kUnityGain;
}

/// Gain that brings a phase's mean to target.
unsigned short automaticGain(const SWBStatistics& statistics, std::size_t phase, double target, unsigned short bits) {
    const double average = statistics.Average(phase);
    const unsigned long count = statistics.count[phase];
    // Without pixels the bound is infinite.
    if (average < 1.0 / static_cast<double>(count)) {
        return kUnityGain;
    }
    auto gain = saturateTo<unsigned short>(kUnityGain * target / average);
    // What saturation clips off the mean is made up for step by step.
    while (gain < kMaxRefinedGain && averageAfter(gain, average, statistics.histogram[phase], count, bits) < target) {
        ++gain;
    }
    return gain;
}

} // namespace

void SWBStatistics::Clear() {
    for (Histogram& entries : histogram) {
        entries.fill(0);
    }
    sum = {};
    count = {};
}

template <class T>
void SWBStatistics::Add(const rows::SRowTable& kernels, const SFrame& frame, const SRows<const T>& rows,
                        unsigned long first, unsigned long end) {
    if (!frame.HasPixels()) {
        return;
    }
    const auto sumRow = rows::sumRow<T>(kernels);
    for (unsigned long y = first; y < end; ++y) {
        const T* const row = rows.Row(y);
        const std::size_t even = 2 * (y % 2);
        sumRow(row, frame.width, &sum[even]);
        count[even] += (frame.width + 1) / 2;
        count[even + 1] += frame.width / 2;
        countRow(row, frame.width, histogram[even].data(), histogram[even + 1].data());
    }
}
template void SWBStatistics::Add(const rows::SRowTable&, const SFrame&, const SRows<const unsigned char>&,
                                 unsigned long, unsigned long);
template void SWBStatistics::Add(const rows::SRowTable&, const SFrame&, const SRows<const unsigned short>&,
                                 unsigned long, unsigned long);

void SWBStatistics::Add(const SWBStatistics& other) {
    for (std::size_t phase = 0; phase < histogram.size(); ++phase) {
        for (std::size_t value = 0; value < histogram[phase].size(); ++value) {
            histogram[phase][value] += other.histogram[phase][value];
        }
        sum[phase] += other.sum[phase];
        count[phase] += other.count[phase];
    }
}

double SWBStatistics::Average(std::size_t phase) const {
    return count[phase] == 0 ? 0.0 : static_cast<double>(sum[phase]) / static_cast<double>(count[phase]);
}

void SWBStage::SetGain(EColorSlot slot, unsigned short gain) {
    if (gains[slot] != gain) {
        gains[slot] = gain;
        tableDepth = 0;
    }
}

bool SWBStage::HasUnityGains() const {
    return std::all_of(gains.begin(), gains.end(), [](unsigned short gain) { return gain == kUnityGain; });
}

STraits SWBStage::Traits(const SFrame&) const {
    if (isAutomatic(mode)) {
        return {.kind = EStage::FrameFirst, .resultBytes = sizeof(SWBStatistics)};
    }
    return {.kind = mode == VEK_WB_OFF || HasUnityGains() ? EStage::None : EStage::Pointwise};
}

unsigned long SWBStage::Balance(const SWBStatistics& statistics, const SFrame& frame) {
    if (!isRaw(frame.colorArray)) {
        return kInvalid;
    }
    std::array<std::size_t, kColorSlots> phaseOf{};
    const PhaseSlots slots = phaseSlots(frame.colorArray);
    for (std::size_t phase = 0; phase < slots.size(); ++phase) {
        phaseOf[slots[phase]] = phase;
    }
    const double target = (statistics.Average(phaseOf[kSlotGr]) + statistics.Average(phaseOf[kSlotGb])) / 2;
    SetGain(kSlotR, automaticGain(statistics, phaseOf[kSlotR], target, frame.bitsPerPixel));
    SetGain(kSlotB, automaticGain(statistics, phaseOf[kSlotB], target, frame.bitsPerPixel));
    if (mode == VEK_WB_ONCE) {
        mode = VEK_WB_MANUAL;
    }
    return kOk;
}

void SWBStage::UpdateTables(unsigned short bits) {
    if (tableDepth == bits) {
        return;
    }
    auto* const bytes = reinterpret_cast<unsigned char*>(tables.data());
    unsigned short* const words = tables.data() + kColorSlots * kEntries8 / 2;
    for (std::size_t slot = 0; slot < kColorSlots; ++slot) {
        if (bits > 8) {
            fillTable(gains[slot], words + slot * kEntries16, bits);
        } else {
            fillTable(gains[slot], bytes + slot * kEntries8, bits);
        }
    }
    tableDepth = bits;
}

/// The table that an image of a sample type is looked up in.
template <class T>
const T* SWBStage::Table(EColorSlot slot) const {
    // Fixed behaviour: the lookup of words, too, starts where the slot's bytes do.
    return reinterpret_cast<const T*>(reinterpret_cast<const unsigned char*>(tables.data()) + slot * kEntries8);
}

template <class T>
void SWBStage::Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const {
    const PhaseSlots slots = phaseSlots(frame.colorArray);
    if (HasUnityGains()) {
        forBandRows(frame, band, 1, [](T*, unsigned long) {});
        return;
    }
    if constexpr (sizeof(T) == 1) {
        if (tableDepth == 8) {
            // What the tables hold, without looking it up.
            const auto gain = kernels.gains.bytes;
            forBandRows(frame, band, 1, [&](T* row, unsigned long y) {
                const auto [even, odd] = rowSlots(slots, y);
                gain(row, frame.width, gains[even], gains[odd]);
            });
            return;
        }
    }
    const auto lookUp = rows::curveRows<T>(kernels).lookUp;
    forBandRows(frame, band, 1, [&](T* row, unsigned long y) {
        const auto [even, odd] = rowSlots(slots, y);
        lookUp(row, frame.width, Table<T>(even), Table<T>(odd));
    });
}
template void SWBStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned char>&) const;
template void SWBStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned short>&) const;

template <class T>
unsigned long CWB::Process(unsigned long width, unsigned long height, unsigned long pitch, unsigned short colorArray,
                           T* image, unsigned short bits) {
    if (bits > kMaxDepth) {
        return kInvalid;
    }
    if (mStage.mode == VEK_WB_OFF) {
        return kOk;
    }
    const SFrame frame = {width, height, 0, colorArray, bits};
    const SRows<T> view = {pitchOr<T>(pitch, width), image};
    if (isAutomatic(mStage.mode)) {
        if (image == nullptr && frame.HasPixels()) {
            return kInvalid;
        }
        mStatistics.Clear();
        mStatistics.Add<T>(mRows, frame, view, 0, height);
        if (mStage.Balance(mStatistics, frame) != kOk) {
            return kInvalid;
        }
    }
    mStage.UpdateTables(bits);
    if (mStage.HasUnityGains()) {
        return kOk;
    }
    return isRaw(colorArray) ? runInPlace(mStage, mRows, frame, view) : kInvalid;
}

unsigned long CWB::WBProcB(unsigned long width, unsigned long height, unsigned long pitch, unsigned short colorArray,
                           unsigned char* image, unsigned short bits) {
    return Process(width, height, pitch, colorArray, image, bits);
}

unsigned long CWB::WBProcW(unsigned long width, unsigned long height, unsigned long pitch, unsigned short colorArray,
                           unsigned short* image, unsigned short bits) {
    return Process(width, height, pitch, colorArray, image, bits);
}

unsigned long CWB::SetWBMode(unsigned char mode) {
    mStage.mode = mode;
    return kOk;
}

unsigned long CWB::GetWBMode(unsigned char* mode) {
    if (mode == nullptr) {
        return kInvalid;
    }
    *mode = mStage.mode;
    return kOk;
}

unsigned long CWB::SetWBGain(const unsigned short* gains) {
    if (gains == nullptr) {
        return kInvalid;
    }
    for (std::size_t slot = 0; slot < kColorSlots; ++slot) {
        mStage.SetGain(static_cast<EColorSlot>(slot), gains[slot]);
    }
    return kOk;
}

unsigned long CWB::GetWBGain(unsigned short* gains) {
    if (gains != nullptr) {
        std::copy(mStage.gains.begin(), mStage.gains.end(), gains);
    }
    return kOk;
}

} // namespace vek
