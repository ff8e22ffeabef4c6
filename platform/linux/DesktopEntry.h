// A desktop entry file's text: the group [Desktop Entry] read and edited, everything else kept.
//
// Pure functions on text; nothing fails but by an empty optional.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morvel {

class DesktopEntry {
public:
    // An entry with an empty [Desktop Entry] group.
    DesktopEntry();

    // None when the text has no [Desktop Entry] group.
    static std::optional<DesktopEntry> parse(std::string_view text);

    // The key's value as the file has it, unescaped by string(); the last one where a key is
    // repeated.
    std::optional<std::string> raw(std::string_view key) const;
    std::optional<std::string> string(std::string_view key) const;
    // Whether the key is there and holds `value`, as "true" or "false".
    bool isBoolean(std::string_view key, bool value) const;

    // Replaces the key's value, or adds the key at the group's end.
    void setString(std::string_view key, std::string_view value);

    std::string text() const;

private:
    std::vector<std::size_t> linesOf(std::string_view key) const;

    std::vector<std::string> lines_;
};

// `argument` as one word of an Exec value that every launcher reads back as it is: quoted where it
// has to be, and with "%" doubled so that it is no field code.
std::string execQuoted(std::string_view argument);

// The first word of an (unescaped) Exec value; none for an empty or unfinished one.
std::optional<std::string> execProgram(std::string_view exec);

} // namespace morvel
