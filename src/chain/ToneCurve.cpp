// SPDX-License-Identifier: Apache-2.0
#include "chain/ToneCurve.h"

#include "imageproc/CurveSegments.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace vek {

namespace {

constexpr std::size_t kWordEntries = rows::kCurveEntries<std::uint16_t>;

double levelOf(VekChainCurve curve, double gamma, double light) {
    switch (curve) {
    case VEK_CHAIN_CURVE_SRGB:
        return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
    case VEK_CHAIN_CURVE_BT709:
        return light < 0.018 ? 4.5 * light : 1.099 * std::pow(light, 0.45) - 0.099;
    case VEK_CHAIN_CURVE_GAMMA:
        return std::pow(light, 1 / gamma);
    case VEK_CHAIN_CURVE_LINEAR:
    case VEK_CHAIN_CURVE_TABLE: // has no formula
        break;
    }
    return light;
}

} // namespace

struct CToneCurves::SCurve {
    rows::SToneCurve::Segments segments;
    alignas(64) std::uint16_t entries[kWordEntries];
    std::uint8_t low[kWordEntries];
    std::uint8_t high[kWordEntries];
};

void toneEntries(VekChainCurve curve, double gamma, std::size_t count, unsigned outBits, std::uint16_t* entries) {
    const double largest = (1U << outBits) - 1;
    for (std::size_t i = 0; i < count; ++i) {
        const double light = static_cast<double>(i) / static_cast<double>(count - 1);
        entries[i] = static_cast<std::uint16_t>(std::floor(largest * levelOf(curve, gamma, light) + 0.5));
    }
}

CToneCurves::CToneCurves(const std::uint16_t* blue, const std::uint16_t* green, const std::uint16_t* red,
                         std::size_t count, unsigned outBits) {
    const std::uint16_t* const tables[3] = {blue, green, red};
    // Which curve each colour has.
    std::size_t number[3];
    std::size_t curves = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        number[i] = curves;
        for (std::size_t j = 0; j < i; ++j) {
            if (std::equal(tables[i], tables[i] + count, tables[j])) {
                number[i] = number[j];
                break;
            }
        }
        curves += number[i] == curves ? 1 : 0;
    }
    mCurves = std::make_unique_for_overwrite<SCurve[]>(curves);
    const auto largest = static_cast<std::uint16_t>((1U << outBits) - 1);
    std::size_t made = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        if (number[i] < made) {
            mTables.curve[i] = mTables.curve[std::find(number, number + i, number[i]) - number];
            continue;
        }
        SCurve& curve = mCurves[made++];
        for (std::size_t k = 0; k < count; ++k) {
            curve.entries[k] = std::min(tables[i][k], largest);
            curve.low[k] = static_cast<std::uint8_t>(curve.entries[k]);
            curve.high[k] = static_cast<std::uint8_t>(curve.entries[k] >> 8);
        }
        mTables.curve[i] = Fit(curve, count, outBits);
    }
    mTables.alike = curves == 1;
}

CToneCurves::CToneCurves(VekChainCurve curve, double gamma, std::size_t count, unsigned outBits) {
    std::vector<std::uint16_t> entries(count);
    toneEntries(curve, gamma, count, outBits, entries.data());
    *this = CToneCurves(entries.data(), entries.data(), entries.data(), count, outBits);
}

CToneCurves::~CToneCurves() = default;
CToneCurves::CToneCurves(CToneCurves&& other) noexcept = default;
CToneCurves& CToneCurves::operator=(CToneCurves&& other) noexcept = default;

rows::SToneCurve CToneCurves::Fit(SCurve& curve, std::size_t count, unsigned outBits) {
    rows::SToneCurve result = {};
    result.entries = curve.entries;
    result.low = curve.low;
    result.high = curve.high;
    result.shift = 16 - outBits;
    if (count == kWordEntries) {
        fitSegments(result, curve.segments);
    }
    return result;
}

} // namespace vek
