// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/FormatConversion/FormatConversionModel.h"
#include "support/ImageArena.h"

#include <cstring>
#include <optional>
#include <vector>

namespace vek::test {

/// Runs conversions against their model. The source holds exactly what the call reads, the output exactly its pixels;
/// both stand flush with a protected page and are random, as is all around the output.
class CConversionCheck {
public:
    explicit CConversionCheck(std::size_t capacity) : mSource(capacity, 31), mOutput(capacity, 32) {}

    /// call(src, dst) and model(src, dst) work on buffers of so many bytes and return the same value.
    template <class Call, class Model>
    ::testing::AssertionResult Run(std::size_t srcBytes, std::size_t dstBytes, Call call, Model model) {
        const Flush flush = mTurn++ % 2 == 0 ? Flush::Right : Flush::Left;
        const Flush other = mTurn / 2 % 2 == 0 ? Flush::Right : Flush::Left;
        std::uint8_t* const src = mSource.Place(srcBytes, flush, 8);
        std::uint8_t* const dst = mOutput.Place(dstBytes, other, 8);
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
