// A whole theme: its sounds by name, its manifest, and the folder that holds them.
#pragma once

#include "tools/themeforge/Parameters.h"

#include <filesystem>
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

// Writes <parent>/<id>/ with the manifest and every sound, replacing files of the same names.
// Returns a description of what failed, or nothing.
std::optional<std::string> writeThemeFolder(const Theme& theme,
                                            const std::filesystem::path& parent);

} // namespace morvel::forge
