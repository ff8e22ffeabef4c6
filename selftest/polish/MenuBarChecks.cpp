#include "selftest/polish/MenuBarChecks.h"

#include "app/hotkey/GlobalHotKey.h"
#include "app/statusitem/StatusItemController.h"

#include <algorithm>
#include <string_view>

namespace morvel {

namespace {

bool contains(const std::vector<std::string>& titles, std::string_view title) {
    return std::ranges::find(titles, title) != titles.end();
}

bool mentions(const std::vector<std::string>& titles, std::string_view word) {
    return std::ranges::any_of(
        titles, [&](const std::string& title) { return title.find(word) != std::string::npos; });
}

} // namespace

void checkIconSymbols(CheckList& checks, const std::function<bool(const std::string&)>& isDrawable,
                      const std::optional<std::string>& current) {
    checks.check("dial.medium exists (outline / muted)", isDrawable("dial.medium"));
    checks.check("dial.medium.fill exists (filled / sounding)", isDrawable("dial.medium.fill"));
    checks.check("the menu-bar icon is a dial, not a waveform",
                 current && current->starts_with("dial.medium"));
}

void checkMenu(CheckList& checks, const std::vector<std::string>& titles) {
    checks.check("debug menu removed",
                 !titles.empty() && !mentions(titles, "Debug") && !mentions(titles, "debug"));
    checks.check("mute is reachable from the menu",
                 contains(titles, "Mute") || contains(titles, "Unmute"));
    checks.check(
        "the global shortcut is discoverable in the menu",
        mentions(titles, GlobalHotKey::displayString(StatusItemController::muteKeyCode,
                                                     StatusItemController::muteKeyModifiers)));
    checks.check("settings and quit remain",
                 contains(titles, "Settings…") && contains(titles, "Quit Morvel"));
}

void checkHarnessSwitches(CheckList& checks, const std::vector<std::string>& switches) {
    checks.check("env-gated harness switches still present",
                 contains(switches, "MORVEL_AUDIO_SELFTEST") &&
                     contains(switches, "MORVEL_THEME_SELFTEST") &&
                     contains(switches, "MORVEL_SETTINGS_SELFTEST"));
}

} // namespace morvel
