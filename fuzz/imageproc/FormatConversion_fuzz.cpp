// SPDX-License-Identifier: Apache-2.0
// Any transfer format, output format, size, pitches and data: every tier gives the scalar tier's pitch and image, and
// touches nothing outside its buffers (which AddressSanitizer watches).
#include "imageproc/FormatConversion.h"

#include "../FuzzInput.h"
#include "common/PixelFormat.h"
#include "imageproc/rows/RowDispatch.h"

#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vek::fuzz::CFuzzInput input(data, size);
    const unsigned long width = input.Below(200);
    const unsigned long height = input.Below(7);
    const unsigned long transferFormat = input.Below(24);
    const unsigned long outFormat = input.Below(10);
    const bool packed = transferFormat == 2 || transferFormat == 4 || transferFormat == 7 || transferFormat == 9;
    const bool bytes = transferFormat == 0 || transferFormat == 5;
    const unsigned long packedBits = transferFormat == 2 || transferFormat == 7 ? 10 : 12;

    // Exactly the rows, but for the padding of the last one. Pitches count samples, of packed data bytes.
    const unsigned long row = packed ? (width * packedBits + 7) / 8 : width;
    const unsigned long srcPitch = input.Below(2) == 0 ? 0 : row + input.Below(5);
    const unsigned long samples = height == 0 ? 0 : (height - 1) * (srcPitch != 0 ? srcPitch : row) + row;
    std::vector<std::uint8_t> src(samples * (packed || bytes ? 1 : 2));
    input.Fill(src.data(), src.size());

    const unsigned long pixelBytes = outFormat == 8 ? 4 : outFormat == 4 ? 3 : 1;
    const bool givesPitch = input.Below(2) == 0;
    const unsigned long pitch = input.Below(2) == 0 ? 0 : width * pixelBytes + input.Below(6);
    const unsigned long usedPitch = packed                     ? width
                                    : givesPitch && pitch != 0 ? pitch
                                                               : (width * pixelBytes + 3) / 4 * 4;
    const unsigned long dstRow = packed ? width : width * pixelBytes;
    const std::vector<std::uint8_t> before(height == 0 ? 0 : (height - 1) * usedPitch + dstRow, 0x5A);

    const vek::STransferFormat* const format = vek::transferFormat(transferFormat);
    const bool taken = format != nullptr && format->IsRaw() && vek::byteSamples(outFormat) != 0;
    std::vector<std::uint8_t> expected;
    unsigned long expectedPitch = 0;
    for (std::size_t i = 0; taken && i < vek::rows::tierCount(); ++i) {
        const vek::rows::STier tier = vek::rows::tier(i);
        if (!tier.usable) {
            continue;
        }
        std::vector<std::uint8_t> dst = before;
        unsigned long used = pitch;
        vek::convGrayToBGRImage(*tier.table, *format, {width, height, format->PitchBytes(srcPitch, width), src.data()},
                                givesPitch ? &used : nullptr, vek::byteSamples(outFormat), dst.data());
        if (i == 0) {
            expected = dst;
            expectedPitch = used;
        }
        if (used != expectedPitch || dst != expected) {
            std::abort();
        }
    }

    // Blue-green-red data of three or eight bytes a pixel has no tiers.
    if ((transferFormat == 10 || transferFormat == 11) && (outFormat == 1 || outFormat == 4 || outFormat == 8)) {
        const unsigned long pixels = width * height;
        std::vector<std::uint8_t> colors(pixels * (transferFormat == 10 ? 3 : 8));
        input.Fill(colors.data(), colors.size());
        std::vector<std::uint8_t> levels(pixels * pixelBytes);
        vek::convBGRToBGR(vek::rows::bestTable(), *format, pixels, colors.data(), vek::byteSamples(outFormat),
                          levels.data());
    }
    return 0;
}
