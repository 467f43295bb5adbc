// SPDX-License-Identifier: Apache-2.0
#include "Conversion.h"
#include "support/RealFrames.h"

namespace vek::test {

namespace {

class RealFrames : public CConversionTest {
protected:
    SPng Shown(const std::string& frame, const Arguments& arguments) const {
        return ConvertedFile(frame, joined({arguments, {"--display"}}));
    }
};

TEST_F(RealFrames, ColorChartHasItsColors) {
    const std::string frame = realFrame(kColorChartFrame);
    if (frame.empty()) {
        GTEST_SKIP() << "VEKCAM_DATA_DIR has no such frame";
    }
    for (const char* const method : {"nearest", "bilinear"}) {
        const SPng image = Shown(frame, {"-W", "1920", "-H", "1080", "-f", "raw12", "-a", "bggr", "-m", method});
        const auto mean = [&](unsigned x, unsigned y, unsigned c) { return image.Mean(x - 20, y - 20, 40, 40, c); };
        // Third row of patches: blue, green, red, yellow.
        EXPECT_GT(mean(578, 721, 2), mean(578, 721, 0) + 40);
        EXPECT_GT(mean(712, 729, 1), mean(712, 729, 0) + 20);
        EXPECT_GT(mean(855, 732, 0), mean(855, 732, 1) + 50);
        EXPECT_GT(mean(1000, 732, 0), mean(1000, 732, 2) + 40);
        EXPECT_GT(mean(1000, 732, 1), mean(1000, 732, 2) + 40);
        // Fourth row: greys.
        for (const unsigned x : {720U, 857U, 1000U, 1140U}) {
            EXPECT_NEAR(mean(x, 870, 0), mean(x, 870, 1), 12);
            EXPECT_NEAR(mean(x, 870, 2), mean(x, 870, 1), 12);
        }
    }
}

TEST_F(RealFrames, RedFlowerGreenLeaf) {
    const std::string frame = realFrame(kFlowerFrame);
    if (frame.empty()) {
        GTEST_SKIP() << "VEKCAM_DATA_DIR has no such frame";
    }
    const SPng image =
        Shown(frame, {"-W", "768", "-H", "512", "-f", "raw14", "-a", "rggb", "--black", "600", "--white", "15520"});
    EXPECT_GT(image.Mean(190, 320, 30, 30, 0), 1.5 * image.Mean(190, 320, 30, 30, 1));
    EXPECT_GT(image.Mean(190, 320, 30, 30, 0), 1.5 * image.Mean(190, 320, 30, 30, 2));
    EXPECT_GT(image.Mean(90, 90, 20, 20, 1), 1.05 * image.Mean(90, 90, 20, 20, 0));
    EXPECT_GT(image.Mean(90, 90, 20, 20, 1), 1.2 * image.Mean(90, 90, 20, 20, 2));
}

TEST_F(RealFrames, DefectPixelsAreNoSignOfAnotherFormat) {
    const std::string frame = realFrame(kDefectFlowerFrame); // 200 of its words are 65535
    if (frame.empty()) {
        GTEST_SKIP() << "VEKCAM_DATA_DIR has no such frame";
    }
    const auto warnings = [&](const std::string& format) {
        return runVekcam({"measure", frame, "-W", "768", "-H", "512", "-a", "rggb", "-f", format}).err;
    };
    EXPECT_EQ(warnings("raw14"), "");
    EXPECT_NE(warnings("raw12").find("are above 4095"), std::string::npos);
}

} // namespace

} // namespace vek::test
