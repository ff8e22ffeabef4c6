// The application's windows, which come into being when the first of them is shown. Main thread.
#pragma once

#include "app/applicationwindows/ApplicationWindows.h"

#include <functional>
#include <memory>

namespace morvel {

class LateWindows : public PermissionWindow {
public:
    // Makes the windows; null where that fails, which it has logged. Called once at most.
    using Make = std::function<std::unique_ptr<ApplicationWindows>()>;

    explicit LateWindows(Make make);
    ~LateWindows() override;

    // Where the windows cannot be made nothing is shown.
    void show(AccessibilityPermission& permission) override;
    void close() override;
    void showSettings();
    void showHelp(const HelpPage& page);
    // Null where the windows cannot be made. Must not outlive this.
    std::unique_ptr<SettingsWindow> makeSettingsWindow();

    // The fidget drawer's popover: made when it is first shown. Once; it must not outlive this.
    std::unique_ptr<Popover> makeDrawer();

private:
    ApplicationWindows* windows();

    Make make_; // empty once it was called
    std::unique_ptr<ApplicationWindows> windows_;
};

} // namespace morvel
