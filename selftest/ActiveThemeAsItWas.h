// Makes the theme active again that was active before. Main thread; blocks on the disk.
#pragma once

#include "themes/controller/ThemeController.h"

#include <optional>
#include <string>

namespace morvel {

class ActiveThemeAsItWas {
public:
    // `themes` must outlive this.
    explicit ActiveThemeAsItWas(ThemeController& themes)
        : themes_(themes)
        , id_(themes.activeTheme() ? std::optional(themes.activeTheme()->id()) : std::nullopt) {}
    ~ActiveThemeAsItWas() { restore(); }
    ActiveThemeAsItWas(const ActiveThemeAsItWas&) = delete;
    ActiveThemeAsItWas& operator=(const ActiveThemeAsItWas&) = delete;

    // Answers whether it is active now; false where there was none.
    bool restore() { return id_ && themes_.activate(*id_); }

    const std::optional<std::string>& id() const { return id_; }

private:
    ThemeController& themes_;
    const std::optional<std::string> id_;
};

} // namespace morvel
