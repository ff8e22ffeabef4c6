#include "selftest/AudioSelfTest.h"

#include "selftest/OutputFile.h"
#include "selftest/Recording.h"

#include <fmt/format.h>

#include <utility>

namespace morvel {

namespace {

constexpr auto burst = SoundCategory::popReset;
constexpr auto key = SoundCategory::keyDown;

} // namespace

AudioSelfTest::AudioSelfTest(Services services, const Environment& environment)
    : services_(std::move(services))
    , recording_(selfTestOutput(environment, "morvel-selftest.wav"))
    , timeline_(services_.scheduler) {}

void AudioSelfTest::run() {
    if (!startSelfTestRecording(services_.audio, services_.log, "SELFTEST", recording_)) {
        services_.terminate();
        return;
    }
    playSeries(0.5, "section 1: single popReset", burst, 1, 0);
    timeline_.in(1.5, [this] { playAtOnce(); });
    playSeries(3.0, "section 3: 8x keyDown at 40 ms", key, 8, 0.04);
    playSeries(4.5, "section 4: 10x keyDown at 300 ms", key, 10, 0.3);
    timeline_.in(8.0, [this] {
        line("section 5: configuration change mid-run");
        services_.audio.simulateConfigurationChange();
    });
    timeline_.in(8.8, [this] { tellOfRestart(); });
    timeline_.in(10.3, [this] {
        line("complete");
        services_.terminate();
    });
}

void AudioSelfTest::line(const char* text) {
    services_.log.line(fmt::format("SELFTEST {}", text));
}

void AudioSelfTest::playSeries(double time, const char* text, SoundCategory category, int count,
                               double interval) {
    for (int i = 0; i < count; ++i)
        timeline_.in(time + interval * i, [this, text, category, first = i == 0] {
            if (first)
                line(text);
            services_.audio.play(category, 1, false);
        });
}

void AudioSelfTest::playAtOnce() {
    line("section 2: 6x popReset simultaneously");
    for (int i = 0; i < 6; ++i)
        services_.audio.playTraced(burst, 1, false);
}

void AudioSelfTest::tellOfRestart() {
    services_.log.line(
        fmt::format("SELFTEST   engine running after restart: {}", services_.audio.isRunning()));
    line("  playing popReset after restart (must be audible)");
    services_.audio.play(burst, 1, false);
}

} // namespace morvel
