// The settings self-test of what the store keeps, and of what it no longer does.
//
// Main thread; blocks on the disk. Settings and file are as they were afterwards.
#pragma once

#include "selftest/settings/SettingsUnderTest.h"

namespace morvel {

void testPersistence(const SettingsUnderTest& tested);
void testRetiredModule(const SettingsUnderTest& tested);

} // namespace morvel
