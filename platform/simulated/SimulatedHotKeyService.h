// Shortcuts that a test presses.
#pragma once

#include "platform/HotKeyService.h"

#include <map>
#include <utility>

namespace morvel {

class SimulatedHotKeyService : public HotKeyService {
public:
    struct Registration {
        std::uint32_t keyCode = 0;
        std::uint32_t modifiers = 0;
        HotKeyIdentifier identifier;
    };

    HotKeyStatus installHandler(Handler handler) override {
        ++installations;
        if (handlerStatus == hotKeyNoErr)
            handler_ = std::move(handler);
        return handlerStatus;
    }
    Result<HotKeyReference, HotKeyStatus> registerHotKey(std::uint32_t keyCode,
                                                         std::uint32_t modifiers,
                                                         HotKeyIdentifier identifier) override {
        if (registrationStatus != hotKeyNoErr)
            return registrationStatus;
        registered[next_] = {keyCode, modifiers, identifier};
        return HotKeyReference{next_++};
    }
    void unregisterHotKey(HotKeyReference reference) override {
        registered.erase(reference.number);
    }
    HotKeyDelivery delivery() const override { return delivery_; }
    void setDeliveryHandler(const std::function<void()>& changed) override { changed_ = changed; }

    void become(HotKeyDelivery delivery) {
        delivery_ = std::move(delivery);
        if (changed_)
            changed_();
    }

    // A press as the system delivers it; on the thread of the caller.
    HotKeyStatus press(std::optional<HotKeyIdentifier> identifier) {
        return handler_ ? handler_(identifier) : eventNotHandledErr;
    }

    HotKeyStatus handlerStatus = hotKeyNoErr;
    HotKeyStatus registrationStatus = hotKeyNoErr;
    std::map<std::uint32_t, Registration> registered; // by the reference's number
    int installations = 0;

private:
    Handler handler_;
    HotKeyDelivery delivery_;
    std::function<void()> changed_;
    std::uint32_t next_ = 1;
};

} // namespace morvel
