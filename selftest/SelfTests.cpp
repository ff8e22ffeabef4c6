#include "selftest/SelfTests.h"

#include "selftest/AudioSelfTest.h"
#include "selftest/FidgetSelfTest.h"
#include "selftest/KeyGroupSelfTest.h"
#include "selftest/KeyboardSelfTest.h"
#include "selftest/ThemeSelfTest.h"
#include "selftest/polish/PolishSelfTest.h"
#include "selftest/settings/SettingsSelfTest.h"

#include <optional>
#include <utility>

namespace morvel {

// What has been started runs on until the program ends.
struct SelfTests::Running {
    std::optional<AudioSelfTest> audio;
    std::optional<ThemeSelfTest> theme;
    std::optional<SettingsSelfTest> settings;
    std::optional<PolishSelfTest> polish;
    // Until the keyboard test takes it, which begins while others may have changed settings.
    std::unique_ptr<FileAsItWas> settingsFile;
    std::optional<KeyboardSelfTest> keyboard;
    std::optional<FidgetSelfTest> fidget;
};

SelfTests::SelfTests(Services services)
    : services_(std::move(services))
    , running_(std::make_unique<Running>()) {}

SelfTests::~SelfTests() = default;

void SelfTests::displayLost() {
    if (running_ && running_->settings)
        running_->settings->displayLost();
    running_.reset();
}

std::vector<AppDelegate::TestMode> SelfTests::modes() {
    const auto unlessStopped = [this](auto start) {
        return [this, start](AppDelegate& delegate) {
            if (!running_)
                return;
            rememberSettings();
            start(delegate);
        };
    };
    return {
        {AudioSelfTest::variable, unlessStopped([this](AppDelegate&) { startAudio(); })},
        {ThemeSelfTest::variable, unlessStopped([this](AppDelegate&) { startTheme(); })},
        {SettingsSelfTest::variable, unlessStopped([this](AppDelegate&) { startSettings(); })},
        {KeyGroupSelfTest::variable, unlessStopped([this](AppDelegate&) { startKeyGroups(); })},
        {PolishSelfTest::variable,
         unlessStopped([this](AppDelegate& delegate) { startPolish(delegate); })},
        {KeyboardSelfTest::variable, unlessStopped([this](AppDelegate&) { startKeyboard(); })},
        {FidgetSelfTest::variable, unlessStopped([this](AppDelegate&) { startFidget(); })},
    };
}

void SelfTests::rememberSettings() {
    if (running_->settingsFile || running_->keyboard ||
        !KeyboardSelfTest::isEnabled(services_.environment))
        return;
    services_.storage.flush();
    running_->settingsFile = std::make_unique<FileAsItWas>(services_.storage.file);
}

void SelfTests::startAudio() {
    running_->audio.emplace(AudioSelfTest::Services{services_.scheduler, services_.log,
                                                    services_.audio, services_.terminate},
                            services_.environment);
    running_->audio->run();
}

void SelfTests::startTheme() {
    if (services_.themes.activeTheme() == nullptr)
        return;
    running_->theme.emplace(
        ThemeSelfTest::Services{services_.scheduler, services_.log, services_.audio},
        services_.environment);
    running_->theme->run(*services_.themes.activeTheme());
}

void SelfTests::startSettings() {
    running_->settings.emplace(SettingsSelfTest::Services{
        services_.log, services_.scheduler, services_.environment, services_.storage,
        services_.catalog, services_.applicationSupport, services_.audio, services_.permission,
        services_.login, services_.loginItem, services_.loginItemFile,
        services_.makeSettingsWindow});
    running_->settings->run(services_.settings, services_.themes);
}

void SelfTests::startKeyGroups() {
    KeyGroupSelfTest({services_.catalog, services_.random, services_.log}).run(services_.themes);
}

void SelfTests::startPolish(const AppDelegate& delegate) {
    StatusItemController* const item = delegate.statusItemController();
    if (item == nullptr)
        return;
    running_->polish.emplace(PolishSelfTest::Services{
        services_.log, services_.scheduler, services_.environment, services_.storage,
        services_.themes, services_.audio, services_.permission, services_.keyboard,
        services_.isDrawable, delegate.testVariables()});
    running_->polish->run(*item, services_.settings);
}

void SelfTests::startKeyboard() {
    running_->keyboard.emplace(KeyboardSelfTest::Services{services_.keys, services_.settings,
                                                          services_.storage, services_.scheduler,
                                                          services_.log},
                               std::move(running_->settingsFile));
    running_->keyboard->run();
}

void SelfTests::startFidget() {
    running_->fidget.emplace(FidgetSelfTest::Services{services_.scheduler, services_.log,
                                                      services_.audio, services_.settings,
                                                      services_.terminate});
    running_->fidget->run();
}

} // namespace morvel
