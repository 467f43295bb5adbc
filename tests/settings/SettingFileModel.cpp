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

} // namespace

std::vector<SettingLine> modelLines(const SSettings& s) {
    std::vector<SettingLine> lines = {{"ALCMode", s.alcMode},
                                      {"ALCLevel", s.alcLevel},
                                      {"AGCMaxGain", s.agcMaxGain},
                                      {"AGCMinGain", s.agcMinGain},
                                      {"AEMaxExposure", static_cast<long>(s.aeMaxExposure)},
                                      {"AEMinExposure", static_cast<long>(s.aeMinExposure)},
                                      {"ShadingCorrectionMode", static_cast<long>(s.shadingMode)},
                                      {"ShadingCorrectionTarget", s.shadingTarget},
                                      {"WBMode", s.wbMode},
                                      {"WBGainR", s.wbGain[0]},
                                      {"WBGainGr", s.wbGain[1]},
                                      {"WBGainGb", s.wbGain[2]},
                                      {"WBGainB", s.wbGain[3]}};
    for (std::size_t i = 0; i < 5; ++i) {
        const std::string channel = kChannels[i];
        lines.emplace_back("GammaMode" + channel, s.gamma[i].mode);
        lines.emplace_back("Gamma" + channel, s.gamma[i].gamma);
        lines.emplace_back("Brightness" + channel, s.gamma[i].brightness);
        lines.emplace_back("Contrast" + channel, s.gamma[i].contrast);
    }
    const SettingLine rest[] = {{"HueSaturationMode", s.hueMode},   {"Hue", s.hue},
                                {"Saturation", s.saturation},       {"StartLevelHigh", s.highStart},
                                {"SuppressionHigh", s.highSlope},   {"StartLevelLow", s.lowStart},
                                {"SuppressionLow", s.lowSlope},     {"SharpnessMode", s.sharpnessMode},
                                {"SharpnessGain", s.sharpnessGain}, {"SharpnessCoring", s.sharpnessCoring}};
    lines.insert(lines.end(), std::begin(rest), std::end(rest));
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
    for (const auto& [key, number] : lines) {
        const auto cut = [&key = key, number = number](const char* name, auto& holder) {
            if (key == name) {
                holder = static_cast<std::remove_reference_t<decltype(holder)>>(number);
            }
        };
        cut("ALCMode", held.alcMode);
        cut("ALCLevel", held.alcLevel);
        cut("AGCMaxGain", held.agcMaxGain);
        cut("AGCMinGain", held.agcMinGain);
        cut("AEMaxExposure", held.aeMaxExposure);
        cut("AEMinExposure", held.aeMinExposure);
        cut("ShadingCorrectionMode", held.shadingMode);
        cut("ShadingCorrectionTarget", held.shadingTarget);
        cut("WBMode", held.wbMode);
        cut("WBGainR", held.wbGain[0]);
        cut("WBGainGr", held.wbGain[1]);
        cut("WBGainGb", held.wbGain[2]);
        cut("WBGainB", held.wbGain[3]);
        for (std::size_t i = 0; i < 5; ++i) {
            const std::string channel = kChannels[i];
            cut(("GammaMode" + channel).c_str(), held.gamma[i].mode);
            cut(("Gamma" + channel).c_str(), held.gamma[i].gamma);
            cut(("Brightness" + channel).c_str(), held.gamma[i].brightness);
            cut(("Contrast" + channel).c_str(), held.gamma[i].contrast);
        }
        cut("HueSaturationMode", held.hueMode);
        cut("Hue", held.hue);
        cut("Saturation", held.saturation);
        cut("StartLevelHigh", held.highStart);
        cut("SuppressionHigh", held.highSlope);
        cut("StartLevelLow", held.lowStart);
        cut("SuppressionLow", held.lowSlope);
        cut("SharpnessMode", held.sharpnessMode);
        cut("SharpnessGain", held.sharpnessGain);
        cut("SharpnessCoring", held.sharpnessCoring);
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
