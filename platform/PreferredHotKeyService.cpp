#include "platform/PreferredHotKeyService.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace morvel {

namespace {

using Way = HotKeyDelivery::Way;

std::string describe(const HotKeyDelivery& delivery) {
    switch (delivery.way) {
    case Way::claimed:
        return "the keys are ours alone";
    case Way::desktop:
        return delivery.keys.empty() ? "the desktop listens for them"
                                     : fmt::format("the desktop listens for {}", delivery.keys);
    case Way::keyboards:
        return "looked for at the keyboards";
    case Way::asking:
        return "the desktop is being asked";
    case Way::deciding:
        return "the desktop asks its user";
    case Way::declined:
        return "none, the user has declined";
    case Way::none:
        break;
    }
    return "no way to hear them at present";
}

} // namespace

PreferredHotKeyService::PreferredHotKeyService(std::unique_ptr<HotKeyService> preferred,
                                               std::unique_ptr<HotKeyService> fallback,
                                               Scheduler& scheduler, Log& log)
    : preferred_(std::move(preferred))
    , fallback_(std::move(fallback))
    , scheduler_(scheduler)
    , log_(log) {
    preferred_->setDeliveryHandler([this] { follow(); });
    fallback_->setDeliveryHandler([this] { announce(); });
}

PreferredHotKeyService::~PreferredHotKeyService() {
    preferred_->setDeliveryHandler(nullptr);
    fallback_->setDeliveryHandler(nullptr);
}

HotKeyStatus PreferredHotKeyService::installHandler(Handler handler) {
    const HotKeyStatus preferred =
        preferred_->installHandler([this, handler](const std::optional<HotKeyIdentifier>& press) {
            return heard_ ? hotKeyNoErr : handler(press);
        });
    const HotKeyStatus fallback = fallback_->installHandler(
        [this, handler = std::move(handler)](const std::optional<HotKeyIdentifier>& press) {
            heard_ = scheduler_.after(samePress, [this] { heard_.reset(); });
            return handler(press);
        });
    return preferred == hotKeyNoErr ? preferred : fallback;
}

Result<HotKeyReference, HotKeyStatus>
PreferredHotKeyService::registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers,
                                       HotKeyIdentifier identifier) {
    Registration registration{keyCode, modifiers, identifier, std::nullopt, std::nullopt};
    registering_ = true;
    if (const auto preferred = preferred_->registerHotKey(keyCode, modifiers, identifier)) {
        registration.preferred = preferred.value();
    } else {
        const auto fallback = fallback_->registerHotKey(keyCode, modifiers, identifier);
        if (!fallback) {
            registering_ = false;
            return fallback.error();
        }
        registration.fallback = fallback.value();
    }
    registering_ = false;
    const std::uint32_t number = nextNumber_++;
    registrations_.emplace(number, registration);
    follow();
    return HotKeyReference{number};
}

void PreferredHotKeyService::unregisterHotKey(HotKeyReference reference) {
    const auto found = registrations_.find(reference.number);
    if (found == registrations_.end())
        return;
    const Registration registration = found->second;
    registrations_.erase(found);
    if (registration.preferred)
        preferred_->unregisterHotKey(*registration.preferred);
    if (registration.fallback)
        fallback_->unregisterHotKey(*registration.fallback);
}

HotKeyDelivery PreferredHotKeyService::delivery() const {
    if (registrations_.empty())
        return {Way::none, {}};
    HotKeyDelivery preferred = preferred_->delivery();
    const bool joined = std::any_of(registrations_.begin(), registrations_.end(),
                                    [](const auto& each) { return each.second.fallback; });
    if (preferred.way == Way::desktop || !joined)
        return preferred;
    HotKeyDelivery fallback = fallback_->delivery();
    return fallback.way == Way::none ? preferred : fallback;
}

void PreferredHotKeyService::setDeliveryHandler(const std::function<void()>& changed) {
    changed_ = changed;
}

void PreferredHotKeyService::follow() {
    if (registering_ || registrations_.empty())
        return;
    const Way way = preferred_->delivery().way;
    if (way == Way::desktop || way == Way::deciding || way == Way::declined) {
        leaveFallback();
    } else if (way != Way::asking || waited_) {
        joinFallback();
    } else if (!waiting_) {
        waiting_ = scheduler_.after(patience, [this] {
            waited_ = true;
            follow();
        });
    }
    announce();
}

void PreferredHotKeyService::joinFallback() {
    registering_ = true;
    for (auto& [number, registration] : registrations_) {
        if (registration.fallback)
            continue;
        if (const auto joined = fallback_->registerHotKey(
                registration.keyCode, registration.modifiers, registration.identifier))
            registration.fallback = joined.value();
    }
    registering_ = false;
}

void PreferredHotKeyService::leaveFallback() {
    for (auto& [number, registration] : registrations_)
        if (const auto left = std::exchange(registration.fallback, std::nullopt))
            fallback_->unregisterHotKey(*left);
}

void PreferredHotKeyService::announce() {
    if (registering_ || registrations_.empty() || std::exchange(told_, delivery()) == delivery())
        return;
    log_.line(fmt::format("Hotkey presses: {}", describe(*told_)));
    if (changed_)
        changed_();
}

} // namespace morvel
