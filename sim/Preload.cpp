// SPDX-License-Identifier: Apache-2.0
// Entry of libvekcam-sim.so: opening the path in VEKCAM_SIM_DEVICE gives a simulated camera. ioctl and read are in
// Interpose.cpp. One camera serves all its descriptors and keeps its settings from open to open, as hardware does;
// closing needs no help, because a descriptor is recognised by its file and not by its number.
#include "sim/SimulatedDevice.h"
#include "sim/ValueText.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// These names carry attributes in the C library's headers that differ between its versions: hide them here.
#undef open
#undef open64
#undef openat
#undef openat64

namespace {

using vek::sim::CScene;
using vek::sim::CSimulatedDriver;
using vek::sim::findSimulatedCamera;
using vek::sim::kMaxLightLevel;
using vek::sim::kMaxSensorSide;
using vek::sim::kMinSensorSide;
using vek::sim::SSensorConfig;

const char* settingOf(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : nullptr;
}

bool isCamera(const char* path) {
    const char* device = settingOf("VEKCAM_SIM_DEVICE");
    return path != nullptr && std::strcmp(path, device != nullptr ? device : "/dev/vekcam-sim0") == 0;
}

/// What a setting says; nothing when it is not made. parse: of its text. A complaint gets the variable's name.
template <class Parse>
auto parsed(const char* name, Parse parse) -> std::optional<decltype(parse(std::string_view()))> {
    const char* const value = settingOf(name);
    if (value == nullptr) {
        return std::nullopt;
    }
    try {
        return parse(std::string_view(value));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        throw std::invalid_argument(std::string(name) + ": " + error.what());
    }
}

[[noreturn]] void refuse(const std::string& complaint) {
    throw std::invalid_argument(complaint);
}

/// A name of a table whose codes start at first, or its number.
unsigned parsedCode(std::string_view text, std::span<const std::string_view> names, unsigned first) {
    const auto last = static_cast<unsigned>(first + names.size() - 1);
    const std::optional<unsigned> number = vek::sim::readCode(text);
    std::string list;
    for (unsigned code = first; code <= last; ++code) {
        const std::string_view name = names[code - first];
        if (number == code || vek::sim::isName(text, name)) {
            return code;
        }
        list += (list.empty() ? "" : ", ") + std::string(name);
    }
    refuse(vek::sim::codeComplaint(text, list, first, last));
}

const vek::sim::SCameraModel& parsedModel(std::string_view text) {
    std::string list;
    for (const vek::sim::SCameraModel& model : vek::sim::cameraModels()) {
        if (model.name == text) {
            return model;
        }
        list += (list.empty() ? "" : ", ") + std::string(model.name);
    }
    refuse('"' + std::string(text) + "\" is none of: " + list);
}

/// As many whole numbers as values has, with marks between; false for another text.
bool readList(std::string_view text, char mark, unsigned low, unsigned high, std::span<unsigned> values) {
    const std::vector<std::string_view> parts = vek::sim::splitText(text, mark);
    bool read = parts.size() == values.size();
    for (std::size_t i = 0; read && i < values.size(); ++i) {
        const std::optional<unsigned> value = vek::sim::readWhole<unsigned>(parts[i], low, high);
        values[i] = value.value_or(0);
        read = value.has_value();
    }
    return read;
}

std::array<unsigned, 2> parsedSize(std::string_view text) {
    std::array<unsigned, 2> size{};
    if (!readList(text, 'x', kMinSensorSide, kMaxSensorSide, size)) {
        refuse('"' + std::string(text) + "\": WIDTHxHEIGHT is needed, whole numbers of " +
               std::to_string(kMinSensorSide) + " to " + std::to_string(kMaxSensorSide));
    }
    return size;
}

/// Regions X,Y,WIDTH,HEIGHT with colons between.
std::vector<vek::sim::SRoi> parsedRegions(std::string_view text) {
    std::vector<vek::sim::SRoi> regions;
    for (const std::string_view part : vek::sim::splitText(text, ':')) {
        std::array<unsigned, 4> area{};
        if (!readList(part, ',', 0, kMaxSensorSide, area)) {
            refuse('"' + std::string(part) +
                   "\": X,Y,WIDTH,HEIGHT:X,Y,WIDTH,HEIGHT... is needed, whole numbers of 0 to " +
                   std::to_string(kMaxSensorSide));
        }
        regions.push_back({true, {area[0], area[1], area[2], area[3]}});
    }
    return regions;
}

std::uint64_t parsedSeed(std::string_view text) {
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
    const std::optional<std::uint64_t> seed = vek::sim::readWhole<std::uint64_t>(text, 0, kLargest);
    if (!seed) {
        refuse(vek::sim::wholeComplaint(text, "0", std::to_string(kLargest)));
    }
    return *seed;
}

float parsedLight(std::string_view text) {
    const std::optional<double> light = vek::sim::readNumber(text, 0, kMaxLightLevel);
    if (!light) {
        refuse(vek::sim::numberComplaint(text, 0, kMaxLightLevel));
    }
    return static_cast<float>(*light);
}

std::shared_ptr<CSimulatedDriver> makeDriver() {
    const auto named = [](std::string_view text) { return &parsedModel(text); };
    const vek::sim::SCameraModel& model =
        *parsed("VEKCAM_SIM_MODEL", named).value_or(&vek::sim::findCameraModel("global-1m"));
    SSensorConfig config = CSimulatedDriver::DefaultSensor(model);
    if (const auto size = parsed("VEKCAM_SIM_SIZE", parsedSize)) {
        config.width = (*size)[0];
        config.height = (*size)[1];
    }
    const auto colorArray = [](std::string_view text) { return parsedCode(text, vek::sim::kColorArrayNames, 1); };
    if (const auto code = parsed("VEKCAM_SIM_COLOR_ARRAY", colorArray)) {
        config.colorArray = static_cast<int>(*code);
    }
    config.seed = parsed("VEKCAM_SIM_SEED", parsedSeed).value_or(config.seed);
    config.lightLevel = parsed("VEKCAM_SIM_LIGHT", parsedLight).value_or(config.lightLevel);
    const auto scene = parsed("VEKCAM_SIM_SCENE", [&](std::string_view path) {
        try {
            return CScene::FromPng(std::string(path), config.width, config.height);
        } catch (const std::runtime_error& error) {
            refuse(std::string(error.what()) + "; a PNG file is needed");
        }
    });
    auto driver = scene ? std::make_shared<CSimulatedDriver>(model, config, *scene)
                        : std::make_shared<CSimulatedDriver>(model, config);
    const auto format = [](std::string_view text) { return parsedCode(text, vek::sim::kTransferFormatNames, 0); };
    if (const auto code = parsed("VEKCAM_SIM_FORMAT", format)) {
        driver->SetTransferFormat(*code);
    }
    parsed("VEKCAM_SIM_REGIONS", [&](std::string_view text) {
        const std::vector<vek::sim::SRoi> regions = parsedRegions(text);
        try {
            driver->SetRois(regions);
        } catch (const std::invalid_argument& error) {
            refuse(std::string(error.what()) + ": the camera has " + std::to_string(config.width) + " x " +
                   std::to_string(config.height) + " pixels; regions: " + std::to_string(model.maxRoiCount) +
                   " at most");
        }
        return true;
    });
    return driver;
}

/// A line on standard error, whatever the environment holds.
void tell(std::string message) {
    std::replace_if(
        message.begin(), message.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, '?');
    std::fprintf(stderr, "vekcam-sim: %s\n", message.c_str());
}

/// New descriptor of the process's camera, made on the first call. -1 with errno: ENODEV for impossible settings.
int openCamera(int flags) {
    static std::mutex mutex;
    static int camera = -1; // never handed out: keeps the camera's file
    const std::lock_guard<std::mutex> lock(mutex);
    if (camera < 0 || !findSimulatedCamera(camera)) { // some programs close every number they can think of
        try {
            camera = vek::sim::openSimulatedCamera(makeDriver());
        } catch (const std::bad_alloc&) {
            tell("not enough memory for a camera of this size");
            errno = ENODEV;
            return -1;
        } catch (const std::exception& error) {
            tell(error.what());
            errno = ENODEV;
            return -1;
        }
        if (camera < 0) {
            return -1;
        }
    }
    return fcntl(camera, (flags & O_CLOEXEC) != 0 ? F_DUPFD_CLOEXEC : F_DUPFD, 0);
}

bool needsMode(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

int openAt(int directory, const char* path, int flags, mode_t mode) {
    return isCamera(path) ? openCamera(flags) : static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
}

} // namespace

// The C library's own names, and a macro because va_start works in the variadic function itself only; clang 14's
// analyzer loses track of the list.
// NOLINTBEGIN(bugprone-reserved-identifier,bugprone-macro-parentheses,clang-analyzer-valist.Uninitialized)
#define VEK_INTERPOSE __attribute__((visibility("default")))
#define VEK_MODE_ARGUMENT(mode, flags)                                                                                 \
    mode_t mode = 0;                                                                                                   \
    if (needsMode(flags)) {                                                                                            \
        va_list arguments;                                                                                             \
        va_start(arguments, flags);                                                                                    \
        mode = va_arg(arguments, mode_t);                                                                              \
        va_end(arguments);                                                                                             \
    }

extern "C" {

VEK_INTERPOSE int open(const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return openAt(AT_FDCWD, path, flags, mode);
}

VEK_INTERPOSE int open64(const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return openAt(AT_FDCWD, path, flags | O_LARGEFILE, mode);
}

VEK_INTERPOSE int openat(int directory, const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return openAt(directory, path, flags, mode);
}

VEK_INTERPOSE int openat64(int directory, const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return openAt(directory, path, flags | O_LARGEFILE, mode);
}

// What fortified programs call instead; the compiler has checked that no mode is missing.
VEK_INTERPOSE int __open_2(const char* path, int flags) {
    return openAt(AT_FDCWD, path, flags, 0);
}

VEK_INTERPOSE int __open64_2(const char* path, int flags) {
    return openAt(AT_FDCWD, path, flags | O_LARGEFILE, 0);
}

VEK_INTERPOSE int __openat_2(int directory, const char* path, int flags) {
    return openAt(directory, path, flags, 0);
}

VEK_INTERPOSE int __openat64_2(int directory, const char* path, int flags) {
    return openAt(directory, path, flags | O_LARGEFILE, 0);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier,bugprone-macro-parentheses,clang-analyzer-valist.Uninitialized)
