// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/drawing/Plot.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

namespace vek::test {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr client::SColor kTestRed = {220, 10, 10};

client::SColor colorAt(const client::SImage& image, double x, double y) {
    const std::size_t place =
        static_cast<std::size_t>(y) * image.RowSamples() + static_cast<std::size_t>(x) * image.channels;
    const auto byteOf = [&](std::size_t i) { return static_cast<std::uint8_t>(image.samples[place + i]); };
    return {byteOf(0), byteOf(1), byteOf(2)};
}

std::size_t countOf(const client::SImage& image, const client::SColor& color) {
    std::size_t count = 0;
    for (std::uint32_t y = 0; y < image.height; ++y) {
        for (std::uint32_t x = 0; x < image.width; ++x) {
            count += colorAt(image, x, y) == color ? 1 : 0;
        }
    }
    return count;
}

client::SImage grayImage(std::uint32_t width, std::uint32_t height, std::uint16_t value, unsigned short depth = 8) {
    return {width, height, 1, depth, std::vector<std::uint16_t>(std::size_t{width} * height, value)};
}

/// A plot on a canvas of its own, and where it lies.
struct SDrawn {
    explicit SDrawn(const client::SPlot& plot, std::uint32_t width = 900, std::uint32_t height = 600) {
        client::CCanvas canvas(width, height);
        area = client::drawPlot(canvas, {0, 0, static_cast<double>(width), static_cast<double>(height)}, plot);
        image = canvas.Image();
    }
    client::SPlotArea area;
    client::SImage image;
};

client::SPlot plotOf(client::ESeries kind, std::vector<client::SPoint> points) {
    return {"A plot", {"x"}, {"y"}, {{"series", kind, std::move(points), kTestRed}}};
}

// ---- the canvas ----

TEST(ClientDrawing, AnImageStaysUnderWhatIsDrawnOnIt) {
    client::SImage photo{4, 3, 3, 8, {}};
    for (std::uint16_t i = 0; i < 36; ++i) {
        photo.samples.push_back(static_cast<std::uint16_t>(7 * i));
    }
    EXPECT_EQ(client::CCanvas(photo).Image().samples, photo.samples);

    client::CCanvas canvas(photo);
    canvas.Fill({1, 1, 2, 1}, kTestRed);
    const client::SImage drawn = canvas.Image();
    for (std::uint32_t y = 0; y < 3; ++y) {
        for (std::uint32_t x = 0; x < 4; ++x) {
            const bool inside = y == 1 && (x == 1 || x == 2);
            EXPECT_EQ(colorAt(drawn, x, y), inside ? kTestRed : colorAt(photo, x, y)) << x << ", " << y;
        }
    }
}

TEST(ClientDrawing, GreyAndDeepImagesBecomeEightBitColour) {
    const client::SImage deep = client::CCanvas(grayImage(2, 2, 0xABCD, 16)).Image();
    EXPECT_EQ(deep.channels, 3);
    EXPECT_EQ(deep.depth, 8);
    EXPECT_EQ(colorAt(deep, 1, 1), (client::SColor{0xAB, 0xAB, 0xAB}));
    EXPECT_EQ(colorAt(client::CCanvas(2, 2).Image(), 1, 1), client::kWhite);
}

TEST(ClientDrawing, ShapesLieWhereTheyAreAskedFor) {
    client::CCanvas canvas(40, 40);
    canvas.FillPolygon(std::vector<client::SPoint>{{0, 0}, {20, 0}, {0, 20}}, kTestRed);
    canvas.Line({0, 30.5}, {40, 30.5}, {kTestRed});
    canvas.Disc({30, 10}, 5, kTestRed);
    canvas.Outline({30.5, 35.5, 5, 3}, {kTestRed});
    const client::SImage image = canvas.Image();
    for (const auto& [x, y] : {std::pair{5, 5}, {0, 30}, {39, 30}, {30, 10}, {33, 35}, {30, 37}}) {
        EXPECT_EQ(colorAt(image, x, y), kTestRed) << x << ", " << y;
    }
    for (const auto& [x, y] : {std::pair{15, 15}, {20, 29}, {20, 31}, {36, 10}, {33, 37}}) {
        EXPECT_EQ(colorAt(image, x, y), client::kWhite) << x << ", " << y;
    }
}

TEST(ClientDrawing, WhatIsOutsideOrNoNumberChangesNothing) {
    client::CCanvas canvas(20, 20);
    canvas.Fill({kNaN, 0, 5, 5}, kTestRed);
    canvas.Fill({0, 0, kInfinity, 5}, kTestRed);
    canvas.Line({0, 0}, {kNaN, 20}, {kTestRed});
    canvas.Line(std::vector<client::SPoint>{}, {kTestRed});
    canvas.FillPolygon(std::vector<client::SPoint>{{1, 1}}, kTestRed);
    canvas.Disc({5, kInfinity}, 4, kTestRed);
    canvas.Text({kNaN, 10}, "text", {});
    canvas.Fill({-1e30, 30, 1e31, 1e31}, kTestRed);
    canvas.Clip({2, 2, 3, 3});
    canvas.Fill({10, 10, 5, 5}, kTestRed);
    canvas.Unclip();
    EXPECT_EQ(countOf(canvas.Image(), client::kWhite), 400U);
    canvas.Fill({-1e30, -1e30, 1e31, 1e31}, kTestRed);
    EXPECT_EQ(countOf(canvas.Image(), kTestRed), 400U);
}

TEST(ClientDrawing, TextIsDrawnWhateverItsBytesAre) {
    const auto inked = [](std::string_view text, const client::STextStyle& style = {}) {
        client::CCanvas canvas(200, 60);
        canvas.Text({100, 30}, text, style);
        const client::SImage image = canvas.Image();
        return static_cast<std::size_t>(200 * 60) - countOf(image, client::kWhite);
    };
    EXPECT_GT(inked("plain"), 40U);
    EXPECT_GT(inked("\xCE\x94"
                    "E \xC2\xB5m"),
              40U);
    EXPECT_GT(inked("broken \xFF\xC3 bytes"), 40U);
    EXPECT_EQ(inked(""), 0U);
    EXPECT_EQ(inked("\n\t"), 0U);
    client::CCanvas canvas(10, 10);
    EXPECT_NEAR(canvas.TextWidth("twice twice ", {}), 2 * canvas.TextWidth("twice ", {}), 0.01);
    // To the right of its place, to the left, and above it.
    for (const auto& [across, upward] :
         {std::pair{client::EAcross::Left, false}, {client::EAcross::Right, false}, {client::EAcross::Left, true}}) {
        client::STextStyle style;
        style.across = across;
        style.upward = upward;
        client::CCanvas sheet(200, 200);
        sheet.Text({across == client::EAcross::Left && !upward ? 103.0 : 100.0, 100}, "word", style);
        const client::SImage image = sheet.Image();
        std::size_t left = 0;
        std::size_t all = 0;
        for (std::uint32_t y = 0; y < 200; ++y) {
            for (std::uint32_t x = 0; x < 200; ++x) {
                const bool ink = colorAt(image, x, y) != client::kWhite;
                all += ink ? 1 : 0;
                left += ink && x < 102 ? 1 : 0;
            }
        }
        EXPECT_GT(all, 40U);
        EXPECT_EQ(left, across == client::EAcross::Right || upward ? all : 0);
    }
}

TEST(ClientDrawing, AHaloSetsTextOffItsBackground) {
    client::CCanvas canvas(grayImage(100, 40, 0));
    client::STextStyle style;
    style.size = 20;
    style.halo = true;
    canvas.Text({10, 30}, "dark", style);
    EXPECT_GT(countOf(canvas.Image(), client::kWhite), 50U);
    client::CCanvas bright(100, 40);
    style.color = client::kWhite;
    bright.Text({10, 30}, "light", style);
    EXPECT_GT(countOf(bright.Image(), client::kBlack), 50U);
}

TEST(ClientDrawing, ACanvasBeyondItsLargestSideIsRefused) {
    EXPECT_THROW(client::CCanvas(client::CCanvas::kMostSide + 1, 1), client::CFailure);
    EXPECT_THROW(client::CCanvas(1, 65535), client::CFailure);
    EXPECT_EQ(client::CCanvas(client::CCanvas::kMostSide, 1).Image().width, client::CCanvas::kMostSide);
}

// ---- scales ----

std::vector<std::string> textsOf(const client::SScale& scale) {
    std::vector<std::string> texts;
    for (const client::STick& tick : scale.ticks) {
        if (!tick.text.empty()) {
            texts.push_back(tick.text);
        }
    }
    return texts;
}

using Texts = std::vector<std::string>;

TEST(ClientDrawing, TicksAreRoundNumbers) {
    const client::SAxis axis;
    const client::SScale tens = client::scaleFor(axis, 3, 97, 5);
    EXPECT_EQ(textsOf(tens), (Texts{"0", "20", "40", "60", "80", "100"}));
    EXPECT_DOUBLE_EQ(tens.low, 0);
    EXPECT_DOUBLE_EQ(tens.high, 100);
    EXPECT_EQ(textsOf(client::scaleFor(axis, -0.031, 0.0499, 5)),
              (Texts{"-0.04", "-0.02", "0.00", "0.02", "0.04", "0.06"}));
    EXPECT_EQ(textsOf(client::scaleFor(axis, 0, 4e9, 4)), (Texts{"0", "1e+09", "2e+09", "3e+09", "4e+09"}));
    EXPECT_EQ(textsOf(client::scaleFor({"", false, 1, 9}, 3, 4, 5)), (Texts{"2", "4", "6", "8"}));
    EXPECT_EQ(textsOf(client::scaleFor({"", false, {}, {}, {"a", "b"}}, 3, 4, 5)), (Texts{"a", "b"}));
    EXPECT_DOUBLE_EQ(tens.PartOf(25), 0.25);
}

TEST(ClientDrawing, LogarithmicTicksAreDecades) {
    const client::SAxis axis{"", true};
    const client::SScale scale = client::scaleFor(axis, 0.02, 25000, 8);
    EXPECT_EQ(textsOf(scale), (Texts{"0.1", "1", "10", "100", "1000", "10000"}));
    EXPECT_DOUBLE_EQ(scale.low, 0.02);
    EXPECT_DOUBLE_EQ(scale.high, 50000);
    EXPECT_EQ(textsOf(client::scaleFor(axis, 1, 100, 8)), (Texts{"1", "2", "5", "10", "20", "50", "100"}));
    EXPECT_EQ(textsOf(client::scaleFor(axis, 1e-5, 1e5, 5)).back(), "10000");
    EXPECT_EQ(textsOf(client::scaleFor(axis, 1e5, 1e7, 4)),
              (Texts{"10\xE2\x81\xB5", "10\xE2\x81\xB6", "10\xE2\x81\xB7"}));
    EXPECT_NEAR(client::scaleFor(axis, 1, 100, 8).PartOf(10), 0.5, 1e-12);
    EXPECT_TRUE(std::isnan(scale.PartOf(-1)));
}

TEST(ClientDrawing, AnyRangeGivesAScale) {
    const double values[] = {kNaN,   kInfinity, -kInfinity, 0,       1,    -1,    5e-324, -5e-324,
                             1e-300, 1e300,     -1e300,     1.7e308, 1e10, 1e-10, 4095.5, 4095.500000001};
    for (const bool logarithmic : {false, true}) {
        for (const double low : values) {
            for (const double high : values) {
                for (const bool fixed : {false, true}) {
                    client::SAxis axis{"", logarithmic};
                    if (fixed) {
                        axis.low = low;
                        axis.high = high;
                    }
                    const client::SScale scale = client::scaleFor(axis, low, high, 6);
                    SCOPED_TRACE(::testing::Message() << low << " " << high << " " << logarithmic << fixed);
                    EXPECT_LT(scale.low, scale.high);
                    EXPECT_TRUE(std::isfinite(scale.PartOf((scale.low + scale.high) / 2)));
                    EXPECT_LT(scale.ticks.size(), 400U);
                    EXPECT_GE(scale.ticks.size(), 1U);
                }
            }
        }
    }
}

// ---- plots ----

TEST(ClientDrawing, BarsStandWhereTheyShould) {
    client::SPlot plot = plotOf(client::ESeries::Bars, {{0, 2}, {1, 4}, {2, 0}, {3, -1}});
    plot.series[0].barColors = {{10, 10, 200}};
    const SDrawn drawn(plot);
    const auto at = [&](double x, double y) {
        const client::SPoint place = drawn.area.PlaceOf({x, y});
        return colorAt(drawn.image, place.x, place.y);
    };
    EXPECT_EQ(at(0, 1), (client::SColor{10, 10, 200}));
    EXPECT_EQ(at(1, 0.2), kTestRed);
    EXPECT_EQ(at(1, 3.9), kTestRed);
    EXPECT_EQ(at(1.35, 3.9), kTestRed);
    EXPECT_NE(at(1.45, 3.9), kTestRed);
    EXPECT_NE(at(1, 4.1), kTestRed);
    EXPECT_NE(at(2, 0.1), kTestRed);
    EXPECT_EQ(at(3, -0.9), kTestRed);
    EXPECT_NE(at(3, 0.2), kTestRed);
    EXPECT_LE(drawn.area.x.low, -0.5);
    EXPECT_GE(drawn.area.x.high, 3.5);
}

TEST(ClientDrawing, BarsOfSeveralSeriesStandSideBySide) {
    client::SPlot plot = plotOf(client::ESeries::Bars, {{0, 1}, {1, 1}});
    plot.series.push_back({"other", client::ESeries::Bars, {{0, 1}, {1, 1}}, client::SColor{0, 0, 250}});
    plot.x.names = {"one", "two"};
    const SDrawn drawn(plot);
    const client::SPoint left = drawn.area.PlaceOf({0.8, 0.5});
    const client::SPoint right = drawn.area.PlaceOf({1.2, 0.5});
    EXPECT_EQ(colorAt(drawn.image, left.x, left.y), kTestRed);
    EXPECT_EQ(colorAt(drawn.image, right.x, right.y), (client::SColor{0, 0, 250}));
}

TEST(ClientDrawing, PointsAndLinesReachTheEndsOfTheAxes) {
    for (const client::ESeries kind : {client::ESeries::Points, client::ESeries::Line}) {
        const SDrawn drawn(plotOf(kind, {{0, 0}, {5, 50}, {10, 100}}));
        EXPECT_DOUBLE_EQ(drawn.area.x.low, 0);
        EXPECT_DOUBLE_EQ(drawn.area.x.high, 10);
        const client::SRectangle& area = drawn.area.area;
        EXPECT_EQ(colorAt(drawn.image, area.x + area.width / 2, area.y + area.height / 2), kTestRed);
        EXPECT_EQ(colorAt(drawn.image, area.x + 1, area.Bottom() - 1), kTestRed);
        // The axes: left of the area and below it, and no further.
        const client::SColor axis = colorAt(drawn.image, area.x - 1, area.y + 10);
        EXPECT_EQ(axis, colorAt(drawn.image, area.Right() - 10, area.Bottom()));
        EXPECT_EQ(axis, colorAt(drawn.image, area.x - 1, area.Bottom() - 20));
        EXPECT_LT(axis.red, 100);
        EXPECT_EQ(colorAt(drawn.image, area.Right() + 1, area.Bottom()), client::kWhite);
        EXPECT_EQ(colorAt(drawn.image, area.x - 1, area.y - 3), client::kWhite);
    }
}

TEST(ClientDrawing, HistogramsAreSteps) {
    const SDrawn drawn(plotOf(client::ESeries::Steps, {{0, 10}, {1, 28}, {2, 20}}));
    EXPECT_DOUBLE_EQ(drawn.area.x.high, 3);
    const auto top = drawn.area.PlaceOf({1.5, 28});
    const client::SColor line = colorAt(drawn.image, top.x, top.y);
    EXPECT_LT(line.green, 60); // it lies between two rows
    const auto inside = drawn.area.PlaceOf({2.45, 9});
    const client::SColor pale = colorAt(drawn.image, inside.x, inside.y);
    EXPECT_GT(pale.red, pale.green);
    // Nothing counted on a logarithmic axis: the bottom.
    client::SPlot logarithmic = plotOf(client::ESeries::Steps, {{0, 0}, {1, 100}, {2, 0}, {3, 7}});
    logarithmic.y.logarithmic = true;
    EXPECT_GT(countOf(SDrawn(logarithmic).image, kTestRed), 100U);
}

TEST(ClientDrawing, PlotsOfOddNumbersAreDrawn) {
    const std::vector<std::vector<client::SPoint>> contents = {{},
                                                               {{1, 1}},
                                                               {{0, 0}},
                                                               {{1, 7}, {2, 7}, {3, 7}},
                                                               {{1, 7}, {1, 7}},
                                                               {{kNaN, 1}, {2, kNaN}},
                                                               {{1, 1}, {2, kInfinity}, {3, 3}, {-kInfinity, 4}},
                                                               {{1, -5}, {2, 0}, {3, 1e-320}, {4, 1.7e308}},
                                                               {{-1e300, -1e300}, {1e300, 1e300}}};
    for (const client::ESeries kind :
         {client::ESeries::Points, client::ESeries::Line, client::ESeries::Bars, client::ESeries::Steps}) {
        for (std::size_t i = 0; i < contents.size(); ++i) {
            for (const bool logarithmic : {false, true}) {
                SCOPED_TRACE(::testing::Message() << static_cast<int>(kind) << " " << i << " " << logarithmic);
                client::SPlot plot = plotOf(kind, contents[i]);
                plot.x.logarithmic = plot.y.logarithmic = logarithmic;
                const SDrawn drawn(plot, 300, 200);
                EXPECT_EQ(drawn.image.samples.size(), 300U * 200U * 3U);
                EXPECT_LT(countOf(drawn.image, client::kWhite), 300U * 200U);
            }
        }
    }
    EXPECT_EQ(client::plotImage({}, 20, 10).samples.size(), 600U);
    EXPECT_EQ(client::plotImage({}).width, 900U);
}

TEST(ClientDrawing, ALineHasGapsWhereItHasNoNumbers) {
    const SDrawn drawn(plotOf(client::ESeries::Line, {{0, 5}, {4, 5}, {5, kNaN}, {6, 5}, {10, 5}}));
    const auto redAt = [&](double x) {
        const client::SPoint place = drawn.area.PlaceOf({x, 5});
        return colorAt(drawn.image, place.x, place.y) == kTestRed;
    };
    EXPECT_TRUE(redAt(2));
    EXPECT_FALSE(redAt(5));
    EXPECT_TRUE(redAt(8));
}

TEST(ClientDrawing, SeriesHaveColoursOfTheirOwn) {
    for (std::size_t a = 0; a < 7; ++a) {
        for (std::size_t b = 0; b < a; ++b) {
            const client::SColor one = client::seriesColor(a);
            const client::SColor other = client::seriesColor(b);
            EXPECT_GT(std::abs(one.red - other.red) + std::abs(one.green - other.green) +
                          std::abs(one.blue - other.blue),
                      60);
        }
    }
    EXPECT_EQ(client::seriesColor(7), client::seriesColor(0));
}

} // namespace

} // namespace vek::test
