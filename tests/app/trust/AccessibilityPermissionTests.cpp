#include "app/trust/AccessibilityPermission.h"
#include "platform/simulated/SimulatedApplicationActivation.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedProcessTable.h"
#include "platform/simulated/SimulatedTrustSource.h"
#include "platform/simulated/VirtualTime.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

using Lines = std::vector<std::string>;
using Variables = std::map<std::string, std::string>;

class AccessibilityPermissionTest : public testing::Test {
protected:
    std::unique_ptr<AccessibilityPermission> monitor(const Variables& variables = {}) {
        auto created = std::make_unique<AccessibilityPermission>(
            AccessibilityPermission::Services{trust_, processes_, time_, time_, activation_, log_},
            bundle_, [variables](const std::string& name) -> std::optional<std::string> {
                const auto found = variables.find(name);
                return found == variables.end() ? std::nullopt : std::optional(found->second);
            });
        QObject::connect(created.get(), &AccessibilityPermission::isTrustedChanged,
                         [this](bool trusted) { changes_.push_back(trusted); });
        return created;
    }

    SimulatedTrustSource trust_{true};
    SimulatedProcessTable processes_{
        40, {{40, {"/opt/morvel", 30}}, {30, {std::nullopt, 1}}, {1, {"/sbin/init", 0}}}};
    VirtualTime time_;
    SimulatedApplicationActivation activation_;
    SimulatedLog log_;
    ApplicationBundle bundle_{"/opt/Morvel.app/bin/morvel", "/opt/Morvel.app", "app.x", {}};
    std::vector<bool> changes_;
};

TEST_F(AccessibilityPermissionTest, StartsWithTheRealTrustAndLogsNothingWithoutASimulation) {
    EXPECT_TRUE(monitor()->isTrusted());
    trust_.trusted = false;
    EXPECT_FALSE(monitor()->isTrusted());
    EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(AccessibilityPermissionTest, SimulatedUntrustedLastsForTheWholeRunAndShowsInfinity) {
    const auto permission =
        monitor({{"MORVEL_SIMULATE_UNTRUSTED", "1"}, {"MORVEL_SIMULATE_UNTRUSTED_SECONDS", "5"}});
    EXPECT_EQ(log_.lines(),
              Lines{"[Morvel] SIMULATING untrusted for ∞s — real AXIsProcessTrusted() is true"});
    permission->startMonitoring();
    EXPECT_FALSE(permission->isTrusted());
    time_.advance(1e6);
    activation_.activate();
    EXPECT_FALSE(permission->isTrusted());
    EXPECT_TRUE(changes_.empty());
}

TEST_F(AccessibilityPermissionTest, UntrustedForFiveSecondsBecomesTrustedAtTheFirstPollAfter) {
    const auto permission = monitor({{"MORVEL_SIMULATE_UNTRUSTED_SECONDS", "5"}});
    permission->startMonitoring();
    EXPECT_FALSE(permission->isTrusted());
    time_.advance(5.9);
    EXPECT_FALSE(permission->isTrusted());
    time_.advance(0.2);
    EXPECT_TRUE(permission->isTrusted());
    time_.advance(60);
    EXPECT_EQ(log_.lines(),
              (Lines{"[Morvel] SIMULATING untrusted for 5s — real AXIsProcessTrusted() is true",
                     "[Morvel] Accessibility trust changed -> TRUSTED"}));
    EXPECT_EQ(changes_, std::vector<bool>{true});
}

TEST_F(AccessibilityPermissionTest, UntrustedForFiveSecondsBecomesTrustedAtAnActivationAfter) {
    const auto permission = monitor({{"MORVEL_SIMULATE_UNTRUSTED_SECONDS", "5"}});
    permission->startMonitoring();
    time_.advance(4.5);
    activation_.activate();
    EXPECT_FALSE(permission->isTrusted());
    time_.advance(0.6); // between the polls at 4 and 6 seconds
    activation_.activate();
    EXPECT_TRUE(permission->isTrusted());
}

TEST_F(AccessibilityPermissionTest, SimulatedRevocationComesAtTenSecondsAndNeverEnds) {
    const auto permission = monitor({{"MORVEL_SIMULATE_REVOKE_AFTER_SECONDS", "10"}});
    EXPECT_TRUE(permission->isTrusted());
    time_.advance(9.9);
    permission->refresh();
    EXPECT_TRUE(permission->isTrusted());
    time_.advance(0.1);
    permission->refresh();
    EXPECT_FALSE(permission->isTrusted());
    time_.advance(1e6);
    permission->refresh();
    EXPECT_FALSE(permission->isTrusted());
    EXPECT_EQ(log_.lines(),
              (Lines{"[Morvel] SIMULATING revocation after 10s — real AXIsProcessTrusted() is true",
                     "[Morvel] Accessibility trust changed -> NOT TRUSTED"}));
}

TEST_F(AccessibilityPermissionTest, UntrustedSetToZeroLeavesTheSecondsToDecide) {
    EXPECT_TRUE(monitor({{"MORVEL_SIMULATE_UNTRUSTED", "0"}})->isTrusted());
    EXPECT_FALSE(
        monitor({{"MORVEL_SIMULATE_UNTRUSTED", "0"}, {"MORVEL_SIMULATE_UNTRUSTED_SECONDS", "3"}})
            ->isTrusted());
    EXPECT_EQ(log_.lines(),
              Lines{"[Morvel] SIMULATING untrusted for 3s — real AXIsProcessTrusted() is true"});
}

TEST_F(AccessibilityPermissionTest, SecondsThatAreNoDecimalNumberSimulateNothing) {
    for (const char* text :
         {"", " 5", "5 ", "5s", "five", "0x10", "inf", "nan", "1e999", "5,0", "+-5", "--5"}) {
        const auto permission = monitor({{"MORVEL_SIMULATE_UNTRUSTED_SECONDS", text}});
        EXPECT_TRUE(permission->isTrusted()) << text;
    }
    EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(AccessibilityPermissionTest, SecondsMayHaveASignAFractionOrAnExponent) {
    for (const char* text : {"2.6", "+3", "3.0e0", "0.3e1"})
        EXPECT_FALSE(monitor({{"MORVEL_SIMULATE_UNTRUSTED_SECONDS", text}})->isTrusted()) << text;
    EXPECT_EQ(log_.lines(),
              Lines(4, "[Morvel] SIMULATING untrusted for 3s — real AXIsProcessTrusted() is true"));
}

TEST_F(AccessibilityPermissionTest, BothSimulationsAreLoggedTheRevocationFirst) {
    trust_.trusted = false;
    monitor({{"MORVEL_SIMULATE_UNTRUSTED", "1"}, {"MORVEL_SIMULATE_REVOKE_AFTER_SECONDS", "7"}});
    EXPECT_EQ(log_.lines(),
              (Lines{"[Morvel] SIMULATING revocation after 7s — real AXIsProcessTrusted() is false",
                     "[Morvel] SIMULATING untrusted for ∞s — real AXIsProcessTrusted() is false"}));
}

TEST_F(AccessibilityPermissionTest, ARefreshThatFindsTheSameTrustSaysNothing) {
    const auto permission = monitor();
    int announcements = 0;
    QObject::connect(permission.get(), &AccessibilityPermission::willChange,
                     [&] { ++announcements; });
    permission->refresh();
    EXPECT_EQ(log_.lines(), Lines{});
    EXPECT_EQ(announcements, 0);
    EXPECT_TRUE(changes_.empty());
}

TEST_F(AccessibilityPermissionTest, AChangeIsAnnouncedBeforeItIsInPlaceAndLoggedBeforeItIsTold) {
    const auto permission = monitor();
    Lines order;
    QObject::connect(permission.get(), &AccessibilityPermission::willChange, [&] {
        order.emplace_back(permission->isTrusted() ? "still trusted" : "no longer trusted");
    });
    QObject::connect(permission.get(), &AccessibilityPermission::isTrustedChanged, [&](bool now) {
        order.push_back(log_.lines().back());
        order.emplace_back(now || permission->isTrusted() ? "trusted" : "untrusted");
    });
    trust_.trusted = false;
    permission->refresh();
    EXPECT_EQ(order, (Lines{"still trusted", "[Morvel] Accessibility trust changed -> NOT TRUSTED",
                            "untrusted"}));
}

TEST_F(AccessibilityPermissionTest, StartingTwiceCreatesOneTimerAndOneObserver) {
    const auto permission = monitor();
    permission->startMonitoring();
    permission->startMonitoring();
    EXPECT_EQ(time_.activeTimerCount(), 1u);
    EXPECT_EQ(activation_.observerCount(), 1u);
}

TEST_F(AccessibilityPermissionTest, StoppingEndsPollAndObservationAndMonitoringCanStartAgain) {
    const auto permission = monitor();
    permission->stopMonitoring();
    EXPECT_FALSE(permission->isMonitoring());
    permission->startMonitoring();
    EXPECT_TRUE(permission->isMonitoring());
    permission->stopMonitoring();
    EXPECT_FALSE(permission->isMonitoring());
    permission->stopMonitoring();
    trust_.trusted = false;
    time_.advance(10);
    activation_.activate();
    EXPECT_TRUE(permission->isTrusted());
    permission->startMonitoring();
    time_.advance(2.0);
    EXPECT_FALSE(permission->isTrusted());
}

TEST_F(AccessibilityPermissionTest, ADestroyedMonitorIsNotCalledAnyMore) {
    auto permission = monitor();
    permission->startMonitoring();
    permission.reset();
    EXPECT_EQ(time_.activeTimerCount(), 0u);
    EXPECT_EQ(activation_.observerCount(), 0u);
}

TEST_F(AccessibilityPermissionTest, RequestingAccessPromptsLogsTheImmediateResultAndRefreshes) {
    trust_.trusted = false;
    const auto permission = monitor();
    permission->requestAccess();
    trust_.trusted = true;
    permission->requestAccess();
    EXPECT_EQ(trust_.prompts, 2);
    EXPECT_TRUE(permission->isTrusted());
    EXPECT_EQ(log_.lines(),
              (Lines{"[Morvel] Prompted for Accessibility access; immediate result -> false",
                     "[Morvel] Prompted for Accessibility access; immediate result -> true",
                     "[Morvel] Accessibility trust changed -> TRUSTED"}));
}

TEST_F(AccessibilityPermissionTest, ASimulationWinsOverTheAnswerToThePrompt) {
    const auto permission = monitor({{"MORVEL_SIMULATE_UNTRUSTED", "1"}});
    permission->requestAccess();
    EXPECT_FALSE(permission->isTrusted());
}

TEST_F(AccessibilityPermissionTest, TheAncestryEndsAtProcessOne) {
    EXPECT_EQ(monitor()->ancestorChain(40),
              (std::vector<ProcessInfoEntry>{
                  {40, "/opt/morvel"}, {30, std::nullopt}, {1, "/sbin/init"}}));
}

TEST_F(AccessibilityPermissionTest, TheAncestryNeverHoldsMoreThanTwelveEntries) {
    for (std::int32_t pid = 100; pid < 200; ++pid)
        processes_.processes[pid] = {"/bin/p", pid + 1};
    const auto chain = monitor()->ancestorChain(100);
    EXPECT_EQ(chain.size(), 12u);
    EXPECT_EQ(chain.back().pid, 111);
}

TEST_F(AccessibilityPermissionTest, TheAncestryEndsWhereTheSystemTellsNoParentOrTheProcessItself) {
    processes_.processes = {
        {50, {"/bin/a", 51}}, {51, {"/bin/b", std::nullopt}}, {60, {"/bin/c", 60}}};
    EXPECT_EQ(monitor()->ancestorChain(50).size(), 2u);
    EXPECT_EQ(monitor()->ancestorChain(60).size(), 1u);
    EXPECT_EQ(monitor()->ancestorChain(0).size(), 1u);
}

TEST_F(AccessibilityPermissionTest, LogsTheIdentityOfABundle) {
    monitor({{"MORVEL_SIMULATE_UNTRUSTED", "1"}})->logIdentity();
    Lines lines = log_.lines();
    lines.erase(lines.begin());
    EXPECT_EQ(lines,
              (Lines{"[Morvel] ---- Accessibility trust identity ----",
                     "[Morvel]   executable : /opt/Morvel.app/bin/morvel",
                     "[Morvel]   bundle path: /opt/Morvel.app", "[Morvel]   bundle id  : app.x",
                     "[Morvel]   pid        : 40", "[Morvel]   AXIsProcessTrusted() -> true",
                     "[Morvel]   ancestry (child -> ancestor):", "[Morvel]     [40] /opt/morvel",
                     "[Morvel]       [30] <unknown>", "[Morvel]         [1] /sbin/init",
                     "[Morvel] --------------------------------------"}));
}

TEST_F(AccessibilityPermissionTest, LogsANoteForALooseExecutable) {
    bundle_ = {std::nullopt, "/home/me/build", std::nullopt, std::nullopt};
    monitor()->logIdentity();
    const Lines lines = log_.lines();
    ASSERT_EQ(lines.size(), 17u);
    EXPECT_EQ(lines[1], "[Morvel]   executable : <unknown>");
    EXPECT_EQ(lines[3], "[Morvel]   bundle id  : <none — not an .app bundle>");
    EXPECT_EQ(lines[10], "[Morvel]   NOTE: no bundle identity. Accessibility cannot be granted to");
    EXPECT_TRUE(lines[11].starts_with("[Morvel]         \"Morvel\" itself"));
    EXPECT_EQ(lines[15],
              "[Morvel]         A distribution .app bundle would be trusted on its own.");
    EXPECT_EQ(lines[16], "[Morvel] --------------------------------------");
}

TEST_F(AccessibilityPermissionTest, AnIdentifiedFolderNotNamedAppGetsTheNoteToo) {
    bundle_.path = "/opt/morvel";
    monitor()->logIdentity();
    EXPECT_EQ(log_.lines().size(), 17u);
}

} // namespace
} // namespace morvel
