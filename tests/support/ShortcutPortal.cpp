#include "tests/support/ShortcutPortal.h"

#include "platform/linux/PortalShortcut.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusObjectPath>
#include <stdexcept>

namespace morvel::test {

namespace {

const QString serviceName = QStringLiteral("org.freedesktop.portal.Desktop");
const QString root = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

QDBusConnection connectedTo(const QString& address) {
    static int count = 0;
    auto bus = QDBusConnection::connectToBus(address, QString("portal-%1").arg(++count));
    if (!bus.isConnected())
        throw std::runtime_error("the portal cannot reach the bus");
    return bus;
}

} // namespace

QVariant shortcutList(const QString& name, const QVariantMap& properties) {
    return QVariant::fromValue(PortalShortcuts{{name, properties}});
}

ShortcutPortal::ShortcutPortal(const std::string& busAddress)
    : address_(QString::fromStdString(busAddress))
    , bus_(connectedTo(address_)) {
    registerPortalShortcutTypes();
}

ShortcutPortal::~ShortcutPortal() {
    leave();
}

void ShortcutPortal::appear() {
    if (!bus_.registerVirtualObject(root, this, QDBusConnection::SubPath) ||
        !bus_.registerService(serviceName))
        throw std::runtime_error("the portal cannot have its name");
}

// Calls that wait to be delivered must go before the connection does.
void ShortcutPortal::leave() {
    bus_.unregisterService(serviceName); // awaited, unlike leaving the bus
    bus_.unregisterObject(root, QDBusConnection::UnregisterTree);
    QCoreApplication::removePostedEvents(this);
    QDBusConnection::disconnectFromBus(bus_.name());
}

void ShortcutPortal::vanish() {
    leave();
    bus_ = connectedTo(address_);
    responses_.clear();
    session.clear();
    registered.clear();
}

bool ShortcutPortal::handleMessage(const QDBusMessage& message, const QDBusConnection&) {
    client = message.service();
    calls << message.interface().section('.', -1) + "." + message.member();
    QDBusMessage response;
    bus_.send(answer(message, response));
    if (response.type() != QDBusMessage::SignalMessage)
        return true;
    responses_.push_back(response);
    if (!holdsResponses)
        respond();
    return true;
}

QDBusMessage ShortcutPortal::answer(const QDBusMessage& call, QDBusMessage& response) {
    const QString& method = calls.constLast();
    if (method == "Registry.Register" && hasRegistry) {
        if (!registered.isEmpty())
            return call.createErrorReply("org.freedesktop.portal.Error.Failed", "already known");
        registered << call.arguments().at(0).toString();
        return call.createReply();
    }
    if (method == "GlobalShortcuts.CreateSession" && hasShortcuts)
        return createSession(call, response);
    if (method == "GlobalShortcuts.BindShortcuts" && hasShortcuts)
        return bindShortcuts(call, response);
    if (method == "Session.Close" || method == "Request.Close") {
        closed << call.path();
        return call.createReply();
    }
    return call.createErrorReply(QDBusError::UnknownMethod, "No such interface");
}

QDBusMessage ShortcutPortal::createSession(const QDBusMessage& call, QDBusMessage& response) {
    if (needsName && registered.isEmpty())
        return call.createErrorReply("org.freedesktop.portal.Error.NotAllowed",
                                     "An app id is required");
    const auto options = qdbus_cast<QVariantMap>(call.arguments().at(0));
    session = path("session", call, options.value("session_handle_token").toString());
    const QString request = path("request", call, options.value("handle_token").toString());
    response = responseAt(
        request, sessionResponse,
        {{"session_handle", sessionHandle.isValid() ? sessionHandle : QVariant(session)}});
    return call.createReply(QVariant::fromValue(QDBusObjectPath(request)));
}

QDBusMessage ShortcutPortal::bindShortcuts(const QDBusMessage& call, QDBusMessage& response) {
    if (call.signature() != "oa(sa{sv})sa{sv}" ||
        call.arguments().at(0).value<QDBusObjectPath>() != QDBusObjectPath(session))
        return call.createErrorReply(QDBusError::InvalidArgs, "Invalid session");
    PortalShortcuts wished;
    call.arguments().at(1).value<QDBusArgument>() >> wished;
    for (const PortalShortcut& each : wished)
        bound.push_back({session, each.name, each.properties, call.arguments().at(2).toString()});
    const auto options = qdbus_cast<QVariantMap>(call.arguments().at(3));
    const QString request = path("request", call, options.value("handle_token").toString());
    QVariantMap granted;
    if (listsShortcuts)
        granted["shortcuts"] =
            shortcuts.isValid()
                ? shortcuts
                : shortcutList(wished.constFirst().name,
                               {{"description", wished.constFirst().properties["description"]},
                                {"trigger_description", keys}});
    response = responseAt(request, bindResponse, granted);
    return call.createReply(QVariant::fromValue(QDBusObjectPath(request)));
}

QString ShortcutPortal::path(const char* kind, const QDBusMessage& call,
                             const QString& token) const {
    QString sender = call.service().mid(1);
    sender.replace('.', '_');
    const bool own = usesOwnPaths && QLatin1String(kind) == QLatin1String("request");
    return root + "/" + kind + "/" + sender + "/" +
           (own ? QString("t%1").arg(calls.size()) : token);
}

QDBusMessage ShortcutPortal::responseAt(const QString& request, uint code,
                                        const QVariantMap& results) const {
    QDBusMessage response = signalFor(request, "org.freedesktop.portal.Request", "Response");
    response << code << results;
    return response;
}

// As a portal sends them: to nobody else.
QDBusMessage ShortcutPortal::signalFor(const QString& path, const QString& interface,
                                       const QString& name) const {
    return QDBusMessage::createTargetedSignal(client, path, interface, name);
}

void ShortcutPortal::respond() {
    if (responses_.empty())
        throw std::logic_error("nobody has asked");
    bus_.send(responses_.front());
    responses_.pop_front();
}

void ShortcutPortal::press(const QString& otherSession, const QString& otherName) {
    move("Activated", otherSession, otherName);
    move("Deactivated", otherSession, otherName);
}

void ShortcutPortal::move(const char* motion, const QString& otherSession,
                          const QString& otherName) {
    const QString name = bound.empty() ? QString() : bound.back().name;
    QDBusMessage moved = signalFor(root, shortcutsInterface, motion);
    moved << QVariant::fromValue(QDBusObjectPath(otherSession.isEmpty() ? session : otherSession))
          << (otherName.isEmpty() ? name : otherName) << qulonglong{1} << QVariantMap();
    bus_.send(moved);
}

void ShortcutPortal::changeKeys(const QString& now) {
    QDBusMessage change = signalFor(root, shortcutsInterface, "ShortcutsChanged");
    change << QVariant::fromValue(QDBusObjectPath(session))
           << shortcutList(bound.back().name, {{"trigger_description", now}});
    bus_.send(change);
}

void ShortcutPortal::closeSession() {
    QDBusMessage closing = signalFor(session, "org.freedesktop.portal.Session", "Closed");
    closing << QVariantMap();
    bus_.send(closing);
}

} // namespace morvel::test
