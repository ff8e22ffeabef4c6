#include "platform/linux/EvdevHotKeyService.h"

#include <algorithm>
#include <utility>

namespace morvel {

namespace {

// XKB's numbers of keys are evdev's and 8 more.
constexpr std::uint32_t keymapOffset = 8;

} // namespace

EvdevHotKeyService::EvdevHotKeyService(EvdevKeyboards& keyboards, KeymapSettings& keymap)
    : keyboards_(keyboards)
    , settings_(keymap) {
    settings_.setChangeHandler([this] { reloadKeymap(); });
}

EvdevHotKeyService::~EvdevHotKeyService() {
    settings_.setChangeHandler(nullptr);
}

HotKeyStatus EvdevHotKeyService::installHandler(Handler handler) {
    handler_ = std::move(handler);
    return hotKeyNoErr;
}

Result<HotKeyReference, HotKeyStatus>
EvdevHotKeyService::registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers,
                                   HotKeyIdentifier identifier) {
    if (registrations_.empty())
        keymap_ = SystemKeymap::load(settings_.names());
    if (!keymap_)
        return eventInternalErr;
    const auto position = keymap_->hotKey(keyCode, modifiers);
    if (!position) {
        if (registrations_.empty())
            keymap_.reset();
        return eventHotKeyInvalidErr;
    }
    const std::uint32_t number = nextNumber_++;
    registrations_.emplace(number, Registration{keyCode, modifiers, identifier, position});
    if (!listening_)
        listening_ = keyboards_.listen(*this);
    tell();
    return HotKeyReference{number};
}

void EvdevHotKeyService::unregisterHotKey(HotKeyReference reference) {
    if (registrations_.erase(reference.number) == 0)
        return;
    if (registrations_.empty()) {
        listening_.reset();
        held_.clear();
        keymap_.reset();
    }
    tell();
}

HotKeyDelivery EvdevHotKeyService::delivery() const {
    const bool heard = listening_ && keyboards_.any();
    return {heard ? HotKeyDelivery::Way::keyboards : HotKeyDelivery::Way::none, {}};
}

void EvdevHotKeyService::setDeliveryHandler(const std::function<void()>& changed) {
    changed_ = changed;
}

void EvdevHotKeyService::opened(std::uint32_t id, const EvdevKeyboard& keyboard) {
    Keys& held = held_[id];
    for (std::uint32_t hardware = keymapOffset; hardware < held.size(); ++hardware)
        if (keyboard.isDown(hardware - keymapOffset)) {
            held.set(hardware);
            follow(hardware, true);
        }
    tell();
}

void EvdevHotKeyService::closed(std::uint32_t id) {
    const Keys held = held_[id];
    held_.erase(id);
    for (std::uint32_t hardware = 0; hardware < held.size(); ++hardware)
        if (held.test(hardware))
            follow(hardware, false);
    tell();
}

void EvdevHotKeyService::event(std::uint32_t id, const EvdevKeyboard::Event& event) {
    Keys& held = held_[id];
    const std::uint32_t hardware = event.code + keymapOffset;
    const bool isDown = event.value != 0;
    if (event.kind != EvdevKeyboard::Event::Kind::key || hardware >= held.size() ||
        held.test(hardware) == isDown)
        return;
    const bool isPress = event.value == 1 && !event.missed && !isHeld(hardware);
    held.set(hardware, isDown);
    follow(hardware, isDown);
    if (isPress)
        pressed(hardware);
}

void EvdevHotKeyService::follow(std::uint32_t hardware, bool pressed) {
    if (keymap_->key(hardware, pressed).layout)
        findKeys();
}

void EvdevHotKeyService::findKeys() {
    for (auto& [number, registration] : registrations_)
        registration.position = keymap_->hotKey(registration.keyCode, registration.modifiers);
}

void EvdevHotKeyService::reloadKeymap() {
    if (!keymap_)
        return;
    auto keymap = SystemKeymap::load(settings_.names());
    if (!keymap)
        return;
    keymap_ = std::move(keymap);
    for (const auto& [id, held] : held_)
        for (std::uint32_t hardware = 0; hardware < held.size(); ++hardware)
            if (held.test(hardware))
                keymap_->key(hardware, true);
    findKeys();
}

bool EvdevHotKeyService::isHeld(std::uint32_t hardware) const {
    return std::any_of(held_.begin(), held_.end(),
                       [hardware](const auto& keyboard) { return keyboard.second.test(hardware); });
}

void EvdevHotKeyService::pressed(std::uint32_t hardware) {
    for (const auto& [number, registration] : registrations_) {
        if (!registration.position || registration.position->key != hardware ||
            !keymap_->holdsModifiersOf(*registration.position))
            continue;
        if (handler_) {
            const HotKeyIdentifier identifier = registration.identifier;
            handler_(identifier); // may give the registration up
        }
        return;
    }
}

void EvdevHotKeyService::tell() const {
    if (changed_ && listening_)
        changed_();
}

} // namespace morvel
