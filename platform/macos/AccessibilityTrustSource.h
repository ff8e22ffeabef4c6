// The Accessibility permission of this process.
#pragma once

#include "platform/TrustSource.h"

namespace morvel {

class AccessibilityTrustSource : public TrustSource {
public:
    bool isTrusted() override;
    // The system's prompt leads the user to its settings.
    bool prompt() override;
};

} // namespace morvel
