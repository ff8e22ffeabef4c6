#include "selftest/SelfTests.h"

#include "selftest/polish/PolishSelfTest.h"
#include "selftest/settings/SettingsSelfTest.h"

#include <optional>
#include <utility>

namespace morvel {

// What has been started runs on until the program ends.
struct SelfTests::Running {
    std::optional<SettingsSelfTest> settings;
    std::optional<PolishSelfTest> polish;
};

SelfTests::SelfTests(Services services)
    : services_(std::move(services))
    , running_(std::make_unique<Running>()) {}

SelfTests::~SelfTests() = default;

std::vector<AppDelegate::TestMode> SelfTests::modes() {
    const auto settings = [this](AppDelegate&) {
        running_->settings.emplace(SettingsSelfTest::Services{
            services_.log, services_.scheduler, services_.environment, services_.storage,
            services_.catalog, services_.applicationSupport, services_.audio, services_.permission,
            services_.login, services_.loginItem, services_.loginItemFile,
            services_.makeSettingsWindow});
        running_->settings->run(services_.settings, services_.themes);
    };
    const auto polish = [this](const AppDelegate& delegate) {
        StatusItemController* const item = delegate.statusItemController();
        if (item == nullptr)
            return;
        running_->polish.emplace(PolishSelfTest::Services{
            services_.log, services_.scheduler, services_.environment, services_.storage,
            services_.themes, services_.audio, services_.permission, services_.keyboard,
            services_.isDrawable, delegate.testVariables()});
        running_->polish->run(*item, services_.settings);
    };
    return {{SettingsSelfTest::variable, settings}, {PolishSelfTest::variable, polish}};
}

} // namespace morvel
