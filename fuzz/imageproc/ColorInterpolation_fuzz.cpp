// SPDX-License-Identifier: Apache-2.0
// Any codes, sizes, pitches and samples: every tier gives the scalar tier's status and image, and touches nothing
// outside its buffers (which AddressSanitizer watches).
#include "imageproc/ColorInterpolation.h"

#include "../FuzzInput.h"
#include "imageproc/rows/RowDispatch.h"

#include <cstdlib>
#include <memory>
#include <vector>

namespace {

template <class T>
void run(vek::fuzz::CFuzzInput& input) {
    const unsigned long width = input.Below(200);
    const unsigned long height = input.Below(9);
    const auto method = static_cast<unsigned char>(input.Below(9));
    const auto colorArray = static_cast<unsigned short>(input.Below(14));
    const auto channels = static_cast<unsigned short>(input.Below(6));
    // Bytes of a source row as they are derived: samples, or YCrCb of 2, 3 or 1.5 bytes a pixel.
    const bool decodes = colorArray >= 6 && colorArray <= 11;
    const unsigned long decoded[] = {2 * width * sizeof(T), 3 * width * sizeof(T),
                                     sizeof(T) == 1 ? width + width / 2 : 3 * width};
    const unsigned long srcRow = decodes ? decoded[colorArray % 3] : width * sizeof(T);
    const unsigned long dstRow = width * channels * sizeof(T);
    // 0 asks for the derived pitch; others are wide enough and a multiple of the sample.
    const unsigned long srcPitch = (input.Take<std::uint8_t>() & 1) != 0 ? srcRow + input.Below(5) * sizeof(T) : 0;
    const unsigned long dstPitch = (input.Take<std::uint8_t>() & 1) != 0 ? dstRow + input.Below(5) * sizeof(T) : 0;

    // What the caller has to supply, on the heap. A bilinear row of odd width is read one sample further; grey of YCrCb
    // is a byte a pixel also where that is more than the channels make up; the block copy of equal pitches covers whole
    // rows.
    const unsigned long usedSrcPitch = srcPitch != 0 ? srcPitch : srcRow;
    const unsigned long usedDstPitch = dstPitch != 0 ? dstPitch : (dstRow + 3) / 4 * 4;
    const unsigned long dstBytes = usedDstPitch * height + (decodes && channels == 0 ? width : 0);
    std::vector<T> src((usedSrcPitch * height + sizeof(T) - 1) / sizeof(T) + 1);
    input.Fill(src.data(), src.size() * sizeof(T));
    const std::vector<T> before((dstBytes + sizeof(T) - 1) / sizeof(T), T{0x5A});

    std::vector<T> expected;
    unsigned long expectedStatus = 0;
    for (std::size_t i = 0; i < vek::rows::tierCount(); ++i) {
        const vek::rows::STier tier = vek::rows::tier(i);
        if (!tier.usable) {
            continue;
        }
        vek::CColorInterpolation module(*tier.table);
        std::vector<T> dst = before;
        unsigned long status = 0;
        if constexpr (sizeof(T) == 1) {
            status = module.ColorInterporationB(width, height, srcPitch, src.data(), dstPitch, dst.data(), method,
                                                colorArray, channels);
        } else {
            status = module.ColorInterporationW(width, height, srcPitch, src.data(), dstPitch, dst.data(), method,
                                                colorArray, channels);
        }
        if (i == 0) {
            expected = dst;
            expectedStatus = status;
            if (status != 0 && dst != before) {
                std::abort();
            }
        }
        if (status != expectedStatus || dst != expected) {
            std::abort();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vek::fuzz::CFuzzInput input(data, size);
    if ((input.Take<std::uint8_t>() & 1) != 0) {
        run<unsigned char>(input);
    } else {
        run<unsigned short>(input);
    }
    return 0;
}
