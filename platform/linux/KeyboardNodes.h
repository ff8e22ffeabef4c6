// The keyboards of a seat, as udev announces them, and which of them this user may read.
//
// A keyboard is an input device with a key that one types with: a letter, the space bar, a digit of
// the keypad, Control, Shift or Alt. So a macro pad, a keypad or a pedal that acts as a modifier is
// one, whatever else it can do; power buttons, lid switches, media keys and mice are none.
//
// Of several login sessions at one seat the active one alone has keyboards: what is typed into
// another one, or at a greeter, is not this program's to hear, even where it might be read. The
// same keyboard is another one, with another id, once the session is active again. The log tells
// when they are withheld and when they are given back.
//
// Needs a QCoreApplication; main thread. Opens no device.
#pragma once

#include "platform/Log.h"
#include "platform/LoginSession.h"
#include "platform/linux/Handle.h"

#include <libudev.h>

#include <QSocketNotifier>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace morvel {

class KeyboardNodes {
public:
    struct Node {
        std::uint32_t id = 0;  // never given to two keyboards
        std::string device;    // udev's name of it
        std::string path;      // of the file to read
        bool readable = false; // by this user, when last asked
        bool joystick = false; // and a keyboard only besides
    };

    // Without udev there are no keyboards; without its monitor those that were there at the start.
    // `session`, whose change handler they take, and `log` must outlive the nodes.
    KeyboardNodes(LoginSession& session, Log& log);
    // Those of a seat that no session shares with another; "seat0" on most machines.
    explicit KeyboardNodes(std::string seat);
    ~KeyboardNodes();
    KeyboardNodes(const KeyboardNodes&) = delete;
    KeyboardNodes& operator=(const KeyboardNodes&) = delete;

    const std::vector<Node>& nodes() const { return nodes_; }

    // Asks anew which keyboards can be read: permissions are granted and withdrawn with no word
    // from udev. Costs one system call a keyboard.
    void refresh();

    // Called whenever nodes() is different, when udev says that a keyboard has changed, and at each
    // refresh(): one that could not be opened may be tried again.
    void setChangeHandler(std::function<void()> handler) { changed_ = std::move(handler); }

private:
    using Udev = Handle<udev, udev_unref>;
    using Device = Handle<udev_device, udev_device_unref>;
    using Monitor = Handle<udev_monitor, udev_monitor_unref>;

    void start();
    void follow(const LoginSession& session);
    void tellWhoseTheyAre() const;
    void startMonitor();
    std::vector<Device> search() const;
    void findAll();
    void reconcile();
    void receive(udev_device& device);
    void receive();
    bool isOurs(udev_device& device) const;
    void take(udev_device& device);
    void announce() const;

    LoginSession* const session_ = nullptr; // null: alone at its seat
    Log* const log_ = nullptr;              // null: nothing to tell
    std::string seat_;                      // empty: none at the moment
    const Udev udev_;
    Monitor monitor_;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::vector<Node> nodes_;
    std::uint32_t lastId_ = 0;
    std::function<void()> changed_;
};

} // namespace morvel
