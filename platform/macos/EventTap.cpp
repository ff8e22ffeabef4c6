#include "platform/macos/EventTap.h"

#include "platform/macos/CfObjects.h"

namespace morvel {

struct EventTap::Handles {
    CfOwned<CFMachPortRef> port;
    CfOwned<CFRunLoopSourceRef> source;

    static CGEventRef tapped(CGEventTapProxy proxy, CGEventType type, CGEventRef event, void* user);
};

CGEventRef EventTap::Handles::tapped(CGEventTapProxy, CGEventType type, CGEventRef event,
                                     void* user) {
    if (user == nullptr)
        return event;
    Receiver& receiver = static_cast<EventTap*>(user)->receiver_;
    if (type == kCGEventTapDisabledByTimeout)
        receiver.tapDisabled(TapDisabledReason::timeout);
    else if (type == kCGEventTapDisabledByUserInput)
        receiver.tapDisabled(TapDisabledReason::userInput);
    else
        receiver.tapped(type, event);
    return event;
}

EventTap::EventTap(Receiver& receiver)
    : receiver_(receiver)
    , handles_(std::make_unique<Handles>()) {}

std::unique_ptr<EventTap> EventTap::create(std::uint64_t mask, Receiver& receiver) {
    std::unique_ptr<EventTap> tap(new EventTap(receiver));
    Handles& handles = *tap->handles_;
    handles.port =
        CfOwned(CGEventTapCreate(kCGSessionEventTap, kCGHeadInsertEventTap,
                                 kCGEventTapOptionListenOnly, mask, Handles::tapped, tap.get()));
    if (!handles.port)
        return nullptr;
    handles.source =
        CfOwned(CFMachPortCreateRunLoopSource(kCFAllocatorDefault, handles.port.get(), 0));
    if (!handles.source)
        return nullptr;
    CFRunLoopAddSource(CFRunLoopGetMain(), handles.source.get(), kCFRunLoopCommonModes);
    tap->enable();
    return tap;
}

EventTap::~EventTap() {
    if (!handles_->port)
        return;
    CGEventTapEnable(handles_->port.get(), false);
    if (handles_->source)
        CFRunLoopRemoveSource(CFRunLoopGetMain(), handles_->source.get(), kCFRunLoopCommonModes);
    CFMachPortInvalidate(handles_->port.get());
}

void EventTap::enable() {
    CGEventTapEnable(handles_->port.get(), true);
}

} // namespace morvel
