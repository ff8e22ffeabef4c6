#include "platform/macos/MacDesktopPlaces.h"

#include "platform/macos/CfObjects.h"

namespace morvel {

namespace {

bool opened(const CfOwned<CFURLRef>& url) {
    return url && LSOpenCFURLRef(url.get(), nullptr) == 0;
}

bool opened(const char* address) {
    return opened(
        CfOwned(CFURLCreateWithString(kCFAllocatorDefault, cfString(address).get(), nullptr)));
}

} // namespace

void MacDesktopPlaces::openAccessibilitySettings(const Otherwise& otherwise) {
    if (!opened("x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility"))
        otherwise({"Accessibility",
                   "System Settings did not open. Morvel's switch is there under Privacy & "
                   "Security > Accessibility.",
                   ""});
}

void MacDesktopPlaces::openLoginItems(const Otherwise& otherwise) {
    if (!opened("x-apple.systempreferences:com.apple.LoginItems-Settings.extension"))
        otherwise({"Login Items",
                   "System Settings did not open. What starts at login is listed there under "
                   "General > Login Items.",
                   ""});
}

void MacDesktopPlaces::reveal(const std::filesystem::path& folder, const Otherwise& otherwise) {
    if (!opened(cfFolderUrl(folder)))
        otherwise({"Themes Folder", "The Finder did not open the folder:", folder.string()});
}

} // namespace morvel
