// SPDX-License-Identifier: Apache-2.0
#include "client/camera/CameraInfo.h"

#include "client/Errors.h"

#include <VekTrgApi.h>

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <cerrno>

namespace vek::client {

namespace {

/// Reads a control; the errno of a refusal instead.
int askControl(int fd, std::uint32_t id, std::int32_t& value) {
    v4l2_control control{};
    control.id = id;
    int result = 0;
    do {
        result = ioctl(fd, VIDIOC_G_CTRL, &control);
    } while (result != 0 && errno == EINTR);
    value = control.value;
    return result == 0 ? 0 : errno;
}

/// What stands behind a descriptor that is no Video4Linux2 device.
const char* kindOf(int fd) {
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        return "nothing";
    }
    return S_ISREG(status.st_mode)    ? "a plain file"
           : S_ISFIFO(status.st_mode) ? "a pipe"
           : S_ISCHR(status.st_mode)  ? "a device of another kind"
                                      : "a file of another kind";
}

bool isVideoDevice(int fd) {
    v4l2_capability capability{};
    return ioctl(fd, VIDIOC_QUERYCAP, &capability) == 0 || errno != ENOTTY;
}

class CControlReader {
public:
    explicit CControlReader(const ICamera& camera) : mFd(camera.Fd()), mSource(camera.Name()) {}

    /// what: the control in words, for the message.
    std::int32_t operator()(std::uint32_t id, const char* what) const {
        std::int32_t value = 0;
        if (const int error = askControl(mFd, id, value); error != 0) {
            if (error == ENOTTY && !isVideoDevice(mFd)) {
                throw CFailure(
                    fmt::format("{}: not a trigger camera: {}, not a Video4Linux2 device", mSource, kindOf(mFd)));
            }
            throw CFailure(fmt::format("{}: not a trigger camera: no answer for {} (control 0x{:08x}): {}", mSource,
                                       what, id, systemMessage(error)));
        }
        return value;
    }

    std::optional<std::int32_t> IfPresent(std::uint32_t id) const {
        std::int32_t value = 0;
        return askControl(mFd, id, value) == 0 ? std::optional(value) : std::nullopt;
    }

private:
    int mFd;
    const std::string& mSource;
};

/// What only a camera of this kind has.
std::int32_t readColorArray(const CControlReader& read) {
    return read(VEK_CID_COLOR_ARRAY, "the colour array");
}

} // namespace

CDeviceCamera::CDeviceCamera(const std::string& path, EUnready unready)
    : mName(path), mDevice(open(path.c_str(), O_RDWR | O_CLOEXEC | (unready == EUnready::Return ? O_NONBLOCK : 0))) {
    if (!mDevice.IsOpen()) {
        throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
    }
    readColorArray(CControlReader(*this)); // refuses other devices
}

SCameraInfo readCameraInfo(const ICamera& camera) {
    const CControlReader read(camera);
    SCameraInfo info;
    info.source = camera.Name();
    info.sensorColorArray = static_cast<std::uint16_t>(readColorArray(read));
    info.transferFormat = static_cast<unsigned>(read(VEK_CID_TRANSFER_FORMAT, "the transfer format"));
    info.colorArray = VekTransferColorArray(info.transferFormat, static_cast<unsigned short>(info.sensorColorArray));
    info.bitsPerPixel = VekTransferFormatBits(info.transferFormat);
    info.pixelFormat = VekTransferPixelFormat(info.transferFormat, static_cast<unsigned short>(info.colorArray));
    info.width = read(VEK_CID_IMAGE_WIDTH, "the image width");
    info.height = read(VEK_CID_IMAGE_HEIGHT, "the image height");
    info.rawImageSize = read(VEK_CID_RAW_IMAGE_SIZE, "the raw image size");
    info.binningH = read(VEK_CID_BINNING_H, "the horizontal binning");
    info.binningV = read(VEK_CID_BINNING_V, "the vertical binning");
    info.clockHz = read(VEK_CID_CLOCK, "the clock");
    info.lineClocks = read(VEK_CID_TOTAL_H_CLOCK, "the line length");
    info.frameLines = read(VEK_CID_TOTAL_V_LINE, "the frame length");
    info.gain = readGain(camera);
    info.exposureClocks = readExposure(camera);
    info.maxShortExposureClocks = read(VEK_CID_MAX_SHORT_EXPOSURE_CLOCK, "the longest short exposure");
    info.vBlankLines = read.IfPresent(VEK_CID_VBLANK);
    return info;
}

std::int32_t readControl(const ICamera& camera, std::uint32_t id, const char* what) {
    return CControlReader(camera)(id, what);
}

void setControl(const ICamera& camera, std::uint32_t id, std::int32_t value) {
    v4l2_control control{};
    control.id = id;
    control.value = value;
    while (ioctl(camera.Fd(), VIDIOC_S_CTRL, &control) != 0) {
        if (errno != EINTR) {
            throw CFailure(fmt::format("{}: cannot set control 0x{:08x} to {}: {}", camera.Name(), id, value,
                                       systemMessage(errno)));
        }
    }
}

std::int32_t readExposure(const ICamera& camera) {
    return readControl(camera, V4L2_CID_EXPOSURE, "the exposure");
}

std::int32_t readGain(const ICamera& camera) {
    return readControl(camera, V4L2_CID_GAIN, "the gain");
}

void setExposureAndGain(const ICamera& camera, std::optional<std::int32_t> exposureClocks,
                        std::optional<std::int32_t> gain) {
    if (exposureClocks) {
        setControl(camera, V4L2_CID_EXPOSURE, *exposureClocks);
    }
    if (gain) {
        setControl(camera, V4L2_CID_GAIN, *gain);
    }
}

} // namespace vek::client
