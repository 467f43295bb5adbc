// SPDX-License-Identifier: Apache-2.0
#include "CameraInfo.h"

#include "Errors.h"
#include "LibraryHandle.h"
#include "Names.h"

#include <VekTrgApi.h>

#include <fmt/format.h>
#include <linux/videodev2.h>
#include <nlohmann/json.hpp>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <cerrno>

namespace vek::tools {

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
    CControlReader(int fd, const std::string& source) : mFd(fd), mSource(source) {}

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

    std::optional<std::int32_t> ifPresent(std::uint32_t id) const {
        std::int32_t value = 0;
        return askControl(mFd, id, value) == 0 ? std::optional(value) : std::nullopt;
    }

private:
    int mFd;
    const std::string& mSource;
};

std::string hexOf(int pixelFormat) {
    return fmt::format("0x{:08X}", static_cast<unsigned>(pixelFormat));
}

nlohmann::ordered_json codeAndName(unsigned code, std::string_view name) {
    return {{"code", code}, {"name", name}};
}

} // namespace

SCameraInfo readCameraInfo(int fd, const std::string& source) {
    const CControlReader read(fd, source);
    SCameraInfo info;
    info.source = source;
    // First what only a camera of this kind has.
    info.sensorColorArray = static_cast<std::uint16_t>(read(VEK_CID_COLOR_ARRAY, "the colour array"));
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
    info.gain = read(V4L2_CID_GAIN, "the gain");
    info.exposureClocks = read(V4L2_CID_EXPOSURE, "the exposure");
    info.maxShortExposureClocks = read(VEK_CID_MAX_SHORT_EXPOSURE_CLOCK, "the longest short exposure");
    info.vBlankLines = read.ifPresent(VEK_CID_VBLANK);
    return info;
}

std::int32_t readControl(int fd, const std::string& source, std::uint32_t id, const char* what) {
    return CControlReader(fd, source)(id, what);
}

void requireTriggerCamera(int fd, const std::string& source) {
    // What only a camera of this kind has.
    readControl(fd, source, VEK_CID_COLOR_ARRAY, "the colour array");
}

void setControl(int fd, const std::string& source, std::uint32_t id, std::int32_t value) {
    v4l2_control control{};
    control.id = id;
    control.value = value;
    while (ioctl(fd, VIDIOC_S_CTRL, &control) != 0) {
        if (errno != EINTR) {
            throw CFailure(
                fmt::format("{}: cannot set control 0x{:08x} to {}: {}", source, id, value, systemMessage(errno)));
        }
    }
}

std::string textOf(const SCameraInfo& info) {
    std::string text;
    const auto line = [&text](std::string_view name, const std::string& value) {
        text += fmt::format("{:<22}{}\n", name, value);
    };
    line("camera", info.source);
    line("library version", fmt::format("{}", libraryVersion()));
    line("image", fmt::format("{} x {} pixels", info.width, info.height));
    line("colour array", fmt::format("{} ({})", colorArrayName(info.colorArray), info.colorArray));
    if (info.sensorColorArray != info.colorArray) {
        line("sensor colour array",
             fmt::format("{} ({})", colorArrayName(info.sensorColorArray), info.sensorColorArray));
    }
    line("transfer format", fmt::format("{} ({})", transferFormatName(info.transferFormat), info.transferFormat));
    line("bits per pixel", fmt::format("{}{}", info.bitsPerPixel, info.bitsPerPixel == 0 ? " (packed)" : ""));
    line("pixel format", fmt::format("{} ({})", pixelFormatName(info.pixelFormat), hexOf(info.pixelFormat)));
    line("raw image size", fmt::format("{} bytes", info.rawImageSize));
    line("binning codes", fmt::format("horizontal {}, vertical {}", info.binningH, info.binningV));
    line("clock", fmt::format("{} Hz", info.clockHz));
    line("line length", fmt::format("{} clocks", info.lineClocks));
    line("frame length", fmt::format("{} lines", info.frameLines));
    line("vertical blanking", info.vBlankLines ? fmt::format("{} lines", *info.vBlankLines) : "not available");
    line("gain", fmt::format("{} (setting value)", info.gain));
    line("exposure", fmt::format("{} exposure clocks", info.exposureClocks));
    line("max short exposure", fmt::format("{} exposure clocks", info.maxShortExposureClocks));
    return text;
}

std::string jsonOf(const SCameraInfo& info) {
    nlohmann::ordered_json json;
    json["camera"] = info.source;
    json["libraryVersion"] = libraryVersion();
    json["width"] = info.width;
    json["height"] = info.height;
    json["colorArray"] = codeAndName(info.colorArray, colorArrayName(info.colorArray));
    json["sensorColorArray"] = codeAndName(info.sensorColorArray, colorArrayName(info.sensorColorArray));
    json["transferFormat"] = codeAndName(info.transferFormat, transferFormatName(info.transferFormat));
    json["bitsPerPixel"] = info.bitsPerPixel;
    json["pixelFormat"] = {{"value", hexOf(info.pixelFormat)}, {"name", pixelFormatName(info.pixelFormat)}};
    json["rawImageSize"] = info.rawImageSize;
    json["binning"] = {{"horizontal", info.binningH}, {"vertical", info.binningV}};
    json["clockHz"] = info.clockHz;
    json["lineClocks"] = info.lineClocks;
    json["frameLines"] = info.frameLines;
    json["vBlankLines"] = info.vBlankLines ? nlohmann::ordered_json(*info.vBlankLines) : nlohmann::ordered_json();
    json["gain"] = info.gain;
    json["exposureClocks"] = info.exposureClocks;
    json["maxShortExposureClocks"] = info.maxShortExposureClocks;
    // A path may hold any bytes; JSON only takes UTF-8.
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

} // namespace vek::tools
