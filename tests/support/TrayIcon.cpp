#include "tests/support/TrayIcon.h"

#include "tests/support/MainLoop.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QEventLoop>

namespace morvel::test {

namespace {

constexpr const char* watcherName = "org.kde.StatusNotifierWatcher";
constexpr const char* watcherPath = "/StatusNotifierWatcher";
constexpr const char* itemInterface = "org.kde.StatusNotifierItem";
constexpr const char* menuInterface = "com.canonical.dbusmenu";
constexpr const char* properties = "org.freedesktop.DBus.Properties";
constexpr int smallestIcon = 8;

QVariant busProperty(const QDBusConnection& bus, const QString& service, const QString& path,
                     const QString& interface, const QString& name) {
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, properties, "Get");
    call << interface << name;
    const QDBusMessage reply = bus.call(call);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().first().value<QDBusVariant>().variant();
}

// "Control+Shift+M" out of a list of presses, each a list of keys.
std::string shortcutFrom(const QVariant& value) {
    QString text;
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentType() != QDBusArgument::ArrayType)
        return {};
    argument.beginArray();
    while (!argument.atEnd()) {
        QStringList keys;
        argument >> keys;
        text += (text.isEmpty() ? "" : " ") + keys.join('+');
    }
    argument.endArray();
    return text.toStdString();
}

MenuEntry entryFrom(const QDBusArgument& argument) {
    MenuEntry entry;
    QVariantMap values;
    argument.beginStructure();
    argument >> entry.id >> values;
    entry.label = values.value("label").toString().toStdString();
    entry.separator = values.value("type").toString() == "separator";
    entry.enabled = values.value("enabled", true).toBool();
    entry.visible = values.value("visible", true).toBool();
    entry.checkable = !values.value("toggle-type").toString().isEmpty();
    entry.checked = values.value("toggle-state").toInt() == 1;
    entry.shortcut = shortcutFrom(values.value("shortcut"));
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        entry.children.push_back(entryFrom(child.variant().value<QDBusArgument>()));
    }
    argument.endArray();
    argument.endStructure();
    return entry;
}

} // namespace

TrayIcon::TrayIcon(DesktopSession& session)
    : session_(session)
    , screenshot_(session.display()) {}

QRect TrayIcon::find(const QImage& panel) const {
    QRect bounds;
    for (int y = 0; y < panel.height(); ++y) {
        const QRgb empty = panel.pixel(panel.width() - 1, y);
        for (int x = 0; x < panel.width(); ++x)
            if (!alike(panel.pixel(x, y), empty))
                bounds |= QRect(x, y, 1, 1);
    }
    const bool isIcon = bounds.width() >= smallestIcon && bounds.height() >= smallestIcon &&
                        bounds.width() <= 2 * panel.height();
    return isIcon ? bounds : QRect();
}

QRect TrayIcon::await(std::chrono::milliseconds limit) {
    const QRect area = session_.panelArea();
    QRect icon;
    bool inTime = false;
    screenshot_.await(
        area,
        [&](const QImage& panel) {
            icon = find(panel);
            return !icon.isEmpty();
        },
        inTime, limit);
    return inTime ? icon.translated(area.topLeft()) : QRect();
}

bool TrayIcon::awaitNone(std::chrono::milliseconds limit) {
    bool inTime = false;
    screenshot_.await(
        session_.panelArea(), [&](const QImage& panel) { return find(panel).isEmpty(); }, inTime,
        limit);
    return inTime;
}

QImage TrayIcon::picture() {
    const QRect icon = await();
    return icon.isEmpty() ? QImage() : screenshot_.take(icon);
}

// An item registers as "service" or "service/path". The watcher's signals wake the loop.
std::optional<StatusNotifierItem> StatusNotifierItem::await(SessionBus& bus, pid_t program,
                                                            std::chrono::milliseconds limit) {
    QDBusConnection connection = bus.connection();
    QEventLoop woken;
    connection.connect(watcherName, watcherPath, watcherName, "StatusNotifierItemRegistered",
                       &woken, SLOT(quit()));
    std::optional<StatusNotifierItem> found;
    runUntil(
        [&] {
            const QStringList items = busProperty(connection, watcherName, watcherPath, watcherName,
                                                  "RegisteredStatusNotifierItems")
                                          .toStringList();
            for (const QString& item : items) {
                const auto slash = item.indexOf('/');
                const QString service = slash < 0 ? item : item.left(slash);
                const QString path = slash < 0 ? "/StatusNotifierItem" : item.mid(slash);
                if (bus.processOf(service) == program)
                    found = StatusNotifierItem(connection, service, path);
            }
            return found.has_value();
        },
        limit);
    return found;
}

QVariant StatusNotifierItem::property(const QString& name) const {
    return busProperty(connection_, service_, path_, itemInterface, name);
}

std::vector<MenuEntry> StatusNotifierItem::menu() const {
    QDBusMessage call = QDBusMessage::createMethodCall(
        service_, property("Menu").value<QDBusObjectPath>().path(), menuInterface, "GetLayout");
    call << 0 << -1 << QStringList();
    const QDBusMessage reply = connection_.call(call);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() < 2)
        return {};
    return entryFrom(reply.arguments().at(1).value<QDBusArgument>()).children;
}

void StatusNotifierItem::choose(const MenuEntry& entry) const {
    QDBusMessage call = QDBusMessage::createMethodCall(
        service_, property("Menu").value<QDBusObjectPath>().path(), menuInterface, "Event");
    call << entry.id << QString("clicked") << QVariant::fromValue(QDBusVariant(0)) << uint{0};
    connection_.call(call);
}

void StatusNotifierItem::contextMenu() const {
    QDBusMessage call =
        QDBusMessage::createMethodCall(service_, path_, itemInterface, "ContextMenu");
    call << 100 << 100;
    connection_.call(call);
}

} // namespace morvel::test
