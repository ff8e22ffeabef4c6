// One sound module's switch and volume, as the settings window shows and changes them.
#pragma once

#include "app/settings/AppSettings.h"
#include "sound/SoundCategory.h"

#include <QObject>
#include <QString>

namespace morvel {

// Main thread, all of it.
class ModuleSettings : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(bool enabled READ enabled WRITE setEnabled NOTIFY changed)
    Q_PROPERTY(float volume READ volume WRITE setVolume NOTIFY changed)
    Q_PROPERTY(QString percentage READ percentage NOTIFY changed)

public:
    // `settings` must outlive this.
    ModuleSettings(AppSettings& settings, SoundModule module);

    QString title() const;
    bool enabled() const { return enabled_.get(); }
    void setEnabled(bool enabled) { enabled_.set(enabled); }
    float volume() const { return volume_.get(); }
    void setVolume(float volume) { volume_.set(volume); }
    QString percentage() const; // the volume's whole per cent, cut off: "50%"

signals:
    void changed();

private:
    const SoundModule module_;
    const AppSettings::Binding<bool> enabled_;
    const AppSettings::Binding<float> volume_;
};

} // namespace morvel
