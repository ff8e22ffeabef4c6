#include "fidget/views/ToyModels.h"

namespace morvel {

namespace {

SpinDial::Point asPoint(const QPointF& point) {
    return {point.x(), point.y()};
}

} // namespace

void ToggleSwitchModel::tap() {
    toggle_.tap();
    emit isOnChanged();
}

void ClickyButtonModel::dragChanged() {
    const bool before = isPressed();
    button_.dragChanged();
    if (isPressed() != before)
        emit isPressedChanged();
}

void ClickyButtonModel::dragEnded() {
    const bool before = isPressed();
    button_.dragEnded();
    if (isPressed() != before)
        emit isPressedChanged();
}

QList<bool> PopGridModel::popped() const {
    QList<bool> states;
    states.reserve(PopGrid::bubbles);
    for (int i = 0; i < PopGrid::bubbles; ++i)
        states.append(grid_.isPopped(i));
    return states;
}

void PopGridModel::tap(int index) {
    grid_.tap(index);
    emit poppedChanged();
}

void PopGridModel::reset() {
    grid_.reset();
    emit poppedChanged();
}

void SpinDialModel::dragChanged(const QPointF& point, const QPointF& centre) {
    const double before = rotation();
    dial_.dragChanged(asPoint(point), asPoint(centre), clock_.now());
    if (rotation() != before)
        emit rotationChanged();
}

void SpinDialModel::dragEnded() {
    dial_.dragEnded();
}

void SpinDialModel::turn(int detents) {
    dial_.turn(detents);
    emit rotationChanged();
}

} // namespace morvel
