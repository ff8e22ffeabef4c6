// The application's activation as Qt's windows tell it. Needs a QGuiApplication; main thread.
#pragma once

#include "platform/ApplicationActivation.h"

namespace morvel {

class QtApplicationActivation : public ApplicationActivation {
public:
    // Keeps the application running without windows. On Linux each window keeps itself out of the
    // lists of running applications.
    void becomeAccessory() override;
    std::unique_ptr<Observation> observe(std::function<void()> activated) override;
};

} // namespace morvel
