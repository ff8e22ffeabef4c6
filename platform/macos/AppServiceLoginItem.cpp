#include "platform/macos/AppServiceLoginItem.h"

#include "platform/macos/CfObjects.h"
#include "platform/macos/ObjectiveC.h"

namespace morvel {

namespace {

id mainApp() {
    return send<id>(classNamed("SMAppService"), "mainAppService");
}

// Calls a method that answers whether it succeeded and else leaves an error.
std::optional<std::string> tried(const char* selector) {
    const id service = mainApp();
    if (service == nullptr)
        return "this version of macOS has no login items of applications";
    id error = nullptr;
    if (send<bool>(service, selector, &error))
        return std::nullopt;
    // A string of the one kind is a string of the other.
    const id description = send<id>(error, "localizedDescription");
    return textOf(reinterpret_cast<CFStringRef>(description)).value_or("the system gave no reason");
}

} // namespace

LoginItemStatus AppServiceLoginItem::status() const {
    const id service = mainApp();
    if (service == nullptr)
        return LoginItemStatus::notFound;
    switch (send<long>(service, "status")) {
    case 0:
        return LoginItemStatus::notRegistered;
    case 1:
        return LoginItemStatus::enabled;
    case 2:
        return LoginItemStatus::requiresApproval;
    default: // 3, and what later systems may add
        return LoginItemStatus::notFound;
    }
}

std::optional<std::string> AppServiceLoginItem::registerItem() {
    return tried("registerAndReturnError:");
}

std::optional<std::string> AppServiceLoginItem::unregisterItem() {
    return tried("unregisterAndReturnError:");
}

} // namespace morvel
