// Input devices of a test's own, as the kernel and udev show them, through umockdev: the process
// that holds them, and its children that preload umockdev's library, see no others.
//
// The kernel's side of each device answers from a thread of umockdev's; every call here may be made
// at any time from the main thread.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace morvel::test {

class InputDevices;

class InputDevice {
public:
    struct Setup {
        std::vector<int> keys;      // all that it has
        bool capsLockLight = false; // whether it has one
        std::map<std::string, std::string> properties = {{"ID_INPUT_KEYBOARD", "1"}}; // udev's
        bool capsLockLightOn = false;
    };

    ~InputDevice();
    InputDevice(const InputDevice&) = delete;
    InputDevice& operator=(const InputDevice&) = delete;

    // What the kernel tells readers, each followed by its report: a key as 0 up, 1 down, 2
    // repeated; the light as a program puts it on. Who does not read at the time never learns of
    // it. Times are nanoseconds of CLOCK_MONOTONIC, 0 is now.
    void key(int code, int value, std::uint64_t timestampNanos = 0);
    void type(int code);
    void light(bool on);
    // Keys go down or up, and the light changes, when the kernel's queue is full; the reader is
    // told only that it has missed something.
    void overflow(const std::vector<int>& down, const std::vector<int>& up, bool lightOn = false);

    // Readers lose it, as when the session's owner changes; a new one may open it.
    void revoke();
    // The permissions of its file.
    void setMode(mode_t mode);
    // Tells udev's listeners.
    void uevent(const char* action);
    // Readers lose it, and it is gone.
    void unplug();

    int readers() const;
    // Waits, without a run loop, until somebody reads it and has chosen the clock, the last that
    // the tap does before it hears; answers whether that came.
    bool awaitReader(std::chrono::milliseconds limit) const;
    // How often readers have asked which keys are down.
    int stateReads() const;
    // What a reader has asked the kernel for: the clock of the stamps (-1: nothing), and the types
    // of events as bits (0: all).
    int clock() const;
    unsigned long eventTypes() const;
    bool grabbed() const;
    const std::string& node() const;

private:
    friend class InputDevices;
    struct Kernel;

    explicit InputDevice(std::unique_ptr<Kernel> kernel);

    std::unique_ptr<Kernel> kernel_;
};

class InputDevices {
public:
    InputDevices();
    ~InputDevices();
    InputDevices(const InputDevices&) = delete;
    InputDevices& operator=(const InputDevices&) = delete;

    // Creates a device and, with `mode` as its file's permissions, tells udev's listeners.
    InputDevice& plug(const InputDevice::Setup& setup, mode_t mode = 0600);

    // Letters, digits, named keys, modifiers and the light.
    static InputDevice::Setup keyboard();

private:
    struct Testbed;

    std::unique_ptr<Testbed> testbed_;
    std::vector<std::unique_ptr<InputDevice>> devices_;
    int lastNumber_ = 4;
};

} // namespace morvel::test
