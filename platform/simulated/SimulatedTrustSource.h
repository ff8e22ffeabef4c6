// Trust that a test grants and revokes.
#pragma once

#include "platform/TrustSource.h"

namespace morvel {

class SimulatedTrustSource : public TrustSource {
public:
    explicit SimulatedTrustSource(bool startsTrusted)
        : trusted(startsTrusted) {}

    bool isTrusted() override { return trusted; }
    bool prompt() override {
        ++prompts;
        return trusted;
    }

    bool trusted;
    int prompts = 0;
};

} // namespace morvel
