// SPDX-License-Identifier: Apache-2.0
#include "client/drawing/Canvas.h"

#include "client/Errors.h"
#include "client/files/JsonText.h"

#include <cairo.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <string>

namespace vek::client {

namespace {

constexpr const char* kFont = "DejaVu Sans";

/// The rim of a text with a halo, parts of the font's size.
constexpr double kHalo = 0.22;

void require(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS) {
        throw CFailure(fmt::format("cannot draw: {}", cairo_status_to_string(status)));
    }
}

/// cairo counts in 24 bits and 8 of a fraction: what lies far outside is drawn from nearer by.
double reachable(double coordinate) {
    constexpr double kFar = 1e6;
    return std::clamp(coordinate, -kFar, kFar);
}

bool isNumber(const SPoint& point) {
    return std::isfinite(point.x) && std::isfinite(point.y);
}

bool isNumber(const SRectangle& rectangle) {
    return isNumber(SPoint{rectangle.x, rectangle.y}) && isNumber(SPoint{rectangle.width, rectangle.height});
}

/// What cairo takes: other bytes than UTF-8 would end all drawing.
std::string drawableText(std::string_view text) {
    const std::string bytes(text);
    auto result = parsedJson(jsonText(bytes)).get<std::string>();
    std::replace_if(
        result.begin(), result.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, ' ');
    return result;
}

std::array<SPoint, 4> cornersOf(const SRectangle& rectangle) {
    return {{{rectangle.x, rectangle.y},
             {rectangle.Right(), rectangle.y},
             {rectangle.Right(), rectangle.Bottom()},
             {rectangle.x, rectangle.Bottom()}}};
}

} // namespace

/// A surface of 32-bit words, 0x..RRGGBB, and what draws on it.
struct CCanvas::SDrawing {
    SDrawing(std::uint32_t width, std::uint32_t height) {
        if (std::max(width, height) > kMostSide) {
            throw CFailure(
                fmt::format("cannot draw on {} x {} pixels: a side has {} at most", width, height, kMostSide));
        }
        surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(width), static_cast<int>(height));
        context = cairo_create(surface);
        cairo_font_options_t* const options = cairo_font_options_create();
        // Hinting moves letters to whole pixels, by the settings of the machine.
        cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
        cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
        cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
        cairo_set_font_options(context, options);
        cairo_font_options_destroy(options);
        cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
    }
    ~SDrawing() {
        cairo_destroy(context);
        cairo_surface_destroy(surface);
    }
    SDrawing(const SDrawing&) = delete;
    SDrawing& operator=(const SDrawing&) = delete;

    void Use(const SColor& color) const {
        cairo_set_source_rgba(context, color.red / 255.0, color.green / 255.0, color.blue / 255.0, color.opacity);
    }

    /// False, without a path, where there is nothing to draw.
    bool MakePath(std::span<const SPoint> points, bool closed) const {
        cairo_new_path(context);
        if (points.size() < 2 ||
            !std::all_of(points.begin(), points.end(), [](const SPoint& p) { return isNumber(p); })) {
            return false;
        }
        for (const SPoint& point : points) {
            cairo_line_to(context, reachable(point.x), reachable(point.y));
        }
        if (closed) {
            cairo_close_path(context);
        }
        return true;
    }

    void Stroke(const SLineStyle& style) const {
        Use(style.color);
        cairo_set_line_width(context, style.width);
        const std::array<double, 2> dashes = {4 * style.width + 2, 3 * style.width + 1};
        cairo_set_dash(context, dashes.data(), style.dashed ? 2 : 0, 0);
        cairo_stroke(context);
    }

    void SelectFont(const STextStyle& style) const {
        cairo_select_font_face(context, kFont, CAIRO_FONT_SLANT_NORMAL,
                               style.bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(context, style.size);
    }

    double Advance(const std::string& text) const {
        cairo_text_extents_t extents{};
        cairo_text_extents(context, text.c_str(), &extents);
        return extents.x_advance;
    }

    cairo_surface_t* surface;
    cairo_t* context;
};

CCanvas::CCanvas(std::uint32_t width, std::uint32_t height)
    : mWidth(width), mHeight(height), mDrawing(std::make_unique<SDrawing>(width, height)) {
    Fill({0, 0, static_cast<double>(width), static_cast<double>(height)}, kWhite);
}

CCanvas::CCanvas(const SImage& background) : CCanvas(background.width, background.height) {
    const SImage bytes = scaledToDepth(background, 8);
    cairo_surface_flush(mDrawing->surface);
    unsigned char* const pixels = cairo_image_surface_get_data(mDrawing->surface);
    if (pixels == nullptr) {
        return; // Image tells why, or there are no pixels
    }
    const auto pitch = static_cast<std::size_t>(cairo_image_surface_get_stride(mDrawing->surface));
    const std::uint16_t* sample = bytes.samples.data();
    for (std::size_t y = 0; y < mHeight; ++y) {
        auto* const row = reinterpret_cast<std::uint32_t*>(pixels + y * pitch);
        for (std::size_t x = 0; x < mWidth; ++x, sample += bytes.channels) {
            const unsigned red = sample[0];
            const unsigned green = bytes.channels == 3 ? sample[1] : red;
            const unsigned blue = bytes.channels == 3 ? sample[2] : red;
            row[x] = red << 16 | green << 8 | blue;
        }
    }
    cairo_surface_mark_dirty(mDrawing->surface);
}

CCanvas::~CCanvas() = default;
CCanvas::CCanvas(CCanvas&&) noexcept = default;
CCanvas& CCanvas::operator=(CCanvas&&) noexcept = default;

void CCanvas::Fill(const SRectangle& rectangle, const SColor& color) {
    if (isNumber(rectangle)) {
        FillPolygon(cornersOf(rectangle), color);
    }
}

void CCanvas::Outline(const SRectangle& rectangle, const SLineStyle& style) {
    if (isNumber(rectangle)) {
        OutlinePolygon(cornersOf(rectangle), style);
    }
}

void CCanvas::Line(std::span<const SPoint> points, const SLineStyle& style) {
    if (mDrawing->MakePath(points, false)) {
        mDrawing->Stroke(style);
    }
}

void CCanvas::Line(const SPoint& from, const SPoint& to, const SLineStyle& style) {
    Line(std::array<SPoint, 2>{from, to}, style);
}

void CCanvas::FillPolygon(std::span<const SPoint> points, const SColor& color) {
    if (mDrawing->MakePath(points, true)) {
        mDrawing->Use(color);
        cairo_fill(mDrawing->context);
    }
}

void CCanvas::OutlinePolygon(std::span<const SPoint> points, const SLineStyle& style) {
    if (mDrawing->MakePath(points, true)) {
        mDrawing->Stroke(style);
    }
}

void CCanvas::Disc(const SPoint& center, double radius, const SColor& color) {
    if (!isNumber(center) || !std::isfinite(radius)) {
        return;
    }
    cairo_new_path(mDrawing->context);
    cairo_arc(mDrawing->context, reachable(center.x), reachable(center.y), reachable(radius), 0, 2 * std::numbers::pi);
    mDrawing->Use(color);
    cairo_fill(mDrawing->context);
}

void CCanvas::Text(const SPoint& place, std::string_view text, const STextStyle& style) {
    if (!isNumber(place)) {
        return;
    }
    cairo_t* const context = mDrawing->context;
    const std::string drawn = drawableText(text);
    cairo_save(context);
    mDrawing->SelectFont(style);
    cairo_font_extents_t font{};
    cairo_font_extents(context, &font);
    const double width = mDrawing->Advance(drawn);
    const double back = style.across == EAcross::Left ? 0 : style.across == EAcross::Center ? width / 2 : width;
    const double down = style.down == EDown::Top      ? font.ascent
                        : style.down == EDown::Middle ? (font.ascent - font.descent) / 2
                        : style.down == EDown::Bottom ? -font.descent
                                                      : 0;
    cairo_translate(context, reachable(place.x), reachable(place.y));
    if (style.upward) {
        cairo_rotate(context, -std::numbers::pi / 2);
    }
    cairo_new_path(context);
    cairo_move_to(context, -back, down);
    if (style.halo) {
        const bool light = 299 * style.color.red + 587 * style.color.green + 114 * style.color.blue > 127'500;
        cairo_text_path(context, drawn.c_str());
        mDrawing->Stroke({light ? kBlack : kWhite, kHalo * style.size});
        cairo_move_to(context, -back, down);
    }
    mDrawing->Use(style.color);
    cairo_show_text(context, drawn.c_str());
    cairo_restore(context);
}

double CCanvas::TextWidth(std::string_view text, const STextStyle& style) const {
    mDrawing->SelectFont(style);
    return mDrawing->Advance(drawableText(text));
}

void CCanvas::Clip(const SRectangle& rectangle) {
    Unclip();
    if (isNumber(rectangle) && mDrawing->MakePath(cornersOf(rectangle), true)) {
        cairo_clip(mDrawing->context);
    }
}

void CCanvas::Unclip() {
    cairo_reset_clip(mDrawing->context);
}

SImage CCanvas::Image() const {
    require(cairo_status(mDrawing->context));
    cairo_surface_flush(mDrawing->surface);
    require(cairo_surface_status(mDrawing->surface));
    SImage image{mWidth, mHeight, 3, 8, {}};
    image.samples.reserve(image.RowSamples() * mHeight);
    const unsigned char* const pixels = cairo_image_surface_get_data(mDrawing->surface);
    const auto pitch = static_cast<std::size_t>(cairo_image_surface_get_stride(mDrawing->surface));
    for (std::size_t y = 0; y < mHeight; ++y) {
        const auto* const row = reinterpret_cast<const std::uint32_t*>(pixels + y * pitch);
        for (std::size_t x = 0; x < mWidth; ++x) {
            image.samples.insert(image.samples.end(), {static_cast<std::uint16_t>(row[x] >> 16 & 0xFF),
                                                       static_cast<std::uint16_t>(row[x] >> 8 & 0xFF),
                                                       static_cast<std::uint16_t>(row[x] & 0xFF)});
        }
    }
    return image;
}

} // namespace vek::client
