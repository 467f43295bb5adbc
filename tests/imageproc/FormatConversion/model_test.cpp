// SPDX-License-Identifier: Apache-2.0
// Conversion of frames to bytes against its model, with the row kernels of every instruction set.
#include "imageproc/FormatConversion.h"

#include "common/PixelFormat.h"
#include "imageproc/FormatConversion/FormatConversionCheck.h"
#include "imageproc/ModuleTest.h"

namespace vek::test {

namespace {

/// Transfer formats of one sample a pixel, raw and mono.
constexpr unsigned long kGrayFormats[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 18, 19, 20, 21};

/// src as the call has it: its pitch is in samples, of packed formats in bytes.
SImage<const unsigned char> imageOf(const SConversion& call, const STransferFormat& format, const std::uint8_t* src) {
    return {call.width, call.height, format.PitchBytes(call.srcPitch, call.width), src};
}

class CFormatConversion : public ::testing::Test {
protected:
    template <class Src>
    ::testing::AssertionResult Shift(const rows::SRowTable& table, const SConversion& call,
                                     std::optional<unsigned long> pitch, long shift) {
        const Element element = sizeof(Src) == 1 ? Element::Bytes : Element::Words;
        const auto run = [&](const std::uint8_t* src, std::uint8_t* dst, unsigned long* variable) {
            const STransferFormat& format = kTransferFormats[sizeof(Src) == 1 ? VEK_TRANSFER_RAW8 : VEK_TRANSFER_RAW16];
            imageBitShift(table, format.layout, imageOf(call, format, src), variable, byteSamples(call.outFormat), dst,
                          shift);
            return 0;
        };
        const auto model = [&](const std::uint8_t* src, std::uint8_t* dst, unsigned long* variable) {
            modelBitShift(call, reinterpret_cast<const Src*>(src), variable, dst, shift);
            return 0;
        };
        return mCheck.Run(modelSourceBytes(call, element), modelOutputBytes(call, element, pitch.value_or(0)), pitch,
                          run, model)
               << " " << table.name << ", " << 8 * sizeof(Src) << " bit, " << call.width << " x " << call.height
               << ", pitch " << call.srcPitch << ", format " << call.outFormat << ", shift " << shift;
    }

    ::testing::AssertionResult Unpack(const rows::SRowTable& table, const SConversion& call,
                                      std::optional<unsigned long> pitch, unsigned srcBits) {
        const Element element = srcBits == 10 ? Element::Packed10 : Element::Packed12;
        const auto run = [&](const std::uint8_t* src, std::uint8_t* dst, unsigned long* variable) {
            const STransferFormat& format =
                kTransferFormats[srcBits == 10 ? VEK_TRANSFER_RAW10_PACKED : VEK_TRANSFER_RAW12_PACKED];
            imageUnpackAndBitShift(table, imageOf(call, format, src), srcBits, variable, dst);
            return 0;
        };
        const auto model = [&](const std::uint8_t* src, std::uint8_t* dst, unsigned long* variable) {
            modelUnpack(call, src, variable, dst, srcBits);
            return 0;
        };
        return mCheck.Run(modelSourceBytes(call, element), modelOutputBytes(call, element, 0), pitch, run, model)
               << " " << table.name << ", " << call.width << " x " << call.height << ", pitch " << call.srcPitch << ", "
               << srcBits << " bits";
    }

    ::testing::AssertionResult Gray(const rows::SRowTable& table, const SConversion& call,
                                    std::optional<unsigned long> pitch, unsigned long transferFormat) {
        const Element element = modelElement(transferFormat);
        const auto run = [&](const std::uint8_t* src, std::uint8_t* dst, unsigned long* variable) {
            const STransferFormat& format = kTransferFormats[transferFormat];
            convGrayToBGRImage(table, format, imageOf(call, format, src), variable, byteSamples(call.outFormat), dst);
            return true;
        };
        const auto model = [&](const std::uint8_t* src, std::uint8_t* dst, unsigned long* variable) {
            return modelConvGray(call, transferFormat, src, variable, dst);
        };
        return mCheck.Run(modelSourceBytes(call, element), modelOutputBytes(call, element, pitch.value_or(0)), pitch,
                          run, model)
               << " " << table.name << ", transfer format " << transferFormat << ", " << call.width << " x "
               << call.height << ", pitch " << call.srcPitch << ", format " << call.outFormat;
    }

    ::testing::AssertionResult Bgr(const SConversion& call, unsigned long transferFormat) {
        const auto run = [&](const std::uint8_t* src, std::uint8_t* dst) {
            convBGRToBGR(rows::bestTable(), kTransferFormats[transferFormat], call.width * call.height, src,
                         byteSamples(call.outFormat), dst);
            return 0;
        };
        const auto model = [&](const std::uint8_t* src, std::uint8_t* dst) {
            modelConvBgr(call, transferFormat, src, dst);
            return 0;
        };
        return mCheck.Run(modelBgrSourceBytes(call, transferFormat),
                          call.width * call.height * modelPixelBytes(call.outFormat), run, model)
               << " transfer format " << transferFormat << ", " << call.width << " x " << call.height << ", format "
               << call.outFormat;
    }

    const std::vector<const rows::SRowTable*> mTables = usableTables();
    CConversionCheck mCheck{1UL << 16};
    unsigned mTurn = 0;
};

std::vector<unsigned long> widths() {
    std::vector<unsigned long> all;
    for (unsigned long width = 1; width <= 70; ++width) {
        all.push_back(width);
    }
    for (const unsigned long width : {127UL, 128UL, 129UL, 131UL, 255UL, 256UL, 257UL, 259UL, 1031UL}) {
        all.push_back(width);
    }
    return all;
}

} // namespace

// Every width, output format and depth of real samples; pitches of every kind in turn.
TEST_F(CFormatConversion, SamplesShiftedRight) {
    for (const rows::SRowTable* const table : mTables) {
        for (const unsigned long width : widths()) {
            for (const unsigned long outFormat : kOutFormats) {
                for (const long shift : {1L, 2L, 4L, 6L, 8L}) {
                    ++mTurn;
                    SConversion call{width, 1 + mTurn % 3, 0, outFormat};
                    call.srcPitch = sourcePitch(call, Element::Bytes, mTurn % 4);
                    const std::optional<unsigned long> pitch = outputPitch(call, mTurn / 3 % 4);
                    ASSERT_TRUE(Shift<std::uint16_t>(*table, call, pitch, shift));
                    ASSERT_TRUE(Shift<std::uint8_t>(*table, call, pitch, shift));
                    ASSERT_TRUE(Shift<std::uint8_t>(*table, call, pitch, 0));
                }
            }
        }
    }
}

// A number of bits below 0 is to the left and counts modulo 32; what leaves the low 8 bits is gone.
TEST_F(CFormatConversion, AnyShift) {
    for (const rows::SRowTable* const table : mTables) {
        for (long shift = -70; shift <= 31; ++shift) {
            for (const unsigned long outFormat : kOutFormats) {
                const SConversion call{37, 2, 0, outFormat};
                ASSERT_TRUE(Shift<std::uint8_t>(*table, call, 0, shift));
                if (shift == 0 && outFormat == 1) {
                    continue; // of words into one channel: below
                }
                ASSERT_TRUE(Shift<std::uint16_t>(*table, call, 0, shift));
            }
        }
    }
}

// Shifts that leave nothing, and the ends of the type, are safe. What a shift by 32 and more gives is open.
TEST_F(CFormatConversion, ShiftsBeyondTheSampleAreSafe) {
    constexpr long smallest = static_cast<long>(~(~0UL >> 1));
    for (const rows::SRowTable* const table : mTables) {
        for (const long shift : {32L, 33L, 63L, 64L, 65L, 1L << 40, ~smallest, smallest}) {
            const std::uint16_t src[3] = {0xFFFF, 0x8001, 0x1234};
            std::uint8_t dst[4] = {1, 2, 3, 4};
            const SImage<const unsigned char> image = {3, 1, 6, reinterpret_cast<const unsigned char*>(src)};
            imageBitShift(*table, ELayout::Words, image, nullptr, 1, dst, shift);
            EXPECT_EQ(dst[3], 4) << table->name << " " << shift;
        }
    }
}

// Rows of one channel without a shift are copied as blocks of width bytes, of words, too: a row's first bytes.
TEST_F(CFormatConversion, WordsWithoutAShift) {
    const std::uint16_t src[4] = {0x1122, 0x3344, 0x5566, 0x7788};
    for (const rows::SRowTable* const table : mTables) {
        std::uint8_t dst[5] = {9, 9, 9, 9, 9};
        const SImage<const unsigned char> image = {4, 1, 8, reinterpret_cast<const unsigned char*>(src)};
        imageBitShift(*table, ELayout::Words, image, nullptr, 1, dst, 0);
        EXPECT_EQ(std::memcmp(dst, src, 4), 0) << table->name;
        EXPECT_EQ(dst[4], 9);
    }
}

TEST_F(CFormatConversion, PackedPixels) {
    for (const rows::SRowTable* const table : mTables) {
        for (const unsigned long width : widths()) {
            for (const unsigned long outFormat : kOutFormats) {
                for (const unsigned srcBits : {10U, 12U}) {
                    ++mTurn;
                    SConversion call{width, 1 + mTurn % 3, 0, outFormat};
                    const Element element = srcBits == 10 ? Element::Packed10 : Element::Packed12;
                    call.srcPitch = sourcePitch(call, element, mTurn / 2 % 4);
                    ASSERT_TRUE(Unpack(*table, call, outputPitch(call, mTurn / 3 % 4), srcBits));
                }
            }
        }
    }
}

TEST_F(CFormatConversion, EveryTransferFormat) {
    for (const rows::SRowTable* const table : mTables) {
        for (const unsigned long transferFormat : kGrayFormats) {
            for (const unsigned long width : {1UL, 4UL, 5UL, 33UL, 67UL}) {
                for (const unsigned long outFormat : kOutFormats) {
                    for (unsigned kind = 0; kind < 4; ++kind) {
                        SConversion call{width, 2 + kind % 2, 0, outFormat};
                        call.srcPitch = sourcePitch(call, modelElement(transferFormat), kind / 2 * 3);
                        ASSERT_TRUE(Gray(*table, call, outputPitch(call, kind), transferFormat));
                    }
                }
            }
        }
    }
}

TEST_F(CFormatConversion, ImagesOfNoPixelsTouchNothing) {
    for (const unsigned long transferFormat : kGrayFormats) {
        const STransferFormat& format = kTransferFormats[transferFormat];
        for (const unsigned long outFormat : kOutFormats) {
            for (const unsigned long other : {0UL, 1UL, 7UL}) {
                for (const SConversion& call : {SConversion{0, other, 0, outFormat}, {other, 0, 0, outFormat}}) {
                    convGrayToBGRImage(*mTables.back(), format, imageOf(call, format, nullptr), nullptr,
                                       byteSamples(outFormat), nullptr);
                }
            }
        }
    }
    for (const unsigned long transferFormat : {10UL, 11UL}) {
        convBGRToBGR(rows::bestTable(), kTransferFormats[transferFormat], 0, nullptr, 3, nullptr);
    }
}

TEST_F(CFormatConversion, BlueGreenRed) {
    for (const unsigned long width : widths()) {
        for (const unsigned long height : {1UL, 2UL, 3UL}) {
            for (const unsigned long outFormat : kOutFormats) {
                ASSERT_TRUE(Bgr({width, height, 0, outFormat}, 10));
                ASSERT_TRUE(Bgr({width, height, 0, outFormat}, 11));
            }
        }
    }
}

} // namespace vek::test
