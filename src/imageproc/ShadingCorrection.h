// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Image.h"
#include "common/Memory.h"
#include "imageproc/Band.h"
#include "imageproc/IShadingCorrection.h"
#include "imageproc/rows/RowTable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace vek {

/// Gains or offsets of each pixel. Rows of gains that fit are there a second time in 16 bits: half as much to
/// read for each frame.
struct SShadingMap {
    unsigned long width = 0;
    unsigned long height = 0;
    unsigned long pitch = 0;         ///< bytes
    unsigned long size = 0;          ///< bytes
    Malloced<int> entries;           ///< null: there is no map
    Malloced<std::uint16_t> gains16; ///< rows on multiples of 64 bytes; null: there are none
    std::unique_ptr<bool[]> rowFits; ///< by row, with gains16

    const int* Row(unsigned long y) const { return rowAt(entries.get(), y, pitch); }
    int* Row(unsigned long y) { return rowAt(entries.get(), y, pitch); }
    bool Has(unsigned long columns, unsigned long rows) const {
        return entries != nullptr && width == columns && height == rows;
    }
    void Clear();
    /// Entries of 0, or no map when memory runs out.
    void Create(unsigned long columns, unsigned long rows, unsigned long rowPitch);

    /// Row y for gain16, from a multiple of 64 bytes on; null where its entries do not fit.
    const std::uint16_t* Gains16(unsigned long y) const;
    /// Makes these rows from the entries, as whoever changes those does. None is there when memory runs out.
    void UpdateGains16();
    void DropGains16();
};

/// Shading correction as a stage: its mode and the map.
struct SShadingStage {
    unsigned long mode = 0;
    std::shared_ptr<const SShadingMap> map; ///< may be null

    /// Calibration is a Reduction to a mean; correction needs a map of the frame's size.
    STraits Traits(const SFrame& frame) const;
    /// frame: raw or mono, corrected.
    template <class T>
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const;
};

/// The mean of calibration frames.
struct SShadingMean {
    unsigned long width = 0;
    unsigned long height = 0;
    unsigned long frames = 0; ///< in the mean; a map is to be made of it when not 0
    std::unique_ptr<double[]> values;

    void Clear();
    /// Adds rows first .. end-1 of a frame. The rows of a frame may come in any order, frames counts it after the last.
    template <class T>
    void Add(const rows::SRowTable& kernels, const SImage<const T>& frame, unsigned long first, unsigned long end);
};

/// Shading correction. Owns the map and the mean of the calibration frames; never keeps an image pointer.
class CShadingCorrection : public IShadingCorrection {
public:
    explicit CShadingCorrection(const rows::SRowTable& rows) : mRows(rows) {}
    CShadingCorrection(const CShadingCorrection&) = delete;
    CShadingCorrection& operator=(const CShadingCorrection&) = delete;

    unsigned long SetMode(unsigned long mode) override;
    unsigned long GetMode(unsigned long* mode) override;
    unsigned long ProcessW(unsigned long width, unsigned long height, unsigned long pitch, unsigned short* image,
                           unsigned short bitsPerPixel) override;
    unsigned long ProcessB(unsigned long width, unsigned long height, unsigned long pitch, unsigned char* image,
                           unsigned short bitsPerPixel) override;
    unsigned long SetTargetAll(unsigned short target) override;
    unsigned long GetTargetAll(unsigned short* target) override;
    unsigned long SetTargetEachColor(const unsigned short* targets) override;
    unsigned long GetTargetEachColor(unsigned short* targets) override;
    unsigned long SetColorArray(unsigned short colorArray) override;
    unsigned long GetColorArray(unsigned short* colorArray) override;
    unsigned long SetMap(unsigned long width, unsigned long height, unsigned long pitch, const int* map) override;
    unsigned long GetMap(unsigned long* width, unsigned long* height, unsigned long* pitch, int* map) override;

    virtual ~CShadingCorrection() = default;

    /// The map of a calibration that waits for one: the first corrected frame's depth belongs to it. kNoMemory only
    /// where a stage shares the map.
    unsigned long UpdateMap(unsigned int bitsPerPixel);
    /// Whether there is such a calibration: until then the map has no gains.
    bool WaitsForMap() const { return mMean.frames != 0; }
    /// UpdateMap comes first. Later maps are not the stage's.
    SShadingStage Stage() const { return {mMode, mMap}; }

private:
    static constexpr std::size_t kPhases = 4;
    using Targets = std::array<unsigned short, kPhases>; ///< by 2 x (row mod 2) + (column mod 2)

    template <class T>
    unsigned long Process(unsigned long width, unsigned long height, unsigned long pitch, T* image,
                          unsigned short bitsPerPixel);
    template <class T>
    unsigned long Calibrate(const SImage<const T>& frame);
    bool StartMean(unsigned long width, unsigned long height);
    Targets TargetsFor(unsigned int bitsPerPixel) const;
    bool HasMap() const { return mMap != nullptr && mMap->entries != nullptr; }
    void CreateMap(unsigned long width, unsigned long height, unsigned long pitch);

    const rows::SRowTable& mRows;
    /// Stages share it: who changes it makes sure to be alone. Null only where memory has run out.
    std::shared_ptr<SShadingMap> mMap = std::make_shared<SShadingMap>();
    unsigned long mMode = 0;
    Targets mTarget{};
    unsigned short mColorArray = 1;
    SShadingMean mMean; ///< its size is its own: a map may be set in between
};

} // namespace vek
