// The polish self-test of what the menu-bar item shows, and of the self-tests' own switches. Main
// thread.
#pragma once

#include "selftest/CheckList.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace morvel {

// `isDrawable` answers for the symbol of a name; `current` is the one that the item shows.
void checkIconSymbols(CheckList& checks, const std::function<bool(const std::string&)>& isDrawable,
                      const std::optional<std::string>& current);

void checkMenu(CheckList& checks, const std::vector<std::string>& titles);

// `switches` are the environment variables that the launch looks at.
void checkHarnessSwitches(CheckList& checks, const std::vector<std::string>& switches);

} // namespace morvel
