// A system-wide shortcut through the desktop portal's global shortcuts: the desktop asks its user,
// listens, and tells of presses. It decides on the keys; ours are a wish.
//
// Nothing waits: a registration is under way when registerHotKey() returns, and delivery() tells
// what came of it. The portal is asked again when it comes back, unless the user has declined, and
// some seconds after it has closed a session that worked; whether its user is asked again is its
// own affair. What does not come from the portal itself, or is about another session or shortcut,
// is ignored.
//
// Desktops remember a shortcut by the application and a name. An application that is not sandboxed
// is known to newer portals by its own word, given before anything else comes through the same
// connection; older ones find out by themselves, or refuse.
#pragma once

#include "platform/HotKeyService.h"
#include "platform/Scheduler.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QVariant>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

class QDBusServiceWatcher;

namespace morvel {

class PortalHotKeyService final : public QObject, public HotKeyService {
    Q_OBJECT

public:
    struct Setup {
        QString applicationIdentifier; // of the desktop entry
        QString shortcut;              // what the desktop remembers it by
        QString description;           // what it does, as its user reads it
        double reopeningPause = 10;    // seconds from a closed session to the next
    };

    // Takes over the connection, which nobody else may use and which may be none at all.
    // `scheduler` must outlive the service. Main thread, all of it.
    PortalHotKeyService(QDBusConnection bus, Scheduler& scheduler, Setup setup);
    ~PortalHotKeyService() override;

    // Answers eventInternalErr without a bus.
    HotKeyStatus installHandler(Handler handler) override;
    // One at a time: eventHotKeyExistsErr while there is another. eventInternalErr without a bus,
    // eventHotKeyInvalidErr for a key that is not known.
    Result<HotKeyReference, HotKeyStatus> registerHotKey(std::uint32_t keyCode,
                                                         std::uint32_t modifiers,
                                                         HotKeyIdentifier identifier) override;
    void unregisterHotKey(HotKeyReference reference) override;

    // Way::asking; from when the portal puts it before its user Way::deciding; Way::desktop,
    // Way::declined until it is registered again or, where the portal is not there or cannot grant
    // it, Way::none.
    HotKeyDelivery delivery() const override { return delivery_; }
    void setDeliveryHandler(const std::function<void()>& changed) override;

private slots:
    void responded(const QDBusMessage& response);
    void activated(const QDBusMessage& press);
    void deactivated(const QDBusMessage& release);
    void shortcutsChanged(const QDBusMessage& change);
    void sessionClosed(const QDBusMessage& closing);

private:
    struct Registration {
        HotKeyReference reference;
        HotKeyIdentifier identifier;
        QString wish; // the keys, as portals write them
    };
    enum class Step : std::uint8_t { none, creatingSession, binding };
    using Answered = std::function<void(const QDBusMessage&)>;

    void ask();
    void createSession(const QDBusMessage& introduced);
    void request(Step step, const QDBusMessage& call, const QString& token);
    void bind(const QVariantMap& results);
    void bound(const QVariantMap& results);
    void refuse();
    void closeSession();
    void speakWith(const QString& portal);
    void ownerChanged(const QString& before, const QString& now);
    void become(HotKeyDelivery delivery);

    void send(const QDBusMessage& call, const Answered& answered);
    QDBusMessage portalCall(const QString& interface, const QString& method) const;
    void close(const QString& path, const QString& interface);
    bool isFromPortal(const QDBusMessage& message) const;
    bool isOurs(const QDBusMessage& motion) const;
    QString pathOf(const QString& kind, const QString& token) const;
    void follow(bool wanted, const QString& path, const QString& interface, const QString& signal,
                const char* slot);

    QDBusConnection bus_;
    Scheduler& scheduler_;
    const Setup setup_;
    Handler handler_;
    std::function<void()> changed_;
    std::unique_ptr<QDBusServiceWatcher> watcher_;
    std::optional<Registration> registration_;
    std::uint32_t nextNumber_ = 1;
    std::uint32_t attempt_ = 0; // answers to an earlier one are nobody's any more
    HotKeyDelivery delivery_{HotKeyDelivery::Way::none, {}};
    bool declined_ = false; // by the user
    QString portal_;        // its unique name; empty while unknown
    QString session_;       // from when it is asked for
    QString request_;       // that a response is awaited to
    Step step_ = Step::none;
    std::unique_ptr<Timer> reopening_;
    std::unique_ptr<Timer> held_; // while the shortcut is, as far as is known
};

} // namespace morvel
