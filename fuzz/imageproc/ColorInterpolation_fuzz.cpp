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
    const unsigned long width = input.below(200);
    const unsigned long height = input.below(9);
    const auto method = static_cast<unsigned char>(input.below(9));
    const auto colorArray = static_cast<unsigned short>(input.below(14));
    const auto channels = static_cast<unsigned short>(input.below(6));
    // 0 asks for the derived pitch; others are wide enough and a multiple of the sample.
    const unsigned long srcPitch = (input.take<std::uint8_t>() & 1) != 0 ? (width + input.below(5)) * sizeof(T) : 0;
    const unsigned long dstPitch =
        (input.take<std::uint8_t>() & 1) != 0 ? (width * channels + input.below(5)) * sizeof(T) : 0;

    // Exactly what the caller has to supply, on the heap. YCrCb rows take up to three bytes a pixel and sample byte;
    // a bilinear row of odd width is read one sample further.
    const unsigned long usedSrcPitch = srcPitch != 0 ? srcPitch : width * sizeof(T);
    const unsigned long usedDstPitch = dstPitch != 0 ? dstPitch : (width * channels * sizeof(T) + 3) / 4 * 4;
    const unsigned long lines = usedSrcPitch > usedDstPitch ? usedSrcPitch : usedDstPitch;
    std::vector<T> src(usedSrcPitch / sizeof(T) * height + 1);
    input.fill(src.data(), src.size() * sizeof(T));
    // The block copy of equal pitches covers whole rows; so do the buffers.
    const std::vector<T> before((channels == 1 ? lines : usedDstPitch) / sizeof(T) * height + 1, T{0x5A});

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
    if ((input.take<std::uint8_t>() & 1) != 0) {
        run<unsigned char>(input);
    } else {
        run<unsigned short>(input);
    }
    return 0;
}
