// The application without a place in the Dock.
#pragma once

#include "platform/ApplicationActivation.h"

namespace morvel {

class MacApplicationActivation : public ApplicationActivation {
public:
    // `windows` tells when the application becomes active, keeps it running without windows, and
    // must outlive this.
    explicit MacApplicationActivation(ApplicationActivation& windows)
        : windows_(windows) {}

    void becomeAccessory() override;
    std::unique_ptr<Observation> observe(std::function<void()> activated) override {
        return windows_.observe(std::move(activated));
    }

private:
    ApplicationActivation& windows_;
};

} // namespace morvel
