// Puts the rule where udev reads it, and takes it away. Any thread.
//
// Nothing on the way is followed that is a symbolic link, and nothing in the rule's place is
// touched that is not ours. After a failure the place is as it was, and nothing half written is
// left beside.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace morvel {

// What went wrong, in one printable line; nothing where all went well.
using AccessProblem = std::optional<std::string>;

// Writes "etc/udev/rules.d/<keyboardRuleName()>" below `root`, readable by all. A rule that is
// there already is left as it is, one of an earlier text is replaced.
AccessProblem writeKeyboardRule(const std::filesystem::path& root);

// Removes that file, whichever of its texts it has. It is no failure that there is none.
AccessProblem removeKeyboardRule(const std::filesystem::path& root);

// The same with other texts than keyboardRuleTexts(): the first is written, each of them is ours.
AccessProblem writeRule(const std::filesystem::path& root, std::span<const std::string_view> texts);
AccessProblem removeRule(const std::filesystem::path& root,
                         std::span<const std::string_view> texts);

} // namespace morvel
