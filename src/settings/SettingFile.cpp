// SPDX-License-Identifier: Apache-2.0
#include "settings/SettingFile.h"

#include "VekTrgApi.h"
#include "common/Status.h"
#include "control/LuminanceCtrl.h"
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

namespace vek {

namespace {

using u8 = unsigned char;
using u16 = unsigned short;

using Values = std::array<long, kSettingCount>; ///< by key

// ---- groups: keys that one call sets and one call gets ----

/// values: the group's own ones. Negative results end the writing or the reading.
struct SGroup {
    std::size_t keys;
    int (*get)(const SSettingTargets& targets, long* values);
    int (*set)(const SSettingTargets& targets, const long* values);
};

/// A setting of the luminance control; its operations cannot fail. Bits: those that are kept.
template <class T, T (CLuminanceCtrl::*Get)() const, void (CLuminanceCtrl::*Set)(T), T Bits = static_cast<T>(~T{0})>
constexpr SGroup luminanceGroup() {
    return {1,
            [](const SSettingTargets& targets, long* values) {
                *values = static_cast<long>((targets.luminance.*Get)());
                return 0;
            },
            [](const SSettingTargets& targets, const long* values) {
                (targets.luminance.*Set)(static_cast<T>(static_cast<T>(*values) & Bits));
                return 0;
            }};
}

IShadingCorrection& shading(const SSettingTargets& targets) {
    return targets.shading;
}
IWB& whiteBalance(const SSettingTargets& targets) {
    return targets.whiteBalance;
}
IChromaSuppress& chromaSuppress(const SSettingTargets& targets) {
    return targets.chromaSuppress;
}

/// A single value of a module.
template <class Module, Module& (*Of)(const SSettingTargets&), class T, unsigned long (Module::*Get)(T*),
          unsigned long (Module::*Set)(T)>
constexpr SGroup moduleGroup() {
    return {1,
            [](const SSettingTargets& targets, long* values) {
                T value = 0;
                const int status = statusCode((Of(targets).*Get)(&value));
                *values = static_cast<long>(value);
                return status;
            },
            [](const SSettingTargets& targets, const long* values) {
                return statusCode((Of(targets).*Set)(static_cast<T>(*values)));
            }};
}

constexpr SGroup whiteBalanceGains() {
    return {4,
            [](const SSettingTargets& targets, long* values) {
                u16 gains[4] = {};
                const int status = statusCode(targets.whiteBalance.GetWBGain(gains));
                std::copy(std::begin(gains), std::end(gains), values);
                return status;
            },
            [](const SSettingTargets& targets, const long* values) {
                u16 gains[4] = {};
                std::transform(values, values + 4, gains, [](long value) { return static_cast<u16>(value); });
                return statusCode(targets.whiteBalance.SetWBGain(gains));
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

    int Get(IGamma& module, u8 channel) {
        bits = 12; // contrast at its full width
        return statusCode(module.GetMode(channel, &mode, &gamma, &brightness, &contrast, nullptr, &bits));
    }
    /// The table as SetMode takes it at the channel's depth.
    int GetTable(IGamma& module, u8 channel) {
        u16 depth = bits;
        return statusCode(module.GetMode(channel, nullptr, nullptr, nullptr, nullptr, table.data(), &depth));
    }
};

template <u8 Channel>
constexpr SGroup toneCurve() {
    return {4,
            [](const SSettingTargets& targets, long* values) {
                SToneCurve curve;
                const int status = curve.Get(targets.gamma, Channel);
                values[0] = curve.mode;
                values[1] = curve.gamma;
                values[2] = curve.brightness;
                values[3] = curve.contrast;
                return status;
            },
            [](const SSettingTargets& targets, const long* values) {
                SToneCurve curve;
                int status = curve.Get(targets.gamma, Channel);
                if (status >= 0) {
                    status = curve.GetTable(targets.gamma, Channel);
                }
                if (status < 0) {
                    return status;
                }
                return statusCode(targets.gamma.SetMode(Channel, static_cast<u8>(values[0]),
                                                        static_cast<u16>(values[1]), static_cast<short>(values[2]),
                                                        static_cast<u16>(values[3]), curve.table.data(), curve.bits));
            }};
}

constexpr SGroup hueAndSaturation() {
    return {3,
            [](const SSettingTargets& targets, long* values) {
                u8 mode = 0;
                short hue = 0;
                u16 saturation = 0;
                const int status = statusCode(targets.colorMatrix.GetHueSaturation(&mode, &hue, &saturation));
                values[0] = mode;
                values[1] = hue;
                values[2] = saturation;
                return status;
            },
            [](const SSettingTargets& targets, const long* values) {
                return statusCode(targets.colorMatrix.SetHueSaturation(
                    static_cast<u8>(values[0]), static_cast<short>(values[1]), static_cast<u16>(values[2])));
            }};
}

/// The coring travels in 8 bits: a larger one comes back as its low byte.
constexpr SGroup sharpness() {
    return {3,
            [](const SSettingTargets& targets, long* values) {
                u8 mode = 0;
                u16 gain = 0;
                u16 coring = 0;
                const int status = statusCode(targets.sharpness.GetMode(&mode, &gain, &coring));
                values[0] = mode;
                values[1] = gain;
                values[2] = static_cast<u8>(coring);
                return status;
            },
            [](const SSettingTargets& targets, const long* values) {
                return statusCode(targets.sharpness.SetMode(static_cast<u8>(values[0]), static_cast<u16>(values[1]),
                                                            static_cast<u8>(values[2])));
            }};
}

template <unsigned long (IChromaSuppress::*Get)(u16*), unsigned long (IChromaSuppress::*Set)(u16)>
constexpr SGroup suppression() {
    return moduleGroup<IChromaSuppress, chromaSuppress, u16, Get, Set>();
}

using Luminance = CLuminanceCtrl;
using Chroma = IChromaSuppress;
using Shading = IShadingCorrection;

/// In the order in which settings are written and applied.
constexpr SGroup kGroups[] = {
    luminanceGroup<u8, &Luminance::GetMode, &Luminance::SetMode, kALCModeBits>(),
    luminanceGroup<u16, &Luminance::GetTarget, &Luminance::SetTarget>(),
    luminanceGroup<u16, &Luminance::GetAGCMaxGain, &Luminance::SetAGCMaxGain>(),
    luminanceGroup<u16, &Luminance::GetAGCMinGain, &Luminance::SetAGCMinGain>(),
    luminanceGroup<unsigned long, &Luminance::GetAEMaxExposureClock, &Luminance::SetAEMaxExposureClock>(),
    luminanceGroup<unsigned long, &Luminance::GetAEMinExposureClock, &Luminance::SetAEMinExposureClock>(),
    moduleGroup<Shading, shading, unsigned long, &Shading::GetMode, &Shading::SetMode>(),
    moduleGroup<Shading, shading, u16, &Shading::GetTargetAll, &Shading::SetTargetAll>(),
    moduleGroup<IWB, whiteBalance, u8, &IWB::GetWBMode, &IWB::SetWBMode>(),
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
int forGroups(Step step) {
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
    for (const SSettingKey& key : kSettingKeys) {
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
void readValues(std::FILE* file, Values& values) {
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

int writeSettingFile(const SSettingTargets& targets, const char* path) {
    File file = openFile(path, "w+");
    if (file == nullptr) {
        return VEK_EINVAL;
    }
    CText text;
    const int status = forGroups([&](const SGroup& group, std::size_t first) {
        Values values{};
        const int result = group.get(targets, values.data() + first);
        for (std::size_t i = first; result >= 0 && i < first + group.keys; ++i) {
            text.AddLine(kSettingKeys[i].name, values[i]);
        }
        return result;
    });
    const bool written = text.Write(std::move(file));
    return written || status < 0 ? status : VEK_EINVAL;
}

int readSettingFile(const SSettingTargets& targets, const char* path) {
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
        const int status = forGroups(
            [&](const SGroup& group, std::size_t first) { return group.get(targets, values.data() + first); });
        if (status < 0) {
            return status;
        }
        if (const File lines(text.empty() ? nullptr : fmemopen(text.data(), text.size(), "r")); lines != nullptr) {
            readValues(lines.get(), values);
        } else if (!text.empty()) {
            return VEK_ENOMEM;
        }
    }
    return forGroups([&](const SGroup& group, std::size_t first) { return group.set(targets, values.data() + first); });
}

} // namespace vek
