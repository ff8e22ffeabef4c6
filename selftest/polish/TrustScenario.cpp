#include "selftest/polish/TrustScenario.h"

#include "fidget/FidgetSound.h"
#include "selftest/OpenWindows.h"

#include <algorithm>
#include <utility>

namespace morvel {

namespace {

bool isPermissionWindowShown() {
    return isWindowShown(QStringLiteral("Morvel"));
}

constexpr float loopGain = 0.8F;
constexpr float loopRate = 1.0F;

} // namespace

TrustScenario::TrustScenario(const PolishUnderTest& tested)
    : tested_(tested)
    , startedTrusted_(tested.permission.isTrusted())
    , timeline_(tested.scheduler)
    , watch_(tested.permission, tested.scheduler, [&log = tested.log](bool trusted) {
        if (trusted)
            log.line("POLISHTEST observed trust restored");
    }) {}

void TrustScenario::start(std::function<void()> done) {
    if (tested_.environment("MORVEL_SIMULATE_UNTRUSTED_SECONDS")) {
        awaitReturn(std::move(done));
        return;
    }
    if (tested_.environment("MORVEL_SIMULATE_REVOKE_AFTER_SECONDS")) {
        awaitLoss(std::move(done));
        return;
    }
    tested_.checks.check("revocation wiring present", tested_.permission.isMonitoring(),
                         "run with MORVEL_SIMULATE_REVOKE_AFTER_SECONDS=2 to exercise losing "
                         "access");
    done();
}

void TrustScenario::awaitReturn(std::function<void()> done) {
    CheckList& checks = tested_.checks;
    checks.check("started untrusted under simulation", !startedTrusted_);
    checks.check("input modules stopped while untrusted", !tested_.keyboard.isRunning());
    checks.check("fidget drawer still works without permission", drawerSounds(),
                 "the drawer needs no Accessibility access");
    timeline_.in(patienceForReturn, [this, done = std::move(done)] {
        tested_.checks.check("trust restored and observed live",
                             watch_.sawChangeTo(true) && tested_.permission.isTrusted());
        tested_.checks.check("input modules restarted once trust returned",
                             tested_.keyboard.isRunning());
        done();
    });
}

void TrustScenario::awaitLoss(std::function<void()> done) {
    tested_.checks.check("started trusted, before the simulated revocation", startedTrusted_);
    tested_.checks.check("input modules running while trusted", tested_.keyboard.isRunning());
    unmuted_.emplace(tested_.audio, tested_.settings);
    tested_.audio.startLoop(SoundCategory::dialLoop, loopGain, loopRate);
    beforeLoss_ = {tested_.keyboard.isRunning(),
                   tested_.audio.loopCategory() == SoundCategory::dialLoop,
                   isPermissionWindowShown()};
    timeline_.in(patienceForLoss, [this, done = std::move(done)] {
        checkLoss();
        tested_.audio.stopLoop(0);
        unmuted_.reset();
        done();
    });
}

void TrustScenario::checkLoss() {
    CheckList& checks = tested_.checks;
    checks.check("revocation observed live without user action",
                 watch_.sawChangeTo(false) && !tested_.permission.isTrusted());
    checks.check("input modules stopped on revocation",
                 beforeLoss_.modulesRan && !tested_.keyboard.isRunning());
    checks.check("sounding loop torn down rather than left hanging",
                 beforeLoss_.loopSounded && !tested_.audio.loopCategory());
    checks.check("permission window re-prompted on revocation",
                 !beforeLoss_.windowShown && isPermissionWindowShown());
    checks.check("audio engine still running after revocation", tested_.audio.isRunning());
    checks.check("fidget drawer still has samples to play", drawerHasSamples());
}

bool TrustScenario::drawerHasSamples() const {
    const auto theme = tested_.themes.activeTheme();
    return theme != nullptr && std::ranges::all_of(allSoundCategories(), [&](SoundCategory toy) {
               return module(toy) != SoundModule::fidget || theme->sample(toy).has_value();
           });
}

bool TrustScenario::drawerSounds() const {
    if (!tested_.settings.fidgetEnabled()) // as the user wants it
        return drawerHasSamples();
    const UnmutedEngine unmuted(tested_.audio, tested_.settings);
    const int before = tested_.audio.activeVoiceCount();
    FidgetSound(tested_.settings, tested_.audio).play(SoundCategory::pop);
    return drawerHasSamples() && tested_.audio.activeVoiceCount() > before;
}

} // namespace morvel
