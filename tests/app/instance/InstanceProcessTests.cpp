// Real processes: who becomes the instance, who is heard, and what the dead leave behind.

#include "platform/linux/UnixInstanceChannel.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/LinePipe.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <csignal>
#include <map>
#include <memory>

namespace morvel {
namespace {

using namespace std::chrono_literals;
using test::ChildProcess;
using testing::ElementsAre;

class InstanceProcessTest : public testing::Test {
protected:
    std::unique_ptr<ChildProcess> start(std::vector<std::string> options = {},
                                        std::chrono::milliseconds patience = 20s) {
        std::vector<std::string> command = {INSTANCE_PROGRAM, runtime.string(),
                                            std::to_string(patience.count())};
        command.insert(command.end(), options.begin(), options.end());
        return std::make_unique<ChildProcess>(ChildProcess::Setup{command, {}, lines.path(), {}});
    }

    // A stranger's connection to the instance.
    Descriptor connected() const {
        Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        (runtime / "morvel.socket").string().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address),
                  0);
        const timeval limit{20, 0};
        ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        return socket;
    }

    TemporaryFolder folder;
    std::filesystem::path runtime = folder.folder("runtime");
    test::LinePipe lines{(folder / "lines").string()};
};

TEST_F(InstanceProcessTest, ASecondStartHandsItsRequestOverAndExitsWithZero) {
    const auto first = start();
    ASSERT_TRUE(lines.take("runs"));
    EXPECT_EQ(start()->wait(20s), 0);
    EXPECT_TRUE(lines.take("request d"));
    EXPECT_EQ(start({"--settings"})->wait(20s), 0);
    EXPECT_TRUE(lines.take("request s"));
    EXPECT_EQ(start({"--toggle-mute"})->wait(20s), 0);
    EXPECT_TRUE(lines.take("request m"));
    EXPECT_TRUE(first->running());
}

TEST_F(InstanceProcessTest, QuitReturnsOnceTheInstancesProcessIsGone) {
    const auto first = start();
    ASSERT_TRUE(lines.take("runs"));
    EXPECT_EQ(start({"--quit"})->wait(20s), 0);
    EXPECT_FALSE(first->running());
    EXPECT_TRUE(lines.take("ends", 0ms));
    EXPECT_EQ(first->wait(20s), 0);
    const auto next = start();
    EXPECT_TRUE(lines.take("runs"));
}

TEST_F(InstanceProcessTest, QuitDoesNotWaitForeverForAProcessThatStays) {
    const auto first = start();
    ASSERT_TRUE(lines.take("runs"));
    EXPECT_EQ(start({"--quit"}, 100ms)->wait(20s), 1);
    EXPECT_TRUE(lines.take("exit 1 Morvel is running but does not answer."));
    EXPECT_EQ(first->wait(20s), 0);
}

TEST_F(InstanceProcessTest, WithNothingRunningQuitIsContentAndMuteFails) {
    EXPECT_EQ(start({"--quit"})->wait(20s), 0);
    EXPECT_TRUE(lines.take("exit 0 Morvel is not running."));
    EXPECT_EQ(start({"--toggle-mute"})->wait(20s), 1);
    EXPECT_TRUE(lines.take("exit 1 Morvel is not running."));
}

TEST_F(InstanceProcessTest, TheFirstStartServesItsOwnRequest) {
    const auto first = start({"--open-drawer"});
    EXPECT_TRUE(lines.take("request d"));
    EXPECT_TRUE(lines.take("runs"));
}

TEST_F(InstanceProcessTest, OfManyThatStartAtOnceOneRunsAndHearsAllOthers) {
    for (int round = 0; round < 5; ++round) {
        std::vector<std::unique_ptr<ChildProcess>> all;
        for (int i = 0; i < 12; ++i)
            all.push_back(start());
        ASSERT_TRUE(lines.take("runs"));
        for (int i = 0; i < 11; ++i) {
            ASSERT_TRUE(lines.take("request d"));
            ASSERT_TRUE(lines.take("exit 0 "));
        }
        EXPECT_EQ(start({"--quit"})->wait(20s), 0);
        EXPECT_TRUE(lines.take("request q"));
        EXPECT_TRUE(lines.take("ends"));
        EXPECT_TRUE(lines.take("exit 0 "));
        lines.drain();
        EXPECT_THAT(lines.lines(), testing::IsEmpty());
    }
}

TEST_F(InstanceProcessTest, AStartWhileTheInstanceEndsRunsAfterIt) {
    const auto first = start();
    ASSERT_TRUE(lines.take("runs"));
    const auto quit = start({"--quit"});
    const auto next = start();
    // Whichever came first, one of them runs and nobody is lost.
    EXPECT_EQ(quit->wait(20s), 0);
    EXPECT_TRUE(lines.take("request d", 0ms) || lines.take("runs"));
}

TEST_F(InstanceProcessTest, WhatAKilledInstanceLeavesBehindIsNoInstance) {
    const auto first = start();
    ASSERT_TRUE(lines.take("runs"));
    first->signal(SIGKILL);
    first->wait(20s);
    ASSERT_TRUE(std::filesystem::exists(runtime / "morvel.socket"));
    EXPECT_EQ(start({"--toggle-mute"})->wait(20s), 1);
    const auto next = start();
    EXPECT_TRUE(lines.take("runs"));
    EXPECT_EQ(start()->wait(20s), 0);
    EXPECT_TRUE(lines.take("request d"));
}

TEST_F(InstanceProcessTest, AnInstanceThatHangsIsReportedAndNotWaitedForForever) {
    const auto first = start();
    ASSERT_TRUE(lines.take("runs"));
    first->signal(SIGSTOP);
    EXPECT_EQ(start({}, 50ms)->wait(20s), 1);
    EXPECT_TRUE(lines.take("exit 1 Morvel is running but does not answer."));
    first->signal(SIGCONT);
    EXPECT_EQ(start()->wait(20s), 0);
}

TEST_F(InstanceProcessTest, NothingHostileOnTheSocketIsHeard) {
    const auto first = start();
    ASSERT_TRUE(lines.take("runs"));
    std::vector<Descriptor> silent;
    for (int i = 0; i < 40; ++i)
        silent.push_back(connected());
    for (const std::string& text : {std::string("x"), std::string(1, '\0'), std::string("qq"),
                                    std::string("d\n"), std::string(100000, 'q')}) {
        const Descriptor stranger = connected();
        const ssize_t sent =
            ::send(stranger.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        EXPECT_GT(sent, 0);
        char answer = 0;
        EXPECT_LE(::recv(stranger.get(), &answer, 1, 0), 0) << text.substr(0, 4);
    }
    EXPECT_EQ(start({"--settings"})->wait(20s), 0);
    EXPECT_TRUE(lines.take("request s"));
    lines.drain();
    EXPECT_THAT(lines.lines(), ElementsAre("exit 0 "));
    EXPECT_TRUE(first->running());
}

TEST_F(InstanceProcessTest, AFolderInWhichOthersMayWriteIsNotTrusted) {
    std::filesystem::permissions(runtime, std::filesystem::perms::all);
    const auto first = start();
    EXPECT_TRUE(lines.take("runs"));
    EXPECT_FALSE(std::filesystem::exists(runtime / "morvel.lock"));
    EXPECT_EQ(start({"--quit"})->wait(20s), 1);
    EXPECT_TRUE(lines.take("exit 1 Morvel cannot be reached: there is no folder that only this "
                           "user can write to."));
}

TEST_F(InstanceProcessTest, APathTooLongForASocketIsNone) {
    runtime = folder.folder(std::string(200, 'l') + "/" + std::string(200, 'o'));
    const auto first = start();
    ASSERT_TRUE(lines.take("runs"));
    EXPECT_EQ(start()->wait(20s), 0);
    EXPECT_TRUE(lines.take("request d"));
}

Environment with(std::map<std::string, std::string> variables) {
    return [variables = std::move(variables)](const std::string& name) {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
}

TEST(SessionInstanceChannelTest, OneDisplayHasOneNameHoweverItIsWritten) {
    const auto name = [](const std::string& display) {
        return sessionInstanceChannel(with({{"DISPLAY", display}})).name;
    };
    EXPECT_EQ(name(":0"), name(":0.1"));
    EXPECT_EQ(name(":0"), name("unix:0"));
    EXPECT_NE(name(":0"), name(":1"));
    EXPECT_NE(name(":0"), name("far:0"));
    EXPECT_NE(name(":0"), name(""));
    EXPECT_EQ(name("../../x").find('/'), std::string::npos);
    EXPECT_NE(sessionInstanceChannel(with({{"WAYLAND_DISPLAY", "wayland-0"}})).name,
              sessionInstanceChannel(with({{"WAYLAND_DISPLAY", "wayland-1"}})).name);
}

TEST(SessionInstanceChannelTest, TheRuntimeFolderComesBeforeOneOfOurOwn) {
    const auto setup = sessionInstanceChannel(with({{"XDG_RUNTIME_DIR", "/run/user/7"}}));
    ASSERT_EQ(setup.folders.size(), 2u);
    EXPECT_EQ(setup.folders[0], "/run/user/7");
    EXPECT_EQ(sessionInstanceChannel(with({{"XDG_RUNTIME_DIR", "relative"}})).folders.size(), 1u);
}

} // namespace
} // namespace morvel
