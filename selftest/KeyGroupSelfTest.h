// Holds the vocabulary of key sounds, the classification of keys and what the themes make of them
// against what they must be. Main thread; it blocks on the disk.
#pragma once

#include "platform/Environment.h"
#include "platform/Log.h"
#include "platform/RandomSource.h"
#include "selftest/CheckList.h"
#include "selftest/keygroup/Vocabulary.h"
#include "themes/ThemeCatalog.h"
#include "themes/controller/ThemeController.h"

namespace morvel {

class KeyGroupSelfTest {
public:
    static constexpr const char* variable = "MORVEL_KEYGROUP_SELFTEST";
    static bool isEnabled(const Environment& environment) { return environment(variable) == "1"; }

    // All must outlive the test.
    struct Services {
        const ThemeCatalog& catalog;
        RandomSource& random;
        Log& log;
    };

    // `vocabulary` is what is tested of it.
    explicit KeyGroupSelfTest(const Services& services, Vocabulary vocabulary = {});

    // Returns with everything checked and logged. `themes` is a controller of the catalogue's
    // themes. Its catalogue is discovered anew while a theme of the test's own is among the user's
    // and once more when that one has gone; its active theme stays.
    void run(ThemeController& themes);

private:
    const Services services_;
    const Vocabulary vocabulary_;
    CheckList checks_;
};

} // namespace morvel
