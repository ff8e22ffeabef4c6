// A system-wide shortcut that runs an action on the main thread, whichever application is in front.
#pragma once

#include "platform/HotKeyService.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace morvel {

class GlobalHotKey;

// What all hot keys of the process share: their numbers, who is registered, the one handler of
// presses. Build it once, on the main thread; main thread only but for handle().
class GlobalHotKeyRegistry {
public:
    static constexpr std::uint32_t signature = 0x4D52564C; // "MRVL"

    // All must outlive the registry. Hot keys must not.
    GlobalHotKeyRegistry(HotKeyService& service, Scheduler& scheduler, Log& log,
                         std::uint32_t firstID = 1);
    ~GlobalHotKeyRegistry();
    GlobalHotKeyRegistry(const GlobalHotKeyRegistry&) = delete;
    GlobalHotKeyRegistry& operator=(const GlobalHotKeyRegistry&) = delete;

    // The registered hot key with this number, or null.
    std::shared_ptr<GlobalHotKey> find(std::uint32_t id) const;
    std::size_t size() const;

    // Lets go of a hot key. It stays registered with the system while somebody else holds it.
    void remove(std::uint32_t id);

    // A press: runs the action of the hot key it belongs to, at once on the main thread, else in a
    // later turn of the main run loop. Answers eventNotHandledErr for a press of somebody else's
    // or of a hot key that is not registered. Any thread.
    HotKeyStatus handle(const std::optional<HotKeyIdentifier>& identifier);

private:
    friend class GlobalHotKey;

    std::uint32_t takeID();
    void installHandlerIfNeeded();
    void add(std::shared_ptr<GlobalHotKey> hotKey);

    HotKeyService& service_;
    Scheduler& scheduler_;
    Log& log_;
    const std::thread::id mainThread_ = std::this_thread::get_id();
    std::uint32_t nextID_;
    bool handlerInstalled_ = false;
    mutable std::mutex mutex_; // a press may look its hot key up on another thread
    std::map<std::uint32_t, std::shared_ptr<GlobalHotKey>> hotKeys_;
};

class GlobalHotKey {
public:
    // Registers the shortcut. Null when the system refuses it, which is one log line. The registry
    // holds what is registered, so whoever gives a hot key up calls unregister() and
    // GlobalHotKeyRegistry::remove(). Numbers that run out end the process.
    static std::shared_ptr<GlobalHotKey> create(GlobalHotKeyRegistry& registry,
                                                std::uint32_t keyCode, std::uint32_t modifiers,
                                                std::function<void()> action);
    ~GlobalHotKey();
    GlobalHotKey(const GlobalHotKey&) = delete;
    GlobalHotKey& operator=(const GlobalHotKey&) = delete;

    // The shortcut as a short string of symbols, in UTF-8.
    static std::string displayString(std::uint32_t keyCode, std::uint32_t modifiers);

    // Gives the shortcut back to the system.
    void unregister();

    std::uint32_t id() const { return id_; }
    std::uint32_t keyCode() const { return keyCode_; }
    std::uint32_t modifiers() const { return modifiers_; }

private:
    friend class GlobalHotKeyRegistry;

    GlobalHotKey(GlobalHotKeyRegistry& registry, std::uint32_t keyCode, std::uint32_t modifiers,
                 std::function<void()> action);

    GlobalHotKeyRegistry& registry_;
    const std::uint32_t id_;
    std::optional<HotKeyReference> ref_;
    const std::function<void()> action_;
    const std::uint32_t keyCode_;
    const std::uint32_t modifiers_;
};

} // namespace morvel
