// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorMatrix.h"

#include "Operations.h"
#include "imageproc/Stages.h"

namespace vek::bench {
namespace {

template <class T>
SOperation operation(const char* name, unsigned long pixelFormat, std::size_t samples,
                     EContent content = EContent::Picture) {
    return colorOperation<T, CColorMatrix>(name, pixelFormat, samples, content, setMatrix);
}

template <class T>
void add(Operations* operations) {
    operations->push_back(operation<T>("colour matrix BGR", kBgr<T>, 3));
    operations->push_back(operation<T>("colour matrix BGRX", kBgrx<T>, 4));
    operations->push_back(operation<T>("colour matrix BGR noise", kBgr<T>, 3, EContent::Noise));
}

} // namespace

Operations colorMatrixOperations() {
    Operations operations;
    add<std::uint8_t>(&operations);
    add<std::uint16_t>(&operations);
    return operations;
}

} // namespace vek::bench
