// The rule that gives the person at a seat access to its keyboards. Any thread.
//
// It tags keyboards as devices of whoever sits there: the login manager then lets that person, for
// as long as it is his turn, read them and write to them. It cannot give less: what can be read can
// also be made to press keys.
#pragma once

#include <string>
#include <string_view>

namespace morvel {

// The file's name. Its number puts it after the rules that find out what a keyboard is and before
// the one that acts on the tag.
std::string keyboardRuleName();

// The file's whole content. A file with any other content is not ours.
std::string_view keyboardRuleText();

} // namespace morvel
