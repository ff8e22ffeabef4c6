// A private desktop that benchmarks share, and what it takes to press keys in it.
#pragma once

#include "tests/desktop/MorvelProcess.h"
#include "tests/support/PulseServer.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XServer.h"

#include <string>
#include <vector>

namespace morvel::bench {

struct Desktop {
    TemporaryFolder folder;
    test::XServer x;
    test::PulseServer sound{folder.path() / "sound"};

    Desktop() { sound.start(); }

    std::vector<std::string> environment() const {
        return {"DISPLAY=" + x.display(), "PULSE_SERVER=" + sound.address()};
    }
    std::string home() const { return folder.path().string(); }
};

} // namespace morvel::bench
