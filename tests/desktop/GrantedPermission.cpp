// Shows the permission window with access granted, which the program itself closes at once.

#include "platform/linux/DesktopAppearance.h"
#include "tests/app/permissionwindow/PermissionWindowFixture.h"

#include <QDBusConnection>
#include <QGuiApplication>

int main(int argc, char** argv) {
    qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication application(argc, argv);
    const morvel::DesktopAppearance appearance{QDBusConnection::sessionBus()};
    morvel::test::PermissionWindowFixture fixture(true);
    fixture.shown();
    return QGuiApplication::exec();
}
