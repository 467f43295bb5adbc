// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek::rows {

/// min(center, median of center and four neighbours): the centre, or the third smallest of the four. Of samples, or of
/// vectors lane by lane. Inlined, so that no object of a tier has a copy that others could call.
template <class T>
[[gnu::always_inline]] constexpr T darkerMedian(T center, T a, T b, T c, T d) {
    const T lowOfAb = a < b ? a : b;
    const T highOfAb = a < b ? b : a;
    const T lowOfCd = c < d ? c : d;
    const T highOfCd = c < d ? d : c;
    const T smallerHigh = highOfAb < highOfCd ? highOfAb : highOfCd;
    const T largerLow = lowOfAb < lowOfCd ? lowOfCd : lowOfAb;
    const T thirdSmallest = smallerHigh < largerLow ? largerLow : smallerHigh;
    return center < thirdSmallest ? center : thirdSmallest;
}

} // namespace vek::rows
