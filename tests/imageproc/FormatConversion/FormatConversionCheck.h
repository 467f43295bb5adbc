// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/FormatConversion/FormatConversionModel.h"
#include "support/ImageArena.h"
#include "support/SampleTypes.h"

#include <cstring>
#include <optional>
#include <string>

namespace vek::test {

/// Runs conversions against their model. The source holds exactly what the call reads, the output exactly its pixels;
/// both stand flush with a protected page and are random, as is all around the output.
class CConversionCheck {
public:
    explicit CConversionCheck(std::size_t capacity) : mSource(capacity, 31), mOutput(capacity, 32) {}

    /// call(src, dst) and model(src, dst) work on buffers of so many bytes and return the same value.
    template <class Call, class Model>
    ::testing::AssertionResult Run(std::size_t srcBytes, std::size_t dstBytes, Call call, Model model) {
        ++mTurn;
        std::uint8_t* const src = mSource.Place(srcBytes, kFlushes[mTurn % 2], 8);
        std::uint8_t* const dst = mOutput.Place(dstBytes, kFlushes[mTurn / 2 % 2], 8);
        const auto expected = model(static_cast<const std::uint8_t*>(src), mOutput.Expected());
        const auto result = call(src, dst);
        if (result != expected) {
            return ::testing::AssertionFailure() << "result " << result << ", not " << expected;
        }
        if (!mSource.Matches()) {
            return ::testing::AssertionFailure() << "the source changed";
        }
        return mOutput.Check(0);
    }

    /// call(src, dst, pitch) and model(src, dst, pitch) are given the pitch in a variable of their own, or none, and
    /// leave the same in it.
    template <class Call, class Model>
    ::testing::AssertionResult Run(std::size_t srcBytes, std::size_t dstBytes, std::optional<unsigned long> pitch,
                                   Call call, Model model) {
        const auto run = [pitch](const auto& function, const std::uint8_t* src, std::uint8_t* dst) {
            unsigned long variable = pitch.value_or(99);
            const long result = function(src, dst, pitch ? &variable : nullptr);
            return "status " + std::to_string(result) + ", pitch " + std::to_string(variable);
        };
        return Run(
            srcBytes, dstBytes, [&](const std::uint8_t* src, std::uint8_t* dst) { return run(call, src, dst); },
            [&](const std::uint8_t* src, std::uint8_t* dst) { return run(model, src, dst); });
    }

private:
    CImageArena<std::uint8_t> mSource;
    CImageArena<std::uint8_t> mOutput;
    unsigned mTurn = 0;
};

constexpr unsigned long kOutFormats[] = {1, 4, 8};

/// A source pitch of one kind: derived, exact, padded.
inline unsigned long sourcePitch(const SConversion& call, Element element, unsigned kind) {
    const unsigned long row = element == Element::Packed10   ? (10 * call.width + 7) / 8
                              : element == Element::Packed12 ? (12 * call.width + 7) / 8
                                                             : call.width;
    return kind == 0 ? 0 : row + (kind == 1 ? 0 : 3 + 2 * kind);
}

/// An output pitch to ask for: none (no variable), 0 (to be filled in), exact, or padded.
inline std::optional<unsigned long> outputPitch(const SConversion& call, unsigned kind) {
    const unsigned long row = call.width * modelPixelBytes(call.outFormat);
    switch (kind) {
    case 0:
        return std::nullopt;
    case 1:
        return 0;
    case 2:
        return row;
    default:
        return row + 5;
    }
}

} // namespace vek::test
