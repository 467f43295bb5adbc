// SPDX-License-Identifier: Apache-2.0
#include "sim/Scene.h"

#ifdef VEKCAM_SIM_HAVE_PNG
#include <png.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace vek::sim {

namespace {

/// Source samples that make up one destination sample, with their weights (sum 1).
struct STaps {
    unsigned first = 0;
    std::vector<float> weights;
};

std::vector<STaps> resampleTaps(unsigned from, unsigned to) {
    std::vector<STaps> taps(to);
    const double scale = static_cast<double>(from) / to;
    for (unsigned i = 0; i < to; ++i) {
        if (scale >= 1.0) {
            const double begin = i * scale;
            const double end = std::min((i + 1.0) * scale, static_cast<double>(from));
            taps[i].first = static_cast<unsigned>(begin);
            for (unsigned s = taps[i].first; s < end; ++s) {
                const double covered = std::min(end, s + 1.0) - std::max(begin, static_cast<double>(s));
                taps[i].weights.push_back(static_cast<float>(covered / (end - begin)));
            }
        } else {
            const double center = std::clamp((i + 0.5) * scale - 0.5, 0.0, from - 1.0);
            taps[i].first = std::min(static_cast<unsigned>(center), from - 1);
            const double part = center - taps[i].first;
            taps[i].weights.push_back(static_cast<float>(1.0 - part));
            if (taps[i].first + 1 < from) {
                taps[i].weights.push_back(static_cast<float>(part));
            }
        }
    }
    return taps;
}

} // namespace

CScene::CScene(unsigned width, unsigned height) : mWidth(width), mHeight(height) {
    if (width == 0 || height == 0) {
        throw std::invalid_argument("a scene needs at least one pixel");
    }
    mRgb.assign(std::size_t{width} * height * 3, 0.0F);
}

CScene CScene::Flat(unsigned width, unsigned height, float level) {
    return FlatColor(width, height, {level, level, level});
}

CScene CScene::FlatColor(unsigned width, unsigned height, LinearRgb color) {
    CScene scene(width, height);
    for (std::size_t i = 0; i < scene.mRgb.size(); ++i) {
        scene.mRgb[i] = color[i % 3];
    }
    return scene;
}

CScene CScene::FromPixels(unsigned width, unsigned height, std::vector<float> rgb) {
    CScene scene(width, height);
    if (rgb.size() != scene.mRgb.size()) {
        throw std::invalid_argument("scene pixels do not match its size");
    }
    scene.mRgb = std::move(rgb);
    return scene;
}

void CScene::SetPixel(unsigned x, unsigned y, const LinearRgb& color) {
    const std::size_t at = (std::size_t{y} * mWidth + x) * 3;
    std::copy(color.begin(), color.end(), mRgb.begin() + static_cast<std::ptrdiff_t>(at));
}

CScene CScene::Resized(unsigned width, unsigned height) const {
    CScene result(width, height);
    const std::vector<STaps> columns = resampleTaps(mWidth, width);
    const std::vector<STaps> rows = resampleTaps(mHeight, height);
    std::vector<float> line(std::size_t{mWidth} * 3);
    for (unsigned y = 0; y < height; ++y) {
        std::fill(line.begin(), line.end(), 0.0F);
        for (std::size_t k = 0; k < rows[y].weights.size(); ++k) {
            const float* source = mRgb.data() + (rows[y].first + k) * line.size();
            for (std::size_t i = 0; i < line.size(); ++i) {
                line[i] += rows[y].weights[k] * source[i];
            }
        }
        float* target = result.mRgb.data() + std::size_t{y} * width * 3;
        for (unsigned x = 0; x < width; ++x) {
            for (std::size_t k = 0; k < columns[x].weights.size(); ++k) {
                for (std::size_t c = 0; c < 3; ++c) {
                    target[std::size_t{x} * 3 + c] += columns[x].weights[k] * line[(columns[x].first + k) * 3 + c];
                }
            }
        }
    }
    return result;
}

#ifdef VEKCAM_SIM_HAVE_PNG

CScene CScene::FromPng(const std::string& path, unsigned width, unsigned height) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
        throw std::runtime_error(path + ": " + image.message);
    }
    // libpng undoes the file's encoding: 16-bit linear light, transparent parts over black.
    image.format = PNG_FORMAT_LINEAR_RGB;
    std::vector<std::uint16_t> pixels(PNG_IMAGE_SIZE(image) / sizeof(std::uint16_t));
    if (png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) == 0) {
        const std::string message = image.message;
        png_image_free(&image);
        throw std::runtime_error(path + ": " + message);
    }
    CScene scene(image.width, image.height);
    std::transform(pixels.begin(), pixels.end(), scene.mRgb.begin(),
                   [](std::uint16_t value) { return static_cast<float>(value) / 65535.0F; });
    return scene.mWidth == width && scene.mHeight == height ? scene : scene.Resized(width, height);
}

#else

CScene CScene::FromPng(const std::string& path, unsigned, unsigned) {
    throw std::runtime_error(path + ": this build has no PNG support (libpng was not found)");
}

#endif

} // namespace vek::sim
