// The sections of the key-group self-test that load themes. Main thread; they block on the disk.
#pragma once

#include "platform/Log.h"
#include "platform/RandomSource.h"
#include "selftest/CheckList.h"
#include "themes/SoundTheme.h"
#include "themes/ThemeCatalog.h"
#include "themes/controller/ThemeController.h"

#include <memory>
#include <string>
#include <string_view>

namespace morvel {

class ThemeChecks {
public:
    // All must outlive the checks. `catalog` is the controller's.
    struct Services {
        ThemeController& themes;
        const ThemeCatalog& catalog;
        RandomSource& random;
        Log& log;
        CheckList& checks;
    };

    explicit ThemeChecks(const Services& services)
        : services_(services) {}

    // How the categories of every theme resolve, and what the built-in themes have of their own.
    void checkResolution();

    // A theme of nothing but a press and a release, which the controller's catalogue shows for as
    // long as it takes.
    void checkMinimalTheme();

    // A theme with a retired name.
    void checkLegacyTheme();

private:
    using Theme = std::shared_ptr<const SoundTheme>;

    void checkEveryCategory(const ThemeDescriptor& descriptor);
    void checkMechanical();
    void checkDefault();
    void checkMinimalSounds(const Theme& theme);
    void checkPicker(const std::string& id);

    // The theme of this id. Null, with what is wrong in `problem`, where it does not load.
    Theme load(std::string_view id, std::string& problem);
    // The built-in theme whose sounds the temporary ones are made of.
    std::filesystem::path mechanicalFolder() const;

    const Services services_;
};

} // namespace morvel
