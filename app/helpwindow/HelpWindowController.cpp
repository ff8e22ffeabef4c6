#include "app/helpwindow/HelpWindowController.h"

#include "app/views/AppViews.h"

namespace morvel {

HelpWindowController::HelpWindowController(HostingWindowFactory& windows)
    : windows_(windows) {}

void HelpWindowController::show(const HelpPage& page) {
    page_ = page;
    emit pageChanged();
    if (!window_)
        window_ =
            windows_.makeWindow(QStringLiteral("Morvel Help"), QSize(420, 300),
                                {appView(QStringLiteral("HelpView")),
                                 {{QStringLiteral("page"), QVariant::fromValue<QObject*>(this)}}});
    if (window_)
        bringToFront(*window_);
}

void HelpWindowController::close() {
    if (window_)
        window_->close();
}

QString HelpWindowController::title() const {
    return QString::fromStdString(page_.title);
}

QString HelpWindowController::text() const {
    return QString::fromStdString(page_.text);
}

QString HelpWindowController::detail() const {
    return QString::fromStdString(page_.detail);
}

} // namespace morvel
