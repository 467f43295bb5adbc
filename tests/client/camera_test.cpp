// SPDX-License-Identifier: Apache-2.0
// Cameras that a front end hands in: here simulated ones.
#include "client/Errors.h"
#include "client/camera/CameraInfo.h"
#include "client/camera/FrameGrabber.h"
#include "client/camera/LuminanceLoop.h"
#include "client/camera/UnitConverter.h"
#include "client/stages/Calibration.h"
#include "client/stages/LibraryHandle.h"

#include "sim/SimulatedDevice.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace vek::test {

namespace {

/// A camera of 64 x 48 pixels.
class CHandedIn : public client::ICamera {
public:
    CHandedIn() {
        const sim::SCameraModel& model = sim::findCameraModel("global-1m");
        sim::SSensorConfig sensor = sim::CSimulatedDriver::DefaultSensor(model);
        sensor.width = 64;
        sensor.height = 48;
        mDriver = std::make_shared<sim::CSimulatedDriver>(model, sensor);
        mFd = sim::openSimulatedCamera(mDriver);
    }
    ~CHandedIn() override { sim::closeSimulatedCamera(mFd); }
    CHandedIn(const CHandedIn&) = delete;
    CHandedIn& operator=(const CHandedIn&) = delete;

    int Fd() const override { return mFd; }
    const std::string& Name() const override { return mName; }
    sim::CSimulatedDriver& Driver() const { return *mDriver; }

private:
    std::string mName = "the camera";
    std::shared_ptr<sim::CSimulatedDriver> mDriver;
    int mFd = -1;
};

std::string complaintOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const client::CFailure& failure) {
        return failure.what();
    }
    return {};
}

} // namespace

TEST(ClientCamera, SettingsAndFramesOfACameraThatIsHandedIn) {
    const CHandedIn camera;
    client::setExposureAndGain(camera, 4000, std::nullopt);
    client::setExposureAndGain(camera, std::nullopt, 30);
    EXPECT_EQ(client::readExposure(camera), 4000);
    EXPECT_EQ(client::readGain(camera), 30);
    client::CFrameGrabber grabber(camera, *transferFormat(VEK_TRANSFER_RAW12));
    EXPECT_EQ(client::readCameraInfo(camera).transferFormat, unsigned{VEK_TRANSFER_RAW12});
    const auto bytes = grabber.Next();
    camera.Driver().SetFrameNumber(0);
    EXPECT_EQ(std::vector<std::uint8_t>(bytes.begin(), bytes.end()), camera.Driver().CaptureFrame());
}

TEST(ClientCamera, FailuresNameTheCamera) {
    const CHandedIn camera;
    client::CFrameGrabber grabber(camera, *transferFormat(VEK_TRANSFER_RAW8));
    camera.Driver().TruncateFrames(100);
    EXPECT_EQ(complaintOf([&] { grabber.Next(); }), "the camera: incomplete frame: 3072 bytes needed, 100 came");
    camera.Driver().FailReads(EIO);
    EXPECT_EQ(complaintOf([&] { grabber.Next(); }), "the camera: cannot read a frame: Input/output error");
    camera.Driver().Unplug();
    EXPECT_EQ(complaintOf([&] { client::readGain(camera); }),
              "the camera: not a trigger camera: no answer for the gain (control 0x00980913): No such device");
    EXPECT_EQ(complaintOf([&] { client::setExposureAndGain(camera, {}, 3); }),
              "the camera: cannot set control 0x00980913 to 3: No such device");
    EXPECT_EQ(complaintOf([] { client::CDeviceCamera("/dev/null"); }),
              "/dev/null: not a trigger camera: a device of another kind, not a Video4Linux2 device");
}

TEST(ClientCamera, LuminanceSettlesOnIt) {
    const CHandedIn camera;
    const client::CLibraryHandle handle(camera.Fd());
    client::CFrameGrabber grabber(camera, *transferFormat(VEK_TRANSFER_RAW8));
    client::CLuminanceLoop loop(handle.Get(), grabber, camera, {.target = 60}, {0, 0, 64, 48});
    std::vector<client::SLuminanceStep> steps;
    for (unsigned i = 0; i < 30; ++i) {
        steps.push_back(loop.Step());
        EXPECT_EQ(steps.back().frame, i);
    }
    const client::SSettling settling = client::settlingOf(steps, 60);
    EXPECT_TRUE(settling.frames);
    EXPECT_TRUE(settling.reached);
    EXPECT_NEAR(settling.level, 60, 10);
    EXPECT_FALSE(client::settlingOf({steps.begin(), steps.begin() + 1}, 60).frames);
}

TEST(ClientCamera, CalibrationTellsEachFrame) {
    const CHandedIn camera;
    camera.Driver().SetLensCap(true);
    client::CFrameGrabber grabber(camera, *transferFormat(VEK_TRANSFER_RAW8));
    unsigned told = 0;
    const client::SCalibration calibration = client::takenCalibration(camera, grabber, "dark", 3, [&told] { ++told; });
    EXPECT_EQ(told, 3U);
    EXPECT_EQ(calibration.frames, 3U);
    EXPECT_EQ(calibration.camera, "the camera");
    EXPECT_EQ(calibration.mean.samples.size(), 64U * 48U);
    const client::SCalibrationLevels levels = client::levelsOf(calibration);
    EXPECT_LE(levels.low, levels.mean);
    EXPECT_LE(levels.mean, levels.high);
    EXPECT_EQ(levels.saturated, 0U);
    EXPECT_FALSE(client::canBeCalibrated(*transferFormat(VEK_TRANSFER_RAW12_PACKED)));
}

TEST(ClientCamera, UnitsBothWays) {
    const CHandedIn camera;
    const client::CLibraryHandle handle(camera.Fd());
    const client::CUnitConverter convert(handle.Get());
    EXPECT_EQ(convert.Clocks(0.5F), 500000U); // microseconds
    EXPECT_EQ(convert.NearestGain(10.06F), 101);
    EXPECT_EQ(convert.NearestGain(-3), convert.MinGain());
    EXPECT_EQ(convert.NearestGain(99), convert.MaxGain());
    EXPECT_EQ(complaintOf([] { client::CUnitConverter(nullptr).Seconds(5); }), "the library refused a conversion: -22");
}

} // namespace vek::test
