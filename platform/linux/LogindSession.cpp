#include "platform/linux/LogindSession.h"

#include <unistd.h>

#include <QDBusArgument>
#include <QDBusError>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <utility>

namespace morvel {

namespace {

const QString service = QStringLiteral("org.freedesktop.login1");
const QString manager = QStringLiteral("org.freedesktop.login1.Manager");
const QString session = QStringLiteral("org.freedesktop.login1.Session");
const QString properties = QStringLiteral("org.freedesktop.DBus.Properties");

constexpr int longestWaitMs = 250; // for each answer

QDBusMessage question(const QString& object, const QString& interface, const char* method,
                      const QVariant& argument) {
    auto message =
        QDBusMessage::createMethodCall(service, object, interface, QString::fromLatin1(method));
    message.setAutoStartService(false);
    message << argument;
    return message;
}

QDBusMessage askManager(const char* method, const QVariant& argument) {
    return question(QStringLiteral("/org/freedesktop/login1"), manager, method, argument);
}

std::vector<QDBusMessage> waysToFind(const std::string& named) {
    std::vector<QDBusMessage> ways;
    if (!named.empty())
        ways.push_back(askManager("GetSession", QString::fromStdString(named)));
    ways.push_back(askManager("GetSessionByPID", static_cast<uint>(::getpid())));
    // Its name for the session of the caller's display.
    ways.push_back(askManager("GetSession", QStringLiteral("auto")));
    return ways;
}

// A seat is its name and its object's path.
std::string seatName(const QVariant& value) {
    const auto seat = value.value<QDBusArgument>();
    if (seat.currentSignature() != QLatin1String("(so)"))
        return {};
    QString name;
    seat.beginStructure();
    seat >> name;
    seat.endStructure();
    return name.toStdString();
}

} // namespace

LogindSession::LogindSession(QDBusConnection system, const Environment& environment)
    : system_(std::move(system))
    , ways_(waysToFind(environment("XDG_SESSION_ID").value_or("")))
    , logind_(service, system_, QDBusServiceWatcher::WatchForRegistration)
    , namedSeat_(environment("XDG_SEAT").value_or(""))
    , seat_(namedSeat_.empty() ? "seat0" : namedSeat_) {
    if (!system_.isConnected())
        return;
    connect(&logind_, &QDBusServiceWatcher::serviceRegistered, this, [this] { find(0); });
    find(0);
    waiting_ = false;
}

LogindSession::~LogindSession() = default;

void LogindSession::setChangeHandler(std::function<void()> changed) {
    changed_ = std::move(changed);
}

void LogindSession::ask(const QDBusMessage& question, Answered answered) {
    auto* const answer = new QDBusPendingCallWatcher(
        system_.asyncCall(question, waiting_ ? longestWaitMs : -1), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this,
            [this, answer, answered = std::move(answered)] {
                answer->deleteLater();
                if (waiting_ && answer->error().type() == QDBusError::NoReply) {
                    waiting_ = false;
                    find(0); // as long as it takes
                } else {
                    answered(answer->reply());
                }
            });
    if (waiting_)
        answer->waitForFinished();
}

void LogindSession::find(std::size_t way) {
    if (way == ways_.size())
        return;
    ask(ways_[way], [this, way](const QDBusMessage& answer) {
        if (answer.type() == QDBusMessage::ReplyMessage && answer.signature() == QLatin1String("o"))
            found(answer.arguments().first().value<QDBusObjectPath>().path());
        else
            find(way + 1);
    });
}

void LogindSession::found(const QString& object) {
    const QString signal = QStringLiteral("PropertiesChanged");
    if (object != object_) {
        system_.disconnect(service, object_, properties, signal, this,
                           SLOT(propertiesChanged(QString, QVariantMap)));
        object_ = object;
        system_.connect(service, object_, properties, signal, this,
                        SLOT(propertiesChanged(QString, QVariantMap)));
    }
    ask(question(object_, properties, "GetAll", session), [this](const QDBusMessage& answer) {
        if (answer.type() == QDBusMessage::ReplyMessage &&
            answer.signature() == QLatin1String("a{sv}"))
            take(qdbus_cast<QVariantMap>(answer.arguments().first()));
    });
}

void LogindSession::propertiesChanged(const QString& interface, const QVariantMap& values) {
    if (interface == session)
        take(values);
}

void LogindSession::take(const QVariantMap& values) {
    const bool active = values.value(QStringLiteral("Active"), active_).toBool();
    const auto told = values.find(QStringLiteral("Seat"));
    const std::string seat = told != values.end() && namedSeat_.empty() ? seatName(*told) : seat_;
    const bool changed = active != active_ || seat != seat_;
    active_ = active;
    seat_ = seat;
    if (changed && changed_)
        changed_();
}

} // namespace morvel
