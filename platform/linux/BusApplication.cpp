#include "platform/linux/BusApplication.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <utility>

namespace morvel {

namespace {

constexpr uint doNotQueue = 4;

QString objectPath(const QString& identifier) {
    QString path = QLatin1Char('/') + identifier;
    return path.replace(QLatin1Char('.'), QLatin1Char('/'))
        .replace(QLatin1Char('-'), QLatin1Char('_'));
}

} // namespace

BusApplication::BusApplication(QDBusConnection session, std::string_view identifier,
                               Handler handler)
    : session_(std::move(session))
    , path_(objectPath(QString::fromUtf8(identifier)))
    , handler_(std::move(handler)) {
    // The object first: calls have waited for the name.
    if (!session_.registerObject(path_, this, QDBusConnection::ExportAllSlots))
        return;
    auto request = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("RequestName"));
    request << QString::fromUtf8(identifier) << doNotQueue;
    session_.asyncCall(request);
}

BusApplication::~BusApplication() {
    session_.unregisterObject(path_);
}

void BusApplication::Activate(const QVariantMap& /*platformData*/) {
    handler_({});
}

void BusApplication::Open(const QStringList& /*addresses*/, const QVariantMap& platformData) {
    Activate(platformData);
}

void BusApplication::ActivateAction(const QString& action, const QVariantList& /*parameter*/,
                                    const QVariantMap& /*platformData*/) {
    if (!handler_(action.toStdString()) && calledFromDBus())
        sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("There is no such action"));
}

} // namespace morvel
