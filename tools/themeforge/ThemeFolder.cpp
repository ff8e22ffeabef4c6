#include "tools/themeforge/ThemeFolder.h"

#include "tools/themeforge/Voices.h"
#include "tools/themeforge/WavFile.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <future>
#include <mutex>

namespace morvel::forge {

namespace {

constexpr int manifestSchemaVersion = 1;

bool writeFile(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    return !out.fail();
}

struct Take {
    const CategorySound& sound;
    int variant;
};

std::vector<Take> takesOf(const Theme& theme) {
    std::vector<Take> takes;
    for (const auto& sound : theme.categories)
        for (int variant = 1; variant <= sound.variants; ++variant)
            takes.push_back({sound, variant});
    return takes;
}

// Answers the first file that could not be written, in the order of the takes.
std::optional<std::filesystem::path> writeSounds(const Theme& theme,
                                                 const std::filesystem::path& folder,
                                                 unsigned threads,
                                                 const std::function<void()>& written) {
    const auto takes = takesOf(theme);
    std::atomic<std::size_t> next = 0;
    std::mutex mutex;
    std::size_t firstFailed = takes.size();
    const auto fileOf = [&](const Take& take) {
        return folder / fileName(take.sound.category, take.variant);
    };
    const auto work = [&] {
        for (std::size_t i = next++; i < takes.size(); i = next++) {
            const Take& take = takes[i];
            const bool fine = writeFile(fileOf(take), renderFile(theme, take.sound, take.variant));
            const std::scoped_lock lock(mutex);
            if (!fine)
                firstFailed = std::min(firstFailed, i);
            else if (written)
                written();
        }
    };
    {
        std::vector<std::future<void>> helpers; // whose ends are waited for
        for (unsigned i = 1; i < threads; ++i)
            helpers.push_back(std::async(std::launch::async, work));
        work();
    }
    if (firstFailed == takes.size())
        return std::nullopt;
    return fileOf(takes[firstFailed]);
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
            return render(voice, {Random::named(theme.seed, name + "/design"),
                                  Random::named(theme.seed, variantName + "/take"),
                                  Random::named(theme.seed, "room")});
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

std::size_t soundCount(const Theme& theme) {
    std::size_t count = 0;
    for (const auto& sound : theme.categories)
        count += static_cast<std::size_t>(sound.variants);
    return count;
}

std::optional<std::string> writeThemeFolder(const Theme& theme, const std::filesystem::path& parent,
                                            unsigned threads,
                                            const std::function<void()>& written) {
    const auto folder = parent / theme.id;
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        return fmt::format("{} cannot be made: {}", folder.string(), error.message());
    if (const auto failed = writeSounds(theme, folder, threads, written))
        return fmt::format("{} cannot be written", failed->string());
    const auto manifest = folder / "manifest.json";
    if (!writeFile(manifest, manifestText(theme)))
        return fmt::format("{} cannot be written", manifest.string());
    return std::nullopt;
}

} // namespace morvel::forge
