#include "platform/linux/EvdevKeyTap.h"

#include <linux/input-event-codes.h>

#include <algorithm>

namespace morvel {

namespace {

// XKB's numbers of keys are evdev's and 8 more.
constexpr std::uint32_t keymapOffset = 8;
constexpr std::int64_t fnKeyCode = 63;
// Keymaps end before the Fn key's number; it takes a place that no keymap has.
constexpr std::uint32_t fnHardware = 0;

std::uint32_t hardwareCode(std::uint32_t evdevCode) {
    return evdevCode == KEY_FN ? fnHardware : evdevCode + keymapOffset;
}

} // namespace

EvdevKeyTap::EvdevKeyTap(EvdevKeyboards& keyboards)
    : keyboards_(keyboards) {}

EvdevKeyTap::~EvdevKeyTap() {
    EvdevKeyTap::remove();
}

bool EvdevKeyTap::install(KeyTap::Listener& listener) {
    keymap_ = SystemKeymap::load();
    if (!keymap_)
        return false;
    translator_ = KeyEventTranslator();
    lights_.clear();
    useTable();
    listener_ = &listener;
    listening_ = keyboards_.listen(*this);
    if (keyboards_.refused())
        remove();
    return listener_ != nullptr;
}

void EvdevKeyTap::remove() {
    listener_ = nullptr;
    listening_.reset();
    translator_ = KeyEventTranslator();
    keymap_.reset();
}

void EvdevKeyTap::opened(std::uint32_t id, const EvdevKeyboard& keyboard) {
    if (const auto light = keyboard.capsLockLight()) {
        if (lights_.empty())
            translator_.assumeCapsLock(*light);
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
    std::erase(lights_, id);
}

void EvdevKeyTap::event(std::uint32_t id, const EvdevKeyboard::Event& event) {
    if (event.kind == EvdevKeyboard::Event::Kind::key)
        key(id, event);
    else
        capsLock(event.value != 0, event);
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
    deliver(keyEvent, event.missed);
    if (moved && listener_ != nullptr)
        followKeymap(hardware, pressed, event);
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
    VirtualKeyCodeTable table = keymap_->table();
    table[fnHardware] = fnKeyCode;
    translator_.setTable(table);
}

void EvdevKeyTap::deliver(const std::optional<KeyEvent>& event, bool missed) {
    if (event && !missed && listener_ != nullptr)
        listener_->keyEvent(*event);
}

bool EvdevTrustSource::isTrusted() {
    keyboards_.refresh();
    const std::vector<KeyboardNodes::Node>& nodes = keyboards_.nodes();
    if (!nodes.empty())
        trusted_ =
            std::any_of(nodes.begin(), nodes.end(), [](const auto& node) { return node.readable; });
    return trusted_;
}

bool EvdevTrustSource::prompt() {
    const bool trusted = isTrusted();
    if (!trusted && ask_)
        ask_();
    return trusted;
}

} // namespace morvel
