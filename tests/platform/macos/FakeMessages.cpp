#include "tests/platform/macos/FakeObjects.h"

#include <algorithm>

namespace morvel {

namespace {

std::uintptr_t numberOf(const void* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}

bool takesBoolean(const std::string& selector) {
    return selector.starts_with("setHas") || selector.starts_with("setHides") ||
           selector.starts_with("activate");
}

} // namespace

// A class is its name, and so is an instance.
const char* fakeClass(const char* name) {
    return std::ranges::count(FakeMac::current().missingClasses, name) > 0 ? nullptr : name;
}

std::uintptr_t fakeMessage(const char* receiver, const std::string& selector,
                           std::uintptr_t argument) {
    FakeMac& mac = FakeMac::current();
    std::string call = "[" + std::string(receiver) + " " + selector;
    if (selector.ends_with("Error:")) {
        mac.calls.push_back(call + "]");
        if (!mac.error)
            return 1;
        *reinterpret_cast<const char**>(argument) = "error";
        return 0;
    }
    if (selector.ends_with(":"))
        call += std::to_string(takesBoolean(selector) ? argument & 0xff : argument);
    mac.calls.push_back(call + "]");
    if (selector == "localizedDescription" && !mac.errorSaysNothing)
        return numberOf(mac.keep(std::make_unique<FakeString>(*mac.error)));
    if (const auto answer = mac.answers.find(selector); answer != mac.answers.end())
        return answer->second;
    static const std::map<std::string, const char*> objects = {
        {"sharedApplication", "application"}, {"mainAppService", "service"}, {"window", "window"}};
    const auto object = objects.find(selector);
    return object == objects.end() ? 0 : numberOf(object->second);
}

} // namespace morvel
