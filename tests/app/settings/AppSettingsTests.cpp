#include "app/settings/AppSettings.h"
#include "app/settings/JsonDefaultsStore.h"
#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <QVariant>
#include <cmath>
#include <limits>

namespace morvel {
namespace {

using Lines = std::vector<std::string>;

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

class NoOutput : public AudioOutput {
public:
    void connect(Render, Events) override {}
    void start() override {}
    void pause() override {}
    AudioOutputState state() const override { return AudioOutputState::stopped; }
    std::uint32_t periodFrames() const override { return 0; }
    std::uint32_t latencyFrames() const override { return 0; }
    std::string_view serverName() const override { return "none"; }
};

class AppSettingsTest : public testing::Test {
protected:
    // A start of the program on the settings file as it is.
    AppSettings& start() {
        settings_.reset();
        store_.reset();
        log_.clear();
        store_.emplace(file_, time_, log_);
        const std::filesystem::path bundle = available_ ? "/Applications/Morvel.app" : "/srv/M.app";
        login_.emplace(service_, ApplicationBundle{{}, bundle, "app.x", {}},
                       InstallationPaths{"/home/x", "/home/x/Downloads", {"/Applications"}}, log_);
        settings_.emplace(*store_, engine_, *login_, log_);
        return *settings_;
    }
    AppSettings& startWith(std::string_view json) {
        writeText(file_, json);
        return start();
    }
    std::string fileText() {
        store_->flush();
        return readText(file_);
    }

    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_ / "settings.json";
    VirtualTime time_;
    SimulatedLog log_;
    ScriptedRandom random_{{0}};
    NoOutput output_;
    AudioEngine engine_{{output_, time_, time_, random_, log_}, false};
    SimulatedLoginItem service_;
    bool available_ = true;
    std::optional<JsonDefaultsStore> store_;
    std::optional<LaunchAtLogin> login_;
    std::optional<AppSettings> settings_;
};

TEST_F(AppSettingsTest, RemovesARetiredKeyWithOneLineAndSaysNothingAtTheSecondStart) {
    startWith(R"({"module.trackpad.enabled": false})");
    EXPECT_EQ(log_.lines(), Lines{"[Morvel] Removed retired setting 'module.trackpad.enabled' "
                                  "(feature no longer exists)"});
    EXPECT_FALSE(store_->contains("module.trackpad.enabled"));
    EXPECT_EQ(fileText(), "{}\n");
    start();
    EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(AppSettingsTest, RemovesBothRetiredKeysInTheirOrderWhateverTheyHold) {
    startWith(R"({"module.trackpad.volume": null, "module.trackpad.enabled": [1]})");
    EXPECT_EQ(
        log_.lines(),
        (Lines{"[Morvel] Removed retired setting 'module.trackpad.enabled' (feature no longer "
               "exists)",
               "[Morvel] Removed retired setting 'module.trackpad.volume' (feature no longer "
               "exists)"}));
}

TEST_F(AppSettingsTest, AFreshStoreYieldsTheDefaultsAndWritesNothing) {
    const AppSettings& settings = start();
    EXPECT_TRUE(settings.keyboardEnabled());
    EXPECT_TRUE(settings.fidgetEnabled());
    EXPECT_EQ(settings.keyboardVolume(), 1.0F);
    EXPECT_EQ(settings.fidgetVolume(), 1.0F);
    EXPECT_EQ(settings.masterVolume(), 1.0F);
    EXPECT_FALSE(settings.isMuted());
    EXPECT_EQ(settings.themeID(), "mechanical");
    EXPECT_FALSE(settings.launchAtLogin());
    time_.advance(10);
    EXPECT_FALSE(std::filesystem::exists(file_));
    EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(AppSettingsTest, AThemeThatIsANumberYieldsMechanical) {
    EXPECT_EQ(startWith(R"({"theme.id": 7})").themeID(), "mechanical");
}

TEST_F(AppSettingsTest, ValuesOfOtherTypesFallBackToTheDefaults) {
    const AppSettings& settings = startWith(
        R"({"module.keyboard.enabled": [], "module.keyboard.volume": "loud", "master.muted": {},
            "module.fidget.enabled": null, "master.volume": [0.5], "theme.id": null})");
    EXPECT_TRUE(settings.keyboardEnabled());
    EXPECT_EQ(settings.keyboardVolume(), 1.0F);
    EXPECT_TRUE(settings.fidgetEnabled());
    EXPECT_EQ(settings.masterVolume(), 1.0F);
    EXPECT_FALSE(settings.isMuted());
    EXPECT_EQ(settings.themeID(), "mechanical");
}

TEST_F(AppSettingsTest, EverythingSetIsThereAtTheNextStartUnderItsKey) {
    AppSettings& first = start();
    first.setKeyboardEnabled(false);
    first.setKeyboardVolume(0.7F);
    first.setFidgetEnabled(false);
    first.setFidgetVolume(0.1F);
    first.setMasterVolume(0.25F);
    first.setMuted(true);
    first.setThemeID("büro");
    EXPECT_EQ(fileText(), R"({
    "master.muted": true,
    "master.volume": 0.25,
    "module.fidget.enabled": false,
    "module.fidget.volume": 0.1,
    "module.keyboard.enabled": false,
    "module.keyboard.volume": 0.7,
    "theme.id": "büro"
}
)");
    const AppSettings& second = start();
    EXPECT_FALSE(second.keyboardEnabled());
    EXPECT_EQ(second.keyboardVolume(), 0.7F);
    EXPECT_FALSE(second.fidgetEnabled());
    EXPECT_EQ(second.fidgetVolume(), 0.1F);
    EXPECT_EQ(second.masterVolume(), 0.25F);
    EXPECT_TRUE(second.isMuted());
    EXPECT_EQ(second.themeID(), "büro");
}

TEST_F(AppSettingsTest, AMasterVolumeOutsideItsRangeIsKeptAndOnlyTheLevelIsLimited) {
    AppSettings& settings = start();
    settings.setMasterVolume(1.5F);
    EXPECT_EQ(store_->floatForKey("master.volume"), 1.5F);
    EXPECT_EQ(engine_.masterVolume(), 1.5F);
    EXPECT_EQ(engine_.submixOutputVolume(), 1.0F);
    settings.setMasterVolume(-0.2F);
    EXPECT_EQ(store_->floatForKey("master.volume"), -0.2F);
    EXPECT_EQ(engine_.submixOutputVolume(), 0.0F);
    EXPECT_EQ(start().masterVolume(), -0.2F);
}

TEST_F(AppSettingsTest, AMasterVolumeThatIsNoNumberCountsAsFullWhileUnmuted) {
    AppSettings& settings = start();
    settings.setMasterVolume(notANumber);
    EXPECT_EQ(engine_.submixOutputVolume(), 1.0F);
    settings.setMuted(true);
    EXPECT_EQ(engine_.submixOutputVolume(), 0.0F);
    EXPECT_TRUE(std::isnan(start().masterVolume()));
}

TEST_F(AppSettingsTest, MutingSilencesWithoutTouchingTheMasterVolumeAndUnmutingRestoresIt) {
    AppSettings& settings = start();
    settings.setMasterVolume(0.6F);
    settings.setMuted(true);
    EXPECT_TRUE(engine_.isMuted());
    EXPECT_EQ(engine_.submixOutputVolume(), 0.0F);
    EXPECT_EQ(store_->floatForKey("master.volume"), 0.6F);
    settings.setMasterVolume(0.4F);
    EXPECT_EQ(engine_.submixOutputVolume(), 0.0F);
    settings.setMuted(false);
    EXPECT_EQ(engine_.submixOutputVolume(), 0.4F);
}

TEST_F(AppSettingsTest, CreationLeavesTheEngineAloneAndApplyingSetsIt) {
    AppSettings& settings = startWith(R"({"master.volume": 0.3, "master.muted": true})");
    EXPECT_EQ(engine_.masterVolume(), 1.0F);
    EXPECT_FALSE(engine_.isMuted());
    settings.applyToAudioEngine();
    EXPECT_EQ(engine_.masterVolume(), 0.3F);
    EXPECT_TRUE(engine_.isMuted());
    EXPECT_EQ(engine_.submixOutputVolume(), 0.0F);
}

TEST_F(AppSettingsTest, ApplyingUnmutedSetsTheLevel) {
    startWith(R"({"master.volume": 0.3})").applyToAudioEngine();
    EXPECT_EQ(engine_.submixOutputVolume(), 0.3F);
}

TEST_F(AppSettingsTest, LaunchAtLoginStaysOffWhereItIsUnavailable) {
    available_ = false;
    AppSettings& settings = start();
    std::vector<bool> told;
    QObject::connect(&settings, &AppSettings::launchAtLoginChanged,
                     [&](bool launch) { told.push_back(launch); });
    settings.setLaunchAtLogin(true);
    EXPECT_FALSE(settings.launchAtLogin());
    EXPECT_EQ(told, (std::vector<bool>{true, false}));
    EXPECT_EQ(service_.registrations, 0);
    EXPECT_EQ(log_.lines().size(), 1u);
}

TEST_F(AppSettingsTest, LaunchAtLoginRegistersOnceAndMirrorsTheResult) {
    AppSettings& settings = start();
    settings.setLaunchAtLogin(true);
    EXPECT_TRUE(settings.launchAtLogin());
    EXPECT_EQ(service_.registrations, 1);
    settings.setLaunchAtLogin(false);
    EXPECT_FALSE(settings.launchAtLogin());
    EXPECT_EQ(service_.unregistrations, 1);
}

TEST_F(AppSettingsTest, AFailedRegistrationSnapsTheSwitchBackWithoutAskingAgain) {
    AppSettings& settings = start();
    service_.error = "refused";
    settings.setLaunchAtLogin(true);
    EXPECT_FALSE(settings.launchAtLogin());
    EXPECT_EQ(service_.registrations, 1);
    EXPECT_EQ(service_.unregistrations, 0);
}

TEST_F(AppSettingsTest, LaunchAtLoginComesFromTheSystemAndIsNeverStored) {
    service_.current = LoginItemStatus::enabled;
    AppSettings& settings = startWith(R"({"theme.id": "x", "launchAtLogin": false})");
    EXPECT_TRUE(settings.launchAtLogin());
    store_->remove("theme.id");
    store_->remove("launchAtLogin");
    EXPECT_TRUE(settings.launchAtLogin());
    settings.setLaunchAtLogin(false);
    settings.setLaunchAtLogin(true);
    EXPECT_EQ(fileText(), "{}\n");
    EXPECT_TRUE(start().launchAtLogin());
}

TEST_F(AppSettingsTest, SyncingCopiesTheRealStateWithoutAskingTheSystemForAnything) {
    AppSettings& settings = start();
    service_.current = LoginItemStatus::enabled;
    settings.syncLaunchAtLogin();
    EXPECT_TRUE(settings.launchAtLogin());
    service_.current = LoginItemStatus::requiresApproval;
    settings.syncLaunchAtLogin();
    EXPECT_FALSE(settings.launchAtLogin());
    EXPECT_EQ(service_.registrations, 0);
    EXPECT_EQ(service_.unregistrations, 0);
    EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(AppSettingsTest, SyncingWithoutAChangeTellsNobody) {
    AppSettings& settings = start();
    int notifications = 0;
    QObject::connect(&settings, &AppSettings::willChange, [&] { ++notifications; });
    QObject::connect(&settings, &AppSettings::launchAtLoginChanged, [&] { ++notifications; });
    settings.syncLaunchAtLogin();
    EXPECT_EQ(notifications, 0);
}

TEST_F(AppSettingsTest, AChangeIsAnnouncedBeforeItIsInPlaceAndToldWhenItIsInEffect) {
    AppSettings& settings = start();
    std::vector<float> seen;
    QObject::connect(&settings, &AppSettings::willChange,
                     [&] { seen.push_back(settings.masterVolume()); });
    QObject::connect(&settings, &AppSettings::masterVolumeChanged, [&](float volume) {
        seen.push_back(volume);
        seen.push_back(engine_.submixOutputVolume());
        seen.push_back(store_->floatForKey("master.volume"));
    });
    settings.setMasterVolume(0.5F);
    EXPECT_EQ(seen, (std::vector<float>{1.0F, 0.5F, 0.5F, 0.5F}));
}

TEST_F(AppSettingsTest, AnUnchangedValueIsAnnouncedButNotToldAndNotANumberIsOneValue) {
    AppSettings& settings = start();
    int announced = 0;
    int told = 0;
    QObject::connect(&settings, &AppSettings::willChange, [&] { ++announced; });
    QObject::connect(&settings, &AppSettings::isMutedChanged, [&] { ++told; });
    QObject::connect(&settings, &AppSettings::themeIDChanged, [&] { ++told; });
    QObject::connect(&settings, &AppSettings::fidgetVolumeChanged, [&] { ++told; });
    settings.setMuted(false);
    settings.setThemeID("mechanical");
    EXPECT_EQ(announced, 2);
    EXPECT_EQ(told, 0);
    settings.setFidgetVolume(notANumber);
    settings.setFidgetVolume(notANumber);
    EXPECT_EQ(announced, 4);
    EXPECT_EQ(told, 1);
}

TEST_F(AppSettingsTest, AnObserverMaySetThePropertyAgainAndItsValueWins) {
    AppSettings& settings = start();
    QObject::connect(&settings, &AppSettings::masterVolumeChanged, [&](float volume) {
        if (volume > 0.5F)
            settings.setMasterVolume(0.5F);
    });
    settings.setMasterVolume(0.9F);
    EXPECT_EQ(settings.masterVolume(), 0.5F);
    EXPECT_EQ(engine_.submixOutputVolume(), 0.5F);
    EXPECT_EQ(store_->floatForKey("master.volume"), 0.5F);
}

TEST_F(AppSettingsTest, TheBindingsReachTheirModulesProperties) {
    AppSettings& settings = start();
    settings.enabledBinding(SoundModule::fidget).set(false);
    EXPECT_FALSE(settings.fidgetEnabled());
    EXPECT_TRUE(settings.keyboardEnabled());
    settings.enabledBinding(SoundModule::keyboard).set(false);
    EXPECT_FALSE(settings.keyboardEnabled());
    settings.volumeBinding(SoundModule::fidget).set(0.2F);
    settings.volumeBinding(SoundModule::keyboard).set(0.3F);
    EXPECT_EQ(settings.fidgetVolume(), 0.2F);
    EXPECT_EQ(settings.keyboardVolume(), 0.3F);
    EXPECT_FALSE(settings.enabledBinding(SoundModule::fidget).get());
    EXPECT_FALSE(settings.enabledBinding(SoundModule::keyboard).get());
    EXPECT_EQ(settings.volumeBinding(SoundModule::fidget).get(), 0.2F);
    EXPECT_EQ(settings.volumeBinding(SoundModule::keyboard).get(), 0.3F);
}

TEST_F(AppSettingsTest, ThePropertiesAreThereForViews) {
    AppSettings& settings = start();
    EXPECT_TRUE(settings.setProperty("masterVolume", 0.5));
    EXPECT_TRUE(settings.setProperty("isMuted", true));
    EXPECT_TRUE(settings.setProperty("themeID", "typewriter"));
    EXPECT_EQ(settings.masterVolume(), 0.5F);
    EXPECT_TRUE(settings.property("isMuted").toBool());
    EXPECT_EQ(settings.themeID(), "typewriter");
    for (const char* name :
         {"keyboardEnabled", "keyboardVolume", "fidgetEnabled", "fidgetVolume", "launchAtLogin"})
        EXPECT_TRUE(settings.property(name).isValid()) << name;
}

} // namespace
} // namespace morvel
