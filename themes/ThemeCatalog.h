// Finds the themes the user can choose: the built-in ones and those in the user's own folder.
//
// Stateless: every call reads the disk anew. Main thread (it does blocking reads), though nothing
// is shared and any one thread would do.
#pragma once

#include "platform/Log.h"
#include "themes/NameOrder.h"
#include "themes/ThemeDescriptor.h"

#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace morvel {

class ThemeCatalog {
public:
    // `bundledThemesDirectory` is absent when the program was installed without its resources.
    // `log` must outlive the catalogue.
    ThemeCatalog(std::optional<std::filesystem::path> bundledThemesDirectory,
                 std::filesystem::path userThemesDirectory, Log& log,
                 NameOrder order = NameOrder::ofTheUser());

    const std::optional<std::filesystem::path>& bundledThemesDirectory() const { return bundled_; }
    const std::filesystem::path& userThemesDirectory() const { return user_; }

    // Creates the user's folder, and those above it, when it is missing; logs what it did. A
    // failure only means that there are no user themes.
    void ensureUserThemesDirectoryExists() const;

    // Every usable theme, built-in ones first, each source sorted by name (of names that differ in
    // letter case only, by folder name). Folders that are no usable theme are logged and left out;
    // so is a theme whose id is taken, which makes a built-in theme irreplaceable.
    std::vector<ThemeDescriptor> discover() const;

    // The theme of exactly this id (case-sensitive), as discover() would find it; looks into no
    // other theme's folder, and says nothing of others.
    std::optional<ThemeDescriptor> descriptor(std::string_view id) const;

private:
    std::vector<ThemeDescriptor> scan(const std::filesystem::path& root,
                                      ThemeDescriptor::Source source) const;
    std::optional<ThemeDescriptor> describe(const std::filesystem::path& root,
                                            const std::filesystem::path& folder,
                                            ThemeDescriptor::Source source) const;
    std::vector<ThemeDescriptor> withoutCollisions(std::vector<ThemeDescriptor> found) const;
    void sortForTheUser(std::vector<ThemeDescriptor>& themes) const;

    std::optional<std::filesystem::path> bundled_;
    std::filesystem::path user_;
    Log& log_;
    NameOrder order_;
};

} // namespace morvel
