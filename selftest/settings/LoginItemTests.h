// The settings self-test of launch at login.
//
// Main thread; blocks on the disk. The login item is as it was afterwards.
#pragma once

#include "selftest/settings/SettingsUnderTest.h"

namespace morvel {

void testLaunchAtLoginState(const SettingsUnderTest& tested);

// Registers and unregisters only where MORVEL_LOGIN_ITEM_TEST is exactly "1".
void testLoginItemRegistration(const SettingsUnderTest& tested);

} // namespace morvel
