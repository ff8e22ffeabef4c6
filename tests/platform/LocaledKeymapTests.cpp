// The machine's keymap over a real bus, with a localed that a test speaks for.

#include "platform/linux/LocaledKeymap.h"
#include "tests/support/BusServer.h"
#include "tests/support/MainLoop.h"

#include <gtest/gtest.h>

#include <QDBusMessage>
#include <memory>

namespace morvel {
namespace {

class Localed : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.locale1")
    Q_PROPERTY(QString X11Layout MEMBER layout)
    Q_PROPERTY(QString X11Model MEMBER model)
    Q_PROPERTY(QString X11Variant MEMBER variant)
    Q_PROPERTY(QString X11Options MEMBER options)

public:
    QString layout = "de,us";
    QString model = "pc105";
    QString variant = "neo,";
    QString options = "ctrl:nocaps";
};

class LocaledKeymapTest : public testing::Test {
protected:
    ~LocaledKeymapTest() override {
        keymap.reset();
        for (const char* name : {"localed", "morvel"})
            QDBusConnection::disconnectFromBus(name);
    }
    QDBusConnection client(const char* name) {
        return QDBusConnection::connectToBus(QString::fromStdString(bus_.address()), name);
    }
    void startLocaled() {
        ASSERT_TRUE(service_.registerObject("/org/freedesktop/locale1", &localed,
                                            QDBusConnection::ExportAllProperties));
        ASSERT_TRUE(service_.registerService("org.freedesktop.locale1"));
    }
    void start() {
        keymap = std::make_unique<LocaledKeymap>(client("morvel"));
        keymap->setChangeHandler([this] { ++changes; });
    }
    void announce(const QVariantMap& values, const QStringList& others = {}) {
        auto news = QDBusMessage::createSignal(
            "/org/freedesktop/locale1", "org.freedesktop.DBus.Properties", "PropertiesChanged");
        news << "org.freedesktop.locale1" << values << others;
        ASSERT_TRUE(service_.send(news));
    }
    bool awaitChanges(int count) {
        return test::runUntil([this, count] { return changes == count; });
    }

    test::BusServer bus_;
    QDBusConnection service_ = client("localed");
    Localed localed;
    std::unique_ptr<LocaledKeymap> keymap;
    int changes = 0;
};

TEST_F(LocaledKeymapTest, IsAskedForAndFollowed) {
    startLocaled();
    start();
    EXPECT_EQ(keymap->names(), KeymapNames()); // nobody waits for it
    ASSERT_TRUE(awaitChanges(1));
    EXPECT_EQ(keymap->names(), (KeymapNames{"pc105", "de,us", "neo,", "ctrl:nocaps"}));
    announce({{"X11Layout", "fr"}, {"X11Variant", ""}});
    ASSERT_TRUE(awaitChanges(2));
    EXPECT_EQ(keymap->names(), (KeymapNames{"pc105", "fr", "", "ctrl:nocaps"}));
    localed.layout = "es";
    announce({}, {"X11Layout"});
    ASSERT_TRUE(test::runUntil([this] { return keymap->names().layout == "es"; }));
}

TEST_F(LocaledKeymapTest, HasNoNamesWhereThereIsNoneUntilOneSpeaks) {
    start();
    EXPECT_EQ(keymap->names(), KeymapNames());
    startLocaled();
    announce({{"X11Layout", "de"}});
    ASSERT_TRUE(awaitChanges(1));
    EXPECT_EQ(keymap->names().layout, "de");
}

TEST_F(LocaledKeymapTest, HasNoNamesWhereThereIsNoBus) {
    const LocaledKeymap none(
        QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent"), "morvel"));
    EXPECT_EQ(none.names(), KeymapNames());
}

} // namespace
} // namespace morvel

#include "LocaledKeymapTests.moc"
