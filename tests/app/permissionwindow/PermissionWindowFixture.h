// A permission window with everything around it simulated.
#pragma once

#include "app/permissionwindow/PermissionWindowController.h"
#include "app/views/AppViews.h"
#include "platform/simulated/SimulatedApplicationActivation.h"
#include "platform/simulated/SimulatedDesktopPlaces.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedProcessTable.h"
#include "platform/simulated/SimulatedTrustSource.h"
#include "platform/simulated/VirtualTime.h"
#include "views/Views.h"

namespace morvel::test {

inline void prepareWindows(QQmlEngine& engine) {
    prepareViews(engine);
    registerAppViews();
}

inline const ApplicationBundle installed{
    "/opt/Morvel.app/bin/morvel", "/opt/Morvel.app", "app.morvel.Morvel", {}};
inline const ApplicationBundle loose{"/src/build/morvel", "/src/build", {}, {}};

struct PermissionWindowFixture {
    explicit PermissionWindowFixture(bool trusted = false, ApplicationBundle bundle = installed)
        : trust(trusted)
        , permission({trust, processes, time, time, activation, log}, bundle,
                     [](const std::string&) { return std::nullopt; })
        , controller({windows, places, help, log}, bundle) {}

    void grant(bool trusted) {
        trust.trusted = trusted;
        permission.refresh();
    }
    QQuickView& shown() {
        controller.show(permission);
        return *controller.window();
    }

    SimulatedTrustSource trust;
    SimulatedProcessTable processes{1, {}};
    VirtualTime time;
    SimulatedApplicationActivation activation;
    SimulatedLog log;
    AccessibilityPermission permission;
    HostingWindowFactory windows{prepareWindows};
    HelpWindowController help{windows};
    SimulatedDesktopPlaces places;
    PermissionWindowController controller;
};

} // namespace morvel::test
