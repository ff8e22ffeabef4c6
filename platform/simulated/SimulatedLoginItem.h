// A login item service that does what a test tells it to.
#pragma once

#include "platform/LoginItemService.h"

namespace morvel {

class SimulatedLoginItem : public LoginItemService {
public:
    LoginItemStatus status() const override { return current; }
    std::optional<std::string> registerItem() override {
        ++registrations;
        if (!error)
            current = afterRegistration;
        return error;
    }
    std::optional<std::string> unregisterItem() override {
        ++unregistrations;
        if (!error)
            current = LoginItemStatus::notRegistered;
        return error;
    }

    LoginItemStatus current = LoginItemStatus::notRegistered;
    LoginItemStatus afterRegistration = LoginItemStatus::enabled;
    std::optional<std::string> error; // what every change then fails with
    int registrations = 0;
    int unregistrations = 0;
};

} // namespace morvel
