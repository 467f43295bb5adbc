// SPDX-License-Identifier: Apache-2.0
#include "sim/SimulatedDevice.h"

#include <VekTrgApi.h>

#include <cerrno>
#include <cstdio>
#include <memory>

int main() {
    auto driver = std::make_shared<vek::sim::CSimulatedDriver>("global-1m");
    driver->SetTransferFormat(VEK_TRANSFER_RAW12);
    const int fd = vek::sim::openSimulatedCamera(driver); // ioctl(fd, ...) and read(fd, ...) reach the driver
    std::printf("frame: %zu bytes\n", driver->CaptureFrame().size());

    VekCam_Handle camera = VekCam_Open(fd);
    VekCam_SetALCMode(camera, VEK_ALC_EXPOSURE);
    unsigned long changed = 0;
    const int answered = VekCam_ALC(camera, 60, &changed); // a step towards 128
    std::printf("a dark frame: %d, exposure %.3f s\n", answered, driver->ExposureTime());
    driver->FailAll(EIO); // from now on
    std::printf("a camera that does not answer: %d\n", VekCam_ALC(camera, 60, &changed));
    VekCam_Close(camera);
    return vek::sim::closeSimulatedCamera(fd);
}
