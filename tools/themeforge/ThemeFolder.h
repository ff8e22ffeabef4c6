// A whole theme: its sounds by name, its manifest, and the folder that holds them.
#pragma once

#include "tools/themeforge/Parameters.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace morvel::forge {

// "keyboard.capsLock.down", 2 -> "keyboard-capsLock-down-2.wav". Variants count from 1.
std::string fileName(SoundCategory category, int variant);

// One finished file. Depends on nothing but its arguments, so files may be rendered in any order.
std::string renderFile(const Theme& theme, const CategorySound& sound, int variant);

// The text of manifest.json.
std::string manifestText(const Theme& theme);

// How many sounds the theme has.
std::size_t soundCount(const Theme& theme);

// Writes <parent>/<id>/ with the manifest and every sound, replacing files of the same names.
// Sounds are rendered on `threads` threads (at least 1), which changes nothing in the files;
// `written` is called once for each, by one thread at a time. Returns a description of the first
// failure in the order of the files, or nothing.
std::optional<std::string> writeThemeFolder(const Theme& theme, const std::filesystem::path& parent,
                                            unsigned threads = 1,
                                            const std::function<void()>& written = {});

} // namespace morvel::forge
