// The user's choices, observable, kept in a defaults store and pushed into the audio engine.
//
// Main thread, all of it. Every setter emits willChange() before the new value is in place, each
// time it is called; the property's own Changed signal follows, after the value is in place and
// written through, only when the value differs from the one before.
#pragma once

#include "app/login/LaunchAtLogin.h"
#include "audio/AudioEngine.h"
#include "platform/DefaultsStore.h"
#include "platform/Log.h"
#include "sound/SoundCategory.h"

#include <QObject>
#include <QString>
#include <functional>

namespace morvel {

class AppSettings : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool keyboardEnabled READ keyboardEnabled WRITE setKeyboardEnabled NOTIFY
                   keyboardEnabledChanged)
    Q_PROPERTY(float keyboardVolume READ keyboardVolume WRITE setKeyboardVolume NOTIFY
                   keyboardVolumeChanged)
    Q_PROPERTY(
        bool fidgetEnabled READ fidgetEnabled WRITE setFidgetEnabled NOTIFY fidgetEnabledChanged)
    Q_PROPERTY(
        float fidgetVolume READ fidgetVolume WRITE setFidgetVolume NOTIFY fidgetVolumeChanged)
    Q_PROPERTY(
        float masterVolume READ masterVolume WRITE setMasterVolume NOTIFY masterVolumeChanged)
    Q_PROPERTY(bool isMuted READ isMuted WRITE setMuted NOTIFY isMutedChanged)
    Q_PROPERTY(QString themeID READ themeID WRITE setThemeID NOTIFY themeIDChanged)
    Q_PROPERTY(
        bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLogin NOTIFY launchAtLoginChanged)

public:
    // A two-way view of one property.
    template <typename Value>
    struct Binding {
        std::function<Value()> get;
        std::function<void(Value)> set;
    };

    // Removes retired keys from the store (one log line each), registers the defaults and reads the
    // values. The engine is not touched before applyToAudioEngine() or a setter. What is passed in
    // must outlive the settings.
    AppSettings(DefaultsStore& defaults, AudioEngine& engine, LaunchAtLogin& login, Log& log);

    // Plain reads: the consumers ask at every key and every toy's sound.
    bool keyboardEnabled() const { return keyboardEnabled_; }
    float keyboardVolume() const { return keyboardVolume_; } // nominally 0 to 1, never clamped here
    bool fidgetEnabled() const { return fidgetEnabled_; }
    float fidgetVolume() const { return fidgetVolume_; } // nominally 0 to 1, never clamped here
    float masterVolume() const { return masterVolume_; } // nominally 0 to 1, never clamped here
    bool isMuted() const { return isMuted_; }
    QString themeID() const { return themeID_; }
    bool launchAtLogin() const { return launchAtLogin_; } // mirrors the system, never stored

    void setKeyboardEnabled(bool enabled);
    void setKeyboardVolume(float volume);
    void setFidgetEnabled(bool enabled);
    void setFidgetVolume(float volume);
    // These two also set the engine's master volume or mute, and the level of its submix.
    void setMasterVolume(float volume);
    void setMuted(bool muted);
    void setThemeID(const QString& themeID);
    // Asks the system, then shows what it did: a refusal snaps the switch back before this returns.
    void setLaunchAtLogin(bool launch);

    // Every module but the fidget one means the keyboard. The bindings must not outlive the
    // settings.
    Binding<bool> enabledBinding(SoundModule module);
    Binding<float> volumeBinding(SoundModule module);

    // Copies master volume and mute into the engine and applies the resulting level.
    void applyToAudioEngine();

    // Copies the login item's real state into launchAtLogin without asking the system for anything.
    // Emits nothing when they agree.
    void syncLaunchAtLogin();

signals:
    void willChange();
    void keyboardEnabledChanged(bool enabled);
    void keyboardVolumeChanged(float volume);
    void fidgetEnabledChanged(bool enabled);
    void fidgetVolumeChanged(float volume);
    void masterVolumeChanged(float volume);
    void isMutedChanged(bool muted);
    void themeIDChanged(const QString& themeID);
    void launchAtLoginChanged(bool launch);

private:
    void purgeRetiredKeys(Log& log);
    void readValues();
    void applyOutputLevel();
    template <typename Value, typename WriteThrough>
    void assign(Value& property, const Value& value, WriteThrough writeThrough,
                void (AppSettings::*changed)(Value));

    DefaultsStore& defaults_;
    AudioEngine& engine_;
    LaunchAtLogin& login_;
    bool keyboardEnabled_ = true;
    float keyboardVolume_ = 1;
    bool fidgetEnabled_ = true;
    float fidgetVolume_ = 1;
    float masterVolume_ = 1;
    bool isMuted_ = false;
    QString themeID_;
    bool launchAtLogin_ = false;
    // Set while the system's state is copied into launchAtLogin: the setter then asks for nothing.
    bool isSyncingLaunchAtLogin_ = false;
};

} // namespace morvel
