// Activation, floating windows, the popover's window, signals.

#include "platform/macos/MacApplicationActivation.h"
#include "platform/macos/MacFloatingWindows.h"
#include "platform/macos/MacTransientWindows.h"
#include "platform/macos/SignalPipe.h"
#include "platform/simulated/SimulatedApplicationActivation.h"
#include "tests/platform/macos/FakeMac.h"

#include <poll.h>

#include <csignal>

namespace morvel {
namespace {

using Calls = std::vector<std::string>;

class MacWindowsTest : public MacTest {
protected:
    // A view answers to "window" with an object of that name.
    std::uintptr_t view_ = reinterpret_cast<std::uintptr_t>("view");
};

TEST_F(MacWindowsTest, TheApplicationBecomesAnAccessory) {
    SimulatedApplicationActivation windows;
    MacApplicationActivation activation(windows);
    activation.becomeAccessory();
    EXPECT_EQ(mac_.calls,
              (Calls{"[NSApplication sharedApplication]", "[application setActivationPolicy:1]"}));
}

TEST_F(MacWindowsTest, AWindowFloatsOnEverySpaceAndBesideFullScreenWindows) {
    MacFloatingWindows().prepare(view_);
    EXPECT_EQ(mac_.calls,
              (Calls{"[view window]", "[window setLevel:3]", "[window setCollectionBehavior:257]",
                     "[window setHidesOnDeactivate:0]"}));
}

TEST_F(MacWindowsTest, APopoverTakesTheKeyboardWhateverApplicationHasIt) {
    MacTransientWindows windows;
    windows.setShadow(view_, {});
    windows.takeKeyboard(view_);
    EXPECT_EQ(mac_.calls, (Calls{"[view window]", "[window setHasShadow:0]",
                                 "[NSApplication sharedApplication]",
                                 "[application activateIgnoringOtherApps:1]", "[view window]",
                                 "[window makeKeyAndOrderFront:0]"}));
    EXPECT_FALSE(windows.hasKeyboard(view_));
    mac_.answers["isKeyWindow"] = 1;
    EXPECT_TRUE(windows.hasKeyboard(view_));
}

TEST_F(MacWindowsTest, PressesAndReleasesOfAllButtonsAreToldWhileTheyAreWatched) {
    std::vector<bool> told;
    auto watch = MacTransientWindows().watchButtons([&told](bool down) { told.push_back(down); });
    ASSERT_TRUE(mac_.tap);
    EXPECT_EQ(mac_.tap->mask, 0x600001EU);
    {
        FakeEvent event;
        for (const std::uint32_t type : {1U, 2U, 3U, 4U, 25U, 26U})
            EXPECT_EQ(mac_.deliver(type, event), &event);
        mac_.calls.clear();
        mac_.deliver(0xFFFFFFFE, event);
    }
    EXPECT_EQ(told, (std::vector<bool>{true, false, true, false, true, false}));
    EXPECT_EQ(mac_.calls, Calls{"tap enabled"});
    watch.reset();
    EXPECT_EQ(mac_.calls.back(), "port invalidated");
}

TEST_F(MacWindowsTest, AWatchMayBeEndedByWhatItTells) {
    std::unique_ptr<TransientWindows::PointerWatch> watch;
    bool stillThere = false;
    watch = MacTransientWindows().watchButtons(
        [&watch, &stillThere, content = std::make_shared<int>()](bool) {
            bool& answer = stillThere;
            const std::weak_ptr<int> mine = content;
            watch.reset();
            answer = !mine.expired();
        });
    {
        FakeEvent event;
        EXPECT_EQ(mac_.deliver(1, event), &event);
    }
    EXPECT_TRUE(stillThere);
    EXPECT_EQ(mac_.calls.back(), "port invalidated");
}

TEST_F(MacWindowsTest, AWatchThatTheSystemRefusesTellsNothing) {
    mac_.refusesTap = true;
    const auto watch = MacTransientWindows().watchButtons([](bool) { FAIL(); });
    EXPECT_EQ(mac_.calls, Calls{});
}

TEST(SignalPipe, MakesATerminatingSignalReadable) {
    const SignalPipe signalled;
    pollfd readable{signalled.descriptor(), POLLIN, 0};
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        EXPECT_EQ(poll(&readable, 1, 0), 0);
        std::raise(signal);
        EXPECT_EQ(poll(&readable, 1, 0), 1);
        signalled.clear();
    }
}

TEST(SignalPipe, LeavesASignalIgnoredThatTheParentWantsIgnored) {
    std::signal(SIGHUP, SIG_IGN);
    {
        const SignalPipe signalled;
        std::raise(SIGHUP);
        pollfd readable{signalled.descriptor(), POLLIN, 0};
        EXPECT_EQ(poll(&readable, 1, 0), 0);
    }
    std::signal(SIGHUP, SIG_DFL);
}

} // namespace
} // namespace morvel
