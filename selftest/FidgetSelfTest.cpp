#include "selftest/FidgetSelfTest.h"

#include "fidget/DialTickCounter.h"
#include "fidget/FidgetSound.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <utility>

namespace morvel {

namespace {

constexpr double tolerance = 0.001; // degrees
constexpr double loopFade = 0.1;    // seconds

// The ticks of `events` turns by `degrees` each.
int ticks(DialTickCounter& counter, int events, double degrees) {
    int sum = 0;
    for (int i = 0; i < events; ++i)
        sum += counter.advance(degrees);
    return sum;
}

int ticksOfFresh(int events, double degrees) {
    DialTickCounter counter;
    return ticks(counter, events, degrees);
}

} // namespace

FidgetSelfTest::FidgetSelfTest(Services services)
    : services_(std::move(services))
    , timeline_(services_.scheduler) {}

void FidgetSelfTest::run() {
    checkSeam();
    checkTickRate();
    checkLoopOwnership();
    timeline_.in(0.5, [this] {
        line("complete");
        services_.terminate();
    });
}

void FidgetSelfTest::checkSeam() {
    line("1: shortest angular delta across the ±180° seam");
    constexpr std::array<SeamCase, 6> cases = {{{10, 20, 10},
                                                {20, 10, -10},
                                                {179, -179, 2},
                                                {-179, 179, -2},
                                                {0, 180, 180},
                                                {350, 10, 20}}};
    for (const SeamCase& seam : cases)
        line(describe(seam, shortestAngularDelta(seam.from, seam.to)));
}

std::string FidgetSelfTest::describe(const SeamCase& seam, double delta) {
    return fmt::format("  {:7.1f}° -> {:7.1f}°  delta {:7.1f}°  expected {:7.1f}°  {}", seam.from,
                       seam.to, delta, seam.expected,
                       std::abs(delta - seam.expected) < tolerance ? "ok" : "WRONG");
}

void FidgetSelfTest::checkTickRate() {
    line("2: ticks scale with rotation, not with event count");
    for (const int events : {120, 60, 24, 12})
        line(fmt::format("  360° over {:3} events -> {:2} ticks (expect 24)", events,
                         ticksOfFresh(events, 360.0 / events)));
    line(fmt::format("  720° over 240 events -> {} ticks (expect 48)", ticksOfFresh(240, 3)));
    DialTickCounter counter;
    const int onwards = ticks(counter, 30, 6);
    const int back = ticks(counter, 30, -6);
    line(fmt::format("  +180° then -180° -> {} then {} ticks (expect 12 and 12)", onwards, back));
    line(fmt::format("  single 3600° jump -> {} ticks (clamped at {})", ticksOfFresh(1, 3600),
                     DialTickCounter::maximumTicks));
}

void FidgetSelfTest::checkLoopOwnership() {
    line("3: toy loop teardown, and the category guard");
    FidgetSound(services_.settings, services_.audio).startLoop(SoundCategory::dialLoop, 0.5F, 1);
    line(fmt::format("  after startLoop(dialLoop): looping={}", looping()));
    tearDown(SoundCategory::pop);
    line(fmt::format("  after stopLoop(pop): looping={} (dial must survive)", looping()));
    tearDown(SoundCategory::dialLoop);
    line(fmt::format("  after stopLoop(dialLoop): looping={} (must be none)", looping()));
    services_.audio.stopLoop(0);
}

void FidgetSelfTest::tearDown(SoundCategory category) {
    if (services_.audio.loopCategory() == category)
        services_.audio.stopLoop(loopFade);
}

std::string FidgetSelfTest::looping() const {
    const auto category = services_.audio.loopCategory();
    return std::string(category ? rawValue(*category) : "none");
}

void FidgetSelfTest::line(const std::string& text) {
    services_.log.line(fmt::format("FDTEST {}", text));
}

} // namespace morvel
