// System-wide shortcuts by Carbon's hot key service, which delivers presses through the
// application's event dispatching, on the main thread.
#pragma once

#include "platform/HotKeyService.h"

#include <cstdint>
#include <map>
#include <memory>

namespace morvel {

class CarbonHotKeyService : public HotKeyService {
public:
    CarbonHotKeyService();
    // Gives everything back to the system.
    ~CarbonHotKeyService() override;
    CarbonHotKeyService(const CarbonHotKeyService&) = delete;
    CarbonHotKeyService& operator=(const CarbonHotKeyService&) = delete;

    // The statuses are the system's own.
    HotKeyStatus installHandler(Handler handler) override;
    // A system that says it registered the shortcut and names no registration has failed: then the
    // error is its status, too.
    Result<HotKeyReference, HotKeyStatus> registerHotKey(std::uint32_t keyCode,
                                                         std::uint32_t modifiers,
                                                         HotKeyIdentifier identifier) override;
    void unregisterHotKey(HotKeyReference reference) override;

private:
    struct System;

    Handler handler_;
    std::unique_ptr<System> system_;
    std::uint32_t nextNumber_ = 1;
};

} // namespace morvel
