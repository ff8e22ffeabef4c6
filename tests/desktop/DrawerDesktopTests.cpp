// The toys of the drawer, used with the pointer, and what they sound like at the sound server.

#include "platform/SystemRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/desktop/MorvelDesktop.h"
#include "tests/support/WavFiles.h"
#include "tools/audition/Audition.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <numbers>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;
using audition::HeardSound;
using audition::MonitorRecorder;
using audition::MonitorRecording;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

constexpr std::size_t second = 44100; // in frames
constexpr auto apart = 120ms;         // of two clicks whose sounds are to be told apart

std::vector<SoundCategory> toySounds() {
    return {SoundCategory::toggleOn, SoundCategory::toggleOff,  SoundCategory::pop,
            SoundCategory::popReset, SoundCategory::buttonDown, SoundCategory::buttonUp};
}

std::shared_ptr<const SoundTheme> mechanical() {
    static SimulatedLog log;
    static SystemRandom random;
    const ThemeCatalog catalog(MORVEL_SOURCE_THEMES, {}, log);
    const auto theme = SoundTheme::load("mechanical", catalog, log, random);
    return theme ? theme.value() : nullptr;
}

std::vector<SoundCategory> categoriesOf(const std::vector<HeardSound>& heard) {
    std::vector<SoundCategory> result;
    for (const HeardSound& sound : heard) {
        EXPECT_GT(sound.correlation, 0.6) << rawValue(sound.category);
        result.push_back(sound.category);
    }
    return result;
}

// The open drawer in a desktop with sound; the keyboard makes none.
class DrawerDesktopTest : public testing::Test {
protected:
    void open(nlohmann::json settings = {}) {
        settings["module.keyboard.enabled"] = false;
        desktop.settings.write(settings);
        ASSERT_TRUE(desktop.start());
        ASSERT_TRUE(desktop.clickIcon());
        const auto drawer = desktop.awaitDrawer();
        ASSERT_TRUE(drawer);
        corner = drawer->topLeft();
    }

    QPoint at(const QPoint& place) const { return corner + place; }
    void click(const QPoint& place) {
        desktop.pointer.click(at(place));
        pass(apart);
    }
    // Waits for so much more sound to be recorded, where a recording is made.
    void pass(std::chrono::milliseconds time) const {
        if (recorder_ != nullptr)
            recorder_->await(recorder_->frameLength() +
                             static_cast<std::size_t>(time.count()) * second / 1000);
    }

    // What is to be heard while `gesture` is made. The sound server of a busy machine may drop out,
    // which spoils a recording and says nothing of Morvel: the gesture, which must leave all as it
    // was, is then made once more.
    MonitorRecording record(const std::function<void()>& gesture) {
        for (int take = 0;; ++take) {
            MonitorRecorder recorder(PulseServer::monitor, desktop.session.sound().address());
            recorder_ = &recorder;
            gesture();
            pass(500ms);
            recorder_ = nullptr;
            MonitorRecording recording = recorder.finish();
            if (take == 5 || audition::dropOuts(recording.interleaved).empty())
                return recording;
        }
    }
    std::vector<HeardSound> hear(const std::function<void()>& gesture) {
        static const auto theme = mechanical();
        static const auto categories = toySounds();
        static const audition::SoundMatcher matcher(*theme, categories);
        return matcher.listen(record(gesture).interleaved);
    }

    MorvelDesktop desktop{{.sound = true}};
    QPoint corner;

private:
    MonitorRecorder* recorder_ = nullptr; // during a recording
};

TEST_F(DrawerDesktopTest, TheSwitchSoundsOnAndOff) {
    ASSERT_NO_FATAL_FAILURE(open());
    const auto heard = hear([&] {
        click(DrawerPlaces::toggleSwitch);
        desktop.save("drawer-switch-on");
        click(DrawerPlaces::toggleSwitch - QPoint(30, 0));
    });
    EXPECT_THAT(categoriesOf(heard),
                ElementsAre(SoundCategory::toggleOn, SoundCategory::toggleOff));
}

TEST_F(DrawerDesktopTest, TwoQuickTapsOnTheSwitchSoundTwice) {
    ASSERT_NO_FATAL_FAILURE(open());
    const auto heard = hear([&] {
        desktop.pointer.click(at(DrawerPlaces::toggleSwitch));
        pass(50ms);
        desktop.pointer.click(at(DrawerPlaces::toggleSwitch));
    });
    EXPECT_THAT(categoriesOf(heard),
                ElementsAre(SoundCategory::toggleOn, SoundCategory::toggleOff));
}

TEST_F(DrawerDesktopTest, TheButtonSoundsOncePressedAndDraggedAndOnceReleased) {
    ASSERT_NO_FATAL_FAILURE(open());
    const QPoint middle = at(DrawerPlaces::button);
    const auto heard = hear([&] {
        desktop.pointer.drag(
            {middle, middle + QPoint(20, 10), middle - QPoint(90, 60), middle + QPoint(5, 5)});
    });
    ASSERT_THAT(categoriesOf(heard),
                ElementsAre(SoundCategory::buttonDown, SoundCategory::buttonUp));
    EXPECT_GT(heard[1].onset - heard[0].onset, second / 4) << "the second as it is let go";
}

TEST_F(DrawerDesktopTest, ABubbleTappedTwicePopsOnceAndAnEmptyGridIsNotReset) {
    ASSERT_NO_FATAL_FAILURE(open());
    const auto heard = hear([&] {
        click(DrawerPlaces::reset);
        desktop.pointer.doubleClick(at(DrawerPlaces::bubble(7)));
        pass(apart);
        click(DrawerPlaces::bubble(7));
        click(DrawerPlaces::reset);
        click(DrawerPlaces::reset);
    });
    EXPECT_THAT(categoriesOf(heard), ElementsAre(SoundCategory::pop, SoundCategory::popReset));
}

TEST_F(DrawerDesktopTest, TwentyBubblesPopTwentyTimesAndStayPoppedUntilReset) {
    ASSERT_NO_FATAL_FAILURE(open());
    auto heard = hear([&] {
        for (int bubble = 0; bubble < 20; ++bubble)
            click(DrawerPlaces::bubble(bubble));
        pass(500ms);
        desktop.save("drawer-popped");
        click(DrawerPlaces::reset);
    });
    ASSERT_THAT(heard, SizeIs(21));
    EXPECT_GT(heard[20].onset - heard[19].onset, second / 2) << "only once it is asked for";
    EXPECT_EQ(categoriesOf({heard.back()}).front(), SoundCategory::popReset);
    heard.pop_back();
    EXPECT_THAT(categoriesOf(heard), Each(SoundCategory::pop));
}

TEST_F(DrawerDesktopTest, TheDialTurnedOneDetentAtATimeSoundsOnceEach) {
    ASSERT_NO_FATAL_FAILURE(open());
    const auto theme = mechanical();
    const SoundCategory ticks[] = {SoundCategory::dialTick};
    const audition::SoundMatcher matcher(*theme, ticks);
    const auto recording = record([&] {
        desktop.pointer.move(at(DrawerPlaces::onDial(-90)));
        desktop.pointer.press();
        for (int detent = 1; detent <= 8; ++detent) {
            desktop.pointer.move(at(DrawerPlaces::onDial(-90 + 15 * detent + 3)));
            pass(apart);
        }
        desktop.pointer.release();
    });
    EXPECT_THAT(categoriesOf(matcher.listen(recording.interleaved)), SizeIs(8));
}

TEST(CompositedDrawerTest, ItIsOpenedUsedAndClosedAllTheSame) {
    MorvelDesktop desktop({.compositor = true, .sound = true});
    ASSERT_TRUE(desktop.start());
    ASSERT_TRUE(desktop.clickIcon());
    const auto drawer = desktop.awaitDrawer();
    ASSERT_TRUE(drawer);
    desktop.save("drawer-composited");
    EXPECT_TRUE(desktop.screen.contains(*drawer));
    MonitorRecorder recorder(PulseServer::monitor, desktop.session.sound().address());
    desktop.pointer.click(drawer->topLeft() + DrawerPlaces::toggleSwitch);
    EXPECT_TRUE(recorder.awaitSound(0.02F, 10s));
    EXPECT_TRUE(desktop.isDrawerOpen());
    desktop.pointer.click({900, 300});
    EXPECT_TRUE(desktop.awaitNoDrawer());
}

// Whether there is anything beside the drawer's title.
bool showsLabel(const QImage& header) {
    const QRgb sheet = header.pixel(0, 0);
    return !boundsOf(header, [&](QRgb pixel) { return !alike(pixel, sheet, 40); }).isEmpty();
}

TEST_F(DrawerDesktopTest, WithTheModuleOffItSaysSoAndEveryToyIsSilent) {
    ASSERT_NO_FATAL_FAILURE(open({{"module.fidget.enabled", false}}));
    EXPECT_TRUE(showsLabel(desktop.screenshot.take(DrawerPlaces::muted.translated(corner))));
    desktop.save("drawer-module-off");
    MonitorRecorder recorder(PulseServer::monitor, desktop.session.sound().address());
    click(DrawerPlaces::toggleSwitch);
    click(DrawerPlaces::bubble(3));
    click(DrawerPlaces::reset);
    click(DrawerPlaces::button);
    desktop.pointer.drag(
        {at(DrawerPlaces::onDial(0)), at(DrawerPlaces::onDial(60)), at(DrawerPlaces::onDial(120))});
    recorder.await(recorder.frameLength() + second / 4);
    EXPECT_LT(recorder.loudest(), 0.0001F);
    desktop.save("drawer-module-off-used");
}

TEST_F(DrawerDesktopTest, AMutedApplicationIsNoReasonToSayThatTheToysAre) {
    ASSERT_NO_FATAL_FAILURE(open({{"master.muted", true}}));
    EXPECT_FALSE(showsLabel(desktop.screenshot.take(DrawerPlaces::muted.translated(corner))));
    MonitorRecorder recorder(PulseServer::monitor, desktop.session.sound().address());
    click(DrawerPlaces::toggleSwitch);
    recorder.await(recorder.frameLength() + second / 4);
    EXPECT_LT(recorder.loudest(), 0.0001F);
}

TEST(DrawerWindowTest, SwitchingTheModuleInTheSettingsIsShownInTheOpenDrawerAtOnce) {
    MorvelDesktop desktop({.panel = Panel::none});
    ASSERT_TRUE(desktop.start({}, {"--open-drawer"}));
    const auto before = desktop.awaitDrawer();
    ASSERT_TRUE(before);
    // Aside, by its title bar, to make room for the settings.
    const QPoint bar(before->center().x(), before->top() - 8);
    desktop.pointer.drag({bar, bar - QPoint(before->left() - 10, 0)});
    const auto drawer = desktop.windows.await([&](const Window& window) {
        return desktop.isDrawer()(window) && window.geometry.left() < 20;
    });
    ASSERT_TRUE(drawer);
    ASSERT_TRUE(desktop.startAgain("--settings"));
    const auto settings = desktop.windows.await(desktop.ofMorvel() && titled("Morvel Settings"));
    ASSERT_TRUE(settings);
    const QPoint moduleSwitch = settings->geometry.topLeft() + QPoint(422, 223);
    bool inTime = false;
    desktop.screenshot.await(
        {moduleSwitch - QPoint(8, 0), QSize(1, 1)},
        [](const QImage& pixel) { return QColor(pixel.pixel(0, 0)).hsvSaturation() > 120; },
        inTime);
    ASSERT_TRUE(inTime) << "the switch is on";

    const QRect label = DrawerPlaces::muted.translated(drawer->geometry.topLeft());
    EXPECT_FALSE(showsLabel(desktop.screenshot.take(label)));
    desktop.pointer.click(moduleSwitch);
    desktop.screenshot.await(label, showsLabel, inTime);
    EXPECT_TRUE(inTime);
    desktop.save("drawer-beside-settings");
    desktop.pointer.click(moduleSwitch);
    desktop.screenshot.await(label, std::not_fn(showsLabel), inTime);
    EXPECT_TRUE(inTime);
}

// With a theme whose ticks are on the left and whose whir is on the right, so that both are seen
// however they overlap.
class DialDesktopTest : public DrawerDesktopTest {
protected:
    static constexpr int left = 0;
    static constexpr int right = 1;

    static std::vector<float> tick() {
        std::vector<float> samples;
        for (int n = 0; n < 441; ++n)
            samples.push_back(static_cast<float>(0.15 * std::sin(std::numbers::pi * n / 441)));
        return samples;
    }

    void openWithTheme() {
        const auto folder =
            std::filesystem::path(desktop.session.home()) / ".local/share/Morvel/Themes/apart";
        writeText(folder / "manifest.json", R"({
            "schemaVersion": 1, "id": "apart", "name": "Apart", "author": "A test",
            "defaults": {"gain": 1.0, "pitchJitterCents": 0},
            "categories": {
                "fidget.dialTick": {"variants": ["tick.wav"]},
                "fidget.dialLoop": {"variants": ["loop.wav"], "loop": true}}})");
        std::vector<float> ticking;
        for (const float sample : tick()) {
            ticking.push_back(sample);
            ticking.push_back(0);
        }
        writeWav(folder / "tick.wav", canonicalFormat, ticking);
        std::vector<float> whirring;
        for (int n = 0; n < 44100; ++n) {
            whirring.push_back(0);
            whirring.push_back(static_cast<float>(0.4 * std::sin(2 * std::numbers::pi * n / 100)));
        }
        writeWav(folder / "loop.wav", canonicalFormat, whirring);
        ASSERT_NO_FATAL_FAILURE(open({{"theme.id", "apart"}}));
    }

    // Turns the dial by one movement every so often, clockwise for positive degrees.
    void turn(double from, double by) {
        const int steps = static_cast<int>(std::abs(by) / 4);
        std::vector<QPoint> path;
        for (int step = 0; step <= steps; ++step)
            path.push_back(at(DrawerPlaces::onDial(from + by * step / steps)));
        desktop.pointer.drag(path, 1, 10ms);
    }

    // How many ticks there are in a recording: they are nowhere negative, so that those which
    // overlap add up.
    static double ticksIn(const MonitorRecording& recording) {
        double one = 0;
        for (const float sample : tick())
            one += sample;
        double all = 0;
        for (std::size_t n = 0; n < recording.frameLength(); ++n)
            all += recording.interleaved[2 * n + left];
        return all / one;
    }

    static constexpr std::size_t blockLength = 220; // frames, 5 ms
    // The largest sample of each block.
    static std::vector<float> levels(const MonitorRecording& recording, int channel) {
        std::vector<float> result;
        for (std::size_t n = 0; n < recording.frameLength(); ++n) {
            if (n % blockLength == 0)
                result.push_back(0);
            result.back() = std::max(
                result.back(),
                std::abs(recording.interleaved[2 * n + static_cast<std::size_t>(channel)]));
        }
        return result;
    }
    // The last block that is louder than `level`.
    static std::ptrdiff_t lastAbove(const std::vector<float>& blocks, float level) {
        return blocks.rend() - std::find_if(blocks.rbegin(), blocks.rend(),
                                            [&](float block) { return block > level; });
    }
};

TEST_F(DialDesktopTest, ItTicksOncePerDetentAndWhirsWhileItIsTurned) {
    ASSERT_NO_FATAL_FAILURE(openWithTheme());
    // Around once and a little further, so that the next time over begins between two detents.
    const MonitorRecording onwards = record([&] {
        turn(-90, 361);
        desktop.save("drawer-dial");
        pass(200ms);
        turn(-89, -360);
    });
    EXPECT_NEAR(ticksIn(onwards), 48, 0.4);
    const auto whir = levels(onwards, right);
    const auto sounding =
        std::count_if(whir.begin(), whir.end(), [](float x) { return x > 0.01F; });
    // Two turns of 0.9 s each, and their fading.
    EXPECT_GT(static_cast<double>(sounding) * blockLength / second, 1.5);
    EXPECT_LT(whir.front(), 0.0001F);
    EXPECT_LT(whir.back(), 0.0001F);
}

TEST_F(DialDesktopTest, APressOnItIsSilent) {
    ASSERT_NO_FATAL_FAILURE(openWithTheme());
    MonitorRecorder recorder(PulseServer::monitor, desktop.session.sound().address());
    click(DrawerPlaces::onDial(30));
    recorder.await(recorder.frameLength() + second / 4);
    EXPECT_LT(recorder.loudest(), 0.0001F);
}

TEST_F(DialDesktopTest, ClosingTheDrawerInTheMiddleOfASpinFadesTheWhir) {
    ASSERT_NO_FATAL_FAILURE(openWithTheme());
    MonitorRecorder recorder(PulseServer::monitor, desktop.session.sound().address());
    std::vector<QPoint> path;
    for (int degrees = 0; degrees <= 180; degrees += 6)
        path.push_back(at(DrawerPlaces::onDial(degrees)));
    desktop.pointer.move(path.front());
    desktop.pointer.press();
    desktop.pointer.glide(path, 1, 10ms); // how fast the hand turns is what is heard
    ASSERT_TRUE(recorder.awaitSound(0.05F, 20s));
    recorder.await(recorder.frameLength() + second / 2);
    const std::size_t steady = recorder.frameLength() / blockLength - 20;
    const std::uint64_t closed = desktop.keys.press(XKB_KEY_Escape);
    desktop.keys.release(XKB_KEY_Escape);
    const bool gone = desktop.windows.awaitNone(desktop.isDrawer(), 5s);
    recorder.await(recorder.frameLength() + second / 2);
    desktop.pointer.release();
    const MonitorRecording recording = recorder.finish();

    ASSERT_TRUE(gone) << "although the button is held";
    const auto whir = levels(recording, right);
    const float level = whir[steady];
    EXPECT_GT(level, 0.05F);
    const auto begin = lastAbove(whir, 0.95F * level);
    const auto end = lastAbove(whir, 0.01F * level);
    const double fading =
        static_cast<double>(end - begin) * static_cast<double>(blockLength) / second;
    EXPECT_GT(fading, 0.04);
    EXPECT_LT(fading, 0.1 + 0.08);
    const double silentAfter =
        (static_cast<double>(recording.hostNanos(static_cast<std::size_t>(end) * blockLength)) -
         static_cast<double>(closed)) /
        1e9;
    // The closing animation, the fade, and what the sound server has in store.
    EXPECT_LT(silentAfter, 0.12 + 0.1 + 0.4);
}

} // namespace
} // namespace morvel::test
