#include "selftest/settings/LoopSwitchTest.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace morvel {

namespace {

constexpr float loopGain = 0.9F;
constexpr float loopRate = 1.0F;
constexpr float playedVolume = 0.5F;

} // namespace

LoopSwitchTest::LoopSwitchTest(const SettingsUnderTest& tested)
    : tested_(tested)
    , timeline_(tested.scheduler) {}

void LoopSwitchTest::start(std::function<void()> done) {
    tested_.log.line("SETTINGSTEST starting dial loop before theme switch");
    unmuted_.emplace(tested_.audio, tested_.settings);
    tested_.audio.startLoop(SoundCategory::dialLoop, loopGain, loopRate);
    timeline_.in(leadTime, [this, done = std::move(done)] {
        switchTheme();
        unmuted_.reset();
        done();
    });
}

void LoopSwitchTest::switchTheme() {
    CheckList& checks = tested_.checks;
    AudioEngine& audio = tested_.audio;
    ThemeController& themes = tested_.themes;
    ActiveThemeAsItWas before(themes);
    const std::string active = before.id().value_or("none");
    const std::string other = otherTheme(active);
    tested_.log.line(fmt::format("SETTINGSTEST switching '{}' -> '{}' mid-loop", active, other));
    const bool sounded = audio.loopCategory() == SoundCategory::dialLoop;
    checks.check("loop is sounding before the switch", sounded);
    checks.check("theme switch during an active loop succeeded",
                 other != active && themes.activate(other) && themes.activeThemeID() == other);
    checks.check("loop torn down by the switch, not orphaned", sounded && !audio.loopCategory());
    const int soundsBefore = audio.activeVoiceCount();
    audio.play(SoundCategory::keyDown, playedVolume, false);
    checks.check("engine still plays after the swap", audio.activeVoiceCount() > soundsBefore);
    audio.stopLoop(0);
    audio.startLoop(SoundCategory::dialLoop, loopGain, loopRate);
    checks.check("a new loop starts on the new theme",
                 themes.activeThemeID() == other &&
                     audio.loopCategory() == SoundCategory::dialLoop);
    audio.stopLoop(0);
    checks.check("switching back succeeds", before.restore() && themes.activeThemeID() == active);
    audio.stopLoop(0);
}

// One of the built-in ones if there is one: it comes first.
std::string LoopSwitchTest::otherTheme(const std::string& active) const {
    const auto& available = tested_.themes.available();
    const auto found = std::ranges::find_if(
        available, [&](const ThemeDescriptor& theme) { return theme.id != active; });
    return found == available.end() ? active : found->id;
}

} // namespace morvel
