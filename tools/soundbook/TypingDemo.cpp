#include "tools/soundbook/TypingDemo.h"

#include "app/login/LaunchAtLogin.h"
#include "app/settings/JsonDefaultsStore.h"
#include "fidget/ClickyButton.h"
#include "fidget/PopGrid.h"
#include "fidget/SpinDial.h"
#include "fidget/ToggleSwitch.h"
#include "keyboard/KeyboardEngine.h"
#include "platform/linux/KeyEventTranslator.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/SeededRandom.h"
#include "platform/simulated/SimulatedApplicationActivation.h"
#include "platform/simulated/SimulatedKeyTap.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/SimulatedProcessTable.h"
#include "platform/simulated/SimulatedTrustSource.h"
#include "platform/simulated/VirtualTime.h"
#include "themes/SoundTheme.h"
#include "tools/audition/TypingScript.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <numbers>
#include <utility>

namespace morvel::soundbook {

namespace {

constexpr std::uint32_t seed = 2026;
constexpr std::size_t demoFrames =
    static_cast<std::size_t>(demoSeconds * canonicalFormat.sampleRate);

constexpr double leadIn = 0.25; // seconds of silence before the first key
constexpr double pause = 0.45;  // and between the last key and the first toy

// Every group of keys has its say, a word is mended, and the end leaves room for the toys.
constexpr const char* text = "Each key has its onw\b\bwn voice.\n\t⇪ok⇪ ⌘s ⌥⌃x⎋";

// The program without a desktop: what a key or a toy does is heard at the output.
class Stage {
public:
    explicit Stage(Log& log)
        : log_(log) {
        keyboard_.start();
        time_.runPending();
    }

    RandomSource& random() { return random_; }
    void setTheme(std::shared_ptr<const SoundTheme> theme) { audio_.setResolver(std::move(theme)); }

    void key(const KeyEvent& event) { tap_.send(event); }
    ToggleSwitch& toggle() { return toggle_; }
    ClickyButton& button() { return button_; }
    PopGrid& bubbles() { return bubbles_; }
    SpinDial& dial() { return dial_; }

    // Lets time pass up to `frame`, and writes down what is to be heard meanwhile.
    void playUntil(std::size_t frame, std::vector<float>& interleaved) {
        constexpr std::size_t block = 128;
        while (interleaved.size() / 2 < frame) {
            const std::size_t frames = std::min(block, frame - interleaved.size() / 2);
            const std::vector<float> heard = output_.render(frames);
            interleaved.insert(interleaved.end(), heard.begin(), heard.end());
            time_.advance(static_cast<double>(frames) / canonicalFormat.sampleRate);
        }
    }

private:
    Log& log_;
    VirtualTime time_;
    SeededRandom random_{seed};
    OfflineAudioOutput output_;
    AudioEngine audio_{{output_, time_, time_, random_, log_}, false};
    SimulatedLoginItem loginItem_;
    LaunchAtLogin login_{loginItem_, {}, {}, log_};
    JsonDefaultsStore defaults_{"/dev/null/settings.json", time_, log_}; // nothing kept
    AppSettings settings_{defaults_, audio_, login_, log_};
    SimulatedTrustSource trust_{true};
    SimulatedProcessTable processes_{1, {}};
    SimulatedApplicationActivation activation_;
    AccessibilityPermission permission_{{trust_, processes_, time_, time_, activation_, log_},
                                        {},
                                        [](const std::string&) { return std::nullopt; }};
    SimulatedKeyTap tap_;
    KeyboardEngine keyboard_{{tap_, settings_, permission_, audio_, time_, log_}, false};
    FidgetSound fidgetSound_{settings_, audio_};
    ToggleSwitch toggle_{fidgetSound_};
    ClickyButton button_{fidgetSound_};
    PopGrid bubbles_{fidgetSound_};
    SpinDial dial_{settings_, audio_};
};

// A keyboard that has just the keys of a script.
class Keys {
public:
    explicit Keys(const std::vector<audition::KeyStroke>& script) {
        VirtualKeyCodeTable table;
        table.fill(neutralKeyCode);
        for (const audition::KeyStroke& stroke : script) {
            const auto next = static_cast<std::uint32_t>(firstHardwareCode + hardware_.size());
            const auto [key, isNew] = hardware_.try_emplace(stroke.keysym, next);
            if (isNew)
                table.at(key->second) = virtualKeyCode(stroke.keysym);
        }
        translator_.setTable(table);
    }

    std::optional<KeyEvent> event(const audition::KeyStroke& stroke) {
        // The lock's state speaks for its key.
        if (stroke.keysym == XKB_KEY_Caps_Lock)
            return stroke.sound ? translator_.capsLock(stroke.pressed, 0) : std::nullopt;
        return translator_.key({1, hardware_.at(stroke.keysym), stroke.pressed, false, 0});
    }

private:
    static constexpr std::size_t firstHardwareCode = 8;

    std::map<xkb_keysym_t, std::uint32_t> hardware_;
    KeyEventTranslator translator_;
};

class Performance {
public:
    explicit Performance(Log& log)
        : stage_(log)
        , script_(audition::typingScript(text))
        , keys_(script_) {
        type();
        play(now_ + pause);
        std::ranges::stable_sort(steps_, {}, &Step::at);
    }

    Stage& stage() { return stage_; }

    TypingDemo record() {
        TypingDemo demo;
        for (const Step& step : steps_) {
            stage_.playUntil(frame(step.at), demo.interleaved);
            step.act();
            if (step.sound)
                demo.cues.push_back({step.at, *step.sound});
        }
        stage_.playUntil(demoFrames, demo.interleaved);
        return demo;
    }

private:
    struct Step {
        double at;
        std::function<void()> act;
        std::optional<SoundCategory> sound;
    };

    struct Bubble {
        double at;
        int index;
    };

    static std::size_t frame(double seconds) {
        return static_cast<std::size_t>(std::lround(seconds * canonicalFormat.sampleRate));
    }

    void type() {
        for (const audition::KeyStroke& stroke : script_) {
            now_ = leadIn + stroke.at;
            steps_.push_back({now_,
                              [this, stroke] {
                                  if (const auto event = keys_.event(stroke))
                                      stage_.key(*event);
                              },
                              stroke.sound});
        }
    }

    void play(double start) {
        const auto step = [&](double at, SoundCategory sound, std::function<void()> act) {
            steps_.push_back({start + at, std::move(act), sound});
        };
        step(0.00, SoundCategory::toggleOn, [this] { stage_.toggle().tap(); });
        for (const Bubble& bubble : {Bubble{0.30, 2}, {0.43, 3}, {0.53, 8}, {0.66, 7}})
            step(bubble.at, SoundCategory::pop,
                 [this, bubble] { stage_.bubbles().tap(bubble.index); });
        step(0.95, SoundCategory::buttonDown, [this] { stage_.button().dragChanged(); });
        step(1.08, SoundCategory::buttonUp, [this] { stage_.button().dragEnded(); });
        turnTheDial(start + 1.35);
        step(2.15, SoundCategory::popReset, [this] { stage_.bubbles().reset(); });
        step(2.60, SoundCategory::toggleOff, [this] { stage_.toggle().tap(); });
    }

    // Most of a turn, gathering speed and slowing down again.
    void turnTheDial(double start) {
        constexpr int motions = 39; // at 60 a second
        constexpr double turn = 1.7 * std::numbers::pi;
        constexpr double radius = 34;
        for (int i = 0; i <= motions; ++i) {
            const double at = start + i / 60.0;
            const double share = static_cast<double>(i) / motions;
            const double angle = turn * share * share * (3 - 2 * share);
            const SpinDial::Point point{radius * std::cos(angle), radius * std::sin(angle)};
            steps_.push_back(
                {at, [this, point, at] { stage_.dial().dragChanged(point, {}, at); }, {}});
        }
        steps_.push_back({start + (motions + 1) / 60.0, [this] { stage_.dial().dragEnded(); }, {}});
    }

    Stage stage_;
    std::vector<audition::KeyStroke> script_;
    Keys keys_;
    std::vector<Step> steps_;
    double now_ = 0;
};

} // namespace

Result<TypingDemo, ThemeLoadError> typingDemo(const ThemeDescriptor& theme,
                                              const ThemeCatalog& catalog, Log& log) {
    Performance performance(log);
    const auto loaded = SoundTheme::load(theme, catalog, log, performance.stage().random());
    if (!loaded)
        return loaded.error();
    performance.stage().setTheme(loaded.value());
    return performance.record();
}

} // namespace morvel::soundbook
