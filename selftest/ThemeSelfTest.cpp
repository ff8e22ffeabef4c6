#include "selftest/ThemeSelfTest.h"

#include "selftest/OutputFile.h"
#include "selftest/Recording.h"
#include "selftest/ThemeReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <vector>

namespace morvel {

namespace {

constexpr const char* prefix = "THEMETEST";
constexpr auto loop = SoundCategory::dialLoop;
constexpr float loopGain = 0.9F;
constexpr double loopFade = 0.1; // seconds
constexpr double secondsPerRate = 2;
constexpr std::array rates = {0.5F, 0.8F, 1.0F, 1.5F, 2.0F};

std::vector<SoundCategory> oneShots() {
    std::vector<SoundCategory> result;
    std::ranges::copy_if(allSoundCategories(), std::back_inserter(result),
                         [](SoundCategory category) { return category != loop; });
    return result;
}

} // namespace

ThemeSelfTest::ThemeSelfTest(Services services, const Environment& environment)
    : services_(services)
    , recording_(selfTestOutput(environment, "morvel-themetest.wav"))
    , timeline_(services.scheduler) {}

void ThemeSelfTest::run(const SoundTheme& theme) {
    services_.log.line(fmt::format("{} theme '{}' ({})", prefix, theme.id(), theme.name()));
    reportResolution(theme, services_.log, prefix);
    reportPeaks(theme, services_.log, prefix);
    records_ = startSelfTestRecording(services_.audio, services_.log, prefix, recording_);

    const double end = playLoop(playPops(playEachOnce(0.5)));
    timeline_.in(end + 0.4, [this] { complete(); });
}

double ThemeSelfTest::playEachOnce(double time) {
    constexpr double interval = 0.25;
    const auto categories = oneShots();
    for (std::size_t i = 0; i < categories.size(); ++i)
        timeline_.in(time + interval * static_cast<double>(i), [this, i, count = categories.size(),
                                                                category = categories[i]] {
            if (i == 0)
                services_.log.line(
                    fmt::format("{} section 1: {} one-shot categories", prefix, count));
            services_.log.line(fmt::format("{}   play {}", prefix, rawValue(category)));
            services_.audio.play(category, 1, false);
        });
    return time + interval * static_cast<double>(categories.size()) + 0.6;
}

double ThemeSelfTest::playPops(double time) {
    timeline_.in(time, [this] {
        services_.log.line(fmt::format("{} section 2: 6x fidget.pop simultaneously", prefix));
        for (int i = 0; i < 6; ++i)
            services_.audio.play(SoundCategory::pop, 1, false);
    });
    return time + 1.5;
}

double ThemeSelfTest::playLoop(double time) {
    for (const float rate : rates) {
        timeline_.in(time, [this, rate] {
            services_.log.line(
                fmt::format("{} section 3: {} loop at rate {:.3f}", prefix, rawValue(loop), rate));
            services_.audio.startLoop(loop, loopGain, rate);
        });
        time += secondsPerRate;
    }
    timeline_.in(time, [this] {
        if (services_.audio.loopCategory() == loop)
            services_.audio.stopLoop(loopFade);
    });
    return time;
}

void ThemeSelfTest::complete() {
    // Without one of its own, what is recorded is somebody else's.
    if (records_)
        services_.audio.stopRecording();
    services_.log.line(fmt::format("{} complete", prefix));
}

} // namespace morvel
