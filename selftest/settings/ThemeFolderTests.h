// The settings self-test of what is found in the themes' folders: that what is broken does no harm,
// and that the picker tells what plays.
//
// Main thread; blocks on the disk. Themes that the tests put into the user's folder are gone
// afterwards, and the theme that was active is active again.
#pragma once

#include "selftest/settings/SettingsUnderTest.h"

namespace morvel {

void testUserThemesFolder(const SettingsUnderTest& tested);
void testCatalog(const SettingsUnderTest& tested);
void testCoverageReporting(const SettingsUnderTest& tested);
void testMalformedThemes(const SettingsUnderTest& tested);
void testDroppedTheme(const SettingsUnderTest& tested);
void testPickerMatchesReality(const SettingsUnderTest& tested);

} // namespace morvel
