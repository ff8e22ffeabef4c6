// All self-tests together.

#include "tests/selftest/RunningApplication.h"

#include <gmock/gmock.h>

namespace morvel {
namespace {

using testing::ElementsAre;

class SelfTestsTest : public test::RunningApplication {};

TEST_F(SelfTestsTest, StartInThisOrder) {
    launch();
    std::vector<std::string> switches;
    for (const AppDelegate::TestMode& mode : selfTests->modes())
        switches.push_back(mode.variable);
    EXPECT_THAT(switches, ElementsAre("MORVEL_AUDIO_SELFTEST", "MORVEL_THEME_SELFTEST",
                                      "MORVEL_SETTINGS_SELFTEST", "MORVEL_KEYGROUP_SELFTEST",
                                      "MORVEL_POLISH_SELFTEST", "MORVEL_KEYBOARD_SELFTEST",
                                      "MORVEL_FIDGET_SELFTEST"));
}

} // namespace
} // namespace morvel
