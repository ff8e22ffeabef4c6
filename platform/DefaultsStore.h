// User defaults: a small typed key-value store with registered defaults underneath. Adapters:
// platform/macos (the system's preferences); elsewhere app/settings (a JSON file).
//
// Main thread, all of it. The store reports no errors to its callers.
//
// Reading a key looks at the store's own value first. A value of another type is converted where
// that is unambiguous and counts as missing otherwise; for a missing one the registered default
// holds, and without one false, 0 or no string:
//   Bool    a Bool; a number (0 is false); the strings "true", "yes", "1", "false", "no" and "0" in
//           any case
//   float   a number; a Bool (1 or 0); a string that is a decimal number, "nan", "inf" or "-inf"
//   string  a string
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace morvel {

class DefaultsStore {
public:
    using Value = std::variant<bool, double, std::string>;
    using Defaults = std::vector<std::pair<std::string, Value>>;

    virtual ~DefaultsStore() = default;

    // Adds to the registered defaults, replacing those of the same keys. They are never written.
    virtual void registerDefaults(const Defaults& defaults) = 0;

    virtual bool boolForKey(std::string_view key) const = 0;
    virtual float floatForKey(std::string_view key) const = 0;
    virtual std::optional<std::string> stringForKey(std::string_view key) const = 0;

    // Whether the store holds a value of its own for the key, of whatever type.
    virtual bool contains(std::string_view key) const = 0;

    // Any float can be stored: numbers outside 0 to 1, infinities and "not a number" come back as
    // they were.
    virtual void setBool(std::string_view key, bool value) = 0;
    virtual void setFloat(std::string_view key, float value) = 0;
    virtual void setString(std::string_view key, std::string_view value) = 0;

    virtual void remove(std::string_view key) = 0;
};

} // namespace morvel
