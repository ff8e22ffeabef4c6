// Run loops, event taps, message ports.

#include "tests/platform/macos/FakeObjects.h"

namespace morvel {

namespace {

struct FakePort : FakeObject {};
struct FakeSource : FakeObject {};
struct FakeLocalPort : FakeObject {};

// As long as one is held, the system hands out the same one again, whoever has gone.
struct FakeRemotePort : FakeObject {
    FakeRemotePort() { held = this; }
    ~FakeRemotePort() override { held = nullptr; }
    FakeRemotePort(const FakeRemotePort&) = delete;
    FakeRemotePort& operator=(const FakeRemotePort&) = delete;

    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
    static inline FakeRemotePort* held = nullptr;
};

int mainLoop = 0; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

void record(const std::string& call) {
    FakeMac::current().calls.push_back(call);
}

template <typename Kind>
void expect(const void* object) {
    EXPECT_NE(fakeOf<Kind>(object), nullptr);
}

} // namespace

const FakeEvent* FakeMac::deliver(std::uint32_t type, FakeEvent& event) const {
    return reinterpret_cast<const FakeEvent*>(
        tap->callBack(nullptr, static_cast<CGEventType>(type),
                      refOf<CGEventRef>(static_cast<FakeObject*>(&event)), tap->user));
}

std::string FakeMac::receive(std::int32_t message) const {
    const auto* const answer = portCallBack(nullptr, message, nullptr, portUser);
    if (answer == nullptr)
        return {};
    const std::string bytes = fakeOf<FakeData>(answer)->bytes;
    CFRelease(answer);
    return bytes;
}

} // namespace morvel

using namespace morvel;

extern "C" {

CFRunLoopRef CFRunLoopGetMain() {
    return reinterpret_cast<CFRunLoopRef>(&mainLoop);
}

void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFRunLoopMode mode) {
    expect<FakeSource>(source);
    EXPECT_EQ(loop, CFRunLoopGetMain());
    record("source added to " + textIn(mode));
}

void CFRunLoopRemoveSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFRunLoopMode mode) {
    expect<FakeSource>(source);
    EXPECT_EQ(loop, CFRunLoopGetMain());
    record("source removed from " + textIn(mode));
}

CFRunLoopSourceRef CFMachPortCreateRunLoopSource(CFAllocatorRef, CFMachPortRef port,
                                                 CFIndex order) {
    expect<FakePort>(port);
    EXPECT_EQ(order, 0);
    return FakeMac::current().refusesSource ? nullptr : refOf<CFRunLoopSourceRef>(new FakeSource);
}

void CFMachPortInvalidate(CFMachPortRef port) {
    expect<FakePort>(port);
    record("port invalidated");
}

CFMachPortRef CGEventTapCreate(CGEventTapLocation location, CGEventTapPlacement place,
                               CGEventTapOptions options, CGEventMask mask,
                               CGEventTapCallBack callBack, void* user) {
    FakeMac& mac = FakeMac::current();
    mac.tap = {location, place, options, mask, callBack, user};
    return mac.refusesTap ? nullptr : refOf<CFMachPortRef>(new FakePort);
}

void CGEventTapEnable(CFMachPortRef port, bool enable) {
    expect<FakePort>(port);
    record(enable ? "tap enabled" : "tap disabled");
}

CFMessagePortRef CFMessagePortCreateLocal(CFAllocatorRef, CFStringRef name,
                                          CFMessagePortCallBack callBack,
                                          CFMessagePortContext* context, Boolean*) {
    FakeMac& mac = FakeMac::current();
    if (mac.refusesPorts || mac.instance)
        return nullptr;
    record("port " + textIn(name));
    mac.portCallBack = callBack;
    mac.portUser = context->info;
    return refOf<CFMessagePortRef>(new FakeLocalPort);
}

CFMessagePortRef CFMessagePortCreateRemote(CFAllocatorRef, CFStringRef) {
    if (FakeRemotePort::held != nullptr) {
        ++FakeRemotePort::held->references;
        return refOf<CFMessagePortRef>(FakeRemotePort::held);
    }
    return FakeMac::current().instance ? refOf<CFMessagePortRef>(new FakeRemotePort) : nullptr;
}

CFRunLoopSourceRef CFMessagePortCreateRunLoopSource(CFAllocatorRef, CFMessagePortRef port,
                                                    CFIndex order) {
    expect<FakeLocalPort>(port);
    EXPECT_EQ(order, 0);
    return refOf<CFRunLoopSourceRef>(new FakeSource);
}

void CFMessagePortInvalidate(CFMessagePortRef port) {
    expect<FakeLocalPort>(port);
    record("port invalidated");
}

std::int32_t CFMessagePortSendRequest(CFMessagePortRef port, std::int32_t message, CFDataRef data,
                                      CFTimeInterval sendTimeout, CFTimeInterval receiveTimeout,
                                      CFStringRef replyMode, CFDataRef* reply) {
    expect<FakeRemotePort>(port);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(replyMode, kCFRunLoopDefaultMode);
    FakeMac& mac = FakeMac::current();
    mac.sendLimit = sendTimeout + receiveTimeout;
    mac.sent.push_back(message);
    if (mac.sendStatus != 0)
        return mac.sendStatus;
    *reply = mac.reply.empty() ? nullptr : refOf<CFDataRef>(new FakeData(mac.reply));
    mac.instance = !mac.instanceEnds;
    return 0;
}

} // extern "C"
