#include "app/applicationwindows/QuickWindows.h"

#include "app/helpwindow/HelpWindowController.h"
#include "app/permissionwindow/PermissionWindowController.h"
#include "app/settingswindow/SettingsWindowController.h"
#include "app/views/AppViews.h"
#include "app/windows/HostingWindowFactory.h"
#include "fidget/views/FidgetDrawer.h"
#include "views/Views.h"

namespace morvel {

namespace {

class QuickSettingsWindow : public SettingsWindow {
public:
    QuickSettingsWindow(HostingWindowFactory& factory, Log& log,
                        const SettingsModel::Services& services)
        : controller_(factory, log, services) {}

    void show() override { controller_.show(); }
    int moduleRowCount() override { return controller_.moduleRowCount(); }

private:
    SettingsWindowController controller_;
};

class QuickWindows : public ApplicationWindows {
public:
    explicit QuickWindows(const Services& services)
        : log_(services.log)
        , transients_(services.transients)
        , drawer_(services.settings, services.audio, services.clock)
        , factory_(
              [](QQmlEngine& engine) {
                  prepareViews(engine);
                  registerAppViews();
                  FidgetDrawer::registerViews();
              },
              services.floating)
        , help_(factory_)
        , permission_({factory_, services.places, help_, services.log}, services.bundle)
        , shown_{services.settings, services.themes, services.permission,
                 services.catalog,  services.login,  services.output,
                 services.hotKeys,  services.places, help_}
        , settings_(factory_, log_, shown_) {}

    PermissionWindow& permissionWindow() override { return permission_; }
    void showSettings() override { settings_.show(); }
    void showHelp(const HelpPage& page) override { help_.show(page); }
    std::unique_ptr<SettingsWindow> makeSettingsWindow() override {
        return std::make_unique<QuickSettingsWindow>(factory_, log_, shown_);
    }
    std::unique_ptr<Popover> makeDrawer() override {
        return factory_.makePopover(QStringLiteral("Fidget Drawer"), FidgetDrawer::size(),
                                    {drawer_.source(), drawer_.properties()}, transients_);
    }

private:
    Log& log_;
    TransientWindows& transients_;
    FidgetDrawer drawer_;
    HostingWindowFactory factory_;
    HelpWindowController help_;
    PermissionWindowController permission_;
    SettingsModel::Services shown_; // in a settings window
    SettingsWindowController settings_;
};

} // namespace

std::unique_ptr<ApplicationWindows> makeQuickWindows(const ApplicationWindows::Services& services) {
    return std::make_unique<QuickWindows>(services);
}

} // namespace morvel
