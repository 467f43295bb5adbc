// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Gamma.h"

#include "Operations.h"
#include "imageproc/Stages.h"

#include <memory>

namespace vek::bench {
namespace {

template <class T>
SOperation raw() {
    return {"raw gamma", kBits<T>, 2.0 * sizeof(T), [](const rows::SRowTable& table, SInput input) {
                const auto module = std::make_shared<CGamma>(table);
                setCurves<T>(*module);
                return inPlaceJob(CPicture<T>(input, 1), [=](T* image) { processRaw(*module, input.size, image); });
            }};
}

/// samples: of a pixel in the buffer, touched: of these, the ones that lie in cache lines which are read and written.
/// Colour pixels of words stand twice their size apart, and what lies between them travels along; rows of grey words
/// take twice their size, too, but their second half is not touched.
template <class T>
SOperation luma(const char* name, unsigned long pixelFormat, std::size_t samples, std::size_t touched,
                bool extra = false) {
    return {name, kBits<T>, static_cast<double>(2 * touched * sizeof(T)),
            [=](const rows::SRowTable& table, SInput input) {
                const auto module = std::make_shared<CGamma>(table);
                setCurves<T>(*module);
                return inPlaceJob(CPicture<T>(input, samples), [=](T* image) {
                    if constexpr (kBytes<T>) {
                        module->ProcBGROrGrayB(input.size.width, input.size.height, 0, pixelFormat, image);
                    } else {
                        module->ProcBGROrGrayW(input.size.width, input.size.height, 0, pixelFormat, image);
                    }
                });
            },
            extra};
}

} // namespace

Operations gammaOperations() {
    using Byte = std::uint8_t;
    using Word = std::uint16_t;
    return {raw<Byte>(),
            raw<Word>(),
            luma<Byte>("luma gamma BGR", kBgr<Byte>, 3, 3),
            luma<Word>("luma gamma BGR", kBgr<Word>, 6, 6),
            luma<Byte>("luma gamma grey", VEK_DESTINATION_MONO8, 1, 1, true),
            luma<Word>("luma gamma grey", VEK_DESTINATION_MONO12, 2, 1, true),
            luma<Byte>("luma gamma BGRX", kBgrx<Byte>, 4, 4, true),
            luma<Word>("luma gamma BGRX", kBgrx<Word>, 8, 8, true)};
}

} // namespace vek::bench
