// SPDX-License-Identifier: Apache-2.0
#include "chain/Arrange.h"

#include "chain/Plan.h"

#include <cstddef>

namespace vek {

namespace {

/// Luma of the rows, and chroma of each two of them.
void arrangeNv12(const CVekChainPlan& plan, const SImage<const unsigned char>& rows,
                 const SImage<unsigned char>& picture, unsigned long first, unsigned long end) {
    const rows::SNv12Rows& nv12 = plan.kernels->nv12;
    const auto space = static_cast<std::size_t>(
        plan.picture.colorSpace == VEK_CHAIN_BT709_VIDEO ? rows::YCrCbSpace::Video709 : rows::YCrCbSpace::Full601);
    for (unsigned long y = first; y < end; ++y) {
        nv12.luma[space](rows.Row(y), picture.Row(y), rows.width);
    }
    for (unsigned long y = first; y < end; y += 2) {
        nv12.chroma[space](rows.Row(y), rows.Row(y + 1 < end ? y + 1 : y), picture.Row(rows.height + y / 2),
                           rows.width);
    }
}

template <class T>
auto arrangement(const CVekChainPlan& plan) {
    using rows::ColorOrder;
    using rows::FourthSample;
    ColorOrder order = ColorOrder::BlueFirst;
    FourthSample fourth = FourthSample::None;
    switch (plan.picture.layout) {
    case VEK_CHAIN_RGB:
        order = ColorOrder::RedFirst;
        break;
    case VEK_CHAIN_RGBX:
        order = ColorOrder::RedFirst;
        [[fallthrough]];
    case VEK_CHAIN_BGRX:
        fourth = FourthSample::Kept;
        break;
    case VEK_CHAIN_RGBA:
        order = ColorOrder::RedFirst;
        [[fallthrough]];
    case VEK_CHAIN_BGRA:
        fourth = FourthSample::Filled;
        break;
    default:
        break;
    }
    const auto& table = rows::layoutRows<T>(*plan.kernels).arrange;
    return table[static_cast<std::size_t>(order)][static_cast<std::size_t>(fourth)];
}

} // namespace

template <class T>
void arrangeRows(const CVekChainPlan& plan, const SImage<const T>& rows, const SImage<T>& picture, unsigned long first,
                 unsigned long end) {
    if constexpr (sizeof(T) == 1) {
        if (plan.picture.layout == VEK_CHAIN_NV12) {
            return arrangeNv12(plan, rows, picture, first, end);
        }
    }
    const auto arrange = arrangement<T>(plan);
    for (unsigned long y = first; y < end; ++y) {
        arrange(rows.Row(y), picture.Row(y), rows.width, static_cast<T>(plan.picture.fill));
    }
}
template void arrangeRows(const CVekChainPlan&, const SImage<const unsigned char>&, const SImage<unsigned char>&,
                          unsigned long, unsigned long);
template void arrangeRows(const CVekChainPlan&, const SImage<const unsigned short>&, const SImage<unsigned short>&,
                          unsigned long, unsigned long);

} // namespace vek
