// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Status.h"
#include "imageproc/WB/WhiteBalanceModel.h"
#include "support/ModelCheck.h"

#include <ostream>

namespace vek::test {

inline std::ostream& operator<<(std::ostream& out, const SWhiteBalanceCall& call) {
    return out << call.width << " x " << call.height << ", pitch " << call.pitch << ", colour array " << call.colorArray
               << ", bits " << call.bits;
}

/// Bytes with a depth of words: the byte tables or the word tables, but one of them throughout.
inline bool hasSecondResult(const SWhiteBalanceCall& call, std::size_t sampleBytes) {
    return sampleBytes == 1 && call.bits > 8;
}

template <class T>
unsigned long runModel(SWhiteBalanceModel* model, const SWhiteBalanceCall& call, T* image, bool second) {
    return modelWhiteBalance(model, call, image, second ? WideBytes::WordTables : WideBytes::ByteTables);
}

using CWhiteBalanceCheck = CModelCheck<SWhiteBalanceCall, SWhiteBalanceModel>;

} // namespace vek::test
