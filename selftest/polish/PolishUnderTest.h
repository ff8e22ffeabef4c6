// What the tests of the polish self-test drive.
#pragma once

#include "app/settings/AppSettings.h"
#include "app/statusitem/StatusItemController.h"
#include "app/trust/AccessibilityPermission.h"
#include "audio/AudioEngine.h"
#include "keyboard/KeyboardEngine.h"
#include "platform/Environment.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "selftest/CheckList.h"
#include "selftest/SettingsStorage.h"
#include "themes/controller/ThemeController.h"

#include <QPointer>

namespace morvel {

// All of it must outlive the tests, but for the status item, which goes when the program ends.
struct PolishUnderTest {
    CheckList& checks;
    Log& log;
    Scheduler& scheduler;
    const Environment& environment;
    QPointer<StatusItemController> statusItem;
    AppSettings& settings;
    const SettingsStorage& storage;
    const ThemeController& themes;
    AudioEngine& audio;
    const AccessibilityPermission& permission;
    const KeyboardEngine& keyboard;
};

} // namespace morvel
