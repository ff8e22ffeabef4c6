#include "sound/SoundCategory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

namespace morvel {
namespace {

TEST(SoundCategory, HasThirtyTwoCasesTwentyFourForTheKeyboardAndEightForTheToys) {
    const auto& all = allSoundCategories();
    EXPECT_EQ(all.size(), 32u);
    EXPECT_EQ(std::count_if(all.begin(), all.end(),
                            [](auto c) { return module(c) == SoundModule::keyboard; }),
              24);
    EXPECT_EQ(std::count_if(all.begin(), all.end(),
                            [](auto c) { return module(c) == SoundModule::fidget; }),
              8);
}

TEST(SoundCategory, EveryRawValueIsUniqueAndLeadsBackToItsCase) {
    std::set<std::string_view> seen;
    for (const auto c : allSoundCategories()) {
        EXPECT_TRUE(seen.insert(rawValue(c)).second) << rawValue(c);
        EXPECT_EQ(soundCategoryFromRawValue(rawValue(c)), c);
    }
}

TEST(SoundCategory, RawValuesAreTheManifestKeysInDeclarationOrder) {
    EXPECT_EQ(rawValue(SoundCategory::keyDown), "keyboard.down");
    EXPECT_EQ(rawValue(SoundCategory::deleteUp), "keyboard.delete.up");
    EXPECT_EQ(rawValue(SoundCategory::capsLockDown), "keyboard.capsLock.down");
    EXPECT_EQ(rawValue(SoundCategory::escapeUp), "keyboard.escape.up");
    EXPECT_EQ(rawValue(SoundCategory::dialLoop), "fidget.dialLoop");
    EXPECT_EQ(rawValue(SoundCategory::buttonUp), "fidget.buttonUp");
    EXPECT_EQ(static_cast<int>(SoundCategory::toggleOn), 24);
}

TEST(SoundCategory, EveryGroupMapsToADistinctPairAndBack) {
    std::set<SoundCategory> seen;
    EXPECT_EQ(allKeyGroups().size(), 11u);
    for (const auto g : allKeyGroups())
        for (const auto edge : {KeyEdge::down, KeyEdge::up}) {
            const SoundCategory c = category(g, edge);
            EXPECT_TRUE(seen.insert(c).second);
            EXPECT_EQ(group(c), g);
            EXPECT_EQ(keyEdge(c), edge);
            const std::string expected =
                "keyboard." + std::string(rawValue(g)) + (edge == KeyEdge::down ? ".down" : ".up");
            EXPECT_EQ(rawValue(c), expected);
        }
    EXPECT_EQ(seen.size(), 22u);
}

TEST(SoundCategory, RootsHaveNoGroupNoEdgeAndNoFallback) {
    for (const auto root : {SoundCategory::keyDown, SoundCategory::keyUp}) {
        EXPECT_EQ(group(root), std::nullopt);
        EXPECT_EQ(keyEdge(root), std::nullopt);
        EXPECT_EQ(inThemeFallback(root), std::nullopt);
    }
}

TEST(SoundCategory, EveryGroupCategoryFallsBackToTheRootOfItsEdgeAndNoFidgetCategoryFallsBack) {
    int groupCategories = 0;
    for (const auto c : allSoundCategories()) {
        if (const auto edge = keyEdge(c)) {
            ++groupCategories;
            EXPECT_EQ(inThemeFallback(c),
                      *edge == KeyEdge::down ? SoundCategory::keyDown : SoundCategory::keyUp);
        }
        if (module(c) == SoundModule::fidget) {
            EXPECT_EQ(inThemeFallback(c), std::nullopt);
        }
    }
    EXPECT_EQ(groupCategories, 22);
}

TEST(SoundCategory, RetiredNamesAreNotRawValues) {
    EXPECT_EQ(soundCategoryFromRawValue("keyboard.stabDown"), std::nullopt);
    EXPECT_EQ(soundCategoryFromRawValue("keyboard.stabUp"), std::nullopt);
}

TEST(SoundCategory, ManifestKeysResolveRetiredNamesAsDeprecatedAndCurrentOnesNot) {
    EXPECT_EQ(resolveManifestKey("keyboard.stabDown"),
              (ManifestKeyResolution{SoundCategory::spaceDown, true}));
    EXPECT_EQ(resolveManifestKey("keyboard.stabUp"),
              (ManifestKeyResolution{SoundCategory::spaceUp, true}));
    EXPECT_EQ(resolveManifestKey("keyboard.space.down"),
              (ManifestKeyResolution{SoundCategory::spaceDown, false}));
}

TEST(SoundCategory, UnknownManifestKeysResolveToNothing) {
    EXPECT_EQ(resolveManifestKey("Keyboard.Space.Down"), std::nullopt);
    EXPECT_EQ(resolveManifestKey("keyboard.capslock.down"), std::nullopt);
    EXPECT_EQ(resolveManifestKey(" keyboard.down"), std::nullopt);
    EXPECT_EQ(resolveManifestKey(""), std::nullopt);
}

TEST(SoundModule, AreTheKeyboardAndTheFidgetDrawerInThatOrder) {
    ASSERT_EQ(allSoundModules().size(), 2u);
    EXPECT_EQ(rawValue(allSoundModules()[0]), "keyboard");
    EXPECT_EQ(rawValue(allSoundModules()[1]), "fidget");
}

} // namespace
} // namespace morvel
