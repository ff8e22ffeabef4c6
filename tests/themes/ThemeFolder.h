// Theme folders for tests.
#pragma once

#include "tests/support/TemporaryFolder.h"
#include "tests/support/WavFiles.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace morvel {

// A manifest of schema 1 named `name`, with the text of its "categories" object.
inline std::string manifestWith(std::string_view categories, std::string_view name = "Test") {
    return R"({"schemaVersion": 1, "id": "any", "name": ")" + std::string(name) +
           R"(", "categories": )" + std::string(categories) + "}";
}

// The least that makes a whole theme: a sound for every press, one for every release.
inline constexpr std::string_view minimalCategories =
    R"({"keyboard.down": {"variants": ["keyboard-down-1.wav"]},
        "keyboard.up": {"variants": ["keyboard-up-1.wav"]}})";

// Creates `root`/`id` with a manifest and a click for each of `sounds`.
inline std::filesystem::path makeTheme(const std::filesystem::path& root, std::string_view id,
                                       std::string_view manifest,
                                       const std::vector<std::string>& sounds) {
    const auto folder = root / id;
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "manifest.json", std::ios::binary) << manifest;
    for (const std::string& sound : sounds)
        writeClick(folder / sound);
    return folder;
}

inline std::filesystem::path makeMinimalTheme(const std::filesystem::path& root,
                                              std::string_view id,
                                              std::string_view name = "Minimal") {
    return makeTheme(root, id, manifestWith(minimalCategories, name),
                     {"keyboard-down-1.wav", "keyboard-up-1.wav"});
}

// All eight toys' sounds from one file, "toy.wav".
inline constexpr std::string_view toyCategories =
    R"("fidget.toggleOn": {"variants": ["toy.wav"]}, "fidget.toggleOff": {"variants": ["toy.wav"]},
       "fidget.dialTick": {"variants": ["toy.wav"]}, "fidget.dialLoop": {"variants": ["toy.wav"]},
       "fidget.pop": {"variants": ["toy.wav"]}, "fidget.popReset": {"variants": ["toy.wav"]},
       "fidget.buttonDown": {"variants": ["toy.wav"]}, "fidget.buttonUp": {"variants": ["toy.wav"]})";

} // namespace morvel
