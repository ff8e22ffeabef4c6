// The window that guides the user through granting the access that the keyboard sounds need.
//
// Main thread, all of it. The window follows the trust that it is shown with; it is made once and
// kept when the user closes it.
#pragma once

#include "app/helpwindow/HelpWindowController.h"
#include "app/permissionwindow/PermissionWindow.h"
#include "app/windows/HostingWindowFactory.h"
#include "platform/ApplicationBundle.h"
#include "platform/DesktopPlaces.h"
#include "platform/Log.h"

#include <QObject>
#include <memory>

namespace morvel {

class PermissionWindowController : public QObject, public PermissionWindow {
    Q_OBJECT
    Q_PROPERTY(QString systemName READ systemName CONSTANT)
    Q_PROPERTY(bool accessIsThePersons READ accessIsThePersons CONSTANT)
    Q_PROPERTY(bool unbundled READ unbundled CONSTANT)

public:
    // All must outlive the controller.
    struct Services {
        HostingWindowFactory& windows;
        DesktopPlaces& places;
        HelpWindowController& help;
        Log& log;
    };

    PermissionWindowController(Services services, const ApplicationBundle& bundle);

    void show(AccessibilityPermission& permission) override;
    void close() override;

    // For the view.
    QString systemName() const;
    bool accessIsThePersons() const;              // not the program's
    bool unbundled() const { return unbundled_; } // the system knows no application to trust
    Q_INVOKABLE void openSystemSettings();
    Q_INVOKABLE void onContinue();

    // Null until first shown.
    QQuickView* window() const { return window_.get(); }

private:
    const Services services_;
    const bool unbundled_;
    std::unique_ptr<QQuickView> window_;
};

} // namespace morvel
