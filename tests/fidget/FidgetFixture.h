// Toys with an engine that has no device, in virtual time, and settings of their own.
#pragma once

#include "app/login/LaunchAtLogin.h"
#include "app/settings/AppSettings.h"
#include "app/settings/JsonDefaultsStore.h"
#include "audio/AudioEngine.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

namespace morvel::test {

using Categories = std::vector<SoundCategory>;

// Every category has the same long sound; remembers what the engine asked for.
class RecordingTheme : public SampleResolving {
public:
    RecordingTheme() {
        auto buffer = std::make_shared<PcmBuffer>();
        for (auto& channel : buffer->channels)
            channel.assign(44100, 0.25F);
        buffer_ = std::move(buffer);
    }

    std::optional<ResolvedSample> sample(SoundCategory category) const override {
        asked.push_back(category);
        return ResolvedSample{buffer_, 1, jitterCents};
    }

    float jitterCents = 0;
    mutable Categories asked;

private:
    std::shared_ptr<const PcmBuffer> buffer_;
};

class FidgetTest : public testing::Test {
protected:
    FidgetTest() { audio.setResolver(theme); }

    // What was played since the last call, one after another, without the loop.
    Categories played() {
        Categories sounds;
        std::ranges::copy_if(theme->asked, std::back_inserter(sounds), [](SoundCategory category) {
            return category != SoundCategory::dialLoop;
        });
        theme->asked.clear();
        return sounds;
    }

    // The voice that was handed out first.
    AudioEngine::VoiceState firstVoice() const { return audio.voices()[0]; }

    TemporaryFolder folder;
    VirtualTime time;
    SimulatedLog log;
    ScriptedRandom random{{0}};
    OfflineAudioOutput output;
    AudioEngine audio{{output, time, time, random, log}, false};
    std::shared_ptr<RecordingTheme> theme = std::make_shared<RecordingTheme>();
    SimulatedLoginItem service;
    LaunchAtLogin login{service, ApplicationBundle{{}, "/Applications/Morvel.app", "app.x", {}},
                        InstallationPaths{"/home/x", "/home/x/Downloads", {"/Applications"}}, log};
    JsonDefaultsStore store{folder / "settings.json", time, log};
    AppSettings settings{store, audio, login, log};
};

} // namespace morvel::test
