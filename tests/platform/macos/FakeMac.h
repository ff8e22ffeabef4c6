// The functions of macOS that the adapters call, as a test wants them: what they were asked is
// recorded, what they answer is scripted. One at a time.
#pragma once

#include "platform/macos/Frameworks.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace morvel {

// Core Foundation's objects, which all begin alike.
struct FakeObject {
    FakeObject();
    virtual ~FakeObject();
    FakeObject(const FakeObject&) = delete;
    FakeObject& operator=(const FakeObject&) = delete;

    int references = 1;
};

struct FakeEvent : FakeObject {
    std::map<std::uint32_t, std::int64_t> fields;
    std::uint64_t flags = 0;
    std::uint64_t timestamp = 0;
};

class FakeMac {
public:
    FakeMac();
    ~FakeMac();
    FakeMac(const FakeMac&) = delete;
    FakeMac& operator=(const FakeMac&) = delete;
    static FakeMac& current();

    std::vector<std::string> calls; // the noteworthy ones, in their order
    int objects = 0;                // not yet released
    // An object that the system keeps and lends.
    FakeObject* keep(std::unique_ptr<FakeObject> object) {
        return kept.emplace_back(std::move(object)).get();
    }
    std::vector<std::unique_ptr<FakeObject>> kept;

    // Event taps.
    struct Tap {
        std::uint32_t location;
        std::uint32_t place;
        std::uint32_t options;
        std::uint64_t mask;
        CGEventTapCallBack callBack;
        void* user;
    };
    bool refusesTap = false;
    bool refusesSource = false;
    std::optional<Tap> tap; // the last one
    // What the tap returns for the event.
    const FakeEvent* deliver(std::uint32_t type, FakeEvent& event) const;

    // Posted key events: code, type, repeat.
    struct Posted {
        std::uint32_t location;
        std::uint16_t key;
        bool down;
        std::int64_t repeat;
        bool operator==(const Posted&) const = default;
    };
    bool refusesEvents = false;
    std::vector<Posted> posted;

    // Accessibility.
    bool trusted = false;
    int prompts = 0;

    // Hot keys.
    OSStatus handlerStatus = 0;
    OSStatus registrationStatus = 0;
    bool namesNoRegistration = false;
    EventHandlerUPP handler = nullptr;
    void* handlerUser = nullptr;
    struct HotKey {
        std::uint32_t key;
        std::uint32_t modifiers;
        std::uint32_t signature;
        std::uint32_t id;
        bool operator==(const HotKey&) const = default;
    };
    std::map<std::uintptr_t, HotKey> hotKeys; // what is registered
    std::optional<EventHotKeyID> pressed;     // of the event that is delivered
    // Delivers an event with this identifier, or without one.
    OSStatus press(std::optional<EventHotKeyID> identifier);

    // Preferences.
    using Preference = std::variant<bool, double, float, std::string, std::monostate>; // an array
    std::map<std::string, Preference> preferences;                       // the system's
    std::map<std::string, std::optional<Preference>> changedPreferences; // of this process alone
    int synchronizations = 0;

    // The main bundle.
    bool hasBundle = true;
    std::string bundlePath;
    std::string executablePath;
    std::string resourcesPath;
    std::optional<std::string> bundleIdentifier;

    // Launch Services.
    OSStatus openStatus = 0;
    std::vector<std::string> opened;

    // Message ports. `instance` is another process' port of the name that is asked for.
    bool refusesPorts = false;
    bool instance = false;
    bool instanceEnds = false; // once it has answered
    std::int32_t sendStatus = 0;
    double sendLimit = 0; // in seconds, of sending and being answered
    std::string reply;
    std::vector<std::int32_t> sent;
    CFMessagePortCallBack portCallBack = nullptr;
    void* portUser = nullptr;
    // What our own port answers to a message.
    std::string receive(std::int32_t message) const;

    // Processes, by number.
    struct Process {
        std::string path;
        std::uint32_t parent = 0;
        int answered = 136; // bytes
    };
    std::map<int, Process> processes;

    // Folders as the system names them; none without.
    std::map<unsigned int, std::string> folders;

    // The clock.
    std::uint64_t ticks = 0;
    std::uint32_t numerator = 1;
    std::uint32_t denominator = 1;

    // Objective-C: classes that there are not, and the answers to messages by their selector.
    std::vector<std::string> missingClasses;
    std::map<std::string, std::uintptr_t> answers;
    std::optional<std::string> error; // what a method that fails leaves
    bool errorSaysNothing = false;
};

// Ends with every object released.
class MacTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(mac_.objects, static_cast<int>(mac_.kept.size())); }

    FakeMac mac_;
};

} // namespace morvel
