// Finding and using what a Qt Quick window shows, as a user would.
#pragma once

#include <QAccessible>
#include <QColor>
#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <functional>
#include <vector>

namespace morvel::test {

// Every visible item under `root` for which `wanted` answers true, in the order of drawing.
inline std::vector<QQuickItem*> visibleItems(QQuickItem* root,
                                             const std::function<bool(QQuickItem*)>& wanted) {
    std::vector<QQuickItem*> found;
    for (QQuickItem* const child : root->childItems()) {
        if (!child->isVisible())
            continue;
        if (wanted(child))
            found.push_back(child);
        const auto inside = visibleItems(child, wanted);
        found.insert(found.end(), inside.begin(), inside.end());
    }
    return found;
}

// The first visible item whose `property` is `value`; null where there is none.
inline QQuickItem* visibleItem(QQuickWindow& window, const char* property, const QVariant& value) {
    const auto found = visibleItems(
        window.contentItem(), [&](QQuickItem* item) { return item->property(property) == value; });
    return found.empty() ? nullptr : found.front();
}

inline bool shows(QQuickWindow& window, const QString& text) {
    return visibleItem(window, "text", text) != nullptr;
}

inline QPoint centreOf(const QQuickItem& item) {
    return item.mapToScene(QPointF(item.width() / 2, item.height() / 2)).toPoint();
}

inline void click(QQuickWindow& window, const QQuickItem& item) {
    QTest::mouseClick(&window, Qt::LeftButton, {}, centreOf(item));
}

inline QColor colorAtCentre(QQuickWindow& window, const QQuickItem& item) {
    return window.grabWindow().pixelColor(centreOf(item));
}

// What a screen reader finds in a window.
struct Spoken {
    QAccessible::Role role;
    QString name;
    QQuickItem* item;
};

inline void collectSpoken(QAccessibleInterface& element, std::vector<Spoken>& found) {
    auto* const item = qobject_cast<QQuickItem*>(element.object());
    if (item != nullptr && item->isVisible() && !element.text(QAccessible::Name).isEmpty())
        found.push_back({element.role(), element.text(QAccessible::Name), item});
    for (int i = 0; i < element.childCount(); ++i)
        if (QAccessibleInterface* const child = element.child(i))
            collectSpoken(*child, found);
}

inline std::vector<Spoken> spoken(QQuickWindow& window) {
    std::vector<Spoken> found;
    collectSpoken(*QAccessible::queryAccessibleInterface(&window), found);
    return found;
}

// Where Tab leads, from no focus until it comes round: the names a screen reader would say.
inline QStringList tabOrder(QQuickWindow& window) {
    QStringList order;
    QQuickItem* first = nullptr;
    for (int i = 0; i < 50; ++i) {
        QTest::keyClick(&window, Qt::Key_Tab);
        QQuickItem* const reached = window.activeFocusItem();
        if (reached == nullptr || reached == first)
            break;
        if (first == nullptr)
            first = reached;
        order << QAccessible::queryAccessibleInterface(reached)->text(QAccessible::Name);
    }
    return order;
}

} // namespace morvel::test
