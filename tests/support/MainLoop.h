// Running Qt's event loop in a test until something has happened.
#pragma once

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <chrono>
#include <functional>

namespace morvel::test {

// Runs the main run loop until `done` answers true (asked after every turn) or `limit` has passed;
// answers whether it did.
inline bool runUntil(const std::function<bool()>& done,
                     std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    QTimer deadline;
    deadline.setSingleShot(true);
    deadline.start(limit);
    while (!done()) {
        if (!deadline.isActive())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

} // namespace morvel::test
