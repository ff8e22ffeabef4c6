// Core Foundation's objects, owned, and what is converted to and from them. Only implementation
// files include this.
#pragma once

#include "platform/macos/Frameworks.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace morvel {

// Owns one reference to an object, or none.
template <typename Ref>
class CfOwned {
public:
    CfOwned() = default;
    explicit CfOwned(Ref object)
        : object_(object) {}
    ~CfOwned() {
        if (object_ != nullptr)
            CFRelease(object_);
    }
    CfOwned(CfOwned&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)) {}
    CfOwned& operator=(CfOwned&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    explicit operator bool() const { return object_ != nullptr; }
    Ref get() const { return object_; }

private:
    Ref object_ = nullptr;
};

// None for text that is not UTF-8.
CfOwned<CFStringRef> cfString(std::string_view text);
// In UTF-8. Nothing for no string, and for one that UTF-8 cannot hold.
std::optional<std::string> textOf(CFStringRef string);

CfOwned<CFURLRef> cfFolderUrl(const std::filesystem::path& folder);
// Nothing for no address, and for one that is not a file's.
std::optional<std::filesystem::path> pathOf(CFURLRef url);

} // namespace morvel
