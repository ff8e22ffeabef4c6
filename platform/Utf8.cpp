#include "platform/Utf8.h"

#include <cstddef>

namespace morvel {

namespace {

struct Character {
    char32_t value = replacementCharacter;
    std::size_t length = 1; // bytes taken
    bool valid = false;
};

unsigned byteAt(std::string_view text, std::size_t index) {
    return static_cast<unsigned char>(text[index]);
}

// How many bytes a character of this first byte has; 0 for a byte that starts none.
std::size_t lengthByFirst(unsigned first) {
    if (first < 0x80)
        return 1;
    if (first >= 0xc2 && first < 0xe0)
        return 2;
    if (first >= 0xe0 && first < 0xf0)
        return 3;
    return first >= 0xf0 && first < 0xf5 ? 4 : 0;
}

bool isScalarOfLength(char32_t value, std::size_t length) {
    if (length == 3)
        return value >= 0x800 && (value < 0xd800 || value > 0xdfff);
    if (length == 4)
        return value >= 0x10000 && value <= 0x10ffff;
    return true;
}

// The character that starts at `start`, which is inside `text`.
Character characterAt(std::string_view text, std::size_t start) {
    const unsigned first = byteAt(text, start);
    const std::size_t length = lengthByFirst(first);
    if (length == 1)
        return {first, 1, true};
    if (length == 0 || start + length > text.size())
        return {};
    char32_t value = first & (0x7fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned next = byteAt(text, start + i);
        if ((next & 0xc0) != 0x80)
            return {};
        value = (value << 6) | (next & 0x3f);
    }
    if (!isScalarOfLength(value, length))
        return {};
    return {value, length, true};
}

} // namespace

std::u32string charactersOf(std::string_view text) {
    std::u32string characters;
    characters.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const Character next = characterAt(text, at);
        characters.push_back(next.value);
        at += next.length;
    }
    return characters;
}

bool isValidUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const Character next = characterAt(text, at);
        if (!next.valid)
            return false;
        at += next.length;
    }
    return true;
}

std::string asValidUtf8(std::string_view text) {
    std::string valid;
    valid.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const Character next = characterAt(text, at);
        if (next.valid)
            valid.append(text.substr(at, next.length));
        else
            valid.append("\xef\xbf\xbd");
        at += next.length;
    }
    return valid;
}

} // namespace morvel
