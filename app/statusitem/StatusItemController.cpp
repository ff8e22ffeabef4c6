#include "app/statusitem/StatusItemController.h"

#include <fmt/format.h>

#include <QPointer>
#include <string_view>
#include <utility>

namespace morvel {

namespace {

constexpr double dialFadeOut = 0.1; // seconds

std::string shortcut() {
    return GlobalHotKey::displayString(StatusItemController::muteKeyCode,
                                       StatusItemController::muteKeyModifiers);
}

std::optional<QRect> rectangle(const std::optional<StatusItemFrame>& frame) {
    if (!frame)
        return std::nullopt;
    return QRect(frame->x, frame->y, frame->width, frame->height);
}

} // namespace

StatusItemController::StatusItemController(Services services)
    : services_(std::move(services))
    , statusItem_(services_.bar.makeItem()) {
    buildMenu();
    if (statusItem_->hasButton()) {
        statusItem_->setClickHandler([this](StatusItemClick click) { statusItemClicked(click); });
        statusItem_->setBarHandler([this] { updateIcon(); });
        updateIcon();
    }
    popover_ = services_.makePopover();
    popover_->setDidClose([this] { popoverDidClose(); });
    muteObserver_.emplace(services_.settings, &AppSettings::isMuted, &AppSettings::isMutedChanged,
                          services_.scheduler, [this](bool) { updateIcon(); });
    muteHotKey_ = GlobalHotKey::create(services_.hotKeys, muteKeyCode, muteKeyModifiers,
                                       [self = QPointer(this)] {
                                           if (self)
                                               self->toggleMute();
                                       });
}

StatusItemController::~StatusItemController() {
    if (muteHotKey_) {
        muteHotKey_->unregister();
        services_.hotKeys.remove(muteHotKey_->id());
    }
}

void StatusItemController::buildMenu() {
    menu_ = {
        {.title = "Mute", .action = [this] { toggleMute(); }},
        {.title = "Global shortcut: " + shortcut(), .enabled = false},
        {},
        {.title = "Settings…", .action = [this] { openSettings(); }, .keyEquivalent = ","},
        {},
        {.title = "Quit Morvel", .action = [this] { quit(); }, .keyEquivalent = "q"},
    };
    statusItem_->setMenu(menu_);
}

void StatusItemController::statusItemClicked(std::optional<StatusItemClick> event) {
    if (event && (event->secondary || event->optionHeld))
        statusItem_->popUpMenu();
    else
        togglePopover();
}

void StatusItemController::togglePopover() {
    if (popover_->isShown()) {
        popover_->close();
        return;
    }
    if (services_.clock.now() - lastPopoverCloseTime_ < reopeningPause || !statusItem_->hasButton())
        return;
    showPopover();
}

void StatusItemController::openDrawer() {
    showPopover();
}

void StatusItemController::showPopover() {
    if (statusItem_->isInBar())
        popover_->show(rectangle(statusItem_->frame()));
    else
        popover_->showAsWindow();
}

void StatusItemController::toggleMute() {
    const bool muted = !services_.settings.isMuted();
    services_.settings.setMuted(muted);
    services_.log.line(fmt::format("Mute toggled -> {}", muted ? "MUTED" : "SOUNDING"));
}

void StatusItemController::openSettings() {
    services_.showSettings();
}

void StatusItemController::quit() {
    services_.terminate();
}

void StatusItemController::popoverDidClose() {
    lastPopoverCloseTime_ = services_.clock.now();
    if (services_.audio.loopCategory() == SoundCategory::dialLoop)
        services_.audio.stopLoop(dialFadeOut);
}

std::vector<std::string> StatusItemController::currentMenuTitles() const {
    std::vector<std::string> titles;
    for (const StatusMenuItem& item : menu_)
        titles.push_back(item.title);
    return titles;
}

void StatusItemController::updateIcon() {
    if (!statusItem_->hasButton())
        return;
    const bool muted = services_.settings.isMuted();
    currentIconSymbolName_ = muted ? "dial.medium" : "dial.medium.fill";
    statusItem_->setImage(*currentIconSymbolName_, muted ? "Morvel — muted" : "Morvel — sounding");
    statusItem_->setToolTip(muted
                                ? fmt::format("Morvel — muted ({} to unmute)", shortcut())
                                : "Morvel — click for the fidget drawer, right-click for settings");
    if (menu_.empty())
        return;
    menu_.front().title = muted ? "Unmute" : "Mute";
    menu_.front().checked = muted;
    statusItem_->setMenu(menu_);
}

} // namespace morvel
