#include "keyboard/KeyboardEngine.h"

#include "keyboard/Classification.h"

#include <fmt/format.h>

namespace morvel {

KeyboardEngine::KeyboardEngine(Services services, bool traceEnabled)
    : services_(services) {
    if (traceEnabled)
        trace_.emplace(services_.log);
}

KeyboardEngine::~KeyboardEngine() {
    if (installed_)
        services_.tap.remove();
}

bool KeyboardEngine::start() {
    if (installed_)
        return true;
    if (!services_.permission.isTrusted()) {
        services_.log.line("KeyboardEngine: not starting — no Accessibility permission");
        return false;
    }
    if (!services_.tap.install(*this)) {
        services_.log.line("KeyboardEngine: CGEvent.tapCreate failed (permission revoked?)");
        return false;
    }
    installed_ = true;
    services_.log.line("KeyboardEngine: event tap installed");
    return true;
}

void KeyboardEngine::stop() {
    if (!installed_)
        return;
    services_.tap.remove();
    installed_ = false;
    services_.log.line("KeyboardEngine: event tap removed");
}

void KeyboardEngine::tapDisabled(TapDisabledReason reason) {
    if (!installed_)
        return;
    services_.tap.enable();
    services_.log.line(
        fmt::format("KeyboardEngine: tap disabled by {} — re-enabled",
                    reason == TapDisabledReason::timeout ? "timeout" : "user input"));
}

void KeyboardEngine::handle(const KeyEvent& event) {
    double entered = 0;
    double deliveryMs = 0;
    if (trace_) {
        entered = services_.clock.now();
        deliveryMs = millisecondsSince(event.timestampNanos);
    }
    if (!services_.settings.keyboardEnabled())
        return;
    const bool isKeyDownOrUp = (event.type & ~1u) == keyDownEventType;
    if (isKeyDownOrUp && event.autoRepeat != 0)
        return;
    const auto category = classify(event.type, event.keyCode, event.flags);
    if (!category)
        return;
    services_.audio.play(*category, services_.settings.keyboardVolume(), true);
    if (trace_)
        trace_->record(deliveryMs, (services_.clock.now() - entered) * 1000);
}

double KeyboardEngine::millisecondsSince(std::uint64_t eventTimestampNanos) const {
    if (eventTimestampNanos == 0)
        return 0;
    const std::uint64_t now = services_.clock.hostNanos();
    return now > eventTimestampNanos ? static_cast<double>(now - eventTimestampNanos) / 1e6 : 0;
}

} // namespace morvel
