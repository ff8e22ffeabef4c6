// The places of the desktop that the user is sent to. Adapters: platform/linux,
// platform/macos, platform/simulated.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace morvel {

// What to tell the user where the desktop has no such place.
struct HelpPage {
    std::string title;
    std::string text;   // sentences; an empty line separates paragraphs
    std::string detail; // a path to select and copy; may be empty

    bool operator==(const HelpPage&) const = default;
};

// Main thread, all of it.
class DesktopPlaces {
public:
    // Called where nothing could be opened: at once or later, once at most, on the main thread, and
    // never after the places are gone.
    using Otherwise = std::function<void(const HelpPage&)>;

    virtual ~DesktopPlaces() = default;

    // The system as a sentence names it: "macOS", "Linux".
    virtual std::string systemName() const = 0;

    // Whether the system gives access to the keyboard to the person at the screen, and so to every
    // program of theirs, and not to one program.
    virtual bool givesAccessToPerson() const = 0;

    // Where the user lets a program hear the keyboard.
    virtual void openAccessibilitySettings(const Otherwise& otherwise) = 0;
    // Where the user decides what starts at login.
    virtual void openLoginItems(const Otherwise& otherwise) = 0;
    // Shows a folder in the file browser.
    virtual void reveal(const std::filesystem::path& folder, const Otherwise& otherwise) = 0;
};

} // namespace morvel
