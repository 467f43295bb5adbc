// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorMatrix.h"

#include "Operations.h"
#include "imageproc/Stages.h"

namespace vek::bench {
namespace {

template <class T>
SOperation operation(const char* name, unsigned long pixelFormat, std::size_t samples) {
    return colorOperation<T, CColorMatrix>(name, pixelFormat, samples, setMatrix);
}

template <class T>
Operations ofSamples() {
    return {operation<T>("colour matrix BGR", kBgr<T>, 3), operation<T>("colour matrix BGRX", kBgrx<T>, 4)};
}

} // namespace

Operations colorMatrixOperations() {
    return joined(ofSamples<std::uint8_t>(), ofSamples<std::uint16_t>());
}

} // namespace vek::bench
