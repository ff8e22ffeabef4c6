#include "app/settingswindow/SettingsWindowController.h"

#include "app/views/AppViews.h"

#include <fmt/format.h>

#include <QQuickItem>
#include <utility>

namespace morvel {

namespace {

int rowCount(const QQuickItem& item) {
    int count = item.objectName() == QLatin1String("moduleRow") ? 1 : 0;
    for (const QQuickItem* const child : item.childItems())
        count += rowCount(*child);
    return count;
}

} // namespace

SettingsWindowController::SettingsWindowController(HostingWindowFactory& windows, Log& log,
                                                   SettingsModel::Services services)
    : windows_(windows)
    , log_(log)
    , settings_(services.settings)
    , permission_(services.permission)
    , model_(services) {}

void SettingsWindowController::show() {
    model_.refreshBeforeShowing();
    if (!makeWindow())
        return;
    bringToFront(*window_);
    if (!std::exchange(wasShown_, true))
        log_.line(fmt::format("Settings window shown (frame={})",
                              rectangleText(window_->frameGeometry())));
}

int SettingsWindowController::moduleRowCount() {
    return makeWindow() ? rowCount(*window_->contentItem()) : 0;
}

bool SettingsWindowController::makeWindow() {
    if (window_)
        return true;
    window_ = windows_.makeWindow(
        QStringLiteral("Morvel Settings"), QSize(460, 620),
        {appView(QStringLiteral("SettingsView")),
         {{QStringLiteral("settings"), QVariant::fromValue<QObject*>(&settings_)},
          {QStringLiteral("themes"), QVariant::fromValue<QObject*>(&model_.themes())},
          {QStringLiteral("permission"), QVariant::fromValue<QObject*>(&permission_)},
          {QStringLiteral("model"), QVariant::fromValue<QObject*>(&model_)}}});
    if (!window_)
        return false;
    QObject::connect(window_.get(), &QWindow::visibleChanged, &model_, [this](bool visible) {
        if (visible)
            model_.refreshOnScreen();
        else
            model_.leaveScreen();
    });
    return true;
}

} // namespace morvel
