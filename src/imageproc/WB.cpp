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

/// Adds the samples of even columns to one histogram, those of odd ones to the other; values above them to their last
/// entries.
template <class T>
void mvCount(const T* row, unsigned long width, unsigned long* even, unsigned long* odd) {
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

} // namespace

unsigned char* CWB::mpTable8(std::size_t slot) {
    return reinterpret_cast<unsigned char*>(mwTables.data()) + slot * kEntries8;
}

unsigned short* CWB::mpTable16(std::size_t slot) {
    return mwTables.data() + kColourSlots * kEntries8 / 2 + slot * kEntries16;
}

template <class T>
const T* CWB::mpTable(EColourSlot slot) const {
    // Fixed behaviour: the lookup of words, too, starts where the slot's bytes do.
    return reinterpret_cast<const T*>(reinterpret_cast<const unsigned char*>(mwTables.data()) + slot * kEntries8);
}

/// min(i x gain / 128, the depth's largest value) for every i of the depth.
template <class T>
void CWB::UpdateTable(unsigned short gain, T* table, unsigned short bits) {
    const unsigned entries = 1U << bits;
    const unsigned maxValue = entries - 1;
    unsigned accumulator = 0;
    for (unsigned i = 0; i < entries; ++i) {
        table[i] = static_cast<T>(accumulator >> 7);
        accumulator = std::min(accumulator + gain, maxValue << 7);
    }
}

template <class T>
unsigned long CWB::UpdateHistgram(unsigned long width, unsigned long height, unsigned long lineBytes, const T* image) {
    for (Histogram& histogram : mulHistogram) {
        histogram.fill(0);
    }
    std::array<std::uint64_t, 4> sum{};
    mulCount = {};
    const auto sumRow = rows::sumRow<T>(mRows);
    const SImage<const T> view = {width, height, lineBytes, image};
    const unsigned long status = view.forRows([&](const T* row, unsigned long y) {
        const std::size_t first = 2 * (y % 2);
        sumRow(row, width, &sum[first]);
        mulCount[first] += (width + 1) / 2;
        mulCount[first + 1] += width / 2;
        mvCount(row, width, mulHistogram[first].data(), mulHistogram[first + 1].data());
    });
    for (std::size_t phase = 0; phase < 4; ++phase) {
        mdblAverage[phase] =
            mulCount[phase] == 0 ? 0.0 : static_cast<double>(sum[phase]) / static_cast<double>(mulCount[phase]);
    }
    return status;
}

/// Mean that a phase would have after the gain, with saturation taken into account.
double CWB::mdblGetAverageFromHistogram(double average, const Histogram& histogram, unsigned long count,
                                        unsigned short gain, unsigned short bits) {
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

unsigned short CWB::mwAutoGain(std::size_t phase, double target, unsigned short bits) const {
    const double average = mdblAverage[phase];
    const unsigned long count = mulCount[phase];
    // Without pixels the bound is infinite.
    if (average < 1.0 / static_cast<double>(count)) {
        return kUnityGain;
    }
    auto gain = saturateTo<unsigned short>(kUnityGain * target / average);
    // What saturation clips off the mean is made up for step by step.
    while (gain < kMaxRefinedGain &&
           mdblGetAverageFromHistogram(average, mulHistogram[phase], count, gain, bits) < target) {
        ++gain;
    }
    return gain;
}

void CWB::mvSetGain(EColourSlot slot, unsigned short gain) {
    if (mwGain[slot] != gain) {
        mwGain[slot] = gain;
        mwTableDepth = 0;
    }
}

unsigned long CWB::UpdateAutoWhiteBalanceGain(unsigned short colorArray, unsigned short bits) {
    if (colorArray < VEK_COLOR_ARRAY_MONO || colorArray > VEK_COLOR_ARRAY_BGGR) {
        return kInvalid;
    }
    std::array<std::size_t, kColourSlots> phaseOf{};
    const PhaseSlots slots = phaseSlots(colorArray);
    for (std::size_t phase = 0; phase < slots.size(); ++phase) {
        phaseOf[slots[phase]] = phase;
    }
    const double target = (mdblAverage[phaseOf[kSlotGr]] + mdblAverage[phaseOf[kSlotGb]]) / 2;
    mvSetGain(kSlotR, mwAutoGain(phaseOf[kSlotR], target, bits));
    mvSetGain(kSlotB, mwAutoGain(phaseOf[kSlotB], target, bits));
    return kOk;
}

template <class T>
unsigned long CWB::ProcImage(unsigned long width, unsigned long height, unsigned long lineBytes,
                             unsigned short colorArray, T* image) const {
    if (colorArray < VEK_COLOR_ARRAY_MONO || colorArray > VEK_COLOR_ARRAY_BGGR) {
        return kInvalid;
    }
    const PhaseSlots slots = phaseSlots(colorArray);
    if constexpr (sizeof(T) == 1) {
        if (mwTableDepth == 8) {
            // What the tables hold, without looking it up.
            const auto gain = mRows.gains.bytes;
            return SImage<T>{width, height, lineBytes, image}.forRows([&](T* row, unsigned long y) {
                gain(row, width, mwGain[slots[2 * (y % 2)]], mwGain[slots[2 * (y % 2) + 1]]);
            });
        }
    }
    const auto lookUp = rows::curveRows<T>(mRows).lookUp;
    return SImage<T>{width, height, lineBytes, image}.forRows([&](T* row, unsigned long y) {
        lookUp(row, width, mpTable<T>(slots[2 * (y % 2)]), mpTable<T>(slots[2 * (y % 2) + 1]));
    });
}

template <class T>
unsigned long CWB::WBProc(unsigned long width, unsigned long height, unsigned long lineBytes, unsigned short colorArray,
                          T* image, unsigned short bits) {
    lineBytes = pitchOr<T>(lineBytes, width);
    if (bits > kMaxDepth) {
        return kInvalid;
    }
    if (mMode == VEK_WB_OFF) {
        return kOk;
    }
    if (mMode == VEK_WB_AUTO || mMode == VEK_WB_ONCE) {
        unsigned long status = UpdateHistgram(width, height, lineBytes, image);
        if (status == kOk) {
            status = UpdateAutoWhiteBalanceGain(colorArray, bits);
        }
        if (status != kOk) {
            return status;
        }
        if (mMode == VEK_WB_ONCE) {
            mMode = VEK_WB_MANUAL;
        }
    }
    if (mwTableDepth != bits) {
        for (std::size_t slot = 0; slot < kColourSlots; ++slot) {
            if (bits > 8) {
                UpdateTable(mwGain[slot], mpTable16(slot), bits);
            } else {
                UpdateTable(mwGain[slot], mpTable8(slot), bits);
            }
        }
        mwTableDepth = bits;
    }
    if (std::all_of(mwGain.begin(), mwGain.end(), [](unsigned short gain) { return gain == kUnityGain; })) {
        return kOk;
    }
    return ProcImage(width, height, lineBytes, colorArray, image);
}

unsigned long CWB::WBProcB(unsigned long width, unsigned long height, unsigned long lineBytes,
                           unsigned short colorArray, unsigned char* image, unsigned short bits) {
    return WBProc(width, height, lineBytes, colorArray, image, bits);
}

unsigned long CWB::WBProcW(unsigned long width, unsigned long height, unsigned long lineBytes,
                           unsigned short colorArray, unsigned short* image, unsigned short bits) {
    return WBProc(width, height, lineBytes, colorArray, image, bits);
}

unsigned long CWB::SetWBMode(unsigned char mode) {
    mMode = mode;
    return kOk;
}

unsigned long CWB::GetWBMode(unsigned char* mode) {
    if (mode == nullptr) {
        return kInvalid;
    }
    *mode = mMode;
    return kOk;
}

unsigned long CWB::SetWBGain(const unsigned short* gains) {
    if (gains == nullptr) {
        return kInvalid;
    }
    for (std::size_t slot = 0; slot < kColourSlots; ++slot) {
        mvSetGain(static_cast<EColourSlot>(slot), gains[slot]);
    }
    return kOk;
}

unsigned long CWB::GetWBGain(unsigned short* gains) {
    if (gains != nullptr) {
        std::copy(mwGain.begin(), mwGain.end(), gains);
    }
    return kOk;
}

} // namespace vek
