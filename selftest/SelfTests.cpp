#include "selftest/SelfTests.h"

#include "selftest/AudioSelfTest.h"
#include "selftest/FidgetSelfTest.h"
#include "selftest/ThemeSelfTest.h"

#include <optional>
#include <utility>

namespace morvel {

// What has been started runs on until the program ends.
struct SelfTests::Running {
    std::optional<AudioSelfTest> audio;
    std::optional<ThemeSelfTest> theme;
    std::optional<FidgetSelfTest> fidget;
};

SelfTests::SelfTests(Services services)
    : services_(std::move(services))
    , running_(std::make_unique<Running>()) {}

SelfTests::~SelfTests() = default;

std::vector<AppDelegate::TestMode> SelfTests::modes() {
    const auto audio = [this](AppDelegate&) {
        running_->audio.emplace(AudioSelfTest::Services{services_.scheduler, services_.log,
                                                        services_.audio, services_.terminate},
                                services_.environment);
        running_->audio->run();
    };
    const auto theme = [this](AppDelegate&) {
        if (services_.themes.activeTheme() == nullptr)
            return;
        running_->theme.emplace(
            ThemeSelfTest::Services{services_.scheduler, services_.log, services_.audio},
            services_.environment);
        running_->theme->run(*services_.themes.activeTheme());
    };
    const auto fidget = [this](AppDelegate&) {
        running_->fidget.emplace(FidgetSelfTest::Services{services_.scheduler, services_.log,
                                                          services_.audio, services_.settings,
                                                          services_.terminate});
        running_->fidget->run();
    };
    return {{AudioSelfTest::variable, audio},
            {ThemeSelfTest::variable, theme},
            {FidgetSelfTest::variable, fidget}};
}

} // namespace morvel
