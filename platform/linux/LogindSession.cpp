#include "platform/linux/LogindSession.h"

#include <unistd.h>

#include <QDBusArgument>
#include <QDBusError>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <algorithm>
#include <utility>

namespace morvel {

namespace {

const QString service = QStringLiteral("org.freedesktop.login1");
const QString managerObject = QStringLiteral("/org/freedesktop/login1");
const QString manager = QStringLiteral("org.freedesktop.login1.Manager");
const QString session = QStringLiteral("org.freedesktop.login1.Session");
const QString properties = QStringLiteral("org.freedesktop.DBus.Properties");

constexpr int longestWaitMs = 300; // for all answers together
// So begin its own errors; others are the bus's.
const QString refusal = QStringLiteral("org.freedesktop.login1.");

QDBusMessage question(const QString& object, const QString& interface, const char* method,
                      const QVariant& argument) {
    auto message =
        QDBusMessage::createMethodCall(service, object, interface, QString::fromLatin1(method));
    message.setAutoStartService(false);
    message << argument;
    return message;
}

QDBusMessage askManager(const char* method, const QVariant& argument) {
    return question(managerObject, manager, method, argument);
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

std::string seatIn(const QVariantMap& values) {
    const auto seat = values.find(QStringLiteral("Seat"));
    return seat == values.end() ? std::string() : seatName(*seat);
}

// Not one that is over but for programs that were left in it, nor one from another machine.
bool isAtTheMachine(const QVariantMap& values) {
    return values.value(QStringLiteral("State")).toString() != QLatin1String("closing") &&
           !seatIn(values).empty();
}

} // namespace

LogindSession::LogindSession(QDBusConnection system, const Environment& environment)
    : system_(std::move(system))
    , ways_(waysToFind(environment("XDG_SESSION_ID").value_or("")))
    , logind_(service, system_, QDBusServiceWatcher::WatchForRegistration)
    , patience_(longestWaitMs)
    , namedSeat_(environment("XDG_SEAT").value_or(""))
    , seat_(seatWithoutLogind()) {
    if (!system_.isConnected())
        return;
    system_.connect(service, managerObject, manager, QStringLiteral("SessionRemoved"), this,
                    SLOT(sessionRemoved(QDBusMessage)));
    connect(&logind_, &QDBusServiceWatcher::serviceRegistered, this, [this] { find(0); });
    find(0);
    waiting_ = false;
}

LogindSession::~LogindSession() = default;

void LogindSession::setChangeHandler(std::function<void()> changed) {
    changed_ = std::move(changed);
}

std::string LogindSession::seatWithoutLogind() const {
    return namedSeat_.empty() ? "seat0" : namedSeat_;
}

void LogindSession::ask(const QDBusMessage& question, Answered answered) {
    waiting_ = waiting_ && !patience_.hasExpired();
    const int limit = waiting_ ? std::max(static_cast<int>(patience_.remainingTime()), 1) : -1;
    auto* const answer = new QDBusPendingCallWatcher(system_.asyncCall(question, limit), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this,
            [this, answer, search = search_, answered = std::move(answered)] {
                answer->deleteLater();
                if (search != search_)
                    return; // there is a newer one
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
    if (way == 0) {
        ++search_;
        secondBest_.clear();
        refusals_ = 0;
    }
    if (way == ways_.size()) {
        if (!secondBest_.isEmpty())
            read(
                secondBest_, [this](const QVariantMap& values) { take(values); }, [] {});
        else if (refusals_ == ways_.size())
            takeNone();
        return;
    }
    ask(ways_[way], [this, way](const QDBusMessage& answer) {
        if (answer.type() == QDBusMessage::ReplyMessage &&
            answer.signature() == QLatin1String("o")) {
            found(answer.arguments().first().value<QDBusObjectPath>().path(), way);
            return;
        }
        refusals_ += answer.errorName().startsWith(refusal) ? 1U : 0U;
        find(way + 1);
    });
}

void LogindSession::found(const QString& object, std::size_t way) {
    const auto next = [this, way] { find(way + 1); };
    read(
        object,
        [this, object, next](const QVariantMap& values) {
            if (isAtTheMachine(values)) {
                take(values);
                return;
            }
            if (secondBest_.isEmpty())
                secondBest_ = object;
            next();
        },
        next);
}

// Follows the object's changes from then on.
void LogindSession::read(const QString& object, std::function<void(const QVariantMap&)> values,
                         std::function<void()> failed) {
    follow(object);
    ask(question(object, properties, "GetAll", session),
        [values = std::move(values), failed = std::move(failed)](const QDBusMessage& answer) {
            if (answer.type() == QDBusMessage::ReplyMessage &&
                answer.signature() == QLatin1String("a{sv}"))
                values(qdbus_cast<QVariantMap>(answer.arguments().first()));
            else
                failed();
        });
}

void LogindSession::follow(const QString& object) {
    if (object == object_)
        return;
    const QString signal = QStringLiteral("PropertiesChanged");
    if (!object_.isEmpty())
        system_.disconnect(service, object_, properties, signal, this,
                           SLOT(propertiesChanged(QString, QVariantMap)));
    object_ = object;
    if (!object_.isEmpty())
        system_.connect(service, object_, properties, signal, this,
                        SLOT(propertiesChanged(QString, QVariantMap)));
}

void LogindSession::sessionRemoved(const QDBusMessage& news) {
    if (news.signature() == QLatin1String("so") &&
        news.arguments().at(1).value<QDBusObjectPath>().path() == object_)
        find(0);
}

void LogindSession::propertiesChanged(const QString& interface, const QVariantMap& values) {
    if (interface == session)
        take(values);
}

void LogindSession::take(const QVariantMap& values) {
    const bool tellsSeat = values.contains(QStringLiteral("Seat")) && namedSeat_.empty();
    take(values.value(QStringLiteral("Active"), active_).toBool(),
         tellsSeat ? seatIn(values) : seat_);
}

void LogindSession::takeNone() {
    follow({});
    take(true, seatWithoutLogind());
}

void LogindSession::take(bool active, const std::string& seat) {
    const bool changed = active != active_ || seat != seat_;
    active_ = active;
    seat_ = seat;
    if (changed && changed_)
        changed_();
}

} // namespace morvel
