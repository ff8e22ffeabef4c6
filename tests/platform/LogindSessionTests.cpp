// The login session over a real bus, with a logind that a test speaks for. It has a thread of its
// own, as the session waits for its answers.

#include "platform/linux/LogindSession.h"
#include "tests/support/BusServer.h"
#include "tests/support/MainLoop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <QDBusArgument>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QElapsedTimer>
#include <QMutex>
#include <QThread>
#include <map>
#include <memory>

struct Seat {
    QString name;
    QDBusObjectPath object{"/"};

    bool operator==(const Seat&) const = default;
};
Q_DECLARE_METATYPE(Seat)

inline QDBusArgument& operator<<(QDBusArgument& argument, const Seat& seat) {
    argument.beginStructure();
    argument << seat.name << seat.object;
    argument.endStructure();
    return argument;
}
inline const QDBusArgument& operator>>(const QDBusArgument& argument, Seat& seat) {
    argument.beginStructure();
    argument >> seat.name >> seat.object;
    argument.endStructure();
    return argument;
}

namespace morvel {
namespace {

const QString sessionObject = QStringLiteral("/org/freedesktop/login1/session/_37");
const QString otherObject = QStringLiteral("/org/freedesktop/login1/session/_38");

class Manager : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    std::map<QString, QDBusObjectPath> byName; // of a session, or "auto"
    std::map<uint, QDBusObjectPath> byProcess;
    bool silent = false;
    unsigned long delayMs = 0;

public slots:
    QDBusObjectPath GetSession(const QString& name) {
        if (silent) {
            setDelayedReply(true);
            return {};
        }
        return known(byName, name);
    }
    QDBusObjectPath GetSessionByPID(uint process) { return known(byProcess, process); }

private:
    template <typename Key>
    QDBusObjectPath known(const std::map<Key, QDBusObjectPath>& sessions, const Key& key) {
        QThread::msleep(delayMs);
        const auto found = sessions.find(key);
        if (found != sessions.end())
            return found->second;
        sendErrorReply("org.freedesktop.login1.NoSuchSession", "No such session");
        return QDBusObjectPath("/");
    }
};

class Session : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Session")
    Q_PROPERTY(bool Active MEMBER active)
    Q_PROPERTY(Seat Seat MEMBER seat)
    Q_PROPERTY(QString State MEMBER state)

public:
    bool active = true;
    QString state = "active";
    Seat seat{"seat0", QDBusObjectPath("/org/freedesktop/login1/seat/seat0")};
};

class LogindSessionTest : public testing::Test {
protected:
    LogindSessionTest() {
        qDBusRegisterMetaType<Seat>();
        manager_.moveToThread(&thread_);
        session_.moveToThread(&thread_);
        other_.moveToThread(&thread_);
        thread_.start();
        manager_.byName["7"] = QDBusObjectPath(sessionObject);
    }
    ~LogindSessionTest() override {
        thread_.quit();
        thread_.wait();
        for (const char* name : {"logind", "morvel"})
            QDBusConnection::disconnectFromBus(name);
    }

    void startLogind() {
        logind_.registerObject("/org/freedesktop/login1", &manager_,
                               QDBusConnection::ExportAllSlots);
        logind_.registerObject(sessionObject, &session_, QDBusConnection::ExportAllProperties);
        logind_.registerObject(otherObject, &other_, QDBusConnection::ExportAllProperties);
        ASSERT_TRUE(logind_.registerService("org.freedesktop.login1"));
    }
    void start(std::map<std::string, std::string> variables) {
        login = std::make_unique<LogindSession>(
            client("morvel"), [variables](const std::string& name) -> std::optional<std::string> {
                const auto found = variables.find(name);
                return found == variables.end() ? std::nullopt : std::optional(found->second);
            });
        login->setChangeHandler([this] { ++changes; });
    }
    QDBusConnection client(const char* name) {
        return QDBusConnection::connectToBus(QString::fromStdString(bus_.address()), name);
    }
    void makeActive(bool active) {
        QMetaObject::invokeMethod(
            &session_, [this, active] { session_.active = active; }, Qt::BlockingQueuedConnection);
        announce("org.freedesktop.login1.Session", {{"Active", active}});
    }
    void remove(const QString& name) {
        QMetaObject::invokeMethod(
            &manager_, [this, name] { manager_.byName.erase(name); }, Qt::BlockingQueuedConnection);
        auto news = QDBusMessage::createSignal("/org/freedesktop/login1",
                                               "org.freedesktop.login1.Manager", "SessionRemoved");
        news << name << QVariant::fromValue(QDBusObjectPath(sessionObject));
        ASSERT_TRUE(logind_.send(news));
    }
    void announce(const QString& interface, const QVariantMap& values,
                  const QString& object = sessionObject) {
        auto news = QDBusMessage::createSignal(object, "org.freedesktop.DBus.Properties",
                                               "PropertiesChanged");
        news << interface << values << QStringList();
        ASSERT_TRUE(logind_.send(news));
    }
    bool awaitActive(bool active) {
        return test::runUntil([this, active] { return login->isActive() == active; });
    }

    std::unique_ptr<LogindSession> login;
    int changes = 0;
    test::BusServer bus_;
    QThread thread_;
    Manager manager_;
    Session session_;
    Session other_;
    QDBusConnection logind_ = client("logind");
};

TEST_F(LogindSessionTest, FollowsTheSessionThatTheEnvironmentNames) {
    startLogind();
    start({{"XDG_SESSION_ID", "7"}, {"XDG_SEAT", "seat0"}});
    EXPECT_TRUE(login->isActive());
    EXPECT_EQ(login->seat(), "seat0");
    makeActive(false);
    EXPECT_TRUE(awaitActive(false));
    makeActive(true);
    EXPECT_TRUE(awaitActive(true));
    EXPECT_EQ(changes, 2);
}

TEST_F(LogindSessionTest, KnowsAtOnceThatItIsNotActive) {
    session_.active = false;
    startLogind();
    start({{"XDG_SESSION_ID", "7"}});
    EXPECT_FALSE(login->isActive());
    EXPECT_EQ(changes, 0);
}

TEST_F(LogindSessionTest, IsFoundByItsProcessWhereItHasNoName) {
    session_.active = false;
    manager_.byName.clear();
    manager_.byProcess[static_cast<uint>(getpid())] = QDBusObjectPath(sessionObject);
    startLogind();
    start({});
    EXPECT_FALSE(login->isActive());
    start({{"XDG_SESSION_ID", "gone"}});
    EXPECT_FALSE(login->isActive());
}

TEST_F(LogindSessionTest, IsThatOfTheUsersDisplayForAProgramThatWasStartedOutsideOfAny) {
    session_.active = false;
    manager_.byName = {{"auto", QDBusObjectPath(sessionObject)}};
    startLogind();
    start({});
    EXPECT_FALSE(login->isActive());
}

TEST_F(LogindSessionTest, HasTheSeatThatLogindTellsWhereTheEnvironmentDoesNot) {
    session_.seat.name = "seat1";
    startLogind();
    start({{"XDG_SESSION_ID", "7"}});
    EXPECT_EQ(login->seat(), "seat1");
    start({{"XDG_SESSION_ID", "7"}, {"XDG_SEAT", ""}});
    EXPECT_EQ(login->seat(), "seat1");
    start({{"XDG_SESSION_ID", "7"}, {"XDG_SEAT", "seat2"}});
    EXPECT_EQ(login->seat(), "seat2");
}

TEST_F(LogindSessionTest, OfARemoteUserHasNoSeat) {
    session_.seat = {};
    startLogind();
    start({{"XDG_SESSION_ID", "7"}});
    EXPECT_EQ(login->seat(), "");
}

// As in a terminal that outlives the session it was opened in.
TEST_F(LogindSessionTest, ThatIsOverIsLeftForOneThatIsNot) {
    session_.active = false;
    session_.state = "closing";
    manager_.byName["auto"] = QDBusObjectPath(otherObject);
    startLogind();
    start({{"XDG_SESSION_ID", "7"}});
    EXPECT_TRUE(login->isActive());
    announce("org.freedesktop.login1.Session", {{"Active", false}}, otherObject);
    EXPECT_TRUE(awaitActive(false));
    announce("org.freedesktop.login1.Session", {{"Active", true}}); // of the one that is over
    announce("org.freedesktop.login1.Session", {{"Active", false}}, otherObject);
    announce("org.freedesktop.login1.Session", {{"Active", true}}, otherObject);
    EXPECT_TRUE(awaitActive(true));
    EXPECT_EQ(changes, 2);
}

TEST_F(LogindSessionTest, WithoutASeatIsLeftForOneThatHasOne) {
    session_.seat = {};
    other_.seat.name = "seat1";
    manager_.byProcess[static_cast<uint>(getpid())] = QDBusObjectPath(sessionObject);
    manager_.byName["auto"] = QDBusObjectPath(otherObject);
    startLogind();
    start({{"XDG_SESSION_ID", "7"}});
    EXPECT_EQ(login->seat(), "seat1");
}

TEST_F(LogindSessionTest, ThatIsOverIsKeptWhereThereIsNoOther) {
    session_.active = false;
    session_.state = "closing";
    startLogind();
    start({{"XDG_SESSION_ID", "7"}});
    EXPECT_FALSE(login->isActive());
    makeActive(true);
    EXPECT_TRUE(awaitActive(true));
}

TEST_F(LogindSessionTest, ThatIsRemovedIsLookedForAnew) {
    other_.active = false;
    manager_.byName["auto"] = QDBusObjectPath(otherObject);
    startLogind();
    start({{"XDG_SESSION_ID", "7"}});
    ASSERT_TRUE(login->isActive());
    remove("7");
    EXPECT_TRUE(awaitActive(false));
    EXPECT_EQ(changes, 1);
}

TEST_F(LogindSessionTest, ThatIsRemovedAndTheLastLeavesItActive) {
    session_.active = false;
    session_.seat = {};
    startLogind();
    start({{"XDG_SESSION_ID", "7"}});
    ASSERT_FALSE(login->isActive());
    remove("7");
    EXPECT_TRUE(awaitActive(true));
    EXPECT_EQ(login->seat(), "seat0");
    EXPECT_EQ(changes, 1);
}

TEST_F(LogindSessionTest, IsActiveWhereLogindIsBackAndKnowsOfNone) {
    session_.active = false;
    startLogind();
    start({{"XDG_SESSION_ID", "7"}});
    ASSERT_FALSE(login->isActive());
    ASSERT_TRUE(logind_.unregisterService("org.freedesktop.login1"));
    QMetaObject::invokeMethod(
        &manager_, [this] { manager_.byName.clear(); }, Qt::BlockingQueuedConnection);
    ASSERT_TRUE(logind_.registerService("org.freedesktop.login1"));
    EXPECT_TRUE(awaitActive(true));
}

TEST_F(LogindSessionTest, IsActiveAtTheFirstSeatWhereLogindKnowsOfNone) {
    session_.active = false;
    manager_.byName.clear();
    startLogind();
    start({{"XDG_SESSION_ID", "7"}, {"XDG_SEAT", ""}});
    EXPECT_TRUE(login->isActive());
    EXPECT_EQ(login->seat(), "seat0");
}

TEST_F(LogindSessionTest, IsActiveWhereNoLogindAnswersUntilOneDoes) {
    start({{"XDG_SESSION_ID", "7"}});
    EXPECT_TRUE(login->isActive());
    EXPECT_EQ(login->seat(), "seat0");
    session_.active = false;
    startLogind();
    EXPECT_TRUE(awaitActive(false));
}

TEST_F(LogindSessionTest, IsActiveWhereThereIsNoSystemBus) {
    const QDBusConnection none =
        QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent"), "morvel");
    const LogindSession alone(none, [](const std::string&) { return std::nullopt; });
    EXPECT_TRUE(alone.isActive());
    EXPECT_EQ(alone.seat(), "seat0");
}

TEST_F(LogindSessionTest, AskedAnewAfterARestartOfLogind) {
    startLogind();
    start({{"XDG_SESSION_ID", "7"}});
    ASSERT_TRUE(logind_.unregisterService("org.freedesktop.login1"));
    QMetaObject::invokeMethod(
        &session_, [this] { session_.active = false; }, Qt::BlockingQueuedConnection);
    ASSERT_TRUE(logind_.registerService("org.freedesktop.login1"));
    EXPECT_TRUE(awaitActive(false));
    makeActive(true);
    EXPECT_TRUE(awaitActive(true));
}

TEST_F(LogindSessionTest, DoesNotWaitLongForALogindThatIsSilent) {
    manager_.silent = true;
    startLogind();
    QElapsedTimer since;
    since.start();
    start({{"XDG_SESSION_ID", "7"}});
    EXPECT_LT(since.elapsed(), 2000);
    EXPECT_TRUE(login->isActive());
}

TEST_F(LogindSessionTest, DoesNotWaitLongForALogindThatIsSlowWithEachAnswer) {
    session_.active = false;
    manager_.byName = {{"auto", QDBusObjectPath(sessionObject)}};
    manager_.delayMs = 240;
    startLogind();
    start({{"XDG_SESSION_ID", "gone"}});
    EXPECT_TRUE(login->isActive()) << "all three answers have been waited for";
    EXPECT_TRUE(awaitActive(false));
}

TEST_F(LogindSessionTest, TakesNoNoticeOfOtherNews) {
    startLogind();
    start({{"XDG_SESSION_ID", "7"}});
    announce("org.freedesktop.login1.Other", {{"Active", false}});
    announce("org.freedesktop.login1.Session", {{"LockedHint", true}});
    makeActive(false);
    EXPECT_TRUE(awaitActive(false));
    EXPECT_EQ(changes, 1);
}

} // namespace
} // namespace morvel

#include "LogindSessionTests.moc"
