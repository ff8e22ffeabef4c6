// The small window that tells what to do by hand where the desktop has no place for it.
#pragma once

#include "app/windows/HostingWindowFactory.h"
#include "platform/DesktopPlaces.h"

#include <QObject>
#include <memory>

namespace morvel {

// Main thread, all of it.
class HelpWindowController : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString title READ title NOTIFY pageChanged)
    Q_PROPERTY(QString text READ text NOTIFY pageChanged)
    Q_PROPERTY(QString detail READ detail NOTIFY pageChanged)

public:
    // `windows` must outlive the controller.
    explicit HelpWindowController(HostingWindowFactory& windows);

    // Shows the page in place of the one before, in front of all other windows.
    void show(const HelpPage& page);
    Q_INVOKABLE void close();

    QString title() const;
    QString text() const;
    QString detail() const;

    // Null until the first page.
    QQuickView* window() const { return window_.get(); }

signals:
    void pageChanged();

private:
    HostingWindowFactory& windows_;
    HelpPage page_;
    std::unique_ptr<QQuickView> window_;
};

} // namespace morvel
