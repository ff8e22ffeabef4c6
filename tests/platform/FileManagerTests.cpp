// Showing a folder over a real bus.

#include "platform/linux/LinuxDesktopPlaces.h"
#include "tests/support/BusServer.h"
#include "tests/support/MainLoop.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

// A file browser that a test reads.
class FileBrowser : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    QStringList shown;

public slots:
    void ShowFolders(const QStringList& folders, const QString&) { shown << folders; }
};

class FileManagerTest : public testing::Test {
protected:
    QDBusConnection client(const char* name) {
        return QDBusConnection::connectToBus(QString::fromStdString(bus_.address()), name);
    }
    ~FileManagerTest() override {
        QDBusConnection::disconnectFromBus("browser");
        QDBusConnection::disconnectFromBus("morvel");
    }
    DesktopPlaces::Otherwise keepPage() {
        return [this](const HelpPage& page) { pages_.push_back(page); };
    }

    test::BusServer bus_;
    LinuxDesktopPlaces places_{{"", "/nowhere", true, "/entry"}, client("morvel")};
    std::vector<HelpPage> pages_;
};

TEST_F(FileManagerTest, TheDesktopsFileBrowserIsAskedToShowTheFolder) {
    FileBrowser browser;
    QDBusConnection other = client("browser");
    ASSERT_TRUE(other.registerObject("/org/freedesktop/FileManager1", &browser,
                                     QDBusConnection::ExportAllSlots));
    ASSERT_TRUE(other.registerService("org.freedesktop.FileManager1"));
    places_.reveal("/home/Ada L/Thèmes & more", keepPage());
    EXPECT_TRUE(test::runUntil([&] { return !browser.shown.isEmpty(); }));
    EXPECT_EQ(browser.shown, QStringList{"file:///home/Ada%20L/Th%C3%A8mes%20&%20more"});
    EXPECT_TRUE(pages_.empty());
}

TEST_F(FileManagerTest, WhereNoFileBrowserAnswersThePathIsTold) {
    places_.reveal("/the/folder", keepPage());
    EXPECT_TRUE(test::runUntil([&] { return !pages_.empty(); }));
    EXPECT_EQ(pages_.front().detail, "/the/folder");
}

} // namespace
} // namespace morvel

#include "FileManagerTests.moc"
