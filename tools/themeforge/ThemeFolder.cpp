#include "tools/themeforge/ThemeFolder.h"

#include "tools/themeforge/Voices.h"
#include "tools/themeforge/WavFile.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>

namespace morvel::forge {

namespace {

constexpr int manifestSchemaVersion = 1;

bool writeFile(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    return !out.fail();
}

} // namespace

std::string fileName(SoundCategory category, int variant) {
    std::string stem(rawValue(category));
    std::replace(stem.begin(), stem.end(), '.', '-');
    return fmt::format("{}-{}.wav", stem, variant);
}

std::string renderFile(const Theme& theme, const CategorySound& sound, int variant) {
    const std::string name = fmt::format("{}/{}", rawValue(sound.category), sound.take);
    const std::string variantName = fmt::format("{}/{}", name, variant);
    const StereoSignal signal = std::visit(
        [&](const auto& voice) {
            return render(voice, Random::named(theme.seed, name + "/design"),
                          Random::named(theme.seed, variantName + "/take"));
        },
        sound.voice);
    return wavBytes(signal, Random::named(theme.seed, variantName + "/dither"));
}

std::string manifestText(const Theme& theme) {
    nlohmann::ordered_json manifest;
    manifest["schemaVersion"] = manifestSchemaVersion;
    manifest["id"] = theme.id;
    manifest["name"] = theme.name;
    manifest["author"] = theme.author;
    manifest["description"] = theme.description;
    manifest["defaults"]["gain"] = theme.gain;
    manifest["defaults"]["pitchJitterCents"] = theme.pitchJitterCents;
    auto& categories = manifest["categories"];
    categories = nlohmann::ordered_json::object();
    for (const auto& sound : theme.categories) {
        auto& entry = categories[std::string(rawValue(sound.category))];
        for (int variant = 1; variant <= sound.variants; ++variant)
            entry["variants"].push_back(fileName(sound.category, variant));
        if (sound.gain)
            entry["gain"] = *sound.gain;
        if (sound.pitchJitterCents)
            entry["pitchJitterCents"] = *sound.pitchJitterCents;
        if (sound.loop)
            entry["loop"] = *sound.loop;
    }
    return manifest.dump(2) + "\n";
}

std::optional<std::string> writeThemeFolder(const Theme& theme,
                                            const std::filesystem::path& parent) {
    const auto folder = parent / theme.id;
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        return fmt::format("{} cannot be made: {}", folder.string(), error.message());
    for (const auto& sound : theme.categories) {
        for (int variant = 1; variant <= sound.variants; ++variant) {
            const auto file = folder / fileName(sound.category, variant);
            if (!writeFile(file, renderFile(theme, sound, variant)))
                return fmt::format("{} cannot be written", file.string());
        }
    }
    const auto manifest = folder / "manifest.json";
    if (!writeFile(manifest, manifestText(theme)))
        return fmt::format("{} cannot be written", manifest.string());
    return std::nullopt;
}

} // namespace morvel::forge
