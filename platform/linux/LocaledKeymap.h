// The keymap that the machine is set to, by localed's word on the system bus.
//
// Main thread. It is asked without waiting and followed; until it has answered, and where there is
// none, there are no names.
#pragma once

#include "platform/linux/KeymapSettings.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVariantMap>

namespace morvel {

class LocaledKeymap : public QObject, public KeymapSettings {
    Q_OBJECT

public:
    explicit LocaledKeymap(QDBusConnection system);
    ~LocaledKeymap() override;

    KeymapNames names() const override { return names_; }
    void setChangeHandler(std::function<void()> changed) override;

private slots:
    void propertiesChanged(const QString& interface, const QVariantMap& values,
                           const QStringList& withoutValues);

private:
    void ask();
    void take(const QVariantMap& values);

    QDBusConnection system_;
    KeymapNames names_;
    std::function<void()> changed_;
};

} // namespace morvel
