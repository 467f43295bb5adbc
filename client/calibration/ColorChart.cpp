// SPDX-License-Identifier: Apache-2.0
#include "client/calibration/ColorChart.h"

#include "client/Errors.h"
#include "client/files/InputFile.h"
#include "client/files/JsonText.h"
#include "client/frames/RawFrame.h"
#include "formats/ColorArrays.h"

#include <Eigen/QR>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <queue>
#include <utility>

namespace vek::client {

namespace {

// ---- cells ----

/// Channel (red 0, green 1, blue 2) that a filter passes, by slot.
constexpr std::size_t kFilterChannels[kColorSlots] = {0, 1, 1, 2};
constexpr float kShares[kColorSlots] = {1, 0.5F, 0.5F, 1};

// ---- where patches lie ----

/// The map of four sides that takes points to others, by linear least squares; nothing where they lie so that there is
/// none. from: around the origin, which becomes a point of the picture.
std::optional<Matrix3> homographyOf(std::span<const SPoint> from, std::span<const SPoint> to) {
    const auto rows = static_cast<Eigen::Index>(2 * from.size());
    Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(rows, 8);
    Eigen::VectorXd right(rows);
    for (std::size_t i = 0; i < from.size(); ++i) {
        const auto row = static_cast<Eigen::Index>(2 * i);
        const auto [x, y] = from[i];
        matrix.row(row) << x, y, 1, 0, 0, 0, -x * to[i].x, -y * to[i].x;
        matrix.row(row + 1) << 0, 0, 0, x, y, 1, -x * to[i].y, -y * to[i].y;
        right[row] = to[i].x;
        right[row + 1] = to[i].y;
    }
    const Eigen::ColPivHouseholderQR<Eigen::MatrixXd> solver(matrix);
    const Eigen::VectorXd h = solver.solve(right);
    if (solver.rank() < 8 || !h.allFinite()) {
        return std::nullopt;
    }
    return Matrix3{{{h[0], h[1], h[2]}, {h[3], h[4], h[5]}, {h[6], h[7], 1}}};
}

SPoint mapped(const Matrix3& matrix, double x, double y) {
    const Vector3 point = matrix * Vector3{x, y, 1};
    return {point[0] / point[2], point[1] / point[2]};
}

/// Twice the area of a quad, positive where it goes around as a frame's rows and columns do: right, then down.
double doubleArea(const Quad& quad) {
    double sum = 0;
    for (std::size_t i = 0; i < quad.size(); ++i) {
        const SPoint& a = quad[i];
        const SPoint& b = quad[(i + 1) % quad.size()];
        sum += a.x * b.y - b.x * a.y;
    }
    return sum;
}

bool isConvex(const Quad& quad) {
    for (std::size_t i = 0; i < quad.size(); ++i) {
        const SPoint& a = quad[i];
        const SPoint& b = quad[(i + 1) % quad.size()];
        const SPoint& c = quad[(i + 2) % quad.size()];
        if (!((b.x - a.x) * (c.y - b.y) - (b.y - a.y) * (c.x - b.x) > 0)) {
            return false;
        }
    }
    return true;
}

bool isInside(const SPoint& point, const SCells& cells) {
    return point.x >= 0 && point.y >= 0 && point.x <= 2.0 * cells.width && point.y <= 2.0 * cells.height;
}

/// Whether the middles of all patches lie in the frame, and nothing is behind the camera or mirrored.
bool isSeen(const SChartPlace& place, const SCells& cells) {
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        const Quad quad = place.Patch(patch, kMeasuredSide);
        const auto inside = [&](const SPoint& point) { return isInside(point, cells); };
        if (!isConvex(quad) || !std::all_of(quad.begin(), quad.end(), inside)) {
            return false;
        }
    }
    return true;
}

// ---- values ----

/// The cells whose middles lie in a quad, which is convex and goes around to the right and down.
std::vector<std::size_t> cellsInside(const SCells& cells, const Quad& quad) {
    double top = quad[0].y;
    double bottom = quad[0].y;
    double left = quad[0].x;
    double right = quad[0].x;
    for (const SPoint& corner : quad) {
        top = std::min(top, corner.y);
        bottom = std::max(bottom, corner.y);
        left = std::min(left, corner.x);
        right = std::max(right, corner.x);
    }
    const auto index = [](double frame, std::uint32_t size) {
        return static_cast<std::uint32_t>(std::clamp(frame / 2, 0.0, static_cast<double>(size)));
    };
    std::vector<std::size_t> found;
    for (std::uint32_t y = index(top, cells.height); y < index(bottom + 2, cells.height); ++y) {
        for (std::uint32_t x = index(left, cells.width); x < index(right + 2, cells.width); ++x) {
            const double atX = 2.0 * x + 1;
            const double atY = 2.0 * y + 1;
            bool inside = true;
            for (std::size_t i = 0; i < quad.size() && inside; ++i) {
                const SPoint& a = quad[i];
                const SPoint& b = quad[(i + 1) % quad.size()];
                inside = (b.x - a.x) * (atY - a.y) - (b.y - a.y) * (atX - a.x) >= 0;
            }
            if (inside) {
                found.push_back(std::size_t{y} * cells.width + x);
            }
        }
    }
    return found;
}

/// The mean of what lies within a few deviations of the median (that of the distances to it, scaled to be one of
/// normally distributed values): dust, shine and defect pixels do not count. values: at least one.
double robustMean(std::vector<float>& values) {
    const auto medianOf = [](std::vector<float>& of) {
        const auto middle = of.begin() + static_cast<std::ptrdiff_t>(of.size() / 2);
        std::nth_element(of.begin(), middle, of.end());
        return *middle;
    };
    constexpr float kToDeviation = 1.4826F;
    constexpr float kFar = 3;
    const float median = medianOf(values);
    std::vector<float> distances(values.size());
    std::transform(values.begin(), values.end(), distances.begin(),
                   [=](float value) { return std::abs(value - median); });
    const float most = kFar * kToDeviation * medianOf(distances);
    double sum = 0;
    std::size_t count = 0;
    for (const float value : values) {
        if (std::abs(value - median) <= most) {
            sum += static_cast<double>(value);
            ++count;
        }
    }
    return sum / static_cast<double>(count);
}

// ---- a small picture in which the chart is looked for ----

struct SSmallPicture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    double scale = 1;                         ///< pixels of the frame a pixel
    std::vector<std::array<float, 3>> colors; ///< about as bright as they look
};

SSmallPicture smallPicture(const SCells& cells) {
    constexpr std::uint32_t kLargestSide = 640;
    const std::uint32_t factor = (std::max(cells.width, cells.height) + kLargestSide - 1) / kLargestSide;
    SSmallPicture picture;
    picture.width = cells.width / factor;
    picture.height = cells.height / factor;
    picture.scale = 2.0 * factor;
    picture.colors.resize(std::size_t{picture.width} * picture.height);
    const float share = 1.0F / static_cast<float>(factor * factor);
    for (std::uint32_t y = 0; y < picture.height * factor; ++y) {
        for (std::uint32_t x = 0; x < picture.width * factor; ++x) {
            const std::array<float, 3>& cell = cells.colors[std::size_t{y} * cells.width + x];
            std::array<float, 3>& pixel = picture.colors[std::size_t{y / factor} * picture.width + x / factor];
            for (std::size_t c = 0; c < 3; ++c) {
                pixel[c] += share * cell[c];
            }
        }
    }
    if (picture.colors.empty()) {
        return picture;
    }
    // Of each colour, what is bright becomes 1, and the root makes steps of dark and of bright patches alike.
    constexpr double kBright = 0.98;
    std::vector<float> values(picture.colors.size());
    for (std::size_t c = 0; c < 3; ++c) {
        std::transform(picture.colors.begin(), picture.colors.end(), values.begin(),
                       [=](const std::array<float, 3>& color) { return color[c]; });
        const auto bright =
            values.begin() + static_cast<std::ptrdiff_t>(kBright * static_cast<double>(values.size() - 1));
        std::nth_element(values.begin(), bright, values.end());
        const float white = std::max(*bright, 1e-4F);
        for (std::array<float, 3>& color : picture.colors) {
            color[c] = std::sqrt(std::max(color[c] / white, 0.0F));
        }
    }
    return picture;
}

/// How much each pixel and its eight neighbours differ, in the colour that differs most; the margin is all edge.
std::vector<float> contrastOf(const SSmallPicture& picture) {
    std::vector<float> contrast(picture.colors.size(), std::numeric_limits<float>::infinity());
    for (std::size_t y = 1; y + 1 < picture.height; ++y) {
        for (std::size_t x = 1; x + 1 < picture.width; ++x) {
            float most = 0;
            for (std::size_t c = 0; c < 3; ++c) {
                float low = std::numeric_limits<float>::max();
                float high = 0;
                for (std::size_t i = 0; i < 9; ++i) {
                    const float value = picture.colors[(y + i / 3 - 1) * picture.width + x + i % 3 - 1][c];
                    low = std::min(low, value);
                    high = std::max(high, value);
                }
                most = std::max(most, high - low);
            }
            contrast[y * picture.width + x] = most;
        }
    }
    return contrast;
}

/// An even area that may be a patch.
struct SArea {
    SPoint middle; ///< in the small picture
    double size = 0;
};

/// Areas of pixels that differ less from their neighbours than a threshold and that have four sides about as long: an
/// even parallelogram of the area A has moments whose determinant is (A / 12)^2, whatever its sides and angles.
void addAreas(const SSmallPicture& picture, const std::vector<float>& contrast, float threshold,
              std::vector<SArea>& areas) {
    constexpr double kLeastPixels = 25;
    constexpr double kLeastFill = 0.90; // a triangle has 0.87, a disc 1.05
    constexpr double kMostFill = 1.06;
    constexpr double kLongest = 2.5; // times the shorter side
    const double mostPixels = static_cast<double>(picture.colors.size()) / kChartPatches;
    std::vector<bool> seen(contrast.size());
    std::vector<std::size_t> pixels;
    for (std::size_t start = 0; start < contrast.size(); ++start) {
        if (seen[start] || !(contrast[start] < threshold)) {
            continue;
        }
        pixels.assign(1, start);
        seen[start] = true;
        for (std::size_t next = 0; next < pixels.size(); ++next) {
            const std::size_t at = pixels[next]; // never of the margin, whose contrast is infinite
            for (const std::size_t beside : {at - 1, at + 1, at - picture.width, at + picture.width}) {
                if (!seen[beside] && contrast[beside] < threshold) {
                    seen[beside] = true;
                    pixels.push_back(beside);
                }
            }
        }
        const auto size = static_cast<double>(pixels.size());
        if (size < kLeastPixels || size > mostPixels) {
            continue;
        }
        double x = 0;
        double y = 0;
        double xx = 0;
        double xy = 0;
        double yy = 0;
        for (const std::size_t at : pixels) {
            const auto column = static_cast<double>(at % picture.width) + 0.5;
            const std::size_t above = at / picture.width;
            const auto row = static_cast<double>(above) + 0.5;
            x += column;
            y += row;
            xx += column * column;
            xy += column * row;
            yy += row * row;
        }
        const SPoint middle = {x / size, y / size};
        // Each pixel is a square and not a point: a twelfth more.
        xx = xx / size - middle.x * middle.x + 1.0 / 12;
        xy = xy / size - middle.x * middle.y;
        yy = yy / size - middle.y * middle.y + 1.0 / 12;
        const double determinant = xx * yy - xy * xy;
        const double spread = std::hypot((xx - yy) / 2, xy);
        const double ratio = ((xx + yy) / 2 + spread) / std::max((xx + yy) / 2 - spread, 1e-9);
        const double fill = size / (12 * std::sqrt(std::max(determinant, 1e-9)));
        if (fill >= kLeastFill && fill <= kMostFill && ratio <= kLongest * kLongest) {
            areas.push_back({middle, size});
        }
    }
}

/// The areas of several thresholds, the largest of those that have about the same middle.
std::vector<SArea> evenAreas(const SSmallPicture& picture) {
    const std::vector<float> contrast = contrastOf(picture);
    std::vector<SArea> all;
    for (const float threshold : {0.01F, 0.016F, 0.025F, 0.04F, 0.06F, 0.09F, 0.13F, 0.18F}) {
        addAreas(picture, contrast, threshold, all);
    }
    std::stable_sort(all.begin(), all.end(), [](const SArea& a, const SArea& b) { return a.size > b.size; });
    std::vector<SArea> areas;
    for (const SArea& area : all) {
        const bool known = std::any_of(areas.begin(), areas.end(), [&](const SArea& other) {
            return std::hypot(area.middle.x - other.middle.x, area.middle.y - other.middle.y) <
                   0.5 * std::sqrt(other.size);
        });
        if (!known) {
            areas.push_back(area);
        }
    }
    // More than a chart and a lot around it only take time.
    constexpr std::size_t kMostAreas = 400;
    areas.resize(std::min(areas.size(), kMostAreas));
    return areas;
}

// ---- a grid of areas ----

using GridPlace = std::pair<int, int>; ///< column, row
using Grid = std::map<GridPlace, std::size_t>;

SPoint operator-(const SPoint& a, const SPoint& b) {
    return {a.x - b.x, a.y - b.y};
}

double lengthOf(const SPoint& a) {
    return std::hypot(a.x, a.y);
}

bool alike(double a, double b, double factor) {
    return a < b * factor && b < a * factor;
}

constexpr double kAlikeSizes = 2.2; // of patches that lie beside each other

/// The areas that lie in rows and columns around one of them. right, down: steps to the next column and row there; they
/// are followed as they change from patch to patch.
Grid grownGrid(const std::vector<SArea>& areas, std::size_t start, const SPoint& right, const SPoint& down) {
    struct SStep {
        GridPlace place;
        SPoint right, down;
    };
    constexpr double kOff = 0.22; // of a step's length
    Grid grid = {{{0, 0}, start}};
    std::vector<bool> used(areas.size());
    used[start] = true;
    std::queue<SStep> steps;
    steps.push({{0, 0}, right, down});
    while (!steps.empty()) {
        const SStep step = steps.front();
        steps.pop();
        const SArea& from = areas[grid.at(step.place)];
        for (const auto& [columns, rows] : {GridPlace{1, 0}, GridPlace{-1, 0}, GridPlace{0, 1}, GridPlace{0, -1}}) {
            const GridPlace place = {step.place.first + columns, step.place.second + rows};
            if (grid.contains(place)) {
                continue;
            }
            const SPoint along = columns != 0 ? step.right : step.down;
            const int sign = columns + rows;
            const SPoint expected = {from.middle.x + sign * along.x, from.middle.y + sign * along.y};
            std::size_t nearest = areas.size();
            double least = kOff * lengthOf(along);
            for (std::size_t i = 0; i < areas.size(); ++i) {
                const double off = lengthOf(areas[i].middle - expected);
                if (!used[i] && off < least && alike(areas[i].size, from.size, kAlikeSizes)) {
                    least = off;
                    nearest = i;
                }
            }
            if (nearest == areas.size()) {
                continue;
            }
            used[nearest] = true;
            grid[place] = nearest;
            const SPoint way = areas[nearest].middle - from.middle;
            const SPoint ahead = {sign * way.x, sign * way.y};
            steps.push({place, columns != 0 ? ahead : step.right, rows != 0 ? ahead : step.down});
        }
    }
    return grid;
}

/// Grids of the areas, the largest first, which hold at least a half of the chart.
std::vector<Grid> gridsOf(const std::vector<SArea>& areas) {
    constexpr std::size_t kLeastAreas = kChartPatches / 2;
    constexpr double kShortest = 0.95; // of a step, in sides of an area; patches and their borders
    constexpr double kFarthest = 2.2;
    constexpr std::size_t kMostGrids = 4;
    std::vector<Grid> grids;
    std::vector<bool> placed(areas.size()); // in a large grid: another start there finds the same one
    for (std::size_t start = 0; start < areas.size(); ++start) {
        if (placed[start]) {
            continue;
        }
        const double side = std::sqrt(areas[start].size);
        std::vector<SPoint> ways;
        for (std::size_t i = 0; i < areas.size(); ++i) {
            const SPoint way = areas[i].middle - areas[start].middle;
            const double length = lengthOf(way);
            if (i != start && length > kShortest * side && length < kFarthest * side &&
                alike(areas[i].size, areas[start].size, kAlikeSizes)) {
                ways.push_back(way);
                ways.push_back({-way.x, -way.y}); // the start may lie at the grid's end
            }
        }
        Grid best;
        double bestReach = 0;
        for (const SPoint& right : ways) {
            for (const SPoint& down : ways) {
                const double cross = right.x * down.y - right.y * down.x;
                constexpr double kLeastSine = 0.75; // rows and columns are at right angles, or little off
                // Each grid is found from its four sides: once is enough, with columns that go more to the right.
                if (cross < kLeastSine * lengthOf(right) * lengthOf(down) ||
                    !alike(lengthOf(right), lengthOf(down), 1.7) || right.x < std::abs(right.y) * 0.999) {
                    continue;
                }
                Grid grid = grownGrid(areas, start, right, down);
                // Steps that go along a diagonal make a grid, too, with longer ways.
                const double reach = std::hypot(lengthOf(right), lengthOf(down));
                if (grid.size() > best.size() || (grid.size() == best.size() && reach < bestReach)) {
                    best = std::move(grid);
                    bestReach = reach;
                }
            }
        }
        if (best.size() >= kLeastAreas) {
            for (const auto& [place, area] : best) {
                placed[area] = true;
            }
            grids.push_back(std::move(best));
        }
    }
    std::stable_sort(grids.begin(), grids.end(), [](const Grid& a, const Grid& b) { return a.size() > b.size(); });
    grids.resize(std::min(grids.size(), kMostGrids));
    return grids;
}

/// Places where a chart may lie are tried, and the one whose colours fit best is kept.
struct SSearch {
    const SCells& cells;
    const ChartPatches& patches;
    SChartPlace place;
    double difference = std::numeric_limits<double>::infinity(); ///< mean CIEDE2000
};

void tryPlace(SSearch& search, const SChartPlace& place) {
    if (!isSeen(place, search.cells)) {
        return;
    }
    try {
        const std::vector<SColorSample> samples = usableSamples(patchValues(search.cells, place, search.patches));
        const SColorFit fit = fitColors(samples, true);
        const std::vector<double> differences = differencesOf(fit, samples);
        const double mean =
            std::accumulate(differences.begin(), differences.end(), 0.0) / static_cast<double>(differences.size());
        if (mean < search.difference) {
            search.place = place;
            search.difference = mean;
        }
    } catch (const CFailure&) {
        // Other surfaces, or another way around: no colours come of them.
        return;
    }
}

/// Of the chart's corners, from the first one's on, around it.
constexpr std::array<SPoint, 4> chartCorners(double inset) {
    constexpr double kWide = kChartColumns;
    constexpr double kHigh = kChartRows;
    return {{{inset, inset}, {kWide - inset, inset}, {kWide - inset, kHigh - inset}, {inset, kHigh - inset}}};
}

/// Tries the four ways in which four corners can be those of the chart.
void tryTurns(SSearch& search, const Quad& corners, double inset) {
    const std::array<SPoint, 4> from = chartCorners(inset);
    for (std::size_t turn = 0; turn < corners.size(); ++turn) {
        Quad to;
        std::rotate_copy(corners.begin(), corners.begin() + static_cast<std::ptrdiff_t>(turn), corners.end(),
                         to.begin());
        if (const std::optional<Matrix3> matrix = homographyOf(from, to)) {
            tryPlace(search, {*matrix});
        }
    }
}

/// Tries all windows of a grid that may be the chart.
void tryWindows(SSearch& search, const std::vector<SArea>& areas, const Grid& grid, double scale) {
    constexpr auto kColumns = static_cast<int>(kChartColumns);
    constexpr auto kRows = static_cast<int>(kChartRows);
    constexpr int kBeyond = 2; // rows and columns of which no area was found
    int left = 0;
    int right = 0;
    int top = 0;
    int bottom = 0;
    for (const auto& [place, area] : grid) {
        left = std::min(left, place.first);
        right = std::max(right, place.first);
        top = std::min(top, place.second);
        bottom = std::max(bottom, place.second);
    }
    for (const auto& [columns, rows] : {GridPlace{kColumns, kRows}, GridPlace{kRows, kColumns}}) {
        for (int y = std::min(top, bottom - rows + 1 - kBeyond); y <= std::max(top, bottom - rows + 1); ++y) {
            for (int x = std::min(left, right - columns + 1 - kBeyond); x <= std::max(left, right - columns + 1); ++x) {
                std::vector<SPoint> from;
                std::vector<SPoint> to;
                for (const auto& [place, area] : grid) {
                    const int column = place.first - x;
                    const int row = place.second - y;
                    if (column >= 0 && column < columns && row >= 0 && row < rows) {
                        from.push_back({column + 0.5, row + 0.5});
                        to.push_back({scale * areas[area].middle.x, scale * areas[area].middle.y});
                    }
                }
                if (from.size() < kChartPatches / 2) {
                    continue;
                }
                const std::optional<Matrix3> matrix = homographyOf(from, to);
                if (!matrix) {
                    continue;
                }
                const Quad corners = {mapped(*matrix, 0, 0), mapped(*matrix, columns, 0),
                                      mapped(*matrix, columns, rows), mapped(*matrix, 0, rows)};
                tryTurns(search, corners, 0);
            }
        }
    }
}

} // namespace

const ChartPatches& publishedPatches() {
    static const ChartPatches patches = {{
        {"dark skin", {37.986, 13.555, 14.059}},     {"light skin", {65.711, 18.130, 17.810}},
        {"blue sky", {49.927, -4.880, -21.925}},     {"foliage", {43.139, -13.095, 21.905}},
        {"blue flower", {55.112, 8.844, -25.399}},   {"bluish green", {70.719, -33.397, -0.199}},
        {"orange", {62.661, 36.067, 57.096}},        {"purplish blue", {40.020, 10.410, -45.964}},
        {"moderate red", {51.124, 48.239, 16.248}},  {"purple", {30.325, 22.976, -21.587}},
        {"yellow green", {72.532, -23.709, 57.255}}, {"orange yellow", {71.941, 19.363, 67.857}},
        {"blue", {28.778, 14.179, -50.297}},         {"green", {55.261, -38.342, 31.370}},
        {"red", {42.101, 53.378, 28.190}},           {"yellow", {81.733, 4.039, 79.819}},
        {"magenta", {51.935, 49.986, -14.574}},      {"cyan", {51.038, -28.631, -28.638}},
        {"white", {96.539, -0.425, 1.186}},          {"neutral 8", {81.257, -0.638, -0.335}},
        {"neutral 6.5", {66.766, -0.734, -0.504}},   {"neutral 5", {50.867, -0.153, -0.270}},
        {"neutral 3.5", {35.656, -0.421, -1.231}},   {"black", {20.461, -0.079, -0.973}},
    }};
    return patches;
}

ChartPatches readPatches(const std::string& path) {
    constexpr std::size_t kLargestFile = 1 << 20;
    constexpr double kLargest = 200; // of L*, a*, b*: surfaces have less
    const std::string name = path == "-" ? "standard input" : path;
    const std::string text = readWholeFile(path, kLargestFile, "list of patches");
    nlohmann::ordered_json json;
    try {
        json = parsedJson(text);
    } catch (const CFailure& failure) {
        throw CFailure(fmt::format("{}: {}", name, failure.what()));
    }
    ChartPatches patches;
    if (!json.is_array() || json.size() != patches.size()) {
        throw CFailure(fmt::format("{}: no list of {} patches", name, patches.size()));
    }
    const auto isNumber = [](const nlohmann::ordered_json& value) {
        return value.is_number() && std::abs(value.get<double>()) <= kLargest;
    };
    for (std::size_t i = 0; i < patches.size(); ++i) {
        const nlohmann::ordered_json& patch = json[i];
        const bool fits = patch.is_object() && patch.contains("name") && patch["name"].is_string() &&
                          patch.contains("lab") && patch["lab"].is_array() &&
                          patch["lab"].size() == patches[i].lab.size() &&
                          std::all_of(patch["lab"].begin(), patch["lab"].end(), isNumber);
        if (!fits) {
            throw CFailure(fmt::format("{}: patch {} has no \"name\" and \"lab\" of three numbers", name, i + 1));
        }
        patches[i].name = patch["name"].get<std::string>();
        std::transform(patch["lab"].begin(), patch["lab"].end(), patches[i].lab.begin(),
                       [](const nlohmann::ordered_json& value) { return value.get<double>(); });
    }
    return patches;
}

SCells cellsOf(const STransferredFrame& frame, const SBlackLevels& black, unsigned white) {
    constexpr double kClipped = 0.995; // of white: the last few samples bend
    SCells cells;
    cells.width = frame.width / 2;
    cells.height = frame.height / 2;
    cells.colors.resize(std::size_t{cells.width} * cells.height);
    cells.clipped.resize(cells.colors.size());
    const bool words = frame.format->layout == ELayout::Words;
    const PhaseSlots slots = phaseSlots(frame.colorArray);
    for (std::size_t y = 0; y < 2 * std::size_t{cells.height}; ++y) {
        for (std::size_t x = 0; x < 2 * std::size_t{cells.width}; ++x) {
            const std::size_t at = y * frame.width + x;
            const double sample = words ? wordAt(frame.bytes, at) : frame.bytes[at];
            const double dark = black.levels.empty() ? 0 : black.At(y, x);
            const auto slot = static_cast<std::size_t>(slots[y % 2 * 2 + x % 2]);
            const std::size_t cell = y / 2 * cells.width + x / 2;
            cells.colors[cell][kFilterChannels[slot]] +=
                kShares[slot] * static_cast<float>((sample - dark) / (white - dark));
            cells.clipped[cell] = cells.clipped[cell] || sample >= kClipped * white;
        }
    }
    return cells;
}

SPoint SChartPlace::At(double x, double y) const {
    return mapped(toFrame, x, y);
}

Quad SChartPlace::Patch(std::size_t patch, double side) const {
    const std::size_t row = patch / kChartColumns;
    const double x = static_cast<double>(patch % kChartColumns) + 0.5;
    const double y = static_cast<double>(row) + 0.5;
    const double half = side / 2;
    return {At(x - half, y - half), At(x + half, y - half), At(x + half, y + half), At(x - half, y + half)};
}

std::vector<SPatchValue> patchValues(const SCells& cells, const SChartPlace& place, const ChartPatches& patches) {
    constexpr double kMostClipped = 0.01; // of the cells: defect pixels
    std::vector<SPatchValue> values(kChartPatches);
    std::vector<float> channel;
    for (std::size_t patch = 0; patch < values.size(); ++patch) {
        SColorSample& sample = values[patch].sample;
        sample.target = patches[patch].lab;
        const std::size_t row = patch / kChartColumns;
        constexpr double kMiddleX = (kChartColumns - 1) / 2.0;
        constexpr double kMiddleY = (kChartRows - 1) / 2.0;
        sample.x = (static_cast<double>(patch % kChartColumns) - kMiddleX) / kMiddleX;
        sample.y = (static_cast<double>(row) - kMiddleY) / kMiddleY;
        const std::vector<std::size_t> inside = cellsInside(cells, place.Patch(patch, kMeasuredSide));
        if (inside.empty()) {
            throw CFailure("the chart is too small in the frame: its patches have less than a few pixels");
        }
        for (std::size_t c = 0; c < 3; ++c) {
            channel.resize(inside.size());
            std::transform(inside.begin(), inside.end(), channel.begin(),
                           [&](std::size_t cell) { return cells.colors[cell][c]; });
            sample.camera[c] = robustMean(channel);
        }
        const auto clipped = std::count_if(inside.begin(), inside.end(),
                                           [&](std::size_t cell) { return static_cast<bool>(cells.clipped[cell]); });
        values[patch].clipped = static_cast<double>(clipped) > kMostClipped * static_cast<double>(inside.size());
    }
    return values;
}

std::vector<SColorSample> usableSamples(std::span<const SPatchValue> values) {
    std::vector<SColorSample> samples;
    for (const SPatchValue& value : values) {
        if (!value.clipped) {
            samples.push_back(value.sample);
        }
    }
    return samples;
}

SChartPlace placedChart(const SCells& cells, const Quad& corners, const ChartPatches& patches) {
    Quad around = corners;
    if (doubleArea(around) < 0) {
        std::reverse(around.begin(), around.end());
    }
    const auto inside = [&](const SPoint& point) { return isInside(point, cells); };
    if (!isConvex(around) || !std::all_of(around.begin(), around.end(), inside)) {
        throw CBadArguments("the corners are not those of an area in the frame, one after the other around it");
    }
    SSearch search{cells, patches, {}};
    tryTurns(search, around, (1 - kPatchSide) / 2);
    if (!std::isfinite(search.difference)) {
        throw CFailure("between the corners lies no chart that can be measured");
    }
    return search.place;
}

std::optional<SChartPlace> foundChart(const SCells& cells, const ChartPatches& patches) {
    constexpr double kMostDifference = 8; // mean CIEDE2000; another way around is beyond 15
    const SSmallPicture picture = smallPicture(cells);
    const std::vector<SArea> areas = evenAreas(picture);
    SSearch search{cells, patches, {}};
    for (const Grid& grid : gridsOf(areas)) {
        tryWindows(search, areas, grid, picture.scale);
    }
    return search.difference < kMostDifference ? std::optional(search.place) : std::nullopt;
}

} // namespace vek::client
