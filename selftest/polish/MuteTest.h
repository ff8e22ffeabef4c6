// The polish self-test of muting: from the shortcut's own path to icon, menu, sound and store.
// Main thread; blocks on the disk.
#pragma once

#include "selftest/SettingsAsTheyWere.h"
#include "selftest/Timeline.h"
#include "selftest/polish/PolishUnderTest.h"

#include <functional>
#include <optional>

namespace morvel {

class MuteTest {
public:
    explicit MuteTest(const PolishUnderTest& tested);

    // Takes some turns of the main run loop; calls `done` when the mute state is what it was.
    void start(std::function<void()> done);

private:
    void checkSounding();
    void checkMuted();
    void checkSoundingAgain();
    bool showsSymbol(const char* name) const;

    const PolishUnderTest& tested_;
    Timeline timeline_;
    std::function<void()> done_;
    std::optional<SettingsAsTheyWere> before_;
};

} // namespace morvel
