// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/ColorInterpolation.h"
#include "imageproc/ColorInterpolation/DemosaicCheck.h"
#include "imageproc/ColorInterpolation/SlotCalls.h"

namespace vek::test {

/// The module's operations against the model.
template <class T>
class CDemosaicTest : public ::testing::Test {
protected:
    explicit CDemosaicTest(std::size_t capacity, std::uint64_t seed = 11)
        : mModule(makeColorInterpolation()), mCheck(capacity), mRandom(seed) {}

    ::testing::AssertionResult Long(const SDemosaicCall& call, const SPlacement& place) {
        return Long(*mModule, &mCheck, call, place);
    }
    ::testing::AssertionResult Short(const SDemosaicCall& call, const SPlacement& place) {
        return mCheck.Run(call, place,
                          [this](const SDemosaicCall& c, T* src, T* dst) { return callShort(*mModule, c, src, dst); });
    }
    static ::testing::AssertionResult Long(IColorInterpolation& module, CDemosaicCheck<T>* check,
                                           const SDemosaicCall& call, const SPlacement& place) {
        return check->Run(call, place,
                          [&module](const SDemosaicCall& c, T* src, T* dst) { return callLong(module, c, src, dst); });
    }
    /// At the images' starts and away from them, source and destination apart.
    void Offsets(const SDemosaicCall& call, std::size_t offset) {
        ASSERT_TRUE(Long(call, {Flush::Left, Flush::Left, offset, 0}));
        ASSERT_TRUE(Long(call, {Flush::Left, Flush::Left, 0, offset}));
        ASSERT_TRUE(Long(call, {Flush::Right, Flush::Right, offset, 15 - offset}));
    }
    /// test(call) for the module with the kernels of each instruction set that this machine has, not only with the
    /// fastest.
    template <class Test>
    void ForEveryTable(Test test) {
        for (const rows::SRowTable* const table : usableTables()) {
            SCOPED_TRACE(table->name);
            CColorInterpolation module(*table);
            ASSERT_NO_FATAL_FAILURE(test([&](const SDemosaicCall& call, const SPlacement& place) {
                return Long(module, &mCheck, call, place);
            }));
        }
    }

    ColorInterpolationPtr mModule;
    CDemosaicCheck<T> mCheck;
    CRandom mRandom;
    unsigned mTurn = 0;
};

} // namespace vek::test
