// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Program.h"
#include "support/Files.h"
#include "support/PngFile.h"

namespace vek::test {

/// A test of vekcam convert --plain, where no picture is developed.
class CConversionTest : public CFileTest {
protected:
    /// The picture of a file, "out.png" of the test's directory; an empty one where the run fails, which is no success.
    SPng ConvertedFile(const std::string& input, const Arguments& arguments) const;
    /// The same of bytes, which become "in.raw".
    SPng Converted(const std::vector<std::uint8_t>& bytes, const Arguments& arguments) const;
};

} // namespace vek::test
