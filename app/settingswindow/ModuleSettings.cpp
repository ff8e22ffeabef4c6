#include "app/settingswindow/ModuleSettings.h"

#include <algorithm>
#include <cmath>

namespace morvel {

ModuleSettings::ModuleSettings(AppSettings& settings, SoundModule module)
    : module_(module)
    , enabled_(settings.enabledBinding(module))
    , volume_(settings.volumeBinding(module)) {
    connect(&settings, &AppSettings::keyboardEnabledChanged, this, &ModuleSettings::changed);
    connect(&settings, &AppSettings::keyboardVolumeChanged, this, &ModuleSettings::changed);
    connect(&settings, &AppSettings::fidgetEnabledChanged, this, &ModuleSettings::changed);
    connect(&settings, &AppSettings::fidgetVolumeChanged, this, &ModuleSettings::changed);
}

QString ModuleSettings::title() const {
    return module_ == SoundModule::fidget ? QStringLiteral("Fidget Drawer")
                                          : QStringLiteral("Keyboard");
}

// A stored volume may be anything.
QString ModuleSettings::percentage() const {
    const float percent = volume() * 100.0F;
    const float shown = std::isnan(percent) ? 0.0F : std::clamp(percent, -9999.0F, 9999.0F);
    return QStringLiteral("%1%").arg(static_cast<int>(shown));
}

} // namespace morvel
