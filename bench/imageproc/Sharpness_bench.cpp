// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Sharpness.h"

#include "Operations.h"
#include "imageproc/Stages.h"

namespace vek::bench {
namespace {

template <class T>
SOperation operation(const char* name, unsigned long pixelFormat, std::size_t samples,
                     EContent content = EContent::Picture) {
    return colorOperation<T, CSharpness>(name, pixelFormat, samples, content, setSharpness<T>);
}

template <class T>
void add(Operations* operations) {
    operations->push_back(operation<T>("sharpness BGR", kBgr<T>, 3));
    operations->push_back(
        operation<T>("sharpness grey", kBytes<T> ? VEK_DESTINATION_MONO8 : VEK_DESTINATION_MONO12, 1));
    operations->push_back(operation<T>("sharpness BGRX", kBgrx<T>, 4));
    operations->push_back(operation<T>("sharpness BGR noise", kBgr<T>, 3, EContent::Noise));
}

} // namespace

Operations sharpnessOperations() {
    Operations operations;
    add<std::uint8_t>(&operations);
    add<std::uint16_t>(&operations);
    return operations;
}

} // namespace vek::bench
