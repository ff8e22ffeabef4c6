#include "platform/macos/MacApplicationActivation.h"

#include "platform/macos/ObjectiveC.h"

namespace morvel {

namespace {

constexpr long accessoryPolicy = 1;

} // namespace

void MacApplicationActivation::becomeAccessory() {
    windows_.becomeAccessory();
    const id application = send<id>(classNamed("NSApplication"), "sharedApplication");
    send<bool>(application, "setActivationPolicy:", accessoryPolicy);
}

} // namespace morvel
