// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Sharpness.h"

#include "Operations.h"
#include "imageproc/Stages.h"

namespace vek::bench {
namespace {

template <class T>
SOperation operation(const char* name, unsigned long pixelFormat, std::size_t samples) {
    return colorOperation<T, CSharpness>(name, pixelFormat, samples, setSharpness<T>);
}

template <class T>
Operations ofSamples() {
    return {operation<T>("sharpness BGR", kBgr<T>, 3),
            operation<T>("sharpness grey", kBytes<T> ? VEK_DESTINATION_MONO8 : VEK_DESTINATION_MONO12, 1),
            operation<T>("sharpness BGRX", kBgrx<T>, 4)};
}

} // namespace

Operations sharpnessOperations() {
    return joined(ofSamples<std::uint8_t>(), ofSamples<std::uint16_t>());
}

} // namespace vek::bench
