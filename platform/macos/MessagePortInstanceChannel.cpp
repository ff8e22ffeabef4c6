#include "platform/macos/MessagePortInstanceChannel.h"

#include "platform/macos/CfObjects.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace morvel {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::uint8_t takenAnswer = 'k';
constexpr std::uint8_t endingAnswer = 'e';
constexpr milliseconds pauseBetweenTries{5};

// Not below a moment: no time at all is none for an instance that answers at once.
CFTimeInterval secondsUntil(Clock::time_point deadline) {
    return std::max(std::chrono::duration<double>(deadline - Clock::now()).count(), 0.01);
}

CFDataRef answer(std::uint8_t byte) {
    return CFDataCreate(kCFAllocatorDefault, &byte, 1);
}

} // namespace

struct MessagePortInstanceChannel::Ports {
    explicit Ports(const std::string& portName)
        : name(cfString(portName)) {}

    static CFDataRef received(CFMessagePortRef port, std::int32_t message, CFDataRef data,
                              void* info);

    const CfOwned<CFStringRef> name;
    CfOwned<CFMessagePortRef> local; // there: this process is the instance
    CfOwned<CFRunLoopSourceRef> source;
};

MessagePortInstanceChannel::MessagePortInstanceChannel(Setup setup)
    : setup_(std::move(setup))
    , ports_(std::make_unique<Ports>(setup_.name)) {}

MessagePortInstanceChannel::~MessagePortInstanceChannel() {
    if (ports_->source)
        CFRunLoopRemoveSource(CFRunLoopGetMain(), ports_->source.get(), kCFRunLoopCommonModes);
    if (ports_->local)
        CFMessagePortInvalidate(ports_->local.get());
}

// Between the end of one instance and the beginning of another there is a moment without any.
InstanceChannel::Outcome MessagePortInstanceChannel::become(std::uint8_t message) {
    const Deadline deadline = Clock::now() + setup_.patience;
    do {
        CFMessagePortContext context{};
        context.info = this;
        ports_->local = CfOwned(CFMessagePortCreateLocal(kCFAllocatorDefault, ports_->name.get(),
                                                         Ports::received, &context, nullptr));
        if (ports_->local)
            return Outcome::alone;
        switch (exchange(message, deadline)) {
        case Exchange::delivered:
            return Outcome::delivered;
        case Exchange::unanswered:
            return Outcome::unanswered;
        case Exchange::gone:
            break;
        }
        std::this_thread::sleep_for(pauseBetweenTries);
    } while (Clock::now() < deadline);
    failure_ = "the system gives out no port of the name " + setup_.name;
    return Outcome::unavailable;
}

InstanceChannel::Outcome MessagePortInstanceChannel::send(std::uint8_t message) {
    switch (exchange(message, Clock::now() + setup_.patience)) {
    case Exchange::delivered:
        return Outcome::delivered;
    case Exchange::unanswered:
        return Outcome::unanswered;
    case Exchange::gone:
        break;
    }
    return Outcome::alone;
}

// What was sent since become() waits in the port.
void MessagePortInstanceChannel::receive(Receiver receiver) {
    receiver_ = std::move(receiver);
    if (!ports_->local || ports_->source)
        return;
    ports_->source =
        CfOwned(CFMessagePortCreateRunLoopSource(kCFAllocatorDefault, ports_->local.get(), 0));
    if (ports_->source)
        CFRunLoopAddSource(CFRunLoopGetMain(), ports_->source.get(), kCFRunLoopCommonModes);
}

CFDataRef MessagePortInstanceChannel::Ports::received(CFMessagePortRef, std::int32_t message,
                                                      CFDataRef, void* info) {
    auto& channel = *static_cast<MessagePortInstanceChannel*>(info);
    if (message < 0 || message > UINT8_MAX)
        return nullptr;
    switch (channel.receiver_(static_cast<std::uint8_t>(message))) {
    case Reception::refused:
        return nullptr;
    case Reception::accepted:
        return answer(takenAnswer);
    case Reception::ending:
        CFRunLoopRemoveSource(CFRunLoopGetMain(), channel.ports_->source.get(),
                              kCFRunLoopCommonModes);
        channel.ports_->source = {};
        return answer(endingAnswer);
    }
    return nullptr;
}

MessagePortInstanceChannel::Exchange MessagePortInstanceChannel::exchange(std::uint8_t message,
                                                                          Deadline deadline) const {
    CfOwned remote(CFMessagePortCreateRemote(kCFAllocatorDefault, ports_->name.get()));
    if (!remote)
        return Exchange::gone;
    CFDataRef reply = nullptr;
    const CFTimeInterval half = secondsUntil(deadline) / 2; // to be heard, and to be answered
    const std::int32_t status = CFMessagePortSendRequest(remote.get(), message, nullptr, half, half,
                                                         kCFRunLoopDefaultMode, &reply);
    const CfOwned owned(reply);
    if (status == kCFMessagePortSendTimeout || status == kCFMessagePortReceiveTimeout)
        return Exchange::unanswered;
    if (status != kCFMessagePortSuccess || reply == nullptr || CFDataGetLength(reply) != 1)
        return Exchange::gone;
    remote = {}; // else it would be found again, whoever has gone
    if (*CFDataGetBytePtr(reply) == endingAnswer && !isGoneBy(deadline))
        return Exchange::unanswered;
    return Exchange::delivered;
}

bool MessagePortInstanceChannel::isGoneBy(Deadline deadline) const {
    while (CfOwned(CFMessagePortCreateRemote(kCFAllocatorDefault, ports_->name.get()))) {
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(pauseBetweenTries);
    }
    return true;
}

} // namespace morvel
