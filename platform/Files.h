// Small files of the user's, read without trusting what stands at their path and written so that a
// crash or a full disk leaves either the old content or the new. POSIX, the same on every system.
//
// Any thread. Nothing here blocks on a pipe or a device standing in a file's place.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace morvel {

struct FileContent {
    enum class Kind {
        content,
        absent,     // nothing there, or no folder to hold it
        unreadable, // something is there that is no regular file, too long or refused by the system
    };
    Kind kind = Kind::absent;
    std::string text;    // of content
    std::string problem; // of unreadable: why, printable
};

// Reads a regular file of at most `longest` bytes, through symbolic links.
FileContent readFile(const std::filesystem::path& path, std::size_t longest);

// Where writing to `path` ends: the last target of a chain of symbolic links, or `path` itself when
// it is none or the chain has no end.
std::filesystem::path linkTarget(const std::filesystem::path& path);

// Replaces the file's content in one step (a temporary file in the same folder, synchronised to
// disk, then renamed), with mode 0600. Missing folders are created with mode 0700. A symbolic link
// stays and its target is replaced. Answers the error's printable description, nothing on success;
// after an error the old content stands.
std::optional<std::string> replaceFile(const std::filesystem::path& path, std::string_view content);

// Removes the temporary files that replaceFile(path) has left where the program or the machine was
// ended in the middle of it; none that is being written, by whichever process.
void removeUnfinished(const std::filesystem::path& path);

struct SetAside {
    std::optional<std::filesystem::path> movedTo;
    std::string problem; // why it could not be moved, printable
};

// Renames what stands at `path` to "<name>.damaged", or the next of "<name>.damaged.2" … that is
// free, in the same folder. A regular file reached through a symbolic link is renamed beside
// itself; a link to anything else is renamed itself, so that no device is ever moved.
SetAside setAside(const std::filesystem::path& path);

} // namespace morvel
