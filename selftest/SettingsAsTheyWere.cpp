#include "selftest/SettingsAsTheyWere.h"

#include <array>
#include <cmath>

namespace morvel {

namespace {

constexpr std::array<std::string_view, 5> keys = {keyboardVolumeSetting, fidgetEnabledSetting,
                                                  fidgetVolumeSetting, masterVolumeSetting,
                                                  mutedSetting};

} // namespace

bool SettingsAsTheyWere::Stored::operator==(const Stored& other) const {
    return key == other.key && present == other.present &&
           (number == other.number || (std::isnan(number) && std::isnan(other.number)));
}

std::vector<SettingsAsTheyWere::Stored> SettingsAsTheyWere::read(const DefaultsStore& store) {
    std::vector<Stored> result;
    result.reserve(keys.size());
    for (const std::string_view key : keys)
        result.push_back({key, store.contains(key), store.floatForKey(key)});
    return result;
}

SettingsAsTheyWere::SettingsAsTheyWere(AppSettings& settings, const SettingsStorage& storage)
    : settings_(settings)
    , storage_(storage)
    , keyboardVolume_(settings.keyboardVolume())
    , fidgetEnabled_(settings.fidgetEnabled())
    , fidgetVolume_(settings.fidgetVolume())
    , masterVolume_(settings.masterVolume())
    , muted_(settings.isMuted())
    , stored_(read(*storage.asOnDisk()))
    , file_(storage.file) {}

SettingsAsTheyWere::~SettingsAsTheyWere() {
    restore();
}

// A key that was not there is taken away again: its setting would no longer follow a default that
// another version of the program has.
void SettingsAsTheyWere::restore() {
    settings_.setKeyboardVolume(keyboardVolume_);
    settings_.setFidgetEnabled(fidgetEnabled_);
    settings_.setFidgetVolume(fidgetVolume_);
    settings_.setMasterVolume(masterVolume_);
    settings_.setMuted(muted_);
    for (const Stored& setting : stored_)
        if (!setting.present)
            storage_.store.remove(setting.key);
    storage_.flush();
    file_.restore();
}

bool SettingsAsTheyWere::isOnDisk() const {
    return read(*storage_.asOnDisk()) == stored_;
}

} // namespace morvel
