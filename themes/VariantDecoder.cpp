#include "themes/VariantDecoder.h"

#include <fmt/format.h>

#include <algorithm>
#include <future>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace morvel {

namespace {

// A theme's files are small: more threads than this would mostly wait for each other, and each may
// hold a file as large as a reader takes.
constexpr std::size_t mostThreads = 2;

BufferLoadError overBudget() {
    return {AudioFileError{
        fmt::format("the theme holds more than {} MiB of audio", VariantDecoder::budget >> 20)}};
}

std::size_t helpersFor(std::size_t files) {
    const std::size_t processors = std::max(std::thread::hardware_concurrency(), 1U);
    return std::min({processors, mostThreads, files}) - 1;
}

// Runs `work` on this thread and on `helpers` others; on fewer where the system gives no more.
template <typename Work>
void onSeveralThreads(std::size_t helpers, const Work& work) {
    std::vector<std::future<void>> running;
    try {
        while (running.size() < helpers)
            running.push_back(std::async(std::launch::async, work));
    } catch (const std::system_error&) {
    }
    work();
    for (std::future<void>& helper : running)
        helper.get();
}

} // namespace

void VariantDecoder::decodeAhead(const std::vector<std::string>& names) {
    if (names.empty())
        return;
    std::vector<std::optional<DecodedVariant>> variants(names.size());
    std::atomic<std::size_t> next = 0;
    std::atomic<std::size_t> bytes = 0;
    onSeveralThreads(helpersFor(names.size()), [&] {
        while (bytes < budget) {
            const std::size_t i = next++;
            if (i >= names.size())
                return;
            variants[i] = decodeVariant(folder_ / names[i]);
            bytes += variants[i]->bytes;
        }
    });
    for (std::size_t i = 0; i < names.size(); ++i)
        if (variants[i])
            ahead_.emplace(names[i], *std::move(variants[i]));
}

const LoadedBuffer& VariantDecoder::decoded(const std::string& name) {
    const auto found = decoded_.find(name);
    if (found != decoded_.end())
        return found->second;
    return decoded_.emplace(name, left_ == 0 ? overBudget() : withinBudget(take(name)))
        .first->second;
}

DecodedVariant VariantDecoder::take(const std::string& name) {
    auto node = ahead_.extract(name);
    return node ? std::move(node.mapped()) : decodeVariant(folder_ / name);
}

LoadedBuffer VariantDecoder::withinBudget(DecodedVariant variant) {
    const bool enough = variant.bytes <= left_;
    left_ = enough ? left_ - variant.bytes : 0;
    if (variant.buffer && !enough)
        return overBudget();
    return std::move(variant.buffer);
}

} // namespace morvel
