// The main function of test programs that show Qt Quick windows, on no screen.

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QGuiApplication>

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    const morvel::TemporaryFolder cache;
    qputenv("QML_DISK_CACHE_PATH", cache.path().c_str());
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QAccessible::setActive(true);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
