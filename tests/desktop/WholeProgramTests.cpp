// The program as a user has it: a real X server, a real sound server, real key presses.

#include "platform/SystemRandom.h"
#include "platform/linux/SystemClock.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/desktop/MorvelProcess.h"
#include "tests/support/BusServer.h"
#include "tests/support/LinePipe.h"
#include "tests/support/PipeWireClient.h"
#include "tests/support/PipeWireRecorder.h"
#include "tests/support/PipeWireServer.h"
#include "tests/support/ProcessWakeUps.h"
#include "tests/support/PulseServer.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XServer.h"
#include "tools/audition/Audition.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace morvel {
namespace {

using namespace std::chrono_literals;
using audition::KeyInjector;

constexpr double leastCorrelation = 0.6;
constexpr double latestMs = 200; // with sound that is unhurried
constexpr const char* installed = "event tap installed";

class WholeProgramTest : public testing::Test {
protected:
    std::vector<std::string> environment(std::vector<std::string> more = {}) const {
        more.push_back("DISPLAY=" + x.display());
        more.push_back("PULSE_SERVER=" + sound.address());
        more.emplace_back(test::PulseServer::unhurried);
        return more;
    }

    std::string home(const std::string& name) const {
        const auto path = folder.path() / name;
        std::filesystem::create_directories(path);
        return path.string();
    }

    TemporaryFolder folder;
    test::XServer x;
    test::PulseServer sound{folder.path() / "sound"};
};

std::shared_ptr<const SoundTheme> mechanical() {
    static SimulatedLog log;
    static SystemRandom random;
    const ThemeCatalog catalog(MORVEL_SOURCE_THEMES, {}, log);
    const auto theme = SoundTheme::load("mechanical", catalog, log, random);
    return theme ? theme.value() : nullptr;
}

std::vector<SoundCategory> groupCategories() {
    std::vector<SoundCategory> result;
    for (const SoundCategory category : allSoundCategories())
        if (group(category))
            result.push_back(category);
    return result;
}

TEST_F(WholeProgramTest, EveryPressAndReleaseTypedSoundsOnceAndAsItsOwnKindOfKey) {
    sound.start();
    test::MorvelProcess morvel(home("user"), environment());
    ASSERT_TRUE(morvel.awaitLine(installed));
    ASSERT_TRUE(morvel.awaitLine("Audio output"));
    KeyInjector keys(x.display());
    const auto theme = mechanical();
    ASSERT_TRUE(theme);
    const auto categories = groupCategories();
    const audition::SoundMatcher matcher(*theme, categories);
    const auto script =
        audition::typingScript("Type, Return\n\tthen delete\b\b and ⌃c ⌥x ⌘v ⎋ ⇪so⇪ on");

    const auto [strokes, recording] =
        audition::takeTyping(keys, script, "speaker.monitor", sound.address());
    const auto comparison = audition::compare(strokes, matcher.listen(recording.interleaved),
                                              recording, leastCorrelation, latestMs);
    EXPECT_THAT(comparison.complaints, testing::IsEmpty());
    std::size_t sounding = 0;
    for (const auto& stroke : script)
        sounding += stroke.sound ? 1 : 0;
    EXPECT_EQ(comparison.presses + comparison.releases, sounding);
    EXPECT_GT(sounding, 80u);
}

TEST_F(WholeProgramTest, WhereThereArePipeWireAndPulseAudioAKeySoundsThroughPipeWire) {
    sound.start();
    test::PipeWireServer server(folder.path() / "pipewire");
    server.start();
    test::MorvelProcess morvel(home("user"),
                               environment({"PIPEWIRE_RUNTIME_DIR=" + server.runtimeFolder()}));
    ASSERT_TRUE(morvel.awaitLine(installed));
    ASSERT_TRUE(morvel.awaitLine("Audio output: PipeWire, 44100 Hz stereo, period 118 frames"));
    KeyInjector keys(x.display());
    test::PipeWireRecorder recorder(test::PipeWireServer::speaker, server.address());
    keys.press(XKB_KEY_space);
    EXPECT_TRUE(recorder.awaitSound(0.05F, 5s));
    morvel.drain();
    EXPECT_EQ(morvel.count("Audio output"), 1u);
}

// Whether a file whose name begins so is in the process's memory.
bool holds(test::MorvelProcess& morvel, const std::string& name) {
    std::ifstream maps("/proc/" + std::to_string(morvel.process().pid()) + "/maps");
    for (std::string line; std::getline(maps, line);)
        if (line.find("/" + name) != std::string::npos)
            return true;
    return false;
}

TEST_F(WholeProgramTest, WhereOneSoundServerPlaysTheLibraryOfTheOtherTakesNoMemory) {
    sound.start();
    test::PipeWireServer server(folder.path() / "pipewire");
    server.start();
    test::MorvelProcess throughPulse(home("pulse"), environment());
    test::MorvelProcess throughPipeWire(
        home("pipewire"), environment({"PIPEWIRE_RUNTIME_DIR=" + server.runtimeFolder()}));
    ASSERT_TRUE(throughPulse.awaitLine("Audio output: PulseAudio"));
    EXPECT_TRUE(holds(throughPulse, "libpulse.so"));
    EXPECT_FALSE(holds(throughPulse, "libpipewire-0.3.so"));
    ASSERT_TRUE(throughPipeWire.awaitLine("Audio output: PipeWire"));
    EXPECT_TRUE(holds(throughPipeWire, "libpipewire-0.3.so"));
    EXPECT_FALSE(holds(throughPipeWire, "libpulse.so"));
}

TEST_F(WholeProgramTest, WhileSomebodyTypesSoundMovesToTheNewDefaultSinkWithinASecond) {
    test::PipeWireServer server(folder.path() / "pipewire");
    server.start();
    test::MorvelProcess morvel(home("user"),
                               environment({"PIPEWIRE_RUNTIME_DIR=" + server.runtimeFolder()}));
    ASSERT_TRUE(morvel.awaitLine(installed));
    ASSERT_TRUE(morvel.awaitLine("Audio output: PipeWire"));
    const auto client = test::PipeWireClient::connect(server.address());
    ASSERT_TRUE(client);
    test::PipeWireRecorder first(test::PipeWireServer::speaker, server.address());
    test::PipeWireRecorder second(test::PipeWireServer::headphones, server.address());
    const std::jthread typist([display = x.display()](const std::stop_token& stop) {
        KeyInjector keys(display);
        while (!stop.stop_requested())
            audition::perform(keys, audition::typingScript("a"));
    });
    ASSERT_TRUE(first.awaitSound(0.02F, 5s));
    ASSERT_EQ(second.loudest(), 0);
    const std::uint64_t switched = SystemClock().hostNanos();
    client->setDefaultSink(test::PipeWireServer::headphones);
    ASSERT_TRUE(second.awaitSound(0.02F, 10s));
    const auto recording = second.finish();
    const auto sample = std::ranges::find_if(recording.interleaved,
                                             [](float value) { return std::abs(value) > 0.02F; });
    const auto frame = static_cast<std::size_t>(sample - recording.interleaved.begin()) / 2;
    EXPECT_LT(recording.hostNanos(frame) - switched, 1'000'000'000U);
    EXPECT_TRUE(morvel.awaitLine("Audio engine restarted (running=true)"));
}

TEST_F(WholeProgramTest, TerminationReleasesTheTapAndExitsWithZero) {
    sound.start();
    for (const int signal : {SIGTERM, SIGINT}) {
        test::MorvelProcess morvel(home("user"), environment());
        ASSERT_TRUE(morvel.awaitLine(installed));
        morvel.process().signal(signal);
        EXPECT_EQ(morvel.process().wait(10s), 0);
        morvel.drain();
        EXPECT_EQ(morvel.count("event tap removed"), 1u);
    }
}

TEST_F(WholeProgramTest, AnXServerThatGoesAwayEndsTheProgramCleanly) {
    sound.start();
    test::MorvelProcess morvel(home("user"), environment());
    ASSERT_TRUE(morvel.awaitLine(installed));
    x.process().signal(SIGKILL);
    EXPECT_EQ(morvel.process().wait(10s), 0);
    morvel.drain();
    EXPECT_EQ(morvel.count("X server has gone away"), 1u);
    EXPECT_EQ(morvel.count("event tap removed"), 1u);
}

TEST_F(WholeProgramTest, WithoutASoundServerItIsSilentWithOneLineAndSoundsOnceThereIsOne) {
    test::MorvelProcess morvel(home("user"), environment());
    ASSERT_TRUE(morvel.awaitLine(installed));
    ASSERT_TRUE(morvel.awaitLine("AudioEngine failed to start"));
    KeyInjector keys(x.display());
    for (int i = 0; i < 20; ++i) {
        keys.press(XKB_KEY_a);
        keys.release(XKB_KEY_a);
    }
    sound.start();
    ASSERT_TRUE(morvel.awaitLine("Audio engine restarted (running=true)"));
    EXPECT_EQ(morvel.count("AudioEngine failed to start"), 1u);

    audition::MonitorRecorder recorder("speaker.monitor", sound.address());
    keys.press(XKB_KEY_space);
    EXPECT_TRUE(recorder.awaitSound(0.05F, 5s));
}

TEST_F(WholeProgramTest, WithoutADisplayItEndsWithOneLine) {
    test::MorvelProcess morvel(home("user"), {"DISPLAY=", "PULSE_SERVER=" + sound.address()});
    EXPECT_EQ(morvel.process().wait(10s), 1);
    morvel.drain();
    EXPECT_THAT(morvel.lines(), testing::ElementsAre(testing::HasSubstr("There is no display")));
}

TEST_F(WholeProgramTest, AnUninstalledThemeFallsBackToMechanicalForGood) {
    sound.start();
    const std::string user = home("user");
    const auto settings = std::filesystem::path(user) / "Morvel" / "settings.json";
    std::filesystem::create_directories(settings.parent_path());
    std::ofstream(settings) << R"({"theme.id": "no-such-theme"})";
    {
        test::MorvelProcess morvel(user, environment());
        ASSERT_TRUE(morvel.awaitLine(
            "[Morvel] Theme 'no-such-theme' unavailable; fell back to 'mechanical'"));
        ASSERT_TRUE(morvel.awaitLine(installed));
        morvel.process().signal(SIGTERM);
        EXPECT_EQ(morvel.process().wait(10s), 0);
    }
    test::MorvelProcess again(user, environment());
    ASSERT_TRUE(again.awaitLine(installed));
    EXPECT_EQ(again.count("fell back"), 0u);
}

TEST_F(WholeProgramTest, TrustThatIsRevokedAndReturnsStopsAndStartsTheTap) {
    sound.start();
    test::MorvelProcess morvel(home("user"), environment({"MORVEL_SIMULATE_UNTRUSTED_SECONDS=1"}));
    ASSERT_TRUE(morvel.awaitLine("SIMULATING untrusted for 1s"));
    ASSERT_TRUE(morvel.awaitLine("not starting — no Accessibility permission"));
    ASSERT_TRUE(morvel.awaitLine("Accessibility trust changed -> TRUSTED"));
    ASSERT_TRUE(morvel.awaitLine(installed));

    test::MorvelProcess revoked(home("other"),
                                environment({"MORVEL_SIMULATE_REVOKE_AFTER_SECONDS=1"}));
    ASSERT_TRUE(revoked.awaitLine(installed));
    ASSERT_TRUE(revoked.awaitLine("Accessibility trust changed -> NOT TRUSTED"));
    ASSERT_TRUE(revoked.awaitLine("event tap removed"));
}

// What anybody on a bus asks for that keeps the machine from sleeping or its screen from locking:
// the services for it all call that the same.
class InhibitionWatch {
public:
    InhibitionWatch(const std::string& bus, const std::filesystem::path& folder)
        : bus_(bus)
        , lines_(folder / "inhibitions")
        , monitor_({.command = {"dbus-monitor", "--address", bus,
                                std::string("member='") + request_ + '\''},
                    .environment = {},
                    .standardErrorFile = {},
                    .inheritedDescriptors = {},
                    .standardOutputFile = lines_.path()}) {
        if (!lines_.await("member=NameLost"))
            throw std::runtime_error("nobody watches the bus");
    }
    // How many there were; a last one, of the test's own, tells that none was missed.
    std::size_t count() {
        test::ChildProcess own(
            {.command = {"dbus-send", "--bus=" + bus_, "--type=method_call",
                         "--dest=org.freedesktop.login1", "/org/freedesktop/login1",
                         std::string("org.freedesktop.login1.Manager.") + request_, "string:last"},
             .environment = {},
             .standardErrorFile = {},
             .inheritedDescriptors = {}});
        EXPECT_TRUE(lines_.await("string \"last\""));
        return lines_.count(std::string("member=") + request_) - 1;
    }

private:
    static constexpr const char* request_ = "Inhibit";
    std::string bus_;
    test::LinePipe lines_;
    test::ChildProcess monitor_;
};

// One of each output, side by side, so that the minute passes once.
TEST_F(WholeProgramTest, OnceOutputSleepsItWakesAtMostOnceASecondUntilTheNextKeySounds) {
    const test::BusServer bus;
    InhibitionWatch inhibitions(bus.address(), folder.path());
    sound.start();
    test::PipeWireServer server(folder.path() / "pipewire");
    server.start();
    const std::vector<std::string> common = {"MORVEL_KEEP_WARM_SECONDS=1",
                                             "DBUS_SESSION_BUS_ADDRESS=" + bus.address(),
                                             "DBUS_SYSTEM_BUS_ADDRESS=" + bus.address()};
    test::MorvelProcess throughPulse(home("pulse"), environment(common));
    auto withPipeWire = common;
    withPipeWire.push_back("PIPEWIRE_RUNTIME_DIR=" + server.runtimeFolder());
    test::MorvelProcess throughPipeWire(home("pipewire"), environment(withPipeWire));
    ASSERT_TRUE(throughPulse.awaitLine("Audio output: PulseAudio"));
    ASSERT_TRUE(throughPipeWire.awaitLine("Audio output: PipeWire"));
    using Counts = std::array<std::uint64_t, 2>;
    const auto wakeUpsSoFar = [&] {
        return Counts{test::wakeUpsOf(throughPulse.process().pid()),
                      test::wakeUpsOf(throughPipeWire.process().pid())};
    };
    const auto wakeUps = [&](std::chrono::seconds length) {
        const Counts before = wakeUpsSoFar();
        std::this_thread::sleep_for(length); // the time itself is what is measured
        const Counts after = wakeUpsSoFar();
        return Counts{after[0] - before[0], after[1] - before[1]};
    };
    Counts inOneSecond{};
    for (int second = 0; second < 20 && std::ranges::max(inOneSecond = wakeUps(1s)) > 5; ++second) {
    }
    ASSERT_LE(std::ranges::max(inOneSecond), 5u) << "output runs on";
    const Counts inAMinute = wakeUps(60s);
    std::printf("wake-ups in a minute: PulseAudio %llu, PipeWire %llu\n",
                static_cast<unsigned long long>(inAMinute[0]),
                static_cast<unsigned long long>(inAMinute[1]));
    EXPECT_LE(inAMinute[0], 60u) << "PulseAudio";
    EXPECT_LE(inAMinute[1], 60u) << "PipeWire";

    KeyInjector keys(x.display());
    const audition::MonitorRecorder pulse(test::PulseServer::monitor, sound.address());
    const test::PipeWireRecorder pipeWire(test::PipeWireServer::speaker, server.address());
    keys.press(XKB_KEY_a);
    EXPECT_TRUE(pulse.awaitSound(0.02F, 2s));
    EXPECT_TRUE(pipeWire.awaitSound(0.02F, 2s));
    keys.release(XKB_KEY_a);
    EXPECT_EQ(inhibitions.count(), 0U) << "neither awake nor asleep it keeps the machine awake";
}

} // namespace
} // namespace morvel
