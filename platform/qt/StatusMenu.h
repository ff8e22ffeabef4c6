// A status item's menu as Qt shows it, or exports it to a panel that shows it. Main thread.
#pragma once

#include "platform/StatusBar.h"

#include <QMenu>
#include <vector>

namespace morvel {

class StatusMenu : public QObject {
public:
    StatusMenu();

    // Changes titles and marks in place while the kinds of items stay what they were, so that a
    // menu that is open stays open.
    void setItems(const std::vector<StatusMenuItem>& items);

    QMenu& menu() { return menu_; }

    // Key equivalents, with and without Control, while the menu is open.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void rebuild();

    QMenu menu_;
    std::vector<StatusMenuItem> items_;
};

} // namespace morvel
