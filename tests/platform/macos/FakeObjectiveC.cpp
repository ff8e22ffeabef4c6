// Messages are recorded as "[receiver selector argument]". The header's declarations of these
// functions say nothing of their arguments, which is why it is not included here.

#include <cstdint>
#include <string>

namespace morvel {

// In FakeMessages.cpp.
std::uintptr_t fakeMessage(const char* receiver, const std::string& selector,
                           std::uintptr_t argument);
const char* fakeClass(const char* name);

} // namespace morvel

extern "C" {

const char* objc_getClass(const char* name) {
    return morvel::fakeClass(name);
}

const char* sel_registerName(const char* name) {
    return name;
}

std::uintptr_t objc_msgSend(const char* receiver, const char* selector, std::uintptr_t argument) {
    return receiver == nullptr ? 0 : morvel::fakeMessage(receiver, selector, argument);
}

} // extern "C"
