#include "platform/linux/KeyEventTranslator.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

constexpr std::uint32_t letterKey = 38;
constexpr std::uint32_t otherLetterKey = 39;
constexpr std::uint32_t leftShiftKey = 50;
constexpr std::uint32_t rightShiftKey = 62;
constexpr std::uint32_t capsLockKey = 66;

class KeyEventTranslatorTest : public testing::Test {
protected:
    KeyEventTranslatorTest() {
        VirtualKeyCodeTable table;
        table.fill(neutralKeyCode);
        table[leftShiftKey] = 56;
        table[rightShiftKey] = 60;
        table[capsLockKey] = capsLockKeyCode;
        translator.setTable(table);
    }

    std::optional<KeyEvent> press(std::uint32_t hardware, std::uint32_t device = 1) {
        return translator.key({device, hardware, true, false, 5});
    }
    std::optional<KeyEvent> release(std::uint32_t hardware, std::uint32_t device = 1) {
        return translator.key({device, hardware, false, false, 6});
    }

    KeyEventTranslator translator;
};

TEST_F(KeyEventTranslatorTest, EveryLetterLeavesWithTheSameCodeAndNothingElseOfIt) {
    const auto first = press(letterKey);
    const auto second = press(otherLetterKey);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->keyCode, neutralKeyCode);
    EXPECT_EQ(second->keyCode, neutralKeyCode);
    EXPECT_EQ(first->type, keyDownEventType);
    EXPECT_EQ(first->flags, second->flags);
    EXPECT_EQ(first->timestampNanos, 5u);
}

TEST_F(KeyEventTranslatorTest, APressOfAHeldKeyIsAnAutoRepeatAndAPressAfterReleaseIsNot) {
    EXPECT_EQ(press(letterKey)->autoRepeat, 0);
    EXPECT_NE(press(letterKey)->autoRepeat, 0);
    EXPECT_EQ(release(letterKey)->type, keyUpEventType);
    EXPECT_EQ(press(letterKey)->autoRepeat, 0);
}

TEST_F(KeyEventTranslatorTest, TheSystemsOwnRepeatMarkIsBelieved) {
    EXPECT_NE(translator.key({1, letterKey, true, true, 0})->autoRepeat, 0);
}

TEST_F(KeyEventTranslatorTest, HeldKeysAreTrackedForEachKeyboard) {
    EXPECT_EQ(press(letterKey, 1)->autoRepeat, 0);
    EXPECT_EQ(press(letterKey, 2)->autoRepeat, 0);
}

TEST_F(KeyEventTranslatorTest, AKeyboardThatGoesAwayHoldsNothing) {
    press(leftShiftKey);
    press(letterKey);
    translator.forgetDevice(1);
    const auto again = press(letterKey);
    EXPECT_EQ(again->autoRepeat, 0);
    EXPECT_EQ(again->flags, 0u);
}

TEST_F(KeyEventTranslatorTest, AKeyIsHeldFromItsPressToItsReleaseOnItsOwnKeyboard) {
    EXPECT_FALSE(translator.holds(1, letterKey));
    press(letterKey);
    EXPECT_TRUE(translator.holds(1, letterKey));
    EXPECT_FALSE(translator.holds(1, otherLetterKey));
    EXPECT_FALSE(translator.holds(2, letterKey));
    EXPECT_FALSE(translator.holds(1, 256));
    release(letterKey);
    EXPECT_FALSE(translator.holds(1, letterKey));
}

TEST_F(KeyEventTranslatorTest, ModifiersChangeFlagsSideBySide) {
    const auto left = press(leftShiftKey);
    ASSERT_TRUE(left);
    EXPECT_EQ(left->type, flagsChangedEventType);
    EXPECT_EQ(left->keyCode, 56);
    EXPECT_EQ(left->flags, 0x2u);
    EXPECT_EQ(press(rightShiftKey)->flags, 0x6u);
    EXPECT_EQ(press(letterKey)->flags, 0x6u);
    EXPECT_EQ(release(leftShiftKey)->flags, 0x4u);
    EXPECT_EQ(release(rightShiftKey)->flags, 0u);
}

TEST_F(KeyEventTranslatorTest, AModifierReleasedWhileItsTwinOnAnotherKeyboardIsHeldReadsAsUp) {
    press(leftShiftKey, 1);
    press(leftShiftKey, 2);
    EXPECT_EQ(release(leftShiftKey, 2)->flags & 0x2u, 0u);
    EXPECT_EQ(press(letterKey)->flags & 0x2u, 0x2u);
}

TEST_F(KeyEventTranslatorTest, ARepeatedModifierMakesNoEvent) {
    press(leftShiftKey);
    EXPECT_EQ(press(leftShiftKey), std::nullopt);
}

TEST_F(KeyEventTranslatorTest, CapsLockSpeaksByItsLockStateOnly) {
    EXPECT_EQ(press(capsLockKey), std::nullopt);
    const auto on = translator.capsLock(true, 9);
    ASSERT_TRUE(on);
    EXPECT_EQ(on->type, flagsChangedEventType);
    EXPECT_EQ(on->keyCode, capsLockKeyCode);
    EXPECT_EQ(on->flags, 0x10000u);
    EXPECT_EQ(on->timestampNanos, 9u);
    EXPECT_EQ(release(capsLockKey), std::nullopt);
    EXPECT_EQ(translator.capsLock(true, 10), std::nullopt);
    EXPECT_EQ(translator.capsLock(false, 11)->flags, 0u);
}

TEST_F(KeyEventTranslatorTest, ALockThatWasOnAtTheStartMakesNoEventUntilItChanges) {
    translator.assumeCapsLock(true);
    EXPECT_EQ(translator.capsLock(true, 1), std::nullopt);
    EXPECT_EQ(press(letterKey)->flags, 0x10000u);
    EXPECT_TRUE(translator.capsLock(false, 2));
}

TEST_F(KeyEventTranslatorTest, AModifierKeepsItsMeaningUntilReleasedAlthoughTheKeymapChanges) {
    press(leftShiftKey);
    VirtualKeyCodeTable other;
    other.fill(neutralKeyCode);
    other[leftShiftKey] = 59;
    translator.setTable(other);
    const auto released = release(leftShiftKey);
    EXPECT_EQ(released->keyCode, 56);
    EXPECT_EQ(press(leftShiftKey)->keyCode, 59);
}

TEST_F(KeyEventTranslatorTest, AReleaseWithoutItsPressIsARelease) {
    const auto released = release(letterKey);
    ASSERT_TRUE(released);
    EXPECT_EQ(released->type, keyUpEventType);
}

TEST_F(KeyEventTranslatorTest, AHardwareCodeOutOfRangeIsIgnored) {
    EXPECT_EQ(press(256), std::nullopt);
    EXPECT_EQ(press(0xffffffff), std::nullopt);
}

TEST(VirtualKeyCodes, NamedSymbolsHaveCodesOfTheirOwnAndAllOthersShareOne) {
    EXPECT_EQ(virtualKeyCode(XKB_KEY_space), 49);
    EXPECT_EQ(virtualKeyCode(XKB_KEY_KP_Enter), 76);
    EXPECT_EQ(virtualKeyCode(XKB_KEY_Super_R), 54);
    EXPECT_EQ(virtualKeyCode(XKB_KEY_ISO_Level3_Shift), 61);
    for (const xkb_keysym_t symbol :
         {XKB_KEY_a, XKB_KEY_Q, XKB_KEY_1, XKB_KEY_Left, XKB_KEY_F5, XKB_KEY_KP_Delete,
          XKB_KEY_KP_7, XKB_KEY_Num_Lock, XKB_KEY_dead_acute, XKB_KEY_NoSymbol})
        EXPECT_EQ(virtualKeyCode(symbol), neutralKeyCode) << symbol;
}

} // namespace
} // namespace morvel
