#include "app/login/LaunchAtLogin.h"
#include "app/settings/JsonDefaultsStore.h"
#include "keyboard/KeyboardEngine.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedApplicationActivation.h"
#include "platform/simulated/SimulatedKeyTap.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/SimulatedProcessTable.h"
#include "platform/simulated/SimulatedTrustSource.h"
#include "platform/simulated/VirtualTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace morvel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Remembers what the engine asked it for; every category has the same short sound.
class RecordingResolver : public SampleResolving {
public:
    RecordingResolver() {
        auto buffer = std::make_shared<PcmBuffer>();
        for (auto& channel : buffer->channels)
            channel.assign(100, 0.5F);
        buffer_ = std::move(buffer);
    }

    std::optional<ResolvedSample> sample(SoundCategory category) const override {
        asked.push_back(category);
        return ResolvedSample{buffer_, 1, 0};
    }

    mutable std::vector<SoundCategory> asked;

private:
    std::shared_ptr<const PcmBuffer> buffer_;
};

class KeyboardEngineTest : public testing::Test {
protected:
    static AccessibilityPermission::Services trustServices(KeyboardEngineTest& t) {
        return {t.trust, t.processes, t.time, t.time, t.activation, t.log};
    }

    KeyboardEngineTest() {
        audio.setResolver(resolver);
        log.clear();
    }

    static KeyEvent key(std::uint32_t type, std::int64_t code = neutralKeyCode,
                        std::int64_t autoRepeat = 0) {
        return {type, code, 0, autoRepeat, 0};
    }

    std::vector<std::string> linesAbout(const std::string& text) const {
        std::vector<std::string> result;
        for (const std::string& line : log.lines())
            if (line.find(text) != std::string::npos)
                result.push_back(line);
        return result;
    }

    SimulatedLog log;
    VirtualTime time;
    ScriptedRandom random{{0}};
    OfflineAudioOutput output;
    AudioEngine audio{{output, time, time, random, log}, false};
    std::shared_ptr<RecordingResolver> resolver = std::make_shared<RecordingResolver>();
    SimulatedLoginItem loginItem;
    LaunchAtLogin login{loginItem, {}, {}, log};
    JsonDefaultsStore defaults{"/dev/null/settings.json", time, log};
    AppSettings settings{defaults, audio, login, log};
    SimulatedTrustSource trust{true};
    SimulatedProcessTable processes{1, {}};
    SimulatedApplicationActivation activation;
    AccessibilityPermission permission{
        trustServices(*this), {}, [](const std::string&) { return std::nullopt; }};
    SimulatedKeyTap tap;
    KeyboardEngine::Services services{tap, settings, permission, audio, time, log};
    KeyboardEngine keyboard{services, false};
};

TEST_F(KeyboardEngineTest, KeysPlayTheirCategories) {
    ASSERT_TRUE(keyboard.start());
    tap.send(key(keyDownEventType));
    tap.send(key(keyUpEventType, 49));
    tap.send({flagsChangedEventType, 56, 0x2, 0, 0});
    EXPECT_THAT(resolver->asked, ElementsAre(SoundCategory::alphaDown, SoundCategory::spaceUp,
                                             SoundCategory::shiftDown));
}

TEST_F(KeyboardEngineTest, ARepeatedKeyDownPlaysNothing) {
    ASSERT_TRUE(keyboard.start());
    for (int i = 0; i < 5; ++i)
        tap.send(key(keyDownEventType, neutralKeyCode, 1));
    EXPECT_TRUE(resolver->asked.empty());
}

TEST_F(KeyboardEngineTest, NothingPlaysWhileKeyboardSoundsAreOffAndTheyPlayAgainOnceOn) {
    ASSERT_TRUE(keyboard.start());
    settings.setKeyboardEnabled(false);
    tap.send(key(keyDownEventType));
    tap.send({flagsChangedEventType, 56, 0x2, 0, 0});
    EXPECT_TRUE(resolver->asked.empty());
    settings.setKeyboardEnabled(true);
    tap.send(key(keyUpEventType));
    EXPECT_THAT(resolver->asked, ElementsAre(SoundCategory::alphaUp));
}

TEST_F(KeyboardEngineTest, AnUnclassifiedEventPlaysNothing) {
    ASSERT_TRUE(keyboard.start());
    tap.send({flagsChangedEventType, 200, ~std::uint64_t{0}, 0, 0});
    tap.send(key(13));
    EXPECT_TRUE(resolver->asked.empty());
}

TEST_F(KeyboardEngineTest, StartWithoutTrustReturnsFalseAndInstallsNothing) {
    trust.trusted = false;
    permission.refresh();
    EXPECT_FALSE(keyboard.start());
    EXPECT_EQ(tap.installations, 0);
    EXPECT_THAT(linesAbout("KeyboardEngine"),
                ElementsAre("[Morvel] KeyboardEngine: not starting — no Accessibility permission"));
}

TEST_F(KeyboardEngineTest, ASecondStartReturnsTrueWithoutASecondTap) {
    EXPECT_TRUE(keyboard.start());
    EXPECT_TRUE(keyboard.start());
    EXPECT_EQ(tap.installations, 1);
    EXPECT_THAT(linesAbout("KeyboardEngine"),
                ElementsAre("[Morvel] KeyboardEngine: event tap installed"));
}

TEST_F(KeyboardEngineTest, ARefusedTapIsLoggedAndLeavesTheEngineStopped) {
    tap.refuses = true;
    EXPECT_FALSE(keyboard.start());
    EXPECT_THAT(linesAbout("KeyboardEngine"),
                ElementsAre("[Morvel] KeyboardEngine: CGEvent.tapCreate failed (permission "
                            "revoked?)"));
    tap.refuses = false;
    EXPECT_TRUE(keyboard.start());
}

TEST_F(KeyboardEngineTest, StopRemovesTheTapOnce) {
    keyboard.stop();
    EXPECT_TRUE(linesAbout("KeyboardEngine").empty());
    EXPECT_FALSE(keyboard.isRunning());
    keyboard.start();
    EXPECT_TRUE(keyboard.isRunning());
    keyboard.stop();
    EXPECT_FALSE(keyboard.isRunning());
    keyboard.stop();
    EXPECT_EQ(tap.removals, 1);
    EXPECT_FALSE(tap.installed());
    EXPECT_THAT(linesAbout("removed"), ElementsAre("[Morvel] KeyboardEngine: event tap removed"));
}

TEST_F(KeyboardEngineTest, ATapDisabledByTimeoutIsEnabledAgainAndLogged) {
    ASSERT_TRUE(keyboard.start());
    tap.disable(TapDisabledReason::timeout);
    EXPECT_TRUE(tap.enabled);
    tap.disable(TapDisabledReason::userInput);
    EXPECT_TRUE(tap.enabled);
    EXPECT_THAT(linesAbout("disabled"),
                ElementsAre("[Morvel] KeyboardEngine: tap disabled by timeout — re-enabled",
                            "[Morvel] KeyboardEngine: tap disabled by user input — re-enabled"));
    tap.send(key(keyDownEventType));
    EXPECT_EQ(resolver->asked.size(), 1u);
}

TEST_F(KeyboardEngineTest, ADestroyedEngineLeavesNoTapBehind) {
    {
        KeyboardEngine other(services, false);
        ASSERT_TRUE(other.start());
        EXPECT_TRUE(tap.installed());
    }
    EXPECT_FALSE(tap.installed());
}

TEST_F(KeyboardEngineTest, TracingReportsEveryTwentiethPlayedEventOverAllOfThem) {
    KeyboardEngine traced(services, true);
    ASSERT_TRUE(traced.start());
    for (int i = 0; i < 19; ++i)
        tap.send(key(keyDownEventType));
    tap.send(key(keyDownEventType, neutralKeyCode, 1)); // played nothing, counts nothing
    EXPECT_TRUE(linesAbout("TRACE").empty());
    KeyEvent timed = key(keyDownEventType);
    timed.timestampNanos = time.hostNanos() - 2500000;
    tap.send(timed);
    EXPECT_THAT(linesAbout("TRACE"),
                ElementsAre("[Morvel] TRACE latency over 20 events (ms) — delivery: median 2.500, "
                            "mean 2.500, max 2.500 over 1 | dispatch: median 0.000, mean 0.000, "
                            "max 0.000"));
    for (int i = 0; i < 20; ++i)
        tap.send(timed);
    ASSERT_EQ(linesAbout("TRACE").size(), 2u);
    EXPECT_THAT(linesAbout("TRACE")[1], HasSubstr("over 40 events"));
    EXPECT_THAT(linesAbout("TRACE")[1], HasSubstr("over 21 |"));
}

TEST_F(KeyboardEngineTest, EventsWithoutAUsableTimestampCountUnderDispatchOnly) {
    KeyboardEngine traced(services, true);
    ASSERT_TRUE(traced.start());
    KeyEvent fromTheFuture = key(keyDownEventType);
    fromTheFuture.timestampNanos = time.hostNanos() + 1000000;
    for (int i = 0; i < 10; ++i) {
        tap.send(key(keyDownEventType));
        tap.send(fromTheFuture);
    }
    EXPECT_THAT(linesAbout("TRACE"),
                ElementsAre("[Morvel] TRACE latency over 20 events (ms) — delivery: n/a (no "
                            "timestamps) | dispatch: median 0.000, mean 0.000, max 0.000"));
}

TEST(LatencyStatistics, TakeTheUpperMiddleAsTheMedian) {
    EXPECT_EQ(latencyStatistics({4, 1, 3, 2}), "median 3.000, mean 2.500, max 4.000");
    EXPECT_EQ(latencyStatistics({}), "n/a (no timestamps)");
}

} // namespace
} // namespace morvel
