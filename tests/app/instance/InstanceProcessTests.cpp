// Real processes: who becomes the instance, who is heard, and what the dead leave behind.

#include "platform/linux/UnixInstanceChannel.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <memory>

namespace morvel {
namespace {

using namespace std::chrono_literals;
using test::ChildProcess;
using testing::ElementsAre;

// What the programs of a test write to their standard error, together.
class Lines {
public:
    explicit Lines(std::string pipe)
        : pipe_(std::move(pipe)) {
        ::mkfifo(pipe_.c_str(), 0600);
        file_ = Descriptor(::open(pipe_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    }

    const std::string& pipe() const { return pipe_; }

    // Waits for a line that is `text` and has not been asked for yet.
    bool await(const std::string& text, std::chrono::milliseconds limit = 20s) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        for (;;) {
            readMore();
            if (const auto found = std::find(lines_.begin(), lines_.end(), text);
                found != lines_.end()) {
                lines_.erase(found);
                return true;
            }
            pollfd readable{file_.get(), POLLIN, 0};
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) != 1)
                return false;
        }
    }

    // All lines not asked for.
    const std::vector<std::string>& rest() {
        readMore();
        return lines_;
    }

private:
    void readMore() {
        char bytes[4096];
        for (ssize_t count = 0; (count = ::read(file_.get(), bytes, sizeof bytes)) > 0;)
            unfinished_.append(bytes, static_cast<std::size_t>(count));
        for (auto end = unfinished_.find('\n'); end != std::string::npos;
             end = unfinished_.find('\n')) {
            lines_.push_back(unfinished_.substr(0, end));
            unfinished_.erase(0, end + 1);
        }
    }

    std::string pipe_;
    Descriptor file_;
    std::string unfinished_;
    std::vector<std::string> lines_;
};

class InstanceProcessTest : public testing::Test {
protected:
    std::unique_ptr<ChildProcess> start(std::vector<std::string> options = {},
                                        std::chrono::milliseconds patience = 20s) {
        std::vector<std::string> command = {INSTANCE_PROGRAM, runtime.string(),
                                            std::to_string(patience.count())};
        command.insert(command.end(), options.begin(), options.end());
        return std::make_unique<ChildProcess>(ChildProcess::Setup{command, {}, lines.pipe(), {}});
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
    Lines lines{(folder / "lines").string()};
};

TEST_F(InstanceProcessTest, ASecondStartHandsItsRequestOverAndExitsWithZero) {
    const auto first = start();
    ASSERT_TRUE(lines.await("runs"));
    EXPECT_EQ(start()->wait(20s), 0);
    EXPECT_TRUE(lines.await("request d"));
    EXPECT_EQ(start({"--settings"})->wait(20s), 0);
    EXPECT_TRUE(lines.await("request s"));
    EXPECT_EQ(start({"--toggle-mute"})->wait(20s), 0);
    EXPECT_TRUE(lines.await("request m"));
    EXPECT_TRUE(first->running());
}

TEST_F(InstanceProcessTest, QuitReturnsOnceTheInstanceHasEnded) {
    const auto first = start();
    ASSERT_TRUE(lines.await("runs"));
    EXPECT_EQ(start({"--quit"})->wait(20s), 0);
    EXPECT_TRUE(lines.await("ends", 0ms));
    EXPECT_EQ(first->wait(20s), 0);
    const auto next = start();
    EXPECT_TRUE(lines.await("runs"));
}

TEST_F(InstanceProcessTest, WithNothingRunningQuitIsContentAndMuteFails) {
    EXPECT_EQ(start({"--quit"})->wait(20s), 0);
    EXPECT_TRUE(lines.await("exit 0 Morvel is not running."));
    EXPECT_EQ(start({"--toggle-mute"})->wait(20s), 1);
    EXPECT_TRUE(lines.await("exit 1 Morvel is not running."));
}

TEST_F(InstanceProcessTest, TheFirstStartServesItsOwnRequest) {
    const auto first = start({"--open-drawer"});
    EXPECT_TRUE(lines.await("request d"));
    EXPECT_TRUE(lines.await("runs"));
}

TEST_F(InstanceProcessTest, OfManyThatStartAtOnceOneRunsAndHearsAllOthers) {
    for (int round = 0; round < 5; ++round) {
        std::vector<std::unique_ptr<ChildProcess>> all;
        for (int i = 0; i < 12; ++i)
            all.push_back(start());
        ASSERT_TRUE(lines.await("runs"));
        for (int i = 0; i < 11; ++i) {
            ASSERT_TRUE(lines.await("request d"));
            ASSERT_TRUE(lines.await("exit 0 "));
        }
        EXPECT_EQ(start({"--quit"})->wait(20s), 0);
        EXPECT_TRUE(lines.await("request q"));
        EXPECT_TRUE(lines.await("ends"));
        EXPECT_TRUE(lines.await("exit 0 "));
        EXPECT_THAT(lines.rest(), testing::IsEmpty());
    }
}

TEST_F(InstanceProcessTest, AStartWhileTheInstanceEndsRunsAfterIt) {
    const auto first = start();
    ASSERT_TRUE(lines.await("runs"));
    const auto quit = start({"--quit"});
    const auto next = start();
    // Whichever came first, one of them runs and nobody is lost.
    EXPECT_EQ(quit->wait(20s), 0);
    EXPECT_TRUE(lines.await("request d", 0ms) || lines.await("runs"));
}

TEST_F(InstanceProcessTest, WhatAKilledInstanceLeavesBehindIsNoInstance) {
    const auto first = start();
    ASSERT_TRUE(lines.await("runs"));
    first->signal(SIGKILL);
    first->wait(20s);
    ASSERT_TRUE(std::filesystem::exists(runtime / "morvel.socket"));
    EXPECT_EQ(start({"--toggle-mute"})->wait(20s), 1);
    const auto next = start();
    EXPECT_TRUE(lines.await("runs"));
    EXPECT_EQ(start()->wait(20s), 0);
    EXPECT_TRUE(lines.await("request d"));
}

TEST_F(InstanceProcessTest, AnInstanceThatHangsIsReportedAndNotWaitedForForever) {
    const auto first = start();
    ASSERT_TRUE(lines.await("runs"));
    first->signal(SIGSTOP);
    EXPECT_EQ(start({}, 50ms)->wait(20s), 1);
    EXPECT_TRUE(lines.await("exit 1 Morvel is running but does not answer."));
    first->signal(SIGCONT);
    EXPECT_EQ(start()->wait(20s), 0);
}

TEST_F(InstanceProcessTest, NothingHostileOnTheSocketIsHeard) {
    const auto first = start();
    ASSERT_TRUE(lines.await("runs"));
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
    EXPECT_TRUE(lines.await("request s"));
    EXPECT_THAT(lines.rest(), ElementsAre("exit 0 "));
    EXPECT_TRUE(first->running());
}

TEST_F(InstanceProcessTest, AFolderInWhichOthersMayWriteIsNotTrusted) {
    std::filesystem::permissions(runtime, std::filesystem::perms::all);
    const auto first = start();
    EXPECT_TRUE(lines.await("runs"));
    EXPECT_FALSE(std::filesystem::exists(runtime / "morvel.lock"));
    EXPECT_EQ(start({"--quit"})->wait(20s), 1);
    EXPECT_TRUE(lines.await("exit 1 Morvel cannot be reached: there is no folder that only this "
                            "user can write to."));
}

TEST_F(InstanceProcessTest, APathTooLongForASocketIsNone) {
    runtime = folder.folder(std::string(200, 'l') + "/" + std::string(200, 'o'));
    const auto first = start();
    ASSERT_TRUE(lines.await("runs"));
    EXPECT_EQ(start()->wait(20s), 0);
    EXPECT_TRUE(lines.await("request d"));
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
