#include "platform/linux/LinuxTrayWatch.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <cstdlib>
#include <utility>

namespace morvel {

namespace {

const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");
constexpr int busPatienceMs = 1000;

template <typename Reply>
struct FreeReply {
    void operator()(Reply* reply) const { std::free(reply); }
};

QDBusMessage hostQuestion() {
    QDBusMessage question = QDBusMessage::createMethodCall(
        watcherService, watcherPath, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    question << watcherService << QStringLiteral("IsStatusNotifierHostRegistered");
    question.setAutoStartService(false);
    return question;
}

bool answersYes(const QDBusMessage& answer) {
    return answer.type() == QDBusMessage::ReplyMessage && !answer.arguments().isEmpty() &&
           answer.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

} // namespace

LinuxTrayWatch::LinuxTrayWatch(X11Connection* connection, const QDBusConnection& bus)
    : connection_(connection)
    , bus_(bus)
    , asked_(!bus.isConnected()) {
    if (bus_.isConnected()) {
        auto* service = new QDBusServiceWatcher(watcherService, bus_,
                                                QDBusServiceWatcher::WatchForOwnerChange, this);
        connect(service, &QDBusServiceWatcher::serviceRegistered, this, [this] { askForHost(); });
        connect(service, &QDBusServiceWatcher::serviceUnregistered, this,
                [this] { setHost(false); });
        for (const char* name : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"})
            bus_.connect(watcherService, watcherPath, watcherService, QLatin1String(name), this,
                         SLOT(askForHost()));
        askForHost();
    }
    if (connection_ != nullptr && connection_->alive())
        watchSelection();
    told_ = kind();
}

LinuxTrayWatch::~LinuxTrayWatch() = default;

TrayKind LinuxTrayWatch::kind() const {
    if (!asked_)
        return TrayKind::none;
    if (host_)
        return TrayKind::statusNotifier;
    return owner_ != XCB_NONE ? TrayKind::embedding : TrayKind::none;
}

void LinuxTrayWatch::askForHost() {
    auto* answer = new QDBusPendingCallWatcher(bus_.asyncCall(hostQuestion(), busPatienceMs), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this,
            [this](QDBusPendingCallWatcher* finished) {
                finished->deleteLater();
                asked_ = true;
                setHost(answersYes(finished->reply()));
            });
}

void LinuxTrayWatch::setHost(bool present) {
    host_ = present;
    tell();
}

void LinuxTrayWatch::tell() {
    if (std::exchange(told_, kind()) != kind() && changed_)
        changed_();
}

void LinuxTrayWatch::watchSelection() {
    selection_ = atom("_NET_SYSTEM_TRAY_S" + std::to_string(connection_->screen()));
    managerMessage_ = atom("MANAGER");
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_->handle(), connection_->root(), XCB_CW_EVENT_MASK,
                                 &events);
    observation_ = connection_->observe([this](const auto& event) { handle(event); });
    findOwner();
}

void LinuxTrayWatch::findOwner() {
    xcb_connection_t* server = connection_->handle();
    const std::unique_ptr<xcb_get_selection_owner_reply_t,
                          FreeReply<xcb_get_selection_owner_reply_t>>
        owner(xcb_get_selection_owner_reply(server, xcb_get_selection_owner(server, selection_),
                                            nullptr));
    const xcb_window_t before = std::exchange(owner_, owner ? owner->owner : XCB_NONE);
    if (owner_ != XCB_NONE && owner_ != before) {
        const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(server, owner_, XCB_CW_EVENT_MASK, &events);
        xcb_flush(server);
    }
    connection_->dispatchLater();
    tell();
}

// A new tray tells every client so; one that goes takes its window with it.
void LinuxTrayWatch::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (type == XCB_CLIENT_MESSAGE) {
        const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(event);
        if (message.type == managerMessage_ && message.data.data32[1] == selection_)
            findOwner();
    } else if (type == XCB_DESTROY_NOTIFY &&
               reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window == owner_) {
        findOwner();
    }
}

xcb_atom_t LinuxTrayWatch::atom(const std::string& name) const {
    const std::unique_ptr<xcb_intern_atom_reply_t, FreeReply<xcb_intern_atom_reply_t>> reply(
        xcb_intern_atom_reply(connection_->handle(),
                              xcb_intern_atom(connection_->handle(), 0,
                                              static_cast<std::uint16_t>(name.size()),
                                              name.c_str()),
                              nullptr));
    return reply ? reply->atom : XCB_NONE;
}

} // namespace morvel
