// SPDX-License-Identifier: Apache-2.0
#include "imageproc/AveragePixel.h"

#include "Operations.h"
#include "Picture.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace vek::bench {
namespace {

/// bits: of a pixel in the frame, which takes pixelBytes.
template <class T>
SOperation average(const char* name, ELayout layout, unsigned bits, double pixelBytes) {
    return {name, bits, pixelBytes, [=](const rows::SRowTable& table, SInput input) {
                const SSize size = input.size;
                const unsigned long pitch = size.width * bits / 8;
                const CPicture<T> picture({{pitch / sizeof(T), size.height}, input.content}, 1);
                const SAveragePixelStage stage = {layout, bits,
                                                  SRegion::Cut(0, 0, size.width, size.height, size.width, size.height)};
                return conversionJob<SCellSums>(picture, 1, [=, &table](const T* src, SCellSums* sums) {
                    const SRows<const unsigned char> rows = {pitch, reinterpret_cast<const unsigned char*>(src)};
                    *sums = stage.Measure(table, {size.width, size.height}, {rows, 0, size.height});
                    benchmark::DoNotOptimize(*sums);
                });
            }};
}

} // namespace

Operations averageOperations() {
    return {average<std::uint8_t>("average of samples", ELayout::Bytes, 8, 1),
            average<std::uint16_t>("average of samples", ELayout::Words, 16, 2),
            average<std::uint8_t>("average of 10 bit packed", ELayout::Packed, 10, 1.25),
            average<std::uint8_t>("average of 12 bit packed", ELayout::Packed, 12, 1.5)};
}

} // namespace vek::bench
