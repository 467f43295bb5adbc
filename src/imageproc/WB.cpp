// SPDX-License-Identifier: Apache-2.0
#include "imageproc/WB.h"

#include "common/Image.h"
#include "common/Saturate.h"
#include "common/Status.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>

namespace vek {

namespace {

constexpr unsigned short kUnityGain = 128;
constexpr unsigned short kMaxDepth = 12;
/// The refinement of an automatic gain ends at this gain, a factor of 5.
constexpr unsigned short kMaxRefinedGain = 640;

bool isAutomatic(unsigned char mode) {
    return mode == VEK_WB_AUTO || mode == VEK_WB_ONCE;
}

using Histogram = SWBStatistics::Histogram;

/// Adds the samples of even columns, or of odd ones.
template <class T>
void countRow(const T* row, unsigned long width, unsigned long parity, Histogram& histogram) {
    constexpr unsigned bits = 8 * sizeof(T);
    constexpr unsigned long step = 2 * SWBStatistics::kCopies;
    constexpr unsigned long perWord = sizeof(std::uint64_t) / sizeof(T);
    const auto entry = [](std::uint64_t sample) {
        return std::min<std::uint64_t>(sample & ((1U << bits) - 1), (1U << kMaxDepth) - 1);
    };
    unsigned long x = 0;
    // Several samples from one load: each of the increments is a load, too.
    for (; x + step <= width; x += step) {
        std::array<std::uint64_t, step / perWord> samples{};
        std::memcpy(samples.data(), row + x, sizeof samples);
        for (std::size_t copy = 0; copy < SWBStatistics::kCopies; ++copy) {
            const std::size_t at = 2 * copy;
            ++histogram[entry(samples[at / perWord] >> (bits * (at % perWord + parity)))][copy];
        }
    }
    for (x += parity; x < width; x += 2) {
        ++histogram[entry(row[x])][0];
    }
}

/// min(i x gain / 128, the depth's largest value) for every i of the depth.
template <class T>
void fillTable(unsigned short gain, T* table, unsigned short bits) {
    const unsigned entries = 1U << bits;
    const unsigned maxValue = entries - 1;
    for (unsigned i = 0; i < entries; ++i) {
        table[i] = static_cast<T>(std::min(i * gain >> 7, maxValue));
    }
}

/// Sum of a phase's samples of a depth, of which those above a limit count as it. The limit starts at the depth's
/// largest value and falls.
class CLimitedSum {
public:
    CLimitedSum(const Histogram& histogram, unsigned long maxValue) : mHistogram(histogram), mLimit(maxValue) {
        for (unsigned long value = 0; value <= maxValue; ++value) {
            mSum += Count(value) * value;
        }
    }

    std::uint64_t At(unsigned long limit) {
        for (; mLimit > limit; --mLimit) {
            mAbove += Count(mLimit);
            mSum -= mAbove;
        }
        return mSum;
    }

private:
    std::uint64_t Count(unsigned long value) const {
        return std::accumulate(mHistogram[value].begin(), mHistogram[value].end(), std::uint64_t{0});
    }

    const Histogram& mHistogram;
    unsigned long mLimit;
    std::uint64_t mSum = 0;
    std::uint64_t mAbove = 0; ///< samples from the limit on
};

/// Gain that brings a phase's mean to target.
unsigned short automaticGain(const SWBStatistics& statistics, std::size_t phase, double target, unsigned short bits) {
    const double average = statistics.Average(phase);
    const auto count = static_cast<double>(statistics.count[phase]);
    // Without pixels the bound is infinite.
    if (average < 1.0 / count) {
        return kUnityGain;
    }
    const unsigned long maxValue = (1UL << bits) - 1;
    CLimitedSum sum(statistics.histogram[phase / 2], maxValue);
    // Mean that the phase would have after the gain, with saturation taken into account.
    const auto averageAfter = [&](unsigned short gain) {
        if (gain == 0) {
            return 0.0;
        }
        const unsigned long limit = maxValue * kUnityGain / gain;
        const double limited = maxValue > limit ? static_cast<double>(sum.At(limit)) / count : average;
        return gain * limited / kUnityGain;
    };
    auto gain = saturateTo<unsigned short>(kUnityGain * target / average);
    // What saturation clips off the mean is made up for step by step.
    while (gain < kMaxRefinedGain && averageAfter(gain) < target) {
        ++gain;
    }
    return gain;
}

} // namespace

void SWBStatistics::Clear() {
    histogram = {};
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
    const PhaseSlots slots = phaseSlots(frame.colorArray);
    // Rows of one kind first: the caches hold its histograms.
    for (unsigned long kind = 0; kind < 2; ++kind) {
        const std::size_t even = 2 * kind;
        const bool green = slots[even] == kSlotGr || slots[even] == kSlotGb;
        for (unsigned long y = first + (first + kind) % 2; y < end; y += 2) {
            const T* const row = rows.Row(y);
            sumRow(row, frame.width, &sum[even]);
            count[even] += (frame.width + 1) / 2;
            count[even + 1] += frame.width / 2;
            countRow(row, frame.width, green ? 1 : 0, histogram[kind]);
        }
    }
}
template void SWBStatistics::Add(const rows::SRowTable&, const SFrame&, const SRows<const unsigned char>&,
                                 unsigned long, unsigned long);
template void SWBStatistics::Add(const rows::SRowTable&, const SFrame&, const SRows<const unsigned short>&,
                                 unsigned long, unsigned long);

void SWBStatistics::Add(const SWBStatistics& other) {
    for (std::size_t kind = 0; kind < histogram.size(); ++kind) {
        for (std::size_t value = 0; value < histogram[kind].size(); ++value) {
            auto& counts = histogram[kind][value];
            std::transform(counts.begin(), counts.end(), other.histogram[kind][value].begin(), counts.begin(),
                           std::plus<>());
        }
    }
    for (std::size_t phase = 0; phase < sum.size(); ++phase) {
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
    FindArithmetic(bits);
    tableDepth = bits;
}

/// Lookups of words reach the tables of bytes and the words of the first slot.
void SWBStage::FindArithmetic(unsigned short bits) {
    const unsigned maxValue = (1U << bits) - 1;
    const unsigned gain = gains[0];
    // i x gain / 128 = i x scale x factor / 65536, with as small a scale as the factor has room for.
    unsigned shift = 4;
    while (gain << (9 - shift) > 0xFFFF) {
        ++shift;
    }
    arithmetic.scale = static_cast<unsigned short>(1U << shift);
    arithmetic.factor = static_cast<unsigned short>(gain << (9 - shift));
    // Where the largest value is reached.
    const unsigned limit = gain == 0 ? 0 : (maxValue * kUnityGain + gain - 1) / gain;
    arithmetic.limit = static_cast<unsigned short>(std::min<unsigned>(limit, kEntries16 - 1));
    arithmetic.largest = static_cast<unsigned short>(maxValue);

    const unsigned short* const words = tables.data() + kColorSlots * kEntries8 / 2;
    std::array<unsigned short, kEntries16> computed{};
    for (unsigned i = 0; i < kEntries16; ++i) {
        const unsigned counted = std::min<unsigned>(i, arithmetic.limit) * arithmetic.scale;
        computed[i] = static_cast<unsigned short>(std::min(counted * arithmetic.factor >> 16, maxValue));
    }
    arithmetic.proved =
        static_cast<std::size_t>(std::mismatch(computed.begin(), computed.end(), words).first - computed.begin());
    arithmetic.zeros = 0;
    while (words - arithmetic.zeros != tables.data() &&
           words[-1 - static_cast<std::ptrdiff_t>(arithmetic.zeros)] == 0) {
        ++arithmetic.zeros;
    }
}

rows::SWordGain SWBStage::WordGain(EColorSlot slot) const {
    const std::size_t offset = (kColorSlots - slot) * kEntries8 / 2;
    const std::size_t first = offset - std::min(offset, arithmetic.zeros);
    const std::size_t end = offset + arithmetic.proved;
    // Words above the table take its last entry.
    const std::size_t last = end < kEntries16 ? end - 1 : 0xFFFF;
    return {.entries = Table<unsigned short>(slot),
            .first = static_cast<unsigned short>(first),
            .span = static_cast<unsigned short>(last - first),
            .offset = static_cast<unsigned short>(offset),
            .limit = static_cast<unsigned short>(std::min<std::size_t>(arithmetic.limit, kEntries16 - 1 - offset)),
            .scale = arithmetic.scale,
            .factor = arithmetic.factor,
            .largest = arithmetic.largest};
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
        const auto lookUp = kernels.curves8.lookUp;
        forBandRows(frame, band, 1, [&](T* row, unsigned long y) {
            const auto [even, odd] = rowSlots(slots, y);
            lookUp(row, frame.width, Table<T>(even), Table<T>(odd));
        });
    } else {
        std::array<rows::SWordGain, kColorSlots> wordGains{};
        for (const EColorSlot slot : slots) {
            wordGains[slot] = WordGain(slot);
        }
        const auto gain = kernels.gains.words;
        forBandRows(frame, band, 1, [&](T* row, unsigned long y) {
            const auto [even, odd] = rowSlots(slots, y);
            gain(row, frame.width, wordGains[even], wordGains[odd]);
        });
    }
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
