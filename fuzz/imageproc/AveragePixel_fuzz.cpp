// SPDX-License-Identifier: Apache-2.0
// Any region of any frame: every tier gives the scalar tier's sums and reads nothing behind the image (which
// AddressSanitizer watches).
#include "imageproc/AveragePixel.h"

#include "../FuzzInput.h"
#include "imageproc/rows/RowDispatch.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

constexpr unsigned kDepths[] = {8, 16, 10, 12}; // the last two packed

/// pitch: bytes.
vek::SCellSums sumWith(const vek::rows::SRowTable& table, unsigned depth, const vek::SRegion& region,
                       unsigned long pitch, const std::vector<unsigned short>& words,
                       const std::vector<unsigned char>& bytes) {
    const vek::ELayout layout = depth == 8    ? vek::ELayout::Bytes
                                : depth == 16 ? vek::ELayout::Words
                                              : vek::ELayout::Packed;
    const auto* const src = depth == 16 ? reinterpret_cast<const unsigned char*>(words.data()) : bytes.data();
    const vek::SAveragePixelStage stage = {layout, depth, region};
    const unsigned long height = region.yEnd;
    return stage.Measure(table, {}, {{pitch, src}, 0, height});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vek::fuzz::CFuzzInput input(data, size);
    const unsigned depth = kDepths[input.Below(4)];
    const unsigned long width = input.Below(300);
    const unsigned long height = input.Below(9);
    const unsigned long rowUnits = depth == 8 || depth == 16 ? width : (width * depth + 7) / 8;
    const unsigned long pitch = rowUnits + input.Below(3);
    const vek::SRegion region = vek::SRegion::Cut(input.Below(310), input.Below(10), input.Take<std::uint64_t>(),
                                                  input.Take<std::uint64_t>(), width, height);

    // Exactly the image: whole rows but for the padding of the last one.
    const unsigned long units = height == 0 ? 0 : (height - 1) * pitch + rowUnits;
    std::vector<unsigned short> words(depth == 16 ? units : 0);
    std::vector<unsigned char> bytes(depth == 16 ? 0 : units);
    input.Fill(words.data(), words.size() * 2);
    input.Fill(bytes.data(), bytes.size());

    const unsigned long pitchBytes = pitch * (depth == 16 ? sizeof(unsigned short) : 1);
    const vek::SCellSums expected = sumWith(*vek::rows::tier(0).table, depth, region, pitchBytes, words, bytes);
    for (std::size_t i = 1; i < vek::rows::tierCount(); ++i) {
        const vek::rows::STier tier = vek::rows::tier(i);
        if (!tier.usable) {
            continue;
        }
        const vek::SCellSums got = sumWith(*tier.table, depth, region, pitchBytes, words, bytes);
        if (!std::equal(expected.sum, expected.sum + 4, got.sum) ||
            !std::equal(expected.count, expected.count + 4, got.count)) {
            std::abort();
        }
    }
    return 0;
}
