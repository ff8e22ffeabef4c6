#include "bench/MachineWatch.h"

#include <sched.h>

#include <algorithm>
#include <chrono>
#include <ctime>

namespace morvel::bench {

namespace {

constexpr std::uint64_t period = 500'000;        // ns
constexpr std::uint64_t shortestPause = 250'000; // ns; a few in a row and a sound server runs dry
constexpr int priority = 1;                      // sound's threads have 4 and more

bool runBeforeOrdinaryThreadsOn(int processor) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(processor, &one);
    const sched_param parameters{.sched_priority = priority};
    return sched_setaffinity(0, sizeof one, &one) == 0 &&
           sched_setscheduler(0, SCHED_FIFO, &parameters) == 0;
}

std::uint64_t now() {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                          std::chrono::steady_clock::now().time_since_epoch())
                                          .count());
}

void sleepUntil(std::uint64_t time) {
    constexpr std::uint64_t second = 1'000'000'000;
    const timespec due{static_cast<std::time_t>(time / second), static_cast<long>(time % second)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, nullptr);
}

} // namespace

MachineWatch::MachineWatch() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    sched_getaffinity(0, sizeof allowed, &allowed);
    for (int i = 0; i < CPU_SETSIZE; ++i)
        if (CPU_ISSET(i, &allowed))
            threads_.emplace_back([this, i](const std::stop_token& done) { watch(done, i); });
}

std::vector<MachinePause> MachineWatch::pauses() const {
    const std::lock_guard lock(mutex_);
    return pauses_;
}

void MachineWatch::watch(const std::stop_token& done, int processor) {
    if (!runBeforeOrdinaryThreadsOn(processor))
        return;
    ++watched_;
    for (std::uint64_t due = now(); !done.stop_requested();) {
        due += period;
        sleepUntil(due);
        const std::uint64_t woken = now();
        if (woken < due + shortestPause)
            continue;
        const std::lock_guard lock(mutex_);
        pauses_.push_back({due, woken});
        due = woken;
    }
}

} // namespace morvel::bench
