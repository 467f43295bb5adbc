// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/IMultiROIImage.h"
#include "imageproc/IRegionInfo.h"
#include "imageproc/ModuleTest.h"
#include "imageproc/MultiROIImage/MultiROIModel.h"

#include <array>
#include <cstddef>
#include <functional>
#include <vector>

namespace vek::test {

using MultiROIImagePtr = ModulePtr<IMultiROIImage, kModuleMultiROIImage>;

constexpr auto makeMultiROIImage = makeModule<IMultiROIImage, kModuleMultiROIImage>;

/// What is reported of a region beside its place: x, y, width, height, pitch.
using RegionNumbers = std::array<unsigned, 5>;

inline void* eachROI(IMultiROIImage& module, unsigned index, void* data, unsigned long dataSize, unsigned long format,
                     RegionNumbers* out) {
    return module.GetEachROIData(index, data, dataSize, format, &(*out)[0], &(*out)[1], &(*out)[2], &(*out)[3],
                                 &(*out)[4]);
}

/// A camera's layout, and what was asked of it.
class CScriptedRegions final : public IRegionInfo {
public:
    unsigned short GetMaxROICount() override {
        Throw(mOnCount);
        return static_cast<unsigned short>(mSlots.size());
    }
    int GetMultiROIType() override {
        Throw(mOnType);
        return mType;
    }
    void GetROIInfo(unsigned int index, unsigned int* enabled, unsigned int* offsetX, unsigned int* offsetY,
                    unsigned int* width, unsigned int* height) override {
        mAsked.push_back(index);
        if (*enabled != 0 || *offsetX != 0 || *offsetY != 0 || *width != 0 || *height != 0) {
            mAllZeroed = false;
        }
        const SRegionSlot& slot = mSlots.at(index);
        if (index == mThrowingSlot) {
            *enabled = 1;
            *width = 5;
            *height = 5;
            Throw(mOnSlot);
        }
        if (!slot.answers) {
            return;
        }
        *enabled = slot.enabled;
        *offsetX = slot.x;
        *offsetY = slot.y;
        *width = slot.width;
        *height = slot.height;
    }
    int GetMaxROICountH() override {
        ++mCountHCalls;
        return 1;
    }

    std::vector<SRegionSlot> mSlots;
    int mType = 0;
    std::vector<unsigned> mAsked;
    bool mAllZeroed = true; ///< the outputs of every question were 0 before
    int mCountHCalls = 0;

    // Each throws what it likes.
    std::function<void()> mOnCount;
    std::function<void()> mOnType;
    std::function<void()> mOnSlot;
    std::size_t mThrowingSlot = ~std::size_t{0};

private:
    static void Throw(const std::function<void()>& action) {
        if (action) {
            action();
        }
    }
};

} // namespace vek::test
