// SPDX-License-Identifier: Apache-2.0
#include "sim/ValueText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <locale>

namespace {

using namespace vek::sim;
using Parts = std::vector<std::string_view>;

TEST(ValueText, WholeNumbers) {
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(readWhole<std::uint64_t>("18446744073709551615", 0, kLargest), kLargest);
    EXPECT_EQ(readWhole<std::uint64_t>("18446744073709551616", 0, kLargest), std::nullopt);
    EXPECT_EQ(readWhole<unsigned char>("255", 0, 255), 255);
    EXPECT_EQ(readWhole<unsigned char>("256", 0, 255), std::nullopt);
    EXPECT_EQ(readWhole<int>("-0017", -17, 17), -17);
    EXPECT_EQ(readWhole<int>("+17", -17, 17), 17);
    EXPECT_EQ(readWhole<int>("18", -17, 17), std::nullopt);
    EXPECT_EQ(readWhole<int>("-18", -17, 17), std::nullopt);
    EXPECT_EQ(readWhole<unsigned>("-1", 0, 9), std::nullopt);
    for (const char* const text : {"", "-", "+", "+-1", "1 ", " 1", "1.0", "1e0", "0x1", "one", "1,", "\t1"}) {
        EXPECT_EQ(readWhole<int>(text, -17, 17), std::nullopt) << text;
        EXPECT_FALSE(isWholeText(text)) << text;
    }
    EXPECT_TRUE(isWholeText("-99999999999999999999999"));
}

TEST(ValueText, NumbersWithFractions) {
    EXPECT_EQ(readNumber("0010.50", 0, 20), 10.5);
    EXPECT_EQ(readNumber("+1e-3", 0, 20), 0.001);
    EXPECT_EQ(readNumber("-.5", -1, 1), -0.5);
    EXPECT_EQ(readNumber("5.", 0, 20), 5);
    EXPECT_EQ(readNumber("20.0001", 0, 20), std::nullopt);
    EXPECT_EQ(readNumber("1e999", 0, 20), std::nullopt);
    for (const char* const text : {"", "-", ".", "nan", "NaN", "-nan", "nan(1)", "inf", "-Infinity", "1x", "1 ", " 1",
                                   "0x1p3", "1e", "1,5", "+-1", "--1"}) {
        EXPECT_EQ(readNumber(text, -1e9, 1e9), std::nullopt) << text;
        EXPECT_FALSE(isNumberText(text)) << text;
    }
    EXPECT_TRUE(isNumberText("-1e999"));
}

TEST(ValueText, ComplaintsTellForWantOfANumberOrOfItsRange) {
    EXPECT_EQ(wholeComplaint("1.5", "-7", "9"), "\"1.5\": a whole number is needed, -7 to 9");
    EXPECT_EQ(wholeComplaint("0x5", "-7", "9"), "\"0x5\": a decimal whole number is needed, -7 to 9");
    EXPECT_EQ(wholeComplaint("10", "-7", "9"), "\"10\" is out of range: -7 to 9 is needed");
    EXPECT_EQ(numberComplaint("nan", 0.001, 1e6), "\"nan\": a number is needed, 0.001 to 1000000");
    EXPECT_EQ(numberComplaint("1e999", -0.5, 1e6), "\"1e999\" is out of range: -0.5 to 1000000 is needed");
    EXPECT_EQ(codeComplaint("x", "a, b", "1 to 2"), "\"x\" is none of: a, b; nor a number of 1 to 2");
}

TEST(ValueText, Codes) {
    EXPECT_EQ(readCode("0010"), 10U);
    EXPECT_EQ(readCode("0x10"), 16U);
    EXPECT_EQ(readCode("0XfF"), 255U);
    for (const char* const text : {"", "0x", "x1", "-1", "+1", "1.0", "1 ", "0x1g", "0x-1", "4294967296"}) {
        EXPECT_EQ(readCode(text), std::nullopt) << text;
    }
}

TEST(ValueText, NamesAndParts) {
    EXPECT_TRUE(isName("Raw8", "raw8"));
    EXPECT_FALSE(isName("raw8 ", "raw8"));
    EXPECT_FALSE(isName("raw", "raw8"));
    EXPECT_EQ(splitText("1,,2,", ','), (Parts{"1", "", "2", ""}));
    EXPECT_EQ(splitText("", ','), (Parts{""}));
}

} // namespace
