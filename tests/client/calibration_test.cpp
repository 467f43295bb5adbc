// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/calibration/ChartPicture.h"
#include "client/calibration/ColorChart.h"
#include "client/names/Names.h"

#include "sim/SimulatedDriver.h"
#include "support/ChartFrame.h"
#include "support/Files.h"

#include <VekTrgApi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace vek::test {

namespace {

using client::CFailure;
using client::ChartPatches;
using client::Lab;
using client::Quad;
using client::SBlackLevels;
using client::SCells;
using client::SChartPlace;
using client::SColorFit;
using client::SColorSample;
using client::SPatchValue;
using client::SProfile;

// ---- CIEDE2000 ----

struct SLabPair {
    Lab a, b;
    double difference;
};

// The test data that Sharma, Wu and Dalal published with their notes (Color Res. Appl. 30, 2005, table I).
constexpr SLabPair kPublishedPairs[] = {
    {{50.0000, 2.6772, -79.7751}, {50.0000, 0.0000, -82.7485}, 2.0425},
    {{50.0000, 3.1571, -77.2803}, {50.0000, 0.0000, -82.7485}, 2.8615},
    {{50.0000, 2.8361, -74.0200}, {50.0000, 0.0000, -82.7485}, 3.4412},
    {{50.0000, -1.3802, -84.2814}, {50.0000, 0.0000, -82.7485}, 1.0000},
    {{50.0000, -1.1848, -84.8006}, {50.0000, 0.0000, -82.7485}, 1.0000},
    {{50.0000, -0.9009, -85.5211}, {50.0000, 0.0000, -82.7485}, 1.0000},
    {{50.0000, 0.0000, 0.0000}, {50.0000, -1.0000, 2.0000}, 2.3669},
    {{50.0000, -1.0000, 2.0000}, {50.0000, 0.0000, 0.0000}, 2.3669},
    {{50.0000, 2.4900, -0.0010}, {50.0000, -2.4900, 0.0009}, 7.1792},
    {{50.0000, 2.4900, -0.0010}, {50.0000, -2.4900, 0.0010}, 7.1792},
    {{50.0000, 2.4900, -0.0010}, {50.0000, -2.4900, 0.0011}, 7.2195},
    {{50.0000, 2.4900, -0.0010}, {50.0000, -2.4900, 0.0012}, 7.2195},
    {{50.0000, -0.0010, 2.4900}, {50.0000, 0.0009, -2.4900}, 4.8045},
    {{50.0000, -0.0010, 2.4900}, {50.0000, 0.0010, -2.4900}, 4.8045},
    {{50.0000, -0.0010, 2.4900}, {50.0000, 0.0011, -2.4900}, 4.7461},
    {{50.0000, 2.5000, 0.0000}, {50.0000, 0.0000, -2.5000}, 4.3065},
    {{50.0000, 2.5000, 0.0000}, {73.0000, 25.0000, -18.0000}, 27.1492},
    {{50.0000, 2.5000, 0.0000}, {61.0000, -5.0000, 29.0000}, 22.8977},
    {{50.0000, 2.5000, 0.0000}, {56.0000, -27.0000, -3.0000}, 31.9030},
    {{50.0000, 2.5000, 0.0000}, {58.0000, 24.0000, 15.0000}, 19.4535},
    {{50.0000, 2.5000, 0.0000}, {50.0000, 3.1736, 0.5854}, 1.0000},
    {{50.0000, 2.5000, 0.0000}, {50.0000, 3.2972, 0.0000}, 1.0000},
    {{50.0000, 2.5000, 0.0000}, {50.0000, 1.8634, 0.5757}, 1.0000},
    {{50.0000, 2.5000, 0.0000}, {50.0000, 3.2592, 0.3350}, 1.0000},
    {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}, 1.2644},
    {{63.0109, -31.0961, -5.8663}, {62.8187, -29.7946, -4.0864}, 1.2630},
    {{61.2901, 3.7196, -5.3901}, {61.4292, 2.2480, -4.9620}, 1.8731},
    {{35.0831, -44.1164, 3.7933}, {35.0232, -40.0716, 1.5901}, 1.8645},
    {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373},
    {{36.4612, 47.8580, 18.3852}, {36.2715, 50.5065, 21.2231}, 1.4146},
    {{90.8027, -2.0831, 1.4410}, {91.1528, -1.6435, 0.0447}, 1.4441},
    {{90.9257, -0.5406, -0.9208}, {88.6381, -0.8985, -0.7239}, 1.5381},
    {{6.7747, -0.2908, -2.4247}, {5.8714, -0.0985, -2.2286}, 0.6377},
    {{2.0776, 0.0795, -1.1350}, {0.9033, -0.0636, -0.5514}, 0.9082},
};

TEST(ClientColorDifference, PublishedPairs) {
    for (const SLabPair& pair : kPublishedPairs) {
        EXPECT_NEAR(client::colorDifference(pair.a, pair.b), pair.difference, 5e-5)
            << pair.a[0] << ' ' << pair.a[1] << ' ' << pair.a[2];
        EXPECT_NEAR(client::colorDifference(pair.b, pair.a), pair.difference, 5e-5);
    }
}

TEST(ClientColorDifference, NoneBetweenTheSame) {
    EXPECT_EQ(client::colorDifference({50, 0, 0}, {50, 0, 0}), 0);
    EXPECT_EQ(client::colorDifference({30, 20, -40}, {30, 20, -40}), 0);
}

TEST(ClientColorDifference, LabAndBack) {
    const Lab white = client::labOf(client::kWhiteD50);
    EXPECT_NEAR(white[0], 100, 1e-12);
    EXPECT_NEAR(white[1], 0, 1e-12);
    EXPECT_NEAR(white[2], 0, 1e-12);
    for (const Lab& lab : {Lab{50, 20, -30}, Lab{3, 1, -2}, Lab{-1, 0.5, 0.5}}) {
        const Lab back = client::labOf(client::xyzOfLab(lab));
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(back[i], lab[i], 1e-9);
        }
    }
}

// ---- fits ----

/// A camera, a shot and its light, which a fit has to find.
SColorFit knownFit() {
    SColorFit fit;
    fit.neutral = {0.6, 1, 0.8};
    fit.forward = {{{0.70, 0.25, 0}, {0.20, 0.95, -0.15}, {0.01, -0.20, 0}}};
    for (std::size_t row = 0; row < 3; ++row) {
        fit.forward[row][2] = client::kWhiteD50[row] - fit.forward[row][0] - fit.forward[row][1];
    }
    fit.exposure = 1.4;
    fit.light = {0.1, -0.2};
    return fit;
}

std::vector<SColorSample> samplesOf(const SColorFit& fit) {
    const client::Matrix3 back = *client::inverse(fit.forward);
    std::vector<SColorSample> samples;
    for (std::size_t i = 0; i < client::kChartPatches; ++i) {
        SColorSample sample;
        sample.target = client::publishedPatches()[i].lab;
        sample.x = static_cast<double>(i % client::kChartColumns) / 2.5 - 1;
        sample.y = static_cast<double>(i / client::kChartColumns) / 1.5 - 1;
        const client::Vector3 balanced = client::operator*(back, client::xyzOfLab(sample.target));
        for (std::size_t c = 0; c < 3; ++c) {
            sample.camera[c] = balanced[c] * fit.neutral[c] * fit.light.At(sample) / fit.exposure;
        }
        samples.push_back(sample);
    }
    return samples;
}

void expectSame(const SColorFit& got, const SColorFit& expected, double most) {
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(got.forward[i / 3][i % 3], expected.forward[i / 3][i % 3], most);
    }
    for (std::size_t c = 0; c < 3; ++c) {
        EXPECT_NEAR(got.neutral[c], expected.neutral[c], most);
    }
    EXPECT_NEAR(got.exposure, expected.exposure, most);
    EXPECT_NEAR(got.light.x, expected.light.x, most);
    EXPECT_NEAR(got.light.y, expected.light.y, most);
}

TEST(ClientColorFit, FindsAKnownCameraAndItsLight) {
    const SColorFit known = knownFit();
    const std::vector<SColorSample> samples = samplesOf(known);
    const SColorFit fit = client::fitColors(samples, true);
    expectSame(fit, known, 1e-6);
    for (const double difference : client::differencesOf(fit, samples)) {
        EXPECT_LT(difference, 1e-4);
    }
    for (const double difference : client::differencesLeftOut(samples, true)) {
        EXPECT_LT(difference, 1e-4);
    }
}

TEST(ClientColorFit, WithoutAPlaneTheLightIsEven) {
    SColorFit known = knownFit();
    const std::vector<SColorSample> uneven = samplesOf(known);
    const SColorFit fit = client::fitColors(uneven, false);
    EXPECT_EQ(fit.light.x, 0);
    EXPECT_EQ(fit.light.y, 0);
    const std::vector<double> differences = client::differencesOf(fit, uneven);
    EXPECT_GT(*std::max_element(differences.begin(), differences.end()), 1);
    known.light = {};
    expectSame(client::fitColors(samplesOf(known), false), known, 1e-6);
}

TEST(ClientColorFit, WhiteOfTheMatrixIsThatOfD50) {
    std::vector<SColorSample> samples = samplesOf(knownFit());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i].camera[i % 3] *= 1.05;
    }
    const SColorFit fit = client::fitColors(samples, true);
    for (std::size_t row = 0; row < 3; ++row) {
        EXPECT_NEAR(fit.forward[row][0] + fit.forward[row][1] + fit.forward[row][2], client::kWhiteD50[row], 1e-12);
    }
    const SColorFit again = client::fitColors(samples, true);
    EXPECT_EQ(again.forward, fit.forward);
    EXPECT_EQ(again.neutral, fit.neutral);
}

TEST(ClientColorFit, NeedsPatchesAndGreys) {
    std::vector<SColorSample> samples = samplesOf(knownFit());
    EXPECT_THROW(client::fitColors(std::span(samples).subspan(0, 18), true), CFailure) << "no grey";
    EXPECT_THROW(client::fitColors(std::span(samples).subspan(14), true), CFailure) << "ten";
    EXPECT_NO_THROW(client::fitColors(std::span(samples).subspan(10), true));
    for (SColorSample& sample : samples) {
        sample.camera = {0.5, 0.5, 0.5};
    }
    EXPECT_THROW(client::fitColors(samples, false), CFailure) << "one colour";
    for (SColorSample& sample : samples) {
        sample.camera = {0, 0, 0};
    }
    EXPECT_THROW(client::fitColors(samples, true), CFailure) << "the dark";
}

// ---- profiles ----

void expectReproduced(const SProfile& profile, const SColorFit& fit) {
    const client::Matrix3 toXyz = client::cameraToXyz(profile.colors, *profile.asShotNeutral);
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t c = 0; c < 3; ++c) {
            EXPECT_NEAR(toXyz[row][c], fit.forward[row][c] / fit.neutral[c], 2e-4);
        }
    }
}

TEST(ClientColorProfile, ReproducesTheFit) {
    const SColorFit fit = knownFit();
    for (const unsigned light : {0U, 17U, 21U, 23U}) {
        SProfile profile;
        EXPECT_EQ(client::putFit(profile, fit, light, "bench"), light == 0 ? 23 : light);
        expectReproduced(profile, fit);
        EXPECT_EQ(*profile.FindNeutral("bench"), fit.neutral);
        EXPECT_EQ(client::misfits(profile), std::vector<std::string>());
        // By the colour matrix alone it is the same, for its light adapts to D50.
        profile.colors[0].forward.reset();
        expectReproduced(profile, fit);
        const client::SChromaticity white = client::whiteOf(profile.colors, fit.neutral);
        EXPECT_NEAR(white.x, client::lightSourceWhite(profile.colors[0].illuminant)->x, 1e-4);
    }
}

TEST(ClientColorProfile, SecondLight) {
    const SColorFit fit = knownFit();
    SProfile profile;
    client::putFit(profile, fit, 17, "A");
    SColorFit day = fit;
    day.neutral = {0.5, 1, 0.9};
    client::putFit(profile, day, 21, "D65");
    EXPECT_EQ(profile.colors[0].illuminant, 17);
    EXPECT_EQ(profile.colors[1].illuminant, 21);
    expectReproduced(profile, day);
    EXPECT_EQ(client::putFit(profile, fit, 17, "A"), 17) << "takes its own place";
    EXPECT_EQ(profile.whiteBalances.size(), 2);
    EXPECT_THROW(client::putFit(profile, fit, 22, ""), client::CBadArguments);
    EXPECT_THROW(client::putFit(profile, fit, 255, ""), client::CBadArguments);
    profile.colors[1] = {};
    EXPECT_EQ(client::putFit(profile, fit, 0, ""), 17) << "the light that the profile has";
}

// ---- charts in frames ----

SCells cellsOfShot(const SChartShot& shot) {
    const STransferFormat& format = *client::findTransferFormat("raw12");
    const client::STransferredFrame frame = {&format, shot.width, shot.height, VEK_COLOR_ARRAY_RGGB,
                                             littleEndian(chartFrame(shot))};
    return client::cellsOf(frame, {1, 1, {shot.black}}, static_cast<unsigned>(shot.white));
}

void expectAt(const SChartPlace& place, const SChartShot& shot, double most) {
    const double ends[4][2] = {{0, 0}, {6, 0}, {6, 4}, {0, 4}};
    for (std::size_t i = 0; i < 4; ++i) {
        const client::SPoint corner = place.At(ends[i][0], ends[i][1]);
        EXPECT_NEAR(corner.x, shot.corners[i][0], most) << "corner " << i;
        EXPECT_NEAR(corner.y, shot.corners[i][1], most) << "corner " << i;
    }
}

double meanDifference(const SCells& cells, const SChartPlace& place) {
    const std::vector<SColorSample> samples =
        client::usableSamples(client::patchValues(cells, place, client::publishedPatches()));
    const std::vector<double> differences = client::differencesOf(client::fitColors(samples, true), samples);
    return std::accumulate(differences.begin(), differences.end(), 0.0) / static_cast<double>(differences.size());
}

TEST(ClientColorChart, FoundInEveryOrientation) {
    SChartShot shot;
    shot.black = 64;
    shot.noise = 20;
    shot.lightX = 0.15;
    shot.lightY = -0.1;
    shot.corners = {{{120, 100}, {520, 70}, {560, 390}, {90, 350}}};
    for (int turn = 0; turn < 4; ++turn) {
        const SCells cells = cellsOfShot(shot);
        const std::optional<SChartPlace> place = client::foundChart(cells, client::publishedPatches());
        ASSERT_TRUE(place) << "turn " << turn;
        expectAt(*place, shot, 6);
        EXPECT_LT(meanDifference(cells, *place), 0.6);
        // A quarter more, around the frame's middle and within it.
        for (auto& corner : shot.corners) {
            const double x = corner[0] - 320;
            corner[0] = 320 - (corner[1] - 240) * 1.1;
            corner[1] = 240 + x / 1.1;
        }
    }
}

TEST(ClientColorChart, FoundAskewAndSmall) {
    SChartShot shot;
    shot.noise = 10;
    shot.corners = {{{250, 90}, {450, 210}, {370, 340}, {170, 220}}};
    const SCells cells = cellsOfShot(shot);
    const std::optional<SChartPlace> place = client::foundChart(cells, client::publishedPatches());
    ASSERT_TRUE(place);
    expectAt(*place, shot, 6);
}

TEST(ClientColorChart, FoundWhereSomePatchesAreLost) {
    SChartShot shot;
    shot.exposure = 1.3; // white is clipped
    const SCells cells = cellsOfShot(shot);
    const std::optional<SChartPlace> place = client::foundChart(cells, client::publishedPatches());
    ASSERT_TRUE(place);
    expectAt(*place, shot, 6);
    const std::vector<SPatchValue> values = client::patchValues(cells, *place, client::publishedPatches());
    EXPECT_LT(client::usableSamples(values).size(), values.size());
}

TEST(ClientColorChart, NotFoundWhereNoneIs) {
    SChartShot shot;
    shot.corners = {{{-900, -900}, {-800, -900}, {-800, -800}, {-900, -800}}};
    EXPECT_FALSE(client::foundChart(cellsOfShot(shot), client::publishedPatches())) << "even";
    shot.noise = 300;
    EXPECT_FALSE(client::foundChart(cellsOfShot(shot), client::publishedPatches())) << "noise";
    SChartShot mirrored;
    std::swap(mirrored.corners[0], mirrored.corners[1]);
    std::swap(mirrored.corners[2], mirrored.corners[3]);
    EXPECT_FALSE(client::foundChart(cellsOfShot(mirrored), client::publishedPatches())) << "mirrored";
    for (const std::uint32_t side : {2U, 4U, 7U}) {
        shot.width = shot.height = side;
        EXPECT_FALSE(client::foundChart(cellsOfShot(shot), client::publishedPatches())) << side;
    }
}

TEST(ClientColorChart, PlacedByCornersFromAnyOfThemOn) {
    const SChartShot shot;
    const SCells cells = cellsOfShot(shot);
    Quad corners = {{{115, 95}, {525, 95}, {525, 365}, {115, 365}}};
    for (int turn = 0; turn < 8; ++turn) {
        expectAt(client::placedChart(cells, corners, client::publishedPatches()), shot, 3);
        std::rotate(corners.begin(), corners.begin() + 1, corners.end());
        if (turn == 3) {
            std::reverse(corners.begin(), corners.end());
        }
    }
    for (const Quad& wrong :
         {Quad{{{115, 95}, {525, 365}, {525, 95}, {115, 365}}}, Quad{{{115, 95}, {115, 95}, {115, 95}, {115, 95}}},
          Quad{{{115, 95}, {1525, 95}, {1525, 365}, {115, 365}}},
          Quad{{{-1e300, 95}, {1e300, 95}, {525, 365}, {115, 365}}}}) {
        EXPECT_THROW(client::placedChart(cells, wrong, client::publishedPatches()), client::CBadArguments);
    }
    const Quad tiny = {{{115, 95}, {117, 95}, {117, 96}, {115, 96}}};
    EXPECT_THROW(client::placedChart(cells, tiny, client::publishedPatches()), CFailure);
}

/// The simulated camera's chart has other colours; its patches lie in the same way.
TEST(ClientColorChart, FoundInTheSimulatedCamerasScene) {
    const sim::SCameraModel& model = sim::findCameraModel("global-2m");
    sim::SSensorConfig sensor = sim::CSimulatedDriver::DefaultSensor(model);
    sensor.width = 1200;
    sensor.height = 800;
    sim::CSimulatedDriver driver(model, sensor);
    const std::vector<sim::SPatch> drawn = sim::CScene::Chart(1200, 800).Patches();
    ASSERT_EQ(drawn.size(), client::kChartPatches);
    const client::Matrix3 toXyz = *client::inverse(client::xyzToSrgb());
    ChartPatches patches;
    for (std::size_t i = 0; i < patches.size(); ++i) {
        const auto& [red, green, blue] = drawn[i].color;
        patches[i].lab = client::labOf(client::operator*(toXyz, client::Vector3{red, green, blue}));
    }
    const STransferFormat& format = *client::findTransferFormat("raw10");
    driver.SetTransferFormat(format.code);
    const client::STransferredFrame frame = {&format, 1200, 800, static_cast<unsigned short>(driver.ColorArray()),
                                             driver.CaptureFrame()};
    const SCells cells = client::cellsOf(frame, SBlackLevels(), 1023);
    const std::optional<SChartPlace> place = client::foundChart(cells, patches);
    ASSERT_TRUE(place);
    for (std::size_t i : {0U, 5U, 18U, 23U}) {
        const Quad quad = place->Patch(i, 0);
        EXPECT_NEAR(quad[0].x, drawn[i].x + drawn[i].width / 2.0, 8);
        EXPECT_NEAR(quad[0].y, drawn[i].y + drawn[i].height / 2.0, 8);
    }
}

TEST(ClientColorChart, Picture) {
    const SChartShot shot;
    const SCells cells = cellsOfShot(shot);
    const SChartPlace place =
        client::placedChart(cells, {{{115, 95}, {525, 95}, {525, 365}, {115, 365}}}, client::publishedPatches());
    const std::vector<SPatchValue> values = client::patchValues(cells, place, client::publishedPatches());
    const SColorFit fit = client::fitColors(client::usableSamples(values), true);
    const client::SImage image = client::chartPicture(cells, place, client::publishedPatches(), values, fit);
    EXPECT_EQ(image.width, 1200U);
    EXPECT_EQ(image.height, 900U + 440U);
    EXPECT_EQ(image.depth, 8);
    // The blue patch, beside its outlines: that of the third row's beginning.
    const std::size_t at = (497 * std::size_t{1200} + 226) * 3;
    EXPECT_GT(image.samples[at + 2], image.samples[at] + 60);
}

} // namespace

} // namespace vek::test
