// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace vek::client {

/// A colour of sRGB.
struct SColor {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    double opacity = 1; ///< 0 .. 1

    bool operator==(const SColor&) const = default;
};

inline constexpr SColor kBlack = {0, 0, 0};
inline constexpr SColor kWhite = {255, 255, 255};

/// A place, or numbers of a plot. On a canvas x and y are in pixels from the top left corner of the top left pixel, so
/// that whole numbers lie between pixels.
struct SPoint {
    double x = 0;
    double y = 0;
};

struct SRectangle {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double Right() const { return x + width; }
    double Bottom() const { return y + height; }
};

struct SLineStyle {
    SColor color = kBlack;
    double width = 1; ///< pixels
    bool dashed = false;
};

/// Which point of a text lies at the place that is given.
enum class EAcross { Left, Center, Right };
enum class EDown { Top, Middle, Baseline, Bottom };

struct STextStyle {
    double size = 14; ///< pixels of the font's square
    SColor color = kBlack;
    EAcross across = EAcross::Left;
    EDown down = EDown::Baseline;
    bool bold = false;
    bool upward = false; ///< turned by 90 degrees, read from below; across and down as seen by the reader
    bool halo = false; ///< with a rim that keeps it legible on a photograph: white around dark text, black around light
};

/// An image to draw on, 8 bits of red, green and blue, anti-aliased. Coordinates that are no numbers draw nothing; what
/// lies outside is cut off. Memory that runs out, and a canvas that is too large, show as CFailure.
class CCanvas {
public:
    /// A white one. Throws CFailure beyond kMostSide.
    CCanvas(std::uint32_t width, std::uint32_t height);
    /// An image as the background, of any depth, grey or colour. Throws CFailure beyond kMostSide.
    explicit CCanvas(const SImage& background);
    ~CCanvas();
    CCanvas(CCanvas&&) noexcept;
    CCanvas& operator=(CCanvas&&) noexcept;

    /// Pixels of the largest side.
    static constexpr std::uint32_t kMostSide = 32767;

    std::uint32_t Width() const { return mWidth; }
    std::uint32_t Height() const { return mHeight; }

    void Fill(const SRectangle& rectangle, const SColor& color);
    void Outline(const SRectangle& rectangle, const SLineStyle& style);
    /// From point to point.
    void Line(std::span<const SPoint> points, const SLineStyle& style);
    void Line(const SPoint& from, const SPoint& to, const SLineStyle& style);
    /// Closed shapes.
    void FillPolygon(std::span<const SPoint> points, const SColor& color);
    void OutlinePolygon(std::span<const SPoint> points, const SLineStyle& style);
    void Disc(const SPoint& center, double radius, const SColor& color);

    /// One line of UTF-8; other bytes are replaced, control characters become blanks.
    void Text(const SPoint& place, std::string_view text, const STextStyle& style);
    /// How far a text reaches, pixels.
    double TextWidth(std::string_view text, const STextStyle& style) const;

    /// What lies outside of a rectangle is left alone until Unclip.
    void Clip(const SRectangle& rectangle);
    void Unclip();

    /// What was drawn. Throws CFailure.
    SImage Image() const;

private:
    struct SDrawing;

    std::uint32_t mWidth;
    std::uint32_t mHeight;
    std::unique_ptr<SDrawing> mDrawing;
};

} // namespace vek::client
