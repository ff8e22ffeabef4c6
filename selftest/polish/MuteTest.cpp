#include "selftest/polish/MuteTest.h"

#include <algorithm>
#include <utility>

namespace morvel {

namespace {

// The master volume is the user's, and may be 0.
bool isAudible(const AudioEngine& audio) {
    return !audio.isMuted() &&
           audio.submixOutputVolume() == std::clamp(audio.masterVolume(), 0.0F, 1.0F);
}

bool isSilent(const AudioEngine& audio) {
    return audio.isMuted() && audio.submixOutputVolume() == 0.0F;
}

} // namespace

MuteTest::MuteTest(const PolishUnderTest& tested)
    : tested_(tested)
    , timeline_(tested.scheduler) {}

void MuteTest::start(std::function<void()> done) {
    done_ = std::move(done);
    before_.emplace(tested_.settings, tested_.storage);
    tested_.settings.setMuted(false);
    timeline_.next([this] { checkSounding(); });
}

void MuteTest::checkSounding() {
    tested_.checks.check("icon is filled while sounding", showsSymbol("dial.medium.fill"));
    tested_.checks.check("engine is audible while unmuted", isAudible(tested_.audio));
    if (tested_.statusItem)
        tested_.statusItem->toggleMute();
    timeline_.next([this] { checkMuted(); });
}

void MuteTest::checkMuted() {
    tested_.checks.check("hotkey path mutes",
                         tested_.settings.isMuted() && isSilent(tested_.audio));
    tested_.checks.check("icon is outline while muted", showsSymbol("dial.medium"));
    const auto titles =
        tested_.statusItem ? tested_.statusItem->currentMenuTitles() : std::vector<std::string>();
    tested_.checks.check("menu item reflects muted state",
                         std::ranges::find(titles, "Unmute") != titles.end());
    if (tested_.statusItem)
        tested_.statusItem->toggleMute();
    timeline_.next([this] { checkSoundingAgain(); });
}

void MuteTest::checkSoundingAgain() {
    tested_.checks.check("hotkey path unmutes",
                         !tested_.settings.isMuted() && isAudible(tested_.audio));
    tested_.checks.check("icon returns to filled", showsSymbol("dial.medium.fill"));
    const auto onDisk = tested_.storage.asOnDisk();
    tested_.checks.check("mute state persisted",
                         onDisk->contains(mutedSetting) && !onDisk->boolForKey(mutedSetting));
    before_.reset();
    done_();
}

bool MuteTest::showsSymbol(const char* name) const {
    return tested_.statusItem && tested_.statusItem->currentIconSymbolName() == name;
}

} // namespace morvel
