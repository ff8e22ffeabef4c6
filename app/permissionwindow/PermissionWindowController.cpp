#include "app/permissionwindow/PermissionWindowController.h"

#include "app/views/AppViews.h"

#include <fmt/format.h>

namespace morvel {

PermissionWindowController::PermissionWindowController(Services services,
                                                       const ApplicationBundle& bundle)
    : services_(services)
    , unbundled_(!bundle.identifier || !bundle.path.string().ends_with(".app")) {}

void PermissionWindowController::show(AccessibilityPermission& permission) {
    if (window_) {
        bringToFront(*window_);
        return;
    }
    window_ = services_.windows.makeWindow(
        QStringLiteral("Morvel"), QSize(420, 400),
        {appView(QStringLiteral("PermissionView")),
         {{QStringLiteral("permission"), QVariant::fromValue<QObject*>(&permission)},
          {QStringLiteral("actions"), QVariant::fromValue<QObject*>(this)}}});
    if (!window_)
        return;
    bringToFront(*window_);
    services_.log.line(
        fmt::format("Onboarding window shown (frame={})", rectangleText(window_->frameGeometry())));
}

void PermissionWindowController::close() {
    if (!window_)
        return;
    window_->close();
    // It may be the window's own button that brought us here.
    window_.release()->deleteLater();
}

QString PermissionWindowController::systemName() const {
    return QString::fromStdString(services_.places.systemName());
}

bool PermissionWindowController::accessIsThePersons() const {
    return services_.places.givesAccessToPerson();
}

void PermissionWindowController::openSystemSettings() {
    services_.places.openAccessibilitySettings(
        [&help = services_.help](const HelpPage& page) { help.show(page); });
}

void PermissionWindowController::onContinue() {
    if (window_)
        window_->close();
}

} // namespace morvel
