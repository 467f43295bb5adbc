// SPDX-License-Identifier: Apache-2.0
// LibRaw develops the DNG file of a frame as the library does by the profile.
#include "client/calibration/ColorDifference.h"
#include "client/develop/Developer.h"
#include "client/develop/DngProfile.h"
#include "client/files/OutputFile.h"
#include "client/frames/DngOutput.h"
#include "client/pictures/PictureInput.h"
#include "client/profiles/CameraColors.h"

#include "support/Files.h"
#include "support/RealFrames.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace vek::test {

namespace {

using client::Matrix3;
using client::Vector3;
using client::operator*;

/// The camera of the frame, as its chart was measured.
constexpr const char* kCamera = R"({"width": 1920, "height": 1080, "format": "raw12", "colorArray": "bggr",
    "BlackLevel": 15, "CalibrationIlluminant1": 21,
    "ColorMatrix1": [1.1101, -0.2992, -0.1004, -0.1331, 0.9640, 0.1492, 0.0177, 0.2755, 0.5149],
    "ForwardMatrix1": [0.63587, 0.32930, -0.00097, 0.11211, 1.17862, -0.29073, -0.05752, -0.46260, 1.34503],
    "AsShotNeutral": [0.64657, 1, 0.85297]})";

double linearOf(double coded) {
    return coded <= 0.04045 ? coded / 12.92 : std::pow((coded + 0.055) / 1.055, 2.4);
}

/// Means of the middles of the chart's 24 patches, linear sRGB.
std::vector<Vector3> patchesOf(const client::SImage& image) {
    constexpr double kCorners[4][2] = {{497, 370}, {1378, 370}, {1356, 946}, {516, 923}};
    constexpr int kHalf = 20;
    std::vector<Vector3> patches;
    for (int i = 0; i < 24; ++i) {
        const double u = (i % 6 + 0.5) / 6;
        const double v = (i / 6 + 0.5) / 4;
        double at[2];
        for (int axis = 0; axis < 2; ++axis) {
            at[axis] = (kCorners[0][axis] * (1 - u) + kCorners[1][axis] * u) * (1 - v) +
                       (kCorners[3][axis] * (1 - u) + kCorners[2][axis] * u) * v;
        }
        Vector3 sum{};
        for (int y = -kHalf; y < kHalf; ++y) {
            for (int x = -kHalf; x < kHalf; ++x) {
                const auto row = static_cast<std::size_t>(at[1] + y);
                const auto column = static_cast<std::size_t>(at[0] + x);
                for (std::size_t c = 0; c < 3; ++c) {
                    sum[c] += linearOf(image.samples[row * image.RowSamples() + 3 * column + c] / 65535.0);
                }
            }
        }
        for (double& value : sum) {
            value /= 4.0 * kHalf * kHalf;
        }
        patches.push_back(sum);
    }
    return patches;
}

class LibRaw : public CFileTest {};

TEST_F(LibRaw, ItsPictureOfTheChartIsOurs) {
    const std::string path = realFrame(kColorChartFrame);
    if (path.empty()) {
        GTEST_SKIP() << "VEKCAM_DATA_DIR has no such frame";
    }
    if (std::system("command -v dcraw_emu >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "LibRaw's tools are not installed";
    }
    const std::vector<std::uint8_t> bytes = readFile(path);
    const client::SProfile profile = client::parsedProfile(kCamera).profile;
    const client::STransferredFrame frame = {profile.format, 1920, 1080, VEK_COLOR_ARRAY_BGGR, bytes};
    client::SDngFrame dng = client::dngFrameOf(frame);
    client::takeProfile(dng, profile);
    client::COutputFiles files;
    client::writeDng(files.Open(Path("chart.dng")), dng);
    files.Publish();
    const std::string run = "dcraw_emu -w -o 1 -q 3 -W -6 -g 2.4 12.92 -Z " + Path("libraw.ppm") + ' ' +
                            Path("chart.dng") + " >/dev/null 2>&1";
    ASSERT_EQ(std::system(run.c_str()), 0);

    const client::CLibraryHandle library(-1);
    client::SDeveloping developing;
    developing.format = frame.format;
    developing.width = frame.width;
    developing.height = frame.height;
    developing.colorArray = frame.colorArray;
    developing.method = VEK_CHAIN_DEMOSAIC_EDGE;
    developing.bits = 16;
    developing.development = client::settled({}, &profile, {}, library, frame, false);
    EXPECT_TRUE(developing.development.assumed.empty());
    client::CDeveloper developer(library, developing);
    const std::vector<Vector3> ours = patchesOf(client::imageOf(developer.Picture(bytes)));
    const std::vector<Vector3> theirs = patchesOf(client::readPicture(Path("libraw.ppm")));

    // One brightness factor for all of them.
    double product = 0;
    double square = 0;
    for (std::size_t i = 0; i < ours.size(); ++i) {
        for (std::size_t c = 0; c < 3; ++c) {
            product += ours[i][c] * theirs[i][c];
            square += theirs[i][c] * theirs[i][c];
        }
    }
    const double factor = product / square;
    const Matrix3 toXyz = *client::inverse(client::xyzToSrgb());
    double sum = 0;
    for (std::size_t i = 0; i < ours.size(); ++i) {
        const Vector3 scaled = {theirs[i][0] * factor, theirs[i][1] * factor, theirs[i][2] * factor};
        sum += client::colorDifference(client::labOf(toXyz * ours[i]), client::labOf(toXyz * scaled));
    }
    RecordProperty("mean_ciede2000", std::to_string(sum / 24));
    EXPECT_LT(sum / 24, 0.5);
}

} // namespace

} // namespace vek::test
