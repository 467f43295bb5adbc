// SPDX-License-Identifier: Apache-2.0
// What is known of the demosaic methods, a row for each. The library, its clients, benchmarks and tests take it from
// here.
#pragma once

#include "VekTrgApi.h"
#include "VekTrgChain.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace vek {

struct SDemosaicMethod {
    unsigned char code;           ///< enum VekDemosaicMethod, or the chain's own
    std::string_view name;        ///< in commands and messages
    std::string_view title;       ///< in benchmarks
    std::string_view explanation; ///< what its pictures look like
    unsigned minSize;             ///< least width and height
    // Rows of the frame above and below its own that a row of the picture is made from.
    unsigned rowsAbove;
    unsigned rowsBelow;
};

/// By code. VEK_DEMOSAIC_MONO stands for all that is copied or decoded pixel by pixel.
inline constexpr std::array kDemosaicMethods = {
    SDemosaicMethod{VEK_DEMOSAIC_MONO, "mono", "Mono", "raw samples as grey: the colour filter shows as a fine pattern",
                    1, 0, 0},
    SDemosaicMethod{VEK_DEMOSAIC_NONE, "none", "None", "each pixel in its filter's colour only: dark, coloured dots", 1,
                    0, 0},
    SDemosaicMethod{VEK_DEMOSAIC_NEAREST_NEIGHBOR, "nearest", "NearestNeighbor",
                    "each 2 x 2 cell shares its samples: true colours, jagged edges", 2, 1, 1},
    SDemosaicMethod{VEK_DEMOSAIC_BILINEAR_SIMPLE, "bilinear", "BilinearSimple",
                    "missing colours are means of neighbours: smooth, some coloured edges", 2, 1, 1},
    SDemosaicMethod{VEK_DEMOSAIC_BICUBIC, "bicubic", "BiCubic",
                    "missing colours from four neighbours in a row: sharper, with ringing", 2, 3, 3},
    SDemosaicMethod{VEK_DEMOSAIC_BILINEAR_FALSE_COLOR_REDUCTION, "bilinear-fcr", "BilinearFalseColorReduction",
                    "means at the centres of 2 x 2 blocks, half a pixel aside: soft, fewer coloured edges", 4, 2, 2},
    SDemosaicMethod{VEK_DEMOSAIC_NEAREST_NEIGHBOR2, "nearest2", "NearestNeighbor2",
                    "the samples of 2 x 2 blocks, half a pixel aside: jagged edges", 4, 2, 1},
};

/// The code of the last method.
inline constexpr unsigned char kLastDemosaicMethod = kDemosaicMethods.back().code;

constexpr bool areDemosaicMethodsByCode() {
    for (std::size_t i = 0; i < kDemosaicMethods.size(); ++i) {
        if (kDemosaicMethods[i].code != i) {
            return false;
        }
    }
    return true;
}
static_assert(areDemosaicMethodsByCode());

/// The chain's own, which VekCam_ColorInterpolation does not have.
inline constexpr SDemosaicMethod kEdgeDirectedMethod = {
    VEK_CHAIN_DEMOSAIC_EDGE,
    "edge",
    "EdgeDirected",
    "missing colours along edges, not across: crisp, little false colour",
    2,
    2,
    2};

/// All that a chain takes, by code, with gaps.
inline constexpr auto kChainMethods = [] {
    std::array<SDemosaicMethod, kDemosaicMethods.size() + 1> methods{};
    std::copy(kDemosaicMethods.begin(), kDemosaicMethods.end(), methods.begin());
    methods.back() = kEdgeDirectedMethod;
    return methods;
}();

} // namespace vek
