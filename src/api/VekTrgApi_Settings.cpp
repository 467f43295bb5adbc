// SPDX-License-Identifier: Apache-2.0
// Exports that keep a handle's settings in a text file: a key, a blank and a decimal number a line.
#include "VekTrgApi.h"

#include "api/Export.h"
#include "common/Status.h"
#include "imageproc/IChromaSuppress.h"
#include "imageproc/IColorMatrix.h"
#include "imageproc/IGamma.h"
#include "imageproc/IShadingCorrection.h"
#include "imageproc/ISharpness.h"
#include "imageproc/IWB.h"
#include "settings/Keys.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using u8 = unsigned char;
using u16 = unsigned short;
using vek::miStatus;

using vek::kSettingCount;
using vek::kSettingKeys;
using Values = std::array<long, kSettingCount>; ///< by key

// ---- groups: keys that one call sets and one call gets ----

/// values: the group's own ones. Negative results end the writing or the reading.
struct SGroup {
    std::size_t keys;
    int (*get)(CVekTrgCamera& camera, long* values);
    int (*set)(CVekTrgCamera& camera, const long* values);
};

/// A camera setting; its operations cannot fail.
template <class T, bool (CVekTrgCamera::*Get)(T*) const, bool (CVekTrgCamera::*Set)(T)>
constexpr SGroup cameraGroup() {
    return {1,
            [](CVekTrgCamera& camera, long* values) {
                T value = 0;
                (camera.*Get)(&value);
                *values = static_cast<long>(value);
                return 0;
            },
            [](CVekTrgCamera& camera, const long* values) {
                (camera.*Set)(static_cast<T>(*values));
                return 0;
            }};
}

/// A single value of a module.
template <class Module, Module& (CVekTrgCamera::*Of)() const, class T, unsigned long (Module::*Get)(T*),
          unsigned long (Module::*Set)(T)>
constexpr SGroup moduleGroup() {
    return {1,
            [](CVekTrgCamera& camera, long* values) {
                T value = 0;
                const int status = miStatus(((camera.*Of)().*Get)(&value));
                *values = static_cast<long>(value);
                return status;
            },
            [](CVekTrgCamera& camera, const long* values) {
                return miStatus(((camera.*Of)().*Set)(static_cast<T>(*values)));
            }};
}

constexpr SGroup whiteBalanceGains() {
    return {4,
            [](CVekTrgCamera& camera, long* values) {
                u16 gains[4] = {};
                const int status = miStatus(camera.WB().GetWBGain(gains));
                std::copy(std::begin(gains), std::end(gains), values);
                return status;
            },
            [](CVekTrgCamera& camera, const long* values) {
                u16 gains[4] = {};
                std::transform(values, values + 4, gains, [](long value) { return static_cast<u16>(value); });
                return miStatus(camera.WB().SetWBGain(gains));
            }};
}

/// A channel of the tone curves, with what the file does not hold: the depth and the table.
struct SToneCurve {
    u8 mode = 0;
    u16 gamma = 0;
    short brightness = 0;
    u16 contrast = 0;
    u16 bits = 0;
    std::array<u16, 4096> table{};

    int Get(vek::IGamma& module, u8 channel) {
        bits = 12; // contrast at its full width
        return miStatus(module.GetMode(channel, &mode, &gamma, &brightness, &contrast, nullptr, &bits));
    }
    /// The table as SetMode takes it at the channel's depth.
    int GetTable(vek::IGamma& module, u8 channel) {
        u16 depth = bits;
        return miStatus(module.GetMode(channel, nullptr, nullptr, nullptr, nullptr, table.data(), &depth));
    }
};

template <u8 Channel>
constexpr SGroup toneCurve() {
    return {4,
            [](CVekTrgCamera& camera, long* values) {
                SToneCurve curve;
                const int status = curve.Get(camera.Gamma(), Channel);
                values[0] = curve.mode;
                values[1] = curve.gamma;
                values[2] = curve.brightness;
                values[3] = curve.contrast;
                return status;
            },
            [](CVekTrgCamera& camera, const long* values) {
                SToneCurve curve;
                int status = curve.Get(camera.Gamma(), Channel);
                if (status >= 0) {
                    status = curve.GetTable(camera.Gamma(), Channel);
                }
                if (status < 0) {
                    return status;
                }
                return miStatus(camera.Gamma().SetMode(Channel, static_cast<u8>(values[0]), static_cast<u16>(values[1]),
                                                       static_cast<short>(values[2]), static_cast<u16>(values[3]),
                                                       curve.table.data(), curve.bits));
            }};
}

constexpr SGroup hueAndSaturation() {
    return {3,
            [](CVekTrgCamera& camera, long* values) {
                u8 mode = 0;
                short hue = 0;
                u16 saturation = 0;
                const int status = miStatus(camera.ColorMatrix().GetHueSaturation(&mode, &hue, &saturation));
                values[0] = mode;
                values[1] = hue;
                values[2] = saturation;
                return status;
            },
            [](CVekTrgCamera& camera, const long* values) {
                return miStatus(camera.ColorMatrix().SetHueSaturation(
                    static_cast<u8>(values[0]), static_cast<short>(values[1]), static_cast<u16>(values[2])));
            }};
}

/// The coring travels in 8 bits: a larger one comes back as its low byte.
constexpr SGroup sharpness() {
    return {3,
            [](CVekTrgCamera& camera, long* values) {
                u8 mode = 0;
                u16 gain = 0;
                u16 coring = 0;
                const int status = miStatus(camera.Sharpness().GetMode(&mode, &gain, &coring));
                values[0] = mode;
                values[1] = gain;
                values[2] = static_cast<u8>(coring);
                return status;
            },
            [](CVekTrgCamera& camera, const long* values) {
                return miStatus(camera.Sharpness().SetMode(static_cast<u8>(values[0]), static_cast<u16>(values[1]),
                                                           static_cast<u8>(values[2])));
            }};
}

template <unsigned long (vek::IChromaSuppress::*Get)(u16*), unsigned long (vek::IChromaSuppress::*Set)(u16)>
constexpr SGroup suppression() {
    return moduleGroup<vek::IChromaSuppress, &CVekTrgCamera::ChromaSuppress, u16, Get, Set>();
}

using Camera = CVekTrgCamera;
using Chroma = vek::IChromaSuppress;
using Shading = vek::IShadingCorrection;

/// In the order in which settings are written and applied.
constexpr SGroup kGroups[] = {
    cameraGroup<u8, &Camera::GetALCMode, &Camera::SetALCMode>(),
    cameraGroup<u16, &Camera::GetALCTargetLevel, &Camera::SetALCTargetLevel>(),
    cameraGroup<u16, &Camera::GetAGCMaxGain, &Camera::SetAGCMaxGain>(),
    cameraGroup<u16, &Camera::GetAGCMinGain, &Camera::SetAGCMinGain>(),
    cameraGroup<unsigned long, &Camera::GetAEMaxExposureClock, &Camera::SetAEMaxExposureClock>(),
    cameraGroup<unsigned long, &Camera::GetAEMinExposureClock, &Camera::SetAEMinExposureClock>(),
    moduleGroup<Shading, &Camera::ShadingCorrection, unsigned long, &Shading::GetMode, &Shading::SetMode>(),
    moduleGroup<Shading, &Camera::ShadingCorrection, u16, &Shading::GetTargetAll, &Shading::SetTargetAll>(),
    moduleGroup<vek::IWB, &Camera::WB, u8, &vek::IWB::GetWBMode, &vek::IWB::SetWBMode>(),
    whiteBalanceGains(),
    toneCurve<VEK_GAMMA_Y>(),
    toneCurve<VEK_GAMMA_R>(),
    toneCurve<VEK_GAMMA_GR>(),
    toneCurve<VEK_GAMMA_GB>(),
    toneCurve<VEK_GAMMA_B>(),
    hueAndSaturation(),
    suppression<&Chroma::GetHighStartLevel, &Chroma::SetHighStartLevel>(),
    suppression<&Chroma::GetHighSlope, &Chroma::SetHighSlope>(),
    suppression<&Chroma::GetLowStartLevel, &Chroma::SetLowStartLevel>(),
    suppression<&Chroma::GetLowSlope, &Chroma::SetLowSlope>(),
    sharpness(),
};

constexpr std::size_t groupedKeys() {
    std::size_t keys = 0;
    for (const SGroup& group : kGroups) {
        keys += group.keys;
    }
    return keys;
}
static_assert(groupedKeys() == kSettingCount);

/// Calls step(group, index of its first key) in order, up to the first negative result; the last result.
template <class Step>
int miForGroups(Step step) {
    int status = 0;
    std::size_t key = 0;
    for (const SGroup& group : kGroups) {
        status = step(group, key);
        if (status < 0) {
            break;
        }
        key += group.keys;
    }
    return status;
}

// ---- the file ----

struct SClose {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, SClose>;

/// Null, and a line on standard output, where the file cannot be opened.
File openFile(const char* path, const char* mode) {
    File file(path != nullptr ? std::fopen(path, mode) : nullptr);
    if (file == nullptr) {
        std::puts("file open error!!");
    }
    return file;
}

/// A path for openFile to read from: null where it leads to a pipe or a device, which may never end or never begin.
const char* readablePath(const char* path) {
    struct stat status {};
    return path != nullptr && stat(path, &status) == 0 && S_ISREG(status.st_mode) ? path : nullptr;
}

/// Bytes that the lines of all keys take at most, and the 0 that snprintf puts behind them.
constexpr std::size_t longestText() {
    constexpr std::size_t digits = std::numeric_limits<long>::digits10 + 1;
    std::size_t size = 1;
    for (const vek::SSettingKey& key : kSettingKeys) {
        size += key.name.size() + sizeof(" -\n") - 1 + digits;
    }
    return size;
}

/// The lines of a file, made before anything is written.
class CText {
public:
    void AddLine(std::string_view key, long value) {
        const int length = std::snprintf(mText + mLength, sizeof mText - mLength, "%s %ld\n", key.data(), value);
        mLength += static_cast<std::size_t>(length);
    }
    /// At once; closes the file. False: not all of it is there, or it is not sure to be.
    bool Write(File file) const {
        std::setvbuf(file.get(), nullptr, _IONBF, 0);
        const bool written = std::fwrite(mText, 1, mLength, file.get()) == mLength && std::fflush(file.get()) == 0;
        return std::fclose(file.release()) == 0 && written;
    }

private:
    char mText[longestText()] = {};
    std::size_t mLength = 0;
};

/// Bytes of a file that are read at most. What VekCam_WriteSettingFile makes has less than a thousand.
constexpr std::size_t kMostBytes = 1UL << 20;

/// Longest key that is read at once. A longer one is read in pieces, which are no keys.
constexpr std::size_t kKeyLength = 63;

/// Reads all keys and numbers, of which known ones replace values.
void mvReadValues(std::FILE* file, Values& values) {
    char key[kKeyLength + 1] = {};
    bool piece = false; // of a key that was too long
    for (;;) {
        int start = 0;
        int end = 0;
        if (std::fscanf(file, " %n%63s%n", &start, key, &end) < 1) {
            return;
        }
        const auto length = static_cast<std::size_t>(end - start);
        const bool continued = piece;
        if (length == kKeyLength) {
            const int next = std::fgetc(file);
            std::ungetc(next, file);
            piece =
                next != EOF && std::string_view(" \t\n\v\f\r").find(static_cast<char>(next)) == std::string_view::npos;
        } else {
            piece = false;
        }
        if (piece) {
            continue;
        }
        long value = 0;
        if (std::fscanf(file, "%ld", &value) != 1 || continued) {
            continue;
        }
        for (std::size_t i = 0; i < kSettingCount; ++i) {
            if (std::string_view(key, length) == kSettingKeys[i].name) {
                values[i] = kSettingKeys[i].Cut(value);
            }
        }
    }
}

} // namespace

int VekCam_WriteSettingFile(VekCam_Handle handle, const char* path) {
    return vek::miExport(handle, [&](CVekTrgCamera& camera) -> int {
        File file = openFile(path, "w+");
        if (file == nullptr) {
            return VEK_EINVAL;
        }
        CText text;
        const int status = miForGroups([&](const SGroup& group, std::size_t first) {
            Values values{};
            const int result = group.get(camera, values.data() + first);
            for (std::size_t i = first; result >= 0 && i < first + group.keys; ++i) {
                text.AddLine(kSettingKeys[i].name, values[i]);
            }
            return result;
        });
        const bool written = text.Write(std::move(file));
        return written || status < 0 ? status : VEK_EINVAL;
    });
}

int VekCam_ReadSettingFile(VekCam_Handle handle, const char* path) {
    return vek::miExport(handle, [&](CVekTrgCamera& camera) -> int {
        Values values{};
        {
            const File file = openFile(readablePath(path), "r+");
            if (file == nullptr) {
                return VEK_EINVAL;
            }
            std::vector<char> text(kMostBytes);
            text.resize(std::fread(text.data(), 1, text.size(), file.get()));
            if (std::ferror(file.get()) != 0) {
                return VEK_EINVAL;
            }
            // A setting whose key is missing gets back what it is.
            const int status = miForGroups(
                [&](const SGroup& group, std::size_t first) { return group.get(camera, values.data() + first); });
            if (status < 0) {
                return status;
            }
            if (const File lines(text.empty() ? nullptr : fmemopen(text.data(), text.size(), "r")); lines != nullptr) {
                mvReadValues(lines.get(), values);
            } else if (!text.empty()) {
                return VEK_ENOMEM;
            }
        }
        return miForGroups(
            [&](const SGroup& group, std::size_t first) { return group.set(camera, values.data() + first); });
    });
}
