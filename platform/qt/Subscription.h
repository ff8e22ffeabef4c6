// A subscriber of an observable value of a QObject: called with the value of now and then with each
// that differs from the one before, every time in a later turn of the main run loop, when the value
// is in place. Destroying it ends it. Main thread.
#pragma once

#include "platform/Scheduler.h"

#include <QObject>
#include <functional>
#include <memory>
#include <utility>

namespace morvel {

template <typename Value>
class Subscription {
public:
    // `object` and `scheduler` must outlive the subscription.
    template <typename Object>
    Subscription(const Object& object, Value (Object::*value)() const,
                 void (Object::*changed)(Value), Scheduler& scheduler,
                 std::function<void(Value)> handler)
        : scheduler_(scheduler)
        , handler_(std::make_shared<std::function<void(Value)>>(std::move(handler)))
        , last_((object.*value)()) {
        deliver();
        QObject::connect(&object, changed, &context_, [this](Value next) {
            if (next == last_)
                return;
            last_ = next;
            deliver();
        });
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

private:
    void deliver() {
        scheduler_.async([handler = std::weak_ptr(handler_), value = last_] {
            if (const auto alive = handler.lock())
                (*alive)(value);
        });
    }

    Scheduler& scheduler_;
    std::shared_ptr<std::function<void(Value)>> handler_;
    Value last_;
    QObject context_; // the connection lives as long as this
};

} // namespace morvel
