// A program that is an icon in the tray, a menu of it and a window, and writes what happens to
// them.

#include <unistd.h>

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QSystemTrayIcon>
#include <string>

namespace {

void write(const QString& text) {
    const QByteArray line = text.toUtf8() + '\n';
    [[maybe_unused]] const ssize_t written =
        ::write(STDERR_FILENO, line.constData(), static_cast<std::size_t>(line.size()));
}

QString text(const QRect& rectangle) {
    return QString("%1,%2 %3x%4")
        .arg(rectangle.x())
        .arg(rectangle.y())
        .arg(rectangle.width())
        .arg(rectangle.height());
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QPixmap picture(64, 64);
    picture.fill(Qt::magenta);
    QSystemTrayIcon icon{QIcon(picture)};

    QLineEdit window;
    window.setWindowTitle("Tray Program");
    window.resize(300, 100);
    QObject::connect(&window, &QLineEdit::textChanged,
                     [](const QString& typed) { write("typed " + typed); });

    QMenu menu;
    QObject::connect(menu.addAction("First"), &QAction::triggered, [] { write("first chosen"); });
    QObject::connect(menu.addAction("Second"), &QAction::triggered, [] { write("second chosen"); });
    menu.addSeparator();
    QAction* const third = menu.addAction("Third");
    third->setCheckable(true);
    third->setChecked(true);
    third->setEnabled(false);
    third->setShortcut(QKeySequence("Ctrl+T"));
    QObject::connect(&menu, &QMenu::aboutToShow, [] { write("menu opens"); });
    icon.setContextMenu(&menu);
    QObject::connect(
        &icon, &QSystemTrayIcon::activated, [&](QSystemTrayIcon::ActivationReason reason) {
            write(QString("activated %1 at %2").arg(reason).arg(text(icon.geometry())));
            if (reason == QSystemTrayIcon::Trigger)
                window.show();
        });
    write(QString("tray %1").arg(QSystemTrayIcon::isSystemTrayAvailable() ? "there" : "missing"));
    icon.setToolTip("A tip");
    icon.show();
    write("shown");
    return QApplication::exec();
}
