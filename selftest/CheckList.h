// The checks of one self-test as log lines: a start, one line a check, and a verdict at the end.
// Main thread.
#pragma once

#include "platform/Log.h"

#include <string>
#include <string_view>
#include <vector>

namespace morvel {

class CheckList {
public:
    // `prefix` begins every line, as in "SETTINGSTEST". `log` must outlive the list.
    CheckList(std::string prefix, Log& log);

    // Forgets earlier failures; logs "<prefix> starting".
    void start();

    // Logs "<prefix>   [PASS] <name>", or FAIL, followed by " — <detail>" where there is one.
    // Answers `passed`.
    bool check(std::string_view name, bool passed, std::string_view detail = {});

    // Logs "<prefix> complete — <n> failure(s)" and, where there are any, their names.
    void complete() const;

    // The names of the checks that failed since the start.
    const std::vector<std::string>& failures() const { return failures_; }

private:
    std::string prefix_;
    Log& log_;
    std::vector<std::string> failures_;
};

} // namespace morvel
