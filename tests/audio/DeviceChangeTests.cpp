// The device changes under the engine while somebody types and the loop runs: the default is
// switched, the device is unplugged, the server dies.
#include "platform/linux/Descriptor.h"
#include "tests/audio/OutputFixture.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <future>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace morvel {
namespace {

using test::SoundServer;

constexpr double keyTone = 3000;
constexpr double loopSampleTone = 400;
constexpr float loopSampleLevel = 0.8F;
constexpr float loopGain = 0.25F;
constexpr float loopRate = 1.25F;
// What these make.
constexpr double loopTone = 500;
constexpr double loopLevel = 0.2;

// Both tones fill it with whole periods, so that neither is taken for the other.
constexpr std::size_t windowFrames = 441;
// Long enough to tell a rate from another that differs by a hundredth.
constexpr std::size_t endPieceFrames = 2205;
constexpr std::size_t endPieces = 20;

// The left channel of a recording, window by window.
class Heard {
public:
    explicit Heard(audition::MonitorRecording recording)
        : recording_(std::move(recording))
        , left_(test::channel(recording_.interleaved, 0)) {}

    // When each of the two tones sounds for the first time, and the last time; nothing if never.
    std::optional<std::uint64_t> first(double tone) const {
        for (std::size_t n = 0; n < windows(); ++n)
            if (sounds(n, tone))
                return time(n);
        return std::nullopt;
    }
    std::optional<std::uint64_t> last(double tone) const {
        for (std::size_t n = windows(); n > 0; --n)
            if (sounds(n - 1, tone))
                return time(n - 1);
        return std::nullopt;
    }
    std::uint64_t endTime() const { return windows() == 0 ? 0 : time(windows() - 1); }
    // How the last second fits the tone, as most pieces of it do: a busy machine spoils single
    // ones.
    test::SineFit end(double tone) const {
        std::vector<double> amplitudes;
        std::vector<double> residuals;
        for (const auto samples = std::span(left_); amplitudes.size() < endPieces;) {
            const std::size_t before = (amplitudes.size() + 1) * endPieceFrames;
            if (before > samples.size())
                return {};
            const auto fit =
                test::fitSine(samples.subspan(samples.size() - before, endPieceFrames), tone);
            amplitudes.push_back(fit.amplitude);
            residuals.push_back(fit.residualRms);
        }
        std::ranges::sort(amplitudes);
        std::ranges::sort(residuals);
        return {amplitudes[endPieces / 2], residuals[endPieces / 2]};
    }

private:
    std::size_t windows() const { return left_.size() / windowFrames; }
    std::uint64_t time(std::size_t window) const {
        return recording_.hostNanos((window + 1) * windowFrames - 1);
    }
    bool sounds(std::size_t window, double tone) const {
        const auto samples = std::span(left_).subspan(window * windowFrames, windowFrames);
        return test::fitSine(samples, tone).amplitude > loopLevel / 2;
    }

    audition::MonitorRecording recording_;
    std::vector<float> left_;
};

double milliseconds(std::uint64_t from, std::uint64_t to) {
    return (static_cast<double>(to) - static_cast<double>(from)) / 1e6;
}

// Hears of sockets that appear in a folder.
Descriptor watchFolder(const std::filesystem::path& folder) {
    Descriptor watch(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    ::inotify_add_watch(watch.get(), folder.c_str(), IN_CREATE | IN_MOVED_TO);
    return watch;
}

bool accepts(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.string().copy(address.sun_path, sizeof address.sun_path - 1);
    const Descriptor client(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return ::connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
           0;
}

// When a server takes a connection for the first time; 0: it does not. `watch` is of the socket's
// folder, from before the server began.
std::uint64_t firstAcceptance(const std::filesystem::path& path, const Descriptor& watch,
                              const Clock& clock) {
    using Time = std::chrono::steady_clock;
    pollfd appeared{watch.get(), POLLIN, 0};
    while (::poll(&appeared, 1, 20'000) == 1) {
        char events[4096];
        while (::read(watch.get(), events, sizeof events) > 0) {
        }
        // From when a socket is there it is a moment until somebody listens, of which no event
        // tells.
        for (const auto moment = Time::now() + std::chrono::milliseconds(50); Time::now() < moment;
             std::this_thread::yield())
            if (accepts(path))
                return clock.hostNanos();
    }
    return 0;
}

class DeviceChangeTest : public test::OutputTest {
protected:
    void SetUp() override {
        theme->set(SoundCategory::keyDown, test::sine(keyTone, 1323, 0.5F));
        theme->set(SoundCategory::dialLoop, test::sine(loopSampleTone, 44100, loopSampleLevel));
    }
    // The loop runs, somebody types, and both are heard.
    void playAndType() {
        server->start();
        build();
        ASSERT_TRUE(awaitState(AudioOutputState::running));
        engine->startLoop(SoundCategory::dialLoop, loopGain, loopRate);
        typing = scheduler.repeating(0.06, [this] { press(); });
        record();
        ASSERT_TRUE(heard());
    }
    // Lets the typist rest, so that the loop is heard alone at the end of the recording.
    void listenToTheLoopAlone() {
        typing.reset();
        wait(1.3);
    }
    void expectBothWithinASecond(const Heard& heard, std::uint64_t since) const {
        for (const double tone : {loopTone, keyTone}) {
            const auto begin = heard.first(tone);
            ASSERT_TRUE(begin) << tone << " Hz is never heard";
            std::printf("%.0f Hz heard after %.0f ms\n", tone, milliseconds(since, *begin));
            EXPECT_LT(milliseconds(since, *begin), 1000) << tone << " Hz";
        }
    }
    void expectTheLoopAsItWas(const Heard& heard) const {
        const auto fit = heard.end(loopTone);
        EXPECT_NEAR(fit.amplitude, loopLevel, 0.004) << "gain";
        EXPECT_LT(fit.residualRms, 0.005) << "rate";
        EXPECT_EQ(engine->loopCategory(), SoundCategory::dialLoop);
        EXPECT_EQ(engine->loopGain(), loopGain);
        EXPECT_EQ(engine->loopRate(), loopRate);
        EXPECT_LE(waits, few) << "keys waited";
        EXPECT_LT(longestWait, aMoment);
    }

    std::unique_ptr<Timer> typing;
};

TEST_P(DeviceChangeTest, SoundMovesToTheNewDefaultSinkWithinASecondAndTheLoopGoesOnAsItWas) {
    playAndType();
    const auto second = server->record(SoundServer::headphones);
    wait(0.3);
    ASSERT_EQ(second->loudest(), 0);
    const std::uint64_t switched = clock.hostNanos();
    server->setDefaultSink(SoundServer::headphones);
    wait(1.5);
    listenToTheLoopAlone();

    const Heard before(recorder->finish());
    const Heard after(second->finish());
    expectBothWithinASecond(after, switched);
    expectTheLoopAsItWas(after);
    ASSERT_GT(milliseconds(switched, before.endTime()), 2000) << "the old sink was not listened to";
    for (const double tone : {loopTone, keyTone}) {
        ASSERT_TRUE(before.last(tone)) << tone << " Hz was never heard";
        EXPECT_LT(milliseconds(switched, *before.last(tone)), 1000) << tone << " Hz stayed behind";
    }
}

TEST_P(DeviceChangeTest, SoundMovesOnWithinASecondWhenItsSinkIsUnplugged) {
    playAndType();
    recorder.reset();
    const auto second = server->record(SoundServer::headphones);
    wait(0.3);
    ASSERT_EQ(second->loudest(), 0);
    const std::uint64_t unplugged = clock.hostNanos();
    server->removeSink(SoundServer::speaker);
    wait(1.5);
    listenToTheLoopAlone();

    const Heard after(second->finish());
    expectBothWithinASecond(after, unplugged);
    expectTheLoopAsItWas(after);
    EXPECT_EQ(output->state(), AudioOutputState::running);
}

TEST_P(DeviceChangeTest, SoundIsBackWithinASecondOfAKilledServersReturnAndTheLoopAsItWas) {
    asInTheProgram = true;
    playAndType();
    recorder.reset();
    server->kill();
    wait(1.5);
    EXPECT_EQ(output->state(), AudioOutputState::lost);
    EXPECT_EQ(lineCount("AudioEngine failed to start: "), 1);
    const std::filesystem::path socket = server->socket();
    const Descriptor watch = watchFolder(socket.parent_path());
    auto acceptance =
        std::async(std::launch::async, [&] { return firstAcceptance(socket, watch, clock); });
    server->start();
    const std::uint64_t returned = acceptance.get();
    ASSERT_NE(returned, 0U);
    record();
    wait(1.5);
    listenToTheLoopAlone();

    const Heard after(recorder->finish());
    expectBothWithinASecond(after, returned);
    expectTheLoopAsItWas(after);
    EXPECT_EQ(lineCount("AudioEngine failed to start: "), 1);
    EXPECT_EQ(lineCount("Audio configuration changed"), 1);
    EXPECT_EQ(lineCount("Audio engine restarted"), 1);
}

INSTANTIATE_TEST_SUITE_P(Servers, DeviceChangeTest,
                         testing::Values(test::pulseAudioKind, test::pipeWireKind),
                         [](const auto& server) { return std::string(server.param.name); });

} // namespace
} // namespace morvel
