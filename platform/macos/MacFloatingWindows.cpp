#include "platform/macos/MacFloatingWindows.h"

#include "platform/macos/ObjectiveC.h"

namespace morvel {

namespace {

constexpr long floatingLevel = 3;
constexpr unsigned long canJoinAllSpaces = 1UL << 0;
constexpr unsigned long fullScreenAuxiliary = 1UL << 8;

} // namespace

void MacFloatingWindows::prepare(std::uintptr_t window) {
    const id view = reinterpret_cast<id>(window); // NOLINT(performance-no-int-to-ptr)
    const id native = send<id>(view, "window");
    send<void>(native, "setLevel:", floatingLevel);
    send<void>(native, "setCollectionBehavior:", canJoinAllSpaces | fullScreenAuxiliary);
    send<void>(native, "setHidesOnDeactivate:", false);
}

} // namespace morvel
