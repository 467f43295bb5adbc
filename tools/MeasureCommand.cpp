// SPDX-License-Identifier: Apache-2.0
#include "MeasureCommand.h"

#include "CameraSource.h"
#include "Errors.h"
#include "FrameInput.h"
#include "Measurement.h"
#include "Options.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>
#include <optional>

namespace vek::tools {

namespace {

// With offsets up to 2^60 and the largest frame, no sum of these leaves 64 bits.
constexpr std::uint64_t kMaxFrame = 1'000'000'000;
constexpr std::uint64_t kMaxOffset = std::uint64_t{1} << 60;

struct SMeasureArguments {
    SFrameChoice input;
    CLI::Option* simulated = nullptr;
    std::string model;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::string format;
    std::string colorArray;
    std::string region;
    bool json = false;
};

/// What is measured, wherever it came from.
struct SFrame {
    std::string source;
    const STransferFormat* format = nullptr;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned short colorArray = 0;
    std::vector<std::uint8_t> bytes;
};

const STransferFormat& checkedFormat(const std::string& name) {
    const STransferFormat& format = *findTransferFormat(name);
    if (!measuredFormat(format)) {
        throw CBadArguments(fmt::format("format {} cannot be measured: neither raw nor mono", format.name));
    }
    return format;
}

/// needed: a raw format's pixels may be anything.
unsigned short checkedColorArray(const std::string& name, const STransferFormat& format) {
    if (name.empty() && !format.IsMono()) {
        throw CBadArguments(fmt::format("--colour-array is required with format {}", format.name));
    }
    const unsigned colorArray = findCode(bayerColorArrays(), name).value_or(VEK_COLOR_ARRAY_MONO);
    if (format.IsMono() && colorArray != VEK_COLOR_ARRAY_MONO) {
        throw CBadArguments(
            fmt::format("--colour-array {} does not go with format {}", colorArrayName(colorArray), format.name));
    }
    return static_cast<unsigned short>(colorArray);
}

SFrame frameOfFile(const SMeasureArguments& arguments) {
    if (arguments.input.path.empty() || arguments.width == 0 || arguments.height == 0 || arguments.format.empty()) {
        throw CBadArguments("IN, --width, --height and --format are required without --sim");
    }
    SFrame frame{arguments.input.path, &checkedFormat(arguments.format), arguments.width, arguments.height, 0, {}};
    frame.colorArray = checkedColorArray(arguments.colorArray, *frame.format);
    regionInside(arguments.region, frame.width, frame.height); // before the file is looked at
    frame.bytes = readFrame(arguments.input, *frame.format, frame.width, frame.height);
    return frame;
}

/// A camera of the model with --width and --height sends a frame in --format, all of them the model's own by default.
SFrame frameOfCamera(const SMeasureArguments& arguments) {
    if (!arguments.input.path.empty()) {
        throw CBadArguments("IN and --sim exclude each other");
    }
    const sim::SCameraModel& model = modelNamed(arguments.model);
    sim::SSensorConfig sensor = sim::CSimulatedDriver::DefaultSensor(model);
    sensor.width = arguments.width != 0 ? arguments.width : sensor.width;
    sensor.height = arguments.height != 0 ? arguments.height : sensor.height;
    const auto driver = std::make_shared<sim::CSimulatedDriver>(model, sensor);
    if (!arguments.format.empty()) {
        driver->SetTransferFormat(checkedFormat(arguments.format).code);
    }
    const std::string code = std::to_string(driver->TransferFormat());
    SFrame frame{CCamera(driver).Name(), findTransferFormat(code), driver->Width(), driver->Height(), 0, {}};
    const auto sensorArray = static_cast<unsigned short>(driver->ColorArray());
    frame.colorArray = frame.format->IsMono() ? static_cast<unsigned short>(VEK_COLOR_ARRAY_MONO) : sensorArray;
    regionInside(arguments.region, frame.width, frame.height);
    // Without a descriptor: read takes what the unpacked formats need only.
    frame.bytes = driver->CaptureFrame();
    return frame;
}

/// What stands in the four places of a colour array's cell.
std::array<std::string_view, 4> placeNames(unsigned colorArray) {
    switch (colorArray) {
    case VEK_COLOR_ARRAY_RGGB:
        return {"R", "Gr", "Gb", "B"};
    case VEK_COLOR_ARRAY_GRBG:
        return {"Gr", "R", "B", "Gb"};
    case VEK_COLOR_ARRAY_GBRG:
        return {"Gb", "B", "R", "Gr"};
    default:
        return {"B", "Gb", "Gr", "R"};
    }
}

struct SMeasurement {
    SRegion region;
    std::array<float, 4> averages{}; ///< by place; mono: the first only
    float mean = 0;                  ///< of all pixels
    bool fromFirstColumn = false;    ///< packed rows, measured from their first pixel instead of the region's
};

std::string textOf(const SFrame& frame, const SMeasurement& measurement) {
    const SRegion& region = measurement.region;
    std::string text = fmt::format("{:<14}{}\n", "frame", frame.source);
    text += fmt::format("{:<14}{} x {} pixels, {}, {}\n", "image", frame.width, frame.height, frame.format->name,
                        colorArrayName(frame.colorArray));
    text += fmt::format("{:<14}{} x {} pixels at {}, {}\n", "region", region.width, region.height, region.x, region.y);
    text += fmt::format("{:<14}{:.3f}\n", "mean", measurement.mean);
    if (frame.colorArray != VEK_COLOR_ARRAY_MONO) {
        const auto names = placeNames(frame.colorArray);
        for (std::size_t i = 0; i < names.size(); ++i) {
            text += fmt::format("{:<14}{:.3f}\n", names[i], measurement.averages[i]);
        }
    }
    if (measurement.fromFirstColumn) {
        text += "note: packed rows are measured from their first pixel on; X only sets the width and which columns "
                "are odd\n";
    }
    return text;
}

std::string jsonOf(const SFrame& frame, const SMeasurement& measurement) {
    const SRegion& region = measurement.region;
    nlohmann::ordered_json json;
    json["frame"] = frame.source;
    json["width"] = frame.width;
    json["height"] = frame.height;
    json["transferFormat"] = {{"code", frame.format->code}, {"name", frame.format->name}};
    json["colorArray"] = {{"code", frame.colorArray}, {"name", colorArrayName(frame.colorArray)}};
    json["region"] = {{"x", region.x}, {"y", region.y}, {"width", region.width}, {"height", region.height}};
    json["mean"] = measurement.mean;
    if (frame.colorArray != VEK_COLOR_ARRAY_MONO) {
        const auto names = placeNames(frame.colorArray);
        for (std::size_t i = 0; i < names.size(); ++i) {
            json["averages"][std::string(names[i])] = measurement.averages[i];
        }
    }
    json["fromFirstColumn"] = measurement.fromFirstColumn;
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

void measure(const SMeasureArguments& arguments) {
    const SFrame frame = arguments.simulated->count() > 0 ? frameOfCamera(arguments) : frameOfFile(arguments);
    const CLibraryHandle handle(-1);
    const auto averages = [&](unsigned short colorArray, const SRegion& region) {
        return averagesOf(handle, frame.bytes, *frame.format, frame.width, frame.height, colorArray, region);
    };
    SMeasurement measurement;
    measurement.region = regionInside(arguments.region, frame.width, frame.height);
    measurement.averages = averages(frame.colorArray, measurement.region);
    measurement.mean = averages(VEK_COLOR_ARRAY_MONO, measurement.region)[0];
    measurement.fromFirstColumn = frame.format->layout == ELayout::Packed && measurement.region.x > 0;
    std::fputs((arguments.json ? jsonOf(frame, measurement) : textOf(frame, measurement)).c_str(), stdout);
}

} // namespace

void addMeasureCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("measure", "Tell the mean levels of a raw frame's region");
    const auto arguments = std::make_shared<SMeasureArguments>();

    command->add_option("IN", arguments->input.path, "File with raw frames; - reads standard input")->type_name("FILE");
    arguments->simulated = addModelOption(*command, arguments->model, "A frame of a simulated camera instead");
    command->add_option("-W,--width", arguments->width, "Pixels of a row")->transform(range(1, 65535));
    command->add_option("-H,--height", arguments->height, "Rows")->transform(range(1, 65535));
    command
        ->add_option("-f,--format", arguments->format,
                     "Transfer format, number or name: raw8, raw10, raw10p, raw12, raw12p, raw14, raw16\n"
                     "or the same with mono; p: packed")
        ->check(isTransferFormat());
    command
        ->add_option("-a,--colour-array,--color-array", arguments->colorArray,
                     "Number 1 to 5 or name: " + nameList(bayerColorArrays()) +
                         ".\nMay be left out with the mono formats")
        ->check(isCodeOf(bayerColorArrays()))
        ->excludes(arguments->simulated);
    command->add_option("-r,--region", arguments->region, "Where to measure; the whole image by default")
        ->type_name("X,Y,W,H")
        ->check(isRegion());
    command->add_option("--src-offset", arguments->input.offset, "Bytes in front of the first frame, 0 by default")
        ->transform(range(0, kMaxOffset))
        ->excludes(arguments->simulated);
    command
        ->add_option("--frame", arguments->input.frame, "Which frame of the file, counted from 0, which is the default")
        ->transform(range(0, kMaxFrame))
        ->excludes(arguments->simulated);
    command->add_flag("--force", arguments->input.force, kForceHelp)
        ->disable_flag_override()
        ->excludes(arguments->simulated);
    command->add_flag("--json", arguments->json, "Print a JSON object")->disable_flag_override();
    command->callback([arguments] { measure(*arguments); });
}

} // namespace vek::tools
