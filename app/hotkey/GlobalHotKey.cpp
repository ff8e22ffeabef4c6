#include "app/hotkey/GlobalHotKey.h"

#include <fmt/format.h>

#include <cstdlib>
#include <limits>
#include <string_view>
#include <utility>

namespace morvel {

namespace {

struct ModifierSymbol {
    std::uint32_t bit;
    std::string_view symbol;
};

constexpr ModifierSymbol modifierSymbols[] = {
    {controlModifier, "⌃"},
    {optionModifier, "⌥"},
    {shiftModifier, "⇧"},
    {commandModifier, "⌘"},
};

// The application registers no other keys.
std::string_view keyName(std::uint32_t keyCode) {
    switch (keyCode) {
    case 49:
        return "Space";
    case 46:
        return "M";
    case 17:
        return "T";
    default:
        return "?";
    }
}

} // namespace

GlobalHotKeyRegistry::GlobalHotKeyRegistry(HotKeyService& service, Scheduler& scheduler, Log& log,
                                           std::uint32_t firstID)
    : service_(service)
    , scheduler_(scheduler)
    , log_(log)
    , nextID_(firstID) {}

GlobalHotKeyRegistry::~GlobalHotKeyRegistry() {
    // Each takes itself out of the map when it goes.
    const auto last = std::exchange(hotKeys_, {});
}

std::shared_ptr<GlobalHotKey> GlobalHotKeyRegistry::find(std::uint32_t id) const {
    const std::lock_guard lock(mutex_);
    const auto found = hotKeys_.find(id);
    return found == hotKeys_.end() ? nullptr : found->second;
}

std::size_t GlobalHotKeyRegistry::size() const {
    const std::lock_guard lock(mutex_);
    return hotKeys_.size();
}

void GlobalHotKeyRegistry::remove(std::uint32_t id) {
    std::shared_ptr<GlobalHotKey> removed; // goes after the lock: it calls here again
    const std::lock_guard lock(mutex_);
    const auto found = hotKeys_.find(id);
    if (found == hotKeys_.end())
        return;
    removed = std::move(found->second);
    hotKeys_.erase(found);
}

HotKeyStatus GlobalHotKeyRegistry::handle(const std::optional<HotKeyIdentifier>& identifier) {
    if (!identifier || identifier->signature != signature)
        return eventNotHandledErr;
    const std::uint32_t id = identifier->id;
    const std::shared_ptr<GlobalHotKey> hotKey = find(id);
    if (!hotKey)
        return eventNotHandledErr;
    if (std::this_thread::get_id() == mainThread_) {
        hotKey->action_();
        return hotKeyNoErr;
    }
    // The hot key is looked up once more, so that one given up meanwhile does nothing.
    scheduler_.async([this, id] {
        if (const std::shared_ptr<GlobalHotKey> pressed = find(id))
            pressed->action_();
    });
    return hotKeyNoErr;
}

std::uint32_t GlobalHotKeyRegistry::takeID() {
    if (nextID_ == std::numeric_limits<std::uint32_t>::max()) {
        log_.line("No number is left for another hotkey");
        std::abort();
    }
    return nextID_++;
}

void GlobalHotKeyRegistry::installHandlerIfNeeded() {
    if (handlerInstalled_)
        return;
    const HotKeyStatus status = service_.installHandler(
        [this](const std::optional<HotKeyIdentifier>& identifier) { return handle(identifier); });
    handlerInstalled_ = status == hotKeyNoErr;
    if (!handlerInstalled_)
        log_.line(fmt::format("Could not install hotkey event handler (OSStatus {})", status));
}

void GlobalHotKeyRegistry::add(std::shared_ptr<GlobalHotKey> hotKey) {
    const std::lock_guard lock(mutex_);
    const std::uint32_t id = hotKey->id();
    hotKeys_.emplace(id, std::move(hotKey));
}

std::shared_ptr<GlobalHotKey> GlobalHotKey::create(GlobalHotKeyRegistry& registry,
                                                   std::uint32_t keyCode, std::uint32_t modifiers,
                                                   std::function<void()> action) {
    // Its constructor is private.
    std::shared_ptr<GlobalHotKey> hotKey(
        new GlobalHotKey(registry, keyCode, modifiers, std::move(action)));
    registry.installHandlerIfNeeded();
    const auto registration = registry.service_.registerHotKey(
        keyCode, modifiers, {GlobalHotKeyRegistry::signature, hotKey->id_});
    const std::string shortcut = displayString(keyCode, modifiers);
    if (!registration) {
        registry.log_.line(fmt::format("Hotkey {} could not be registered (OSStatus {}) — another "
                                       "app may already own it",
                                       shortcut, registration.error()));
        return nullptr;
    }
    hotKey->ref_ = registration.value();
    registry.add(hotKey);
    registry.log_.line(fmt::format("Hotkey {} registered", shortcut));
    return hotKey;
}

GlobalHotKey::GlobalHotKey(GlobalHotKeyRegistry& registry, std::uint32_t keyCode,
                           std::uint32_t modifiers, std::function<void()> action)
    : registry_(registry)
    , id_(registry.takeID())
    , action_(std::move(action))
    , keyCode_(keyCode)
    , modifiers_(modifiers) {}

GlobalHotKey::~GlobalHotKey() {
    unregister();
    registry_.remove(id_);
}

std::string GlobalHotKey::displayString(std::uint32_t keyCode, std::uint32_t modifiers) {
    std::string text;
    for (const ModifierSymbol& modifier : modifierSymbols)
        if ((modifiers & modifier.bit) != 0)
            text += modifier.symbol;
    return text.append(keyName(keyCode));
}

void GlobalHotKey::unregister() {
    if (const auto registered = std::exchange(ref_, std::nullopt))
        registry_.service_.unregisterHotKey(*registered);
}

} // namespace morvel
