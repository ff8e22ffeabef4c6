// A scripted performance through the whole engine, compared with itself and with a committed
// fingerprint of it: the level of every 20 ms of each channel.
#include "audio/AudioEngine.h"
#include "tests/audio/EngineFixture.h"
#include "tests/audio/Signals.h"

#include <cstdlib>
#include <fstream>

namespace morvel {
namespace {

class GoldenAudio : public testing::Test {
protected:
    static constexpr std::size_t frameCount = 3 * 44100;
    static constexpr std::size_t stepFrames = 441;

    static std::shared_ptr<const PcmBuffer> click(double frequency, double decay,
                                                  std::size_t frames) {
        std::vector<float> left(frames);
        std::vector<float> right(frames);
        for (std::size_t i = 0; i < frames; ++i) {
            const double t = static_cast<double>(i) / 44100;
            const double envelope = std::exp(-t / decay);
            left[i] = static_cast<float>(envelope * std::sin(2 * std::numbers::pi * frequency * t));
            right[i] =
                static_cast<float>(envelope * std::sin(2 * std::numbers::pi * frequency * 1.5 * t));
        }
        return test::bufferOf(std::move(left), std::move(right));
    }

    // Typing with pitch jitter, more sounds than voices, a loop that changes and fades, volume.
    static std::vector<float> perform() {
        VirtualTime time;
        SimulatedLog log;
        OfflineAudioOutput output;
        ScriptedRandom random({0, 1U << 24, 9000000, 3000000, 12345678, 16000000});
        auto theme = std::make_shared<test::MadeUpTheme>();
        theme->set(SoundCategory::keyDown, click(1800, 0.02, 4000), 0.9F, 60);
        theme->set(SoundCategory::keyUp, click(2900, 0.01, 3000), 0.5F, 60);
        theme->set(SoundCategory::spaceDown, click(300, 0.3, 30000), 0.8F, 100);
        theme->set(SoundCategory::dialLoop, click(441, 1000, 4410), 0.3F);
        AudioEngine engine({output, time, time, random, log}, false);
        engine.setResolver(theme);
        std::vector<float> out;
        for (std::size_t step = 0; step * stepFrames < frameCount; ++step) {
            if (step % 9 == 0)
                engine.play(SoundCategory::keyDown, 0.8F, true);
            if (step % 9 == 5)
                engine.play(SoundCategory::keyUp, 0.8F, true);
            if (step > 100 && step < 130 && step % 2 == 0)
                engine.play(SoundCategory::spaceDown, 1, true);
            if (step == 140)
                engine.startLoop(SoundCategory::dialLoop, 0.5F, 1);
            if (step > 140 && step < 200)
                engine.updateLoop(0.5F + 0.008F * static_cast<float>(step - 140),
                                  0.7F + 0.01F * static_cast<float>(step - 140));
            if (step == 200)
                engine.stopLoop(0.25);
            if (step == 240)
                engine.setMasterVolume(0.4F);
            const auto part = output.render(stepFrames);
            out.insert(out.end(), part.begin(), part.end());
            time.advance(static_cast<double>(stepFrames) / 44100);
        }
        return out;
    }

    static std::vector<double> fingerprint(const std::vector<float>& performance) {
        std::vector<double> levels;
        for (const std::size_t side : {0U, 1U}) {
            const auto samples = test::channel(performance, side);
            for (std::size_t at = 0; at + 882 <= samples.size(); at += 882)
                levels.push_back(test::rms(std::span(samples).subspan(at, 882)));
        }
        return levels;
    }
};

TEST_F(GoldenAudio, APerformanceIsTheSameBitForBitEveryTime) {
    const auto first = perform();
    EXPECT_EQ(first.size(), 2 * frameCount);
    EXPECT_TRUE(first == perform());
}

TEST_F(GoldenAudio, APerformanceMatchesItsCommittedFingerprint) {
    const auto levels = fingerprint(perform());
    if (const char* const target =
            std::getenv("MORVEL_WRITE_GOLDEN")) { // NOLINT(concurrency-mt-unsafe)
        std::ofstream file(target);
        for (const double level : levels)
            file << level << '\n';
    }
    std::ifstream file(MORVEL_GOLDEN_FILE);
    std::vector<double> expected;
    for (double level = 0; file >> level;)
        expected.push_back(level);
    ASSERT_EQ(levels.size(), expected.size());
    for (std::size_t i = 0; i < levels.size(); ++i)
        EXPECT_NEAR(levels[i], expected[i], 1e-4 + 0.002 * expected[i]) << "at step " << i;
}

} // namespace
} // namespace morvel
