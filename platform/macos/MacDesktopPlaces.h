// System Settings and the file browser, by Launch Services.
#pragma once

#include "platform/DesktopPlaces.h"

namespace morvel {

class MacDesktopPlaces : public DesktopPlaces {
public:
    std::string systemName() const override { return "macOS"; }
    bool givesAccessToPerson() const override { return false; }
    // Privacy & Security > Accessibility.
    void openAccessibilitySettings(const Otherwise& otherwise) override;
    // General > Login Items.
    void openLoginItems(const Otherwise& otherwise) override;
    void reveal(const std::filesystem::path& folder, const Otherwise& otherwise) override;
};

} // namespace morvel
