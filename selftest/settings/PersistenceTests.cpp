#include "selftest/settings/PersistenceTests.h"

#include "selftest/SettingsAsTheyWere.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace morvel {

namespace {

constexpr float keyboardVolume = 0.42F;
constexpr float fidgetVolume = 0.77F;
constexpr float masterVolume = 0.6F;
constexpr float tolerance = 0.0001F;

bool isAbout(float value, float wanted) {
    return std::fabs(value - wanted) <= tolerance;
}

} // namespace

void testPersistence(const SettingsUnderTest& tested) {
    AppSettings& settings = tested.settings;
    CheckList& checks = tested.checks;
    SettingsAsTheyWere guard(settings, tested.storage);
    settings.setKeyboardVolume(keyboardVolume);
    settings.setFidgetEnabled(false);
    settings.setFidgetVolume(fidgetVolume);
    settings.setMasterVolume(masterVolume);
    const auto onDisk = tested.storage.asOnDisk();
    checks.check("volume persisted to UserDefaults",
                 isAbout(onDisk->floatForKey(keyboardVolumeSetting), keyboardVolume));
    checks.check("toggle persisted to UserDefaults", onDisk->contains(fidgetEnabledSetting) &&
                                                         !onDisk->boolForKey(fidgetEnabledSetting));
    checks.check("second volume persisted",
                 isAbout(onDisk->floatForKey(fidgetVolumeSetting), fidgetVolume));
    checks.check("volume takes effect without restart",
                 isAbout(settings.keyboardVolume(), keyboardVolume) &&
                     isAbout(settings.volumeBinding(SoundModule::keyboard).get(), keyboardVolume));
    checks.check("disabled module reports disabled",
                 !settings.fidgetEnabled() && !settings.enabledBinding(SoundModule::fidget).get());
    const float heard = settings.isMuted() ? 0.0F : masterVolume;
    checks.check("master volume reaches the engine live",
                 isAbout(tested.audio.masterVolume(), masterVolume) &&
                     isAbout(tested.audio.submixOutputVolume(), heard));
    guard.restore();
    checks.check("restore persisted", guard.isOnDisk());
}

void testRetiredModule(const SettingsUnderTest& tested) {
    CheckList& checks = tested.checks;
    checks.check("only Keyboard and Fidget Drawer modules exist",
                 allSoundModules() == std::array{SoundModule::keyboard, SoundModule::fidget});
    checks.check("no trackpad category remains",
                 std::ranges::none_of(allSoundCategories(), [](SoundCategory category) {
                     return rawValue(category).find("trackpad") != std::string_view::npos;
                 }));
    const auto window = tested.makeSettingsWindow();
    checks.check("Settings renders one row per remaining module",
                 window != nullptr && window->moduleRowCount() == 2);
    const auto onDisk = tested.storage.asOnDisk();
    checks.check("retired trackpad keys purged from UserDefaults",
                 !onDisk->contains("module.trackpad.enabled") &&
                     !onDisk->contains("module.trackpad.volume"));
}

} // namespace morvel
