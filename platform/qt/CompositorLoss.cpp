#include "platform/qt/CompositorLoss.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMetaObject>
#include <QSemaphore>
#include <QThread>
#include <QtGlobal>
#include <atomic>
#include <chrono>
#include <iostream>
#include <memory>
#include <utility>

namespace morvel {

namespace {

using namespace std::chrono_literals;

constexpr auto longestEnd = 5s;
constexpr int glanceMs = 20;

// The main thread's.
std::function<void()> lostHandler; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
// Null for the moment from when ours is in place: Qt's threads may write at any time.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
std::atomic<QtMessageHandler> writeMessage = nullptr;
// The main loop runs, and lets go of a thread that is held.
std::atomic<bool> armed = false; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

void endOnMainThread() {
    if (lostHandler)
        lostHandler();
}

void handle(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    // So begin Qt's words for it, whatever the reason.
    const bool isLoss = text.startsWith(QLatin1String("The Wayland connection "));
    if (const QtMessageHandler write = writeMessage)
        write(type, context, text);
    else
        std::cerr << qFormatLogMessage(type, context, text).toStdString() + "\n";
    if (!isLoss || QCoreApplication::instance() == nullptr)
        return;
    if (QThread::currentThread() == QCoreApplication::instance()->thread()) {
        endOnMainThread();
        return;
    }
    if (!armed)
        return;
    const auto ended = std::make_shared<QSemaphore>();
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [ended] {
            endOnMainThread();
            ended->release();
        },
        Qt::QueuedConnection);
    const QDeadlineTimer limit(longestEnd);
    while (armed && !limit.hasExpired() && !ended->tryAcquire(1, glanceMs)) {
    }
}

} // namespace

CompositorLoss::CompositorLoss(std::function<void()> lost) {
    lostHandler = std::move(lost);
    armed = true;
    writeMessage = qInstallMessageHandler(handle);
}

CompositorLoss::~CompositorLoss() {
    armed = false;
    qInstallMessageHandler(writeMessage);
    lostHandler = nullptr;
}

void CompositorLoss::loopEnded() {
    armed = false;
}

} // namespace morvel
