#include "platform/macos/MacTransientWindows.h"

#include "platform/macos/EventTap.h"
#include "platform/macos/ObjectiveC.h"

#include <utility>

namespace morvel {

namespace {

constexpr std::uint64_t bit(std::uint32_t type) {
    return std::uint64_t{1} << type;
}

constexpr std::uint64_t presses =
    bit(kCGEventLeftMouseDown) | bit(kCGEventRightMouseDown) | bit(kCGEventOtherMouseDown);
constexpr std::uint64_t releases =
    bit(kCGEventLeftMouseUp) | bit(kCGEventRightMouseUp) | bit(kCGEventOtherMouseUp);

id nativeWindow(std::uint64_t window) {
    const id view = reinterpret_cast<id>(window); // NOLINT(performance-no-int-to-ptr)
    return send<id>(view, "window");
}

class ButtonWatch : public TransientWindows::PointerWatch, private EventTap::Receiver {
public:
    explicit ButtonWatch(std::function<void(bool)> changed)
        : changed_(std::move(changed))
        , tap_(EventTap::create(presses | releases, *this)) {}

private:
    void tapped(std::uint32_t type, void*) override {
        const auto changed = changed_; // the call may end the watch
        changed((bit(type) & presses) != 0);
    }
    void tapDisabled(TapDisabledReason) override { tap_->enable(); }

    const std::function<void(bool)> changed_;
    const std::unique_ptr<EventTap> tap_;
};

} // namespace

void MacTransientWindows::setShadow(std::uint64_t window, Geometry) {
    send<void>(nativeWindow(window), "setHasShadow:", false);
}

void MacTransientWindows::takeKeyboard(std::uint64_t window) {
    const id application = send<id>(classNamed("NSApplication"), "sharedApplication");
    send<void>(application, "activateIgnoringOtherApps:", true);
    send<void>(nativeWindow(window), "makeKeyAndOrderFront:", id{});
}

bool MacTransientWindows::hasKeyboard(std::uint64_t window) const {
    return send<bool>(nativeWindow(window), "isKeyWindow");
}

std::unique_ptr<TransientWindows::PointerWatch>
MacTransientWindows::watchButtons(std::function<void(bool down)> changed) {
    return std::make_unique<ButtonWatch>(std::move(changed));
}

} // namespace morvel
