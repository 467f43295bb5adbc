// SPDX-License-Identifier: Apache-2.0
#include "Conversion.h"

namespace vek::test {

SPng CConversionTest::ConvertedFile(const std::string& input, const Arguments& arguments) const {
    const SResult result = runVekcam(joined({{"convert", input, "--plain", "-o", Path("out.png")}, arguments}));
    expectDone(result);
    EXPECT_EQ(result.out, "");
    return result.exitCode == 0 ? readPng(Path("out.png")) : SPng{};
}

SPng CConversionTest::Converted(const std::vector<std::uint8_t>& bytes, const Arguments& arguments) const {
    return ConvertedFile(Write("in.raw", bytes), arguments);
}

} // namespace vek::test
