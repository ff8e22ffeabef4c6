// Reading text that may not be the UTF-8 it should be (a folder's name, a broken file's bytes).
// Pure functions, any thread.
#pragma once

#include <string>
#include <string_view>

namespace morvel {

// U+FFFD, what stands for a byte that belongs to no character.
inline constexpr char32_t replacementCharacter = 0xfffd;

// The characters of `text`; each byte that is part of no well-formed character (a stray, an
// overlong form, a surrogate, beyond U+10FFFF) counts as one replacement character.
std::u32string charactersOf(std::string_view text);

bool isValidUtf8(std::string_view text);

// `text` itself when it is valid, else with replacement characters where it is not.
std::string asValidUtf8(std::string_view text);

} // namespace morvel
