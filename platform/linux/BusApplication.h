// The running program on the session's bus, under the application's identifier, for who starts
// programs and their actions over it ("org.freedesktop.Application"). Main thread.
//
// The bus starts the program for whoever calls that name while nobody has it, and hands the call on
// once this one does.
#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <functional>
#include <string>
#include <string_view>

namespace morvel {

class BusApplication : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    // `action` is one of the desktop entry's, empty where the program itself is wanted; answers
    // whether there is such an action. Called from the run loop, never by the constructor.
    using Handler = std::function<bool(const std::string& action)>;

    // Does not wait for the bus, which may be no connection at all. Where the name is another
    // process' already, it stays so and nothing is called.
    BusApplication(QDBusConnection session, std::string_view identifier, Handler handler);
    ~BusApplication() override;

public slots: // by their names on the bus
    void Activate(const QVariantMap& platformData);
    void Open(const QStringList& addresses, const QVariantMap& platformData); // opens none
    void ActivateAction(const QString& action, const QVariantList& parameter,
                        const QVariantMap& platformData);

private:
    QDBusConnection session_;
    const QString path_;
    const Handler handler_;
};

} // namespace morvel
