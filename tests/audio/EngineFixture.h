// An engine with virtual time, an output without a device, and a theme made up by the test.
#pragma once

#include "audio/AudioEngine.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morvel::test {

class MadeUpTheme : public SampleResolving {
public:
    void set(SoundCategory category, std::shared_ptr<const PcmBuffer> buffer, float gain = 1,
             float cents = 0) {
        samples_[category] = ResolvedSample{std::move(buffer), gain, cents};
    }
    std::optional<ResolvedSample> sample(SoundCategory category) const override {
        ++asked;
        const auto found = samples_.find(category);
        return found == samples_.end() ? std::nullopt : std::optional(found->second);
    }

    mutable std::atomic<int> asked = 0;

private:
    std::map<SoundCategory, ResolvedSample> samples_;
};

class EngineTest : public testing::Test {
protected:
    AudioEngine::Services services() { return {output, time, time, random, log}; }

    void build(bool trace = false, AudioEngine::Options options = {}) {
        engine = std::make_unique<AudioEngine>(services(), trace, std::move(options));
        engine->setResolver(theme);
    }

    bool logged(std::string_view text) const {
        return std::ranges::any_of(
            log.lines(), [&](const std::string& line) { return line == logPrefix(text); });
    }
    static std::string logPrefix(std::string_view text) {
        return std::string(logLinePrefix) + std::string(text);
    }
    std::size_t lineCount(std::string_view part) const {
        return static_cast<std::size_t>(
            std::ranges::count_if(log.lines(), [&](const std::string& line) {
                return line.find(part) != std::string::npos;
            }));
    }

    // Renders and moves time along with it.
    std::vector<float> listen(std::size_t frames) {
        auto out = output.render(frames);
        time.advance(static_cast<double>(frames) / 44100);
        return out;
    }

    VirtualTime time;
    SimulatedLog log;
    OfflineAudioOutput output;
    ScriptedRandom random{{0}};
    std::shared_ptr<MadeUpTheme> theme = std::make_shared<MadeUpTheme>();
    std::unique_ptr<AudioEngine> engine;
};

} // namespace morvel::test
