// A shortcut as the desktop portal writes it on the bus. Pure.
#pragma once

#include <QDBusArgument>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariant>
#include <optional>

namespace morvel {

struct PortalShortcut {
    QString name;
    QVariantMap properties;
};
using PortalShortcuts = QList<PortalShortcut>;

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut);
const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut);

// Before the first of them is sent.
void registerPortalShortcutTypes();

// Whether what was received is a list of shortcuts, an empty one too.
bool isShortcutList(const QVariant& list);

// The desktop's words for the keys of the shortcut with this name, in one line, from a list as it
// was received; empty where it has none. Nothing where the shortcut is not in the list, or it is no
// such list.
std::optional<QString> keysOf(const QString& name, const QVariant& list);

} // namespace morvel

Q_DECLARE_METATYPE(morvel::PortalShortcut)
