// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Bayer.h"
#include "imageproc/IWB.h"
#include "imageproc/rows/RowTable.h"

#include <array>
#include <cstddef>

namespace vek {

/// White balance. Holds mode, gains, their tables and the statistics of the last image measured; never keeps an image
/// pointer. Tables follow gains and depth on the next image.
class CWB final : public IWB {
public:
    explicit CWB(const rows::SRowTable& rows) : mRows(rows) {}

    unsigned long WBProcB(unsigned long width, unsigned long height, unsigned long lineBytes, unsigned short colorArray,
                          unsigned char* image, unsigned short bits) override;
    unsigned long WBProcW(unsigned long width, unsigned long height, unsigned long lineBytes, unsigned short colorArray,
                          unsigned short* image, unsigned short bits) override;
    unsigned long SetWBMode(unsigned char mode) override;
    unsigned long GetWBMode(unsigned char* mode) override;
    unsigned long SetWBGain(const unsigned short* gains) override;
    unsigned long GetWBGain(unsigned short* gains) override;

private:
    static constexpr std::size_t kEntries8 = rows::kCurveEntries<unsigned char>;
    static constexpr std::size_t kEntries16 = rows::kCurveEntries<unsigned short>;
    using Histogram = std::array<unsigned long, kEntries16>;

    template <class T>
    unsigned long WBProc(unsigned long width, unsigned long height, unsigned long lineBytes, unsigned short colorArray,
                         T* image, unsigned short bits);
    template <class T>
    unsigned long ProcImage(unsigned long width, unsigned long height, unsigned long lineBytes,
                            unsigned short colorArray, T* image) const;
    template <class T>
    unsigned long UpdateHistgram(unsigned long width, unsigned long height, unsigned long lineBytes, const T* image);
    unsigned long UpdateAutoWhiteBalanceGain(unsigned short colorArray, unsigned short bits);
    template <class T>
    static void UpdateTable(unsigned short gain, T* table, unsigned short bits);
    static double mdblGetAverageFromHistogram(double average, const Histogram& histogram, unsigned long count,
                                              unsigned short gain, unsigned short bits);
    /// Gain that brings a phase's mean to target.
    unsigned short mwAutoGain(std::size_t phase, double target, unsigned short bits) const;
    void mvSetGain(EColourSlot slot, unsigned short gain);
    /// The table that an image of a sample type is looked up in.
    template <class T>
    const T* mpTable(EColourSlot slot) const;
    unsigned char* mpTable8(std::size_t slot);
    unsigned short* mpTable16(std::size_t slot);

    const rows::SRowTable& mRows;
    std::array<unsigned short, kColourSlots> mwGain = {256, 128, 128, 217};
    unsigned short mwTableDepth = 0; ///< depth that the tables were built for, 0: none
    /// The tables of bytes, four of 256, and right behind them the tables of words, four of 4096. One array, since the
    /// lookup of words starts in the tables of bytes and runs on into the others.
    std::array<unsigned short, kColourSlots * kEntries8 / 2 + kColourSlots * kEntries16> mwTables{};
    std::array<Histogram, 4> mulHistogram{};
    std::array<double, 4> mdblAverage{};
    std::array<unsigned long, 4> mulCount{};
    unsigned char mMode = 0;
};

} // namespace vek
