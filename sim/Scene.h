// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace vek::sim {

/// Linear light, red, green and blue with the primaries and the white of sRGB. 0 is black, 1 the white of the scene;
/// values above 1 are highlights.
using LinearRgb = std::array<float, 3>;

/// A rectangle of uniform colour in the chart, pixels; for measurements against the true colour.
struct SPatch {
    unsigned x, y, width, height;
    LinearRgb color;
};

/// What lies in front of the lens: one linear-light colour for each sensor pixel.
class CScene {
public:
    /// Test chart: 24 colour patches, a zone plate, a continuous and a stepped grey ramp, slanted edges and line
    /// pairs. width and height: at least 1; from about 320 x 240 on each element can be told apart.
    static CScene Chart(unsigned width, unsigned height);

    /// Any PNG file, decoded to linear light (by its gAMA or sRGB chunk; sRGB without one) and scaled to
    /// width x height: mean over the covered area when shrinking, bilinear when enlarging. The aspect ratio is not
    /// kept. Throws std::runtime_error when the file cannot be read or the program was built without libpng.
    static CScene FromPng(const std::string& path, unsigned width, unsigned height);

    /// Uniform grey.
    static CScene Flat(unsigned width, unsigned height, float level);

    /// Uniform colour.
    static CScene FlatColor(unsigned width, unsigned height, LinearRgb color);

    /// From width x height x 3 values, row by row, red first. Throws std::invalid_argument for another count.
    static CScene FromPixels(unsigned width, unsigned height, std::vector<float> rgb);

    unsigned Width() const { return mWidth; }
    unsigned Height() const { return mHeight; }

    /// True colour of a pixel; x and y inside the scene.
    LinearRgb Pixel(unsigned x, unsigned y) const {
        const std::size_t at = (std::size_t{y} * mWidth + x) * 3;
        return {mRgb[at], mRgb[at + 1], mRgb[at + 2]};
    }
    void SetPixel(unsigned x, unsigned y, const LinearRgb& color);

    /// All values, row by row, red, green, blue.
    const std::vector<float>& Values() const { return mRgb; }

    /// The chart's 24 colour patches, row by row, without their borders; empty for other scenes.
    const std::vector<SPatch>& Patches() const { return mPatches; }

    /// The same scene at another size, scaled as FromPng does. The patch list is dropped.
    CScene Resized(unsigned width, unsigned height) const;

private:
    CScene(unsigned width, unsigned height);

    unsigned mWidth;
    unsigned mHeight;
    std::vector<float> mRgb;
    std::vector<SPatch> mPatches;
};

} // namespace vek::sim
