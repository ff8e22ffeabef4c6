#include "selftest/KeyGroupSelfTest.h"

#include "selftest/keygroup/ThemeChecks.h"
#include "selftest/keygroup/VocabularyChecks.h"

#include <utility>

namespace morvel {

KeyGroupSelfTest::KeyGroupSelfTest(const Services& services, Vocabulary vocabulary)
    : services_(services)
    , vocabulary_(std::move(vocabulary))
    , checks_("KEYGROUPTEST", services.log) {}

void KeyGroupSelfTest::run(ThemeController& themes) {
    checks_.start();
    checkSchema(checks_, vocabulary_);
    checkKeyCodeCoverage(checks_, vocabulary_);
    checkModifierSides(checks_, vocabulary_);
    ThemeChecks themeChecks({themes, services_.catalog, services_.random, services_.log, checks_});
    themeChecks.checkResolution();
    themeChecks.checkMinimalTheme();
    checkAliases(checks_, vocabulary_);
    themeChecks.checkLegacyTheme();
    checks_.complete();
}

} // namespace morvel
