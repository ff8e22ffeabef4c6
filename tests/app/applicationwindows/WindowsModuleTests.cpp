#include "app/applicationwindows/WindowsModule.h"
#include "tests/app/applicationwindows/SystemAround.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QSignalSpy>
#include <QWindow>
#include <algorithm>

namespace morvel::test {
namespace {

using testing::HasSubstr;

class WindowsModuleTest : public testing::Test, protected SystemAround {
protected:
    auto load(const std::vector<std::filesystem::path>& files) {
        return loadWindowsModule(files, MORVEL_VERSION, services());
    }
    std::unique_ptr<ApplicationWindows> loaded() {
        auto made = load({folder / "none.so", WINDOWS_MODULE});
        EXPECT_TRUE(made) << made.error();
        return made ? std::move(made).value() : nullptr;
    }
    static QWindow* titled(const QString& title) {
        for (QWindow* const window : QGuiApplication::topLevelWindows())
            if (window->title() == title && window->isVisible())
                return window;
        return nullptr;
    }
    // The object that a window's view was given as `property`.
    static QObject* given(QWindow& window, const char* property) {
        for (QObject* const child : window.findChildren<QObject*>())
            if (auto* const object = child->property(property).value<QObject*>())
                return object;
        return nullptr;
    }
};

TEST_F(WindowsModuleTest, ItsWindowsAreShown) {
    const auto windows = loaded();
    ASSERT_TRUE(windows);
    windows->showSettings();
    EXPECT_TRUE(titled("Morvel Settings"));
    windows->permissionWindow().show(permission);
    EXPECT_TRUE(titled("Morvel"));
    windows->showHelp({"Title", "A sentence.", "a command"});
    EXPECT_TRUE(titled("Morvel Help"));
    const auto drawer = windows->makeDrawer();
    EXPECT_FALSE(drawer->isShown());
    drawer->showAsWindow();
    EXPECT_TRUE(titled("Fidget Drawer"));
    EXPECT_TRUE(drawer->isShown());
}

TEST_F(WindowsModuleTest, ASettingsWindowOfOnesOwnComesAndGoesBesideTheUsers) {
    const auto windows = loaded();
    ASSERT_TRUE(windows);
    windows->showSettings();
    QWindow* const users = titled("Morvel Settings");
    ASSERT_TRUE(users);
    const QRect place = users->geometry();
    auto own = windows->makeSettingsWindow();
    EXPECT_EQ(own->moduleRowCount(), 2);
    const auto shownCount = [] {
        return std::ranges::count_if(QGuiApplication::topLevelWindows(), [](const QWindow* one) {
            return one->title() == "Morvel Settings" && one->isVisible();
        });
    };
    EXPECT_EQ(shownCount(), 1);
    own->show();
    EXPECT_EQ(shownCount(), 2);
    EXPECT_EQ(own->moduleRowCount(), 2);
    own.reset();
    EXPECT_EQ(shownCount(), 1);
    EXPECT_TRUE(users->isVisible());
    EXPECT_EQ(users->geometry(), place);
}

TEST_F(WindowsModuleTest, ItFollowsAndChangesTheProgramsOwnObjects) {
    const auto windows = loaded();
    ASSERT_TRUE(windows);
    windows->showSettings();
    QWindow* const window = titled("Morvel Settings");
    ASSERT_TRUE(window);
    EXPECT_EQ(given(*window, "settings"), &settings);
    EXPECT_EQ(given(*window, "permission"), &permission);
    QObject* const model = given(*window, "model");
    ASSERT_TRUE(model);
    const auto modules = model->property("modules").value<QObjectList>();
    ASSERT_EQ(modules.size(), 2);
    QObject* const keyboard = modules.front();
    EXPECT_EQ(keyboard->property("title"), "Keyboard");

    const QSignalSpy followed(keyboard, SIGNAL(changed()));
    settings.setKeyboardEnabled(false);
    EXPECT_EQ(followed.count(), 1);
    EXPECT_EQ(keyboard->property("enabled"), false);

    const QSignalSpy told(&settings, &AppSettings::keyboardVolumeChanged);
    keyboard->setProperty("volume", 0.25F);
    EXPECT_EQ(told.count(), 1);
    EXPECT_EQ(settings.keyboardVolume(), 0.25F);

    const QSignalSpy refused(model, SIGNAL(lastErrorChanged()));
    EXPECT_FALSE(themes.activate("nobody"));
    EXPECT_EQ(refused.count(), 1);
    EXPECT_THAT(model->property("lastError").toString().toStdString(), HasSubstr("'nobody'"));
}

// The module holds the code of the settings as well. What a program exports stands in for it, so
// that an object's class is the same one on both sides.
TEST_F(WindowsModuleTest, TheProgramExportsWhatBothHave) {
    Dl_info found{};
    ASSERT_NE(::dladdr(&AppSettings::staticMetaObject, &found), 0);
    EXPECT_EQ(found.dli_saddr, &AppSettings::staticMetaObject);
}

TEST_F(WindowsModuleTest, WhyThereAreNoWindowsIsTold) {
    EXPECT_EQ(load({}).error(), "there is no module for them");
    EXPECT_EQ(load({folder / "none.so"}).error(), "there is no module for them");
    const auto broken = folder.file("broken.so", "no library");
    EXPECT_THAT(load({broken}).error(), HasSubstr(broken.string()));
    const auto other = loadWindowsModule({WINDOWS_MODULE}, "0.0.0", services());
    EXPECT_THAT(other.error(), HasSubstr(" is of version " MORVEL_VERSION ", not 0.0.0"));
}

} // namespace
} // namespace morvel::test
