// A theme for the time of a check, in a folder of its own among the user's themes. Main thread.
#pragma once

#include "platform/Result.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace morvel {

class TemporaryTheme {
public:
    struct Content {
        std::string id;
        std::string name;
        // The variants of each category, files of the theme that the sounds are taken from.
        std::map<std::string, std::vector<std::string>> categories;
    };

    // Writes `content` into a new folder in `themes`, with copies of its variants from `sounds`.
    // The folder is named after the content's id, or where there is such a folder already, with
    // the first free number behind it: nothing that is there is touched. Fails with a printable
    // description, leaving nothing behind, when anything of it cannot be written.
    static Result<TemporaryTheme, std::string> write(const std::filesystem::path& themes,
                                                     const std::filesystem::path& sounds,
                                                     const Content& content);

    // Removes the folder.
    ~TemporaryTheme();
    TemporaryTheme(TemporaryTheme&& other) noexcept;
    TemporaryTheme& operator=(TemporaryTheme&&) = delete;

    // Under which the catalogue has it: the folder's name.
    std::string id() const { return folder_.filename().string(); }

private:
    explicit TemporaryTheme(std::filesystem::path folder)
        : folder_(std::move(folder)) {}

    std::filesystem::path folder_; // empty: moved from
};

} // namespace morvel
