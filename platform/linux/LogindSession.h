// The login session as logind tells of it, on the system bus.
//
// It is the one that XDG_SESSION_ID names, else the one this process runs in, else the one in which
// its user has a display: desktops also start programs outside of their session. One of them that
// is over, or opened from another machine, is only taken where the others are no better: a terminal
// that outlives its session keeps the name of that. XDG_SEAT names the seat, and where it says
// nothing logind does.
//
// Where no logind answers, and where it knows of no session, nothing speaks against this one: it is
// active, and at "seat0" unless XDG_SEAT says otherwise. What a machine without logind lets this
// user read, it lets them read at all times.
//
// Main thread. Creating it waits for the answers, at most some tenths of a second for all of them;
// from then on signals tell of changes, also across a restart of logind. When the session is
// removed it is looked for anew.
#pragma once

#include "platform/Environment.h"
#include "platform/LoginSession.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDeadlineTimer>
#include <QObject>
#include <QString>
#include <QVariantMap>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace morvel {

class LogindSession : public QObject, public LoginSession {
    Q_OBJECT

public:
    LogindSession(QDBusConnection system, const Environment& environment);
    ~LogindSession() override;

    bool isActive() const override { return active_; }
    std::string seat() const override { return seat_; }
    void setChangeHandler(std::function<void()> changed) override;

private slots:
    void propertiesChanged(const QString& interface, const QVariantMap& values);
    // As it was received: Qt may not know the path's type by name yet, and then connects nothing.
    void sessionRemoved(const QDBusMessage& news);

private:
    using Answered = std::function<void(const QDBusMessage& answer)>;

    void ask(const QDBusMessage& question, Answered answered);
    void find(std::size_t way);
    void found(const QString& object, std::size_t way);
    void read(const QString& object, std::function<void(const QVariantMap&)> values,
              std::function<void()> failed);
    void follow(const QString& object);
    void take(const QVariantMap& values);
    void takeNone();
    void take(bool active, const std::string& seat);
    std::string seatWithoutLogind() const;

    QDBusConnection system_;
    std::vector<QDBusMessage> ways_; // of finding the session, the best first
    QDBusServiceWatcher logind_;
    QString object_;           // the session's, once found
    QString secondBest_;       // one that is over or has no seat; empty: none yet
    std::size_t refusals_ = 0; // ways of this search that lead to no session
    int search_ = 0;           // the newest
    QDeadlineTimer patience_;
    bool waiting_ = true; // for each answer
    bool active_ = true;
    const std::string namedSeat_; // by the environment
    std::string seat_;
    std::function<void()> changed_;
};

} // namespace morvel
