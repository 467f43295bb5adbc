// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/camera/FrameGrabber.h"
#include "client/stages/LibraryHandle.h"

#include "tools/commands/Commands.h"
#include "tools/options/CameraOptions.h"
#include "tools/options/Options.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>

namespace vek::tools {

namespace {

constexpr unsigned kUnusedSlot = 65535;

struct SDefectsArguments {
    std::string model;
    unsigned threshold = 32;
    SSimulatedSetup setup;

    SDefectsArguments() { setup.hot = 20; }
};

std::size_t countFrom(const std::vector<std::uint8_t>& frame, unsigned threshold) {
    return static_cast<std::size_t>(
        std::count_if(frame.begin(), frame.end(), [=](std::uint8_t sample) { return sample >= threshold; }));
}

void detect(const SDefectsArguments& arguments) {
    const sim::SCameraModel& model = modelNamed(arguments.model);
    const auto driver = std::make_shared<sim::CSimulatedDriver>(model, sensorOf(model, arguments.setup));
    driver->SetLensCap(true);

    const CSimulatedCamera camera(driver);
    const CLibraryHandle handle(camera.Fd());
    CFrameGrabber grabber(camera, *transferFormat(VEK_TRANSFER_RAW8));
    const auto take = [&] {
        const auto bytes = grabber.Next();
        return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
    };
    const std::vector<std::uint8_t> before = take();
    const int status = VekCam_DetectDefectPixel(handle.Get(), grabber.Width(), grabber.Height(), before.data(),
                                                static_cast<int>(arguments.threshold));
    if (status != VEK_OK) {
        throw CFailure(fmt::format("the library could not look for defect pixels: {}", status));
    }
    const std::vector<std::uint8_t> after = take();

    const std::vector<sim::SPixelPosition> slots = driver->DefectSlots();
    std::string text;
    std::size_t used = 0;
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (slots[i].x == kUnusedSlot) {
            continue;
        }
        text +=
            used == 0 ? fmt::format("{:>4}  {:>5}  {:>5}  {:>6}  {:>5}\n", "slot", "x", "y", "before", "after") : "";
        ++used;
        const std::size_t at = std::size_t{slots[i].y} * grabber.Width() + slots[i].x;
        text += fmt::format("{:>4}  {:>5}  {:>5}  {:>6}  {:>5}\n", i, slots[i].x, slots[i].y, before[at], after[at]);
    }
    text += fmt::format("{:<32}{}\n", "camera", camera.Name());
    text += fmt::format("{:<32}{} of {} used\n", "correction slots", used, slots.size());
    text += fmt::format("pixels of {:>3} and above {:<9}{} before, {} after\n", arguments.threshold, "",
                        countFrom(before, arguments.threshold), countFrom(after, arguments.threshold));
    print(text);
}

} // namespace

void addDefectsCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("defects", "Try the correction of defect pixels");
    command->require_subcommand(1);
    CLI::App* const detectCommand = command->add_subcommand(
        "detect", "Find the hot pixels of a capped simulated camera and let the camera correct them");
    const auto arguments = std::make_shared<SDefectsArguments>();

    addModelOption(*detectCommand, arguments->model, "Simulated camera model");
    detectCommand->add_option("-t,--threshold", arguments->threshold, "Level from which a pixel counts as hot")
        ->capture_default_str()
        ->transform(range(0, 256));
    detectCommand->add_option("--hot", arguments->setup.hot, "Hot pixels that the sensor has")
        ->capture_default_str()
        ->transform(range(0, 10000));
    addSeed(*detectCommand, arguments->setup.seed, "Seed of their places and of the noise");
    detectCommand->callback([arguments] { detect(*arguments); });
}

} // namespace vek::tools
