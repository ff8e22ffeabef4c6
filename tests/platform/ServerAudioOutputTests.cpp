// When an output tries its server again, with servers that are not there.

#include "platform/linux/SocketWatch.h"
#include "platform/output/ServerAudioOutput.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace morvel {
namespace {

using namespace std::chrono_literals;

// What the outputs' own threads have come to, for the test's to await.
class Progress {
public:
    void tell() {
        { const std::lock_guard lock(mutex_); } // who looks now sees it, or waits already
        told_.notify_all();
    }
    bool await(const std::function<bool()>& done) {
        std::unique_lock lock(mutex_);
        return told_.wait_for(lock, 20s, done);
    }

private:
    std::mutex mutex_;
    std::condition_variable told_;
};

Progress progress; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

// An output that has lost its server reports that.
class ToldTime : public VirtualTime {
public:
    void async(std::function<void()> work) override {
        VirtualTime::async(std::move(work));
        progress.tell();
    }
};

// What the environment says of the socket, which is all that tells the two servers apart.
enum class Socket { unknown, known };

template <Socket socket>
class AbsentServer : public ServerStream {
public:
    std::optional<std::string> open(const Request&) override {
        ++attempts;
        progress.tell();
        return "no server";
    }
    void rest() override {}
    void resume() override {}
    void close() override {}
    Flow flow() const override { return Flow::closed; }
    std::string error() const override { return "no server"; }
    std::uint32_t latencyFrames(std::uint32_t period) const override { return period; }

    static std::unique_ptr<ServerStream> make(Listener&) {
        return std::make_unique<AbsentServer>();
    }
    static inline std::atomic<int> attempts = 0;
};
using Unknown = AbsentServer<Socket::unknown>;
using Known = AbsentServer<Socket::known>;

std::filesystem::path knownSocket; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

const OutputServer unknownServer{
    "Unknown", [](const Environment&) { return std::filesystem::path(); }, Unknown::make};
const OutputServer knownServer{"Known", [](const Environment&) { return knownSocket; }, Known::make,
                               watchSocket};

TEST(ServerAudioOutput, AMissingSocketIsNotTriedAgainForASoundButOnceItAppears) {
    Unknown::attempts = 0;
    Known::attempts = 0;
    const TemporaryFolder folder;
    knownSocket = folder.path() / "socket";
    ToldTime time;
    SimulatedLog log;
    ServerAudioOutput::Options options;
    options.firstRetry = 30s;
    options.longestRetry = 30s;
    options.missingRetry = 30s;
    ServerAudioOutput known(knownServer, time, log, options);
    ServerAudioOutput unknown(unknownServer, time, log, options);
    for (ServerAudioOutput* const output : {&known, &unknown}) {
        output->connect([](float*, std::uint32_t) {}, {});
        output->start();
        ASSERT_TRUE(progress.await([output] { return output->state() == AudioOutputState::lost; }));
    }
    known.start(); // first, so that it would also be tried first
    unknown.start();
    EXPECT_TRUE(progress.await([] { return Unknown::attempts == 2; })) << "hastened";
    EXPECT_EQ(Known::attempts, 1);
    const auto socket = folder.file("socket", "");
    EXPECT_TRUE(progress.await([] { return Known::attempts == 2; }));
}

} // namespace
} // namespace morvel
