#include "platform/macos/CarbonHotKeyService.h"

#include "platform/macos/Frameworks.h"

#include <utility>

namespace morvel {

static_assert(sizeof(EventHotKeyID) == 8 && alignof(EventHotKeyID) == 2);
static_assert(sizeof(EventTypeSpec) == 8 && alignof(EventTypeSpec) == 2);

struct CarbonHotKeyService::System {
    EventHandlerRef handler = nullptr;
    std::map<std::uint32_t, EventHotKeyRef> registrations; // by the reference's number

    static OSStatus pressed(EventHandlerCallRef next, EventRef event, void* user);
};

OSStatus CarbonHotKeyService::System::pressed(EventHandlerCallRef, EventRef event, void* user) {
    EventHotKeyID identifier{};
    const OSStatus status = GetEventParameter(event, kEventParamDirectObject, typeEventHotKeyID,
                                              nullptr, sizeof identifier, nullptr, &identifier);
    const auto& handler = static_cast<CarbonHotKeyService*>(user)->handler_;
    if (status != hotKeyNoErr)
        return handler(std::nullopt);
    return handler(HotKeyIdentifier{identifier.signature, identifier.id});
}

CarbonHotKeyService::CarbonHotKeyService()
    : system_(std::make_unique<System>()) {}

CarbonHotKeyService::~CarbonHotKeyService() {
    for (const auto& [number, registration] : system_->registrations)
        UnregisterEventHotKey(registration);
    if (system_->handler != nullptr)
        RemoveEventHandler(system_->handler);
}

HotKeyStatus CarbonHotKeyService::installHandler(Handler handler) {
    handler_ = std::move(handler);
    const EventTypeSpec presses{kEventClassKeyboard, kEventHotKeyPressed};
    return InstallEventHandler(GetApplicationEventTarget(), System::pressed, 1, &presses, this,
                               &system_->handler);
}

Result<HotKeyReference, HotKeyStatus>
CarbonHotKeyService::registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers,
                                    HotKeyIdentifier identifier) {
    EventHotKeyRef registration = nullptr;
    const EventHotKeyID id{identifier.signature, identifier.id};
    const OSStatus status =
        RegisterEventHotKey(keyCode, modifiers, id, GetApplicationEventTarget(), 0, &registration);
    if (status != hotKeyNoErr || registration == nullptr)
        return HotKeyStatus{status};
    const HotKeyReference reference{nextNumber_++};
    system_->registrations.emplace(reference.number, registration);
    return reference;
}

void CarbonHotKeyService::unregisterHotKey(HotKeyReference reference) {
    const auto found = system_->registrations.find(reference.number);
    if (found == system_->registrations.end())
        return;
    UnregisterEventHotKey(found->second);
    system_->registrations.erase(found);
}

} // namespace morvel
