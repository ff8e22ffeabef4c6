// The window in which every setting can be changed.
//
// Main thread, all of it. The window is made once and kept when closed; every change in it applies
// at once.
#pragma once

#include "app/settingswindow/SettingsModel.h"
#include "app/windows/HostingWindowFactory.h"
#include "platform/Log.h"

#include <memory>

namespace morvel {

class SettingsWindowController {
public:
    // `windows`, `log` and what `services` names must outlive the controller.
    SettingsWindowController(HostingWindowFactory& windows, Log& log,
                             SettingsModel::Services services);

    // Refreshes what is shown and brings the window to the front; makes it the first time.
    void show();

    // The modules that the window has a row for; makes it, hidden, where there is none.
    int moduleRowCount();

    // Null until first shown.
    QQuickView* window() const { return window_.get(); }

private:
    // Answers whether there is one.
    bool makeWindow();

    HostingWindowFactory& windows_;
    Log& log_;
    AppSettings& settings_;
    AccessibilityPermission& permission_;
    SettingsModel model_;
    std::unique_ptr<QQuickView> window_;
    bool wasShown_ = false;
};

} // namespace morvel
