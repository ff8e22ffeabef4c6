// The application's place among others. Adapters: platform/qt,
// platform/macos (without a place in the Dock), platform/simulated.
#pragma once

#include <functional>
#include <memory>

namespace morvel {

class ApplicationActivation {
public:
    // Destroying it ends the observation: once the destructor has returned its function is not
    // called again.
    class Observation {
    public:
        virtual ~Observation() = default;
    };

    virtual ~ApplicationActivation() = default;

    // Makes it an accessory: it has no place among the running applications, only windows now and
    // then. Main thread.
    virtual void becomeAccessory() = 0;

    // Calls `activated` on the main thread each time the application has become active. Main
    // thread.
    [[nodiscard]] virtual std::unique_ptr<Observation> observe(std::function<void()> activated) = 0;
};

} // namespace morvel
