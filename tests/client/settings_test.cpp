// SPDX-License-Identifier: Apache-2.0
#include "client/settings/HandleSettings.h"
#include "client/stages/LibraryHandle.h"

#include <gtest/gtest.h>

namespace vek::test {

TEST(ClientSettings, RangesEndWhereNumbersAreCut) {
    for (const client::SSetting& setting : client::allSettings()) {
        SCOPED_TRACE(std::string(setting.name));
        EXPECT_EQ(setting.Cut(setting.Lowest()), setting.Lowest());
        EXPECT_EQ(setting.Cut(setting.Highest()), setting.Highest());
        if (setting.bits < 64) {
            EXPECT_NE(setting.Cut(setting.Lowest() - 1), setting.Lowest() - 1);
            EXPECT_NE(setting.Cut(setting.Highest() + 1), setting.Highest() + 1);
        }
    }
}

TEST(ClientSettings, KindsFollowTheKeys) {
    using enum client::ESetting;
    for (const client::SSetting& setting : client::allSettings()) {
        SCOPED_TRACE(std::string(setting.name));
        EXPECT_EQ(setting.name.find("Mode") != std::string_view::npos, !client::settingNames(setting.kind).empty());
        EXPECT_NE(client::settingMeaning(setting, 1, nullptr), "");
    }
    const auto kindOf = [](const char* key) { return client::allSettings()[client::findSetting(key).value()].kind; };
    EXPECT_EQ(kindOf("AGCMinGain"), Gain);
    EXPECT_EQ(kindOf("AEMinExposure"), Exposure);
    EXPECT_EQ(kindOf("WBGainGb"), BalanceGain);
    EXPECT_EQ(kindOf("GammaModeGr"), GammaMode);
    EXPECT_EQ(kindOf("GammaGr"), Gamma);
    EXPECT_EQ(kindOf("HueSaturationMode"), Switch);
    EXPECT_EQ(kindOf("Hue"), Hue);
    EXPECT_EQ(kindOf("SharpnessMode"), Switch);
    EXPECT_EQ(client::findSetting("hue"), std::nullopt);
}

class ClientHandleSettings : public ::testing::Test {
protected:
    static client::SSettingChange To(const char* key, long value) { return {client::findSetting(key).value(), value}; }
    long Kept(const char* key) const { return client::handleSettings(mLibrary.Get())[*client::findSetting(key)]; }

    client::CLibraryHandle mLibrary{-1};
};

TEST_F(ClientHandleSettings, ChangesAreAppliedTogetherTheLastOfAKey) {
    const client::SSettingChange changes[] = {To("Saturation", 150), To("HueSaturationMode", 1), To("Hue", 7),
                                              To("Hue", -90)};
    EXPECT_FALSE(client::applyChanges(mLibrary.Get(), changes));
    EXPECT_EQ(Kept("Hue"), -90);
    EXPECT_EQ(Kept("Saturation"), 150);
    EXPECT_FALSE(client::applyChanges(mLibrary.Get(), {}));
}

TEST_F(ClientHandleSettings, RefusedChangesAreTold) {
    const client::SSettingChange refused[] = {To("ALCLevel", 90), To("GammaModeY", 7)};
    const auto first = client::applyChanges(mLibrary.Get(), refused);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->key, client::findSetting("GammaModeY"));
    EXPECT_FALSE(first->kept);
    EXPECT_EQ(Kept("ALCLevel"), 90); // what came before stays
    const client::SSettingChange ignored[] = {To("GammaY", 220)};
    const auto second = client::applyChanges(mLibrary.Get(), ignored);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->key, client::findSetting("GammaY"));
    EXPECT_EQ(second->kept, 100);
}

TEST_F(ClientHandleSettings, VerdictOnAText) {
    const auto text = client::parsedSettings("Hue 5 GammaModeR 7 ALCMode 17");
    const client::SVerdict verdict = client::verdictOn(mLibrary.Get(), text);
    ASSERT_TRUE(verdict.StopsAt());
    EXPECT_EQ(client::allSettings()[*verdict.StopsAt()].name, "GammaModeR");
    EXPECT_TRUE(verdict.refused[*client::findSetting("ContrastR")]); // the same call
    EXPECT_FALSE(verdict.refused[*client::findSetting("GammaModeGr")]);
    EXPECT_EQ(verdict.kept[*client::findSetting("ALCMode")], 1);
    EXPECT_EQ(verdict.kept[*client::findSetting("Hue")], 0); // its mode is off
    EXPECT_FALSE(client::verdictOn(mLibrary.Get(), client::parsedSettings("Hue 5")).StopsAt());
}

} // namespace vek::test
