// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Status.h"
#include "imageproc/ShadingCorrection/ShadingModel.h"
#include "support/ImageArena.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>

namespace vek::test {

inline std::ostream& operator<<(std::ostream& out, const SShadingCall& call) {
    return out << call.width << " x " << call.height << ", line pitch " << call.linePitch << ", bits " << call.bits;
}

/// Runs frames against the model, which is fed with the same settings and so knows the map's whole history.
class CShadingCheck {
public:
    explicit CShadingCheck(std::size_t capacityBytes) : mBytes(capacityBytes, 61), mWords(capacityBytes, 62) {}

    /// function(call, image) makes the call. depth: of the random samples, which may exceed the call's.
    template <class T, class Function>
    ::testing::AssertionResult Run(const SShadingCall& call, Flush flush, unsigned depth, Function function) {
        CImageArena<T>& arena = Arena(T{});
        T* const image = arena.Place(modelShadingExtent(call, sizeof(T)), flush, depth);
        const bool bBeyond = call.bits > 8 * sizeof(T);
        if (bBeyond) {
            mBefore = mModel;
        }
        const unsigned long expected = modelShading(&mModel, call, arena.Expected());
        const unsigned long status = function(call, image);
        if (bBeyond && !arena.Matches()) {
            arena.ResetExpected();
            modelShading(&mBefore, call, arena.Expected(), Beyond::Limited);
        }
        ::testing::AssertionResult result = status == expected ? arena.Check(modelShadingPitch(call, sizeof(T)))
                                                               : ::testing::AssertionFailure()
                                                                     << "status " << static_cast<long>(status)
                                                                     << ", not " << static_cast<long>(expected);
        if (!result) {
            result << " (mode " << mModel.mode << ", " << call << ", " << 8 * sizeof(T) << " bit, flush "
                   << (flush == Flush::Left ? "left" : "right") << ')';
        }
        return result;
    }

    SShadingModel& Model() { return mModel; }
    CRandom& Random() { return mBytes.Random(); }

private:
    CImageArena<std::uint8_t>& Arena(std::uint8_t) { return mBytes; }
    CImageArena<std::uint16_t>& Arena(std::uint16_t) { return mWords; }

    CImageArena<std::uint8_t> mBytes;
    CImageArena<std::uint16_t> mWords;
    SShadingModel mModel;
    SShadingModel mBefore;
};

} // namespace vek::test
