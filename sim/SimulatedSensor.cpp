// SPDX-License-Identifier: Apache-2.0
#include "sim/SimulatedSensor.h"

#include "sim/NoiseSource.h"
#include "sim/PortableMath.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>

namespace vek::sim {

namespace {

constexpr std::uint64_t kResponseStream = ~std::uint64_t{0}; // frame numbers never get there
constexpr std::uint64_t kDarkStream = ~std::uint64_t{1};
constexpr double kPi = 3.14159265358979323846;

/// Filter colours of the top-left 2 x 2 cell, row by row, for colour arrays 1 .. 5.
constexpr std::array<std::array<unsigned, 4>, 5> kFilters = {
    {{1, 1, 1, 1}, {0, 1, 1, 2}, {1, 0, 2, 1}, {1, 2, 0, 1}, {2, 1, 1, 0}}};

std::array<double, 9> inverseOf(const std::array<float, 9>& matrix) {
    std::array<double, 9> m{};
    std::copy(matrix.begin(), matrix.end(), m.begin());
    const double c0 = m[4] * m[8] - m[5] * m[7];
    const double c1 = m[5] * m[6] - m[3] * m[8];
    const double c2 = m[3] * m[7] - m[4] * m[6];
    const double determinant = m[0] * c0 + m[1] * c1 + m[2] * c2;
    if (std::fabs(determinant) < 1e-6) {
        throw std::invalid_argument("the sensor's colour matrix cannot be inverted");
    }
    return {c0 / determinant, (m[2] * m[7] - m[1] * m[8]) / determinant, (m[1] * m[5] - m[2] * m[4]) / determinant,
            c1 / determinant, (m[0] * m[8] - m[2] * m[6]) / determinant, (m[2] * m[3] - m[0] * m[5]) / determinant,
            c2 / determinant, (m[1] * m[6] - m[0] * m[7]) / determinant, (m[0] * m[4] - m[1] * m[3]) / determinant};
}

/// Mean light during the exposure relative to the steady light.
double flickerFactor(const SSensorConfig& config, const SExposure& exposure) {
    if (config.flickerHz <= 0.0F || config.flickerDepth <= 0.0F || exposure.seconds <= 0.0) {
        return 1.0;
    }
    const double omega = 2.0 * kPi * static_cast<double>(config.flickerHz);
    // Whole periods are taken off first: the angle stays small however long the camera runs.
    const double periods = exposure.startSeconds * static_cast<double>(config.flickerHz);
    const double from = 2.0 * kPi * (periods - std::floor(periods));
    const double swing = portableSin(from + omega * exposure.seconds) - portableSin(from);
    return 1.0 + static_cast<double>(config.flickerDepth) * swing / (omega * exposure.seconds);
}

bool isBinningFactor(unsigned factor) {
    return factor == 1 || factor == 2 || factor == 4;
}

} // namespace

/// Everything of one exposure that does not depend on the pixel.
struct CSimulatedSensor::SFrame {
    CNoiseSource noise;
    float signalSeconds; // exposure time x light
    float darkSeconds;
    float readNoise;
    float fullWell;
    bool photonNoise;
    double dnPerElectron; // gain included
    double blackLevel;
    double maxLevel;
};

CSimulatedSensor::CSimulatedSensor(const SSensorConfig& config, CScene scene)
    : mConfig(config), mScene(std::move(scene)) {
    SetConfig(config);
}

void CSimulatedSensor::CheckConfig() const {
    const SSensorConfig& c = mConfig;
    const bool depthOk = c.depth >= 8 && c.depth <= 16 && c.depth % 2 == 0;
    const bool sizeOk = c.width >= kMinSensorSide && c.height >= kMinSensorSide && c.width <= kMaxSensorSide &&
                        c.height <= kMaxSensorSide;
    const bool chargeOk = c.fullWellElectrons > 0.0F && c.dnPerElectron >= 0.0F && c.whiteElectronsPerSecond >= 0.0F &&
                          c.readNoiseElectrons >= 0.0F && c.darkElectronsPerSecond >= 0.0F;
    const bool lightOk = c.lensShading >= 0.0F && c.lensShading <= 1.0F && c.lightLevel >= 0.0F &&
                         c.lightLevel <= kMaxLightLevel && c.flickerHz >= 0.0F && c.flickerDepth >= 0.0F &&
                         c.flickerDepth <= 1.0F;
    if (!depthOk || !sizeOk || !chargeOk || !lightOk || c.colorArray < 1 || c.colorArray > 5 ||
        c.blackLevel >= (1U << c.depth) - 1U) {
        throw std::invalid_argument("sensor configuration out of range");
    }
}

void CSimulatedSensor::SetConfig(const SSensorConfig& config) {
    const SSensorConfig previous = std::exchange(mConfig, config);
    try {
        CheckConfig();
        mSceneFromSensor = inverseOf(mConfig.sensorFromScene);
    } catch (...) {
        mConfig = previous;
        throw;
    }
    const double range = ((1U << mConfig.depth) - 1U) - mConfig.blackLevel;
    mDnPerElectron = mConfig.dnPerElectron > 0.0F ? static_cast<double>(mConfig.dnPerElectron)
                                                  : range / static_cast<double>(mConfig.fullWellElectrons);
    if (previous.width != mConfig.width || previous.height != mConfig.height) {
        mMasked.clear();
    }
    mDarkRate.clear();
    SetScene(std::move(mScene));
}

void CSimulatedSensor::SetScene(CScene scene) {
    const bool fits = scene.Width() == mConfig.width && scene.Height() == mConfig.height;
    mScene = fits ? std::move(scene) : scene.Resized(mConfig.width, mConfig.height);
    mSignalRate.clear();
}

void CSimulatedSensor::SetLightLevel(float level) {
    if (!(level >= 0.0F && level <= kMaxLightLevel)) {
        throw std::invalid_argument("light level out of range");
    }
    mConfig.lightLevel = level;
}

void CSimulatedSensor::SetMaskedPixels(const std::vector<SPixelPosition>& positions) {
    mMasked.clear();
    for (const SPixelPosition& position : positions) {
        if (position.x < mConfig.width && position.y < mConfig.height) {
            mMasked.resize(std::size_t{mConfig.width} * mConfig.height);
            mMasked[std::size_t{position.y} * mConfig.width + position.x] = 1;
        }
    }
}

unsigned CSimulatedSensor::FilterColor(unsigned x, unsigned y) const {
    return kFilters[static_cast<std::size_t>(mConfig.colorArray) - 1][y % 2 * 2 + x % 2];
}

unsigned CSimulatedSensor::BinnedSize(unsigned size, unsigned factor) const {
    return factor > 1 && mConfig.colorArray != 1 ? size / (2 * factor) * 2 : size / factor;
}

void CSimulatedSensor::BuildImage() const {
    const unsigned width = mConfig.width;
    const unsigned height = mConfig.height;
    mSignalRate.resize(std::size_t{width} * height);
    const CNoiseSource response(mConfig.seed, kResponseStream);
    const float centerX = static_cast<float>(width - 1) * 0.5F;
    const float centerY = static_cast<float>(height - 1) * 0.5F;
    const float corner = centerX * centerX + centerY * centerY;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const std::size_t at = std::size_t{y} * width + x;
            const LinearRgb color = mScene.Pixel(x, y);
            const float* filter = mConfig.colorArray == 1
                                      ? mConfig.monoFromScene.data()
                                      : mConfig.sensorFromScene.data() + std::size_t{3} * FilterColor(x, y);
            const float light = filter[0] * color[0] + filter[1] * color[1] + filter[2] * color[2];
            const float dx = static_cast<float>(x) - centerX;
            const float dy = static_cast<float>(y) - centerY;
            const float shading = 1.0F - mConfig.lensShading * ((dx * dx + dy * dy) / corner);
            const float spread = gaussFromBits(static_cast<std::uint32_t>(response.Bits(at) >> 32));
            const float rate =
                mConfig.whiteElectronsPerSecond * light * shading * (1.0F + mConfig.photoResponseSpread * spread);
            mSignalRate[at] = rate > 0.0F ? rate : 0.0F; // a scene value that is no number counts as dark
        }
    }
    for (const SPixelPosition& dead : mConfig.deadPixels) {
        if (dead.x < width && dead.y < height) {
            mSignalRate[std::size_t{dead.y} * width + dead.x] = 0.0F;
        }
    }
}

void CSimulatedSensor::BuildFixedPattern() const {
    const std::size_t count = std::size_t{mConfig.width} * mConfig.height;
    mDarkRate.resize(count);
    mOffset.assign(count, 0.0F);
    const CNoiseSource dark(mConfig.seed, kDarkStream);
    for (std::size_t i = 0; i < count; ++i) {
        const float spread = gaussFromBits(static_cast<std::uint32_t>(dark.Bits(i) >> 32));
        mDarkRate[i] = mConfig.darkElectronsPerSecond * std::max(0.0F, 1.0F + mConfig.darkCurrentSpread * spread);
    }
    for (const SHotPixel& hot : mConfig.hotPixels) {
        if (hot.x < mConfig.width && hot.y < mConfig.height) {
            const std::size_t at = std::size_t{hot.y} * mConfig.width + hot.x;
            mDarkRate[at] += hot.electronsPerSecond;
            mOffset[at] += hot.offsetElectrons;
        }
    }
}

CSimulatedSensor::SFrame CSimulatedSensor::MakeFrame(const SExposure& exposure) const {
    if (!isBinningFactor(exposure.binningH) || !isBinningFactor(exposure.binningV) || !(exposure.seconds >= 0.0)) {
        throw std::invalid_argument("exposure out of range");
    }
    if (mSignalRate.empty()) {
        BuildImage();
    }
    if (mDarkRate.empty()) {
        BuildFixedPattern();
    }
    const double light =
        mConfig.lensCap ? 0.0 : static_cast<double>(mConfig.lightLevel) * flickerFactor(mConfig, exposure);
    return {CNoiseSource(mConfig.seed, exposure.frameNumber),
            static_cast<float>(exposure.seconds * light),
            static_cast<float>(exposure.seconds),
            mConfig.readNoiseElectrons,
            mConfig.fullWellElectrons,
            mConfig.photonNoise,
            mDnPerElectron * exposure.gain,
            static_cast<double>(mConfig.blackLevel),
            static_cast<double>((1U << mConfig.depth) - 1U)};
}

float CSimulatedSensor::Charge(const SFrame& frame, unsigned x, unsigned y) const {
    const std::size_t at = std::size_t{y} * mConfig.width + x;
    const float mean = mSignalRate[at] * frame.signalSeconds + mDarkRate[at] * frame.darkSeconds + mOffset[at];
    const std::uint64_t bits = frame.noise.Bits(at);
    const float photons = frame.photonNoise ? poissonFromBits(mean, static_cast<std::uint32_t>(bits)) : mean;
    return std::min(photons, frame.fullWell) + frame.readNoise * gaussFromBits(static_cast<std::uint32_t>(bits >> 32));
}

float CSimulatedSensor::CorrectedCharge(const SFrame& frame, unsigned x, unsigned y) const {
    if (mMasked.empty() || mMasked[std::size_t{y} * mConfig.width + x] == 0) {
        return Charge(frame, x, y);
    }
    const int step = mConfig.colorArray == 1 ? 1 : 2;
    // Nearest sound pixel of the same colour in one direction.
    const auto neighbor = [&](int dx, int dy) -> std::optional<float> {
        int px = static_cast<int>(x) + dx;
        int py = static_cast<int>(y) + dy;
        for (; px >= 0 && py >= 0 && px < static_cast<int>(mConfig.width) && py < static_cast<int>(mConfig.height);
             px += dx, py += dy) {
            const auto column = static_cast<unsigned>(px);
            const auto row = static_cast<unsigned>(py);
            if (mMasked[std::size_t{row} * mConfig.width + column] == 0) {
                return Charge(frame, column, row);
            }
        }
        return std::nullopt;
    };
    const auto mean = [](std::optional<float> a, std::optional<float> b) -> std::optional<float> {
        return a && b ? (*a + *b) * 0.5F : a ? a : b;
    };
    const std::optional<float> beside = mean(neighbor(-step, 0), neighbor(step, 0));
    if (beside) {
        return *beside;
    }
    return mean(neighbor(0, -step), neighbor(0, step)).value_or(0.0F);
}

float CSimulatedSensor::BinnedCharge(const SFrame& frame, const SExposure& exposure, unsigned x, unsigned y) const {
    if (exposure.binningH == 1 && exposure.binningV == 1) {
        return CorrectedCharge(frame, x, y);
    }
    // Bayer: the binned pixel keeps its place in the 2 x 2 cell and takes the same place of the cells it covers.
    const bool bayer = mConfig.colorArray != 1;
    const auto first = [bayer](unsigned at, unsigned factor) {
        return bayer ? at / 2 * 2 * factor + at % 2 : at * factor;
    };
    const unsigned step = bayer ? 2 : 1;
    const unsigned x0 = first(x, exposure.binningH);
    const unsigned y0 = first(y, exposure.binningV);
    float sum = 0.0F;
    for (unsigned j = 0; j < exposure.binningV; ++j) {
        for (unsigned i = 0; i < exposure.binningH; ++i) {
            sum += CorrectedCharge(frame, x0 + i * step, y0 + j * step);
        }
    }
    return sum / static_cast<float>(exposure.binningH * exposure.binningV);
}

std::uint16_t CSimulatedSensor::Level(const SFrame& frame, float charge) const {
    const double level = std::floor(static_cast<double>(charge) * frame.dnPerElectron + frame.blackLevel + 0.5);
    return static_cast<std::uint16_t>(std::clamp(level, 0.0, frame.maxLevel));
}

SRasterImage CSimulatedSensor::ReadRaw(const SExposure& exposure, const SRectangle& area) const {
    const SFrame frame = MakeFrame(exposure);
    const unsigned fullWidth = BinnedWidth(exposure.binningH);
    const unsigned fullHeight = BinnedHeight(exposure.binningV);
    if (area.width > fullWidth || area.height > fullHeight || area.x > fullWidth - area.width ||
        area.y > fullHeight - area.height) {
        throw std::invalid_argument("area outside the sensor");
    }
    SRasterImage image(area.width, area.height, mConfig.depth, 1);
    std::uint16_t* out = image.samples.data();
    for (unsigned y = area.y; y < area.y + area.height; ++y) {
        for (unsigned x = area.x; x < area.x + area.width; ++x) {
            *out++ = Level(frame, BinnedCharge(frame, exposure, x, y));
        }
    }
    return image;
}

SRasterImage CSimulatedSensor::ReadColor(const SExposure& exposure, const SRectangle& area) const {
    SRasterImage color(area.width, area.height, mConfig.depth, 3);
    if (mConfig.colorArray == 1) {
        const SRasterImage gray = ReadRaw(exposure, area);
        for (std::size_t i = 0; i < color.samples.size(); ++i) {
            color.samples[i] = gray.samples[i / 3];
        }
        return color;
    }
    // Read a pixel more on each side: an area looks the same alone and as part of the frame.
    const unsigned fullWidth = BinnedWidth(exposure.binningH);
    const unsigned fullHeight = BinnedHeight(exposure.binningV);
    const unsigned left = std::max(area.x, 1U) - 1U;
    const unsigned top = std::max(area.y, 1U) - 1U;
    const SRectangle wide = {left, top, std::min(area.x + area.width + 1U, fullWidth) - left,
                             std::min(area.y + area.height + 1U, fullHeight) - top};
    const SRasterImage mosaic = ReadRaw(exposure, wide);
    // Neighbours beyond the sensor are mirrored about the border pixel, which keeps their colour.
    const auto inside = [](int at, int size) { return at < 0 ? -at : at >= size ? 2 * size - 2 - at : at; };
    const double maxLevel = (1U << mConfig.depth) - 1U;
    const double black = mConfig.blackLevel;
    const double range = maxLevel / (maxLevel - black);
    std::size_t out = 0;
    for (unsigned y = area.y; y < area.y + area.height; ++y) {
        for (unsigned x = area.x; x < area.x + area.width; ++x) {
            std::array<double, 3> sum{};
            std::array<double, 3> weight{};
            const unsigned own = FilterColor(x, y);
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    const auto px =
                        static_cast<unsigned>(inside(static_cast<int>(x) + dx, static_cast<int>(fullWidth)));
                    const auto py =
                        static_cast<unsigned>(inside(static_cast<int>(y) + dy, static_cast<int>(fullHeight)));
                    const unsigned filter = FilterColor(px, py);
                    if (filter == own && (dx != 0 || dy != 0)) {
                        continue; // a pixel's own colour is measured, not interpolated
                    }
                    sum[filter] += mosaic.samples[std::size_t{py - wide.y} * wide.width + (px - wide.x)];
                    weight[filter] += 1.0;
                }
            }
            std::array<double, 3> sensor{};
            for (std::size_t c = 0; c < 3; ++c) {
                sensor[c] = (sum[c] / weight[c] - black) * range;
            }
            for (std::size_t c = 0; c < 3; ++c) {
                const double value = mSceneFromSensor[c * 3] * sensor[0] + mSceneFromSensor[c * 3 + 1] * sensor[1] +
                                     mSceneFromSensor[c * 3 + 2] * sensor[2];
                color.samples[out++] = static_cast<std::uint16_t>(std::clamp(std::floor(value + 0.5), 0.0, maxLevel));
            }
        }
    }
    return color;
}

double CSimulatedSensor::MeanElectrons(const SExposure& exposure, unsigned x, unsigned y) const {
    const SFrame frame = MakeFrame(exposure);
    const std::size_t at = std::size_t{y} * mConfig.width + x;
    return static_cast<double>(mSignalRate[at] * frame.signalSeconds + mDarkRate[at] * frame.darkSeconds + mOffset[at]);
}

} // namespace vek::sim
