// Whether the system lets this process hear keys system-wide. Adapters: platform/linux (X11 and
// evdev), platform/macos (Accessibility), platform/simulated.
#pragma once

namespace morvel {

class TrustSource {
public:
    virtual ~TrustSource() = default;

    // The plain truth at this instant, with no prompt. Main thread; must not block.
    virtual bool isTrusted() = 0;

    // Shows the system's own prompt where there is one and trust is missing; answers the trust at
    // that instant. Main thread.
    virtual bool prompt() = 0;
};

} // namespace morvel
