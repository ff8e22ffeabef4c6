// What only PipeWire does: periods that change, sinks that are switched, and the choice between it
// and PulseAudio.
#include "platform/PreferredAudioOutput.h"
#include "platform/linux/PipeWireStream.h"
#include "platform/linux/PulseAudioServer.h"
#include "platform/output/ServerAudioOutput.h"
#include "platform/qt/QtScheduler.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/audio/Signals.h"
#include "tests/support/MainLoop.h"
#include "tests/support/PipeWireClient.h"
#include "tests/support/PipeWireRecorder.h"
#include "tests/support/PipeWireServer.h"
#include "tests/support/PulseServer.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/ThreadWaits.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <numbers>
#include <string>
#include <string_view>
#include <vector>

namespace morvel {
namespace {

using namespace std::chrono_literals;
using test::PipeWireRecorder;
using test::PipeWireServer;

// The events as text, in their order, and a tone to be heard.
class OutputWatch {
public:
    void attach(AudioOutput& output) {
        output.connect(
            [this](float* interleaved, std::uint32_t frames) { render(interleaved, frames); },
            {[this] { events.emplace_back("started"); },
             [this](const std::string& error) { events.push_back("failed: " + error); },
             [this] { events.emplace_back("changed"); }});
    }
    int failures() const {
        int count = 0;
        for (const std::string& event : events)
            count += event.starts_with("failed") ? 1 : 0;
        return count;
    }

    static constexpr double frequency = 1000;
    static constexpr float amplitude = 0.5F;
    std::vector<std::string> events;
    std::atomic<int> calls = 0;

private:
    void render(float* interleaved, std::uint32_t frames) {
        ++calls;
        for (std::uint32_t i = 0; i < frames; ++i) {
            const double angle =
                2 * std::numbers::pi * frequency * static_cast<double>(frame_++) / 44100;
            interleaved[2 * i] = amplitude * static_cast<float>(std::sin(angle));
            interleaved[2 * i + 1] = -interleaved[2 * i];
        }
    }
    std::uint64_t frame_ = 0;
};

// How often the threads of this process but the main one have gone to sleep so far.
// By thread: its number and its name.
std::map<std::string, std::uint64_t> sleepsBesidesMain() {
    constexpr std::string_view label = "voluntary_ctxt_switches:";
    std::map<std::string, std::uint64_t> sleeps;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        const std::string number = entry.path().filename().string();
        if (number == std::to_string(getpid()))
            continue;
        const std::string status = readText(entry.path() / "status");
        sleeps[number + " " + readText(entry.path() / "comm")] =
            std::stoull(status.substr(status.find('\n' + std::string(label)) + 1 + label.size()));
    }
    return sleeps;
}

class PipeWireOutput : public testing::Test {
protected:
    PipeWireOutput() {
        // NOLINTBEGIN(concurrency-mt-unsafe)
        setenv("PIPEWIRE_RUNTIME_DIR", server.runtimeFolder().c_str(), 1);
        setenv("PULSE_SERVER", pulse.address().c_str(), 1);
        // NOLINTEND(concurrency-mt-unsafe)
    }
    void build() {
        output = std::make_unique<ServerAudioOutput>(pipeWireServer, scheduler, log);
        watch.attach(*output);
    }
    void buildChoice() {
        output = std::make_unique<PreferredAudioOutput>(
            std::make_unique<ServerAudioOutput>(pipeWireServer, scheduler, log),
            std::make_unique<ServerAudioOutput>(pulseAudioServer, scheduler, log), scheduler);
        watch.attach(*output);
    }
    bool until(const std::function<bool()>& done, std::chrono::milliseconds limit = 10s) {
        const auto polling = scheduler.repeating(0.002, [] {});
        return test::runUntil(done, limit);
    }
    bool awaitState(AudioOutputState state) {
        return until([&] { return output->state() == state; });
    }
    // A start that has waited for a server knows what came of that, and one that has met a lock for
    // a moment does not.
    void startAtOnce() {
        const long waits = test::waitsOfThisThread();
        output->start();
        EXPECT_TRUE(test::waitsOfThisThread() == waits ||
                    output->state() == AudioOutputState::starting);
    }
    // Of five seconds of what the sink plays, how many half seconds on end are the tone alone;
    // without the recorder's own beginning.
    int wholeHalfSecondsOnEnd() {
        PipeWireRecorder recorder(PipeWireServer::speaker, server.address());
        recorder.await(5 * 44100);
        const auto recording = recorder.finish();
        constexpr std::size_t piece = 22050;
        const auto left = test::channel(recording.interleaved, 0);
        const auto right = test::channel(recording.interleaved, 1);
        int onEnd = 0;
        int most = 0;
        for (std::size_t from = piece; from + piece <= left.size(); from += piece) {
            const auto isWhole = [&](const std::vector<float>& side) {
                const auto fit = test::fitSine({side.data() + from, piece}, OutputWatch::frequency);
                return std::abs(fit.amplitude - OutputWatch::amplitude) < 0.005 &&
                       fit.residualRms < 0.005;
            };
            onEnd = isWhole(left) && isWhole(right) ? onEnd + 1 : 0;
            most = std::max(most, onEnd);
        }
        return most;
    }
    void wait(double seconds) {
        bool over = false;
        const auto timer = scheduler.after(seconds, [&] { over = true; });
        test::runUntil([&] { return over; });
    }

    TemporaryFolder folder;
    PipeWireServer server{folder.path() / "pipewire"};
    test::PulseServer pulse{folder.path() / "pulse"};
    QtScheduler scheduler;
    SimulatedLog log;
    OutputWatch watch;
    std::unique_ptr<AudioOutput> output;
};

TEST_F(PipeWireOutput, SoundReachesTheSinkAsItWasRenderedAndWithoutAGap) {
    server.start();
    build();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    wait(0.5);
    // The machine takes the processor away now and then. A gap of the output's own would come again
    // and again: one a second is found.
    int onEnd = 0;
    for (int attempt = 0; attempt < 8 && onEnd < 2; ++attempt)
        onEnd = wholeHalfSecondsOnEnd();
    EXPECT_GE(onEnd, 2) << "gaps or clicks";
    EXPECT_EQ(watch.events, std::vector<std::string>{"started"});
}

TEST_F(PipeWireOutput, TheGrantedPeriodIsReadBackAndFollowed) {
    server.start();
    build();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    // 128 frames of a server at 48,000 Hz.
    EXPECT_TRUE(until([&] { return output->periodFrames() == 118; })) << output->periodFrames();
    EXPECT_TRUE(until([&] { return output->latencyFrames() >= 118; })) << output->latencyFrames();
    const auto client = test::PipeWireClient::connect(server.address());
    ASSERT_TRUE(client);
    client->forcePeriod(512);
    EXPECT_TRUE(until([&] { return output->periodFrames() == 470; })) << output->periodFrames();
}

TEST_F(PipeWireOutput, SoundMovesToTheNewDefaultSinkWithinASecond) {
    server.start();
    build();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    PipeWireRecorder first(PipeWireServer::speaker, server.address());
    PipeWireRecorder second(PipeWireServer::headphones, server.address());
    ASSERT_TRUE(until([&] { return first.loudest() > 0.4F; }));
    EXPECT_EQ(second.loudest(), 0);
    const auto client = test::PipeWireClient::connect(server.address());
    ASSERT_TRUE(client);
    const auto switched = std::chrono::steady_clock::now();
    client->setDefaultSink(PipeWireServer::headphones);
    EXPECT_TRUE(until([&] { return second.loudest() > 0.4F; }, 1s));
    std::printf("moved after %.0f ms\n", std::chrono::duration<double, std::milli>(
                                             std::chrono::steady_clock::now() - switched)
                                             .count());
    EXPECT_TRUE(until([&] { return watch.events.size() >= 2; }, 2s));
    EXPECT_EQ(watch.events, (std::vector<std::string>{"started", "changed"}));
    EXPECT_EQ(output->state(), AudioOutputState::running);
}

TEST_F(PipeWireOutput, NothingIsRenderedAndNobodyWakesWhilePaused) {
    server.start();
    build();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    ASSERT_TRUE(until([&] { return watch.calls > 10; }));
    output->pause();
    EXPECT_EQ(output->state(), AudioOutputState::paused);
    wait(0.3);
    const int calls = watch.calls;
    const auto sleeps = sleepsBesidesMain();
    wait(0.5);
    EXPECT_EQ(watch.calls, calls);
    EXPECT_EQ(sleepsBesidesMain(), sleeps);
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    EXPECT_TRUE(until([&] { return watch.calls > calls + 10; }));
    EXPECT_EQ(watch.events, std::vector<std::string>{"started"});
}

TEST_F(PipeWireOutput, APauseBetweenTwoThoughtsIsNone) {
    server.start();
    build();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    for (int i = 0; i < 50; ++i) {
        output->pause();
        output->start();
    }
    const int calls = watch.calls;
    EXPECT_TRUE(awaitState(AudioOutputState::running));
    EXPECT_TRUE(until([&] { return watch.calls > calls + 10; }));
    EXPECT_EQ(watch.failures(), 0);
}

TEST_F(PipeWireOutput, AServerThatHangsFromTheBeginningIsLostUntilItAnswers) {
    server.start();
    server.signal(SIGSTOP);
    build();
    startAtOnce();
    ASSERT_TRUE(awaitState(AudioOutputState::lost));
    wait(0.05);
    EXPECT_EQ(watch.events, std::vector<std::string>{"failed: the sound server does not answer"});
    server.signal(SIGCONT);
    EXPECT_TRUE(awaitState(AudioOutputState::running));
    EXPECT_TRUE(until([&] { return watch.events.size() == 2; }));
    EXPECT_EQ(watch.events.back(), "changed");
}

TEST_F(PipeWireOutput, AServerWithoutADeviceIsLostUntilThereIsOne) {
    server.start();
    server.stopManager();
    build();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::lost));
    wait(0.05);
    EXPECT_EQ(watch.events, std::vector<std::string>{"failed: there is no device"});
    server.startManager();
    EXPECT_TRUE(awaitState(AudioOutputState::running));
    EXPECT_TRUE(until([&] { return watch.events.size() == 2; }));
    EXPECT_EQ(watch.events.back(), "changed");
}

TEST_F(PipeWireOutput, AServerWithoutASinkIsLostUntilThereIsOne) {
    server.use(PipeWireServer::Sinks::none);
    server.start();
    build();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::lost));
    ASSERT_TRUE(until([&] { return watch.events.size() == 1; }));
    std::printf("%s\n", watch.events.front().c_str());
    wait(2.5); // it tries again, and again
    EXPECT_EQ(watch.failures(), 1);
    EXPECT_EQ(watch.events.size(), 1U);
    const auto client = test::PipeWireClient::connect(server.address());
    ASSERT_TRUE(client);
    client->addSink("late");
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    EXPECT_TRUE(until([&] { return watch.events.size() == 2; }));
    EXPECT_EQ(watch.events.back(), "changed");
    PipeWireRecorder recorder("late", server.address());
    EXPECT_TRUE(until([&] { return recorder.loudest() > 0.4F; }));
}

TEST_F(PipeWireOutput, AnotherClockForTheSameSinkIsNoChange) {
    server.start();
    const auto client = test::PipeWireClient::connect(server.address());
    ASSERT_TRUE(client);
    client->setDefaultSink(PipeWireServer::headphones);
    ASSERT_TRUE(client->awaitDefaultSink(PipeWireServer::headphones));
    build();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    wait(0.3);
    server.tie(PipeWireServer::speaker, PipeWireServer::headphones); // whose clock goes first
    wait(0.3);
    const int calls = watch.calls;
    EXPECT_TRUE(until([&] { return watch.calls > calls + 10; }));
    EXPECT_EQ(watch.events, std::vector<std::string>{"started"});
}

TEST_F(PipeWireOutput, IsChosenWhereItAnswers) {
    server.start();
    pulse.start();
    buildChoice();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    EXPECT_EQ(output->serverName(), "PipeWire");
    PipeWireRecorder recorder(PipeWireServer::speaker, server.address());
    EXPECT_TRUE(until([&] { return recorder.loudest() > 0.4F; }));
}

TEST_F(PipeWireOutput, PulseAudioIsChosenWhereThereIsNoPipeWire) {
    pulse.start();
    buildChoice();
    const auto before = std::chrono::steady_clock::now();
    startAtOnce();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    const auto passed = std::chrono::steady_clock::now() - before;
    std::printf("running after %.0f ms\n",
                std::chrono::duration<double, std::milli>(passed).count());
    EXPECT_LT(passed, PreferredAudioOutput::Options{}.answerLimit) << "no answer is waited for";
    EXPECT_EQ(output->serverName(), "PulseAudio");
    audition::MonitorRecorder recorder(test::PulseServer::monitor, pulse.address());
    EXPECT_TRUE(until([&] { return recorder.loudest() > 0.4F; }));
    EXPECT_EQ(watch.events, std::vector<std::string>{"started"});
}

// As where the package of the server is not installed.
TEST_F(PipeWireOutput, ItsLibraryWithoutItsConfigurationSaysNothingAndPulseAudioIsChosen) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    setenv("PIPEWIRE_CONFIG_DIR", folder.folder("empty").c_str(), 1);
    writeText(server.address(), ""); // else the library would not even be loaded
    pulse.start();
    testing::internal::CaptureStderr();
    buildChoice();
    output->start();
    EXPECT_TRUE(awaitState(AudioOutputState::running));
    EXPECT_EQ(output->serverName(), "PulseAudio");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(PipeWireOutput, WithoutAnyServerTheFirstToComeIsTaken) {
    buildChoice();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::lost));
    ASSERT_TRUE(until([&] { return watch.events.size() == 1; }));
    EXPECT_EQ(watch.failures(), 1);
    server.start();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    EXPECT_TRUE(until([&] { return watch.events.size() == 2; }));
    EXPECT_EQ(watch.events.back(), "changed");
    EXPECT_EQ(output->serverName(), "PipeWire");
}

TEST_F(PipeWireOutput, NobodyWakesToLookForAServerWhilePaused) {
    buildChoice();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::lost));
    ASSERT_TRUE(until([&] { return watch.events.size() == 1; }));
    output->pause();
    wait(0.3);
    const auto sleeps = sleepsBesidesMain();
    wait(2.5);
    EXPECT_EQ(sleepsBesidesMain(), sleeps);
    EXPECT_EQ(watch.events.size(), 1U);
}

TEST_F(PipeWireOutput, APipeWireThatComesBackIsTakenAfterThePause) {
    pulse.start();
    buildChoice();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    ASSERT_EQ(output->serverName(), "PulseAudio");
    wait(2.5); // then PipeWire is looked for no more
    output->pause();
    server.start();
    output->start();
    EXPECT_TRUE(until([&] { return output->serverName() == "PipeWire"; }));
    EXPECT_TRUE(awaitState(AudioOutputState::running));
    PipeWireRecorder recorder(PipeWireServer::speaker, server.address());
    EXPECT_TRUE(until([&] { return recorder.loudest() > 0.4F; }));
}

TEST_F(PipeWireOutput, PulseAudioStepsInForAPipeWireThatStaysAway) {
    server.start();
    pulse.start();
    buildChoice();
    output->start();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    wait(0.1);
    server.kill();
    ASSERT_TRUE(awaitState(AudioOutputState::lost));
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    EXPECT_TRUE(until([&] { return watch.events.size() == 3; }));
    EXPECT_EQ(watch.failures(), 1);
    EXPECT_EQ(watch.events.back(), "changed");
    EXPECT_EQ(output->serverName(), "PulseAudio");
    audition::MonitorRecorder recorder(test::PulseServer::monitor, pulse.address());
    EXPECT_TRUE(until([&] { return recorder.loudest() > 0.4F; }));
}

} // namespace
} // namespace morvel
