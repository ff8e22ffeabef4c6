// A status bar that a test looks at and clicks.
#pragma once

#include "platform/StatusBar.h"

#include <utility>

namespace morvel {

class SimulatedStatusBar : public StatusBar {
public:
    // What is seen of the one item, and what a test does to it.
    struct Shown {
        bool exists = false;
        std::string symbolName;
        std::string accessibilityDescription;
        std::string toolTip;
        std::vector<StatusMenuItem> menu;
        int menusOpened = 0;
    };

    std::unique_ptr<StatusItem> makeItem() override {
        shown = {};
        shown.exists = true;
        return std::make_unique<Item>(*this);
    }

    void click(StatusItemClick click = {}) {
        if (clicked_)
            clicked_(click);
    }
    void choose(std::size_t item) { shown.menu.at(item).action(); }
    void setPresent(bool present) {
        inBar = present;
        if (barChanged_)
            barChanged_();
    }

    bool hasButton = true;
    bool inBar = true;
    std::optional<StatusItemFrame> frame = StatusItemFrame{600, 4, 24, 24};
    Shown shown;

private:
    class Item : public StatusItem {
    public:
        explicit Item(SimulatedStatusBar& bar)
            : bar_(bar) {}
        ~Item() override {
            bar_.shown.exists = false;
            bar_.clicked_ = {};
            bar_.barChanged_ = {};
        }
        Item(const Item&) = delete;
        Item& operator=(const Item&) = delete;

        bool hasButton() const override { return bar_.hasButton; }
        bool isInBar() const override { return bar_.inBar; }
        void setBarHandler(std::function<void()> changed) override {
            bar_.barChanged_ = std::move(changed);
        }
        void setImage(const std::string& symbolName, const std::string& description) override {
            bar_.shown.symbolName = symbolName;
            bar_.shown.accessibilityDescription = description;
        }
        void setToolTip(const std::string& text) override { bar_.shown.toolTip = text; }
        void setMenu(const std::vector<StatusMenuItem>& items) override { bar_.shown.menu = items; }
        void popUpMenu() override { ++bar_.shown.menusOpened; }
        void setClickHandler(std::function<void(StatusItemClick)> clicked) override {
            bar_.clicked_ = std::move(clicked);
        }
        std::optional<StatusItemFrame> frame() const override { return bar_.frame; }

    private:
        SimulatedStatusBar& bar_;
    };

    std::function<void(StatusItemClick)> clicked_;
    std::function<void()> barChanged_;
};

} // namespace morvel
