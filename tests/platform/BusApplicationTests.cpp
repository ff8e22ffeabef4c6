// The application's name on a real bus.

#include "platform/linux/BusApplication.h"
#include "tests/support/BusServer.h"
#include "tests/support/MainLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <optional>
#include <string>
#include <vector>

namespace morvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* identifier = "org.example-two.Thing";

class BusApplicationTest : public testing::Test {
protected:
    ~BusApplicationTest() override {
        for (const char* name : {"application", "other", "desktop"})
            QDBusConnection::disconnectFromBus(name);
    }
    QDBusConnection client(const char* name) {
        return QDBusConnection::connectToBus(QString::fromStdString(bus_.address()), name);
    }
    BusApplication::Handler keep(std::vector<std::string>& actions) {
        return [&actions](const std::string& action) {
            actions.push_back(action);
            return action != "unknown";
        };
    }
    // The bus answers each of its clients in order.
    static QString ownerAsSeenBy(const char* name) {
        return QDBusConnection(name).interface()->serviceOwner(identifier).value();
    }
    // The error's name, empty where there is none.
    std::string call(const char* method, const QVariantList& arguments) {
        auto message = QDBusMessage::createMethodCall(identifier, "/org/example_two/Thing",
                                                      "org.freedesktop.Application", method);
        message.setArguments(arguments);
        QDBusPendingCallWatcher answer(desktop_.asyncCall(message));
        EXPECT_TRUE(test::runUntil([&answer] { return answer.isFinished(); }));
        return answer.isError() ? answer.error().name().toStdString() : std::string();
    }

    test::BusServer bus_;
    QDBusConnection desktop_ = client("desktop");
    std::vector<std::string> actions_;
};

TEST_F(BusApplicationTest, IsCalledByItsIdentifierAndByItsActions) {
    const BusApplication application(client("application"), identifier, keep(actions_));
    ASSERT_NE(ownerAsSeenBy("application"), "");
    EXPECT_EQ(call("Activate", {QVariantMap()}), "");
    EXPECT_EQ(call("ActivateAction", {"settings", QVariantList(), QVariantMap()}), "");
    EXPECT_EQ(call("Open", {QStringList{"file:///a"}, QVariantMap()}), "");
    EXPECT_THAT(actions_, ElementsAre("", "settings", ""));
}

TEST_F(BusApplicationTest, AnActionThatThereIsNotIsAnErrorForWhoAsks) {
    const BusApplication application(client("application"), identifier, keep(actions_));
    ASSERT_NE(ownerAsSeenBy("application"), "");
    EXPECT_EQ(call("ActivateAction", {"unknown", QVariantList(), QVariantMap()}),
              "org.freedesktop.DBus.Error.InvalidArgs");
}

TEST_F(BusApplicationTest, TheFirstOfTwoKeepsTheName) {
    std::vector<std::string> others;
    const BusApplication application(client("application"), identifier, keep(actions_));
    ASSERT_NE(ownerAsSeenBy("application"), "");
    const QString first = ownerAsSeenBy("application");
    const BusApplication other(client("other"), identifier, keep(others));
    EXPECT_EQ(ownerAsSeenBy("other"), first);
    EXPECT_EQ(call("Activate", {QVariantMap()}), "");
    EXPECT_THAT(actions_, ElementsAre(""));
    EXPECT_THAT(others, IsEmpty());
}

TEST_F(BusApplicationTest, WithoutABusThereIsNothing) {
    const BusApplication application(QDBusConnection("none"), identifier, keep(actions_));
    EXPECT_EQ(ownerAsSeenBy("desktop"), "");
}

} // namespace
} // namespace morvel
