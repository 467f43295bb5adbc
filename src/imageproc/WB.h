// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/ColorArrays.h"
#include "imageproc/Band.h"
#include "imageproc/IWB.h"
#include "imageproc/rows/RowTable.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace vek {

/// What automatic white balance measures in a raw frame. The statistics of a frame's parts add up to its own.
struct SWBStatistics {
    static constexpr std::size_t kCopies = 4;
    /// By value, larger ones in the last entry. Samples that follow one another are often alike: they count by turns in
    /// copies side by side, so that none waits for the one before it. Room for 2^32 samples.
    using Histogram = std::array<std::array<std::uint32_t, kCopies>, rows::kCurveEntries<unsigned short>>;

    std::array<Histogram, 2> histogram{}; ///< by row mod 2: of red's or blue's samples
    // By 2 x (row mod 2) + (column mod 2).
    std::array<std::uint64_t, 4> sum{};
    std::array<unsigned long, 4> count{};

    void Clear();
    /// Adds rows first .. end-1 of a frame.
    template <class T>
    void Add(const rows::SRowTable& kernels, const SFrame& frame, const SRows<const T>& rows, unsigned long first,
             unsigned long end);
    void Add(const SWBStatistics& other);
    /// Mean of a phase; 0 where it has no pixels.
    double Average(std::size_t phase) const;
};

/// White balance as a stage: gains, and the tables that frames so far have made of them.
struct SWBStage {
    static constexpr std::size_t kEntries8 = rows::kCurveEntries<unsigned char>;
    static constexpr std::size_t kEntries16 = rows::kCurveEntries<unsigned short>;

    unsigned char mode = 0;
    std::array<unsigned short, kColorSlots> gains = {256, 128, 128, 217}; ///< 1/128
    unsigned short tableDepth = 0; ///< depth that the tables were built for, 0: none
    /// The tables of bytes, four of 256, and right behind them the tables of words, four of 4096. One array, since the
    /// lookup of words starts in the tables of bytes, as earlier frames have left them, and runs on into the others.
    std::array<unsigned short, kColorSlots * kEntries8 / 2 + kColorSlots * kEntries16> tables{};
    /// What is known of the words that lookups reach: proved is how many of the first ones are
    /// min((min(i, limit) x scale x factor) >> 16, largest), zeros how many entries of 0 stand right in front of them.
    struct SArithmetic {
        unsigned short limit = 0;
        unsigned short scale = 1;
        unsigned short factor = 0;
        unsigned short largest = 0;
        std::size_t proved = kEntries16;
        std::size_t zeros = kColorSlots * kEntries8 / 2;
    };
    SArithmetic arithmetic; ///< of the tables as they are

    void SetGain(EColorSlot slot, unsigned short gain);
    /// FrameFirst in the automatic modes: Balance comes before UpdateTables then.
    STraits Traits(const SFrame& frame) const;
    /// The gains for a frame that statistics were measured in; once becomes manual. kInvalid, and no change, for a
    /// frame that is not raw.
    unsigned long Balance(const SWBStatistics& statistics, const SFrame& frame);
    /// The tables for frames of a depth. Comes before Rows.
    void UpdateTables(unsigned short bits);
    bool HasUnityGains() const;
    /// frame: raw.
    template <class T>
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const;

private:
    template <class T>
    const T* Table(EColorSlot slot) const;
    void FindArithmetic(unsigned short bits);
    rows::SWordGain WordGain(EColorSlot slot) const;
};

/// White balance. Holds mode, gains, their tables and room for the statistics of an image; never keeps an image
/// pointer. Tables follow gains and depth on the next image.
class CWB final : public IWB {
public:
    explicit CWB(const rows::SRowTable& rows) : mRows(rows) {}

    unsigned long WBProcB(unsigned long width, unsigned long height, unsigned long pitch, unsigned short colorArray,
                          unsigned char* image, unsigned short bits) override;
    unsigned long WBProcW(unsigned long width, unsigned long height, unsigned long pitch, unsigned short colorArray,
                          unsigned short* image, unsigned short bits) override;
    unsigned long SetWBMode(unsigned char mode) override;
    unsigned long GetWBMode(unsigned char* mode) override;
    unsigned long SetWBGain(const unsigned short* gains) override;
    unsigned long GetWBGain(unsigned short* gains) override;

    const SWBStage& Stage() const { return mStage; }

private:
    template <class T>
    unsigned long Process(unsigned long width, unsigned long height, unsigned long pitch, unsigned short colorArray,
                          T* image, unsigned short bits);

    const rows::SRowTable& mRows;
    SWBStage mStage;
    SWBStatistics mStatistics; ///< of the call
};

} // namespace vek
