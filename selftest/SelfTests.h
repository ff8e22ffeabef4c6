// The program's own tests, which a person or a script asks an installed copy to run on this very
// machine. They drive the real objects of the running application and tell what they find in the
// log.
//
// Main thread. Each runs at most once a launch, when its environment variable is exactly "1".
#pragma once

#include "app/AppDelegate.h"
#include "app/settings/AppSettings.h"
#include "audio/AudioEngine.h"
#include "platform/Environment.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "themes/controller/ThemeController.h"

#include <functional>
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
        AudioEngine& audio;
        AppSettings& settings;
        ThemeController& themes;
        // Ends the program in a later turn of the main run loop; may be called before that runs.
        std::function<void()> terminate;
    };

    explicit SelfTests(Services services);
    ~SelfTests();
    SelfTests(const SelfTests&) = delete;
    SelfTests& operator=(const SelfTests&) = delete;

    // In the order in which they start; must not outlive this.
    std::vector<AppDelegate::TestMode> modes();

private:
    struct Running;

    const Services services_;
    std::unique_ptr<Running> running_;
};

} // namespace morvel
