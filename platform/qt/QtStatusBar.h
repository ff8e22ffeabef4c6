// The status bar through QSystemTrayIcon: the tray of a Linux desktop's panel, or macOS's menu bar.
//
// QSystemTrayIcon decides once in a process, when it is first asked for anything, whether it talks
// StatusNotifierItem or XEmbed, and forgets about the former for good if there is no host at that
// moment. So nothing is asked of it before TrayWatch has seen a tray. From then on it follows the
// panel, gone or restarted, by itself; a session that changes from one kind of tray to the other is
// followed only where the new panel knows both, as panels do.
//
// - StatusNotifierItem: the panel draws the menu itself and tells no secondary click; it does not
//   say where the item is, so that the pointer at the last click stands in. An installed icon
//   "morvel-<symbol>-symbolic" is named to the panel, which tints it; otherwise, as with XEmbed,
//   the ink is chosen by what the panel's pixels look like.
// - A window manager may keep clicks with Option (Alt) to itself.
// - The tray takes no accessibility description; screen readers get the tooltip.
#pragma once

#include "platform/StatusBar.h"
#include "platform/qt/TrayWatch.h"

#include <QColor>
#include <QIcon>
#include <QString>

namespace morvel {

class QtStatusBar : public StatusBar {
public:
    // Draws a symbol in a colour; a null icon for an unknown one.
    using DrawSymbol = std::function<QIcon(const QString& name, const QColor& ink)>;

    // Needs a QApplication. `watch` must outlive the bar and tells nobody else.
    QtStatusBar(TrayWatch& watch, DrawSymbol drawSymbol);

    std::unique_ptr<StatusItem> makeItem() override;

private:
    TrayWatch& watch_;
    DrawSymbol drawSymbol_;
};

} // namespace morvel
