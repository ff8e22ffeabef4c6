#include "selftest/CheckList.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <utility>

namespace morvel {

CheckList::CheckList(std::string prefix, Log& log)
    : prefix_(std::move(prefix))
    , log_(log) {}

void CheckList::start() {
    failures_.clear();
    log_.line(fmt::format("{} starting", prefix_));
}

bool CheckList::check(std::string_view name, bool passed, std::string_view detail) {
    log_.line(fmt::format("{}   [{}] {}{}{}", prefix_, passed ? "PASS" : "FAIL", name,
                          detail.empty() ? "" : " — ", detail));
    if (!passed)
        failures_.emplace_back(name);
    return passed;
}

void CheckList::complete() const {
    log_.line(fmt::format("{} complete — {} failure(s){}{}", prefix_, failures_.size(),
                          failures_.empty() ? "" : ": ", fmt::join(failures_, ", ")));
}

} // namespace morvel
