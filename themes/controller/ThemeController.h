// The one owner of the choice of the playing theme.
//
// A switch happens completely or not at all: the new theme is loaded first, and only then is the
// engine silenced and pointed at it. A theme that does not load is refused and the one before plays
// on. Main thread, all of it; scanning and loading block on the disk.
//
// Every observable property is announced by willChange() before it takes a value, and by its own
// Changed signal once the whole operation is in effect, when the value differs from the one before:
// an observer may then ask for another theme.
#pragma once

#include "app/settings/AppSettings.h"
#include "audio/AudioEngine.h"
#include "platform/Log.h"
#include "platform/RandomSource.h"
#include "themes/SoundTheme.h"
#include "themes/ThemeCatalog.h"
#include "themes/ThemeDescriptor.h"

#include <QObject>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace morvel {

class ThemeController : public QObject {
    Q_OBJECT

public:
    // All must outlive the controller; `random` also the themes it has loaded.
    struct Services {
        const ThemeCatalog& catalog;
        AudioEngine& audio;
        RandomSource& random;
        Log& log;
    };

    // Neither scans nor loads.
    explicit ThemeController(Services services);

    // The themes as last discovered, in the catalogue's order. The active theme's entry tells the
    // categories that were really decoded, which may be fewer than the files promised.
    const std::vector<ThemeDescriptor>& available() const { return available_; }
    // Of the active theme; before there is one, the theme to be activated.
    const std::string& activeThemeID() const { return activeThemeID_; }
    // For the user: why the last activation was refused; absent after a successful one.
    const std::optional<std::string>& lastError() const { return lastError_; }
    // Null until the first successful activation.
    const std::shared_ptr<const SoundTheme>& activeTheme() const { return activeTheme_; }

    // Discovers the themes anew.
    void refreshCatalog();

    // Makes `themeID` the active theme and, when told where, the one to start with next time;
    // answers whether it is active now. What was playing is cut off; the engine's voices need no
    // more than its start(), since none of them has a player to be set going. A refusal changes
    // nothing but lastError. The active theme itself is not loaded again.
    bool activate(const std::string& themeID, AppSettings* persistingTo = nullptr);

signals:
    void willChange();
    void availableChanged();
    void activeThemeIDChanged();
    void lastErrorChanged();

private:
    template <typename Value>
    bool assign(Value& property, Value value);
    void refuse(const std::string& themeID, const std::string& description);
    void play(const std::shared_ptr<const SoundTheme>& theme);
    bool correctActive(std::vector<ThemeDescriptor>& themes) const;

    const Services services_;
    std::vector<ThemeDescriptor> available_;
    std::string activeThemeID_{defaultThemeID};
    std::optional<std::string> lastError_;
    std::shared_ptr<const SoundTheme> activeTheme_;
};

} // namespace morvel
