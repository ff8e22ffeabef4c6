#include "platform/qt/QtStatusBar.h"

#include "platform/qt/PanelInk.h"
#include "platform/qt/StatusMenu.h"

#include <QApplication>
#include <QCursor>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QTimer>
#include <algorithm>
#include <utility>

namespace morvel {

namespace {

constexpr int graceMs = 300;    // for a panel to offer the better kind of tray
constexpr int inkDelayMs = 250; // between the looks at the panel
constexpr int inkLooks = 8;     // after a tray has appeared
constexpr int pointedSize = 24; // points; about an icon's size
constexpr int sameClickMs = 60; // sooner than a hand clicks again

class TrayItem : public QObject, public StatusItem {
public:
    TrayItem(TrayWatch& watch, QtStatusBar::DrawSymbol drawSymbol)
        : watch_(watch)
        , drawSymbol_(std::move(drawSymbol)) {
        inkTimer_.setSingleShot(true);
        inkTimer_.setInterval(inkDelayMs);
        connect(&inkTimer_, &QTimer::timeout, this, [this] { adaptInk(); });
        graceTimer_.setSingleShot(true);
        graceTimer_.setInterval(graceMs);
        connect(&graceTimer_, &QTimer::timeout, this, [this] { enterTray(); });
        watch_.setChangeHandler([this] { trayChanged(); });
        qGuiApp->installEventFilter(this);
    }
    ~TrayItem() override { watch_.setChangeHandler({}); }

    // A desktop that turns light or dark takes its panel along.
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::ApplicationPaletteChange && icon_) {
            looksLeft_ = inkLooks;
            inkTimer_.start();
        }
        return QObject::eventFilter(watched, event);
    }

    bool hasButton() const override { return true; }
    bool isInBar() const override { return watch_.kind() != TrayKind::none; }
    void setBarHandler(std::function<void()> changed) override { barChanged_ = std::move(changed); }

    void setImage(const std::string& symbolName, const std::string&) override {
        symbol_ = QString::fromStdString(symbolName);
        if (icon_)
            draw();
        else if (!graceTimer_.isActive())
            enterTray();
    }
    void setToolTip(const std::string& text) override {
        toolTip_ = QString::fromStdString(text);
        if (icon_)
            icon_->setToolTip(toolTip_);
    }
    void setMenu(const std::vector<StatusMenuItem>& items) override { menu_.setItems(items); }
    void popUpMenu() override {
        // There it is a window like others, which the compositor is not to stretch.
        if (QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
            menu_.menu().setFixedSize(menu_.menu().sizeHint());
        menu_.menu().popup(menuPosition());
    }
    void setClickHandler(std::function<void(StatusItemClick)> clicked) override {
        clicked_ = std::move(clicked);
    }
    std::optional<StatusItemFrame> frame() const override {
        const std::optional<QRect> place = toldPlace() ? toldPlace() : pointedPlace_;
        if (!place)
            return std::nullopt;
        return StatusItemFrame{place->x(), place->y(), place->width(), place->height()};
    }

private:
    void trayChanged() {
        // A panel that starts may offer a place for windows before it listens on the bus.
        if (watch_.kind() == TrayKind::embedding && !icon_)
            graceTimer_.start();
        else
            enterTray();
        if (barChanged_)
            barChanged_();
    }

    void enterTray() {
        if (watch_.kind() == TrayKind::none || symbol_.isEmpty())
            return;
        if (!icon_)
            makeIcon();
        looksLeft_ = inkLooks;
        inkTimer_.start();
    }

    void makeIcon() {
        icon_ = std::make_unique<QSystemTrayIcon>();
        connect(icon_.get(), &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason reason) { activated(reason); });
        icon_->setToolTip(toolTip_);
        // Seen by what it shows with, and so as it has decided itself.
        icon_->setIcon(drawSymbol_(symbol_, ink_));
        icon_->show();
        tintsIcons_ = watch_.kind() == TrayKind::menuBar;
        namesIcons_ = !tintsIcons_ &&
                      std::ranges::none_of(QApplication::topLevelWidgets(), [](const QWidget* w) {
                          return w->inherits("QSystemTrayIconSys");
                      });
        // Where the icon is a window, its menu is ours to open.
        if (namesIcons_)
            icon_->setContextMenu(&menu_.menu());
        draw();
    }

    void draw() {
        QIcon image;
        if (namesIcons_)
            image = QIcon::fromTheme(
                QStringLiteral("morvel-%1-symbolic").arg(QString(symbol_).replace(u'.', u'-')));
        if (image.isNull())
            image = drawSymbol_(symbol_, ink_);
        if (tintsIcons_ && !image.isNull())
            image.setIsMask(true);
        icon_->setIcon(image);
        if (!image.isNull())
            icon_->show();
    }

    // More than once: a panel that starts paints itself, and takes its edge of the screen, some
    // time after it has said that there is a tray.
    void adaptInk() {
        if (tintsIcons_)
            return;
        if (--looksLeft_ > 0)
            inkTimer_.start();
        const auto place = toldPlace();
        if (!place && !namesIcons_)
            return;
        QScreen* screen = place ? QGuiApplication::screenAt(place->center()) : nullptr;
        if (screen == nullptr)
            screen = QGuiApplication::primaryScreen();
        if (screen == nullptr)
            return;
        if (const QColor ink = panelInk(*screen, place); ink != ink_) {
            ink_ = ink;
            draw();
        }
    }

    void activated(QSystemTrayIcon::ActivationReason reason) {
        const bool secondary = reason == QSystemTrayIcon::Context;
        // The second click of two quick ones is told as a double click.
        if (!secondary && reason != QSystemTrayIcon::Trigger &&
            reason != QSystemTrayIcon::DoubleClick)
            return;
        // Some panels tell of the second of two quick clicks both as a click and as a double one.
        if (namesIcons_ && !secondary) {
            if (sinceClick_.isValid() && sinceClick_.elapsed() < sameClickMs)
                return;
        }
        QRect pointed(0, 0, pointedSize, pointedSize);
        pointed.moveCenter(QCursor::pos());
        pointedPlace_ = pointed;
        if (clicked_)
            clicked_(
                {secondary, (QGuiApplication::queryKeyboardModifiers() & Qt::AltModifier) != 0});
        // From here: what the click does may take its time, and the other is waiting already.
        if (namesIcons_ && !secondary)
            sinceClick_.start();
    }

    std::optional<QRect> toldPlace() const {
        const QRect place = icon_ ? icon_->geometry() : QRect();
        return place.isEmpty() ? std::nullopt : std::optional(place);
    }

    // Below an item at the top of the screen, else above it; at the pointer where it is not known.
    QPoint menuPosition() {
        const auto place = toldPlace();
        const QScreen* screen = place ? QGuiApplication::screenAt(place->center()) : nullptr;
        if (screen == nullptr)
            return QCursor::pos();
        if (place->center().y() < screen->geometry().center().y())
            return {place->left(), place->bottom() + 1};
        return {place->left(), place->top() - menu_.menu().sizeHint().height()};
    }

    TrayWatch& watch_;
    const QtStatusBar::DrawSymbol drawSymbol_;
    StatusMenu menu_;
    std::unique_ptr<QSystemTrayIcon> icon_; // none before there is a tray
    bool namesIcons_ = false;               // the tray is told of icons and menu over D-Bus
    bool tintsIcons_ = false;               // the bar draws them in its own colour
    QString symbol_;
    QString toolTip_;
    QColor ink_ = inkOfUnknownPanel;
    QTimer graceTimer_;
    QTimer inkTimer_;
    int looksLeft_ = 0;
    std::optional<QRect> pointedPlace_;
    QElapsedTimer sinceClick_; // since the last one that was told
    std::function<void()> barChanged_;
    std::function<void(StatusItemClick)> clicked_;
};

} // namespace

QtStatusBar::QtStatusBar(TrayWatch& watch, DrawSymbol drawSymbol)
    : watch_(watch)
    , drawSymbol_(std::move(drawSymbol)) {}

std::unique_ptr<StatusItem> QtStatusBar::makeItem() {
    return std::make_unique<TrayItem>(watch_, drawSymbol_);
}

} // namespace morvel
