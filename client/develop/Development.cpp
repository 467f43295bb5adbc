// SPDX-License-Identifier: Apache-2.0
#include "client/develop/Development.h"

#include "client/Errors.h"
#include "client/frames/RawFrame.h"
#include "client/stages/Calibration.h"
#include "client/stages/Conversion.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace vek::client {

namespace {

constexpr std::size_t kPhases = 4;
using Levels = std::array<double, kPhases>;

constexpr std::size_t phaseAt(std::size_t x, std::size_t y) {
    return 2 * (y % 2) + x % 2;
}

/// Linear samples of a frame without packing.
class CSamples {
public:
    /// frame: outlives this; table: its linearization, empty: none.
    CSamples(const STransferredFrame& frame, const std::vector<std::uint16_t>& table)
        : mWidth(frame.width), mHeight(frame.height), mWords(frame.format->layout == ELayout::Words || !table.empty()),
          mLinear(table.empty() ? std::vector<std::uint8_t>()
                                : linearizedWords(frame.bytes, frame.format->layout == ELayout::Words, table)),
          mBytes(table.empty() ? frame.bytes : mLinear) {}

    double At(std::size_t x, std::size_t y) const {
        const std::size_t i = y * mWidth + x;
        return mWords ? wordAt(mBytes, i) : mBytes[i];
    }
    std::size_t Width() const { return mWidth; }
    std::size_t Height() const { return mHeight; }

private:
    std::size_t mWidth;
    std::size_t mHeight;
    bool mWords;
    std::vector<std::uint8_t> mLinear;
    const std::vector<std::uint8_t>& mBytes;
};

/// Nothing for a phase of which nothing was counted.
std::array<std::optional<double>, kPhases> meansOf(const Levels& sums, const Levels& counts) {
    std::array<std::optional<double>, kPhases> means;
    for (std::size_t i = 0; i < kPhases; ++i) {
        if (counts[i] > 0) {
            means[i] = sums[i] / counts[i];
        }
    }
    return means;
}

std::array<std::optional<double>, kPhases> phaseMeans(const CSamples& samples, const SRegion& region) {
    Levels sums{};
    Levels counts{};
    for (std::size_t y = region.y; y < region.y + region.height; ++y) {
        for (std::size_t x = region.x; x < region.x + region.width; ++x) {
            sums[phaseAt(x, y)] += samples.At(x, y);
            ++counts[phaseAt(x, y)];
        }
    }
    return meansOf(sums, counts);
}

SRegion requireInside(const SRegion& region, const STransferredFrame& frame, const char* setting) {
    const std::optional<SRegion> inside = partInside(region, frame.width, frame.height);
    if (!inside) {
        throw CMisfit(fmt::format("<{}>: the region lies outside the frame of {} x {} pixels", setting, frame.width,
                                  frame.height));
    }
    return *inside;
}

/// Factor from the samples of a profile to those of a frame's format: cameras leave out low bits.
double depthScale(const SProfile& profile, const STransferFormat& format) {
    if (profile.format == nullptr || profile.format == &format) {
        return 1;
    }
    return std::ldexp(1.0, static_cast<int>(format.depth) - static_cast<int>(*profile.Depth()));
}

/// Phases without a sample get the mean of the others, and so do all where the samples are of one kind.
Levels completed(const std::array<std::optional<double>, kPhases>& means, bool alike) {
    double sum = 0;
    double count = 0;
    for (const std::optional<double>& mean : means) {
        sum += mean.value_or(0);
        count += mean ? 1 : 0;
    }
    Levels levels{};
    std::ranges::transform(means, levels.begin(), [&](const std::optional<double>& mean) {
        return mean && !alike ? *mean : sum / std::max(count, 1.0);
    });
    return levels;
}

/// How the parts of a development are found, one after the other.
class CSettling {
public:
    CSettling(const SDevelopmentChoices& choices, const SProfile* profile, const SCorrections& corrections,
              const STransferredFrame& frame, bool gray)
        : mChoices(choices), mProfile(profile), mCorrections(corrections), mFrame(frame), mGray(gray),
          mAlike(!isBayer(frame.colorArray)) {
        mResult.format = frame.format;
        mResult.highlights = choices.highlights;
        mResult.sharpness = choices.sharpness;
    }

    void TakeLinearization() {
        if (mProfile == nullptr || mProfile->linearization.empty()) {
            return;
        }
        if (depthScale(*mProfile, *mFrame.format) != 1) {
            throw CMisfit(fmt::format("the profile's LinearizationTable is of format {}, the frame of {}",
                                      mProfile->format->name, mFrame.format->name));
        }
        if (mCorrections.Any()) {
            throw CMisfit("<noise> and <shading> do not go with a profile that has a LinearizationTable");
        }
        mResult.linearization = mProfile->linearization;
    }

    /// samples: linear ones of the frame.
    SDevelopment Settle(const CSamples& samples) {
        SettleBlack(samples);
        SettleWhite();
        Narrow();
        SettleMatrix();
        if (!mAlike) {
            SettleBalance(samples);
        }
        SettleTone(samples);
        return mResult;
    }

private:
    void Assume(std::string what) { mResult.assumed.push_back(std::move(what)); }

    void SettleBlack(const CSamples& samples) {
        const SBlackChoice& choice = mChoices.black;
        using EKind = SBlackChoice::EKind;
        const bool subtracted = mCorrections.noise == VEK_NOISE_COMPLEX && choice.kind == EKind::Unsaid;
        if (choice.kind == EKind::Profile && (mProfile == nullptr || !mProfile->blackLevel)) {
            throw CMisfit("<black> profile needs a profile with BlackLevel");
        }
        if (subtracted || choice.kind == EKind::Dark) {
            mResult.black = DarkLevels();
        } else if (choice.kind == EKind::Levels) {
            mResult.black = choice.levels;
        } else if (choice.kind == EKind::Masked) {
            const auto means = phaseMeans(samples, requireInside(choice.masked, mFrame, "black"));
            if (!mAlike && !std::ranges::all_of(means, &std::optional<double>::has_value)) {
                throw CMisfit("<black> masked needs a region of 2 x 2 pixels or more");
            }
            mResult.black = completed(means, mAlike);
        } else if (mProfile != nullptr && mProfile->blackLevel) {
            mResult.black = ProfileBlack();
        } else {
            Assume("black 0");
        }
    }

    /// Where the dark frame is subtracted, its least samples, which are left; else its means.
    Levels DarkLevels() const {
        if (mCorrections.darkPath.empty()) {
            throw CMisfit("<black> dark needs <dark>");
        }
        const SCalibration dark = readCalibration(mCorrections.darkPath, "dark");
        requireMatch(dark, mCorrections.darkPath, *mFrame.format, mFrame.width, mFrame.height, mFrame.colorArray);
        const bool floors = mCorrections.noise == VEK_NOISE_COMPLEX;
        const std::vector<std::uint16_t> samples =
            floors ? samplesAtDepth<std::uint16_t>(dark, mFrame.format->depth) : dark.mean.samples;
        const int scale = floors ? 0 : static_cast<int>(mFrame.format->depth) - 16;
        Levels sums{};
        Levels counts{};
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const std::size_t phase = phaseAt(i % dark.mean.width, i / dark.mean.width);
            const double sample = std::ldexp(samples[i], scale);
            sums[phase] = !floors ? sums[phase] + sample : counts[phase] == 0 ? sample : std::min(sums[phase], sample);
            counts[phase] = floors ? 1 : counts[phase] + 1;
        }
        return completed(meansOf(sums, counts), mAlike);
    }

    Levels ProfileBlack() const {
        const double scale = depthScale(*mProfile, *mFrame.format);
        std::array<std::optional<double>, kPhases> levels;
        std::ranges::transform(mProfile->blackLevel->ByPhase(), levels.begin(),
                               [=](double level) { return std::optional(level * scale); });
        return completed(levels, mAlike);
    }

    void SettleWhite() {
        const double largest = maxSample(mResult.linearization.empty() ? mFrame.format->depth : 16U);
        mResult.white = mChoices.white.value_or(largest);
        if (!mChoices.white && mProfile != nullptr) {
            const double scale = depthScale(*mProfile, *mFrame.format);
            const std::optional<unsigned> white = mProfile->WhiteLevel();
            // The largest sample of the profile's format is that of the frame's, and no multiple of it.
            const bool said = scale == 1 ? white.has_value() : mProfile->whiteLevel.has_value();
            mResult.white = said ? std::min(*white * scale, largest) : largest;
        }
        for (const double black : mResult.black) {
            if (black >= mResult.white) {
                throw CMisfit(fmt::format("<black> {:.6g} is not below <white> {:.6g}", black, mResult.white));
            }
        }
    }

    /// Samples far below the largest one of the format would need larger factors than the chain has.
    void Narrow() {
        const bool words = mFrame.format->layout == ELayout::Words || !mResult.linearization.empty();
        if (words && !mCorrections.Any()) {
            const STransferFormat& narrow =
                unpackedFormat(mAlike, true, static_cast<unsigned>(std::ceil(mResult.white)));
            const bool smaller = narrow.depth < mFrame.format->depth || !mResult.linearization.empty();
            mResult.format = smaller ? &narrow : mFrame.format;
        }
    }

    void SettleMatrix() {
        const SMatrixChoice& choice = mChoices.matrix;
        using EKind = SMatrixChoice::EKind;
        const bool known = mProfile != nullptr && mProfile->HasColors();
        if (choice.kind == EKind::Profile && !known) {
            throw CMisfit("<matrix> profile needs a profile with ColorMatrix1 or ForwardMatrix1");
        }
        if (mGray) {
            if (choice.kind == EKind::Matrix || choice.kind == EKind::Profile) {
                throw CMisfit("<matrix> needs a colour picture");
            }
            return;
        }
        if (choice.kind == EKind::Matrix) {
            mResult.matrix = choice.matrix;
        } else if (choice.kind != EKind::None && known) {
            // For the light that the white balance tells, which is settled later.
            mMatrixByBalance = true;
        } else if (choice.kind == EKind::Unsaid) {
            Assume("no colour matrix");
        }
    }

    void SettleBalance(const CSamples& samples) {
        const SBalanceChoice& choice = mChoices.balance;
        using EKind = SBalanceChoice::EKind;
        const Neutral* const neutral = mProfile != nullptr ? mProfile->FindNeutral(choice.name) : nullptr;
        if (choice.kind == EKind::Profile && neutral == nullptr) {
            throw CMisfit(choice.name.empty()
                              ? std::string("<wb> profile needs a profile with AsShotNeutral")
                              : fmt::format("<wb>: the profile has no white balance \"{}\"", choice.name));
        }
        if (choice.kind == EKind::Factors) {
            mResult.gains = choice.gains;
        } else if (choice.kind == EKind::Grey) {
            mResult.gains = GreyGains(phaseMeans(samples, requireInside(choice.grey, mFrame, "wb")));
        } else if (choice.kind == EKind::Auto || neutral == nullptr) {
            if (choice.kind == EKind::Unsaid && !mGray) {
                Assume("white balance by the mean of the picture");
            }
            mResult.gains = GreyGains(CellMeans(samples));
            // A picture without grey would ask for any factor. Light from dusk to candles needs no more.
            constexpr double kMostGain = 4;
            const double smallest = *std::ranges::min_element(mResult.gains);
            for (double& gain : mResult.gains) {
                gain = std::min(gain, kMostGain * smallest);
            }
        } else {
            const Vector3 gains = balanceGains(*neutral);
            mResult.gains = {gains[0], gains[1], gains[1], gains[2]};
        }
        const double smallest = *std::ranges::min_element(mResult.gains);
        for (double& gain : mResult.gains) {
            gain /= smallest;
        }
        if (mMatrixByBalance) {
            const double green = (mResult.gains[kSlotGr] + mResult.gains[kSlotGb]) / 2;
            const Neutral seen = {1 / mResult.gains[kSlotR], 1 / green, 1 / mResult.gains[kSlotB]};
            mResult.matrix = balancedToSrgb(mProfile->colors, seen);
        }
    }

    /// Means by phase of the cells that are neither dark nor nearly saturated, which tell nothing of the light; all 1
    /// above black where there are none.
    std::array<std::optional<double>, kPhases> CellMeans(const CSamples& samples) const {
        constexpr double kDark = 0.02;
        constexpr double kBright = 0.95;
        Levels sums{};
        std::size_t cells = 0;
        for (std::size_t y = 0; y + 1 < samples.Height(); y += 2) {
            for (std::size_t x = 0; x + 1 < samples.Width(); x += 2) {
                const Levels cell = {samples.At(x, y), samples.At(x + 1, y), samples.At(x, y + 1),
                                     samples.At(x + 1, y + 1)};
                bool tells = true;
                for (std::size_t i = 0; i < kPhases; ++i) {
                    const double part = (cell[i] - mResult.black[i]) / (mResult.white - mResult.black[i]);
                    tells = tells && part >= kDark && part <= kBright;
                }
                if (tells) {
                    ++cells;
                    std::ranges::transform(sums, cell, sums.begin(), std::plus<>());
                }
            }
        }
        std::array<std::optional<double>, kPhases> means;
        for (std::size_t i = 0; i < kPhases; ++i) {
            means[i] = cells > 0 ? sums[i] / static_cast<double>(cells) : mResult.black[i] + 1;
        }
        return means;
    }

    std::array<double, 4> GreyGains(const std::array<std::optional<double>, kPhases>& means) const {
        const PhaseSlots slots = phaseSlots(mFrame.colorArray);
        if (!std::ranges::all_of(means, &std::optional<double>::has_value)) {
            throw CMisfit("<wb> grey needs a region of 2 x 2 pixels or more");
        }
        Vector3 colors{};
        for (std::size_t i = 0; i < kPhases; ++i) {
            const double part = (*means[i] - mResult.black[i]) / (mResult.white - mResult.black[i]);
            if (!(part > 0)) {
                throw CMisfit("<wb>: the region is not brighter than black");
            }
            const std::size_t color = slots[i] == kSlotR ? 0 : slots[i] == kSlotB ? 2 : 1;
            colors[color] += color == 1 ? part / 2 : part;
        }
        return {colors[1] / colors[0], 1, 1, colors[1] / colors[2]};
    }

    void SettleTone(const CSamples& samples) {
        mResult.tone = mChoices.tone                           ? *mChoices.tone
                       : mProfile != nullptr && mProfile->tone ? *mProfile->tone
                                                               : SToneCurve();
        mResult.exposure = mChoices.autoStops ? BrightExposure(samples) : std::exp2(mChoices.stops.value_or(0));
    }

    /// What makes all but the brightest half per cent of the samples at most white, counted by the strongest colour.
    double BrightExposure(const CSamples& samples) const {
        constexpr std::size_t kSteps = 4096;
        constexpr std::size_t kBrightest = 200;
        const PhaseSlots slots = phaseSlots(mFrame.colorArray);
        const std::size_t step = mAlike ? 1 : 2;
        std::vector<std::size_t> counts(kSteps + 1);
        std::size_t cells = 0;
        for (std::size_t y = 0; y + step <= samples.Height(); y += step) {
            for (std::size_t x = 0; x + step <= samples.Width(); x += step) {
                double strongest = 0;
                for (std::size_t i = 0; i < step * step; ++i) {
                    const double part =
                        (samples.At(x + i % 2, y + i / 2) - mResult.black[i]) / (mResult.white - mResult.black[i]);
                    strongest = std::max(strongest, part * (mAlike ? 1 : mResult.gains[slots[i]]));
                }
                ++counts[static_cast<std::size_t>(std::min(strongest, 1.0) * kSteps)];
                ++cells;
            }
        }
        std::size_t above = 0;
        std::size_t level = kSteps;
        while (level > 1 && above + counts[level] <= cells / kBrightest) {
            above += counts[level];
            --level;
        }
        return std::min(static_cast<double>(kSteps) / static_cast<double>(level), std::exp2(kMostStops));
    }

    const SDevelopmentChoices& mChoices;
    const SProfile* mProfile;
    const SCorrections& mCorrections;
    const STransferredFrame& mFrame;
    bool mGray;
    bool mAlike; ///< samples of one kind
    bool mMatrixByBalance = false;
    SDevelopment mResult;
};

} // namespace

void takeProfile(SCorrections& corrections, const SProfile& profile) {
    if (!corrections.noise && corrections.darkPath.empty() && !profile.darkFrame.empty()) {
        corrections.noise = static_cast<unsigned char>(VEK_NOISE_COMPLEX);
        corrections.darkPath = profile.darkFrame;
    }
    if (corrections.shadingPath.empty()) {
        corrections.shadingPath = profile.shadingMap;
    }
}

SDevelopment settled(const SDevelopmentChoices& choices, const SProfile* profile, const SCorrections& corrections,
                     const CLibraryHandle& library, const STransferredFrame& frame, bool gray) {
    CSettling settling(choices, profile, corrections, frame, gray);
    settling.TakeLinearization();
    const STransferredFrame unpacked = unpackedFrame(library, frame, 1);
    const bool linear = profile == nullptr || profile->linearization.empty();
    return settling.Settle(CSamples(unpacked, linear ? std::vector<std::uint16_t>() : profile->linearization));
}

} // namespace vek::client
