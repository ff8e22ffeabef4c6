#include "app/settings/AppSettings.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <string>
#include <string_view>

namespace morvel {

namespace {

constexpr std::string_view keyboardEnabledKey = "module.keyboard.enabled";
constexpr std::string_view keyboardVolumeKey = "module.keyboard.volume";
constexpr std::string_view fidgetEnabledKey = "module.fidget.enabled";
constexpr std::string_view fidgetVolumeKey = "module.fidget.volume";
constexpr std::string_view masterVolumeKey = "master.volume";
constexpr std::string_view mutedKey = "master.muted";
constexpr std::string_view themeIDKey = "theme.id";

// The keys of a sound module that is no more.
constexpr std::array<std::string_view, 2> retiredKeys = {"module.trackpad.enabled",
                                                         "module.trackpad.volume"};

constexpr const char* builtInThemeID = "mechanical";

const DefaultsStore::Defaults& registeredDefaults() {
    static const DefaultsStore::Defaults defaults = {
        {std::string(keyboardEnabledKey), true},
        {std::string(keyboardVolumeKey), 1.0},
        {std::string(fidgetEnabledKey), true},
        {std::string(fidgetVolumeKey), 1.0},
        {std::string(masterVolumeKey), 1.0},
        {std::string(mutedKey), false},
        {std::string(themeIDKey), std::string(builtInThemeID)},
    };
    return defaults;
}

template <typename Value>
bool same(const Value& a, const Value& b) {
    return a == b;
}

// Two values that are no number are the same value to an observer.
bool same(float a, float b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

} // namespace

AppSettings::AppSettings(DefaultsStore& defaults, AudioEngine& engine, LaunchAtLogin& login,
                         Log& log)
    : defaults_(defaults)
    , engine_(engine)
    , login_(login) {
    // Before the defaults are registered, so that only a stored value counts as there.
    purgeRetiredKeys(log);
    defaults_.registerDefaults(registeredDefaults());
    readValues();
    launchAtLogin_ = login_.isEnabled();
}

void AppSettings::purgeRetiredKeys(Log& log) {
    for (const std::string_view key : retiredKeys) {
        if (!defaults_.contains(key))
            continue;
        defaults_.remove(key);
        log.line(fmt::format("Removed retired setting '{}' (feature no longer exists)", key));
    }
}

void AppSettings::readValues() {
    keyboardEnabled_ = defaults_.boolForKey(keyboardEnabledKey);
    keyboardVolume_ = defaults_.floatForKey(keyboardVolumeKey);
    fidgetEnabled_ = defaults_.boolForKey(fidgetEnabledKey);
    fidgetVolume_ = defaults_.floatForKey(fidgetVolumeKey);
    masterVolume_ = defaults_.floatForKey(masterVolumeKey);
    isMuted_ = defaults_.boolForKey(mutedKey);
    themeID_ = QString::fromStdString(defaults_.stringForKey(themeIDKey).value_or(builtInThemeID));
}

// The change is announced last: an observer that sets the property again finds it fully in effect.
template <typename Value, typename WriteThrough>
void AppSettings::assign(Value& property, const Value& value, WriteThrough writeThrough,
                         void (AppSettings::*changed)(Value)) {
    emit willChange();
    const bool differs = !same(property, value);
    property = value;
    writeThrough();
    if (differs)
        emit(this->*changed)(value);
}

void AppSettings::setKeyboardEnabled(bool enabled) {
    assign(
        keyboardEnabled_, enabled, [&] { defaults_.setBool(keyboardEnabledKey, enabled); },
        &AppSettings::keyboardEnabledChanged);
}

void AppSettings::setKeyboardVolume(float volume) {
    assign(
        keyboardVolume_, volume, [&] { defaults_.setFloat(keyboardVolumeKey, volume); },
        &AppSettings::keyboardVolumeChanged);
}

void AppSettings::setFidgetEnabled(bool enabled) {
    assign(
        fidgetEnabled_, enabled, [&] { defaults_.setBool(fidgetEnabledKey, enabled); },
        &AppSettings::fidgetEnabledChanged);
}

void AppSettings::setFidgetVolume(float volume) {
    assign(
        fidgetVolume_, volume, [&] { defaults_.setFloat(fidgetVolumeKey, volume); },
        &AppSettings::fidgetVolumeChanged);
}

void AppSettings::setMasterVolume(float volume) {
    const auto writeThrough = [&] {
        defaults_.setFloat(masterVolumeKey, volume);
        engine_.setMasterVolume(volume);
        applyOutputLevel();
    };
    assign(masterVolume_, volume, writeThrough, &AppSettings::masterVolumeChanged);
}

void AppSettings::setMuted(bool muted) {
    const auto writeThrough = [&] {
        defaults_.setBool(mutedKey, muted);
        engine_.setMuted(muted);
        applyOutputLevel();
    };
    assign(isMuted_, muted, writeThrough, &AppSettings::isMutedChanged);
}

void AppSettings::setThemeID(const QString& themeID) {
    emit willChange();
    const bool differs = themeID_ != themeID;
    themeID_ = themeID;
    defaults_.setString(themeIDKey, themeID.toStdString());
    if (differs)
        emit themeIDChanged(themeID);
}

void AppSettings::setLaunchAtLogin(bool launch) {
    assign(
        launchAtLogin_, launch, [] {}, &AppSettings::launchAtLoginChanged);
    if (isSyncingLaunchAtLogin_)
        return;
    login_.setEnabled(launch);
    syncLaunchAtLogin();
}

void AppSettings::syncLaunchAtLogin() {
    const bool real = login_.isEnabled();
    if (real == launchAtLogin_)
        return;
    isSyncingLaunchAtLogin_ = true;
    setLaunchAtLogin(real);
    isSyncingLaunchAtLogin_ = false;
}

AppSettings::Binding<bool> AppSettings::enabledBinding(SoundModule module) {
    if (module == SoundModule::fidget)
        return {[this] { return fidgetEnabled(); },
                [this](bool enabled) { setFidgetEnabled(enabled); }};
    return {[this] { return keyboardEnabled(); },
            [this](bool enabled) { setKeyboardEnabled(enabled); }};
}

AppSettings::Binding<float> AppSettings::volumeBinding(SoundModule module) {
    if (module == SoundModule::fidget)
        return {[this] { return fidgetVolume(); },
                [this](float volume) { setFidgetVolume(volume); }};
    return {[this] { return keyboardVolume(); },
            [this](float volume) { setKeyboardVolume(volume); }};
}

void AppSettings::applyToAudioEngine() {
    engine_.setMasterVolume(masterVolume_);
    applyOutputLevel();
    engine_.setMuted(isMuted_);
    applyOutputLevel();
}

// Unlike the engine's own rule, a master volume that is no number counts as full.
void AppSettings::applyOutputLevel() {
    const float level = std::fmax(0.0F, std::fmin(masterVolume_, 1.0F));
    engine_.setSubmixOutputVolume(engine_.isMuted() ? 0.0F : level);
}

} // namespace morvel
