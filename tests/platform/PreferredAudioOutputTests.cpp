#include "platform/PreferredAudioOutput.h"
#include "platform/simulated/VirtualTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace morvel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// An output whose server comes and goes as the test says.
class ScriptedOutput : public AudioOutput {
public:
    explicit ScriptedOutput(std::string_view name)
        : name_(name) {}

    void connect(Render render, Events events) override {
        render_ = std::move(render);
        events_ = std::move(events);
    }
    void start() override {
        if (state_ != AudioOutputState::lost && state_ != AudioOutputState::running)
            state_ = AudioOutputState::starting;
        ++starts; // the last: tests wait for it
    }
    void pause() override {
        state_ = AudioOutputState::paused;
        outage_ = false;
    }
    AudioOutputState state() const override { return state_; }
    std::uint32_t periodFrames() const override { return static_cast<std::uint32_t>(name_.size()); }
    std::uint32_t latencyFrames() const override { return periodFrames(); }
    std::string_view serverName() const override { return name_; }

    // The state alone, as the main thread has not heard of it yet.
    void becomes(AudioOutputState state) { state_ = state; }
    void run() {
        const bool back = std::exchange(outage_, false);
        const bool first = !std::exchange(everRan_, true);
        state_ = AudioOutputState::running;
        if (back)
            events_.configurationChanged();
        else if (first)
            events_.started();
    }
    void lose() {
        state_ = AudioOutputState::lost;
        if (!std::exchange(outage_, true))
            events_.failed(std::string(name_) + " is not there");
    }
    void change() { events_.configurationChanged(); }
    float renderOne() {
        float frame[2] = {9, 9};
        render_(frame, 1);
        return frame[0];
    }

    std::atomic<int> starts = 0;

private:
    std::string_view name_;
    Render render_;
    Events events_;
    std::atomic<AudioOutputState> state_ = AudioOutputState::stopped;
    bool outage_ = false;
    bool everRan_ = false;
};

class PreferredAudioOutputTest : public testing::Test {
protected:
    PreferredAudioOutputTest() { build({}); }

    void build(PreferredAudioOutput::Options options) {
        auto first = std::make_unique<ScriptedOutput>("best");
        auto second = std::make_unique<ScriptedOutput>("second");
        best = first.get();
        second_ = second.get();
        output = std::make_unique<PreferredAudioOutput>(std::move(first), std::move(second), time,
                                                        options);
        output->connect([](float* interleaved,
                           std::uint32_t frames) { std::fill_n(interleaved, 2 * frames, 1.0F); },
                        {[this] { events.emplace_back("started"); },
                         [this](const std::string& error) { events.push_back(error); },
                         [this] { events.emplace_back("changed"); }});
    }
    // The first choice is made by a thread.
    bool awaitStart(const ScriptedOutput& wanted) const {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        while (wanted.starts == 0 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        return wanted.starts > 0;
    }
    void startWithout() {
        output->start();
        best->lose();
        awaitStart(*second_);
    }

    VirtualTime time;
    std::vector<std::string> events;
    std::unique_ptr<PreferredAudioOutput> output;
    ScriptedOutput* best = nullptr;
    ScriptedOutput* second_ = nullptr;
};

TEST_F(PreferredAudioOutputTest, TheOtherOneIsNotTouchedWhereThePreferredOneRuns) {
    EXPECT_EQ(output->state(), AudioOutputState::stopped);
    output->start();
    EXPECT_EQ(output->state(), AudioOutputState::starting);
    best->run();
    EXPECT_EQ(output->state(), AudioOutputState::running);
    EXPECT_EQ(output->serverName(), "best");
    EXPECT_EQ(output->periodFrames(), 4U);
    EXPECT_EQ(best->renderOne(), 1);
    time.advance(60);
    EXPECT_EQ(second_->starts, 0);
    EXPECT_THAT(events, ElementsAre("started"));
    EXPECT_EQ(time.activeTimerCount(), 0U);
}

TEST_F(PreferredAudioOutputTest, TheOtherOneStartsWithoutTheMainThreadWhereThePreferredOneIsLost) {
    output->start();
    best->becomes(AudioOutputState::lost);
    EXPECT_TRUE(awaitStart(*second_));
    EXPECT_NE(output->state(), AudioOutputState::running);
    second_->becomes(AudioOutputState::running);
    EXPECT_EQ(output->state(), AudioOutputState::running);
    EXPECT_EQ(second_->renderOne(), 1) << "heard before the main thread knows";
    EXPECT_EQ(output->serverName(), "second");
}

TEST_F(PreferredAudioOutputTest, TheOtherOneStartsWhereThePreferredOneTakesTooLong) {
    build({.answerLimit = 20ms});
    output->start();
    EXPECT_TRUE(awaitStart(*second_));
}

TEST_F(PreferredAudioOutputTest, ThatThePreferredOneIsMissingIsNotReported) {
    startWithout();
    EXPECT_EQ(output->state(), AudioOutputState::starting);
    second_->run();
    EXPECT_EQ(output->state(), AudioOutputState::running);
    EXPECT_THAT(events, ElementsAre("started"));
    time.advance(10);
    EXPECT_EQ(best->state(), AudioOutputState::paused) << "it looks for its server no more";
    EXPECT_EQ(time.activeTimerCount(), 0U);
}

TEST_F(PreferredAudioOutputTest, WhereBothAreMissingThatIsReportedOnceAndTheFirstToComeIsHeard) {
    startWithout();
    second_->lose();
    EXPECT_EQ(output->state(), AudioOutputState::lost);
    time.advance(30);
    EXPECT_THAT(events, ElementsAre("second is not there"));
    second_->run();
    EXPECT_THAT(events, ElementsAre("second is not there", "changed"));
    EXPECT_EQ(second_->renderOne(), 1);
}

TEST_F(PreferredAudioOutputTest, APreferredOneThatComesALittleLateIsTaken) {
    startWithout();
    second_->run();
    EXPECT_EQ(second_->renderOne(), 1);
    time.advance(1);
    best->run();
    EXPECT_THAT(events, ElementsAre("started", "changed"));
    EXPECT_EQ(best->renderOne(), 1);
    EXPECT_EQ(second_->renderOne(), 0) << "never two at once";
    EXPECT_EQ(second_->state(), AudioOutputState::paused);
    EXPECT_EQ(output->serverName(), "best");
    time.advance(10);
    EXPECT_EQ(output->state(), AudioOutputState::running);
}

TEST_F(PreferredAudioOutputTest, ALostPreferredOneIsWaitedForAndHeardAgain) {
    output->start();
    best->run();
    best->lose();
    EXPECT_EQ(output->state(), AudioOutputState::lost);
    EXPECT_THAT(events, ElementsAre("started", "best is not there"));
    time.advance(4.5);
    EXPECT_EQ(second_->starts, 0);
    best->run();
    EXPECT_THAT(events, ElementsAre("started", "best is not there", "changed"));
    time.advance(10);
    EXPECT_EQ(second_->starts, 0);
    EXPECT_EQ(time.activeTimerCount(), 0U);
}

TEST_F(PreferredAudioOutputTest, APreferredOneThatStaysAwayIsReplaced) {
    output->start();
    best->run();
    best->lose();
    time.advance(5.5);
    EXPECT_EQ(second_->starts, 1);
    second_->run();
    EXPECT_THAT(events, ElementsAre("started", "best is not there", "changed"));
    EXPECT_EQ(second_->renderOne(), 1);
    EXPECT_EQ(output->serverName(), "second");
    time.advance(10);
    EXPECT_EQ(best->state(), AudioOutputState::paused);
}

// The other one has been heard before, and then says nothing when it runs.
TEST_F(PreferredAudioOutputTest, AReplacementThatComesASecondTimeIsHeardSoon) {
    startWithout();
    second_->run();
    time.advance(1);
    best->run();
    best->renderOne();
    best->lose();
    time.advance(5.5);
    ASSERT_EQ(second_->starts, 2);
    second_->run();
    time.advance(0.1);
    EXPECT_EQ(second_->renderOne(), 1);
    EXPECT_THAT(events, ElementsAre("started", "changed", "best is not there", "changed"));
    time.advance(10);
    EXPECT_EQ(time.activeTimerCount(), 0U);
}

TEST_F(PreferredAudioOutputTest, APreferredOneThatComesASecondTimeIsHeardSoon) {
    output->start();
    best->run();
    best->lose();
    time.advance(5.5);
    second_->run();
    second_->renderOne();
    time.advance(10);
    ASSERT_EQ(best->state(), AudioOutputState::paused);
    second_->lose();
    best->run();
    time.advance(0.1);
    EXPECT_EQ(best->renderOne(), 1);
    EXPECT_EQ(events.back(), "changed");
}

TEST_F(PreferredAudioOutputTest, AReplacementThatDoesNotComeIsNotLookedAtThatOftenForEver) {
    output->start();
    best->run();
    best->lose();
    time.advance(5.5);
    EXPECT_EQ(time.activeTimerCount(), 2U);
    time.advance(4);
    EXPECT_EQ(time.activeTimerCount(), 1U);
    second_->run();
    EXPECT_EQ(second_->renderOne(), 1);
    EXPECT_EQ(events.back(), "changed");
}

TEST_F(PreferredAudioOutputTest, AfterALossOfTheOtherOneBothAreTried) {
    startWithout();
    second_->run();
    time.advance(10);
    best->becomes(AudioOutputState::stopped);
    second_->lose();
    EXPECT_EQ(output->state(), AudioOutputState::starting);
    EXPECT_THAT(events, ElementsAre("started", "second is not there"));
    best->run();
    EXPECT_THAT(events, ElementsAre("started", "second is not there", "changed"));
    EXPECT_EQ(output->serverName(), "best");
}

TEST_F(PreferredAudioOutputTest, AnOutputThatRunsAgainWithoutAWordIsNoticed) {
    output->start();
    best->run();
    best->lose();
    best->becomes(AudioOutputState::running);
    time.advance(1.5);
    EXPECT_THAT(events, ElementsAre("started", "best is not there", "changed"));
}

TEST_F(PreferredAudioOutputTest, PauseAndStartKeepThePreferredOne) {
    output->start();
    best->run();
    output->pause();
    EXPECT_EQ(output->state(), AudioOutputState::paused);
    output->start();
    EXPECT_EQ(output->state(), AudioOutputState::starting);
    best->run();
    EXPECT_EQ(best->renderOne(), 1);
    time.advance(10);
    EXPECT_EQ(second_->starts, 0);
    EXPECT_EQ(time.activeTimerCount(), 0U);
    EXPECT_THAT(events, ElementsAre("started"));
}

TEST_F(PreferredAudioOutputTest, APreferredOneThatIsNotThereAfterAPauseIsReplacedAtOnce) {
    output->start();
    best->run();
    EXPECT_EQ(best->renderOne(), 1);
    output->pause();
    output->start();
    best->lose();
    EXPECT_EQ(second_->starts, 1);
    second_->run();
    EXPECT_EQ(second_->renderOne(), 1);
    EXPECT_EQ(output->state(), AudioOutputState::running);
    EXPECT_EQ(output->serverName(), "second");
    EXPECT_THAT(events, ElementsAre("started")) << "nothing was playing";
}

// The other one was chosen, as the preferred one was away; then comes a pause.
class AfterAPause : public PreferredAudioOutputTest {
protected:
    AfterAPause() {
        startWithout();
        second_->run();
        second_->renderOne();
        time.advance(10);
        output->pause();
    }
};

TEST_F(AfterAPause, TheOneThatReplacesItWithoutAWordIsSettledOn) {
    output->start();
    best->lose();
    second_->becomes(AudioOutputState::running); // as one does that has run before
    EXPECT_EQ(second_->renderOne(), 1);
    time.advance(10);
    EXPECT_EQ(output->serverName(), "second");
    EXPECT_EQ(best->state(), AudioOutputState::paused);
    EXPECT_EQ(time.activeTimerCount(), 0U);
}

TEST_F(AfterAPause, ThePreferredOneIsGivenItsTimeAgainAndThenRests) {
    const int starts = best->starts;
    EXPECT_EQ(output->state(), AudioOutputState::paused);
    EXPECT_EQ(second_->state(), AudioOutputState::paused);
    output->start();
    EXPECT_EQ(output->state(), AudioOutputState::starting);
    EXPECT_EQ(best->starts, starts + 1);
    second_->run();
    EXPECT_EQ(second_->renderOne(), 1) << "no sound waits for the preferred one";
    best->lose();
    time.advance(1.5);
    EXPECT_EQ(best->state(), AudioOutputState::lost);
    time.advance(1);
    EXPECT_EQ(best->state(), AudioOutputState::paused);
    EXPECT_EQ(output->state(), AudioOutputState::running);
    EXPECT_EQ(time.activeTimerCount(), 0U);
    EXPECT_THAT(events, ElementsAre("started"));
}

TEST_F(AfterAPause, ThePreferredOneIsHeardFromTheFirstSoundOnWhereItIsTheFirst) {
    output->start();
    best->becomes(AudioOutputState::running);
    EXPECT_EQ(best->renderOne(), 1);
    second_->becomes(AudioOutputState::running);
    EXPECT_EQ(second_->renderOne(), 0);
    time.advance(3);
    EXPECT_EQ(second_->state(), AudioOutputState::paused);
    EXPECT_EQ(output->serverName(), "best");
    EXPECT_EQ(time.activeTimerCount(), 0U);
    EXPECT_THAT(events, ElementsAre("started")) << "nothing is cut off";
}

TEST_F(AfterAPause, ThePreferredOneTakesOverWhereItIsTheSecond) {
    output->start();
    second_->run();
    EXPECT_EQ(second_->renderOne(), 1);
    best->becomes(AudioOutputState::running); // as one that has been heard before: without a word
    EXPECT_EQ(best->renderOne(), 0);
    time.advance(3);
    EXPECT_EQ(best->renderOne(), 1);
    EXPECT_EQ(second_->state(), AudioOutputState::paused);
    EXPECT_THAT(events, ElementsAre("started", "changed"));
}

TEST_F(AfterAPause, TheTimeOfThePreferredOneLastsUntilTheOtherRuns) {
    output->start();
    best->lose();
    time.advance(5);
    EXPECT_EQ(best->state(), AudioOutputState::lost);
    second_->becomes(AudioOutputState::running);
    time.advance(3);
    EXPECT_EQ(best->state(), AudioOutputState::paused);
    EXPECT_EQ(time.activeTimerCount(), 0U);
}

TEST_F(PreferredAudioOutputTest, APauseEndsAnOutage) {
    startWithout();
    second_->lose();
    time.advance(300);
    EXPECT_EQ(output->state(), AudioOutputState::lost);
    output->pause();
    EXPECT_EQ(time.activeTimerCount(), 0U);
    time.advance(10);
    EXPECT_EQ(output->state(), AudioOutputState::paused);
    EXPECT_EQ(best->state(), AudioOutputState::paused);
    EXPECT_EQ(second_->state(), AudioOutputState::paused);
    output->start();
    EXPECT_EQ(output->state(), AudioOutputState::starting);
    best->lose();
    second_->lose();
    EXPECT_EQ(output->state(), AudioOutputState::lost);
    EXPECT_THAT(events, ElementsAre("second is not there", "second is not there"));
    output->pause();
    output->start();
    best->run();
    EXPECT_EQ(best->renderOne(), 1);
    EXPECT_EQ(events.back(), "started");
    time.advance(10);
    EXPECT_EQ(time.activeTimerCount(), 0U);
}

TEST_F(PreferredAudioOutputTest, AChangeOfTheChosenOneIsPassedOn) {
    output->start();
    best->run();
    best->change();
    EXPECT_THAT(events, ElementsAre("started", "changed"));
}

TEST_F(PreferredAudioOutputTest, PausedItSaysNothing) {
    output->start();
    output->pause();
    best->lose();
    time.advance(10);
    EXPECT_THAT(events, IsEmpty());
    EXPECT_EQ(output->state(), AudioOutputState::paused);
}

TEST_F(PreferredAudioOutputTest, ItEndsAtOnceWhileThePreferredOneIsAwaited) {
    output->start();
    const auto before = std::chrono::steady_clock::now();
    output.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before,
              PreferredAudioOutput::Options{}.answerLimit);
}

} // namespace
} // namespace morvel
