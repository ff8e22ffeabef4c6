// The whole status item on a real desktop: tray, popover and shortcut.
#pragma once

#include "app/settings/JsonDefaultsStore.h"
#include "app/statusitem/StatusItemController.h"
#include "app/windows/HostingWindowFactory.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/X11HotKeyService.h"
#include "platform/linux/X11TransientWindows.h"
#include "platform/qt/QtScheduler.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "tests/platform/TraySession.h"

namespace morvel::test {

class StatusItemDesktopTest : public TrayTest {
protected:
    StatusItemDesktopTest() {
        const auto view = folder_.file("View.qml", "import QtQuick\nItem {}\n");
        source_ = QUrl::fromLocalFile(QString::fromStdString(view.string()));
        controller_.emplace(StatusItemController::Services{
            bar_, settings_, engine_, clock_, scheduler_, hotKeys_, log_,
            [this] {
                return factory_.makePopover("Fidget Drawer", {320, 400}, {source_, {}}, windows_);
            },
            [] {}, [] {}});
    }
    ~StatusItemDesktopTest() override { controller_.reset(); }

    bool iconAppears() {
        return comesToRest([this] { return watch_.kind() != TrayKind::none; });
    }
    bool opens() {
        return seen([this] { return controller_->isPopoverShown(); }) &&
               seen([] { return QGuiApplication::focusWindow() != nullptr; });
    }
    bool closes() {
        return seen([this] { return !controller_->isPopoverShown(); });
    }
    // For long enough that a click would have opened it.
    bool staysClosed() {
        QElapsedTimer time;
        time.start();
        return seen([&] { return controller_->isPopoverShown() || time.elapsed() > 600; }) &&
               !controller_->isPopoverShown();
    }
    void pause() {
        QElapsedTimer time;
        time.start();
        seen([&] { return time.elapsed() > 300; });
    }

    // What a user does with the drawer, in any tray.
    void openAndCloseByClicks() {
        ASSERT_TRUE(iconAppears());
        click();
        ASSERT_TRUE(opens());
        const QRect drawer = QGuiApplication::focusWindow()->geometry();
        EXPECT_GE(drawer.top(), TraySession::panelHeight);
        EXPECT_TRUE(QRect(0, 0, 1280, 800).contains(drawer));
        pause();

        click(); // on the item: closes it
        ASSERT_TRUE(closes());
        EXPECT_TRUE(staysClosed());

        click();
        ASSERT_TRUE(opens());
        pause();
        const QPoint at = TraySession::iconPlace().center();
        pointer_.move(at.x(), at.y());
        pointer_.press(); // and a slow one too
        pause();
        pause();
        pointer_.release();
        ASSERT_TRUE(closes());
        EXPECT_TRUE(staysClosed());

        click();
        ASSERT_TRUE(opens());
        pause();
        pointer_.click(5, 790);
        ASSERT_TRUE(closes());
    }

    TemporaryFolder folder_;
    QUrl source_;
    SystemClock clock_;
    QtScheduler scheduler_;
    SimulatedLog log_;
    ScriptedRandom random_{{0}};
    OfflineAudioOutput output_;
    AudioEngine engine_{{output_, clock_, scheduler_, random_, log_}, false};
    SimulatedLoginItem loginItem_;
    LaunchAtLogin login_{loginItem_, {}, {}, log_};
    JsonDefaultsStore store_{folder_ / "settings.json", scheduler_, log_};
    AppSettings settings_{store_, engine_, login_, log_};
    X11HotKeyService hotKeyService_{*connection_, scheduler_};
    GlobalHotKeyRegistry hotKeys_{hotKeyService_, scheduler_, log_};
    X11TransientWindows windows_{*connection_};
    HostingWindowFactory factory_{[](QQmlEngine&) {}};
    std::optional<StatusItemController> controller_;
};

} // namespace morvel::test
