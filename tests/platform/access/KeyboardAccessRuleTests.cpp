#include "platform/linux/access/KeyboardAccessRule.h"
#include "tests/platform/access/AccessFixture.h"

#include <gmock/gmock.h>

namespace morvel {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* allCalls =
    "control --reload --timeout=10 \n"
    "trigger --action=change --subsystem-match=input --sysname-match=event* "
    "--property-match=ID_INPUT_KEYBOARD=1 \n"
    "settle --timeout=10 \n";

class KeyboardAccessRuleTest : public test::AccessFixture {
protected:
    AccessSystem system() {
        return {root_.path(), Udevadm(udevadm()), [this] {
                    ++asked_;
                    ruleWasThere_ = std::filesystem::exists(rule_);
                    callsBefore_ = readText(calls());
                    return std::vector<DeviceFile>{};
                }};
    }
    int asked_ = 0;
    bool ruleWasThere_ = false;
    std::string callsBefore_;
};

TEST_F(KeyboardAccessRuleTest, GrantingWritesTheRuleAndHasItApplied) {
    installUdevadm();
    EXPECT_EQ(grantKeyboardAccess(system()).kind, AccessChange::Kind::done);
    EXPECT_EQ(readText(rule_), keyboardRuleText());
    EXPECT_EQ(readText(calls()), allCalls);
    EXPECT_EQ(asked_, 0);
}

TEST_F(KeyboardAccessRuleTest, GrantingTwiceIsGrantingOnceButAppliesAgain) {
    installUdevadm();
    EXPECT_EQ(grantKeyboardAccess(system()).kind, AccessChange::Kind::done);
    EXPECT_EQ(grantKeyboardAccess(system()).kind, AccessChange::Kind::done);
    EXPECT_EQ(readText(rule_), keyboardRuleText());
    EXPECT_EQ(readText(calls()), std::string(allCalls) + allCalls);
}

TEST_F(KeyboardAccessRuleTest, RevokingTakesTheDevicesBackLastWhenNobodyGivesThemAgain) {
    installUdevadm();
    ASSERT_EQ(grantKeyboardAccess(system()).kind, AccessChange::Kind::done);
    std::filesystem::remove(calls());
    EXPECT_EQ(revokeKeyboardAccess(system()).kind, AccessChange::Kind::done);
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_EQ(asked_, 1);
    EXPECT_FALSE(ruleWasThere_);
    EXPECT_EQ(callsBefore_, allCalls);
}

TEST_F(KeyboardAccessRuleTest, RevokingWithoutARuleTakesTheDevicesBackAllTheSame) {
    installUdevadm();
    EXPECT_EQ(revokeKeyboardAccess(system()).kind, AccessChange::Kind::done);
    EXPECT_EQ(asked_, 1);
}

TEST_F(KeyboardAccessRuleTest, ARuleThatIsNotOursKeepsUdevAndTheDevicesAsTheyAre) {
    installUdevadm();
    writeText(rule_, "# mine\n");
    for (const auto& change : {grantKeyboardAccess, revokeKeyboardAccess}) {
        const AccessChange result = change(system());
        EXPECT_EQ(result.kind, AccessChange::Kind::refused);
        EXPECT_THAT(result.problem, HasSubstr("left alone"));
    }
    EXPECT_FALSE(std::filesystem::exists(calls()));
    EXPECT_EQ(asked_, 0);
}

TEST_F(KeyboardAccessRuleTest, WithoutUdevTheRuleStaysForTheNextStart) {
    const AccessChange result = grantKeyboardAccess(system());
    EXPECT_EQ(result.kind, AccessChange::Kind::later);
    EXPECT_EQ(result.problem, udevadm().string() + ": No such file or directory");
    EXPECT_EQ(readText(rule_), keyboardRuleText());
}

TEST_F(KeyboardAccessRuleTest, WhereUdevKeepsTheOldRulesTheyAreNotAppliedAgain) {
    ASSERT_EQ(writeKeyboardRule(root_.path()), std::nullopt);
    installUdevadm("control", 1);
    const AccessChange result = revokeKeyboardAccess(system());
    EXPECT_EQ(result.kind, AccessChange::Kind::later);
    EXPECT_EQ(result.problem,
              udevadm().string() + " control --reload --timeout=10: ended with status 1");
    EXPECT_EQ(readText(calls()), "control --reload --timeout=10 \n");
    EXPECT_EQ(asked_, 1);
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(KeyboardAccessRuleTest, UdevadmFindsAnEnvironmentOfOurs) {
    installUdevadm();
    ASSERT_EQ(grantKeyboardAccess(system()).kind, AccessChange::Kind::done);
    const std::string environment = readText(root_ / "environment");
    EXPECT_THAT(environment, HasSubstr("PATH=/usr/sbin:/usr/bin:/sbin:/bin\n"));
    EXPECT_THAT(environment, HasSubstr("LC_ALL=C\n"));
    EXPECT_THAT(environment, testing::Not(HasSubstr("HOME=")));
}

// A device that another rule gives to the person at the seat, and one of which udev still says so
// because it has not caught up.
TEST_F(KeyboardAccessRuleTest, OnlyUdevsWordThatIsUpToDateSparesADevice) {
    std::vector<DeviceFile> devices = {{(root_ / "no\0device").string(), 0, true}};
    devices.front().path = "/proc/self/mem/impossible"; // to touch it fails
    AccessSystem given{root_.path(), Udevadm(udevadm()), [&devices] { return devices; }};
    installUdevadm();
    EXPECT_EQ(revokeKeyboardAccess(given).kind, AccessChange::Kind::done);
    devices.front().given = false;
    EXPECT_EQ(revokeKeyboardAccess(given).kind, AccessChange::Kind::later);
    devices.front().given = true;
    installUdevadm("settle", 1);
    EXPECT_EQ(revokeKeyboardAccess(given).kind, AccessChange::Kind::later);
}

} // namespace
} // namespace morvel
