// SPDX-License-Identifier: Apache-2.0
#include "control/LuminanceCtrl/ClosedLoop.h"

#include "sim/SimulatedDevice.h"

#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace vek::test {

namespace {

constexpr unsigned kWidth = 64;
constexpr unsigned kHeight = 48;

std::shared_ptr<sim::CSimulatedDriver> makeDriver(std::string_view name, std::uint32_t exposure, unsigned gain) {
    const sim::SCameraModel& model = sim::findCameraModel(name);
    sim::SSensorConfig sensor = sim::CSimulatedDriver::DefaultSensor(model);
    sensor.width = kWidth;
    sensor.height = kHeight;
    auto driver = std::make_shared<sim::CSimulatedDriver>(model, sensor, sim::CScene::Flat(kWidth, kHeight, 1.0F));
    driver->SetTransferFormat(VEK_TRANSFER_RAW8);
    driver->SetExposure(exposure);
    driver->SetGain(static_cast<std::uint16_t>(gain));
    return driver;
}

} // namespace

CClosedLoop::CClosedLoop(std::string_view model, std::uint32_t exposure, unsigned gain)
    : mDriver(makeDriver(model, exposure, gain)), mFd(sim::openSimulatedCamera(mDriver)), mHandle(VekCam_Open(mFd)),
      mFrame(mDriver->FrameSize()) {
    if (mFd < 0 || mHandle == nullptr) {
        throw std::runtime_error("no camera");
    }
}

CClosedLoop::~CClosedLoop() {
    VekCam_Close(mHandle);
    sim::closeSimulatedCamera(mFd);
}

unsigned CClosedLoop::MaxShortExposure() {
    v4l2_control control{VEK_CID_MAX_SHORT_EXPOSURE_CLOCK, 0};
    if (ioctl(mFd, VIDIOC_G_CTRL, &control) != 0) {
        throw std::runtime_error("no longest exposure");
    }
    return static_cast<unsigned>(control.value);
}

unsigned CClosedLoop::Measure() {
    float average[4] = {};
    if (read(mFd, mFrame.data(), mFrame.size()) != static_cast<ssize_t>(mFrame.size()) ||
        VekCam_GetAveragePixelValue(mHandle, kWidth, kHeight, 0, VEK_COLOR_ARRAY_MONO, VEK_TRANSFER_RAW8, mFrame.data(),
                                    0, 0, kWidth, kHeight, average) != VEK_OK) {
        throw std::runtime_error("no frame");
    }
    return static_cast<unsigned>(std::lround(average[0]));
}

unsigned CClosedLoop::LevelAt(std::uint32_t exposure, unsigned gain) {
    const std::uint32_t ownExposure = mDriver->ExposureValue();
    const std::uint16_t ownGain = mDriver->GainValue();
    mDriver->SetExposure(exposure);
    mDriver->SetGain(static_cast<std::uint16_t>(gain));
    const unsigned level = Measure();
    mDriver->SetExposure(ownExposure);
    mDriver->SetGain(ownGain);
    return level;
}

float CClosedLoop::LightForLevel(double level) {
    const unsigned gain = mDriver->Model().initialGain;
    float low = 0.0F;
    float high = 100000.0F;
    for (int i = 0; i < 40; ++i) {
        const float middle = (low + high) / 2;
        mDriver->SetLightLevel(middle);
        (LevelAt(0, gain) < level ? low : high) = middle;
    }
    return high;
}

SLoopStep CClosedLoop::Step() {
    SLoopStep step;
    step.exposure = mDriver->ExposureValue();
    step.gain = mDriver->GainValue();
    step.level = Measure();
    if (VekCam_ALC(mHandle, static_cast<unsigned short>(step.level), &step.changes) != 1) {
        throw std::runtime_error("luminance control failed");
    }
    VekCam_GetALCMode(mHandle, &step.mode);
    return step;
}

std::vector<SLoopStep> CClosedLoop::Run(unsigned frames) {
    std::vector<SLoopStep> steps;
    for (unsigned i = 0; i < frames; ++i) {
        steps.push_back(Step());
    }
    return steps;
}

unsigned framesToRest(const std::vector<SLoopStep>& steps) {
    const auto rest = std::find_if(steps.begin(), steps.end(), [](const SLoopStep& step) { return step.changes == 0; });
    return rest == steps.end() ? 0 : static_cast<unsigned>(rest - steps.begin()) + 1;
}

} // namespace vek::test
