#include "app/settings/JsonDefaultsStore.h"
#include "keyboard/KeyboardEngine.h"
#include "platform/simulated/SimulatedApplicationActivation.h"
#include "platform/simulated/SimulatedKeyEventPoster.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/SimulatedProcessTable.h"
#include "platform/simulated/SimulatedTrustSource.h"
#include "selftest/KeyboardSelfTest.h"
#include "tests/audio/EngineFixture.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace morvel {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr double wholeRun = 30; // seconds; more than it takes

constexpr const char* keyboardKey = "module.keyboard.enabled";

// What was asked for, one after the other.
class HeardSounds : public SampleResolving {
public:
    explicit HeardSounds(SimulatedLog& log)
        : log_(log) {}

    std::optional<ResolvedSample> sample(SoundCategory category) const override {
        log_.line("play " + std::string(rawValue(category)));
        return ResolvedSample{silence_, 1, 0};
    }

private:
    static std::shared_ptr<const PcmBuffer> silence() {
        auto buffer = std::make_shared<PcmBuffer>();
        for (auto& channel : buffer->channels)
            channel.assign(10, 0);
        return buffer;
    }

    SimulatedLog& log_;
    const std::shared_ptr<const PcmBuffer> silence_ = silence();
};

class KeyboardSelfTestTest : public test::EngineTest {
protected:
    KeyboardSelfTestTest() {
        build();
        engine->setResolver(heard);
        settings.emplace(store, *engine, login, log);
    }

    void begin(bool trace = false) {
        permission.emplace(
            AccessibilityPermission::Services{trust, processes, time, time, activation, log},
            ApplicationBundle{}, [](const std::string&) { return std::nullopt; });
        keyboard.emplace(KeyboardEngine::Services{tap, *settings, *permission, *engine, time, log},
                         trace);
        ASSERT_TRUE(keyboard->start());
        selfTest.emplace(KeyboardSelfTest::Services{poster, *settings, storage, time, log},
                         std::make_unique<FileAsItWas>(file));
        log.clear();
        selfTest->run();
    }
    // The lines from the announcement of step `number` to that of the next one.
    std::vector<std::string> step(int number) const {
        const auto lines = log.lines();
        const auto begins = [](int n) {
            return [n](const std::string& line) {
                return line.starts_with("[Morvel] KBTEST " + std::to_string(n) + ":");
            };
        };
        const auto first = std::ranges::find_if(lines, begins(number));
        return {first, std::find_if(first, lines.end(), begins(number + 1))};
    }
    std::string stored() { return (store.flush(), readText(file)); }

    TemporaryFolder folder;
    std::filesystem::path file = folder / "settings.json";
    std::shared_ptr<HeardSounds> heard = std::make_shared<HeardSounds>(log);
    SimulatedLoginItem loginItem;
    LaunchAtLogin login{loginItem, ApplicationBundle{}, InstallationPaths{}, log};
    JsonDefaultsStore store{file, time, log};
    SettingsStorage storage{
        store, file, [this] { store.flush(); },
        [this] { return std::make_unique<JsonDefaultsStore>(file, time, log); }};
    std::optional<AppSettings> settings;
    SimulatedTrustSource trust{true};
    SimulatedProcessTable processes{1, {}};
    SimulatedApplicationActivation activation;
    std::optional<AccessibilityPermission> permission;
    SimulatedKeyTap tap;
    SimulatedKeyEventPoster poster{tap, time};
    std::optional<KeyboardEngine> keyboard;
    std::optional<KeyboardSelfTest> selfTest;
};

TEST_F(KeyboardSelfTestTest, ASettingsFileOfTheUsersOwnHandIsAsItWas) {
    const std::string written = "{ \"theme.id\":   \"mechanical\" }";
    writeText(file, written);
    begin();
    time.advance(wholeRun);
    ASSERT_EQ(log.lines().back(), "[Morvel] KBTEST complete");
    EXPECT_EQ(stored(), written);
}

TEST_F(KeyboardSelfTestTest, WithoutASettingsFileThereIsNoneAfterwards) {
    begin();
    time.advance(wholeRun);
    ASSERT_EQ(log.lines().back(), "[Morvel] KBTEST complete");
    store.flush();
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(KeyboardSelfTestTest, TheWholeRunIsAnnouncedStepByStepAndPlaysWhatItSays) {
    begin();
    time.advance(wholeRun);
    std::vector<std::string> expected = {
        "[Morvel] KBTEST 1: F13 down+up (expect keyboard.down then keyboard.up)",
        "[Morvel] play keyboard.alpha.down",
        "[Morvel] play keyboard.alpha.up",
        "[Morvel] KBTEST 2: 5x F13 down with autorepeat set (expect NO plays)",
        "[Morvel] KBTEST 3: keyboardEnabled=false, then F13 (expect NO plays)",
        "[Morvel] KBTEST 4: keyboardEnabled=true, then F13 (expect plays again)",
        "[Morvel] play keyboard.alpha.down",
        "[Morvel] play keyboard.alpha.up",
        "[Morvel] KBTEST 5: classification table",
        "[Morvel] KBTEST   a                                      -> keyboard.alpha.down",
        "[Morvel] KBTEST   a                                      -> keyboard.alpha.up",
        "[Morvel] KBTEST   space                                  -> keyboard.space.down",
        "[Morvel] KBTEST   space                                  -> keyboard.space.up",
        "[Morvel] KBTEST   return                                 -> keyboard.enter.down",
        "[Morvel] KBTEST   tab                                    -> keyboard.tab.down",
        "[Morvel] KBTEST   delete                                 -> keyboard.delete.down",
        "[Morvel] KBTEST   L-shift press                          -> keyboard.shift.down",
        "[Morvel] KBTEST   L-shift rel                            -> keyboard.shift.up",
        "[Morvel] KBTEST   R-shift press                          -> keyboard.shift.down",
        "[Morvel] KBTEST   both shift, R released while L held    -> keyboard.shift.up",
        "[Morvel] KBTEST   caps on                                -> keyboard.capsLock.down",
        "[Morvel] KBTEST   caps off                               -> keyboard.capsLock.up",
        "[Morvel] KBTEST   L-cmd press                            -> keyboard.command.down",
        "[Morvel] KBTEST   L-cmd rel                              -> keyboard.command.up",
        "[Morvel] KBTEST   L-opt press                            -> keyboard.option.down",
        "[Morvel] KBTEST   fn press                               -> keyboard.alpha.down",
        "[Morvel] KBTEST   unknown mod                            -> (silent)",
        "[Morvel] KBTEST 6: 30x F13 down+up at 25 ms for latency stats",
    };
    for (int i = 0; i < 30; ++i) {
        expected.emplace_back("[Morvel] play keyboard.alpha.down");
        expected.emplace_back("[Morvel] play keyboard.alpha.up");
    }
    expected.emplace_back("[Morvel] KBTEST complete");
    EXPECT_EQ(log.lines(), expected);
    EXPECT_THAT(poster.held, IsEmpty());
}

TEST_F(KeyboardSelfTestTest, TheRepeatsReachTheTapWhileKeyboardSoundsAreOn) {
    struct Seen : KeyTap::Listener {
        explicit Seen(const AppSettings& s)
            : settings(s) {}
        void keyEvent(const KeyEvent& event) override {
            if (event.autoRepeat != 0)
                repeatsHeard.push_back(settings.keyboardEnabled());
        }
        void tapDisabled(TapDisabledReason) override {}
        const AppSettings& settings;
        std::vector<bool> repeatsHeard;
    } seen(*settings);
    begin();
    tap.install(seen); // in place of the engine
    time.advance(wholeRun);
    EXPECT_THAT(seen.repeatsHeard, ElementsAre(true, true, true, true, true));
}

TEST_F(KeyboardSelfTestTest, ARepeatThatIsTakenForAPressIsHeardInStepTwo) {
    struct Deaf : KeyTap::Listener {
        explicit Deaf(KeyboardEngine& e)
            : engine(e) {}
        void keyEvent(const KeyEvent& event) override {
            KeyEvent press = event;
            press.autoRepeat = 0;
            engine.handle(press);
        }
        void tapDisabled(TapDisabledReason) override {}
        KeyboardEngine& engine;
    };
    begin();
    Deaf deaf(*keyboard);
    tap.install(deaf);
    time.advance(wholeRun);
    EXPECT_THAT(step(2), SizeIs(1 + 5));
}

TEST_F(KeyboardSelfTestTest, EveryEventThatCannotBeCreatedIsToldAndSkipped) {
    poster.refuses = true;
    begin();
    time.advance(wholeRun);
    const std::string line = "[Morvel] KBTEST could not create event";
    EXPECT_THAT(step(1), ElementsAre(HasSubstr("KBTEST 1:"), line, line));
    // Its repeats, and the press and the release of the key that would have been held for them.
    EXPECT_THAT(step(2),
                ElementsAre(HasSubstr("KBTEST 2:"), line, line, line, line, line, line, line));
    EXPECT_THAT(step(3), ElementsAre(HasSubstr("KBTEST 3:"), line, line));
    EXPECT_THAT(step(4), ElementsAre(HasSubstr("KBTEST 4:"), line, line));
    EXPECT_THAT(step(6), SizeIs(1 + 60 + 1));
    EXPECT_EQ(log.lines().back(), "[Morvel] KBTEST complete");
    EXPECT_THAT(log.lines(), Each(Not(HasSubstr("] play"))));
}

TEST_F(KeyboardSelfTestTest, WithoutATapNothingPlays) {
    begin();
    keyboard->stop();
    log.clear();
    time.advance(wholeRun);
    EXPECT_THAT(log.lines(), Each(Not(HasSubstr("] play"))));
    EXPECT_EQ(log.lines().back(), "[Morvel] KBTEST complete");
}

TEST_F(KeyboardSelfTestTest, FeedsTheLatencyTraceWithEveryPlayedEvent) {
    begin(true);
    time.advance(wholeRun);
    EXPECT_EQ(lineCount("TRACE latency over "), 3u);
    EXPECT_THAT(step(6), Contains(HasSubstr("TRACE latency over 60 events (ms)")));
}

TEST_F(KeyboardSelfTestTest, LeavesAStoreThatKnewNoChoiceWithoutOne) {
    store.setString("theme.id", "mechanical");
    const std::string before = stored();
    begin();
    time.advance(wholeRun);
    EXPECT_EQ(stored(), before);
    EXPECT_TRUE(settings->keyboardEnabled());
}

TEST_F(KeyboardSelfTestTest, LeavesAStoredChoiceStored) {
    for (const bool choice : {true, false}) {
        settings->setKeyboardEnabled(choice);
        const std::string before = stored();
        begin();
        time.advance(wholeRun);
        EXPECT_EQ(stored(), before);
        EXPECT_EQ(settings->keyboardEnabled(), choice);
    }
}

TEST_F(KeyboardSelfTestTest, IsHeardAlsoWhereKeyboardSoundsAreOff) {
    settings->setKeyboardEnabled(false);
    begin();
    time.advance(wholeRun);
    EXPECT_THAT(step(1), SizeIs(1 + 2));
}

// Wherever it is, the key is let go and the settings are as they were.
TEST_F(KeyboardSelfTestTest, AnEndInTheMiddleLeavesNothingBehind) {
    store.setString("theme.id", "mechanical");
    const std::string before = stored();
    for (double end = 0; end < 7; end += 0.05) {
        begin();
        time.advance(end);
        selfTest.reset();
        EXPECT_THAT(poster.held, IsEmpty()) << end;
        EXPECT_TRUE(settings->keyboardEnabled()) << end;
        EXPECT_FALSE(store.contains(keyboardKey)) << end;
        log.clear();
        keyboard->stop();
        time.advance(wholeRun);
        EXPECT_EQ(lineCount("KBTEST"), 0u) << end;
    }
    EXPECT_EQ(stored(), before);
}

TEST(KeyboardSelfTest, IsEnabledByExactlyOne) {
    const auto with = [](std::optional<std::string> value) {
        return KeyboardSelfTest::isEnabled([value](const std::string& name) {
            return name == "MORVEL_KEYBOARD_SELFTEST" ? value : std::nullopt;
        });
    };
    EXPECT_TRUE(with("1"));
    EXPECT_FALSE(with("true"));
    EXPECT_FALSE(with("11"));
    EXPECT_FALSE(with(""));
    EXPECT_FALSE(with(std::nullopt));
}

} // namespace
} // namespace morvel
