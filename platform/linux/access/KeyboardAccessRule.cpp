#include "platform/linux/access/KeyboardAccessRule.h"

namespace morvel {

namespace {

// `settled`: udev's word on the devices is that of the rules as they are now.
AccessProblem apply(const Udevadm& udev, bool& settled) {
    settled = false;
    if (auto problem = udev.reload())
        return problem;
    if (auto problem = udev.applyToKeyboards())
        return problem;
    auto problem = udev.settle();
    settled = !problem;
    return problem;
}

AccessChange outcome(const AccessProblem& problem) {
    if (problem)
        return {AccessChange::Kind::later, *problem};
    return {};
}

} // namespace

AccessChange grantKeyboardAccess(const AccessSystem& system) {
    if (const auto problem = writeKeyboardRule(system.root))
        return {AccessChange::Kind::refused, *problem};
    bool settled = false;
    return outcome(apply(system.udev, settled));
}

AccessChange revokeKeyboardAccess(const AccessSystem& system) {
    if (const auto problem = removeKeyboardRule(system.root))
        return {AccessChange::Kind::refused, *problem};
    bool settled = false;
    AccessProblem problem = apply(system.udev, settled);
    for (const DeviceFile& device : system.keyboards()) {
        if (settled && device.given)
            continue;
        auto failure = withdrawUsers(device);
        if (failure && !problem)
            problem = std::move(failure);
    }
    return outcome(problem);
}

} // namespace morvel
