#include "platform/qt/CompositorLoss.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QSemaphore>
#include <QThread>
#include <QtGlobal>
#include <chrono>
#include <memory>
#include <utility>

namespace morvel {

namespace {

using namespace std::chrono_literals;

constexpr auto longestEnd = 5s;

// Set and reset by the main thread; another thread takes part only while Qt's run.
std::function<void()> lostHandler; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
QtMessageHandler writeMessage =    // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
    nullptr;

void endOnMainThread() {
    if (lostHandler)
        lostHandler();
}

void handle(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    // So begin Qt's words for it, whatever the reason.
    const bool isLoss = text.startsWith(QLatin1String("The Wayland connection "));
    writeMessage(type, context, text);
    if (!isLoss || QCoreApplication::instance() == nullptr)
        return;
    if (QThread::currentThread() == QCoreApplication::instance()->thread()) {
        endOnMainThread();
        return;
    }
    const auto ended = std::make_shared<QSemaphore>();
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [ended] {
            endOnMainThread();
            ended->release();
        },
        Qt::QueuedConnection);
    ended->tryAcquire(1, std::chrono::milliseconds(longestEnd).count());
}

} // namespace

CompositorLoss::CompositorLoss(std::function<void()> lost) {
    lostHandler = std::move(lost);
    writeMessage = qInstallMessageHandler(handle);
}

CompositorLoss::~CompositorLoss() {
    qInstallMessageHandler(writeMessage);
    lostHandler = nullptr;
}

} // namespace morvel
