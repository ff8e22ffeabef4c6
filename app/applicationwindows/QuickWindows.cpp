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

class QuickWindows : public ApplicationWindows {
public:
    explicit QuickWindows(const Services& services)
        : transients_(services.transients)
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
        , settings_(factory_, services.log,
                    {services.settings, services.themes, services.permission, services.catalog,
                     services.login, services.places, help_}) {}

    PermissionWindow& permissionWindow() override { return permission_; }
    void showSettings() override { settings_.show(); }
    std::unique_ptr<Popover> makeDrawer() override {
        return factory_.makePopover(QStringLiteral("Fidget Drawer"), FidgetDrawer::size(),
                                    {drawer_.source(), drawer_.properties()}, transients_);
    }

private:
    TransientWindows& transients_;
    FidgetDrawer drawer_;
    HostingWindowFactory factory_;
    HelpWindowController help_;
    PermissionWindowController permission_;
    SettingsWindowController settings_;
};

} // namespace

std::unique_ptr<ApplicationWindows> makeQuickWindows(const ApplicationWindows::Services& services) {
    return std::make_unique<QuickWindows>(services);
}

} // namespace morvel
