// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// Layouts of a delivered frame: the regions' blocks back to back; one image, combined by the camera.
inline constexpr int kROIBlocks = 0;
inline constexpr int kROIsCombined = 2;

/// What multi-ROI assembly sees of the camera: the layout of its regions of interest.
class IRegionInfo {
public:
    virtual unsigned short GetMaxROICount() = 0;
    virtual int GetMultiROIType() = 0; ///< layout; all but kROIsCombined work as kROIBlocks
    virtual void GetROIInfo(unsigned int index, unsigned int* enabled, unsigned int* offsetX, unsigned int* offsetY,
                            unsigned int* width, unsigned int* height) = 0;
    virtual int GetMaxROICountH() = 0;

protected:
    ~IRegionInfo() = default;
};

} // namespace vek
