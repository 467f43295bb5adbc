// SPDX-License-Identifier: Apache-2.0
// Entry of libvekcam-sim.so: opening the path in VEKCAM_SIM_DEVICE gives a simulated camera. ioctl and read are in
// Interpose.cpp. One camera serves all its descriptors and keeps its settings from open to open, as hardware does;
// closing needs no help, because a descriptor is recognised by its file and not by its number.
#include "sim/SimulatedDevice.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

// These names carry attributes in the C library's headers that differ between its versions: hide them here.
#undef open
#undef open64
#undef openat
#undef openat64

namespace {

using vek::sim::CScene;
using vek::sim::CSimulatedDriver;
using vek::sim::FindSimulatedCamera;
using vek::sim::SSensorConfig;

const char* Setting(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : nullptr;
}

bool IsCamera(const char* path) {
    const char* device = Setting("VEKCAM_SIM_DEVICE");
    return path != nullptr && std::strcmp(path, device != nullptr ? device : "/dev/vekcam-sim0") == 0;
}

/// Regions X,Y,WIDTH,HEIGHT with colons between.
std::vector<vek::sim::SRoi> ParsedRegions(const char* text) {
    std::vector<vek::sim::SRoi> regions;
    for (;; ++text) {
        vek::sim::SRectangle area;
        int length = 0;
        if (std::sscanf(text, "%u,%u,%u,%u%n", &area.x, &area.y, &area.width, &area.height, &length) != 4) {
            break;
        }
        regions.push_back({true, area});
        text += length;
        if (*text == '\0') {
            return regions;
        }
        if (*text != ':') {
            break;
        }
    }
    throw std::invalid_argument("VEKCAM_SIM_REGIONS is not X,Y,WIDTH,HEIGHT:X,Y,WIDTH,HEIGHT...");
}

std::shared_ptr<CSimulatedDriver> MakeDriver() {
    const char* model = Setting("VEKCAM_SIM_MODEL");
    const vek::sim::SCameraModel& description = vek::sim::FindCameraModel(model != nullptr ? model : "global-1m");
    SSensorConfig config = CSimulatedDriver::DefaultSensor(description);
    if (const char* size = Setting("VEKCAM_SIM_SIZE")) {
        if (std::sscanf(size, "%ux%u", &config.width, &config.height) != 2) {
            throw std::invalid_argument("VEKCAM_SIM_SIZE is not WIDTHxHEIGHT");
        }
    }
    if (const char* colorArray = Setting("VEKCAM_SIM_COLOR_ARRAY")) {
        config.colorArray = std::stoi(colorArray);
    }
    if (const char* seed = Setting("VEKCAM_SIM_SEED")) {
        config.seed = std::stoull(seed);
    }
    if (const char* light = Setting("VEKCAM_SIM_LIGHT")) {
        config.lightLevel = std::stof(light);
    }
    const char* scene = Setting("VEKCAM_SIM_SCENE");
    auto driver = scene != nullptr ? std::make_shared<CSimulatedDriver>(
                                         description, config, CScene::FromPng(scene, config.width, config.height))
                                   : std::make_shared<CSimulatedDriver>(description, config);
    if (const char* format = Setting("VEKCAM_SIM_FORMAT")) {
        driver->SetTransferFormat(std::stoul(format));
    }
    if (const char* regions = Setting("VEKCAM_SIM_REGIONS")) {
        driver->SetRois(ParsedRegions(regions));
    }
    return driver;
}

/// New descriptor of the process's camera, made on the first call. -1 with errno: ENODEV for impossible settings.
int OpenCamera(int flags) {
    static std::mutex mutex;
    static int camera = -1; // never handed out: keeps the camera's file
    const std::lock_guard<std::mutex> lock(mutex);
    if (camera < 0 || !FindSimulatedCamera(camera)) { // some programs close every number they can think of
        try {
            camera = vek::sim::OpenSimulatedCamera(MakeDriver());
        } catch (const std::exception& error) {
            std::fprintf(stderr, "vekcam-sim: %s\n", error.what());
            errno = ENODEV;
            return -1;
        }
        if (camera < 0) {
            return -1;
        }
    }
    return fcntl(camera, (flags & O_CLOEXEC) != 0 ? F_DUPFD_CLOEXEC : F_DUPFD, 0);
}

bool NeedsMode(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

int OpenAt(int directory, const char* path, int flags, mode_t mode) {
    return IsCamera(path) ? OpenCamera(flags) : static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
}

} // namespace

// The C library's own names, and a macro because va_start works in the variadic function itself only; clang 14's
// analyzer loses track of the list.
// NOLINTBEGIN(bugprone-reserved-identifier,bugprone-macro-parentheses,clang-analyzer-valist.Uninitialized)
#define VEK_INTERPOSE __attribute__((visibility("default")))
#define VEK_MODE_ARGUMENT(mode, flags)                                                                                 \
    mode_t mode = 0;                                                                                                   \
    if (NeedsMode(flags)) {                                                                                            \
        va_list arguments;                                                                                             \
        va_start(arguments, flags);                                                                                    \
        mode = va_arg(arguments, mode_t);                                                                              \
        va_end(arguments);                                                                                             \
    }

extern "C" {

VEK_INTERPOSE int open(const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return OpenAt(AT_FDCWD, path, flags, mode);
}

VEK_INTERPOSE int open64(const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return OpenAt(AT_FDCWD, path, flags | O_LARGEFILE, mode);
}

VEK_INTERPOSE int openat(int directory, const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return OpenAt(directory, path, flags, mode);
}

VEK_INTERPOSE int openat64(int directory, const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return OpenAt(directory, path, flags | O_LARGEFILE, mode);
}

// What fortified programs call instead; the compiler has checked that no mode is missing.
VEK_INTERPOSE int __open_2(const char* path, int flags) {
    return OpenAt(AT_FDCWD, path, flags, 0);
}

VEK_INTERPOSE int __open64_2(const char* path, int flags) {
    return OpenAt(AT_FDCWD, path, flags | O_LARGEFILE, 0);
}

VEK_INTERPOSE int __openat_2(int directory, const char* path, int flags) {
    return OpenAt(directory, path, flags, 0);
}

VEK_INTERPOSE int __openat64_2(int directory, const char* path, int flags) {
    return OpenAt(directory, path, flags | O_LARGEFILE, 0);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier,bugprone-macro-parentheses,clang-analyzer-valist.Uninitialized)
