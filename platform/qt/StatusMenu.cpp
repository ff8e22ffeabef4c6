#include "platform/qt/StatusMenu.h"

#include <QKeyEvent>
#include <algorithm>

namespace morvel {

StatusMenu::StatusMenu() {
    menu_.installEventFilter(this);
}

void StatusMenu::setItems(const std::vector<StatusMenuItem>& items) {
    const bool sameKinds = std::ranges::equal(items, items_, [](const auto& a, const auto& b) {
        return a.isSeparator() == b.isSeparator();
    });
    items_ = items;
    if (!sameKinds)
        rebuild();
    const QList<QAction*> actions = menu_.actions();
    for (std::size_t i = 0; i < items_.size(); ++i) {
        const StatusMenuItem& item = items_[i];
        QAction* action = actions.at(static_cast<qsizetype>(i));
        if (item.isSeparator())
            continue;
        action->setText(QString::fromStdString(item.title));
        action->setEnabled(item.enabled);
        action->setCheckable(item.checked); // an item without a mark has no box for one either
        action->setChecked(item.checked);
        if (!item.keyEquivalent.empty())
            action->setShortcut(QKeySequence(QStringLiteral("Ctrl+") +
                                             QString::fromStdString(item.keyEquivalent).toUpper()));
    }
}

void StatusMenu::rebuild() {
    menu_.clear();
    for (std::size_t i = 0; i < items_.size(); ++i) {
        if (items_[i].isSeparator()) {
            menu_.addSeparator();
            continue;
        }
        QAction* action = menu_.addAction(QString());
        action->setShortcutVisibleInContextMenu(true);
        connect(action, &QAction::triggered, this, [this, i] {
            if (const auto chosen = items_[i].action) // the action may change the items
                chosen();
        });
    }
}

bool StatusMenu::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        const QKeySequence typed(QKeyCombination(Qt::ControlModifier, Qt::Key(key->key())));
        if ((key->modifiers() & ~Qt::KeyboardModifiers(Qt::ControlModifier)) == Qt::NoModifier)
            for (QAction* action : menu_.actions())
                if (!action->shortcut().isEmpty() && action->shortcut() == typed) {
                    menu_.close();
                    action->trigger();
                    return true;
                }
    }
    return QObject::eventFilter(watched, event);
}

} // namespace morvel
