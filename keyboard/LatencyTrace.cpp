#include "keyboard/LatencyTrace.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace morvel {

void LatencyTrace::record(double deliveryMs, double dispatchMs) {
    constexpr std::size_t eventsPerReport = 20;
    if (deliveryMs > 0)
        deliverySamples_.push_back(deliveryMs);
    latencySamples_.push_back(dispatchMs);
    if (latencySamples_.size() % eventsPerReport != 0)
        return;
    std::string delivery = latencyStatistics(deliverySamples_);
    if (!deliverySamples_.empty())
        delivery += fmt::format(" over {}", deliverySamples_.size());
    log_.line(fmt::format("TRACE latency over {} events (ms) — delivery: {} | dispatch: {}",
                          latencySamples_.size(), delivery, latencyStatistics(latencySamples_)));
}

std::string latencyStatistics(std::vector<double> samples) {
    if (samples.empty())
        return "n/a (no timestamps)";
    std::sort(samples.begin(), samples.end());
    const double sum = std::accumulate(samples.begin(), samples.end(), 0.0);
    return fmt::format("median {:.3f}, mean {:.3f}, max {:.3f}", samples[samples.size() / 2],
                       sum / static_cast<double>(samples.size()), samples.back());
}

} // namespace morvel
