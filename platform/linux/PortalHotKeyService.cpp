#include "platform/linux/PortalHotKeyService.h"

#include "platform/linux/HotKeyLayout.h"
#include "platform/linux/PortalShortcut.h"

#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QUuid>
#include <array>
#include <limits>
#include <utility>

namespace morvel {

namespace {

using Way = HotKeyDelivery::Way;

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString object = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");
const QString sessionInterface = QStringLiteral("org.freedesktop.portal.Session");
const QString registryInterface = QStringLiteral("org.freedesktop.host.portal.Registry");

// A portal that is slow to start, or whose user takes time, is not worse than one that is quick.
constexpr int noLimit = std::numeric_limits<int>::max();

// Of a response.
constexpr uint granted = 0;
constexpr uint cancelledByUser = 1;

// Between two repeats of a key that is held, in seconds: more than the longest delay of the first.
constexpr double longestRepeat = 1;

// The keys as portals write them; nothing for an unknown key.
std::optional<QString> keysText(std::uint32_t keyCode, std::uint32_t modifiers) {
    const auto symbol = hotKeySymbol(keyCode);
    std::array<char, 64> name{};
    if (!symbol || xkb_keysym_get_name(*symbol, name.data(), name.size()) <= 0)
        return std::nullopt;
    QString text;
    for (const auto& [bit, modifier] :
         {std::pair(controlModifier, "CTRL+"), std::pair(optionModifier, "ALT+"),
          std::pair(shiftModifier, "SHIFT+"), std::pair(commandModifier, "LOGO+")})
        if ((modifiers & bit) != 0)
            text += QLatin1String(modifier);
    return text + QLatin1String(name.data());
}

// A word that no other program can guess.
QString newToken() {
    return QStringLiteral("morvel_") + QUuid::createUuid().toString(QUuid::Id128);
}

QString pathIn(const QVariant& value) {
    return value.canConvert<QDBusObjectPath>() ? value.value<QDBusObjectPath>().path()
                                               : value.toString();
}

} // namespace

PortalHotKeyService::PortalHotKeyService(QDBusConnection bus, Scheduler& scheduler, Setup setup)
    : bus_(std::move(bus))
    , scheduler_(scheduler)
    , setup_(std::move(setup)) {
    registerPortalShortcutTypes();
}

PortalHotKeyService::~PortalHotKeyService() {
    closeSession();
    QDBusConnection::disconnectFromBus(bus_.name());
}

HotKeyStatus PortalHotKeyService::installHandler(Handler handler) {
    if (!bus_.isConnected())
        return eventInternalErr;
    handler_ = std::move(handler);
    return hotKeyNoErr;
}

Result<HotKeyReference, HotKeyStatus>
PortalHotKeyService::registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers,
                                    HotKeyIdentifier identifier) {
    if (!bus_.isConnected())
        return eventInternalErr;
    if (registration_)
        return eventHotKeyExistsErr;
    const auto wish = keysText(keyCode, modifiers);
    if (!wish)
        return eventHotKeyInvalidErr;
    if (!watcher_) {
        watcher_ = std::make_unique<QDBusServiceWatcher>(service, bus_,
                                                         QDBusServiceWatcher::WatchForOwnerChange);
        connect(watcher_.get(), &QDBusServiceWatcher::serviceOwnerChanged, this,
                [this](const QString&, const QString& before, const QString& now) {
                    ownerChanged(before, now);
                });
    }
    registration_ = {HotKeyReference{nextNumber_++}, identifier, *wish};
    declined_ = false;
    ask();
    return registration_->reference;
}

void PortalHotKeyService::unregisterHotKey(HotKeyReference reference) {
    if (!registration_ || registration_->reference != reference)
        return;
    registration_.reset();
    reopening_.reset();
    closeSession();
    become({Way::none, {}});
}

void PortalHotKeyService::setDeliveryHandler(const std::function<void()>& changed) {
    changed_ = changed;
}

// Begins with our name: whatever answers, if only that it knows no such question, is the portal.
void PortalHotKeyService::ask() {
    closeSession();
    QDBusMessage call = QDBusMessage::createMethodCall(service, object, registryInterface,
                                                       QStringLiteral("Register"));
    call << setup_.applicationIdentifier << QVariantMap();
    send(call, [this](const QDBusMessage& introduced) { createSession(introduced); });
    become({Way::asking, {}});
}

void PortalHotKeyService::createSession(const QDBusMessage& introduced) {
    if (!introduced.service().startsWith(QLatin1Char(':'))) {
        refuse();
        return;
    }
    speakWith(introduced.service());
    const QString token = newToken();
    const QString sessionToken = newToken();
    session_ = pathOf(QStringLiteral("session"), sessionToken);
    QDBusMessage call = portalCall(shortcutsInterface, QStringLiteral("CreateSession"));
    call << QVariantMap{{QStringLiteral("handle_token"), token},
                        {QStringLiteral("session_handle_token"), sessionToken}};
    request(Step::creatingSession, call, token);
}

// The response may come before the answer to the call, so it is awaited from before the call.
void PortalHotKeyService::request(Step step, const QDBusMessage& call, const QString& token) {
    const auto expect = [this](const QString& path) {
        request_ = path;
        follow(true, path, requestInterface, QStringLiteral("Response"),
               SLOT(responded(QDBusMessage)));
    };
    step_ = step;
    expect(pathOf(QStringLiteral("request"), token));
    send(call, [this, step, expect](const QDBusMessage& answer) {
        if (step_ != step)
            return;
        if (answer.type() != QDBusMessage::ReplyMessage) {
            refuse();
            return;
        }
        // Elsewhere than asked for.
        const QString path = pathIn(answer.arguments().value(0));
        if (path.startsWith(QLatin1Char('/')) && path != request_) {
            follow(false, request_, requestInterface, QStringLiteral("Response"),
                   SLOT(responded(QDBusMessage)));
            expect(path);
        }
    });
}

void PortalHotKeyService::responded(const QDBusMessage& response) {
    if (!isFromPortal(response) || response.path() != request_)
        return;
    follow(false, request_, requestInterface, QStringLiteral("Response"),
           SLOT(responded(QDBusMessage)));
    request_.clear();
    const Step step = std::exchange(step_, Step::none);
    if (response.signature() != QLatin1String("ua{sv}")) {
        refuse();
        return;
    }
    const uint code = response.arguments().at(0).toUInt();
    if (code != granted) {
        declined_ = code == cancelledByUser;
        refuse();
        return;
    }
    const auto results = qdbus_cast<QVariantMap>(response.arguments().at(1));
    if (step == Step::creatingSession)
        bind(results);
    else
        bound(results);
}

void PortalHotKeyService::bind(const QVariantMap& results) {
    const QString session = pathIn(results.value(QStringLiteral("session_handle")));
    if (!session.startsWith(QLatin1Char('/'))) {
        refuse();
        return;
    }
    session_ = session;
    follow(true, session_, sessionInterface, QStringLiteral("Closed"),
           SLOT(sessionClosed(QDBusMessage)));
    const QString token = newToken();
    const PortalShortcuts shortcuts = {
        {setup_.shortcut,
         {{QStringLiteral("description"), setup_.description},
          {QStringLiteral("preferred_trigger"), registration_->wish}}}};
    QDBusMessage call = portalCall(shortcutsInterface, QStringLiteral("BindShortcuts"));
    call << QVariant::fromValue(QDBusObjectPath(session_)) << QVariant::fromValue(shortcuts)
         << QString() << QVariantMap{{QStringLiteral("handle_token"), token}};
    request(Step::binding, call, token);
    become({Way::deciding, {}});
}

// A list without ours is one from which the user has taken it.
void PortalHotKeyService::bound(const QVariantMap& results) {
    const QVariant list = results.value(QStringLiteral("shortcuts"));
    if (!list.isValid()) {
        become({Way::desktop, {}});
        return;
    }
    const auto keys = keysOf(setup_.shortcut, list);
    if (!keys) {
        declined_ = isShortcutList(list);
        refuse();
        return;
    }
    become({Way::desktop, keys->toStdString()});
}

void PortalHotKeyService::refuse() {
    closeSession();
    become({declined_ ? Way::declined : Way::none, {}});
}

// Closes what there is, at whatever step it is.
void PortalHotKeyService::closeSession() {
    ++attempt_;
    step_ = Step::none;
    held_.reset();
    if (const QString request = std::exchange(request_, {}); !request.isEmpty()) {
        follow(false, request, requestInterface, QStringLiteral("Response"),
               SLOT(responded(QDBusMessage)));
        close(request, requestInterface);
    }
    if (const QString session = std::exchange(session_, {}); !session.isEmpty()) {
        follow(false, session, sessionInterface, QStringLiteral("Closed"),
               SLOT(sessionClosed(QDBusMessage)));
        close(session, sessionInterface);
    }
}

bool PortalHotKeyService::isOurs(const QDBusMessage& motion) const {
    return isFromPortal(motion) && delivery_.way == Way::desktop && registration_ &&
           motion.signature().startsWith(QLatin1String("os")) &&
           pathIn(motion.arguments().at(0)) == session_ &&
           motion.arguments().at(1).toString() == setup_.shortcut;
}

// Some desktops tell of every repeat of a key that is held. A release that gets lost makes the
// shortcut deaf for a moment only.
void PortalHotKeyService::activated(const QDBusMessage& press) {
    if (!isOurs(press))
        return;
    const bool repeats = held_ != nullptr;
    held_ = scheduler_.after(longestRepeat, [this] { held_.reset(); });
    if (handler_ && !repeats) {
        const HotKeyIdentifier identifier = registration_->identifier;
        handler_(identifier); // may give the registration up
    }
}

void PortalHotKeyService::deactivated(const QDBusMessage& release) {
    if (isOurs(release))
        held_.reset();
}

void PortalHotKeyService::shortcutsChanged(const QDBusMessage& change) {
    if (!isFromPortal(change) || delivery_.way != Way::desktop ||
        !change.signature().startsWith(QLatin1Char('o')) || change.arguments().size() < 2 ||
        pathIn(change.arguments().at(0)) != session_)
        return;
    if (const auto keys = keysOf(setup_.shortcut, change.arguments().at(1)))
        become({Way::desktop, keys->toStdString()});
}

void PortalHotKeyService::sessionClosed(const QDBusMessage& closing) {
    if (!isFromPortal(closing) || session_.isEmpty() || closing.path() != session_)
        return;
    const bool worked = delivery_.way == Way::desktop;
    refuse();
    if (worked)
        reopening_ = scheduler_.after(setup_.reopeningPause, [this] { ask(); });
}

// The question itself may have started the portal that now appears.
void PortalHotKeyService::ownerChanged(const QString& before, const QString& now) {
    if (!registration_ || (!now.isEmpty() && now == portal_))
        return;
    if (!before.isEmpty()) {
        reopening_.reset();
        refuse();
        speakWith({});
    }
    if (!now.isEmpty() && delivery_.way == Way::none && !declined_) {
        reopening_.reset();
        ask();
    }
}

void PortalHotKeyService::speakWith(const QString& portal) {
    if (portal == portal_)
        return;
    for (const bool wanted : {false, true}) {
        if (wanted)
            portal_ = portal;
        if (portal_.isEmpty())
            continue;
        follow(wanted, object, shortcutsInterface, QStringLiteral("Activated"),
               SLOT(activated(QDBusMessage)));
        follow(wanted, object, shortcutsInterface, QStringLiteral("Deactivated"),
               SLOT(deactivated(QDBusMessage)));
        follow(wanted, object, shortcutsInterface, QStringLiteral("ShortcutsChanged"),
               SLOT(shortcutsChanged(QDBusMessage)));
    }
}

void PortalHotKeyService::become(HotKeyDelivery delivery) {
    if (std::exchange(delivery_, std::move(delivery)) != delivery_ && changed_)
        changed_();
}

void PortalHotKeyService::send(const QDBusMessage& call, const Answered& answered) {
    auto* const watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call, noLimit), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, watcher, answered, attempt = attempt_] {
                watcher->deleteLater();
                if (attempt == attempt_)
                    answered(watcher->reply());
            });
}

QDBusMessage PortalHotKeyService::portalCall(const QString& interface,
                                             const QString& method) const {
    return QDBusMessage::createMethodCall(portal_, object, interface, method);
}

void PortalHotKeyService::close(const QString& path, const QString& interface) {
    bus_.send(QDBusMessage::createMethodCall(portal_, path, interface, QStringLiteral("Close")));
}

bool PortalHotKeyService::isFromPortal(const QDBusMessage& message) const {
    return !portal_.isEmpty() && message.service() == portal_;
}

QString PortalHotKeyService::pathOf(const QString& kind, const QString& token) const {
    QString sender = bus_.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return object + QLatin1Char('/') + kind + QLatin1Char('/') + sender + QLatin1Char('/') + token;
}

void PortalHotKeyService::follow(bool wanted, const QString& path, const QString& interface,
                                 const QString& signal, const char* slot) {
    if (wanted)
        bus_.connect(portal_, path, interface, signal, this, slot);
    else
        bus_.disconnect(portal_, path, interface, signal, this, slot);
}

} // namespace morvel
