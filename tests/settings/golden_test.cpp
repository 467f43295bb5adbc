// SPDX-License-Identifier: Apache-2.0
// The setting file by hand.
#include "api/VekTrgCamera.h"
#include "imageproc/IGamma.h"
#include "imageproc/IShadingCorrection.h"
#include "imageproc/ISharpness.h"
#include "settings/SettingFiles.h"
#include "support/HandleTest.h"

#include <cstdint>
#include <sstream>
#include <string>

namespace vek::test {

namespace {

class CGoldenSettingFile : public CHandleTest {
protected:
    std::string Written() {
        EXPECT_EQ(VekCam_WriteSettingFile(mHandle, mPath.c_str()), 0);
        return contentOf(mPath);
    }
    int Read(const std::string& content) {
        setContent(mPath, content);
        return VekCam_ReadSettingFile(mHandle, mPath.c_str());
    }
    /// The line of a key, without its end.
    std::string Line(const std::string& key) {
        std::istringstream text(Written());
        for (std::string line; std::getline(text, line);) {
            if (line.rfind(key + " ", 0) == 0) {
                return line;
            }
        }
        return "no such line";
    }

    CTemporaryDirectory mDirectory;
    const std::string mPath = mDirectory.File("settings.txt");
};

} // namespace

// A handle as it is opened, without a camera: every line, in order.
TEST_F(CGoldenSettingFile, Defaults) {
    EXPECT_EQ(Written(), "ALCMode 0\n"
                         "ALCLevel 128\n"
                         "AGCMaxGain 0\n"
                         "AGCMinGain 0\n"
                         "AEMaxExposure 0\n"
                         "AEMinExposure 1\n"
                         "ShadingCorrectionMode 0\n"
                         "ShadingCorrectionTarget 0\n"
                         "WBMode 0\n"
                         "WBGainR 256\n"
                         "WBGainGr 128\n"
                         "WBGainGb 128\n"
                         "WBGainB 217\n"
                         "GammaModeY 0\n"
                         "GammaY 100\n"
                         "BrightnessY 0\n"
                         "ContrastY 0\n"
                         "GammaModeR 0\n"
                         "GammaR 100\n"
                         "BrightnessR 0\n"
                         "ContrastR 0\n"
                         "GammaModeGr 0\n"
                         "GammaGr 100\n"
                         "BrightnessGr 0\n"
                         "ContrastGr 0\n"
                         "GammaModeGb 0\n"
                         "GammaGb 100\n"
                         "BrightnessGb 0\n"
                         "ContrastGb 0\n"
                         "GammaModeB 0\n"
                         "GammaB 100\n"
                         "BrightnessB 0\n"
                         "ContrastB 0\n"
                         "HueSaturationMode 0\n"
                         "Hue 0\n"
                         "Saturation 100\n"
                         "StartLevelHigh 255\n"
                         "SuppressionHigh 0\n"
                         "StartLevelLow 0\n"
                         "SuppressionLow 0\n"
                         "SharpnessMode 0\n"
                         "SharpnessGain 0\n"
                         "SharpnessCoring 0\n");
}

// Largest and smallest numbers: 16 bits without sign, brightness and hue with one.
TEST_F(CGoldenSettingFile, WidestNumbers) {
    EXPECT_EQ(VekCam_SetWhiteBalanceGain(mHandle, 65535, 0, 32768, 1), 0);
    EXPECT_EQ(VekCam_SetGammaMode(mHandle, VEK_GAMMA_GB, 2, 65535, -32768, 65535, nullptr, 8), 0);
    EXPECT_EQ(VekCam_SetHueSaturationMode(mHandle, 1, -1, 65535), 0);
    EXPECT_EQ(Line("WBGainR"), "WBGainR 65535");
    EXPECT_EQ(Line("WBGainGb"), "WBGainGb 32768");
    EXPECT_EQ(Line("GammaGb"), "GammaGb 65535");
    EXPECT_EQ(Line("BrightnessGb"), "BrightnessGb -32768");
    EXPECT_EQ(Line("Hue"), "Hue -1");
    EXPECT_EQ(Line("Saturation"), "Saturation 65535");
}

// 64-bit numbers are written with a sign, and come back.
TEST_F(CGoldenSettingFile, WideNumbersHaveASign) {
    EXPECT_EQ(VekCam_SetAEMaxExposureClock(mHandle, 0xFFFFFFFFFFFFFFFF), 1);
    EXPECT_EQ(VekCam_SetShadingCorrectionMode(mHandle, 0x8000000000000000), 0);
    EXPECT_EQ(Line("AEMaxExposure"), "AEMaxExposure -1");
    EXPECT_EQ(Line("ShadingCorrectionMode"), "ShadingCorrectionMode -9223372036854775808");
    const std::string text = Written();
    EXPECT_EQ(VekCam_SetAEMaxExposureClock(mHandle, 3), 1);
    EXPECT_EQ(VekCam_SetShadingCorrectionMode(mHandle, 4), 0);
    EXPECT_EQ(Read(text), 0);
    unsigned long number = 0;
    EXPECT_EQ(VekCam_GetAEMaxExposureClock(mHandle, &number), 1);
    EXPECT_EQ(number, 0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(VekCam_GetShadingCorrectionMode(mHandle, &number), 0);
    EXPECT_EQ(number, 0x8000000000000000);
}

// One key: white balance works by hand, everything else stays.
TEST_F(CGoldenSettingFile, OneKey) {
    EXPECT_EQ(VekCam_SetALCTargetLevel(mHandle, 99), 1);
    EXPECT_EQ(VekCam_SetSharpnessMode(mHandle, 1, 150, 3), 0);
    EXPECT_EQ(Read("WBMode 1\n"), 0);
    unsigned char mode = 0;
    EXPECT_EQ(VekCam_GetWhiteBalanceMode(mHandle, &mode), 0);
    EXPECT_EQ(mode, 1);
    EXPECT_EQ(Line("ALCLevel"), "ALCLevel 99");
    EXPECT_EQ(Line("SharpnessGain"), "SharpnessGain 150");
    EXPECT_EQ(Line("WBGainR"), "WBGainR 256");
}

TEST_F(CGoldenSettingFile, UnknownKeysAreIgnored) {
    EXPECT_EQ(Read("Aperture 28\nWBMode 2\nShutter 500\n"), 0);
    EXPECT_EQ(Line("WBMode"), "WBMode 2");
}

// A later line of the same key counts; the order of lines does not matter.
TEST_F(CGoldenSettingFile, LastLineCounts) {
    EXPECT_EQ(Read("SharpnessGain 7\nWBMode 1\nALCLevel 5\nWBMode 3\n"), 0);
    EXPECT_EQ(Line("WBMode"), "WBMode 3");
    EXPECT_EQ(Line("ALCLevel"), "ALCLevel 5");
    EXPECT_EQ(Line("SharpnessGain"), "SharpnessGain 7");
}

// Numbers are cut to the width of their setting: 65536 + 9, 256 + 3, 40000 as a signed word, -1 as one without a sign.
TEST_F(CGoldenSettingFile, NumbersAreCut) {
    EXPECT_EQ(Read("ALCLevel 65545\nWBMode 259\nHueSaturationMode 1\nHue 40000\nStartLevelLow -1\n"), 0);
    EXPECT_EQ(Line("ALCLevel"), "ALCLevel 9");
    EXPECT_EQ(Line("WBMode"), "WBMode 3");
    EXPECT_EQ(Line("Hue"), "Hue -25536");
    EXPECT_EQ(Line("StartLevelLow"), "StartLevelLow 65535");
}

// The coring has 8 bits in the file, though the stage keeps 16: of 300 there are 44 left, when it is written and when
// it is read.
TEST_F(CGoldenSettingFile, CoringHasEightBits) {
    EXPECT_EQ(mHandle->Sharpness().SetMode(1, 100, 300), 0U);
    EXPECT_EQ(Line("SharpnessCoring"), "SharpnessCoring 44");
    EXPECT_EQ(Read(Written()), 0);
    std::uint8_t mode = 0;
    std::uint16_t gain = 0;
    std::uint16_t coring = 0;
    EXPECT_EQ(mHandle->Sharpness().GetMode(&mode, &gain, &coring), 0U);
    EXPECT_EQ(coring, 44);
    EXPECT_EQ(mode, 1);
    EXPECT_EQ(gain, 100);
    EXPECT_EQ(Read("SharpnessCoring 1027\n"), 0);
    EXPECT_EQ(mHandle->Sharpness().GetMode(&mode, &gain, &coring), 0U);
    EXPECT_EQ(coring, 3);
}

// The contrast of a curve of 8 bits has all of its 16 in the file.
TEST_F(CGoldenSettingFile, ContrastHasSixteenBits) {
    EXPECT_EQ(VekCam_SetGammaMode(mHandle, VEK_GAMMA_R, 1, 100, 0, 0x1234, nullptr, 8), 0);
    EXPECT_EQ(Line("ContrastR"), "ContrastR 4660");
    const std::string text = Written();
    EXPECT_EQ(VekCam_SetGammaMode(mHandle, VEK_GAMMA_R, 0, 0, 0, 0, nullptr, 8), 0);
    EXPECT_EQ(Read(text), 0);
    EXPECT_EQ(Line("ContrastR"), "ContrastR 4660");
}

// A curve of 10 bits, read on a handle that has the channel at 12 bits, has 12.
TEST_F(CGoldenSettingFile, CurvesKeepTheirDepth) {
    EXPECT_EQ(VekCam_SetGammaMode(mHandle, VEK_GAMMA_B, 2, 100, 0, 0, nullptr, 10), 0);
    const std::string text = Written();
    EXPECT_EQ(VekCam_SetGammaMode(mHandle, VEK_GAMMA_B, 0, 0, 0, 0, nullptr, 12), 0);
    EXPECT_EQ(Read(text), 0);
    std::uint16_t bits = 12;
    std::uint16_t table[4096] = {};
    EXPECT_EQ(VekCam_GetGammaMode(mHandle, VEK_GAMMA_B, nullptr, nullptr, nullptr, nullptr, table, &bits), 0);
    EXPECT_EQ(bits, 12);
    EXPECT_EQ(table[0], 4095); // the negative of a straight line
    EXPECT_EQ(table[4095], 0);
}

// A table is kept: the file has none.
TEST_F(CGoldenSettingFile, TablesAreKept) {
    std::uint8_t table[256];
    for (int i = 0; i < 256; ++i) {
        table[i] = static_cast<std::uint8_t>(i ^ 0x55);
    }
    EXPECT_EQ(VekCam_SetGammaMode(mHandle, VEK_GAMMA_Y, VEK_GAMMA_TABLE, 100, 0, 0, table, 8), 0);
    EXPECT_EQ(Line("GammaModeY"), "GammaModeY 255");
    EXPECT_EQ(Read(Written()), 0);
    std::uint8_t image[4] = {0x00, 0x55, 0xFF, 0x10};
    EXPECT_EQ(VekCam_BGRGamma(mHandle, 4, 1, VEK_DESTINATION_MONO8, image, 8), 0);
    EXPECT_EQ(image[0], 0x55);
    EXPECT_EQ(image[1], 0x00);
    EXPECT_EQ(image[2], 0xAA);
    EXPECT_EQ(image[3], 0x45);
}

// Four targets are one in the file: (1 + 2 + 3 + 4) / 4 = 2, the fraction cut off.
TEST_F(CGoldenSettingFile, ShadingTargetsBecomeTheirMean) {
    const std::uint16_t targets[4] = {1, 2, 3, 4};
    EXPECT_EQ(mHandle->ShadingCorrection().SetTargetEachColor(targets), 0U);
    EXPECT_EQ(Line("ShadingCorrectionTarget"), "ShadingCorrectionTarget 2");
    EXPECT_EQ(Read(Written()), 0);
    std::uint16_t now[4] = {};
    EXPECT_EQ(mHandle->ShadingCorrection().GetTargetEachColor(now), 0U);
    for (const std::uint16_t target : now) {
        EXPECT_EQ(target, 2);
    }
}

// Refused: what comes before the refused stage is applied, what comes after it is not.
TEST_F(CGoldenSettingFile, RefusalEndsTheReading) {
    EXPECT_EQ(Read("SharpnessGain 7\nGammaModeGr 3\nGammaModeR 1\nGammaR 50\nGammaModeB 1\nALCLevel 5\n"), -22);
    EXPECT_EQ(Line("ALCLevel"), "ALCLevel 5");
    EXPECT_EQ(Line("GammaModeR"), "GammaModeR 1");
    EXPECT_EQ(Line("GammaR"), "GammaR 50");
    EXPECT_EQ(Line("GammaModeGr"), "GammaModeGr 0");
    EXPECT_EQ(Line("GammaModeB"), "GammaModeB 0");
    EXPECT_EQ(Line("SharpnessGain"), "SharpnessGain 0");
}

// The luminance control keeps the low four bits of its mode.
TEST_F(CGoldenSettingFile, LuminanceModeHasFourBits) {
    EXPECT_EQ(Read("ALCMode 18\n"), 0);
    EXPECT_EQ(Line("ALCMode"), "ALCMode 2");
}

// A mode that is off stores its own numbers instead of the file's.
TEST_F(CGoldenSettingFile, OffModesKeepTheirNumbers) {
    EXPECT_EQ(Read("GammaY 50\nBrightnessY 5\nContrastY 6\nHue 7\nSaturation 8\n"), 0);
    EXPECT_EQ(Line("GammaY"), "GammaY 100");
    EXPECT_EQ(Line("BrightnessY"), "BrightnessY 0");
    EXPECT_EQ(Line("ContrastY"), "ContrastY 0");
    EXPECT_EQ(Line("Hue"), "Hue 0");
    EXPECT_EQ(Line("Saturation"), "Saturation 100");
}

// A path in a directory that does not exist.
TEST_F(CGoldenSettingFile, MissingDirectory) {
    const std::string path = mDirectory.File("missing/settings.txt");
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(VekCam_WriteSettingFile(mHandle, path.c_str()), -22);
    EXPECT_EQ(VekCam_ReadSettingFile(mHandle, path.c_str()), -22);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "file open error!!\nfile open error!!\n");
}

} // namespace vek::test
