// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "api/VekImageProcLib.h"
#include "imageproc/IMultiROIImage.h"
#include "imageproc/IRegionInfo.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace vek::test {

using MultiROIImagePtr = ModulePtr<IMultiROIImage, kModuleMultiROIImage>;

inline MultiROIImagePtr makeMultiROIImage() {
    return MultiROIImagePtr(static_cast<IMultiROIImage*>(CreateVekImageProc(kModuleMultiROIImage)));
}

/// A slot of the camera. One that does not answer leaves the outputs alone, as after a failed driver request.
struct SRegionSlot {
    unsigned x = 0;
    unsigned y = 0;
    unsigned width = 0;
    unsigned height = 0;
    unsigned enabled = 1;
    bool answers = true;
};

/// A camera's layout, and what was asked of it.
class CScriptedRegions final : public IRegionInfo {
public:
    unsigned short GetMaxROICount() override {
        mvThrow(onCount);
        return static_cast<unsigned short>(slots.size());
    }
    int GetMultiROIType() override {
        mvThrow(onType);
        return type;
    }
    void GetROIInfo(unsigned int index, unsigned int* enabled, unsigned int* offsetX, unsigned int* offsetY,
                    unsigned int* width, unsigned int* height) override {
        asked.push_back(index);
        if (*enabled != 0 || *offsetX != 0 || *offsetY != 0 || *width != 0 || *height != 0) {
            bAllZeroed = false;
        }
        const SRegionSlot& slot = slots.at(index);
        if (index == throwingSlot) {
            *enabled = 1;
            *width = 5;
            *height = 5;
            mvThrow(onSlot);
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
        ++countHCalls;
        return 1;
    }

    std::vector<SRegionSlot> slots;
    int type = 0;
    std::vector<unsigned> asked;
    bool bAllZeroed = true; ///< the outputs of every question were 0 before
    int countHCalls = 0;

    // Each throws what it likes.
    std::function<void()> onCount;
    std::function<void()> onType;
    std::function<void()> onSlot;
    std::size_t throwingSlot = ~std::size_t{0};

private:
    static void mvThrow(const std::function<void()>& action) {
        if (action) {
            action();
        }
    }
};

} // namespace vek::test
