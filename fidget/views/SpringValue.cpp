#include "fidget/views/SpringValue.h"

#include <utility>

namespace morvel {

SpringValue::SpringValue(QObject* parent)
    : QObject(parent) {}

void SpringValue::componentComplete() {
    complete_ = true;
    spring_ = Spring(response_, dampingFraction_, target_);
    emit valueChanged();
}

void SpringValue::setTarget(qreal target) {
    if (target == target_)
        return;
    target_ = target;
    emit targetChanged();
    if (!complete_)
        return;
    spring_.setTarget(target);
    if (!isMoving() && !spring_.isSettled())
        frames_.start();
}

void SpringValue::advance(double seconds) {
    spring_.advance(seconds);
    if (spring_.isSettled())
        frames_.stop();
    emit valueChanged();
}

void SpringValue::Frames::updateCurrentTime(int milliseconds) {
    const int before = std::exchange(last_, milliseconds);
    if (milliseconds > before)
        value_.advance((milliseconds - before) / 1000.0);
}

} // namespace morvel
