#include "platform/macos/PreferencesDefaultsStore.h"
#include "tests/platform/macos/FakeMac.h"

#include <cmath>
#include <limits>

namespace morvel {
namespace {

class PreferencesDefaultsStoreTest : public MacTest {
protected:
    PreferencesDefaultsStoreTest() {
        store_.registerDefaults({{"module.keyboard.enabled", true},
                                 {"module.keyboard.volume", 1.0},
                                 {"module.fidget.enabled", true},
                                 {"module.fidget.volume", 1.0},
                                 {"master.volume", 1.0},
                                 {"master.muted", false},
                                 {"theme.id", std::string("mechanical")}});
    }

    PreferencesDefaultsStore store_;
};

TEST_F(PreferencesDefaultsStoreTest, AFreshStoreYieldsTheRegisteredDefaultsAndHoldsNothing) {
    EXPECT_TRUE(store_.boolForKey("module.keyboard.enabled"));
    EXPECT_EQ(store_.floatForKey("master.volume"), 1.0F);
    EXPECT_FALSE(store_.boolForKey("master.muted"));
    EXPECT_EQ(store_.stringForKey("theme.id"), "mechanical");
    EXPECT_FALSE(store_.contains("theme.id"));
    EXPECT_TRUE(mac_.preferences.empty());
}

TEST_F(PreferencesDefaultsStoreTest, EachOfTheSevenKeysIsStoredWithItsType) {
    store_.setBool("module.keyboard.enabled", false);
    store_.setFloat("module.keyboard.volume", 0.7F);
    store_.setBool("module.fidget.enabled", false);
    store_.setFloat("module.fidget.volume", 0.25F);
    store_.setFloat("master.volume", 1.5F);
    store_.setBool("master.muted", true);
    store_.setString("theme.id", "carriage");
    EXPECT_EQ(mac_.preferences,
              (std::map<std::string, FakeMac::Preference>{{"module.keyboard.enabled", false},
                                                          {"module.keyboard.volume", 0.7F},
                                                          {"module.fidget.enabled", false},
                                                          {"module.fidget.volume", 0.25F},
                                                          {"master.volume", 1.5F},
                                                          {"master.muted", true},
                                                          {"theme.id", std::string("carriage")}}));
    EXPECT_FALSE(store_.boolForKey("module.keyboard.enabled"));
    EXPECT_EQ(store_.floatForKey("module.keyboard.volume"), 0.7F);
    EXPECT_EQ(store_.floatForKey("master.volume"), 1.5F);
    EXPECT_TRUE(store_.boolForKey("master.muted"));
    EXPECT_EQ(store_.stringForKey("theme.id"), "carriage");
}

TEST_F(PreferencesDefaultsStoreTest, APreferenceOfTheWrongTypeYieldsTheRegisteredDefault) {
    mac_.preferences = {{"theme.id", 12.0},
                        {"master.volume", std::string("loud")},
                        {"master.muted", std::monostate()},
                        {"module.keyboard.enabled", std::monostate()}};
    EXPECT_EQ(store_.stringForKey("theme.id"), "mechanical");
    EXPECT_EQ(store_.floatForKey("master.volume"), 1.0F);
    EXPECT_FALSE(store_.boolForKey("master.muted"));
    EXPECT_TRUE(store_.boolForKey("module.keyboard.enabled"));
    EXPECT_TRUE(store_.contains("master.muted"));
}

TEST_F(PreferencesDefaultsStoreTest, ATypeThatConvertsIsConverted) {
    mac_.preferences = {{"master.volume", std::string("0.5")},
                        {"module.fidget.volume", true},
                        {"master.muted", 1.0},
                        {"module.keyboard.enabled", std::string("NO")}};
    EXPECT_EQ(store_.floatForKey("master.volume"), 0.5F);
    EXPECT_EQ(store_.floatForKey("module.fidget.volume"), 1.0F);
    EXPECT_TRUE(store_.boolForKey("master.muted"));
    EXPECT_FALSE(store_.boolForKey("module.keyboard.enabled"));
}

TEST_F(PreferencesDefaultsStoreTest, EveryFloatComesBackAsItWas) {
    for (const float value : {-0.2F, std::numeric_limits<float>::max(),
                              std::numeric_limits<float>::infinity(), 1e-45F}) {
        store_.setFloat("master.volume", value);
        EXPECT_EQ(store_.floatForKey("master.volume"), value);
    }
    store_.setFloat("master.volume", std::numeric_limits<float>::quiet_NaN());
    EXPECT_TRUE(std::isnan(store_.floatForKey("master.volume")));
}

TEST_F(PreferencesDefaultsStoreTest, AKeyThatIsRemovedIsGone) {
    mac_.preferences = {{"module.trackpad.enabled", true}};
    EXPECT_TRUE(store_.contains("module.trackpad.enabled"));
    store_.remove("module.trackpad.enabled");
    EXPECT_FALSE(store_.contains("module.trackpad.enabled"));
    EXPECT_TRUE(mac_.preferences.empty());
}

TEST_F(PreferencesDefaultsStoreTest, AChangeIsInTheSystemsPreferencesWithoutAFlush) {
    store_.setFloat("master.volume", 0.5F);
    EXPECT_EQ(mac_.preferences,
              (std::map<std::string, FakeMac::Preference>{{"master.volume", 0.5F}}));
    store_.remove("master.volume");
    EXPECT_TRUE(mac_.preferences.empty());
    EXPECT_TRUE(mac_.changedPreferences.empty());
}

TEST_F(PreferencesDefaultsStoreTest, FlushingAsksTheSystemForWhatOthersHaveChanged) {
    store_.flush();
    EXPECT_EQ(mac_.synchronizations, 1);
}

TEST_F(PreferencesDefaultsStoreTest, AnUnregisteredKeyYieldsNothing) {
    const PreferencesDefaultsStore other;
    EXPECT_FALSE(other.boolForKey("module.keyboard.enabled"));
    EXPECT_EQ(other.floatForKey("master.volume"), 0.0F);
    EXPECT_EQ(other.stringForKey("theme.id"), std::nullopt);
}

} // namespace
} // namespace morvel
