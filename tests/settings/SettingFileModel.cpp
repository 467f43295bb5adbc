// SPDX-License-Identifier: Apache-2.0
#include "settings/SettingFileModel.h"

#include <stdexcept>

namespace vek::test {

namespace {

constexpr const char* kChannels[] = {"Y", "R", "Gr", "Gb", "B"};

void require(int status, int wanted) {
    if (status != wanted) {
        throw std::runtime_error("a setting is refused");
    }
}

/// each(key, holder) for every line of a file, in their order. Settings may be const.
template <class Settings, class Each>
void forKeys(Settings& s, Each each) {
    each("ALCMode", s.alcMode);
    each("ALCLevel", s.alcLevel);
    each("AGCMaxGain", s.agcMaxGain);
    each("AGCMinGain", s.agcMinGain);
    each("AEMaxExposure", s.aeMaxExposure);
    each("AEMinExposure", s.aeMinExposure);
    each("ShadingCorrectionMode", s.shadingMode);
    each("ShadingCorrectionTarget", s.shadingTarget);
    each("WBMode", s.wbMode);
    each("WBGainR", s.wbGain[0]);
    each("WBGainGr", s.wbGain[1]);
    each("WBGainGb", s.wbGain[2]);
    each("WBGainB", s.wbGain[3]);
    for (std::size_t i = 0; i < 5; ++i) {
        const std::string channel = kChannels[i];
        each("GammaMode" + channel, s.gamma[i].mode);
        each("Gamma" + channel, s.gamma[i].gamma);
        each("Brightness" + channel, s.gamma[i].brightness);
        each("Contrast" + channel, s.gamma[i].contrast);
    }
    each("HueSaturationMode", s.hueMode);
    each("Hue", s.hue);
    each("Saturation", s.saturation);
    each("StartLevelHigh", s.highStart);
    each("SuppressionHigh", s.highSlope);
    each("StartLevelLow", s.lowStart);
    each("SuppressionLow", s.lowSlope);
    each("SharpnessMode", s.sharpnessMode);
    each("SharpnessGain", s.sharpnessGain);
    each("SharpnessCoring", s.sharpnessCoring);
}

} // namespace

std::vector<SettingLine> modelLines(const SSettings& settings) {
    std::vector<SettingLine> lines;
    forKeys(settings,
            [&lines](std::string_view key, const auto& holder) { lines.emplace_back(key, static_cast<long>(holder)); });
    return lines;
}

std::string modelText(const std::vector<SettingLine>& lines) {
    std::string text;
    for (const SettingLine& line : lines) {
        text += line.first + " " + std::to_string(line.second) + "\n";
    }
    return text;
}

int modelApply(SSettings* settings, const std::vector<SettingLine>& lines) {
    SSettings held = *settings;
    for (const auto& line : lines) {
        forKeys(held, [&line](std::string_view key, auto& holder) {
            if (line.first == key) {
                holder = static_cast<std::remove_reference_t<decltype(holder)>>(line.second);
            }
        });
    }
    settings->alcMode = held.alcMode & 0x0F;
    settings->alcLevel = held.alcLevel;
    settings->agcMaxGain = held.agcMaxGain;
    settings->agcMinGain = held.agcMinGain;
    settings->aeMaxExposure = held.aeMaxExposure;
    settings->aeMinExposure = held.aeMinExposure;
    settings->shadingMode = held.shadingMode;
    settings->shadingTarget = held.shadingTarget;
    settings->wbMode = held.wbMode;
    settings->wbGain = held.wbGain;
    for (std::size_t i = 0; i < 5; ++i) {
        const SGammaLines& curve = held.gamma[i];
        switch (curve.mode) {
        case 0:
        case 255:
            settings->gamma[i] = {curve.mode, 100, 0, 0};
            break;
        case 1:
        case 2:
            if (curve.gamma == 0) {
                return -22;
            }
            settings->gamma[i] = curve;
            break;
        default:
            return -22;
        }
    }
    switch (held.hueMode) {
    case 0:
        settings->hue = 0;
        settings->saturation = 100;
        break;
    case 1:
        settings->hue = held.hue;
        settings->saturation = held.saturation;
        break;
    default:
        return -22;
    }
    settings->hueMode = held.hueMode;
    settings->highStart = held.highStart;
    settings->highSlope = held.highSlope;
    settings->lowStart = held.lowStart;
    settings->lowSlope = held.lowSlope;
    settings->sharpnessMode = held.sharpnessMode;
    settings->sharpnessGain = held.sharpnessGain;
    settings->sharpnessCoring = held.sharpnessCoring;
    return 0;
}

void PrintTo(const SSettings& settings, std::ostream* stream) {
    for (const auto& [key, number] : modelLines(settings)) {
        *stream << key << ' ' << number << ", ";
    }
}

SSettings settingsOf(VekCam_Handle handle) {
    SSettings s;
    require(VekCam_GetALCMode(handle, &s.alcMode), 1);
    require(VekCam_GetALCTargetLevel(handle, &s.alcLevel), 1);
    require(VekCam_GetAGCMaxGain(handle, &s.agcMaxGain), 1);
    require(VekCam_GetAGCMinGain(handle, &s.agcMinGain), 1);
    require(VekCam_GetAEMaxExposureClock(handle, &s.aeMaxExposure), 1);
    require(VekCam_GetAEMinExposureClock(handle, &s.aeMinExposure), 1);
    require(VekCam_GetShadingCorrectionMode(handle, &s.shadingMode), 0);
    require(VekCam_GetShadingCorrectionTarget(handle, &s.shadingTarget), 0);
    require(VekCam_GetWhiteBalanceMode(handle, &s.wbMode), 0);
    require(VekCam_GetWhiteBalanceGain(handle, &s.wbGain[0], &s.wbGain[1], &s.wbGain[2], &s.wbGain[3]), 0);
    for (std::uint8_t i = 0; i < 5; ++i) {
        SGammaLines& curve = s.gamma[i];
        std::uint16_t bits = 12; // asks for the contrast as a word
        require(VekCam_GetGammaMode(handle, i, &curve.mode, &curve.gamma, &curve.brightness, &curve.contrast, nullptr,
                                    &bits),
                0);
    }
    require(VekCam_GetHueSaturationMode(handle, &s.hueMode, &s.hue, &s.saturation), 0);
    require(VekCam_GetHighChromaSuppression(handle, &s.highStart, &s.highSlope), 0);
    require(VekCam_GetLowChromaSuppression(handle, &s.lowStart, &s.lowSlope), 0);
    require(VekCam_GetSharpnessMode(handle, &s.sharpnessMode, &s.sharpnessGain, &s.sharpnessCoring), 0);
    return s;
}

void setSettings(VekCam_Handle handle, const SSettings& s, const std::array<std::uint16_t, 5>& bits) {
    require(VekCam_SetALCMode(handle, s.alcMode), 1);
    require(VekCam_SetALCTargetLevel(handle, s.alcLevel), 1);
    require(VekCam_SetAGCMaxGain(handle, s.agcMaxGain), 1);
    require(VekCam_SetAGCMinGain(handle, s.agcMinGain), 1);
    require(VekCam_SetAEMaxExposureClock(handle, s.aeMaxExposure), 1);
    require(VekCam_SetAEMinExposureClock(handle, s.aeMinExposure), 1);
    require(VekCam_SetShadingCorrectionMode(handle, s.shadingMode), 0);
    require(VekCam_SetShadingCorrectionTarget(handle, s.shadingTarget), 0);
    require(VekCam_SetWhiteBalanceMode(handle, s.wbMode), 0);
    require(VekCam_SetWhiteBalanceGain(handle, s.wbGain[0], s.wbGain[1], s.wbGain[2], s.wbGain[3]), 0);
    for (std::uint8_t i = 0; i < 5; ++i) {
        std::vector<std::uint16_t> words(4096);
        std::vector<std::uint8_t> bytes(256);
        for (std::size_t k = 0; k < words.size(); ++k) {
            words[k] = static_cast<std::uint16_t>(k * 7919 + i * 1000U + s.alcLevel);
            bytes[k % 256] = static_cast<std::uint8_t>(words[k]);
        }
        const void* const table = bits[i] > 8 ? static_cast<const void*>(words.data()) : bytes.data();
        const SGammaLines& curve = s.gamma[i];
        require(
            VekCam_SetGammaMode(handle, i, curve.mode, curve.gamma, curve.brightness, curve.contrast, table, bits[i]),
            0);
    }
    require(VekCam_SetHueSaturationMode(handle, s.hueMode, s.hue, s.saturation), 0);
    require(VekCam_SetHighChromaSuppression(handle, s.highStart, s.highSlope), 0);
    require(VekCam_SetLowChromaSuppression(handle, s.lowStart, s.lowSlope), 0);
    require(VekCam_SetSharpnessMode(handle, s.sharpnessMode, s.sharpnessGain, s.sharpnessCoring), 0);
}

SSettings randomSettings(CRandom& random) {
    const auto word = [&random] {
        constexpr std::uint16_t ends[] = {0, 1, 127, 128, 255, 256, 0x7FFF, 0x8000, 0xFFFF};
        return random.Below(3) == 0 ? ends[random.Below(std::size(ends))] : static_cast<std::uint16_t>(random.Next());
    };
    const auto byte = [&word] { return static_cast<std::uint8_t>(word()); };
    const auto wide = [&random, &word] {
        return random.Below(2) == 0 ? std::uint64_t{word()} : random.Next() >> random.Below(64);
    };
    SSettings s;
    s.alcMode = byte() & 0x0F;
    s.alcLevel = word();
    s.agcMaxGain = word();
    s.agcMinGain = word();
    s.aeMaxExposure = wide();
    s.aeMinExposure = wide();
    s.shadingMode = wide();
    s.shadingTarget = word();
    s.wbMode = byte();
    for (std::uint16_t& gain : s.wbGain) {
        gain = word();
    }
    for (SGammaLines& curve : s.gamma) {
        constexpr std::uint8_t modes[] = {0, 1, 1, 2, 255};
        curve.mode = modes[random.Below(std::size(modes))];
        if (curve.mode == 1 || curve.mode == 2) {
            const std::uint16_t gamma = word();
            curve.gamma = gamma == 0 ? 1 : gamma;
            curve.brightness = static_cast<std::int16_t>(word());
            curve.contrast = word();
        }
    }
    s.hueMode = random.Below(2) == 0 ? 0 : 1;
    if (s.hueMode == 1) {
        s.hue = static_cast<std::int16_t>(word());
        s.saturation = word();
    }
    s.highStart = word();
    s.highSlope = word();
    s.lowStart = word();
    s.lowSlope = word();
    s.sharpnessMode = byte();
    s.sharpnessGain = word();
    s.sharpnessCoring = byte();
    return s;
}

} // namespace vek::test
