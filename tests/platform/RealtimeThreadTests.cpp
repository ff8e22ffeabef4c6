#include "platform/linux/RealtimeThread.h"
#include "tests/support/SessionBus.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <QDBusConnection>
#include <QObject>
#include <QThread>
#include <atomic>

namespace {

using namespace morvel;

// Answers like the system's service, on a thread of its own, since its client waits.
class RealtimeKit : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.RealtimeKit1")
    Q_PROPERTY(int MaxRealtimePriority MEMBER highest_)
    Q_PROPERTY(qlonglong RTTimeUSecMax MEMBER longest_)

public:
    std::atomic<quint64> thread = 0;
    std::atomic<quint32> priority = 0;

public slots:
    void MakeThreadRealtime(quint64 number, quint32 wanted) {
        thread = number;
        priority = wanted;
    }

private:
    int highest_ = 20;
    qlonglong longest_ = 200000;
};

class RealtimeThreadTest : public testing::Test {
protected:
    RealtimeThreadTest() {
        kit_.moveToThread(&served_);
        served_.start();
    }
    ~RealtimeThreadTest() override {
        served_.quit();
        served_.wait();
        QDBusConnection::disconnectFromBus("service");
        QDBusConnection::disconnectFromBus("client");
    }

    void serve() {
        QDBusConnection service = connect("service");
        service.registerObject("/org/freedesktop/RealtimeKit1", &kit_,
                               QDBusConnection::ExportAllSlots |
                                   QDBusConnection::ExportAllProperties);
        ASSERT_TRUE(service.registerService("org.freedesktop.RealtimeKit1"));
    }
    QDBusConnection connect(const QString& name) {
        return QDBusConnection::connectToBus(QString::fromStdString(bus_.address()), name);
    }

    TemporaryFolder folder_;
    test::SessionBus bus_{folder_.path(), {}};
    QThread served_;
    RealtimeKit kit_;
};

TEST_F(RealtimeThreadTest, TheServiceIsAskedForThisThreadAndComputingIsLimitedAsItDemands) {
    serve();
    EXPECT_EQ(makeRealtimeByService(pthread_self(), connect("client")), std::nullopt);
    EXPECT_EQ(kit_.thread, static_cast<quint64>(gettid()));
    EXPECT_EQ(kit_.priority, 4u);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_RTTIME, &limit), 0);
    EXPECT_EQ(limit.rlim_cur, 200000u);
}

TEST_F(RealtimeThreadTest, WithoutTheServiceTheThreadStaysAnOrdinaryOneAndItIsSaidWhy) {
    EXPECT_EQ(makeRealtimeByService(pthread_self(), connect("client")), "RealtimeKit is not there");
}

} // namespace

#include "RealtimeThreadTests.moc"
