// SPDX-License-Identifier: Apache-2.0
#include "client/stages/Calibration.h"

#include "client/Errors.h"
#include "client/camera/CameraInfo.h"
#include "client/files/InputFile.h"
#include "client/files/JsonText.h"
#include "client/frames/RawFrame.h"
#include "client/names/Names.h"
#include "client/pictures/PngInput.h"
#include "client/pictures/PngOutput.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <limits>
#include <numeric>
#include <string_view>
#include <utility>

namespace vek::client {

namespace {

constexpr std::string_view kEnding = ".png";

// One that was written has less than 1000 bytes.
constexpr std::size_t kLargestDescription = std::size_t{1} << 20;

std::string formOf(const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                   unsigned short colorArray) {
    return fmt::format("{} x {}, {} bit, {}", width, height, format.depth, colorArrayName(colorArray));
}

/// The description of a calibration as a file has it.
class CDescription {
public:
    explicit CDescription(const std::string& path) : mPath(path) {
        const std::string text = readWholeFile(path, kLargestDescription, "description of a calibration");
        try {
            mJson = parsedJson(text);
        } catch (const CFailure& failure) {
            Refuse(failure.what());
        }
    }

    [[noreturn]] void Refuse(const std::string& why) const {
        throw CFailure(
            fmt::format("{}: no description of a calibration, as `vekcam calibrate` writes it: {}", mPath, why));
    }

    std::string Text(const char* key) const {
        const nlohmann::ordered_json& value = Value(key);
        if (!value.is_string()) {
            Refuse(fmt::format("\"{}\" is no text", key));
        }
        return value.get<std::string>();
    }

    /// A whole number from low to T's largest.
    template <class T>
    T Whole(const char* key, T low) const {
        constexpr T kLargest = std::numeric_limits<T>::max();
        const nlohmann::ordered_json& value = Value(key);
        // Positive numbers have a type of their own.
        if (!value.is_number_unsigned() || std::cmp_less(value.get<std::uint64_t>(), low) ||
            std::cmp_greater(value.get<std::uint64_t>(), kLargest)) {
            Refuse(fmt::format("\"{}\" is no whole number of {} to {}", key, low, kLargest));
        }
        return value.get<T>();
    }

private:
    const nlohmann::ordered_json& Value(const char* key) const {
        if (!mJson.contains(key)) {
            Refuse(fmt::format("\"{}\" is missing", key));
        }
        return mJson.at(key);
    }

    std::string mPath;
    nlohmann::ordered_json mJson;
};

} // namespace

bool canBeCalibrated(const STransferFormat& format) {
    return format.layout == ELayout::Bytes || format.layout == ELayout::Words;
}

CFrameMean::CFrameMean(const STransferFormat& format, std::uint32_t width, std::uint32_t height)
    : mFormat(format), mWidth(width), mHeight(height), mSums(std::size_t{width} * height) {}

void CFrameMean::Add(std::span<const std::uint8_t> bytes) {
    if (mFrames == kMostFrames) {
        throw CFailure(fmt::format("a mean of more than {} frames cannot be taken", kMostFrames));
    }
    for (std::size_t i = 0; i < mSums.size(); ++i) {
        mSums[i] += sampleAt(bytes, mFormat, i);
    }
    ++mFrames;
}

SImage CFrameMean::Image() const {
    SImage image{mWidth, mHeight, 1, 16, {}};
    image.samples.reserve(mSums.size());
    for (const std::uint32_t sum : mSums) {
        const std::uint64_t scaled = std::uint64_t{sum} << (16 - mFormat.depth);
        image.samples.push_back(static_cast<std::uint16_t>((scaled + mFrames / 2) / mFrames));
    }
    return image;
}

SCalibration takenCalibration(const ICamera& camera, CFrameGrabber& grabber, const std::string& kind, unsigned frames,
                              const std::function<void()>& taken) {
    const STransferFormat& format = grabber.Format();
    SCalibration calibration;
    calibration.kind = kind;
    calibration.camera = camera.Name();
    calibration.format = &format;
    calibration.colorArray = format.IsMono() ? static_cast<unsigned short>(VEK_COLOR_ARRAY_MONO) : grabber.ColorArray();
    calibration.frames = frames;
    calibration.exposureClocks = readExposure(camera);
    calibration.gain = readGain(camera);
    CFrameMean mean(format, grabber.Width(), grabber.Height());
    for (unsigned i = 0; i < frames; ++i) {
        mean.Add(grabber.Next());
        taken();
    }
    calibration.mean = mean.Image();
    return calibration;
}

SCalibrationLevels levelsOf(const SCalibration& calibration) {
    const std::vector<std::uint16_t>& mean = calibration.mean.samples;
    const double scale = 1U << (16 - calibration.format->depth);
    const double saturated = maxSample(calibration.format->depth) * scale;
    const auto [low, high] = std::minmax_element(mean.begin(), mean.end());
    const double sum = std::accumulate(mean.begin(), mean.end(), 0.0);
    const auto atTheEnd =
        std::count_if(mean.begin(), mean.end(), [=](std::uint16_t value) { return value >= saturated; });
    return {sum / scale / static_cast<double>(mean.size()), *low / scale, *high / scale,
            static_cast<std::size_t>(atTheEnd)};
}

std::string descriptionPath(const std::string& path) {
    const std::size_t stem = path.size() > kEnding.size() ? path.size() - kEnding.size() : 0;
    if (stem == 0 || !isName(std::string_view(path).substr(stem), kEnding)) {
        throw CBadArguments(fmt::format("{}: the name of a calibration ends in {}", path, kEnding));
    }
    return path.substr(0, stem) + ".json";
}

void writeCalibration(COutputFile& mean, COutputFile& description, const SCalibration& calibration) {
    nlohmann::ordered_json json;
    json["kind"] = calibration.kind;
    json["camera"] = calibration.camera;
    json["width"] = calibration.mean.width;
    json["height"] = calibration.mean.height;
    json["format"] = calibration.format->name;
    json["depth"] = calibration.format->depth;
    json["scale"] = 1U << (calibration.mean.depth - calibration.format->depth);
    json["colorArray"] = colorArrayName(calibration.colorArray);
    json["frames"] = calibration.frames;
    json["exposureClocks"] = calibration.exposureClocks;
    json["gain"] = calibration.gain;
    writePng(mean, calibration.mean, {});
    description.Write(jsonText(json));
}

SCalibration readCalibration(const std::string& path, const std::string& kind) {
    const CDescription description(descriptionPath(path));
    SCalibration calibration;
    calibration.kind = description.Text("kind");
    calibration.camera = description.Text("camera");
    const auto width = description.Whole<std::uint32_t>("width", 1);
    const auto height = description.Whole<std::uint32_t>("height", 1);
    calibration.format = findTransferFormat(description.Text("format"));
    calibration.colorArray =
        static_cast<unsigned short>(findCode(bayerColorArrays(), description.Text("colorArray")).value_or(0));
    calibration.frames = description.Whole<unsigned>("frames", 1);
    calibration.exposureClocks = description.Whole<std::int32_t>("exposureClocks", 0);
    calibration.gain = description.Whole<std::int32_t>("gain", 0);
    if (calibration.format == nullptr || !calibration.format->IsRaw() || calibration.colorArray == 0) {
        description.Refuse("unknown format or colour array");
    }
    if (calibration.kind != kind) {
        throw CFailure(fmt::format("{}: a {} frame is needed, this one is {}", path, kind, calibration.kind));
    }
    calibration.mean = readGrayPng16(path);
    if (calibration.mean.width != width || calibration.mean.height != height) {
        throw CFailure(fmt::format("{}: {} x {} pixels, its description has {} x {}", path, calibration.mean.width,
                                   calibration.mean.height, width, height));
    }
    return calibration;
}

void requireMatch(const SCalibration& calibration, const std::string& path, const STransferFormat& format,
                  std::uint32_t width, std::uint32_t height, unsigned short colorArray) {
    const std::string made =
        formOf(*calibration.format, calibration.mean.width, calibration.mean.height, calibration.colorArray);
    const std::string given = formOf(format, width, height, colorArray);
    if (made != given) {
        throw CFailure(fmt::format("{}: made of frames of {}; this frame is {}", path, made, given));
    }
}

} // namespace vek::client
