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
using vek::sim::FindSimulatedCamera;
using vek::sim::kMaxLightLevel;
using vek::sim::kMaxSensorSide;
using vek::sim::kMinSensorSide;
using vek::sim::SSensorConfig;

const char* Setting(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : nullptr;
}

bool IsCamera(const char* path) {
    const char* device = Setting("VEKCAM_SIM_DEVICE");
    return path != nullptr && std::strcmp(path, device != nullptr ? device : "/dev/vekcam-sim0") == 0;
}

/// What a setting says; nothing when it is not made. parse: of its text. A complaint gets the variable's name.
template <class Parse>
auto Parsed(const char* name, Parse parse) -> std::optional<decltype(parse(std::string_view()))> {
    const char* const value = Setting(name);
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

[[noreturn]] void Refuse(const std::string& complaint) {
    throw std::invalid_argument(complaint);
}

/// A name of a table whose codes start at first, or its number.
unsigned ParsedCode(std::string_view text, std::span<const std::string_view> names, unsigned first) {
    const auto last = static_cast<unsigned>(first + names.size() - 1);
    const std::optional<unsigned> number = vek::sim::ReadCode(text);
    std::string list;
    for (unsigned code = first; code <= last; ++code) {
        const std::string_view name = names[code - first];
        if (number == code || vek::sim::IsName(text, name)) {
            return code;
        }
        list += (list.empty() ? "" : ", ") + std::string(name);
    }
    Refuse(vek::sim::CodeComplaint(text, list, first, last));
}

const vek::sim::SCameraModel& ParsedModel(std::string_view text) {
    std::string list;
    for (const vek::sim::SCameraModel& model : vek::sim::CameraModels()) {
        if (model.name == text) {
            return model;
        }
        list += (list.empty() ? "" : ", ") + std::string(model.name);
    }
    Refuse('"' + std::string(text) + "\" is none of: " + list);
}

/// As many whole numbers as values has, with marks between; false for another text.
bool ReadList(std::string_view text, char mark, unsigned low, unsigned high, std::span<unsigned> values) {
    const std::vector<std::string_view> parts = vek::sim::SplitText(text, mark);
    bool read = parts.size() == values.size();
    for (std::size_t i = 0; read && i < values.size(); ++i) {
        const std::optional<unsigned> value = vek::sim::ReadWhole<unsigned>(parts[i], low, high);
        values[i] = value.value_or(0);
        read = value.has_value();
    }
    return read;
}

std::array<unsigned, 2> ParsedSize(std::string_view text) {
    std::array<unsigned, 2> size{};
    if (!ReadList(text, 'x', kMinSensorSide, kMaxSensorSide, size)) {
        Refuse('"' + std::string(text) + "\": WIDTHxHEIGHT is needed, whole numbers of " +
               std::to_string(kMinSensorSide) + " to " + std::to_string(kMaxSensorSide));
    }
    return size;
}

/// Regions X,Y,WIDTH,HEIGHT with colons between.
std::vector<vek::sim::SRoi> ParsedRegions(std::string_view text) {
    std::vector<vek::sim::SRoi> regions;
    for (const std::string_view part : vek::sim::SplitText(text, ':')) {
        std::array<unsigned, 4> area{};
        if (!ReadList(part, ',', 0, kMaxSensorSide, area)) {
            Refuse('"' + std::string(part) +
                   "\": X,Y,WIDTH,HEIGHT:X,Y,WIDTH,HEIGHT... is needed, whole numbers of 0 to " +
                   std::to_string(kMaxSensorSide));
        }
        regions.push_back({true, {area[0], area[1], area[2], area[3]}});
    }
    return regions;
}

std::uint64_t ParsedSeed(std::string_view text) {
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
    const std::optional<std::uint64_t> seed = vek::sim::ReadWhole<std::uint64_t>(text, 0, kLargest);
    if (!seed) {
        Refuse(vek::sim::WholeComplaint(text, "0", std::to_string(kLargest)));
    }
    return *seed;
}

float ParsedLight(std::string_view text) {
    const std::optional<double> light = vek::sim::ReadNumber(text, 0, kMaxLightLevel);
    if (!light) {
        Refuse(vek::sim::NumberComplaint(text, 0, kMaxLightLevel));
    }
    return static_cast<float>(*light);
}

std::shared_ptr<CSimulatedDriver> MakeDriver() {
    const auto named = [](std::string_view text) { return &ParsedModel(text); };
    const vek::sim::SCameraModel& model =
        *Parsed("VEKCAM_SIM_MODEL", named).value_or(&vek::sim::FindCameraModel("global-1m"));
    SSensorConfig config = CSimulatedDriver::DefaultSensor(model);
    if (const auto size = Parsed("VEKCAM_SIM_SIZE", ParsedSize)) {
        config.width = (*size)[0];
        config.height = (*size)[1];
    }
    const auto colorArray = [](std::string_view text) { return ParsedCode(text, vek::sim::kColorArrayNames, 1); };
    if (const auto code = Parsed("VEKCAM_SIM_COLOR_ARRAY", colorArray)) {
        config.colorArray = static_cast<int>(*code);
    }
    config.seed = Parsed("VEKCAM_SIM_SEED", ParsedSeed).value_or(config.seed);
    config.lightLevel = Parsed("VEKCAM_SIM_LIGHT", ParsedLight).value_or(config.lightLevel);
    const auto scene = Parsed("VEKCAM_SIM_SCENE", [&](std::string_view path) {
        try {
            return CScene::FromPng(std::string(path), config.width, config.height);
        } catch (const std::runtime_error& error) {
            Refuse(std::string(error.what()) + "; a PNG file is needed");
        }
    });
    auto driver = scene ? std::make_shared<CSimulatedDriver>(model, config, *scene)
                        : std::make_shared<CSimulatedDriver>(model, config);
    const auto format = [](std::string_view text) { return ParsedCode(text, vek::sim::kTransferFormatNames, 0); };
    if (const auto code = Parsed("VEKCAM_SIM_FORMAT", format)) {
        driver->SetTransferFormat(*code);
    }
    Parsed("VEKCAM_SIM_REGIONS", [&](std::string_view text) {
        const std::vector<vek::sim::SRoi> regions = ParsedRegions(text);
        try {
            driver->SetRois(regions);
        } catch (const std::invalid_argument& error) {
            Refuse(std::string(error.what()) + ": the camera has " + std::to_string(config.width) + " x " +
                   std::to_string(config.height) + " pixels; regions: " + std::to_string(model.maxRoiCount) +
                   " at most");
        }
        return true;
    });
    return driver;
}

/// A line on standard error, whatever the environment holds.
void Tell(std::string message) {
    std::replace_if(
        message.begin(), message.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, '?');
    std::fprintf(stderr, "vekcam-sim: %s\n", message.c_str());
}

/// New descriptor of the process's camera, made on the first call. -1 with errno: ENODEV for impossible settings.
int OpenCamera(int flags) {
    static std::mutex mutex;
    static int camera = -1; // never handed out: keeps the camera's file
    const std::lock_guard<std::mutex> lock(mutex);
    if (camera < 0 || !FindSimulatedCamera(camera)) { // some programs close every number they can think of
        try {
            camera = vek::sim::OpenSimulatedCamera(MakeDriver());
        } catch (const std::bad_alloc&) {
            Tell("not enough memory for a camera of this size");
            errno = ENODEV;
            return -1;
        } catch (const std::exception& error) {
            Tell(error.what());
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
