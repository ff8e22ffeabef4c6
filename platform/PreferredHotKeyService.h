// The better of two ways to have system-wide shortcuts, as far as it is to be had.
//
// The preferred service, which may take its time to answer, has every hot key. The other one has
// them only while the preferred one delivers no presses: from its refusal on or, at the start, once
// it has been waited for long enough; it gives them up when the preferred one takes over. A press
// that both hear as they change over is delivered once.
//
// The user's word counts: while the preferred service's user is being asked, maybe by a dialog that
// wants the keys pressed, the other one does not listen, nor where that user has declined.
//
// Both services deliver presses on the main thread.
#pragma once

#include "platform/HotKeyService.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace morvel {

class PreferredHotKeyService : public HotKeyService {
public:
    // In seconds: how long the preferred service's first answer is waited for.
    static constexpr double patience = 3;
    // From a press that the other one has heard to when one of the preferred service's is another.
    static constexpr double samePress = 0.3;

    // `scheduler` and `log` must outlive the service. Each change of where presses come from is one
    // log line.
    PreferredHotKeyService(std::unique_ptr<HotKeyService> preferred,
                           std::unique_ptr<HotKeyService> fallback, Scheduler& scheduler, Log& log);
    ~PreferredHotKeyService() override;
    PreferredHotKeyService(const PreferredHotKeyService&) = delete;
    PreferredHotKeyService& operator=(const PreferredHotKeyService&) = delete;

    // Succeed where either service can.
    HotKeyStatus installHandler(Handler handler) override;
    Result<HotKeyReference, HotKeyStatus> registerHotKey(std::uint32_t keyCode,
                                                         std::uint32_t modifiers,
                                                         HotKeyIdentifier identifier) override;
    void unregisterHotKey(HotKeyReference reference) override;
    HotKeyDelivery delivery() const override;
    void setDeliveryHandler(const std::function<void()>& changed) override;

private:
    struct Registration {
        std::uint32_t keyCode;
        std::uint32_t modifiers;
        HotKeyIdentifier identifier;
        std::optional<HotKeyReference> preferred;
        std::optional<HotKeyReference> fallback;
    };

    void follow();
    void joinFallback();
    void leaveFallback();
    void announce();

    const std::unique_ptr<HotKeyService> preferred_;
    const std::unique_ptr<HotKeyService> fallback_;
    Scheduler& scheduler_;
    Log& log_;
    std::function<void()> changed_;
    std::map<std::uint32_t, Registration> registrations_; // by the reference's number
    std::uint32_t nextNumber_ = 1;
    bool registering_ = false; // what either says of itself meanwhile is not the last word
    bool waited_ = false;      // for the preferred service's answer, long enough
    std::unique_ptr<Timer> waiting_;
    std::unique_ptr<Timer> heard_; // by the fallback, a moment ago
    std::optional<HotKeyDelivery> told_;
};

} // namespace morvel
