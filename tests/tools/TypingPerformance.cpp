#include "tests/tools/TypingPerformance.h"

#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/SeededRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"

#include <array>
#include <map>
#include <random>

namespace morvel::test {

namespace {

constexpr std::uint32_t blockFrames = 128;
constexpr double sampleRate = 44100;

SeededRandom& sharedRandom() {
    static SeededRandom random(1);
    return random;
}

// Notes what the theme answered.
class NotingTheme : public SampleResolving {
public:
    explicit NotingTheme(std::shared_ptr<const SoundTheme> theme)
        : m_theme(std::move(theme)) {}

    std::optional<ResolvedSample> sample(SoundCategory category) const override {
        m_last = m_theme->sample(category);
        return m_last;
    }
    const std::optional<ResolvedSample>& last() const { return m_last; }

private:
    std::shared_ptr<const SoundTheme> m_theme;
    mutable std::optional<ResolvedSample> m_last;
};

KeyGroup keyAt(std::size_t stroke) {
    constexpr std::array rare = {KeyGroup::shift, KeyGroup::delete_, KeyGroup::enter, KeyGroup::tab,
                                 KeyGroup::command};
    if (stroke % 6 == 5)
        return KeyGroup::space;
    return stroke % 17 == 3 ? rare[stroke / 17 % rare.size()] : KeyGroup::alpha;
}

// Which sounds begin with which block.
std::multimap<std::size_t, SoundCategory> score(const Typing& typing) {
    std::mt19937 hand;
    std::multimap<std::size_t, SoundCategory> result;
    const auto strokes = static_cast<std::size_t>(typing.seconds * typing.keysPerSecond);
    const auto blockAt = [&](double position) {
        const double unsteady = position + 0.3 * static_cast<double>(hand()) / 0x1p32;
        return static_cast<std::size_t>(unsteady / typing.keysPerSecond * sampleRate / blockFrames);
    };
    for (std::size_t i = 0; i < strokes; ++i) {
        const auto position = static_cast<double>(i);
        result.emplace(blockAt(position), category(keyAt(i), KeyEdge::down));
        result.emplace(blockAt(position + static_cast<double>(typing.heldKeys) - 0.5),
                       category(keyAt(i), KeyEdge::up));
    }
    return result;
}

} // namespace

std::shared_ptr<const SoundTheme> builtInTheme(const std::string& id) {
    static std::map<std::string, std::shared_ptr<const SoundTheme>> themes;
    auto& theme = themes[id];
    if (!theme) {
        SimulatedLog log;
        const ThemeCatalog catalog(MORVEL_SOURCE_DIR "/resources/Sounds", {}, log);
        const auto loaded = SoundTheme::load(id, catalog, log, sharedRandom());
        if (loaded)
            theme = loaded.value();
    }
    return theme;
}

Performance perform(const std::shared_ptr<const SoundTheme>& theme, const Typing& typing,
                    bool pitchJitter, float limiterPreGainDb) {
    sharedRandom() = SeededRandom(1);
    VirtualTime time;
    SimulatedLog log;
    OfflineAudioOutput output;
    const auto noting = std::make_shared<NotingTheme>(theme);
    AudioEngine::Options options;
    options.limiter.front().value = limiterPreGainDb;
    AudioEngine engine({output, time, time, sharedRandom(), log}, false, options);
    engine.setResolver(noting);

    Performance result;
    result.delayFrames = engine.limiterDelayFrames();
    const auto notes = score(typing);
    const auto blocks = static_cast<std::size_t>(typing.seconds * sampleRate / blockFrames);
    result.output.reserve(2 * blocks * blockFrames);
    for (std::size_t block = 0; block < blocks; ++block) {
        const auto [from, to] = notes.equal_range(block);
        for (auto note = from; note != to; ++note) {
            engine.play(note->second, 1, pitchJitter);
            result.sounds.push_back({block * blockFrames, noting->last().value()});
        }
        const auto part = output.render(blockFrames);
        result.output.insert(result.output.end(), part.begin(), part.end());
        time.advance(blockFrames / sampleRate);
    }
    return result;
}

} // namespace morvel::test
