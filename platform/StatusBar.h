// The system's bar of status items: a tray of the panel on Linux, the menu bar on macOS.
// Adapters: platform/qt, platform/simulated.
//
// Main thread, all of it. Texts are UTF-8. Places are in points of the whole desktop.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace morvel {

struct StatusMenuItem {
    std::string title = {};            // empty: a separator
    std::function<void()> action = {}; // none: nothing to choose
    std::string keyEquivalent = {};    // one character, to be typed while the menu is open; or none
    bool enabled = true;
    bool checked = false;

    bool isSeparator() const { return title.empty(); }
};

struct StatusItemFrame {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

struct StatusItemClick {
    bool secondary = false; // the right button
    bool optionHeld = false;
};

// One item; destroying it removes it from the bar. What is set while no bar shows it is shown as
// soon as one does.
class StatusItem {
public:
    virtual ~StatusItem() = default;

    // False where there can never be anything to see or click.
    virtual bool hasButton() const = 0;

    // Whether there is a bar that shows the item at present, and who is told of a change.
    virtual bool isInBar() const = 0;
    virtual void setBarHandler(std::function<void()> changed) = 0;

    // The symbol, drawn in the bar's own colour. One that cannot be drawn leaves the item without
    // an image.
    virtual void setImage(const std::string& symbolName,
                          const std::string& accessibilityDescription) = 0;
    virtual void setToolTip(const std::string& text) = 0;

    // The menu that popUpMenu() opens. A bar that draws menus itself opens it for the secondary
    // button without a click being told.
    virtual void setMenu(const std::vector<StatusMenuItem>& items) = 0;
    virtual void popUpMenu() = 0;

    virtual void setClickHandler(std::function<void(StatusItemClick)> clicked) = 0;

    // Where the item is: as the bar says, else about where it was clicked last.
    virtual std::optional<StatusItemFrame> frame() const = 0;
};

class StatusBar {
public:
    virtual ~StatusBar() = default;

    // An item as wide as its content. It must not outlive the bar.
    [[nodiscard]] virtual std::unique_ptr<StatusItem> makeItem() = 0;
};

} // namespace morvel
