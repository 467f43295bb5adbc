// SPDX-License-Identifier: Apache-2.0
#include "client/files/JsonText.h"
#include "client/stages/LibraryHandle.h"

#include "tools/commands/Commands.h"
#include "tools/options/CameraOptions.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/Options.h"
#include "tools/text/Columns.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <memory>

namespace vek::tools {

namespace {

struct SMeasureArguments {
    const CLI::App* command = nullptr;
    SFrameChoice input;
    CLI::Option* simulated = nullptr;
    std::string model;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::string format;
    std::string colorArray;
    std::string profile;
    std::string region;
    bool json = false;
};

struct SMeasuredFrame : STransferredFrame {
    std::string source; ///< where it came from, for the reader
};

void requireMeasurable(const STransferFormat& format) {
    if (!measuredFormat(format)) {
        throw CBadArguments(fmt::format("format {} cannot be measured: {}", format.name,
                                        format.IsRaw() ? "MIPI CSI-2" : "neither raw nor mono"));
    }
}

SMeasuredFrame frameOfFile(SMeasureArguments& arguments) {
    if (arguments.input.path.empty()) {
        throw CBadArguments("IN is required without --sim");
    }
    CChosenFrame chosen(arguments.command, {arguments.width, arguments.height, arguments.format, arguments.colorArray},
                        arguments.profile, arguments.input, requireMeasurable);
    regionInside(arguments.region, chosen.Form().width, chosen.Form().height); // before a raw file is looked at
    return {chosen.Take(), arguments.input.path};
}

/// A camera of the model with --width and --height sends a frame in --format, all of them the model's own by default.
SMeasuredFrame frameOfCamera(const SMeasureArguments& arguments) {
    if (!arguments.input.path.empty()) {
        throw CBadArguments("IN and --sim exclude each other");
    }
    const sim::SCameraModel& model = modelNamed(arguments.model);
    SSimulatedSetup setup;
    if (arguments.width != 0) {
        setup.width = arguments.width;
    }
    if (arguments.height != 0) {
        setup.height = arguments.height;
    }
    const auto driver = std::make_shared<sim::CSimulatedDriver>(model, sensorOf(model, setup));
    if (!arguments.format.empty()) {
        const STransferFormat& format = *findChainFormat(arguments.format);
        requireMeasurable(format);
        driver->SetTransferFormat(format.code);
    }
    SMeasuredFrame frame{{transferFormat(driver->TransferFormat()), driver->Width(), driver->Height(), 0, {}},
                         CSimulatedCamera(driver).Name()};
    const auto sensorArray = static_cast<unsigned short>(driver->ColorArray());
    frame.colorArray = frame.format->IsMono() ? static_cast<unsigned short>(VEK_COLOR_ARRAY_MONO) : sensorArray;
    regionInside(arguments.region, frame.width, frame.height);
    // Without a descriptor: read takes what the unpacked formats need only.
    frame.bytes = driver->CaptureFrame();
    return frame;
}

std::string measurementText(const SMeasuredFrame& frame, const SMeasurement& measurement) {
    const SRegion& region = measurement.region;
    CColumns lines(14);
    lines.Add("frame", frame.source);
    lines.Add("image", fmt::format("{} x {} pixels, {}, {}", frame.width, frame.height, frame.format->name,
                                   colorArrayName(frame.colorArray)));
    lines.Add("region", fmt::format("{} x {} pixels at {}, {}", region.width, region.height, region.x, region.y));
    lines.Add("mean", fmt::format("{:.3f}", measurement.mean));
    if (frame.colorArray != VEK_COLOR_ARRAY_MONO) {
        const auto names = placeNames(frame.colorArray);
        for (std::size_t i = 0; i < names.size(); ++i) {
            lines.Add(names[i], fmt::format("{:.3f}", measurement.averages[i]));
        }
    }
    std::string text = lines.Text();
    if (measurement.fromFirstColumn) {
        text += "note: packed rows are measured from their first pixel on; X only sets the width and which columns "
                "are odd\n";
    }
    return text;
}

std::string measurementJson(const SMeasuredFrame& frame, const SMeasurement& measurement) {
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
    return jsonText(json);
}

void measure(SMeasureArguments& arguments) {
    const SMeasuredFrame frame = arguments.simulated->count() > 0 ? frameOfCamera(arguments) : frameOfFile(arguments);
    const CLibraryHandle handle(-1);
    const SMeasurement measurement =
        measured(handle.Get(), frame, regionInside(arguments.region, frame.width, frame.height));
    print(arguments.json ? measurementJson(frame, measurement) : measurementText(frame, measurement));
}

} // namespace

void addMeasureCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("measure", "Tell the mean levels of a raw frame's region");
    const auto arguments = std::make_shared<SMeasureArguments>();

    arguments->command = command;
    addFrameFile(*command, arguments->input);
    arguments->simulated = addModelOption(*command, arguments->model, "A frame of a simulated camera instead");
    addFrameSize(*command, arguments->width, arguments->height);
    addFormat(*command, arguments->format,
              fmt::format("Transfer format, number or name: {}\nor the same with mono; p: packed",
                          transferFormatList([](const STransferFormat& format) { return format.measurable; })));
    addColorArray(*command, arguments->colorArray, "")->excludes(arguments->simulated);
    addProfile(*command, arguments->profile)->excludes(arguments->simulated);
    addRegion(*command, arguments->region, "Where to measure");
    addFrameChoice(*command, arguments->input, arguments->simulated);
    addJson(*command, arguments->json);
    command->callback([arguments] { measure(*arguments); });
}

} // namespace vek::tools
