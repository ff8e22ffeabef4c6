#include "platform/linux/access/KeyboardRule.h"

#include "platform/ApplicationIdentifier.h"

#include <array>

namespace morvel {

namespace {

// A text that is changed stays, below the new one.
constexpr std::array<std::string_view, 1> texts = {
    "# Lets the person at the seat, and so every program of theirs, read its keyboards.\n"
    "# Written by Morvel; \"morvel-keyboard-access --revoke\" takes it back.\n"
    "ACTION!=\"remove\", SUBSYSTEM==\"input\", KERNEL==\"event*\", "
    "ENV{ID_INPUT_KEYBOARD}==\"1\", TAG+=\"uaccess\"\n"};

} // namespace

std::string keyboardRuleName() {
    return "70-" + std::string(applicationIdentifier) + "-keyboards.rules";
}

std::string_view keyboardRuleText() {
    return texts.front();
}

std::span<const std::string_view> keyboardRuleTexts() {
    return texts;
}

} // namespace morvel
