// SPDX-License-Identifier: Apache-2.0
// The request side of CSimulatedDriver: what each ioctl reads, answers and changes.
#include "sim/SimulatedDriver.h"

#include "VekTrgApi.h"
#include "device/DriverAbi.h"

#include <linux/videodev2.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace vek::sim {

namespace {

constexpr std::uint32_t kMaxVBlank = 65535;
constexpr unsigned kUnused = 65535;

} // namespace

int CSimulatedDriver::PendingFault() {
    ++mRequestCount;
    if (mUnplugged) {
        return ENODEV;
    }
    const auto fault = mFaults.find(mRequestCount);
    if (fault != mFaults.end()) {
        const int error = fault->second;
        mFaults.erase(fault);
        return error;
    }
    return mFailAll;
}

int CSimulatedDriver::Serve(unsigned long request, const std::function<int()>& answer) {
    SRequestRecord record;
    record.request = request;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        record.error = PendingFault();
    }
    if (record.error == 0) {
        record.error = answer(); // which asks the camera itself
    }
    record.result = record.error == 0 ? 0 : -1;
    const std::lock_guard<std::mutex> lock(mMutex);
    mRequests.push_back(record);
    return -record.error;
}

int CSimulatedDriver::Ioctl(unsigned long request, void* argument) {
    const std::lock_guard<std::mutex> lock(mMutex);
    SRequestRecord record;
    // The kernel takes 32 bits of the number; a caller that kept it in an int sends the sign as well.
    record.request = request & 0xFFFFFFFFUL;
    int error = PendingFault();
    if (argument != nullptr) {
        // What was sent is recorded even when the request fails.
        if (record.request == VIDIOC_G_CTRL || record.request == VIDIOC_S_CTRL) {
            const auto* control = static_cast<const v4l2_control*>(argument);
            record.id = control->id;
            record.valueIn = control->value;
        } else if (record.request == VIDIOC_G_ROI_INFO) {
            record.id = static_cast<const SROI_REQUEST*>(argument)->index;
        } else if (record.request == VIDIOC_S_DEFECT_PIXEL_POSITION) {
            const auto* position = static_cast<const SDEFECT_PIXEL_POSITION*>(argument);
            record.id = position->index;
            record.valueIn = position->x | std::int64_t{position->y} << 16;
        }
    }
    if (error == 0) {
        error = argument == nullptr ? EFAULT : Answer(record.request, argument, record);
    }
    record.result = error == 0 ? 0 : -1;
    record.error = error;
    mRequests.push_back(record);
    return -error;
}

int CSimulatedDriver::Answer(unsigned long request, void* argument, SRequestRecord& record) {
    switch (request) {
    case VIDIOC_G_DEVICE_DESCRIPTION:
        return Description(argument);
    case VIDIOC_G_ROI_INFO:
        return RoiInfo(argument, record);
    case VIDIOC_S_DEFECT_PIXEL_POSITION:
        return DefectPosition(argument, record);
    case VIDIOC_G_CTRL: {
        auto* control = static_cast<v4l2_control*>(argument);
        std::int32_t value = 0;
        const int error = GetControl(control->id, value);
        if (error == 0) {
            control->value = value;
            record.valueOut = value;
        }
        return error;
    }
    case VIDIOC_S_CTRL: {
        const auto* control = static_cast<const v4l2_control*>(argument);
        const int error = SetControl(control->id, control->value);
        record.valueOut = error == 0 ? control->value : 0;
        return error;
    }
    default:
        return ENOTTY;
    }
}

int CSimulatedDriver::GetControl(std::uint32_t id, std::int32_t& value) const {
    const auto override = mOverrides.find(id);
    if (override != mOverrides.end()) {
        value = override->second;
        return 0;
    }
    std::uint64_t result = 0;
    switch (id) {
    case V4L2_CID_GAIN:
        result = mGain;
        break;
    case V4L2_CID_EXPOSURE:
        result = mExposure;
        break;
    case VEK_CID_COLOR_ARRAY:
        result = static_cast<std::uint64_t>(mSensor.Config().colorArray);
        break;
    case VEK_CID_TRANSFER_FORMAT:
        result = mTransferFormat;
        break;
    case VEK_CID_VBLANK:
        if (!mModel.hasVBlank) {
            return EINVAL;
        }
        result = mVBlank;
        break;
    case VEK_CID_MAX_SHORT_EXPOSURE_CLOCK:
        result = maxShortExposure(mModel, Timing());
        break;
    case VEK_CID_IMAGE_WIDTH:
        result = CombinedSize(false);
        break;
    case VEK_CID_IMAGE_HEIGHT:
        result = CombinedSize(true);
        break;
    case VEK_CID_TOTAL_H_CLOCK:
        result = mModel.totalHClock;
        break;
    case VEK_CID_TOTAL_V_LINE:
        result = reportedVLines(mModel, Timing());
        break;
    case VEK_CID_CLOCK:
        result = mModel.clockHz;
        break;
    case VEK_CID_RAW_IMAGE_SIZE:
        result = BytesPerFrame();
        break;
    case VEK_CID_BINNING_H:
        result = mBinningH;
        break;
    case VEK_CID_BINNING_V:
        result = mBinningV;
        break;
    default:
        return EINVAL;
    }
    value = static_cast<std::int32_t>(
        std::min<std::uint64_t>(result, static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max())));
    return 0;
}

int CSimulatedDriver::SetControl(std::uint32_t id, std::int32_t value) {
    const auto within = [value](std::uint32_t limit) {
        return value >= 0 && static_cast<std::uint32_t>(value) <= limit;
    };
    switch (id) {
    case V4L2_CID_GAIN:
        if (!within(mModel.maxGain)) {
            return ERANGE;
        }
        mGain = static_cast<std::uint16_t>(value);
        return 0;
    case V4L2_CID_EXPOSURE:
        if (!within(mModel.maxLongExposure)) {
            return ERANGE;
        }
        mExposure = static_cast<std::uint32_t>(value);
        return 0;
    case VEK_CID_VBLANK:
        if (!mModel.hasVBlank) {
            return EINVAL;
        }
        if (!within(kMaxVBlank)) {
            return ERANGE;
        }
        mVBlank = static_cast<std::uint32_t>(value);
        Changed();
        return 0;
    case VEK_CID_TRANSFER_FORMAT:
        if (!within(kTransferFormatCount - 1)) {
            return ERANGE;
        }
        mTransferFormat = static_cast<unsigned long>(value);
        Changed();
        return 0;
    case VEK_CID_BINNING_H:
    case VEK_CID_BINNING_V:
        if (!within(2)) {
            return ERANGE;
        }
        try {
            const auto code = static_cast<unsigned>(value);
            id == VEK_CID_BINNING_H ? ApplyBinning(code, mBinningV) : ApplyBinning(mBinningH, code);
        } catch (const std::invalid_argument&) {
            return ERANGE;
        }
        return 0;
    case VEK_CID_COLOR_ARRAY:
    case VEK_CID_MAX_SHORT_EXPOSURE_CLOCK:
    case VEK_CID_IMAGE_WIDTH:
    case VEK_CID_IMAGE_HEIGHT:
    case VEK_CID_TOTAL_H_CLOCK:
    case VEK_CID_TOTAL_V_LINE:
    case VEK_CID_CLOCK:
    case VEK_CID_RAW_IMAGE_SIZE:
        return EACCES; // read-only
    default:
        return EINVAL;
    }
}

int CSimulatedDriver::Description(void* argument) const {
    SDEVICE_DESCRIPTION description{};
    description.productId = mModel.productId;
    description.initialGain = mModel.initialGain;
    description.gainType = mModel.gainType;
    description.maxGain = mModel.maxGain;
    description.hasDigitalGainFunction = mModel.hasDigitalGain ? 1 : 0;
    description.hasDigitalGainType = mModel.digitalGainFromOne ? 1 : 0;
    description.maxDigitalGain = mModel.maxDigitalGain;
    description.defectPixelCorrectionCount = mModel.defectPixelSlots;
    description.hasVBlankFunction = mModel.hasVBlank ? 1 : 0;
    description.maxRoiCount = static_cast<std::uint8_t>(mMaxRoiCount);
    description.maxLongExposureClock = mModel.maxLongExposure;
    description.exposureTimeBase = mModel.exposureTimeBase;
    description.exposureTimeOffset = mModel.exposureOffset;
    std::memcpy(argument, &description, sizeof(description));
    for (const SDescriptionPatch& patch : mDescriptionPatches) {
        for (std::size_t i = 0; i < patch.size; ++i) {
            static_cast<std::uint8_t*>(argument)[patch.offset + i] = static_cast<std::uint8_t>(patch.value >> (8 * i));
        }
    }
    return 0;
}

void CSimulatedDriver::SetDescriptionField(std::size_t offset, std::size_t size, std::uint32_t value) {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (size < 1 || size > 4 || offset > sizeof(SDEVICE_DESCRIPTION) - size) {
        throw std::invalid_argument("not a field of the description");
    }
    mDescriptionPatches.push_back({offset, size, value});
}

int CSimulatedDriver::RoiInfo(void* argument, SRequestRecord& record) const {
    auto* request = static_cast<SROI_REQUEST*>(argument);
    if (request->index >= mRois.size()) {
        return EINVAL;
    }
    const SRoi& roi = mRois[request->index];
    request->offsetX = static_cast<std::uint16_t>(roi.area.x);
    request->offsetY = static_cast<std::uint16_t>(roi.area.y);
    request->width = static_cast<std::uint16_t>(roi.area.width);
    request->height = static_cast<std::uint16_t>(roi.area.height);
    request->enabled = roi.enabled ? 1 : 0;
    record.valueOut = request->enabled;
    return 0;
}

int CSimulatedDriver::DefectPosition(const void* argument, SRequestRecord& record) {
    const auto* position = static_cast<const SDEFECT_PIXEL_POSITION*>(argument);
    if (record.id >= mDefectSlots.size()) {
        return EINVAL;
    }
    const unsigned x = position->x;
    const unsigned y = position->y;
    const bool unused = x == kUnused && y == kUnused;
    if (!unused && (x >= mSensor.Config().width || y >= mSensor.Config().height)) {
        return EINVAL;
    }
    mDefectSlots[record.id] = {x, y};
    ApplyMask();
    return 0;
}

} // namespace vek::sim
