// Messages to objects of frameworks that have no interface in C. Only implementation files include
// this.
#pragma once

#include "platform/macos/Frameworks.h"

namespace morvel {

// Sends a message whose arguments and answer are pointers or integers: those that every function
// takes in the same registers. Null answers 0 to every message.
template <typename Answer, typename... Arguments>
Answer send(id object, const char* selector, Arguments... arguments) {
    using Message = Answer (*)(id, SEL, Arguments...);
    return reinterpret_cast<Message>(&objc_msgSend)(object, sel_registerName(selector),
                                                    arguments...);
}

// Null where the system has no such class.
inline id classNamed(const char* name) {
    return reinterpret_cast<id>(objc_getClass(name));
}

} // namespace morvel
