#include "views/Appearance.h"

#include <QEvent>
#include <QGuiApplication>
#include <QPalette>
#include <algorithm>

namespace morvel {

namespace {

QColor mixed(const QColor& a, const QColor& b, float weightOfA) {
    const auto mix = [weightOfA](float x, float y) { return x * weightOfA + y * (1 - weightOfA); };
    return QColor::fromRgbF(mix(a.redF(), b.redF()), mix(a.greenF(), b.greenF()),
                            mix(a.blueF(), b.blueF()));
}

QColor role(QPalette::ColorRole wanted) {
    return QGuiApplication::palette().color(QPalette::Active, wanted);
}

} // namespace

Appearance::Appearance(QObject* parent)
    : QObject(parent) {
    qGuiApp->installEventFilter(this);
}

bool Appearance::eventFilter(QObject* watched, QEvent* event) {
    if (watched == qGuiApp && event->type() == QEvent::ApplicationPaletteChange)
        emit changed();
    return QObject::eventFilter(watched, event);
}

bool Appearance::dark() const {
    return role(QPalette::WindowText).lightnessF() > role(QPalette::Window).lightnessF();
}

QColor Appearance::accent() const {
    return role(QPalette::Highlight);
}

QColor Appearance::accentText() const {
    return role(QPalette::HighlightedText);
}

QColor Appearance::secondary() const {
    return mixed(text(), window(), 0.62F);
}

QColor Appearance::tertiary() const {
    return mixed(text(), window(), 0.54F);
}

QColor Appearance::text() const {
    return role(QPalette::WindowText);
}

QColor Appearance::window() const {
    return role(QPalette::Window);
}

QColor Appearance::textBackground() const {
    return role(QPalette::Base);
}

QColor Appearance::separator() const {
    return faded(text(), 0.14);
}

QColor Appearance::green() const {
    return dark() ? QColor(50, 215, 75) : QColor(40, 167, 69);
}

QColor Appearance::orange() const {
    return dark() ? QColor(255, 159, 10) : QColor(217, 111, 0);
}

QColor Appearance::faded(const QColor& color, qreal opacity) {
    QColor result = color;
    result.setAlphaF(static_cast<float>(opacity) * color.alphaF());
    return result;
}

QColor Appearance::blended(const QColor& from, const QColor& to, qreal share) {
    const auto weight = static_cast<float>(std::clamp(share, 0.0, 1.0));
    const float alpha = from.alphaF() * (1 - weight) + to.alphaF() * weight;
    if (!(alpha > 0))
        return Qt::transparent;
    // A colour counts as much as it covers.
    QColor result = mixed(to, from, to.alphaF() * weight / alpha);
    result.setAlphaF(alpha);
    return result;
}

} // namespace morvel
