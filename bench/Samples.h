// Measured values of one kind, and what a report says of them.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace morvel::bench {

using Time = std::chrono::steady_clock;

inline double secondsSince(Time::time_point start) {
    return std::chrono::duration<double>(Time::now() - start).count();
}

class Samples {
public:
    Samples() = default;
    explicit Samples(std::vector<double> values)
        : values_(std::move(values)) {}

    void add(double value) { values_.push_back(value); }
    std::size_t count() const { return values_.size(); }

    // The value that this share of all is not above; 0 where there are none.
    double at(double share) const {
        if (values_.empty())
            return 0;
        std::vector<double> sorted = values_;
        const auto place = static_cast<std::ptrdiff_t>(
            std::lround(share * static_cast<double>(sorted.size() - 1)));
        std::nth_element(sorted.begin(), sorted.begin() + place, sorted.end());
        return sorted[static_cast<std::size_t>(place)];
    }

    // The counters "median", "p95" and "p99" of values of which less is better.
    void report(benchmark::State& state) const { report(state, 0.95, 0.99); }
    // The same of values of which more is better: so many shares reach them.
    void reportReached(benchmark::State& state) const { report(state, 0.05, 0.01); }

private:
    void report(benchmark::State& state, double p95, double p99) const {
        if (values_.empty()) {
            state.SkipWithError("nothing was measured");
            return;
        }
        state.counters["median"] = at(0.5);
        state.counters["p95"] = at(p95);
        state.counters["p99"] = at(p99);
        state.counters["samples"] = static_cast<double>(count());
    }

    std::vector<double> values_;
};

// Does `work` again and again for as long as the benchmark lasts. A sample is the mean of `batch`
// runs: the clock itself takes some 30 ns. In seconds over `unit`.
template <typename Work>
Samples timed(benchmark::State& state, int batch, double unit, const Work& work) {
    Samples samples;
    for (auto _ : state) {
        const auto start = Time::now();
        for (int i = 0; i < batch; ++i)
            work();
        samples.add(secondsSince(start) / batch / unit);
    }
    return samples;
}

inline constexpr double nanoseconds = 1e-9;
inline constexpr double microseconds = 1e-6;
inline constexpr double milliseconds = 1e-3;

} // namespace morvel::bench
