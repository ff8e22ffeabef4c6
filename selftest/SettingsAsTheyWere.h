// Puts the settings that the self-tests change back as they were: the values in effect, what the
// store holds, and the store's file byte for byte. Main thread; blocks on the disk.
#pragma once

#include "app/settings/AppSettings.h"
#include "selftest/FileAsItWas.h"
#include "selftest/SettingsStorage.h"

#include <string_view>
#include <vector>

namespace morvel {

// The keys of those settings.
inline constexpr std::string_view keyboardVolumeSetting = "module.keyboard.volume";
inline constexpr std::string_view fidgetEnabledSetting = "module.fidget.enabled";
inline constexpr std::string_view fidgetVolumeSetting = "module.fidget.volume";
inline constexpr std::string_view masterVolumeSetting = "master.volume";
inline constexpr std::string_view mutedSetting = "master.muted";

class SettingsAsTheyWere {
public:
    // Both must outlive this.
    SettingsAsTheyWere(AppSettings& settings, const SettingsStorage& storage);
    // Restores.
    ~SettingsAsTheyWere();
    SettingsAsTheyWere(const SettingsAsTheyWere&) = delete;
    SettingsAsTheyWere& operator=(const SettingsAsTheyWere&) = delete;

    void restore();

    // Whether the file on disk tells the same of these settings as it did.
    bool isOnDisk() const;

private:
    struct Stored {
        std::string_view key;
        bool present = false;
        float number = 0; // of a Bool 0 or 1

        bool operator==(const Stored& other) const;
    };
    static std::vector<Stored> read(const DefaultsStore& store);

    AppSettings& settings_;
    const SettingsStorage& storage_;
    const float keyboardVolume_;
    const bool fidgetEnabled_;
    const float fidgetVolume_;
    const float masterVolume_;
    const bool muted_;
    const std::vector<Stored> stored_;
    FileAsItWas file_;
};

} // namespace morvel
