// The application's windows that are there now, found by their titles. Main thread.
#pragma once

#include <QGuiApplication>
#include <QString>
#include <QWindow>
#include <algorithm>

namespace morvel {

// Shown or not.
inline QWindowList windowsTitled(const QString& title) {
    QWindowList found;
    for (QWindow* const window : QGuiApplication::topLevelWindows())
        if (window->title() == title)
            found.append(window);
    return found;
}

inline bool isWindowShown(const QString& title) {
    const QWindowList windows = windowsTitled(title);
    return std::ranges::any_of(windows, [](const QWindow* window) { return window->isVisible(); });
}

} // namespace morvel
