#include "platform/linux/LocaledKeymap.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>
#include <utility>

namespace morvel {

namespace {

const QString service = QStringLiteral("org.freedesktop.locale1");
const QString object = QStringLiteral("/org/freedesktop/locale1");
const QString properties = QStringLiteral("org.freedesktop.DBus.Properties");

} // namespace

LocaledKeymap::LocaledKeymap(QDBusConnection system)
    : system_(std::move(system)) {
    if (!system_.isConnected())
        return;
    system_.connect(service, object, properties, QStringLiteral("PropertiesChanged"), this,
                    SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
    ask();
}

LocaledKeymap::~LocaledKeymap() = default;

void LocaledKeymap::setChangeHandler(std::function<void()> changed) {
    changed_ = std::move(changed);
}

void LocaledKeymap::ask() {
    auto question =
        QDBusMessage::createMethodCall(service, object, properties, QStringLiteral("GetAll"));
    question << service; // its interface has the same name
    auto* const answer = new QDBusPendingCallWatcher(system_.asyncCall(question), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        answer->deleteLater();
        const QDBusPendingReply<QVariantMap> reply = *answer;
        if (!reply.isError())
            take(reply.value());
    });
}

void LocaledKeymap::propertiesChanged(const QString& interface, const QVariantMap& values,
                                      const QStringList& withoutValues) {
    if (interface != service)
        return;
    take(values);
    if (!withoutValues.isEmpty())
        ask();
}

void LocaledKeymap::take(const QVariantMap& values) {
    const KeymapNames before = names_;
    const std::pair<const char*, std::string*> fields[] = {{"X11Model", &names_.model},
                                                           {"X11Layout", &names_.layout},
                                                           {"X11Variant", &names_.variant},
                                                           {"X11Options", &names_.options}};
    for (const auto& [name, field] : fields)
        if (const auto value = values.find(QString::fromLatin1(name)); value != values.end())
            *field = value->toString().toStdString();
    if (names_ != before && changed_)
        changed_();
}

} // namespace morvel
