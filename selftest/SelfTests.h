// The program's own tests, which a person or a script asks an installed copy to run on this very
// machine. They drive the real objects of the running application and tell what they find in the
// log.
//
// Main thread. Each runs at most once a launch, when its environment variable is exactly "1".
#pragma once

#include "app/AppDelegate.h"
#include "app/settings/AppSettings.h"
#include "app/settings/DefaultsStore.h"
#include "platform/Environment.h"
#include "platform/KeyEventPoster.h"
#include "platform/Log.h"
#include "platform/RandomSource.h"
#include "platform/Scheduler.h"
#include "themes/ThemeCatalog.h"
#include "themes/controller/ThemeController.h"

#include <memory>
#include <vector>

namespace morvel {

class SelfTests {
public:
    // What the self-tests drive; all of it must outlive them.
    struct Services {
        Scheduler& scheduler;
        Log& log;
        const Environment& environment;
        AppSettings& settings;
        DefaultsStore& defaults; // where the settings are kept
        ThemeController& themes;
        const ThemeCatalog& catalog; // the controller's
        RandomSource& random;
        KeyEventPoster& keys;
    };

    explicit SelfTests(const Services& services);
    ~SelfTests();
    SelfTests(const SelfTests&) = delete;
    SelfTests& operator=(const SelfTests&) = delete;

    // In the order in which they start; must not outlive this.
    std::vector<AppDelegate::TestMode> modes();

    // Ends what still runs, and puts back what it has changed for its time; none starts any more.
    void stop();

private:
    struct Running;

    void startKeyGroups();
    void startKeyboard();

    const Services services_;
    std::unique_ptr<Running> running_; // null: stopped
};

} // namespace morvel
