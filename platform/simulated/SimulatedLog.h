// A log that a test can read.
#pragma once

#include "platform/Log.h"

#include <mutex>
#include <string>
#include <vector>

namespace morvel {

class SimulatedLog : public Log {
public:
    // The lines so far, complete with their prefix.
    std::vector<std::string> lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }
    void clear() {
        const std::lock_guard lock(mutex_);
        lines_.clear();
    }

protected:
    void write(const std::string& line) override {
        const std::lock_guard lock(mutex_);
        lines_.push_back(line);
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

} // namespace morvel
