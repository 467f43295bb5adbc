// SPDX-License-Identifier: Apache-2.0
// What the unit conversions do differently for some camera models, by product id. A new model goes here.
#pragma once

namespace vek {

/// What a camera model counts exposure in.
enum class EExposureUnit {
    Row,              ///< rows of a length computed from width and binning
    Line,             ///< sensor lines
    Microsecond,      ///< microseconds
    LineWithOffset,   ///< sensor lines from an offset on, a time base below it
    LineWithConstant, ///< sensor lines, 13.73 us added
    Clock             ///< sensor clocks
};

/// How many lines a camera model's frame has without vertical blanking.
enum class EFrameLines {
    ImageAnd13,          ///< the image's rows and 13 more; lines of computed length
    TotalWithoutPresent, ///< the total that the driver reports, less the blanking that is set
    TotalAnd28,          ///< the reported total, which lacks 28
    Total                ///< the reported total
};

struct SCameraFamily {
    EExposureUnit exposure;
    EFrameLines frame;
};

constexpr SCameraFamily cameraFamily(unsigned long productId) {
    switch (productId) {
    case 0x111:
    case 0x211:
        return {EExposureUnit::Row, EFrameLines::ImageAnd13};
    case 0x112:
    case 0x212:
        return {EExposureUnit::Line, EFrameLines::TotalWithoutPresent};
    case 0x113:
    case 0x213:
    case 0x313:
    case 0x413:
    case 0x513:
    case 0x613:
        return {EExposureUnit::Microsecond, EFrameLines::Total};
    case 0x116:
    case 0x216:
    case 0x316:
    case 0x416:
    case 0x516:
    case 0x616:
    case 0x716:
    case 0x816:
        return {EExposureUnit::LineWithOffset, EFrameLines::Total};
    case 0x315:
    case 0x415:
    case 0x515:
    case 0x615:
        return {EExposureUnit::LineWithConstant, EFrameLines::Total};
    case 0x713:
    case 0x813:
        return {EExposureUnit::LineWithConstant, EFrameLines::TotalAnd28};
    default:
        return {EExposureUnit::Clock, EFrameLines::Total};
    }
}

} // namespace vek
