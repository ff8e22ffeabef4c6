// Tells when the application becomes the active one. Adapters: platform/simulated.
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

    // Calls `activated` on the main thread each time the application has become active. Main
    // thread.
    [[nodiscard]] virtual std::unique_ptr<Observation> observe(std::function<void()> activated) = 0;
};

// For a program without windows, which never becomes active.
class NoApplicationActivation : public ApplicationActivation {
public:
    std::unique_ptr<Observation> observe(std::function<void()>) override {
        return std::make_unique<Observation>();
    }
};

} // namespace morvel
