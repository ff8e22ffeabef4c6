#include "platform/qt/QtScheduler.h"

#include <QTimer>
#include <chrono>
#include <cmath>
#include <utility>

namespace morvel {

namespace {

class QtTimer : public Timer {
public:
    QtTimer(double seconds, bool repeats, std::function<void()> work) {
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.setSingleShot(!repeats);
        QObject::connect(&timer_, &QTimer::timeout, &timer_, std::move(work));
        timer_.start(std::chrono::milliseconds(std::lround(seconds * 1000)));
    }

private:
    QTimer timer_;
};

} // namespace

void QtScheduler::async(std::function<void()> work) {
    QMetaObject::invokeMethod(&context_, std::move(work), Qt::QueuedConnection);
}

std::unique_ptr<Timer> QtScheduler::repeating(double seconds, std::function<void()> work) {
    return std::make_unique<QtTimer>(seconds, true, std::move(work));
}

std::unique_ptr<Timer> QtScheduler::after(double seconds, std::function<void()> work) {
    return std::make_unique<QtTimer>(seconds, false, std::move(work));
}

} // namespace morvel
