// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"

#include <VekTrgApi.h>

#include <gtest/gtest.h>

namespace vek::test {

TEST(ClientErrors, FrontEndsNameTheSettingsOfAMisfit) {
    const auto told = [](const char* text) {
        return client::CMisfit(text).Text([](std::string_view name) { return '[' + std::string(name) + ']'; });
    };
    EXPECT_EQ(told("<noise> complex needs <dark>"), "[noise] complex needs [dark]");
    EXPECT_EQ(told("<a><b>"), "[a][b]");
    EXPECT_EQ(told("no setting"), "no setting");
    EXPECT_EQ(told("1 < 2"), "1 < 2");
    EXPECT_EQ(told(""), "");
}

TEST(ClientErrors, RefusalsOfTheLibraryAreNamed) {
    EXPECT_NO_THROW(client::requireOk(VEK_OK, "sharpness"));
    try {
        client::requireOk(-22, "sharpness");
        FAIL() << "not refused";
    } catch (const client::CFailure& failure) {
        EXPECT_STREQ(failure.what(), "the library refused the sharpness: -22");
    }
}

} // namespace vek::test
