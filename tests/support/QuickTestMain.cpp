// The main function of test programs that show Qt Quick windows, on no screen.

#include <gtest/gtest.h>

#include <QAccessible>
#include <QGuiApplication>

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QAccessible::setActive(true);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
