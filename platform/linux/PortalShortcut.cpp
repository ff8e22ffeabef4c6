#include "platform/linux/PortalShortcut.h"

#include <QDBusMetaType>
#include <algorithm>

namespace morvel {

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut) {
    argument.beginStructure();
    argument << shortcut.name << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut) {
    argument.beginStructure();
    argument >> shortcut.name >> shortcut.properties;
    argument.endStructure();
    return argument;
}

void registerPortalShortcutTypes() {
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<PortalShortcuts>();
}

bool isShortcutList(const QVariant& list) {
    return list.canConvert<QDBusArgument>() &&
           list.value<QDBusArgument>().currentSignature() == QLatin1String("a(sa{sv})");
}

std::optional<QString> keysOf(const QString& name, const QVariant& list) {
    if (!isShortcutList(list))
        return std::nullopt;
    const auto argument = list.value<QDBusArgument>();
    PortalShortcuts shortcuts;
    argument >> shortcuts;
    const auto found = std::find_if(shortcuts.begin(), shortcuts.end(),
                                    [&name](const auto& each) { return each.name == name; });
    if (found == shortcuts.end())
        return std::nullopt;
    return found->properties.value(QStringLiteral("trigger_description")).toString().simplified();
}

} // namespace morvel
