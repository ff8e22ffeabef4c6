#include "selftest/ThemeReport.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

namespace morvel {

namespace {

using Resolution = SoundTheme::Resolution;

constexpr int drawsPerCategory = 24;

constexpr std::string_view label(Resolution resolution) {
    switch (resolution) {
    case Resolution::exact:
        return "exact";
    case Resolution::viaRoot:
        return "in-theme keyboard.down/up";
    case Resolution::inherited:
        return "inherited from Default";
    case Resolution::unresolved:
        break;
    }
    return "UNRESOLVED";
}

struct Loudness {
    float peak = 0;
    std::size_t frames = 0;
};

float largestSample(const PcmBuffer& buffer) {
    float largest = 0;
    for (const auto& channel : buffer.channels)
        for (const float sample : channel)
            largest = std::max(largest, std::abs(sample));
    return largest;
}

Loudness loudness(const SoundTheme& theme, SoundCategory category) {
    Loudness result;
    for (int i = 0; i < drawsPerCategory; ++i)
        if (const auto sample = theme.sample(category)) {
            result.peak = std::max(result.peak, largestSample(*sample->buffer) * sample->gain);
            result.frames = std::max(result.frames, sample->buffer->frameLength());
        }
    return result;
}

} // namespace

void reportResolution(const SoundTheme& theme, Log& log, std::string_view prefix) {
    std::array<std::vector<std::string_view>, 4> names;
    const auto namesOf = [&names](Resolution resolution) -> auto& {
        return names.at(static_cast<std::size_t>(resolution));
    };
    for (const SoundCategory category : allSoundCategories()) {
        const Resolution resolution = theme.resolution(category);
        namesOf(resolution).push_back(rawValue(category));
        log.line(fmt::format("{}   {:<26} {}", prefix, rawValue(category), label(resolution)));
    }
    const auto& viaRoot = namesOf(Resolution::viaRoot);
    const auto& inherited = namesOf(Resolution::inherited);
    const auto& unresolved = namesOf(Resolution::unresolved);
    log.line(
        fmt::format("{} resolution: {}/{} exact, {} via in-theme root, {} inherited, {} unresolved",
                    prefix, namesOf(Resolution::exact).size(), soundCategoryCount, viaRoot.size(),
                    inherited.size(), unresolved.size()));
    log.line(fmt::format("{}   via in-theme root: {}", prefix, fmt::join(viaRoot, ", ")));
    log.line(fmt::format("{}   inherited: {}", prefix, fmt::join(inherited, ", ")));
    log.line(fmt::format("{}   UNRESOLVED: {}", prefix, fmt::join(unresolved, ", ")));
}

void reportPeaks(const SoundTheme& theme, Log& log, std::string_view prefix) {
    std::optional<SoundCategory> loudest;
    float highest = 0;
    for (const SoundCategory category : allSoundCategories()) {
        if (theme.resolution(category) != Resolution::exact)
            continue;
        const auto [peak, frames] = loudness(theme, category);
        log.line(fmt::format("{}   peak {:<22} {:.4f}  ({} frames max)", prefix, rawValue(category),
                             peak, frames));
        if (!loudest || peak > highest) {
            loudest = category;
            highest = peak;
        }
    }
    if (loudest)
        log.line(fmt::format("{} loudest category: {} at {:.4f} (limiter threshold is full scale)",
                             prefix, rawValue(*loudest), highest));
}

} // namespace morvel
