// Runs the benchmarks of a program and tells how far it has come. The figures go where
// --benchmark_out says.

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {

class Progress : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const auto median = run.counters.find("median");
            std::string found = run.error_occurred ? run.error_message : "done";
            if (!run.error_occurred && median != run.counters.end())
                found = fmt::format("median {:.4g}", median->second.value);
            const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start_;
            fmt::print("{:6.1f} s  {}: {}\n", passed.count(), run.run_name.str(), found);
        }
        std::fflush(stdout);
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

} // namespace

int main(int count, char** arguments) {
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments))
        return 2;
    Progress progress;
    try {
        benchmark::RunSpecifiedBenchmarks(&progress);
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}\n", error.what());
        return 1;
    }
    benchmark::Shutdown();
    return 0;
}
