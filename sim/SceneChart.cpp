// SPDX-License-Identifier: Apache-2.0
#include "sim/PortableMath.h"
#include "sim/Scene.h"

#include <algorithm>
#include <cmath>

namespace vek::sim {

namespace {

constexpr float kSurround = 0.18F;   // mid grey card around the elements
constexpr float kPatchFrame = 0.03F; // near black between the patches, so that they do not tint each other
constexpr unsigned kPatchColumns = 6;
constexpr unsigned kPatchRows = 4;
constexpr double kPi = 3.14159265358979323846;

// Row 1: surfaces people know by heart. Row 2: pastel hues around the circle. Row 3: saturated primaries and their
// complements, all inside what the sRGB primaries can show. Row 4: neutral, about a factor of two a step.
constexpr std::array<LinearRgb, kPatchColumns* kPatchRows> kPatchColors = {{
    {0.540F, 0.300F, 0.205F}, // light skin
    {0.150F, 0.070F, 0.045F}, // dark skin
    {0.095F, 0.165F, 0.035F}, // leaf
    {0.120F, 0.250F, 0.520F}, // sky
    {0.480F, 0.360F, 0.170F}, // straw
    {0.260F, 0.105F, 0.050F}, // brick
    {0.620F, 0.290F, 0.310F}, // pink
    {0.640F, 0.450F, 0.180F}, // apricot
    {0.460F, 0.560F, 0.200F}, // lime
    {0.190F, 0.540F, 0.400F}, // mint
    {0.230F, 0.330F, 0.620F}, // periwinkle
    {0.430F, 0.250F, 0.560F}, // lilac
    {0.460F, 0.022F, 0.028F}, // red
    {0.045F, 0.330F, 0.050F}, // green
    {0.022F, 0.038F, 0.360F}, // blue
    {0.750F, 0.560F, 0.024F}, // yellow
    {0.030F, 0.360F, 0.480F}, // cyan
    {0.440F, 0.045F, 0.330F}, // magenta
    {0.880F, 0.880F, 0.880F}, // white
    {0.480F, 0.480F, 0.480F}, // grey 1
    {0.240F, 0.240F, 0.240F}, // grey 2
    {0.120F, 0.120F, 0.120F}, // grey 3
    {0.055F, 0.055F, 0.055F}, // grey 4
    {0.020F, 0.020F, 0.020F}, // black
}};

struct SArea {
    unsigned left, top, right, bottom; // right and bottom are the first pixels outside
    unsigned Width() const { return right - left; }
    unsigned Height() const { return bottom - top; }
};

/// Area in thousandths of the chart's width and height.
SArea partOf(const CScene& scene, unsigned left, unsigned top, unsigned right, unsigned bottom) {
    const auto at = [](unsigned size, unsigned part) {
        return static_cast<unsigned>(static_cast<unsigned long long>(size) * part / 1000);
    };
    return {at(scene.Width(), left), at(scene.Height(), top), at(scene.Width(), right), at(scene.Height(), bottom)};
}

void fill(CScene& scene, const SArea& area, const LinearRgb& color) {
    for (unsigned y = area.top; y < area.bottom; ++y) {
        for (unsigned x = area.left; x < area.right; ++x) {
            scene.SetPixel(x, y, color);
        }
    }
}

LinearRgb gray(float level) {
    return {level, level, level};
}

LinearRgb blend(const LinearRgb& a, const LinearRgb& b, float part) {
    return {a[0] + (b[0] - a[0]) * part, a[1] + (b[1] - a[1]) * part, a[2] + (b[2] - a[2]) * part};
}

std::vector<SPatch> drawPatches(CScene& scene, const SArea& area) {
    std::vector<SPatch> patches;
    fill(scene, area, gray(kPatchFrame));
    const unsigned border = std::max(1U, area.Width() / (kPatchColumns * 16));
    // Each cell is a border and a patch; one border more closes the last column and row.
    const unsigned cellsWidth = area.Width() - std::min(border, area.Width());
    const unsigned cellsHeight = area.Height() - std::min(border, area.Height());
    for (unsigned row = 0; row < kPatchRows; ++row) {
        for (unsigned column = 0; column < kPatchColumns; ++column) {
            const SArea patch = {area.left + cellsWidth * column / kPatchColumns + border,
                                 area.top + cellsHeight * row / kPatchRows + border,
                                 area.left + cellsWidth * (column + 1) / kPatchColumns,
                                 area.top + cellsHeight * (row + 1) / kPatchRows};
            if (patch.right <= patch.left || patch.bottom <= patch.top) {
                continue; // a tiny chart has no room for it
            }
            const LinearRgb& color = kPatchColors[row * kPatchColumns + column];
            fill(scene, patch, color);
            patches.push_back({patch.left, patch.top, patch.Width(), patch.Height(), color});
        }
    }
    return patches;
}

/// Rings whose spatial frequency grows from 0 at the centre to 0.45 cycles a pixel at the nearer edge: shows aliasing
/// and false colour, and where a demosaic method loses detail.
void drawZonePlate(CScene& scene, const SArea& area) {
    const double centerX = (area.left + area.right) / 2.0;
    const double centerY = (area.top + area.bottom) / 2.0;
    const double radius = std::max(1U, std::min(area.Width(), area.Height())) / 2.0;
    for (unsigned y = area.top; y < area.bottom; ++y) {
        for (unsigned x = area.left; x < area.right; ++x) {
            const double dx = x + 0.5 - centerX;
            const double dy = y + 0.5 - centerY;
            const double squared = dx * dx + dy * dy;
            if (squared > radius * radius) {
                continue;
            }
            // Phase k r^2 has the local frequency k r / pi.
            const double phase = 0.45 * kPi / radius * squared;
            scene.SetPixel(x, y, gray(static_cast<float>(0.45 + 0.42 * portableCos(phase))));
        }
    }
}

void drawRamps(CScene& scene, const SArea& area) {
    constexpr unsigned steps = 16;
    for (unsigned x = area.left; x < area.right; ++x) {
        const float part = (static_cast<float>(x - area.left) + 0.5F) / static_cast<float>(area.Width());
        const unsigned stepIndex = (x - area.left) * steps / area.Width();
        const float step = static_cast<float>(stepIndex) / (steps - 1);
        for (unsigned y = area.top; y < area.bottom; ++y) {
            // Above linear in light, below steps of about equal visual difference.
            const bool upper = y < area.top + area.Height() / 2;
            scene.SetPixel(x, y, gray(upper ? part : step * step));
        }
    }
}

/// A rectangle turned by about 5 degrees (slope 1 : 12), edges covered by area: for edge-response measurements.
void drawSlantedBlock(CScene& scene, const SArea& area, const LinearRgb& inside, const LinearRgb& outside) {
    const double centerX = (area.left + area.right) / 2.0;
    const double centerY = (area.top + area.bottom) / 2.0;
    const double length = std::sqrt(1.0 + 1.0 / 144.0);
    const double halfX = area.Width() * 0.36;
    const double halfY = area.Height() * 0.36;
    for (unsigned y = area.top; y < area.bottom; ++y) {
        for (unsigned x = area.left; x < area.right; ++x) {
            const double dx = x + 0.5 - centerX;
            const double dy = y + 0.5 - centerY;
            const double u = (dx - dy / 12.0) / length;
            const double v = (dy + dx / 12.0) / length;
            const double coverX = std::clamp(halfX - std::fabs(u) + 0.5, 0.0, 1.0);
            const double coverY = std::clamp(halfY - std::fabs(v) + 0.5, 0.0, 1.0);
            scene.SetPixel(x, y, blend(outside, inside, static_cast<float>(coverX * coverY)));
        }
    }
}

/// Bars of 1, 2, 3, 4, 6 and 8 pixels: upper half upright, lower half lying.
void drawLinePairs(CScene& scene, const SArea& area) {
    constexpr std::array<unsigned, 6> periods = {8, 6, 4, 3, 2, 1};
    const unsigned middle = area.top + area.Height() / 2;
    for (unsigned y = area.top; y < area.bottom; ++y) {
        for (unsigned x = area.left; x < area.right; ++x) {
            const auto group = static_cast<std::size_t>(x - area.left) * periods.size() / area.Width();
            const unsigned position = y < middle ? x - area.left : y - middle;
            scene.SetPixel(x, y, gray(position / periods[group] % 2 == 0 ? 0.04F : 0.75F));
        }
    }
}

} // namespace

CScene CScene::Chart(unsigned width, unsigned height) {
    CScene scene = Flat(width, height, kSurround);
    scene.mPatches = drawPatches(scene, partOf(scene, 20, 25, 630, 640));
    drawZonePlate(scene, partOf(scene, 650, 25, 980, 640));
    drawRamps(scene, partOf(scene, 20, 665, 980, 790));
    const LinearRgb paper = gray(0.70F);
    drawSlantedBlock(scene, partOf(scene, 20, 815, 250, 975), gray(0.06F), paper);
    drawSlantedBlock(scene, partOf(scene, 260, 815, 490, 975), {0.46F, 0.022F, 0.028F}, {0.03F, 0.36F, 0.48F});
    drawSlantedBlock(scene, partOf(scene, 500, 815, 730, 975), {0.022F, 0.038F, 0.36F}, {0.75F, 0.56F, 0.024F});
    drawLinePairs(scene, partOf(scene, 740, 815, 980, 975));
    return scene;
}

} // namespace vek::sim
