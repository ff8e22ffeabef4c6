#include "platform/linux/EvdevKeyTap.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <utility>

namespace morvel {

namespace {

// XKB's numbers of keys are evdev's and 8 more.
constexpr std::uint32_t keymapOffset = 8;
constexpr std::int64_t fnKeyCode = 63;
// Keymaps end before the Fn key's number; it takes a place that no keymap has.
constexpr std::uint32_t fnHardware = 0;

// How long, in seconds, a session takes at most to put the light on anew at keyboards that it has
// back.
constexpr double longestRestoring = 1;

std::uint32_t hardwareCode(std::uint32_t evdevCode) {
    return evdevCode == KEY_FN ? fnHardware : evdevCode + keymapOffset;
}

} // namespace

EvdevKeyTap::EvdevKeyTap(EvdevKeyboards& keyboards, Services services)
    : keyboards_(keyboards)
    , services_(services)
    , capsLockWatch_(services.scheduler, [this] { soundAsOrdinary(); }) {
    services_.keymap.setChangeHandler([this] { reloadKeymap(); });
}

EvdevKeyTap::~EvdevKeyTap() {
    EvdevKeyTap::remove();
    services_.keymap.setChangeHandler(nullptr);
}

bool EvdevKeyTap::install(KeyTap::Listener& listener) {
    if (!loadKeymap())
        return false;
    translator_ = KeyEventTranslator();
    lights_.clear();
    wasLocked_ = false;
    restoring_.reset();
    capsLockIsOrdinary_ = false;
    useTable();
    listener_ = &listener;
    listening_ = keyboards_.listen(*this);
    if (keyboards_.refused())
        remove();
    return listener_ != nullptr;
}

void EvdevKeyTap::remove() {
    listener_ = nullptr;
    capsLockWatch_.forget();
    restoring_.reset();
    listening_.reset();
    translator_ = KeyEventTranslator();
    keymap_.reset();
}

bool EvdevKeyTap::loadKeymap() {
    auto keymap = SystemKeymap::load(services_.keymap.names());
    if (!keymap)
        services_.log.line("There is no keymap for the keyboards");
    else if (keymap->isStandIn())
        services_.log.line("The keymap that is asked for does not exist — the keys are those of "
                           "the US layout");
    if (keymap)
        keymap_ = std::move(keymap);
    return keymap_ != nullptr;
}

void EvdevKeyTap::reloadKeymap() {
    if (listener_ == nullptr || !loadKeymap())
        return;
    const auto held = translator_.held();
    for (std::uint32_t hardware = 0; hardware < held.size(); ++hardware)
        if (held[hardware])
            keymap_->key(hardware, true);
    capsLockWatch_.forget();
    capsLockIsOrdinary_ = false;
    useTable();
}

void EvdevKeyTap::opened(std::uint32_t id, const EvdevKeyboard& keyboard) {
    if (const auto light = keyboard.capsLockLight()) {
        if (lights_.empty()) {
            translator_.assumeCapsLock(*light);
            if (std::exchange(wasLocked_, false))
                restoring_ =
                    services_.scheduler.after(longestRestoring, [this] { restoring_.reset(); });
        }
        lights_.push_back(id);
    }
    for (std::uint32_t code = 0; code < KEY_CNT; ++code)
        if (keyboard.isDown(code))
            translator_.key({id, hardwareCode(code), true, false, 0});
}

void EvdevKeyTap::closed(std::uint32_t id) {
    for (std::uint32_t hardware = 0; hardware < KeyEventTranslator::hardwareCodes; ++hardware)
        if (translator_.holds(id, hardware))
            keymap_->key(hardware, false);
    translator_.forgetDevice(id);
    if (std::erase(lights_, id) != 0 && lights_.empty())
        wasLocked_ = std::exchange(restoring_, nullptr) != nullptr || translator_.capsLocked();
    if (capsLockPress_.device == id)
        capsLockWatch_.forget();
}

void EvdevKeyTap::event(std::uint32_t id, const EvdevKeyboard::Event& event) {
    if (event.kind == EvdevKeyboard::Event::Kind::key)
        key(id, event);
    else
        light(event.value != 0, event);
}

void EvdevKeyTap::key(std::uint32_t id, const EvdevKeyboard::Event& event) {
    const std::uint32_t hardware = hardwareCode(event.code);
    if (hardware >= KeyEventTranslator::hardwareCodes)
        return;
    const bool pressed = event.value != 0;
    const bool moved = pressed != translator_.holds(id, hardware);
    const auto keyEvent = translator_.key({.device = id,
                                           .hardware = hardware,
                                           .pressed = pressed,
                                           .repeated = event.value == 2,
                                           .timestampNanos = event.timestampNanos});
    if (moved && !event.missed && table_[hardware] == capsLockKeyCode)
        watchCapsLock(id, hardware, pressed);
    deliver(keyEvent, event.missed);
    if (moved && listener_ != nullptr)
        followKeymap(hardware, pressed, event);
}

void EvdevKeyTap::watchCapsLock(std::uint32_t id, std::uint32_t hardware, bool pressed) {
    if (lights_.empty())
        return;
    if (!pressed) {
        capsLockWatch_.released();
        return;
    }
    restoring_.reset();
    capsLockPress_ = {.device = id,
                      .hardware = hardware,
                      .pressed = true,
                      .repeated = false,
                      .timestampNanos = 0}; // it is too late to measure anything by
    capsLockWatch_.pressed(translator_.capsLocked());
}

// From now on; and this once what the silent key has done already.
void EvdevKeyTap::soundAsOrdinary() {
    if (std::exchange(capsLockIsOrdinary_, true))
        return;
    KeyEventTranslator::KeyMotion motion = capsLockPress_;
    const bool isDown = translator_.holds(motion.device, motion.hardware);
    motion.pressed = false;
    translator_.key(motion); // as the lock that it is not
    useTable();
    motion.pressed = true;
    deliver(translator_.key(motion), false);
    motion.pressed = isDown;
    if (!isDown)
        deliver(translator_.key(motion), false);
}

// A key that has sounded already does not sound a second time when it proves to be a lock again.
void EvdevKeyTap::light(bool on, const EvdevKeyboard::Event& event) {
    if (capsLockWatch_.changed() && capsLockIsOrdinary_) {
        capsLockIsOrdinary_ = false;
        useTable();
        translator_.assumeCapsLock(on);
    } else if (on != translator_.capsLocked() && restoring_) {
        restoring_.reset();
        translator_.assumeCapsLock(on);
    } else {
        capsLock(on, event);
    }
}

void EvdevKeyTap::followKeymap(std::uint32_t hardware, bool pressed,
                               const EvdevKeyboard::Event& event) {
    const SystemKeymap::Change change = keymap_->key(hardware, pressed);
    if (change.layout)
        useTable();
    if (change.capsLock && lights_.empty())
        capsLock(!translator_.capsLocked(), event);
}

void EvdevKeyTap::capsLock(bool locked, const EvdevKeyboard::Event& event) {
    deliver(translator_.capsLock(locked, event.timestampNanos), event.missed);
}

void EvdevKeyTap::useTable() {
    table_ = keymap_->table();
    table_[fnHardware] = fnKeyCode;
    VirtualKeyCodeTable table = table_;
    if (capsLockIsOrdinary_)
        std::replace(table.begin(), table.end(), capsLockKeyCode, neutralKeyCode);
    translator_.setTable(table);
}

void EvdevKeyTap::deliver(const std::optional<KeyEvent>& event, bool missed) {
    if (event && !missed && listener_ != nullptr)
        listener_->keyEvent(*event);
}

bool EvdevTrustSource::isTrusted() {
    keyboards_.refresh();
    std::optional<bool> keyboards;
    std::optional<bool> joysticks;
    for (const KeyboardNodes::Node& node : keyboards_.nodes()) {
        std::optional<bool>& readable = node.joystick ? joysticks : keyboards;
        readable = readable.value_or(false) || node.readable;
    }
    trusted_ = keyboards.value_or(joysticks.value_or(trusted_));
    return trusted_;
}

bool EvdevTrustSource::prompt() {
    const bool trusted = isTrusted();
    if (!trusted && ask_)
        ask_();
    return trusted;
}

} // namespace morvel
