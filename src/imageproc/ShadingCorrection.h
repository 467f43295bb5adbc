// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/IShadingCorrection.h"
#include "imageproc/rows/RowTable.h"

#include <array>
#include <cstddef>
#include <memory>

namespace vek {

/// Shading correction. Owns the map and the mean of the calibration frames; never keeps an image pointer.
class CShadingCorrection : public IShadingCorrection {
public:
    explicit CShadingCorrection(const rows::SRowTable& rows) : mRows(rows) {}
    CShadingCorrection(const CShadingCorrection&) = delete;
    CShadingCorrection& operator=(const CShadingCorrection&) = delete;

    unsigned long SetMode(unsigned long mode) override;
    unsigned long GetMode(unsigned long* mode) override;
    unsigned long ProcessW(unsigned long width, unsigned long height, unsigned long linePitch, unsigned short* image,
                           unsigned short bitsPerPixel) override;
    unsigned long ProcessB(unsigned long width, unsigned long height, unsigned long linePitch, unsigned char* image,
                           unsigned short bitsPerPixel) override;
    unsigned long SetTargetAll(unsigned short target) override;
    unsigned long GetTargetAll(unsigned short* target) override;
    unsigned long SetTargetEachColor(const unsigned short* targets) override;
    unsigned long GetTargetEachColor(unsigned short* targets) override;
    unsigned long SetColorArray(unsigned short colorArray) override;
    unsigned long GetColorArray(unsigned short* colorArray) override;
    unsigned long SetMap(unsigned long width, unsigned long height, unsigned long linePitch, const int* map) override;
    unsigned long GetMap(unsigned long* width, unsigned long* height, unsigned long* linePitch, int* map) override;

    virtual ~CShadingCorrection();

private:
    static constexpr std::size_t kPhases = 4;
    using Targets = std::array<unsigned short, kPhases>; ///< by 2 x (row mod 2) + (column mod 2)

    template <class T>
    unsigned long Process(unsigned long width, unsigned long height, unsigned long linePitch, T* image,
                          unsigned short bitsPerPixel);
    template <class T>
    unsigned long Calibration(unsigned long width, unsigned long height, unsigned long linePitch, const T* image);
    template <class T>
    unsigned long Correction(unsigned long width, unsigned long height, unsigned long linePitch, T* image,
                             unsigned short bitsPerPixel) const;
    void UpdateMap(unsigned int bitsPerPixel);
    Targets mTargetsFor(unsigned int bitsPerPixel) const;
    unsigned long CreateMapBuffer(unsigned long width, unsigned long height, unsigned long linePitch);
    unsigned long Reset();
    bool IsColor() const;
    int* mpMapRow(unsigned long y) const;

    const rows::SRowTable& mRows;
    unsigned long mMapWidth = 0;
    unsigned long mMapHeight = 0;
    unsigned long mMapLinePitch = 0; ///< bytes
    unsigned long mMapSize = 0;      ///< bytes
    int* mpMap = nullptr;
    unsigned long mMode = 0;
    Targets mTarget{};
    unsigned short mColorArray = 1;
    unsigned long mCalibrationCount = 0; ///< frames in the mean; the map is to be rebuilt from them when not 0
    std::unique_ptr<double[]> mpCalibrationImage;
    // The mean's own size: a map may be set in between.
    unsigned long mCalibrationWidth = 0;
    unsigned long mCalibrationHeight = 0;
    unsigned int mBlackOffset = 0;
    unsigned short mGainLimit = 16;
};

} // namespace vek
