// The desktop's choice of light or dark and its accent colour, for Qt's palette, where Qt's own
// platform theme takes no notice of them.
//
// Main thread. The desktop's settings portal is asked without waiting and followed; where there is
// none, the palette stays as it is.
#pragma once

#include <QColor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QPalette>
#include <QVariant>
#include <optional>

namespace morvel {

class DesktopAppearance : public QObject {
    Q_OBJECT

public:
    // Begins to follow. There must be a QGuiApplication.
    explicit DesktopAppearance(QDBusConnection session);
    ~DesktopAppearance() override;

private slots:
    void settingChanged(const QDBusMessage& announcement);

private:
    void take(const QString& key, const QVariant& value);
    void apply();

    QDBusConnection session_;
    bool dark_ = false;
    std::optional<QColor> accent_;
    bool applied_ = false; // the palette is ours
};

} // namespace morvel
