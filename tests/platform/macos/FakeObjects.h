// What the fakes' implementations share.
#pragma once

#include "tests/platform/macos/FakeMac.h"

#include <string>

namespace morvel {

struct FakeString : FakeObject {
    explicit FakeString(std::string content)
        : text(std::move(content)) {}
    const std::string text;
};

struct FakeNumber : FakeObject {
    FakeNumber(double number, bool ofFloat)
        : value(number)
        , isFloat(ofFloat) {}
    const double value;
    const bool isFloat;
};

struct FakeBoolean : FakeObject {
    explicit FakeBoolean(bool content)
        : value(content) {}
    const bool value;
};

struct FakeData : FakeObject {
    explicit FakeData(std::string content)
        : bytes(std::move(content)) {}
    const std::string bytes;
};

struct FakeUrl : FakeObject {
    explicit FakeUrl(std::string address)
        : text(std::move(address)) {}
    const std::string text;
};

struct FakeArray : FakeObject {};

struct FakeDictionary : FakeObject {
    const void* key = nullptr;
    const void* value = nullptr;
};

template <typename Kind>
const Kind* fakeOf(const void* object) {
    return dynamic_cast<const Kind*>(static_cast<const FakeObject*>(object));
}

// As the system's type.
template <typename Ref>
Ref refOf(FakeObject* object) {
    return reinterpret_cast<Ref>(object);
}

inline std::string textIn(CFStringRef string) {
    return fakeOf<FakeString>(string)->text;
}

} // namespace morvel
