// Key events, accessibility, hot keys.

#include "tests/platform/macos/FakeObjects.h"

namespace morvel {

OSStatus FakeMac::press(std::optional<EventHotKeyID> identifier) {
    pressed = identifier;
    return handler(nullptr, nullptr, handlerUser);
}

} // namespace morvel

using namespace morvel;

namespace {

constexpr std::uint32_t keyField = kCGKeyboardEventKeycode;
constexpr std::uint32_t downField = 1000;

FakeEvent& eventOf(CGEventRef event) {
    return *dynamic_cast<FakeEvent*>(reinterpret_cast<FakeObject*>(event));
}

} // namespace

extern "C" {

std::int64_t CGEventGetIntegerValueField(CGEventRef event, CGEventField field) {
    return eventOf(event).fields[field];
}

void CGEventSetIntegerValueField(CGEventRef event, CGEventField field, std::int64_t value) {
    eventOf(event).fields[field] = value;
}

CGEventFlags CGEventGetFlags(CGEventRef event) {
    return static_cast<CGEventFlags>(eventOf(event).flags);
}

CGEventTimestamp CGEventGetTimestamp(CGEventRef event) {
    return eventOf(event).timestamp;
}

CGEventRef CGEventCreateKeyboardEvent(CGEventSourceRef source, CGKeyCode key, bool down) {
    EXPECT_EQ(source, nullptr);
    if (FakeMac::current().refusesEvents)
        return nullptr;
    auto* event = new FakeEvent;
    event->fields = {{keyField, key}, {downField, down ? 1 : 0}};
    return refOf<CGEventRef>(event);
}

void CGEventPost(CGEventTapLocation location, CGEventRef event) {
    auto& fields = eventOf(event).fields;
    FakeMac::current().posted.push_back({location, static_cast<std::uint16_t>(fields[keyField]),
                                         fields[downField] != 0,
                                         fields[kCGKeyboardEventAutorepeat]});
}

const CFStringRef kAXTrustedCheckOptionPrompt =
    refOf<CFStringRef>(new FakeString("prompt")); // for ever

Boolean AXIsProcessTrusted() {
    return FakeMac::current().trusted;
}

Boolean AXIsProcessTrustedWithOptions(CFDictionaryRef options) {
    const auto* dictionary = fakeOf<FakeDictionary>(options);
    FakeMac::current().prompts +=
        dictionary->key == kAXTrustedCheckOptionPrompt && dictionary->value == kCFBooleanTrue;
    return FakeMac::current().trusted;
}

EventTargetRef GetApplicationEventTarget() {
    static int target = 0;
    return reinterpret_cast<EventTargetRef>(&target);
}

OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, unsigned long count,
                             const EventTypeSpec* types, void* user, EventHandlerRef* reference) {
    FakeMac& mac = FakeMac::current();
    EXPECT_EQ(target, GetApplicationEventTarget());
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(types->eventClass, 0x6b657962U);
    EXPECT_EQ(types->eventKind, 5U);
    if (mac.handlerStatus != 0)
        return mac.handlerStatus;
    mac.handler = handler;
    mac.handlerUser = user;
    *reference = reinterpret_cast<EventHandlerRef>(&mac);
    return 0;
}

OSStatus RemoveEventHandler(EventHandlerRef reference) {
    EXPECT_EQ(reference, reinterpret_cast<EventHandlerRef>(&FakeMac::current()));
    FakeMac::current().calls.emplace_back("handler removed");
    return 0;
}

OSStatus RegisterEventHotKey(std::uint32_t key, std::uint32_t modifiers, EventHotKeyID identifier,
                             EventTargetRef target, std::uint32_t options,
                             EventHotKeyRef* reference) {
    FakeMac& mac = FakeMac::current();
    EXPECT_EQ(target, GetApplicationEventTarget());
    EXPECT_EQ(options, 0U);
    if (mac.registrationStatus != 0 || mac.namesNoRegistration)
        return mac.registrationStatus;
    const std::uintptr_t number = 0x100 + mac.hotKeys.size();
    mac.hotKeys[number] = {key, modifiers, identifier.signature, identifier.id};
    *reference = reinterpret_cast<EventHotKeyRef>(number);
    return 0;
}

OSStatus UnregisterEventHotKey(EventHotKeyRef reference) {
    EXPECT_EQ(FakeMac::current().hotKeys.erase(reinterpret_cast<std::uintptr_t>(reference)), 1U);
    return 0;
}

OSStatus GetEventParameter(EventRef, OSType name, OSType type, OSType*, unsigned long size,
                           unsigned long*, void* data) {
    EXPECT_EQ(name, 0x2d2d2d2dU);
    EXPECT_EQ(type, 0x686b6964U);
    EXPECT_EQ(size, 8U);
    const auto& pressed = FakeMac::current().pressed;
    if (!pressed)
        return -9870;
    *static_cast<EventHotKeyID*>(data) = *pressed;
    return 0;
}

} // extern "C"
