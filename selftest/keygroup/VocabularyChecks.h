// The sections of the key-group self-test that need no theme. Main thread.
#pragma once

#include "selftest/CheckList.h"
#include "selftest/keygroup/Vocabulary.h"

namespace morvel {

// How many categories and groups there are, and what belongs to what.
void checkSchema(CheckList& checks, const Vocabulary& vocabulary);

// That every key sounds, and as which group.
void checkKeyCodeCoverage(CheckList& checks, const Vocabulary& vocabulary);

// That each modifier key is told apart from its twin, and what Caps Lock and Fn do.
void checkModifierSides(CheckList& checks, const Vocabulary& vocabulary);

// What has become of the retired names.
void checkAliases(CheckList& checks, const Vocabulary& vocabulary);

} // namespace morvel
