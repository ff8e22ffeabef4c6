#include "platform/macos/PreferencesDefaultsStore.h"

#include "platform/DefaultsValues.h"
#include "platform/macos/CfObjects.h"

#include <utility>

namespace morvel {

namespace {

// The value of one of our types; nothing for an absent one and for one of any other type.
std::optional<DefaultsStore::Value> storedValue(std::string_view key) {
    const CfOwned value(
        CFPreferencesCopyAppValue(cfString(key).get(), kCFPreferencesCurrentApplication));
    if (!value)
        return std::nullopt;
    const CFTypeID type = CFGetTypeID(value.get());
    if (type == CFBooleanGetTypeID())
        return CFBooleanGetValue(static_cast<CFBooleanRef>(value.get())) != 0;
    if (type == CFNumberGetTypeID()) {
        double number = 0;
        CFNumberGetValue(static_cast<CFNumberRef>(value.get()), kCFNumberFloat64Type, &number);
        return number;
    }
    if (type == CFStringGetTypeID())
        if (auto text = textOf(static_cast<CFStringRef>(value.get())))
            return *std::move(text);
    return std::nullopt;
}

void synchronize() {
    CFPreferencesAppSynchronize(kCFPreferencesCurrentApplication);
}

// Setting alone changes what this process reads, and would be lost with it.
void store(std::string_view key, CFPropertyListRef value) {
    CFPreferencesSetAppValue(cfString(key).get(), value, kCFPreferencesCurrentApplication);
    synchronize();
}

} // namespace

void PreferencesDefaultsStore::registerDefaults(const Defaults& defaults) {
    for (const auto& [key, value] : defaults)
        registered_.insert_or_assign(key, value);
}

template <typename Convert>
auto PreferencesDefaultsStore::read(std::string_view key, Convert convert) const
    -> decltype(convert(std::declval<const Value&>())) {
    if (const auto own = storedValue(key))
        if (auto value = convert(*own))
            return value;
    const auto standard = registered_.find(key);
    return standard == registered_.end() ? std::nullopt : convert(standard->second);
}

bool PreferencesDefaultsStore::boolForKey(std::string_view key) const {
    return read(key, boolOf).value_or(false);
}

float PreferencesDefaultsStore::floatForKey(std::string_view key) const {
    return read(key, floatOf).value_or(0.0F);
}

std::optional<std::string> PreferencesDefaultsStore::stringForKey(std::string_view key) const {
    return read(key, stringOf);
}

bool PreferencesDefaultsStore::contains(std::string_view key) const {
    return static_cast<bool>(
        CfOwned(CFPreferencesCopyAppValue(cfString(key).get(), kCFPreferencesCurrentApplication)));
}

void PreferencesDefaultsStore::setBool(std::string_view key, bool value) {
    store(key, value ? kCFBooleanTrue : kCFBooleanFalse);
}

void PreferencesDefaultsStore::setFloat(std::string_view key, float value) {
    store(key, CfOwned(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat32Type, &value)).get());
}

void PreferencesDefaultsStore::setString(std::string_view key, std::string_view value) {
    if (const auto text = cfString(value))
        store(key, text.get());
}

void PreferencesDefaultsStore::remove(std::string_view key) {
    store(key, nullptr);
}

void PreferencesDefaultsStore::flush() {
    synchronize();
}

} // namespace morvel
