// The application's one item in the status bar: the mute state in an icon, a menu, and the drawer
// of fidget toys in a popover under it. Owns the global mute shortcut.
//
// Main thread, all of it.
#pragma once

#include "app/hotkey/GlobalHotKey.h"
#include "app/settings/AppSettings.h"
#include "app/windows/Popover.h"
#include "audio/AudioEngine.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "platform/StatusBar.h"
#include "platform/qt/Subscription.h"

#include <QObject>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace morvel {

class StatusItemController : public QObject {
public:
    static constexpr std::uint32_t muteKeyCode = 46;        // the M key
    static constexpr std::uint32_t muteKeyModifiers = 6400; // Command, Option and Control
    // For this many seconds after it has closed the popover does not open again: the click on the
    // item that closed it is the one that would.
    static constexpr double reopeningPause = 0.25;

    // What the controller uses; all of it must outlive the controller.
    struct Services {
        StatusBar& bar;
        AppSettings& settings;
        AudioEngine& audio;
        const Clock& clock;
        Scheduler& scheduler;
        GlobalHotKeyRegistry& hotKeys;
        Log& log;
        // The drawer's popover, called once, at creation.
        std::function<std::unique_ptr<Popover>()> makePopover;
        std::function<void()> showSettings;
        std::function<void()> terminate;
    };

    // Puts the item into the bar and registers the shortcut.
    explicit StatusItemController(Services services);
    // Takes both back.
    ~StatusItemController() override;

    // A click on the item; nothing when it is not known what was clicked.
    void statusItemClicked(std::optional<StatusItemClick> event);

    // Opens the drawer if it is closed, closes it if it is open. Without a bar that shows the item
    // the drawer opens as a normal window.
    void togglePopover();
    bool isPopoverShown() const { return popover_->isShown(); }

    // What a second start of the program asks for: opens the drawer, or brings it to the front.
    void openDrawer();

    void toggleMute();
    void openSettings();
    void quit();

    // Called when the popover has closed.
    void popoverDidClose();
    // On the clock's time line; 0 before the first closing.
    double lastPopoverCloseTime() const { return lastPopoverCloseTime_; }

    // The titles of all menu items in order; those of separators are empty.
    std::vector<std::string> currentMenuTitles() const;
    // The symbol shown now; none where the item has no button.
    const std::optional<std::string>& currentIconSymbolName() const {
        return currentIconSymbolName_;
    }

    // Brings icon, tooltip and mute item in line with the settings.
    void updateIcon();

private:
    void buildMenu();
    void showPopover();

    Services services_;
    std::unique_ptr<StatusItem> statusItem_;
    std::vector<StatusMenuItem> menu_; // the mute item is the first
    double lastPopoverCloseTime_ = 0;
    std::optional<Subscription<bool>> muteObserver_;
    std::shared_ptr<GlobalHotKey> muteHotKey_;
    std::unique_ptr<Popover> popover_;
    std::optional<std::string> currentIconSymbolName_;
};

} // namespace morvel
