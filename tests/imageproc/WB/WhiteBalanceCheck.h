// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Status.h"
#include "imageproc/WB/WhiteBalanceModel.h"
#include "support/ImageArena.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>

namespace vek::test {

inline std::ostream& operator<<(std::ostream& out, const SWhiteBalanceCall& call) {
    return out << call.width << " x " << call.height << ", line bytes " << call.lineBytes << ", colour array "
               << call.colorArray << ", bits " << call.bits;
}

/// Runs image calls against the model, which is fed with the same settings and so knows the tables' whole history.
class CWhiteBalanceCheck {
public:
    explicit CWhiteBalanceCheck(std::size_t capacityBytes) : mBytes(capacityBytes, 31), mWords(capacityBytes, 32) {}

    /// function(call, image) makes the call. depth: of the random samples, which may exceed the call's.
    template <class T, class Function>
    ::testing::AssertionResult Run(const SWhiteBalanceCall& call, Flush flush, unsigned depth, Function function) {
        CImageArena<T>& arena = Arena(T{});
        const std::size_t pitch = modelPitch(call, sizeof(T));
        T* const image = arena.Place(modelExtent(call, sizeof(T)), flush, depth);
        const bool bWideBytes = sizeof(T) == 1 && call.bits > 8;
        if (bWideBytes) {
            mBefore = mModel;
        }
        const unsigned long expected = modelWhiteBalance(&mModel, call, arena.Expected());
        const unsigned long status = function(call, image);
        if (status != expected) {
            return ::testing::AssertionFailure()
                   << call << ": status " << static_cast<long>(status) << ", not " << static_cast<long>(expected);
        }
        // Bytes with a depth of words: the byte tables or the word tables, but one of them throughout.
        if (bWideBytes && !arena.Matches()) {
            arena.ResetExpected();
            modelWhiteBalance(&mBefore, call, arena.Expected(), WideBytes::WordTables);
        }
        ::testing::AssertionResult result = arena.Check(pitch);
        if (!result) {
            result << " (" << call << ", flush " << (flush == Flush::Left ? "left" : "right") << ')';
        }
        return result;
    }

    SWhiteBalanceModel& Model() { return mModel; }
    CRandom& Random() { return mBytes.Random(); }

private:
    CImageArena<std::uint8_t>& Arena(std::uint8_t) { return mBytes; }
    CImageArena<std::uint16_t>& Arena(std::uint16_t) { return mWords; }

    CImageArena<std::uint8_t> mBytes;
    CImageArena<std::uint16_t> mWords;
    SWhiteBalanceModel mModel;
    SWhiteBalanceModel mBefore;
};

} // namespace vek::test
