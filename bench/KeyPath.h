// The way of a key through the program, from the tap's callback to the command in the queue, with
// nothing real at either end.
#pragma once

#include "app/login/LaunchAtLogin.h"
#include "app/settings/JsonDefaultsStore.h"
#include "bench/MechanicalTheme.h"
#include "keyboard/KeyboardEngine.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/SimulatedApplicationActivation.h"
#include "platform/simulated/SimulatedKeyTap.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/SimulatedProcessTable.h"
#include "platform/simulated/SimulatedTrustSource.h"
#include "platform/simulated/VirtualTime.h"

namespace morvel::bench {

// An ordinary key goes down with every even event, and up with every odd one.
inline KeyEvent ordinaryKey(unsigned number) {
    return {number % 2 == 0 ? keyDownEventType : keyUpEventType, neutralKeyCode, 0, 0, 0};
}

struct KeyPath {
    // Both must outlive it.
    KeyPath(const Clock& clock, RandomSource& random)
        : audio({output, clock, loop, random, log}, false)
        , permission({trust, processes, clock, loop, activation, log}, {},
                     [](const std::string&) { return std::nullopt; })
        , keyboard({tap, settings, permission, audio, clock, log}, false) {
        audio.setResolver(loadMechanical(log, random));
        keyboard.start();
        loop.runPending();
    }

    SimulatedLog log;
    VirtualTime loop;
    OfflineAudioOutput output;
    AudioEngine audio;
    SimulatedLoginItem loginItem;
    LaunchAtLogin login{loginItem, {}, {}, log};
    JsonDefaultsStore defaults{"/dev/null/settings.json", loop, log};
    AppSettings settings{defaults, audio, login, log};
    SimulatedTrustSource trust{true};
    SimulatedProcessTable processes{1, {}};
    SimulatedApplicationActivation activation;
    AccessibilityPermission permission;
    SimulatedKeyTap tap;
    KeyboardEngine keyboard;
};

} // namespace morvel::bench
