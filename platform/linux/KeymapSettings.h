// The keymap that the system is set to, by the names that XKB's rules make one of. Adapter:
// LocaledKeymap.
#pragma once

#include <functional>
#include <string>

namespace morvel {

struct KeymapNames {
    std::string model;
    std::string layout; // several with commas between; empty: the system says nothing
    std::string variant;
    std::string options;

    bool operator==(const KeymapNames&) const = default;
};

// Main thread.
class KeymapSettings {
public:
    virtual ~KeymapSettings() = default;

    virtual KeymapNames names() const = 0;
    // Called when the names are others.
    virtual void setChangeHandler(std::function<void()> changed) = 0;
};

} // namespace morvel
