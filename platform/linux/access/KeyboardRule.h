// The rule that gives the person at a seat access to its keyboards. Any thread.
//
// It tags keyboards as devices of whoever sits there: the login manager then lets that person, for
// as long as it is his turn, read them and write to them. It cannot give less: what can be read can
// also be made to press keys.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace morvel {

// The file's name. Its number puts it after the rules that find out what a keyboard is and before
// the one that acts on the tag.
std::string keyboardRuleName();

// The file's whole content.
std::string_view keyboardRuleText();

// Every content that it has ever had, the one above first. A file with any other is not ours: what
// was given with a text that is missing here could not be taken back any more.
std::span<const std::string_view> keyboardRuleTexts();

} // namespace morvel
