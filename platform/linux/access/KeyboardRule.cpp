#include "platform/linux/access/KeyboardRule.h"

#include "platform/ApplicationIdentifier.h"

namespace morvel {

std::string keyboardRuleName() {
    return "70-" + std::string(applicationIdentifier) + "-keyboards.rules";
}

std::string_view keyboardRuleText() {
    return "# Lets the person at the seat, and so every program of theirs, read its keyboards.\n"
           "# Written by Morvel; \"morvel-keyboard-access --revoke\" takes it back.\n"
           "ACTION!=\"remove\", SUBSYSTEM==\"input\", KERNEL==\"event*\", "
           "ENV{ID_INPUT_KEYBOARD}==\"1\", TAG+=\"uaccess\"\n";
}

} // namespace morvel
