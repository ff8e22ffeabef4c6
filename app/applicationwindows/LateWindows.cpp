#include "app/applicationwindows/LateWindows.h"

#include <utility>

namespace morvel {

namespace {

class LatePopover : public Popover {
public:
    explicit LatePopover(std::function<std::unique_ptr<Popover>()> make)
        : make_(std::move(make)) {}

    bool isShown() const override { return popover_ && popover_->isShown(); }
    void show(const std::optional<QRect>& anchor) override {
        if (made())
            popover_->show(anchor);
    }
    void showAsWindow() override {
        if (made())
            popover_->showAsWindow();
    }
    void close() override {
        if (popover_)
            popover_->close();
    }
    void setDidClose(std::function<void()> didClose) override {
        if (popover_)
            popover_->setDidClose(std::move(didClose));
        else
            didClose_ = std::move(didClose);
    }

private:
    bool made() {
        if (!popover_ && (popover_ = make_()))
            popover_->setDidClose(std::exchange(didClose_, nullptr));
        return popover_ != nullptr;
    }

    const std::function<std::unique_ptr<Popover>()> make_;
    std::unique_ptr<Popover> popover_;
    std::function<void()> didClose_; // until there is a popover to tell
};

} // namespace

LateWindows::LateWindows(Make make)
    : make_(std::move(make)) {}

LateWindows::~LateWindows() = default;

ApplicationWindows* LateWindows::windows() {
    if (make_)
        windows_ = std::exchange(make_, nullptr)();
    return windows_.get();
}

void LateWindows::show(AccessibilityPermission& permission) {
    if (ApplicationWindows* const all = windows())
        all->permissionWindow().show(permission);
}

void LateWindows::close() {
    if (windows_)
        windows_->permissionWindow().close();
}

void LateWindows::showSettings() {
    if (ApplicationWindows* const all = windows())
        all->showSettings();
}

void LateWindows::showHelp(const HelpPage& page) {
    if (ApplicationWindows* const all = windows())
        all->showHelp(page);
}

std::unique_ptr<SettingsWindow> LateWindows::makeSettingsWindow() {
    ApplicationWindows* const all = windows();
    return all != nullptr ? all->makeSettingsWindow() : nullptr;
}

std::unique_ptr<Popover> LateWindows::makeDrawer() {
    return std::make_unique<LatePopover>([this]() -> std::unique_ptr<Popover> {
        ApplicationWindows* const all = windows();
        return all != nullptr ? all->makeDrawer() : nullptr;
    });
}

} // namespace morvel
