#include "platform/linux/DesktopEntry.h"

#include <algorithm>
#include <cstddef>

namespace morvel {

namespace {

constexpr std::string_view groupHeader = "[Desktop Entry]";

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blank = " \t\r";
    const std::size_t first = text.find_first_not_of(blank);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blank) - first + 1);
}

bool isHeader(std::string_view line) {
    return trimmed(line).starts_with('[');
}

std::string_view keyOf(std::string_view line) {
    const std::string_view content = trimmed(line);
    const std::size_t equals = content.find('=');
    if (content.starts_with('#') || equals == std::string_view::npos)
        return {};
    return trimmed(content.substr(0, equals));
}

std::string escaped(std::string_view value) {
    std::string text;
    for (const char c : value) {
        switch (c) {
        case '\\':
            text += "\\\\";
            break;
        case '\n':
            text += "\\n";
            break;
        case '\r':
            text += "\\r";
            break;
        case '\t':
            text += "\\t";
            break;
        case ' ': // one at the start would be taken for the space after "="
            text += text.empty() ? "\\s" : " ";
            break;
        default:
            text += c;
        }
    }
    return text;
}

std::string unescaped(std::string_view text) {
    std::string value;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            value += text[i];
            continue;
        }
        const char code = text[++i];
        if (code == 's')
            value += ' ';
        else if (code == 'n')
            value += '\n';
        else if (code == 't')
            value += '\t';
        else if (code == 'r')
            value += '\r';
        else if (code == '\\')
            value += '\\';
        else
            (value += '\\') += code;
    }
    return value;
}

} // namespace

DesktopEntry::DesktopEntry()
    : lines_{std::string(groupHeader)} {}

std::optional<DesktopEntry> DesktopEntry::parse(std::string_view text) {
    DesktopEntry entry;
    entry.lines_.clear();
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        entry.lines_.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    const bool hasGroup =
        std::any_of(entry.lines_.begin(), entry.lines_.end(),
                    [](const std::string& line) { return trimmed(line) == groupHeader; });
    if (!hasGroup)
        return std::nullopt;
    return entry;
}

std::vector<std::size_t> DesktopEntry::linesOf(std::string_view key) const {
    std::vector<std::size_t> found;
    bool inGroup = false;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        if (isHeader(lines_[i]))
            inGroup = trimmed(lines_[i]) == groupHeader;
        else if (inGroup && keyOf(lines_[i]) == key)
            found.push_back(i);
    }
    return found;
}

std::optional<std::string> DesktopEntry::raw(std::string_view key) const {
    const auto found = linesOf(key);
    if (found.empty())
        return std::nullopt;
    const std::string_view line = lines_[found.back()];
    return std::string(trimmed(line.substr(line.find('=') + 1)));
}

std::optional<std::string> DesktopEntry::string(std::string_view key) const {
    const auto value = raw(key);
    if (!value)
        return std::nullopt;
    return unescaped(*value);
}

bool DesktopEntry::isBoolean(std::string_view key, bool value) const {
    return raw(key) == (value ? "true" : "false");
}

void DesktopEntry::setString(std::string_view key, std::string_view value) {
    std::string line{key};
    line.append("=").append(escaped(value));
    const auto found = linesOf(key);
    if (!found.empty()) {
        for (const std::size_t number : found)
            lines_[number] = line;
        return;
    }
    const auto header = std::find_if(lines_.begin(), lines_.end(), [](const std::string& text) {
        return trimmed(text) == groupHeader;
    });
    auto end = std::find_if(header + 1, lines_.end(),
                            [](const std::string& text) { return isHeader(text); });
    while (end != header + 1 && trimmed(*(end - 1)).empty())
        --end; // keep the blank lines between the groups
    lines_.insert(end, std::move(line));
}

std::string DesktopEntry::text() const {
    std::string text;
    for (const std::string& line : lines_)
        text.append(line).append("\n");
    return text;
}

std::string execQuoted(std::string_view argument) {
    constexpr std::string_view reserved = " \t\n\r\"'\\><~|&;$*?#()`";
    const bool quoted =
        argument.empty() || argument.find_first_of(reserved) != std::string_view::npos;
    std::string word;
    if (quoted)
        word += '"';
    for (const char c : argument) {
        if (c == '"' || c == '`' || c == '$' || c == '\\')
            word += '\\';
        else if (c == '%')
            word += '%';
        word += c;
    }
    if (quoted)
        word += '"';
    return word;
}

std::optional<std::string> execProgram(std::string_view exec) {
    exec = trimmed(exec);
    std::string program;
    bool quoted = false;
    for (std::size_t i = 0; i < exec.size(); ++i) {
        const char c = exec[i];
        const char next = i + 1 < exec.size() ? exec[i + 1] : '\0';
        const bool escapes = (c == '\\' && next != '\0') || (c == '%' && next == '%');
        if (c == '"')
            quoted = !quoted;
        else if (escapes)
            program += exec[++i];
        else if ((c == ' ' || c == '\t') && !quoted)
            break;
        else
            program += c;
    }
    if (quoted || program.empty())
        return std::nullopt;
    return program;
}

} // namespace morvel
