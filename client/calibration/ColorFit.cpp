// SPDX-License-Identifier: Apache-2.0
#include "client/calibration/ColorFit.h"

#include "client/Errors.h"

#include <Eigen/Cholesky>
#include <Eigen/QR>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

namespace vek::client {

namespace {

// The numbers that are fitted: of each row of the matrix the second and the third (the first is what is missing to the
// white's X, Y or Z), the exposure's logarithm, and the light's two where it is fitted.
constexpr Eigen::Index kMatrixNumbers = 6;
constexpr Eigen::Index kExposureNumber = kMatrixNumbers;
constexpr Eigen::Index kLightNumber = kExposureNumber + 1;
constexpr Eigen::Index kNumbers = kLightNumber + 2;

constexpr const char* kNoColors = "the patches do not tell the camera's colours";

SColorFit fitOf(const Eigen::VectorXd& numbers, const Neutral& neutral) {
    SColorFit fit;
    fit.neutral = neutral;
    for (std::size_t row = 0; row < 3; ++row) {
        const double second = numbers[static_cast<Eigen::Index>(2 * row)];
        const double third = numbers[static_cast<Eigen::Index>(2 * row + 1)];
        fit.forward[row] = {kWhiteD50[row] - second - third, second, third};
    }
    fit.exposure = std::exp(numbers[kExposureNumber]);
    if (numbers.size() > kLightNumber) {
        fit.light = {numbers[kLightNumber], numbers[kLightNumber + 1]};
    }
    return fit;
}

Eigen::VectorXd residualsOf(const SColorFit& fit, std::span<const SColorSample> samples) {
    Eigen::VectorXd residuals(static_cast<Eigen::Index>(3 * samples.size()));
    Eigen::Index i = 0;
    for (const SColorSample& sample : samples) {
        for (const double part : differenceParts(sample.target, fit.Measured(sample))) {
            residuals[i++] = part;
        }
    }
    return residuals;
}

/// Samples that are lighter than black and have no hue.
bool isBalancing(const SColorSample& sample) {
    constexpr double kDarkest = 25; // black patches shine, and are lost in noise
    constexpr double kMostChroma = 5;
    return sample.target[0] > kDarkest && std::hypot(sample.target[1], sample.target[2]) < kMostChroma;
}

void checkSamples(std::span<const SColorSample> samples) {
    const auto grays = static_cast<std::size_t>(std::count_if(samples.begin(), samples.end(), isBalancing));
    if (samples.size() < kLeastSamples || grays < kLeastGrays) {
        throw CFailure("too few patches are left: " + std::to_string(samples.size()) + ", " + std::to_string(grays) +
                       " of them grey; " + std::to_string(kLeastSamples) + " and " + std::to_string(kLeastGrays) +
                       " are needed");
    }
}

/// The mean ratio of what the camera sees of the grey samples to what it would see of them under a light that needs no
/// balance. forward: white-balanced camera to XYZ; the samples' own tints count by it, nothing where they are none.
Neutral neutralOf(std::span<const SColorSample> samples, const Matrix3* forward) {
    const std::optional<Matrix3> back = forward != nullptr ? inverse(*forward) : std::nullopt;
    Vector3 logarithms{};
    double count = 0;
    for (const SColorSample& sample : samples) {
        if (!isBalancing(sample)) {
            continue;
        }
        const Vector3 balanced = back ? *back * xyzOfLab(sample.target) : Vector3{1, 1, 1};
        for (std::size_t c = 0; c < logarithms.size(); ++c) {
            const double ratio = sample.camera[c] / sample.camera[1] * balanced[1] / balanced[c];
            if (!(ratio > kSmallestNeutral && ratio < 1 / kSmallestNeutral)) {
                throw CFailure(back ? kNoColors : "the grey patches lack a colour");
            }
            logarithms[c] += std::log(ratio);
        }
        ++count;
    }
    Neutral neutral{};
    std::transform(logarithms.begin(), logarithms.end(), neutral.begin(),
                   [=](double sum) { return std::exp(sum / count); });
    const double largest = *std::max_element(neutral.begin(), neutral.end());
    return {neutral[0] / largest, neutral[1] / largest, neutral[2] / largest};
}

/// Linear least squares in XYZ.
Eigen::VectorXd linearStart(std::span<const SColorSample> samples, const Neutral& neutral, bool withLight) {
    const auto count = static_cast<Eigen::Index>(samples.size());
    Eigen::MatrixXd camera(count, 3);
    Eigen::MatrixXd target(count, 3);
    for (Eigen::Index i = 0; i < count; ++i) {
        const SColorSample& sample = samples[static_cast<std::size_t>(i)];
        const Vector3 xyz = xyzOfLab(sample.target);
        for (Eigen::Index c = 0; c < 3; ++c) {
            const auto at = static_cast<std::size_t>(c);
            camera(i, c) = sample.camera[at] / neutral[at];
            target(i, c) = xyz[at];
        }
    }
    const Eigen::ColPivHouseholderQR<Eigen::MatrixXd> solver(camera);
    const Eigen::Matrix3d byColumns = solver.solve(target); // of the transposed matrix
    const double exposure = byColumns.col(1).sum();
    if (solver.rank() < 3 || !(exposure > 0) || !byColumns.allFinite()) {
        throw CFailure(kNoColors);
    }
    Eigen::VectorXd numbers = Eigen::VectorXd::Zero(withLight ? kNumbers : kLightNumber);
    for (Eigen::Index row = 0; row < 3; ++row) {
        // The rows come out with other sums than the white's: the difference goes to all three alike.
        const double excess = (byColumns.col(row).sum() / exposure - kWhiteD50[static_cast<std::size_t>(row)]) / 3;
        numbers[2 * row] = byColumns(1, row) / exposure - excess;
        numbers[2 * row + 1] = byColumns(2, row) / exposure - excess;
    }
    numbers[kExposureNumber] = std::log(exposure);
    return numbers;
}

Eigen::MatrixXd slopesOf(const Eigen::VectorXd& numbers, const Neutral& neutral,
                         std::span<const SColorSample> samples) {
    constexpr double kStep = 1e-6; // of numbers around 1, in double precision: half of the digits
    Eigen::MatrixXd slopes(static_cast<Eigen::Index>(3 * samples.size()), numbers.size());
    for (Eigen::Index i = 0; i < numbers.size(); ++i) {
        Eigen::VectorXd above = numbers;
        Eigen::VectorXd below = numbers;
        above[i] += kStep;
        below[i] -= kStep;
        slopes.col(i) =
            (residualsOf(fitOf(above, neutral), samples) - residualsOf(fitOf(below, neutral), samples)) / (2 * kStep);
    }
    return slopes;
}

/// Levenberg and Marquardt: steps between Gauss's and the steepest descent, shorter ones where they do not help.
Eigen::VectorXd leastSquares(Eigen::VectorXd numbers, const Neutral& neutral, std::span<const SColorSample> samples) {
    constexpr int kMostSteps = 200;
    constexpr double kEnough = 1e-9; // of the sum, by which a step still makes it less
    constexpr double kMostDamping = 1e12;
    constexpr double kLeastDamping = 1e-12;
    double damping = 1e-3;
    Eigen::VectorXd residuals = residualsOf(fitOf(numbers, neutral), samples);
    for (int step = 0; step < kMostSteps && damping < kMostDamping; ++step) {
        const Eigen::MatrixXd slopes = slopesOf(numbers, neutral, samples);
        const Eigen::MatrixXd normal = slopes.transpose() * slopes;
        const Eigen::VectorXd gradient = slopes.transpose() * residuals;
        const double sum = residuals.squaredNorm();
        double gained = 0;
        for (; gained <= 0 && damping < kMostDamping; damping *= 10) {
            Eigen::MatrixXd damped = normal;
            damped.diagonal() *= 1 + damping;
            const Eigen::VectorXd next = numbers - damped.ldlt().solve(gradient);
            const Eigen::VectorXd nextResiduals = residualsOf(fitOf(next, neutral), samples);
            const double nextSum = nextResiduals.squaredNorm();
            if (std::isfinite(nextSum) && nextSum < sum) {
                gained = sum - nextSum;
                numbers = next;
                residuals = nextResiduals;
                damping = std::max(damping / 1000, kLeastDamping); // of which the loop takes back a tenth
            }
        }
        if (gained <= kEnough * sum) {
            break;
        }
    }
    return numbers;
}

} // namespace

Lab SColorFit::Measured(const SColorSample& sample) const {
    const double scale = exposure / light.At(sample);
    Vector3 balanced{};
    for (std::size_t c = 0; c < balanced.size(); ++c) {
        balanced[c] = scale * sample.camera[c] / neutral[c];
    }
    return labOf(forward * balanced);
}

SColorFit fitColors(std::span<const SColorSample> samples, bool withLight) {
    checkSamples(samples);
    Neutral neutral = neutralOf(samples, nullptr);
    Eigen::VectorXd numbers = leastSquares(linearStart(samples, neutral, withLight), neutral, samples);
    // The greys have a little tint of their own, which is known, and the matrix tells it from the light's. It is small:
    // a few passes are enough for it to stay.
    constexpr int kPasses = 3;
    for (int pass = 0; pass < kPasses; ++pass) {
        const SColorFit fit = fitOf(numbers, neutral);
        neutral = neutralOf(samples, &fit.forward);
        numbers = leastSquares(numbers, neutral, samples);
    }
    return fitOf(numbers, neutral);
}

std::vector<double> differencesOf(const SColorFit& fit, std::span<const SColorSample> samples) {
    std::vector<double> differences(samples.size());
    std::transform(samples.begin(), samples.end(), differences.begin(),
                   [&](const SColorSample& sample) { return colorDifference(sample.target, fit.Measured(sample)); });
    return differences;
}

std::vector<double> differencesLeftOut(std::span<const SColorSample> samples, bool withLight) {
    std::vector<double> differences;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        std::vector<SColorSample> others(samples.begin(), samples.end());
        others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
        const SColorFit fit = fitColors(others, withLight);
        differences.push_back(colorDifference(samples[i].target, fit.Measured(samples[i])));
    }
    return differences;
}

SCalibratedColors calibratedColors(const SColorFit& fit, unsigned illuminant, const SChromaticity& white) {
    const std::optional<Matrix3> back = inverse(fit.forward);
    if (!back) {
        throw CFailure(kNoColors);
    }
    return {diagonal(fit.neutral) * *back * whiteAdaptation(xyzOf(white), kWhiteD50), fit.forward, illuminant};
}

unsigned putFit(SProfile& profile, const SColorFit& fit, unsigned illuminant, const std::string& name) {
    constexpr unsigned kD50 = 23;
    auto& [first, second] = profile.colors;
    const bool hasFirst = first.color || first.forward;
    const bool hasSecond = second.color || second.forward;
    if (illuminant == 0) {
        illuminant = hasFirst && !hasSecond && first.illuminant != 0 ? first.illuminant : kD50;
    }
    const std::optional<SChromaticity> white = lightSourceWhite(illuminant);
    if (!white) {
        throw CBadArguments("light source " + std::to_string(illuminant) + " has no white");
    }
    const SCalibratedColors colors = calibratedColors(fit, illuminant, *white);
    // Matrices without a light are nobody's.
    if (!hasFirst || first.illuminant == 0 || first.illuminant == illuminant) {
        first = colors;
    } else if (!hasSecond || second.illuminant == 0 || second.illuminant == illuminant) {
        second = colors;
    } else {
        throw CBadArguments(std::string("the profile has matrices of two other lights: ") +
                            lightSourceName(first.illuminant) + " and " + lightSourceName(second.illuminant));
    }
    profile.asShotNeutral = fit.neutral;
    if (!name.empty()) {
        replaceNamed(profile.whiteBalances, &SNamedBalance::name, {name, fit.neutral});
    }
    return illuminant;
}

} // namespace vek::client
