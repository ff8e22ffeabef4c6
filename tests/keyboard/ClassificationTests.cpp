#include "keyboard/Classification.h"
#include "platform/KeyTap.h"

#include <gtest/gtest.h>

#include <set>

namespace morvel {
namespace {

constexpr auto down = keyDownEventType;
constexpr auto up = keyUpEventType;
constexpr auto flagsChanged = flagsChangedEventType;

TEST(Classification, EveryKeyCodeSoundsAndAllElevenGroupsAreReachable) {
    std::set<KeyGroup> reached;
    for (std::int64_t code = 0; code < 128; ++code) {
        const auto pressed = classify(down, code, 0);
        const auto released = classify(up, code, 0);
        ASSERT_TRUE(pressed && released) << code;
        ASSERT_TRUE(group(*pressed)) << code;
        EXPECT_EQ(group(*pressed), group(*released));
        EXPECT_EQ(keyEdge(*pressed), KeyEdge::down);
        EXPECT_EQ(keyEdge(*released), KeyEdge::up);
        reached.insert(*group(*pressed));
        if (const auto changed = classify(flagsChanged, code, ~std::uint64_t{0}))
            reached.insert(*group(*changed));
    }
    EXPECT_EQ(reached.size(), keyGroupCount);
}

TEST(Classification, NamedKeysReachTheirGroupsAndAnUnmappedKeyIsAlpha) {
    const std::pair<std::int64_t, SoundCategory> expected[] = {
        {49, SoundCategory::spaceDown},  {36, SoundCategory::enterDown},
        {76, SoundCategory::enterDown},  {48, SoundCategory::tabDown},
        {51, SoundCategory::deleteDown}, {117, SoundCategory::deleteDown},
        {53, SoundCategory::escapeDown}, {0, SoundCategory::alphaDown},
        {105, SoundCategory::alphaDown}, {neutralKeyCode, SoundCategory::alphaDown},
    };
    for (const auto& [code, category] : expected)
        EXPECT_EQ(classify(down, code, 0), category) << code;
    EXPECT_EQ(classify(up, 0, 0), SoundCategory::alphaUp);
}

TEST(Classification, CapsLockFollowsTheLockState) {
    EXPECT_EQ(classify(flagsChanged, 57, 0x10000), SoundCategory::capsLockDown);
    EXPECT_EQ(classify(flagsChanged, 57, 0), SoundCategory::capsLockUp);
}

TEST(Classification, AModifierIsReleasedAlthoughItsTwinIsHeld) {
    EXPECT_EQ(classify(flagsChanged, 56, 0x4), SoundCategory::shiftUp);
    EXPECT_EQ(classify(flagsChanged, 56, 0x2), SoundCategory::shiftDown);
    EXPECT_EQ(classify(flagsChanged, 56, 0x6), SoundCategory::shiftDown);
    EXPECT_EQ(classify(flagsChanged, 60, 0x2), SoundCategory::shiftUp);
}

TEST(Classification, EveryModifierKeyFollowsItsOwnSideOfItsGroup) {
    const std::tuple<std::int64_t, std::uint64_t, KeyGroup> keys[] = {
        {59, 0x1, KeyGroup::control},      {62, 0x2000, KeyGroup::control},
        {56, 0x2, KeyGroup::shift},        {60, 0x4, KeyGroup::shift},
        {55, 0x8, KeyGroup::command},      {54, 0x10, KeyGroup::command},
        {58, 0x20, KeyGroup::option},      {61, 0x40, KeyGroup::option},
        {57, 0x10000, KeyGroup::capsLock},
    };
    for (const auto& [code, mask, keyGroup] : keys) {
        EXPECT_EQ(classify(flagsChanged, code, mask), category(keyGroup, KeyEdge::down)) << code;
        EXPECT_EQ(classify(flagsChanged, code, ~mask), category(keyGroup, KeyEdge::up)) << code;
    }
}

TEST(Classification, FnSoundsLikeAnOrdinaryKey) {
    EXPECT_EQ(classify(flagsChanged, 63, 0x800000), SoundCategory::alphaDown);
    EXPECT_EQ(classify(flagsChanged, 63, 0), SoundCategory::alphaUp);
}

TEST(Classification, FlagsChangedForAKeyWithoutAMaskIsSilent) {
    EXPECT_EQ(classify(flagsChanged, 49, 0x2), std::nullopt);
    EXPECT_EQ(classify(flagsChanged, 200, ~std::uint64_t{0}), std::nullopt);
}

TEST(Classification, OtherEventTypesAreSilent) {
    for (const std::uint32_t type : {0u, 1u, 9u, 13u, 14u, 0xFFFFFFFEu, 0xFFFFFFFFu})
        EXPECT_EQ(classify(type, 49, 0), std::nullopt) << type;
}

} // namespace
} // namespace morvel
