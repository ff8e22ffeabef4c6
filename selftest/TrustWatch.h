// An observer of trust, as the application has others. Main thread.
#pragma once

#include "app/trust/AccessibilityPermission.h"
#include "platform/Scheduler.h"
#include "platform/qt/Subscription.h"

#include <functional>
#include <optional>
#include <utility>

namespace morvel {

class TrustWatch {
public:
    // `changed` is called with each value that follows another one. `permission` and `scheduler`
    // must outlive the watch.
    TrustWatch(
        const AccessibilityPermission& permission, Scheduler& scheduler,
        std::function<void(bool)> changed = [](bool) {})
        : changed_(std::move(changed))
        , observation_(QObject::connect(&permission, &AccessibilityPermission::isTrustedChanged,
                                        [this, &permission](bool trusted) {
                                            committed_ &= permission.isTrusted() == trusted;
                                        }))
        , subscription_(permission, &AccessibilityPermission::isTrusted,
                        &AccessibilityPermission::isTrustedChanged, scheduler,
                        [this, &permission](bool trusted) {
                            told(trusted, permission.isTrusted() == trusted);
                        }) {}

    ~TrustWatch() { QObject::disconnect(observation_); }
    TrustWatch(const TrustWatch&) = delete;
    TrustWatch& operator=(const TrustWatch&) = delete;

    // Whether the monitor, whenever it was heard of, had the value that it told.
    bool sawCommittedState() const { return last_ && committed_; }

    // Whether trust came, or went, since the watch began.
    bool sawChangeTo(bool trusted) const { return trusted ? came_ : went_; }

private:
    void told(bool trusted, bool committed) {
        committed_ &= committed;
        const bool isChange = last_ && *last_ != trusted;
        last_ = trusted;
        if (!isChange)
            return;
        (trusted ? came_ : went_) = true;
        changed_(trusted);
    }

    const std::function<void(bool)> changed_;
    std::optional<bool> last_;
    bool committed_ = true;
    bool came_ = false;
    bool went_ = false;
    QMetaObject::Connection observation_;
    Subscription<bool> subscription_;
};

} // namespace morvel
