// The shortcut through a portal on a bus of the test's own.

#include "app/hotkey/GlobalHotKey.h"
#include "platform/linux/PortalHotKeyService.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/support/BusServer.h"
#include "tests/support/MainLoop.h"
#include "tests/support/ShortcutPortal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <memory>
#include <vector>

namespace morvel {
namespace {

using Way = HotKeyDelivery::Way;

constexpr std::uint32_t muteKey = 46;
constexpr std::uint32_t muteModifiers = 6400;
constexpr HotKeyIdentifier mute{GlobalHotKeyRegistry::signature, 7};

class PortalHotKeyServiceTest : public testing::Test {
protected:
    PortalHotKeyServiceTest() { start(bus_.address()); }

    void start(const std::string& address) {
        service_ = std::make_unique<PortalHotKeyService>(
            QDBusConnection::connectToBus(QString::fromStdString(address), "shortcut"), time_,
            PortalHotKeyService::Setup{"app.x.Y", "mute", "Mute or unmute it"});
        service_->installHandler([this](const auto& identifier) {
            presses_.push_back(identifier.value());
            return hotKeyNoErr;
        });
        service_->setDeliveryHandler([this] { told_.push_back(service_->delivery().way); });
    }
    HotKeyReference claim() {
        const auto reference = service_->registerHotKey(muteKey, muteModifiers, mute);
        EXPECT_TRUE(reference);
        return reference.value();
    }
    bool becomes(Way way) {
        return test::runUntil([this, way] { return service_->delivery().way == way; });
    }
    void bound() {
        portal_.appear();
        claim();
        ASSERT_TRUE(becomes(Way::desktop));
    }
    // The presses that were heard before another word of the portal's, which comes after everything
    // that was sent before.
    std::size_t pressesSoFar() {
        const QString word = QString("word %1").arg(++words_);
        portal_.changeKeys(word);
        EXPECT_TRUE(
            test::runUntil([&] { return service_->delivery().keys == word.toStdString(); }));
        return presses_.size();
    }
    // Whatever was sent to the service by anybody has been heard: the portal's own answer to a
    // question of ours, in order. Without a portal, the bus's.
    void settle() {
        auto bus = QDBusConnection(QStringLiteral("shortcut"));
        for (int round = 0; round < 3; ++round) {
            bus.interface()->isServiceRegistered("org.freedesktop.portal.Desktop");
            QCoreApplication::processEvents();
        }
    }

    test::BusServer bus_;
    test::ShortcutPortal portal_{bus_.address()};
    VirtualTime time_;
    std::vector<HotKeyIdentifier> presses_;
    std::vector<Way> told_;
    int words_ = 0;
    std::unique_ptr<PortalHotKeyService> service_;
};

TEST_F(PortalHotKeyServiceTest, AGrantedShortcutDeliversEachPressOnceWithItsIdentifier) {
    bound();
    EXPECT_EQ(service_->delivery().keys, "Ctrl+Alt+Super+M");
    EXPECT_EQ(told_, (std::vector{Way::asking, Way::deciding, Way::desktop}));
    portal_.press();
    EXPECT_EQ(pressesSoFar(), 1u);
    portal_.press();
    EXPECT_EQ(pressesSoFar(), 2u);
    EXPECT_EQ(presses_, (std::vector{mute, mute}));
}

TEST_F(PortalHotKeyServiceTest, HoldingTheKeysIsOnePressHoweverOftenTheDesktopTellsOfIt) {
    bound();
    for (int repeat = 0; repeat < 10; ++repeat) {
        portal_.move("Activated");
        EXPECT_EQ(pressesSoFar(), 1u);
        time_.advance(0.6);
    }
    portal_.move("Deactivated");
    portal_.press();
    EXPECT_EQ(pressesSoFar(), 2u);
}

TEST_F(PortalHotKeyServiceTest, AReleaseThatIsNeverToldMakesItDeafForAMomentOnly) {
    bound();
    portal_.move("Activated");
    EXPECT_EQ(pressesSoFar(), 1u);
    time_.advance(1.1);
    portal_.move("Activated");
    EXPECT_EQ(pressesSoFar(), 2u);
}

TEST_F(PortalHotKeyServiceTest, TheReleaseOfAnotherShortcutIsNotOurs) {
    bound();
    portal_.move("Activated");
    portal_.move("Deactivated", {}, "another");
    portal_.move("Activated");
    EXPECT_EQ(pressesSoFar(), 1u);
}

TEST_F(PortalHotKeyServiceTest, ThePortalIsToldTheNameTheShortcutItsMeaningAndTheWishedKeysOnce) {
    bound();
    EXPECT_EQ(portal_.registered, QStringList{"app.x.Y"});
    EXPECT_EQ(portal_.calls, (QStringList{"Registry.Register", "GlobalShortcuts.CreateSession",
                                          "GlobalShortcuts.BindShortcuts"}));
    ASSERT_EQ(portal_.bound.size(), 1u);
    EXPECT_EQ(portal_.bound.front().name, "mute");
    EXPECT_EQ(portal_.bound.front().properties,
              (QVariantMap{{"description", "Mute or unmute it"},
                           {"preferred_trigger", "CTRL+ALT+LOGO+m"}}));
    EXPECT_EQ(portal_.bound.front().parentWindow, "");
}

TEST_F(PortalHotKeyServiceTest, RegisteringWaitsForNobody) {
    portal_.holdsResponses = true;
    portal_.appear();
    claim();
    EXPECT_EQ(service_->delivery().way, Way::asking);
    EXPECT_TRUE(portal_.calls.isEmpty());
}

TEST_F(PortalHotKeyServiceTest, AnOldPortalThatKnowsNoNamesIsAskedAllTheSame) {
    portal_.hasRegistry = false;
    bound();
    portal_.press();
    EXPECT_EQ(pressesSoFar(), 1u);
}

TEST_F(PortalHotKeyServiceTest, APortalWithRequestsAtPathsOfItsOwnIsUnderstood) {
    portal_.usesOwnPaths = true;
    portal_.holdsResponses = true;
    portal_.appear();
    claim();
    for (int request = 0; request < 2; ++request) {
        ASSERT_TRUE(test::runUntil([&] { return portal_.held() == 1; }));
        settle(); // the answer with the path
        portal_.respond();
    }
    EXPECT_TRUE(becomes(Way::desktop));
}

TEST_F(PortalHotKeyServiceTest, APortalThatListsNothingHasGrantedKeysThatAreNotKnown) {
    portal_.listsShortcuts = false;
    bound();
    EXPECT_EQ(service_->delivery().keys, "");
}

TEST_F(PortalHotKeyServiceTest, AnAnswerMayTakeAnyTime) {
    portal_.holdsResponses = true;
    portal_.appear();
    claim();
    ASSERT_TRUE(test::runUntil([&] { return portal_.held() == 1; }));
    time_.advance(3600);
    EXPECT_EQ(service_->delivery().way, Way::asking);
    portal_.respond();
    ASSERT_TRUE(test::runUntil([&] { return portal_.bound.size() == 1 && portal_.held() == 1; }));
    time_.advance(3600);
    EXPECT_EQ(service_->delivery().way, Way::deciding);
    portal_.respond();
    EXPECT_TRUE(becomes(Way::desktop));
}

TEST_F(PortalHotKeyServiceTest, WithoutAPortalThereIsNoneAndOneThatComesIsAsked) {
    claim();
    EXPECT_TRUE(becomes(Way::none));
    portal_.appear();
    EXPECT_TRUE(becomes(Way::desktop));
    EXPECT_EQ(portal_.bound.size(), 1u);
}

TEST_F(PortalHotKeyServiceTest, APortalWithoutShortcutsIsNone) {
    portal_.hasShortcuts = false;
    portal_.appear();
    claim();
    EXPECT_TRUE(becomes(Way::none));
}

TEST_F(PortalHotKeyServiceTest, APortalThatDoesNotKnowWhoAsksIsNone) {
    portal_.needsName = true;
    portal_.hasRegistry = false;
    portal_.appear();
    claim();
    EXPECT_TRUE(becomes(Way::none));
}

TEST_F(PortalHotKeyServiceTest, AUserWhoDeclinesIsNotAskedAgain) {
    portal_.bindResponse = 1;
    portal_.appear();
    const HotKeyReference reference = claim();
    EXPECT_TRUE(becomes(Way::declined));
    portal_.vanish();
    portal_.appear();
    settle();
    time_.advance(3600);
    settle();
    EXPECT_EQ(service_->delivery().way, Way::declined);
    EXPECT_EQ(portal_.count("Registry.Register"), 1);
    EXPECT_EQ(portal_.bound.size(), 1u);

    service_->unregisterHotKey(reference);
    EXPECT_EQ(service_->delivery().way, Way::none);
    portal_.bindResponse = 0;
    claim();
    EXPECT_TRUE(becomes(Way::desktop));
}

TEST_F(PortalHotKeyServiceTest, APortalThatFailsIsAskedAgainWhenItComesBack) {
    portal_.bindResponse = 2;
    portal_.appear();
    claim();
    EXPECT_TRUE(becomes(Way::none));
    portal_.vanish();
    portal_.bindResponse = 0;
    portal_.appear();
    EXPECT_TRUE(becomes(Way::desktop));
}

TEST_F(PortalHotKeyServiceTest, ASessionThatIsRefusedIsNone) {
    portal_.sessionResponse = 2;
    portal_.appear();
    claim();
    EXPECT_TRUE(becomes(Way::none));
    EXPECT_TRUE(portal_.bound.empty());
}

TEST_F(PortalHotKeyServiceTest,
       AListFromWhichTheShortcutWasTakenIsADeclinedOneAndTheSessionIsClosed) {
    portal_.shortcuts = test::shortcutList("other", {{"trigger_description", "F1"}});
    portal_.appear();
    claim();
    EXPECT_TRUE(becomes(Way::declined));
    EXPECT_TRUE(test::runUntil([&] { return portal_.closed.contains(portal_.session); }));
}

TEST_F(PortalHotKeyServiceTest, AMalformedListIsNone) {
    portal_.shortcuts = QVariant(QStringList{"mute"});
    portal_.appear();
    claim();
    EXPECT_TRUE(becomes(Way::none));
}

TEST_F(PortalHotKeyServiceTest, AMalformedSessionIsNone) {
    portal_.sessionHandle = 7;
    portal_.appear();
    claim();
    EXPECT_TRUE(becomes(Way::none));
    EXPECT_TRUE(portal_.bound.empty());
}

TEST_F(PortalHotKeyServiceTest, ASessionThatIsTooStrangeToSpeakToIsNone) {
    portal_.sessionHandle = "/no//path";
    portal_.appear();
    claim();
    EXPECT_TRUE(becomes(Way::none));
}

TEST_F(PortalHotKeyServiceTest, KeysOfAStrangeKindAreNotKnownAndThoseOfSeveralLinesAreOneLine) {
    portal_.shortcuts = test::shortcutList("mute", {{"trigger_description", QVariantList{1, 2}}});
    bound();
    EXPECT_EQ(service_->delivery().keys, "");
    portal_.changeKeys("Press\n <b>F9</b>\t");
    EXPECT_TRUE(test::runUntil([&] { return service_->delivery().keys == "Press <b>F9</b>"; }));
}

TEST_F(PortalHotKeyServiceTest, KeysThatTheUserChangesAreFollowed) {
    bound();
    portal_.changeKeys("Meta+F9");
    EXPECT_TRUE(test::runUntil([&] { return service_->delivery().keys == "Meta+F9"; }));
    EXPECT_EQ(told_.size(), 4u);
}

TEST_F(PortalHotKeyServiceTest, PressesOfAnotherShortcutOrAnotherSessionAreIgnored) {
    bound();
    portal_.press({}, "volume");
    portal_.press("/org/freedesktop/portal/desktop/session/1_1/other");
    EXPECT_EQ(pressesSoFar(), 0u);
}

TEST_F(PortalHotKeyServiceTest, WhatAnotherProgramSendsIsIgnored) {
    bound();
    auto stranger =
        QDBusConnection::connectToBus(QString::fromStdString(bus_.address()), "stranger");
    QDBusMessage press =
        QDBusMessage::createTargetedSignal(portal_.client, "/org/freedesktop/portal/desktop",
                                           "org.freedesktop.portal.GlobalShortcuts", "Activated");
    press << QVariant::fromValue(QDBusObjectPath(portal_.session)) << QString("mute")
          << qulonglong{1} << QVariantMap();
    QDBusMessage closing = QDBusMessage::createTargetedSignal(
        portal_.client, portal_.session, "org.freedesktop.portal.Session", "Closed");
    closing << QVariantMap();
    for (const QDBusMessage& message : {press, closing})
        EXPECT_TRUE(stranger.send(message));
    // Its next message goes round through the bus, so the two have been passed on by then.
    EXPECT_TRUE(stranger.interface()->isServiceRegistered("org.freedesktop.portal.Desktop"));
    EXPECT_EQ(pressesSoFar(), 0u);
    EXPECT_EQ(service_->delivery().way, Way::desktop);
    QDBusConnection::disconnectFromBus("stranger");
}

TEST_F(PortalHotKeyServiceTest, AMalformedPressIsIgnored) {
    bound();
    auto portal =
        QDBusMessage::createTargetedSignal(portal_.client, "/org/freedesktop/portal/desktop",
                                           "org.freedesktop.portal.GlobalShortcuts", "Activated");
    for (const QVariantList& arguments :
         {QVariantList{}, QVariantList{QString("mute")},
          QVariantList{portal_.session, QString("mute")},
          QVariantList{QVariant::fromValue(QDBusObjectPath(portal_.session)), 7}}) {
        portal.setArguments(arguments);
        portal_.send(portal);
    }
    EXPECT_EQ(pressesSoFar(), 0u);
}

TEST_F(PortalHotKeyServiceTest, APortalThatComesBackIsAskedAgain) {
    bound();
    const QString before = portal_.session;
    portal_.vanish();
    EXPECT_TRUE(becomes(Way::none));
    portal_.appear();
    ASSERT_TRUE(becomes(Way::desktop));
    EXPECT_NE(portal_.session, before);
    EXPECT_EQ(portal_.registered, QStringList{"app.x.Y"});
    portal_.press(before);
    EXPECT_EQ(pressesSoFar(), 0u);
}

TEST_F(PortalHotKeyServiceTest, APortalThatGoesWhileItIsAskedIsAskedWhenItComesBack) {
    portal_.holdsResponses = true;
    portal_.appear();
    claim();
    ASSERT_TRUE(test::runUntil([&] { return portal_.held() == 1; }));
    portal_.vanish();
    EXPECT_TRUE(becomes(Way::none));
    portal_.holdsResponses = false;
    portal_.appear();
    EXPECT_TRUE(becomes(Way::desktop));
}

TEST_F(PortalHotKeyServiceTest, ASessionThatThePortalClosesIsOpenedAgainAfterAPause) {
    bound();
    portal_.closeSession();
    EXPECT_TRUE(becomes(Way::none));
    time_.advance(9.9);
    EXPECT_EQ(service_->delivery().way, Way::none);
    time_.advance(0.2);
    ASSERT_TRUE(becomes(Way::desktop));
    portal_.press();
    EXPECT_EQ(pressesSoFar(), 1u);
}

TEST_F(PortalHotKeyServiceTest, ASessionThatIsClosedBeforeItWorkedIsLeftAlone) {
    portal_.holdsResponses = true;
    portal_.appear();
    claim();
    ASSERT_TRUE(test::runUntil([&] { return portal_.held() == 1; }));
    portal_.respond();
    ASSERT_TRUE(test::runUntil([&] { return portal_.bound.size() == 1; }));
    portal_.closeSession();
    EXPECT_TRUE(becomes(Way::none));
    EXPECT_EQ(time_.activeTimerCount(), 0u);
}

TEST_F(PortalHotKeyServiceTest, WhatIsGivenUpIsClosedAndMayBeRegisteredAgain) {
    portal_.appear();
    const HotKeyReference reference = claim();
    ASSERT_TRUE(becomes(Way::desktop));
    const QString session = portal_.session;
    const auto second = service_->registerHotKey(muteKey, muteModifiers, mute);
    ASSERT_FALSE(second);
    EXPECT_EQ(second.error(), eventHotKeyExistsErr);
    service_->unregisterHotKey(reference);
    EXPECT_EQ(service_->delivery().way, Way::none);
    EXPECT_TRUE(test::runUntil([&] { return portal_.closed.contains(session); }));
    portal_.press();
    claim();
    ASSERT_TRUE(becomes(Way::desktop));
    EXPECT_EQ(pressesSoFar(), 0u);
}

TEST_F(PortalHotKeyServiceTest, WhatIsGivenUpWhileItIsAskedForIsTakenBack) {
    portal_.holdsResponses = true;
    portal_.appear();
    const HotKeyReference reference = claim();
    ASSERT_TRUE(test::runUntil([&] { return portal_.held() == 1; }));
    service_->unregisterHotKey(reference);
    EXPECT_TRUE(test::runUntil([&] { return portal_.closed.size() == 2; }));
    EXPECT_TRUE(portal_.closed.contains(portal_.session));
    portal_.respond();
    settle();
    EXPECT_TRUE(portal_.bound.empty());
    EXPECT_EQ(service_->delivery().way, Way::none);
}

TEST_F(PortalHotKeyServiceTest, AHandlerMayGiveTheShortcutUp) {
    portal_.appear();
    const HotKeyReference reference = claim();
    ASSERT_TRUE(becomes(Way::desktop));
    service_->installHandler([&](const auto&) {
        service_->unregisterHotKey(reference);
        return hotKeyNoErr;
    });
    portal_.press();
    EXPECT_TRUE(becomes(Way::none));
}

TEST_F(PortalHotKeyServiceTest, AServiceThatGoesLeavesTheBus) {
    bound();
    const QString client = portal_.client;
    service_.reset();
    auto observer =
        QDBusConnection::connectToBus(QString::fromStdString(bus_.address()), "observer");
    EXPECT_TRUE(
        test::runUntil([&] { return !observer.interface()->isServiceRegistered(client).value(); }));
    QDBusConnection::disconnectFromBus("observer");
}

TEST_F(PortalHotKeyServiceTest, AnUnknownKeyIsRefusedAsInvalid) {
    const auto refused = service_->registerHotKey(3, muteModifiers, mute);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), eventHotKeyInvalidErr);
}

TEST_F(PortalHotKeyServiceTest, WithoutABusThereIsNeitherHandlerNorShortcut) {
    service_.reset();
    start("unix:path=/nonexistent");
    EXPECT_EQ(service_->installHandler([](const auto&) { return hotKeyNoErr; }), eventInternalErr);
    const auto refused = service_->registerHotKey(muteKey, muteModifiers, mute);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), eventInternalErr);
}

TEST_F(PortalHotKeyServiceTest, ThePressRunsTheActionOfTheHotKeyThatTheLogNames) {
    SimulatedLog log;
    int toggled = 0;
    {
        GlobalHotKeyRegistry registry(*service_, time_, log);
        portal_.appear();
        const auto hotKey =
            GlobalHotKey::create(registry, muteKey, muteModifiers, [&toggled] { ++toggled; });
        ASSERT_TRUE(hotKey);
        ASSERT_TRUE(becomes(Way::desktop));
        portal_.press();
        EXPECT_TRUE(test::runUntil([&] { return toggled == 1; }));
        hotKey->unregister();
    }
    EXPECT_EQ(log.lines(), std::vector<std::string>{"[Morvel] Hotkey ⌃⌥⌘M registered"});
}

} // namespace
} // namespace morvel
