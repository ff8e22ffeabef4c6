// The login session that this process belongs to, one of several that may take turns at a machine.
// Adapters: platform/linux (logind), platform/simulated; on macOS nothing needs to know.
#pragma once

#include <functional>
#include <string>

namespace morvel {

class LoginSession {
public:
    virtual ~LoginSession() = default;

    // Main thread, all of them.

    // Whether whoever is at the machine is in this session, and not in another one or at a greeter.
    virtual bool isActive() const = 0;

    // The keyboards, pointers and screens it is used with, "seat0" on most machines; empty where it
    // has none, as when it was opened from another machine.
    virtual std::string seat() const = 0;

    // Called after a change of either.
    virtual void setChangeHandler(std::function<void()> changed) = 0;
};

} // namespace morvel
