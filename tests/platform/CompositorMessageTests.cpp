// What Qt writes when a Wayland compositor has gone, on whichever thread.

#include "platform/qt/CompositorLoss.h"
#include "tests/support/MainLoop.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QtGlobal>
#include <atomic>
#include <memory>
#include <thread>

namespace morvel {
namespace {

QStringList written;

class CompositorMessageTest : public testing::Test {
protected:
    CompositorMessageTest() {
        written.clear();
        qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext&, const QString& text) { written << text; });
    }
    ~CompositorMessageTest() override { qInstallMessageHandler(nullptr); }

    static void qtNotices() {
        qWarning("The Wayland connection broke. Did the Wayland compositor die?");
    }
};

TEST_F(CompositorMessageTest, EndsTheProcessBeforeQtDoes) {
    int ends = 0;
    const CompositorLoss loss([&ends] { ++ends; });
    qWarning("Something else");
    EXPECT_EQ(ends, 0);
    qtNotices();
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(written.size(), 2);
}

TEST_F(CompositorMessageTest, HoldsAnotherThreadOfQtsUntilTheMainThreadHasEndedEverything) {
    bool ended = false;
    bool onMainThread = false;
    std::atomic<bool> qtEnds = false;
    const CompositorLoss loss([&] {
        onMainThread = QThread::currentThread() == QCoreApplication::instance()->thread();
        EXPECT_FALSE(qtEnds);
        ended = true;
    });
    std::thread qt([&qtEnds] {
        qtNotices();
        qtEnds = true;
    });
    EXPECT_TRUE(test::runUntil([&ended] { return ended; }));
    qt.join();
    EXPECT_TRUE(qtEnds);
    EXPECT_TRUE(onMainThread);
}

// Far longer than a thread takes, and shorter than one is held.
constexpr int soonMs = 3000;

TEST_F(CompositorMessageTest, HoldsNoThreadWhereTheMainLoopHasEnded) {
    int ends = 0;
    CompositorLoss loss([&ends] { ++ends; });
    loss.loopEnded();
    QElapsedTimer since;
    since.start();
    std::thread qt(qtNotices);
    qt.join();
    EXPECT_LT(since.elapsed(), soonMs);
    EXPECT_EQ(ends, 0);
    QCoreApplication::processEvents();
    EXPECT_EQ(ends, 0);
    qtNotices();
    EXPECT_EQ(ends, 1) << "the main thread's own word for it";
}

TEST_F(CompositorMessageTest, LetsAThreadGoThatIsHeldWhenTheMainLoopEnds) {
    std::atomic<bool> noticed = false;
    CompositorLoss loss([] {});
    QElapsedTimer since;
    since.start();
    std::thread qt([&noticed] {
        noticed = true;
        qtNotices();
    });
    while (!noticed)
        std::this_thread::yield();
    loss.loopEnded();
    qt.join();
    EXPECT_LT(since.elapsed(), soonMs);
}

TEST_F(CompositorMessageTest, IsNoneOfOursOnceTheProgramEndsByItself) {
    int ends = 0;
    std::make_unique<CompositorLoss>([&ends] { ++ends; }).reset();
    qtNotices();
    EXPECT_EQ(ends, 0);
    EXPECT_EQ(written.size(), 1);
}

} // namespace
} // namespace morvel
