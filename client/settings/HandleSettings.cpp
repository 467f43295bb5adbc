// SPDX-License-Identifier: Apache-2.0
#include "client/settings/HandleSettings.h"

#include "client/Errors.h"
#include "client/files/Descriptor.h"
#include "client/files/OutputFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

namespace vek::client {

namespace {

using u8 = unsigned char;
using u16 = unsigned short;

/// Calls of a group, on the group's own values. Both are true when the library accepts.
struct SCalls {
    std::size_t count;
    bool (*get)(VekCam_Handle handle, long* values);
    bool (*set)(VekCam_Handle handle, const long* values);
};

/// A single value.
template <class T, int (*Get)(VekCam_Handle, T*), auto Set>
constexpr SCalls single() {
    return {1,
            [](VekCam_Handle handle, long* values) {
                T value = 0;
                const int status = Get(handle, &value);
                *values = static_cast<long>(value);
                return status >= 0;
            },
            [](VekCam_Handle handle, const long* values) { return Set(handle, static_cast<T>(*values)) >= 0; }};
}

/// Two values of 16 bits.
template <int (*Get)(VekCam_Handle, u16*, u16*), int (*Set)(VekCam_Handle, u16, u16)>
constexpr SCalls pair() {
    return {2,
            [](VekCam_Handle handle, long* values) {
                u16 first = 0;
                u16 second = 0;
                const int status = Get(handle, &first, &second);
                values[0] = first;
                values[1] = second;
                return status >= 0;
            },
            [](VekCam_Handle handle, const long* values) {
                return Set(handle, static_cast<u16>(values[0]), static_cast<u16>(values[1])) >= 0;
            }};
}

bool getBalanceGains(VekCam_Handle handle, long* values) {
    u16 gains[4] = {};
    const int status = VekCam_GetWhiteBalanceGain(handle, &gains[0], &gains[1], &gains[2], &gains[3]);
    std::copy(std::begin(gains), std::end(gains), values);
    return status >= 0;
}

bool setBalanceGains(VekCam_Handle handle, const long* values) {
    return VekCam_SetWhiteBalanceGain(handle, static_cast<u16>(values[0]), static_cast<u16>(values[1]),
                                      static_cast<u16>(values[2]), static_cast<u16>(values[3])) >= 0;
}

template <u8 Channel>
bool getCurve(VekCam_Handle handle, long* values) {
    u8 mode = 0;
    u16 gamma = 0;
    short brightness = 0;
    u16 contrast = 0;
    u16 bits = 12; // the contrast as a word
    const int status = VekCam_GetGammaMode(handle, Channel, &mode, &gamma, &brightness, &contrast, nullptr, &bits);
    values[0] = mode;
    values[1] = gamma;
    values[2] = brightness;
    values[3] = contrast;
    return status >= 0;
}

template <u8 Channel>
bool setCurve(VekCam_Handle handle, const long* values) {
    std::array<u16, 4096> table{};
    u16 depth = 0;
    u16 entries = 0;
    if (VekCam_GetGammaMode(handle, Channel, nullptr, nullptr, nullptr, nullptr, nullptr, &depth) < 0) {
        return false;
    }
    entries = depth; // the table as it was set: bytes or words
    return VekCam_GetGammaMode(handle, Channel, nullptr, nullptr, nullptr, nullptr, table.data(), &entries) >= 0 &&
           VekCam_SetGammaMode(handle, Channel, static_cast<u8>(values[0]), static_cast<u16>(values[1]),
                               static_cast<short>(values[2]), static_cast<u16>(values[3]), table.data(), depth) >= 0;
}

template <u8 Channel>
constexpr SCalls curve() {
    return {4, getCurve<Channel>, setCurve<Channel>};
}

bool getHueSaturation(VekCam_Handle handle, long* values) {
    u8 mode = 0;
    short hue = 0;
    u16 saturation = 0;
    const int status = VekCam_GetHueSaturationMode(handle, &mode, &hue, &saturation);
    values[0] = mode;
    values[1] = hue;
    values[2] = saturation;
    return status >= 0;
}

bool setHueSaturation(VekCam_Handle handle, const long* values) {
    return VekCam_SetHueSaturationMode(handle, static_cast<u8>(values[0]), static_cast<short>(values[1]),
                                       static_cast<u16>(values[2])) >= 0;
}

bool getSharpness(VekCam_Handle handle, long* values) {
    u8 mode = 0;
    u16 gain = 0;
    u8 coring = 0;
    const int status = VekCam_GetSharpnessMode(handle, &mode, &gain, &coring);
    values[0] = mode;
    values[1] = gain;
    values[2] = coring;
    return status >= 0;
}

bool setSharpness(VekCam_Handle handle, const long* values) {
    return VekCam_SetSharpnessMode(handle, static_cast<u8>(values[0]), static_cast<u16>(values[1]),
                                   static_cast<u8>(values[2])) >= 0;
}

/// In the order of the file.
constexpr SCalls kCalls[] = {
    single<u8, VekCam_GetALCMode, VekCam_SetALCMode>(),
    single<u16, VekCam_GetALCTargetLevel, VekCam_SetALCTargetLevel>(),
    single<u16, VekCam_GetAGCMaxGain, VekCam_SetAGCMaxGain>(),
    single<u16, VekCam_GetAGCMinGain, VekCam_SetAGCMinGain>(),
    single<unsigned long, VekCam_GetAEMaxExposureClock, VekCam_SetAEMaxExposureClock>(),
    single<unsigned long, VekCam_GetAEMinExposureClock, VekCam_SetAEMinExposureClock>(),
    single<unsigned long, VekCam_GetShadingCorrectionMode, VekCam_SetShadingCorrectionMode>(),
    single<u16, VekCam_GetShadingCorrectionTarget, VekCam_SetShadingCorrectionTarget>(),
    single<u8, VekCam_GetWhiteBalanceMode, VekCam_SetWhiteBalanceMode>(),
    {4, getBalanceGains, setBalanceGains},
    curve<VEK_GAMMA_Y>(),
    curve<VEK_GAMMA_R>(),
    curve<VEK_GAMMA_GR>(),
    curve<VEK_GAMMA_GB>(),
    curve<VEK_GAMMA_B>(),
    {3, getHueSaturation, setHueSaturation},
    pair<VekCam_GetHighChromaSuppression, VekCam_SetHighChromaSuppression>(),
    pair<VekCam_GetLowChromaSuppression, VekCam_SetLowChromaSuppression>(),
    {3, getSharpness, setSharpness},
};
constexpr std::size_t kGroupCount = std::size(kCalls);

/// Keys that one call of the library sets together: count of them from first on.
struct SGroup : SCalls {
    std::size_t first = 0;
};

constexpr std::array<SGroup, kGroupCount> kGroups = [] {
    std::array<SGroup, kGroupCount> groups{};
    std::size_t first = 0;
    for (std::size_t i = 0; i < kGroupCount; ++i) {
        groups[i] = {kCalls[i], first};
        first += kCalls[i].count;
    }
    return groups;
}();
static_assert(kGroups.back().first + kGroups.back().count == kSettingCount);

/// Throws CFailure for what is there and no regular file: the library would wait for a pipe's other end.
void requireFile(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw CFailure(fmt::format("{}: is no regular file", path));
    }
}

/// Throws CFailure when a file cannot be opened as the library opens it to read.
void requireOpen(const std::string& path) {
    const CDescriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!file.IsOpen()) {
        throw CFailure(fmt::format("{}: cannot open for reading and writing: {}", path, systemMessage(errno)));
    }
}

/// What the library writes, into memory. name: of the setting file, for messages.
std::string writtenSettings(VekCam_Handle handle, const std::string& name) {
    const CDescriptor memory(memfd_create("vekcam-settings", MFD_CLOEXEC));
    const std::string path = fmt::format("/proc/self/fd/{}", memory.Get());
    if (!memory.IsOpen() || access(path.c_str(), R_OK | W_OK) != 0) {
        throw CFailure(fmt::format("{}: cannot write: no file in memory: {}", name, systemMessage(errno)));
    }
    // A limit of the process, or of memory.
    if (VekCam_WriteSettingFile(handle, path.c_str()) < 0) {
        throw CFailure(fmt::format("{}: cannot write all of it", name));
    }
    return readText(path);
}

} // namespace

SettingValues handleSettings(VekCam_Handle handle) {
    SettingValues values{};
    for (const SGroup& group : kGroups) {
        if (!group.get(handle, values.data() + group.first)) {
            throw CFailure(fmt::format("the library does not tell {}", allSettings()[group.first].name));
        }
    }
    return values;
}

std::optional<SRefusedChange> applyChanges(VekCam_Handle handle, std::span<const SSettingChange> changes) {
    SettingValues wanted = handleSettings(handle);
    std::array<bool, kSettingCount> asked{};
    for (const SSettingChange& change : changes) {
        wanted[change.key] = change.value;
        asked[change.key] = true;
    }
    for (const SGroup& group : kGroups) {
        const auto first = asked.begin() + group.first;
        const auto last = first + group.count;
        const auto change = std::find(first, last, true);
        if (change != last && !group.set(handle, wanted.data() + group.first)) {
            return SRefusedChange{static_cast<std::size_t>(change - asked.begin()), std::nullopt};
        }
    }
    const SettingValues kept = handleSettings(handle);
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        if (asked[i] && kept[i] != wanted[i]) {
            return SRefusedChange{i, kept[i]};
        }
    }
    return std::nullopt;
}

std::optional<std::size_t> SVerdict::StopsAt() const {
    const auto found = std::ranges::find(refused, true);
    return found != refused.end() ? std::optional(static_cast<std::size_t>(found - refused.begin())) : std::nullopt;
}

SVerdict verdictOn(VekCam_Handle handle, const SSettingText& text) {
    SettingValues values = handleSettings(handle);
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        values[i] = text.settings[i] ? text.settings[i]->value : values[i];
    }
    SVerdict verdict;
    for (const SGroup& group : kGroups) {
        const bool accepted = group.set(handle, values.data() + group.first);
        std::fill_n(verdict.refused.begin() + group.first, group.count, !accepted);
    }
    verdict.kept = handleSettings(handle);
    return verdict;
}

bool readSettingFile(VekCam_Handle handle, const std::string& path) {
    requireFile(path);
    requireOpen(path);
    readSettingText(path);
    return VekCam_ReadSettingFile(handle, path.c_str()) >= 0;
}

void writeSettingFile(VekCam_Handle handle, const std::string& path) {
    if (!isStandardOutput(path)) {
        requireFile(path);
    }
    writeText(path, writtenSettings(handle, path));
}

} // namespace vek::client
