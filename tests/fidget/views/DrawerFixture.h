// The drawer in a window, found its way around in by what accessibility tools are told.
#pragma once

#include "fidget/views/FidgetDrawer.h"
#include "tests/fidget/FidgetFixture.h"
#include "tests/support/MainLoop.h"
#include "views/Views.h"

#include <QAccessible>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QTest>
#include <functional>

namespace morvel::test {

class DrawerTest : public FidgetTest {
protected:
    void SetUp() override {
        prepareViews(engine);
        FidgetDrawer::registerViews();
        view.setInitialProperties(drawer.properties());
        view.setSource(drawer.source());
        ASSERT_EQ(view.status(), QQuickView::Ready);
        QObject::connect(
            &view, &QQuickWindow::afterRendering, &view, [this] { ++frames; },
            Qt::DirectConnection);
        show();
    }

    void show() {
        view.show();
        view.requestActivate();
        ASSERT_TRUE(runUntil([this] { return view.isExposed() && frames > 0; }));
    }

    // Every item, outer before inner, in the order of the view.
    std::vector<QQuickItem*> items() const {
        std::vector<QQuickItem*> found{view.rootObject()};
        for (std::size_t i = 0; i < found.size(); ++i)
            std::ranges::copy(found[i]->childItems(), std::back_inserter(found));
        return found;
    }
    QQuickItem& called(const QString& objectName) const {
        for (QQuickItem* item : items())
            if (item->objectName() == objectName)
                return *item;
        ADD_FAILURE() << "no item is called " << objectName.toStdString();
        return *view.rootObject();
    }

    static QString accessible(QQuickItem& item, QAccessible::Text text) {
        QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&item);
        return interface == nullptr ? QString() : interface->text(text);
    }
    static QAccessibleInterface& interfaceOf(QQuickItem& item) {
        return *QAccessible::queryAccessibleInterface(&item);
    }
    std::vector<QQuickItem*> named(const QStringList& names) const {
        std::vector<QQuickItem*> found;
        for (QQuickItem* item : items())
            if (names.contains(accessible(*item, QAccessible::Name)) &&
                interfaceOf(*item).role() != QAccessible::StaticText)
                found.push_back(item);
        return found;
    }
    QQuickItem& toy(const QString& name) const {
        const auto found = named({name});
        if (found.size() == 1)
            return *found[0];
        ADD_FAILURE() << found.size() << " items are named " << name.toStdString();
        return *view.rootObject();
    }
    QQuickItem& bubble(std::size_t index) const {
        return *named({"Bubble", "Popped bubble"}).at(index);
    }

    static QRectF frameOf(QQuickItem& item) { return item.mapRectToScene(item.boundingRect()); }
    static QPoint centreOf(QQuickItem& item) { return frameOf(item).center().toPoint(); }
    void click(QQuickItem& item) {
        QTest::mouseClick(&view, Qt::LeftButton, Qt::NoModifier, centreOf(item));
    }

    QQmlEngine engine;
    FidgetDrawer drawer{settings, audio, time};
    QQuickView view{&engine, nullptr};
    int frames = 0;
};

} // namespace morvel::test
