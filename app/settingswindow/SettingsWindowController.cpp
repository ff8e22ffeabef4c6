#include "app/settingswindow/SettingsWindowController.h"

#include "app/views/AppViews.h"

#include <fmt/format.h>

namespace morvel {

SettingsWindowController::SettingsWindowController(HostingWindowFactory& windows, Log& log,
                                                   SettingsModel::Services services)
    : windows_(windows)
    , log_(log)
    , settings_(services.settings)
    , permission_(services.permission)
    , model_(services) {}

void SettingsWindowController::show() {
    model_.refreshBeforeShowing();
    if (window_) {
        bringToFront(*window_);
        return;
    }
    window_ = windows_.makeWindow(
        QStringLiteral("Morvel Settings"), QSize(460, 620),
        {appView(QStringLiteral("SettingsView")),
         {{QStringLiteral("settings"), QVariant::fromValue<QObject*>(&settings_)},
          {QStringLiteral("themes"), QVariant::fromValue<QObject*>(&model_.themes())},
          {QStringLiteral("permission"), QVariant::fromValue<QObject*>(&permission_)},
          {QStringLiteral("model"), QVariant::fromValue<QObject*>(&model_)}}});
    if (!window_)
        return;
    QObject::connect(window_.get(), &QWindow::visibleChanged, &model_, [this](bool visible) {
        if (visible)
            model_.refreshOnScreen();
    });
    bringToFront(*window_);
    log_.line(
        fmt::format("Settings window shown (frame={})", rectangleText(window_->frameGeometry())));
}

} // namespace morvel
