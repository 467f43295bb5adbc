// SPDX-License-Identifier: Apache-2.0
#include "device/DeviceControl.h"

#include <linux/videodev2.h>
#include <sys/ioctl.h>

namespace vek {

bool CDeviceControl::Open(int fd) {
    SDEVICE_DESCRIPTION description{};
    if (ioctl(fd, VIDIOC_G_DEVICE_DESCRIPTION, &description) != 0) {
        return false;
    }
    mFd = fd;
    mDescription = description;
    return true;
}

int CDeviceControl::GetControl(std::uint32_t id) const {
    v4l2_control control{};
    control.id = id;
    // The result is not looked at: a refused read reports what the record holds, 0 unless the driver changed it.
    static_cast<void>(ioctl(mFd, VIDIOC_G_CTRL, &control));
    return control.value;
}

long CDeviceControl::ImageWidth() const {
    return GetControl(VEK_CID_IMAGE_WIDTH);
}

long CDeviceControl::ImageHeight() const {
    return GetControl(VEK_CID_IMAGE_HEIGHT);
}

long CDeviceControl::TotalHClock() const {
    return GetControl(VEK_CID_TOTAL_H_CLOCK);
}

long CDeviceControl::TotalVLine() const {
    return GetControl(VEK_CID_TOTAL_V_LINE);
}

long CDeviceControl::GetClock() const {
    return GetControl(VEK_CID_CLOCK);
}

long CDeviceControl::GetMaxShortExposureClock() const {
    return GetControl(VEK_CID_MAX_SHORT_EXPOSURE_CLOCK);
}

long CDeviceControl::GetVBlank() const {
    return GetControl(VEK_CID_VBLANK);
}

long CDeviceControl::GetTransferBitsPerPixel() const {
    return GetControl(VEK_CID_TRANSFER_FORMAT);
}

long CDeviceControl::GetCurrentRawImageSize() const {
    return GetControl(VEK_CID_RAW_IMAGE_SIZE);
}

int CDeviceControl::GetColorArray() const {
    return GetControl(VEK_CID_COLOR_ARRAY);
}

bool CDeviceControl::GetBinning(unsigned char* h, unsigned char* v) const {
    *h = static_cast<unsigned char>(GetControl(VEK_CID_BINNING_H));
    *v = static_cast<unsigned char>(GetControl(VEK_CID_BINNING_V));
    return true;
}

bool CDeviceControl::GetGainAndExposure(unsigned short* gain, unsigned long* exposure) const {
    *gain = static_cast<unsigned short>(GetControl(V4L2_CID_GAIN));
    *exposure = static_cast<unsigned long>(static_cast<long>(GetControl(V4L2_CID_EXPOSURE)));
    return true;
}

bool CDeviceControl::SetGainAndExposure(unsigned short gain, unsigned long exposure) const {
    v4l2_control control{};
    control.id = V4L2_CID_GAIN;
    control.value = gain;
    if (ioctl(mFd, VIDIOC_S_CTRL, &control) != 0) {
        return false;
    }
    control.id = V4L2_CID_EXPOSURE;
    control.value = static_cast<std::int32_t>(static_cast<std::uint32_t>(exposure));
    return ioctl(mFd, VIDIOC_S_CTRL, &control) == 0;
}

void CDeviceControl::GetROIInfo(unsigned int index, unsigned int* enabled, unsigned int* offsetX, unsigned int* offsetY,
                                unsigned int* width, unsigned int* height) const {
    SROI_REQUEST request{};
    request.index = static_cast<std::uint8_t>(index);
    if (ioctl(mFd, VIDIOC_G_ROI_INFO, &request) != 0) {
        return;
    }
    *enabled = request.enabled;
    *offsetX = request.offsetX;
    *offsetY = request.offsetY;
    *width = request.width;
    *height = request.height;
}

bool CDeviceControl::SetEnableDefectPixelCorrectionPosition(unsigned short x, unsigned short y,
                                                            unsigned short index) const {
    SDEFECT_PIXEL_POSITION position{};
    position.index = static_cast<std::uint8_t>(index);
    position.x = x;
    position.y = y;
    return ioctl(mFd, VIDIOC_S_DEFECT_PIXEL_POSITION, &position) == 0;
}

} // namespace vek
