// A theme folder that a self-test puts among the themes and takes away again. Main thread; blocks
// on the disk.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace morvel {

class DroppedThemeFolder {
public:
    // Makes the folder `themes`/`name`, or the first of "<name>-2" … that is not there yet: what
    // the user has is never touched.
    DroppedThemeFolder(const std::filesystem::path& themes, std::string_view name);
    // Removes the folder with everything in it.
    ~DroppedThemeFolder();
    DroppedThemeFolder(const DroppedThemeFolder&) = delete;
    DroppedThemeFolder& operator=(const DroppedThemeFolder&) = delete;

    // The folder's name, which is the theme's id; the name asked for where no folder could be made.
    const std::string& id() const { return id_; }

    // Both answer whether the file is there now.
    bool write(std::string_view file, std::string_view text) const;
    bool copy(const std::filesystem::path& source) const; // under its own name

private:
    std::filesystem::path folder_; // empty: could not be made
    std::string id_;
};

} // namespace morvel
