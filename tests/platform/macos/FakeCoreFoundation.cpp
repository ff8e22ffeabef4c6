#include "tests/platform/macos/FakeObjects.h"

#include <algorithm>
#include <cstring>

namespace morvel {

namespace {

FakeMac* theMac = nullptr; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

// Outlives every test: nobody releases a constant.
template <typename Kind, typename Content>
Kind* constant(Content content) {
    return new Kind(content); // NOLINT(cppcoreguidelines-owning-memory)
}

FakeObject* fakeOfPreference(const FakeMac::Preference& value) {
    if (const auto* boolean = std::get_if<bool>(&value))
        return new FakeBoolean(*boolean);
    if (const auto* number = std::get_if<double>(&value))
        return new FakeNumber(*number, false);
    if (const auto* number = std::get_if<float>(&value))
        return new FakeNumber(*number, true);
    if (const auto* text = std::get_if<std::string>(&value))
        return new FakeString(*text);
    return new FakeArray;
}

CFURLRef urlOf(const std::string& path) {
    return path.empty() ? nullptr : refOf<CFURLRef>(new FakeUrl(path));
}

} // namespace

FakeMac::FakeMac() {
    theMac = this;
}

FakeMac::~FakeMac() {
    kept.clear();
    theMac = nullptr;
}

FakeMac& FakeMac::current() {
    return *theMac;
}

FakeObject::FakeObject() {
    if (theMac != nullptr)
        ++theMac->objects;
}

FakeObject::~FakeObject() {
    if (theMac != nullptr)
        --theMac->objects;
}

} // namespace morvel

using namespace morvel;

extern "C" {

const CFBooleanRef kCFBooleanTrue = refOf<CFBooleanRef>(constant<FakeBoolean>(true));
const CFBooleanRef kCFBooleanFalse = refOf<CFBooleanRef>(constant<FakeBoolean>(false));
const CFStringRef kCFRunLoopCommonModes = refOf<CFStringRef>(constant<FakeString>("common modes"));
const CFStringRef kCFRunLoopDefaultMode = refOf<CFStringRef>(constant<FakeString>("default mode"));
const CFStringRef kCFPreferencesCurrentApplication =
    refOf<CFStringRef>(constant<FakeString>("current application"));
struct CFDictionaryKeyCallBacks {};
struct CFDictionaryValueCallBacks {};
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{};

void CFRelease(CFTypeRef object) {
    auto* fake = const_cast<FakeObject*>(static_cast<const FakeObject*>(object));
    if (--fake->references == 0)
        delete fake;
}

CFTypeID CFBooleanGetTypeID() {
    return 1;
}
CFTypeID CFNumberGetTypeID() {
    return 2;
}
CFTypeID CFStringGetTypeID() {
    return 3;
}
CFTypeID CFGetTypeID(CFTypeRef object) {
    if (fakeOf<FakeBoolean>(object) != nullptr)
        return 1;
    if (fakeOf<FakeNumber>(object) != nullptr)
        return 2;
    return fakeOf<FakeString>(object) != nullptr ? 3 : 4;
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
    return fakeOf<FakeBoolean>(boolean)->value;
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
    if (type == kCFNumberFloat32Type)
        return refOf<CFNumberRef>(new FakeNumber(*static_cast<const float*>(value), true));
    return refOf<CFNumberRef>(new FakeNumber(*static_cast<const double*>(value), false));
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    EXPECT_EQ(type, kCFNumberFloat64Type);
    *static_cast<double*>(value) = fakeOf<FakeNumber>(number)->value;
    return true;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const std::uint8_t* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean external) {
    EXPECT_EQ(encoding, kCFStringEncodingUTF8);
    EXPECT_FALSE(external);
    const std::string text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
    return text.find('\xff') == std::string::npos ? refOf<CFStringRef>(new FakeString(text))
                                                  : nullptr;
}

CFIndex CFStringGetLength(CFStringRef string) {
    return static_cast<CFIndex>(textIn(string).size());
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
    EXPECT_EQ(encoding, kCFStringEncodingUTF8);
    return 3 * length;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size,
                           CFStringEncoding encoding) {
    EXPECT_EQ(encoding, kCFStringEncodingUTF8);
    const std::string text = textIn(string);
    if (static_cast<CFIndex>(text.size()) >= size)
        return false;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
    EXPECT_EQ(count, 1);
    EXPECT_EQ(keyCallBacks, &kCFTypeDictionaryKeyCallBacks);
    EXPECT_EQ(valueCallBacks, &kCFTypeDictionaryValueCallBacks);
    auto* dictionary = new FakeDictionary;
    dictionary->key = keys[0];
    dictionary->value = values[0];
    return refOf<CFDictionaryRef>(dictionary);
}

CFDataRef CFDataCreate(CFAllocatorRef, const std::uint8_t* bytes, CFIndex length) {
    return refOf<CFDataRef>(
        new FakeData({reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)}));
}

const std::uint8_t* CFDataGetBytePtr(CFDataRef data) {
    return reinterpret_cast<const std::uint8_t*>(fakeOf<FakeData>(data)->bytes.data());
}

CFIndex CFDataGetLength(CFDataRef data) {
    return static_cast<CFIndex>(fakeOf<FakeData>(data)->bytes.size());
}

CFURLRef CFURLCreateWithString(CFAllocatorRef, CFStringRef text, CFURLRef base) {
    EXPECT_EQ(base, nullptr);
    return urlOf(textIn(text));
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const std::uint8_t* path,
                                                 CFIndex length, Boolean isFolder) {
    return urlOf(
        "file:" +
        std::string(reinterpret_cast<const char*>(path), static_cast<std::size_t>(length)) +
        (isFolder ? "/" : ""));
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean, std::uint8_t* buffer,
                                         CFIndex size) {
    const std::string& path = fakeOf<FakeUrl>(url)->text;
    if (static_cast<CFIndex>(path.size()) >= size)
        return false;
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return true;
}

CFBundleRef CFBundleGetMainBundle() {
    static int bundle = 0;
    return FakeMac::current().hasBundle ? reinterpret_cast<CFBundleRef>(&bundle) : nullptr;
}

// The bundle keeps it.
CFStringRef CFBundleGetIdentifier(CFBundleRef) {
    FakeMac& mac = FakeMac::current();
    if (!mac.bundleIdentifier)
        return nullptr;
    return refOf<CFStringRef>(mac.keep(std::make_unique<FakeString>(*mac.bundleIdentifier)));
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef) {
    return urlOf(FakeMac::current().bundlePath);
}

CFURLRef CFBundleCopyExecutableURL(CFBundleRef) {
    return urlOf(FakeMac::current().executablePath);
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef) {
    return urlOf(FakeMac::current().resourcesPath);
}

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef application) {
    EXPECT_EQ(application, kCFPreferencesCurrentApplication);
    const FakeMac& mac = FakeMac::current();
    if (const auto changed = mac.changedPreferences.find(textIn(key));
        changed != mac.changedPreferences.end())
        return changed->second ? fakeOfPreference(*changed->second) : nullptr;
    const auto found = mac.preferences.find(textIn(key));
    return found == mac.preferences.end() ? nullptr : fakeOfPreference(found->second);
}

void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef application) {
    EXPECT_EQ(application, kCFPreferencesCurrentApplication);
    std::optional<FakeMac::Preference>& changed =
        FakeMac::current().changedPreferences[textIn(key)];
    if (value == nullptr)
        changed = std::nullopt;
    else if (const auto* boolean = fakeOf<FakeBoolean>(value))
        changed = boolean->value;
    else if (const auto* text = fakeOf<FakeString>(value))
        changed = text->text;
    else if (const auto* number = fakeOf<FakeNumber>(value); number->isFloat)
        changed = static_cast<float>(number->value);
    else
        changed = number->value;
}

Boolean CFPreferencesAppSynchronize(CFStringRef application) {
    EXPECT_EQ(application, kCFPreferencesCurrentApplication);
    FakeMac& mac = FakeMac::current();
    for (const auto& [key, value] : mac.changedPreferences)
        if (value)
            mac.preferences.insert_or_assign(key, *value);
        else
            mac.preferences.erase(key);
    mac.changedPreferences.clear();
    ++mac.synchronizations;
    return true;
}

} // extern "C"
