// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Status.h"
#include "imageproc/NoiseReduction/NoiseReductionModel.h"
#include "support/ImageArena.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>

namespace vek::test {

inline std::ostream& operator<<(std::ostream& out, const SNoiseCall& call) {
    return out << "mode " << call.mode << ", " << call.width << " x " << call.height << ", line pitch "
               << call.linePitch << ", colour array " << call.colorArray << ", bits " << call.bits;
}

/// Runs calls against the model, which stores the same dark frames.
class CNoiseReductionCheck {
public:
    explicit CNoiseReductionCheck(std::size_t capacityBytes) : mBytes(capacityBytes, 51), mWords(capacityBytes, 52) {}

    /// function(call, image) makes the call. depth: of the random samples, which may exceed the call's.
    template <class T, class Function>
    ::testing::AssertionResult Run(const SNoiseCall& call, Flush flush, unsigned depth, Function function) {
        CImageArena<T>& arena = Arena(T{});
        T* const image = arena.Place(modelNoiseExtent(call, sizeof(T)), flush, depth);
        const unsigned long expected = modelNoiseReduction(&mModel, call, arena.Expected());
        const unsigned long status = function(call, image);
        ::testing::AssertionResult result = status == expected ? arena.Check(modelNoisePitch(call))
                                                               : ::testing::AssertionFailure()
                                                                     << "status " << static_cast<long>(status)
                                                                     << ", not " << static_cast<long>(expected);
        if (!result) {
            result << " (" << call << ", " << 8 * sizeof(T) << " bit, flush "
                   << (flush == Flush::Left ? "left" : "right") << ')';
        }
        return result;
    }

    SNoiseModel& Model() { return mModel; }
    CRandom& Random() { return mBytes.Random(); }

private:
    CImageArena<std::uint8_t>& Arena(std::uint8_t) { return mBytes; }
    CImageArena<std::uint16_t>& Arena(std::uint16_t) { return mWords; }

    CImageArena<std::uint8_t> mBytes;
    CImageArena<std::uint16_t> mWords;
    SNoiseModel mModel;
};

} // namespace vek::test
