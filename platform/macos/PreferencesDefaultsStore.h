// The application's user defaults, which the system keeps in a property list of the application's
// identifier; what an administrator prescribes comes first. Every change is handed to the system
// before its call returns, and outlives a crash of this process.
#pragma once

#include "platform/DefaultsStore.h"

#include <functional>
#include <map>
#include <string>
#include <utility>

namespace morvel {

class PreferencesDefaultsStore : public DefaultsStore {
public:
    void registerDefaults(const Defaults& defaults) override;
    bool boolForKey(std::string_view key) const override;
    float floatForKey(std::string_view key) const override;
    std::optional<std::string> stringForKey(std::string_view key) const override;
    bool contains(std::string_view key) const override;
    void setBool(std::string_view key, bool value) override;
    void setFloat(std::string_view key, float value) override;
    void setString(std::string_view key, std::string_view value) override;
    void remove(std::string_view key) override;

    // Nothing is pending, ever. Makes this process see what others have changed.
    void flush();

private:
    // The first of the key's own value and its registered default that `convert` can read.
    template <typename Convert>
    auto read(std::string_view key, Convert convert) const
        -> decltype(convert(std::declval<const Value&>()));

    std::map<std::string, Value, std::less<>> registered_;
};

} // namespace morvel
