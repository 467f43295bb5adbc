// SPDX-License-Identifier: Apache-2.0
#include "imageproc/AveragePixel.h"

#include "Picture.h"
#include "imageproc/Operations.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace vek::bench {
namespace {

/// sum(table, region, image): the sums of a region. rowSamples: of the image, for each row.
template <class T, class Sum>
SJob job(const rows::SRowTable& table, SSize size, std::size_t rowSamples, Sum sum) {
    const SRegion whole = SRegion::Cut(0, 0, size.width, size.height, size.width, size.height);
    const CPicture<T> picture({rowSamples, size.height}, 1);
    return conversionJob<SCellSums>(picture, 1, [=, &table](const T* image, SCellSums* sums) {
        *sums = sum(table, whole, image);
        benchmark::DoNotOptimize(*sums);
    });
}

template <class T>
SOperation samples() {
    return {"average of samples", kBits<T>, sizeof(T), [](const rows::SRowTable& table, SSize size) {
                return job<T>(table, size, size.width,
                              [=](const rows::SRowTable& kernels, const SRegion& whole, const T* image) {
                                  const ELayout layout = sizeof(T) == 1 ? ELayout::Bytes : ELayout::Words;
                                  return sumRegion(kernels, {layout, kBits<T>, whole}, size.width, 0, image);
                              });
            }};
}

SOperation packed(const char* name, unsigned bits) {
    return {name, bits, bits / 8.0, [=](const rows::SRowTable& table, SSize size) {
                const unsigned long pitch = size.width * bits / 8;
                return job<std::uint8_t>(
                    table, size, pitch,
                    [=](const rows::SRowTable& kernels, const SRegion& whole, const std::uint8_t* image) {
                        return sumRegion(kernels, {ELayout::Packed, bits, whole}, size.width, pitch, image);
                    });
            }};
}

} // namespace

Operations averageOperations() {
    return {samples<std::uint8_t>(), samples<std::uint16_t>(), packed("average of 10 bit packed", 10),
            packed("average of 12 bit packed", 12)};
}

} // namespace vek::bench
