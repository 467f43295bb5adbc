// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/ImageArena.h"
#include "support/SampleTypes.h"

#include <cstddef>
#include <cstdint>

namespace vek::test {

/// Whether a call on samples of so many bytes has a second result that is as good as the first.
template <class Call>
bool hasSecondResult(const Call&, std::size_t) {
    return false;
}

/// Runs a module's calls on images of either sample width against its model, which is fed with the same settings and so
/// knows the module's whole history. Beside Call stand modelExtent, modelPitch, operator<< and
/// runModel(model, call, image, second).
template <class Call, class State>
class CModelCheck {
public:
    explicit CModelCheck(std::size_t capacityBytes, std::uint64_t seed = 51)
        : mBytes(capacityBytes, seed), mWords(capacityBytes, seed + 1) {}

    /// function(call, image) makes the call. depth: of the random samples, which may exceed the call's.
    template <class T, class Function>
    ::testing::AssertionResult Run(const Call& call, Flush flush, unsigned depth, Function function) {
        CImageArena<T>& arena = Arena<T>();
        T* const image = arena.Place(modelExtent(call, sizeof(T)), flush, depth);
        const bool second = hasSecondResult(call, sizeof(T));
        if (second) {
            mBefore = mModel;
        }
        const unsigned long expected = runModel(&mModel, call, arena.Expected(), false);
        const auto status = static_cast<unsigned long>(function(call, image));
        if (second && !arena.Matches()) {
            arena.ResetExpected();
            runModel(&mBefore, call, arena.Expected(), true);
        }
        ::testing::AssertionResult result = arena.Check(modelPitch(call, sizeof(T)), status, expected);
        if (!result) {
            result << " (" << call << ", " << 8 * sizeof(T) << " bit, flush " << sideName(flush) << ')';
        }
        return result;
    }

    State& Model() { return mModel; }
    CRandom& Random() { return mBytes.Random(); }

private:
    template <class T>
    CImageArena<T>& Arena() {
        if constexpr (sizeof(T) == 1) {
            return mBytes;
        } else {
            return mWords;
        }
    }

    CImageArena<std::uint8_t> mBytes;
    CImageArena<std::uint16_t> mWords;
    State mModel;
    State mBefore;
};

} // namespace vek::test
