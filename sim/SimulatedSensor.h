// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/Scene.h"
#include "sim/TransferFormat.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace vek::sim {

struct SPixelPosition {
    unsigned x = 0; ///< sensor column
    unsigned y = 0; ///< sensor row
};

/// What people call the colour arrays of sensors, whose codes start at 1.
inline constexpr std::array<std::string_view, 5> kColorArrayNames = {"mono", "rggb", "grbg", "gbrg", "bggr"};

/// A pixel with excess charge that no light explains.
struct SHotPixel {
    unsigned x = 0;
    unsigned y = 0;
    float electronsPerSecond = 0.0F; ///< excess dark current, grows with the exposure
    float offsetElectrons = 0.0F;    ///< excess charge of every frame, however short
};

/// Largest light on a scene; sides of a sensor, pixels.
inline constexpr float kMaxLightLevel = 1e6F;
inline constexpr unsigned kMinSensorSide = 2;
inline constexpr unsigned kMaxSensorSide = 65534;

/// Physical description of a sensor and of the light on it. Charges in electrons, levels in DN at the sensor's depth.
struct SSensorConfig {
    unsigned width = 1280; ///< pixels, kMinSensorSide .. kMaxSensorSide
    unsigned height = 960; ///< pixels, the same
    unsigned depth = 12;   ///< significant bits: 8, 10, 12, 14 or 16
    int colorArray = 2;    ///< 1 mono, 2 RGGB, 3 GRBG, 4 GBRG, 5 BGGR

    float fullWellElectrons = 10000.0F;        ///< charge at which a pixel saturates
    float dnPerElectron = 0.0F;                ///< conversion at gain 1; 0: the full well just fills the range
    unsigned blackLevel = 64;                  ///< DN added to every pixel
    float whiteElectronsPerSecond = 500000.0F; ///< scene level 1, light level 1, image centre, green
    float readNoiseElectrons = 4.0F;           ///< standard deviation, before the gain
    float darkElectronsPerSecond = 5.0F;       ///< mean dark current
    bool photonNoise = true;                   ///< off: the mean number of electrons, for exact expectations

    float photoResponseSpread = 0.005F; ///< fixed pattern: standard deviation of sensitivity, relative
    float darkCurrentSpread = 0.2F;     ///< fixed pattern: standard deviation of dark current, relative
    float lensShading = 0.25F;          ///< fall-off in the far corner: 0 none .. 1 black; grows with the square
    std::vector<SHotPixel> hotPixels;
    std::vector<SPixelPosition> deadPixels; ///< insensitive to light

    /// Sensor red, green, blue (rows) from scene red, green, blue: filter overlap and channel sensitivity at once.
    std::array<float, 9> sensorFromScene = {0.56F, 0.08F, 0.01F, 0.07F, 0.88F, 0.05F, 0.01F, 0.13F, 0.60F};
    std::array<float, 3> monoFromScene = {0.25F, 0.55F, 0.20F}; ///< the same for a monochrome sensor

    float lightLevel = 1.0F;   ///< multiplies the scene, 0 .. kMaxLightLevel
    bool lensCap = false;      ///< no light at all
    float flickerHz = 0.0F;    ///< frequency of the light's ripple (twice the mains); 0: steady
    float flickerDepth = 0.0F; ///< amplitude of the ripple relative to the mean, 0 .. 1

    std::uint64_t seed = 1; ///< fixes the fixed pattern and, with the frame number, all noise
};

/// Rectangle in transferred pixels (after binning).
struct SRectangle {
    unsigned x = 0;
    unsigned y = 0;
    unsigned width = 0;
    unsigned height = 0;
    bool operator==(const SRectangle&) const = default;
};

/// How one frame is taken.
struct SExposure {
    double seconds = 0.01;
    double gain = 1.0;             ///< linear factor between charge and level
    std::uint64_t frameNumber = 0; ///< with the seed: which noise
    double startSeconds = 0.0;     ///< on the light's time axis, for flicker
    unsigned binningH = 1;         ///< 1, 2 or 4 columns become one
    unsigned binningV = 1;         ///< 1, 2 or 4 rows become one
};

/// Area sensor behind a lens:
///   mean charge = scene x filter x shading x sensitivity x light x time + dark current x time + offset
///   charge      = min(Poisson(mean charge), full well) + read noise
///   level       = round(charge x gain x dnPerElectron + black level), limited to 0 .. 2^depth - 1
/// The same configuration, scene and exposure give the same samples on every machine. Not thread-safe.
class CSimulatedSensor {
public:
    /// Throws std::invalid_argument for values outside the ranges given at SSensorConfig.
    CSimulatedSensor(const SSensorConfig& config, CScene scene);

    const SSensorConfig& Config() const { return mConfig; }
    /// As the constructor. The scene is kept, scaled when the sensor's size changes.
    void SetConfig(const SSensorConfig& config);
    const CScene& Scene() const { return mScene; }
    /// Scaled to the sensor when it has another size.
    void SetScene(CScene scene);

    /// These three do not disturb the cached charge image.
    void SetLightLevel(float level); ///< 0 .. 1e6; throws std::invalid_argument otherwise
    void SetLensCap(bool on) { mConfig.lensCap = on; }
    /// Pixels that the camera corrects itself: each is the mean of its nearest sound same-colour neighbours left and
    /// right, or above and below where it has none. Positions outside the sensor are ignored.
    void SetMaskedPixels(const std::vector<SPixelPosition>& positions);

    /// Size of a frame at a binning factor. A Bayer sensor bins same-colour pixels and keeps whole 2 x 2 cells.
    unsigned BinnedWidth(unsigned factor) const { return BinnedSize(mConfig.width, factor); }
    unsigned BinnedHeight(unsigned factor) const { return BinnedSize(mConfig.height, factor); }

    /// The mosaic (or grey) levels inside area, one channel. area lies inside the binned frame.
    SRasterImage ReadRaw(const SExposure& exposure, const SRectangle& area) const;
    /// What the camera's own processing makes of it: bilinear interpolation, black level removed, full range
    /// restored, filter overlap and channel sensitivity undone; three channels, linear. A monochrome sensor gives its
    /// levels in all three, the black level kept.
    SRasterImage ReadColor(const SExposure& exposure, const SRectangle& area) const;

    /// Mean charge of a sensor pixel without noise, before saturation.
    double MeanElectrons(const SExposure& exposure, unsigned x, unsigned y) const;
    /// Conversion at gain 1, DN per electron.
    double DnPerElectron() const { return mDnPerElectron; }
    /// Filter colour of a sensor pixel: 0 red, 1 green, 2 blue; 1 for a monochrome sensor.
    unsigned FilterColor(unsigned x, unsigned y) const;

private:
    struct SFrame;

    void CheckConfig() const;
    void BuildImage() const;
    void BuildFixedPattern() const;
    unsigned BinnedSize(unsigned size, unsigned factor) const;
    SFrame MakeFrame(const SExposure& exposure) const;
    float Charge(const SFrame& frame, unsigned x, unsigned y) const;
    float CorrectedCharge(const SFrame& frame, unsigned x, unsigned y) const;
    float BinnedCharge(const SFrame& frame, const SExposure& exposure, unsigned x, unsigned y) const;
    std::uint16_t Level(const SFrame& frame, float charge) const;

    SSensorConfig mConfig;
    CScene mScene;
    double mDnPerElectron = 0.0;
    std::array<double, 9> mSceneFromSensor{};
    std::vector<std::uint8_t> mMasked; // one flag a pixel; empty: none
    // Noiseless image, made on first use: electrons per second at light level 1, dark electrons per second, and
    // electrons of every frame.
    mutable std::vector<float> mSignalRate;
    mutable std::vector<float> mDarkRate;
    mutable std::vector<float> mOffset;
};

} // namespace vek::sim
