// A desktop that a test gives places, or none.
#pragma once

#include "platform/DesktopPlaces.h"

#include <vector>

namespace morvel {

class SimulatedDesktopPlaces : public DesktopPlaces {
public:
    std::string systemName() const override { return "Linux"; }
    bool givesAccessToPerson() const override { return toPerson; }
    void openAccessibilitySettings(const Otherwise& otherwise) override {
        open("accessibility", otherwise);
    }
    void openLoginItems(const Otherwise& otherwise) override { open("login items", otherwise); }
    void reveal(const std::filesystem::path& folder, const Otherwise& otherwise) override {
        open(folder.string(), otherwise);
    }

    bool present = true;
    bool toPerson = false;
    HelpPage help{"Nowhere", "There is no such place.", "/a/path"}; // where there is none
    std::vector<std::string> asked; // "accessibility", "login items" or the folder

private:
    void open(const std::string& place, const Otherwise& otherwise) {
        asked.push_back(place);
        if (!present)
            otherwise(help);
    }
};

} // namespace morvel
