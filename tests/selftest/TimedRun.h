// What a self-test does in virtual time: its log and the sounds it asks for, each with the second
// since the start.
#pragma once

#include "audio/sample/SampleResolving.h"
#include "platform/Environment.h"
#include "platform/Log.h"
#include "platform/simulated/VirtualTime.h"

#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace morvel::test {

class TimedLines {
public:
    explicit TimedLines(const VirtualTime& time)
        : time_(time)
        , start_(time.now()) {}

    void add(std::string_view line) {
        lines_.push_back(fmt::format("{:.3f} {}", time_.now() - start_, line));
    }
    const std::vector<std::string>& lines() const { return lines_; }
    void clear() { lines_.clear(); }

private:
    const VirtualTime& time_;
    const double start_;
    std::vector<std::string> lines_;
};

// Lines complete with their prefix.
class TimedLog : public Log, public TimedLines {
public:
    using TimedLines::TimedLines;

protected:
    void write(const std::string& line) override { add(line); }
};

// Another resolver's samples, and which were asked for.
class TimedSounds : public SampleResolving {
public:
    TimedSounds(const VirtualTime& time, std::shared_ptr<const SampleResolving> theme)
        : asked(time)
        , theme_(std::move(theme)) {}

    std::optional<ResolvedSample> sample(SoundCategory category) const override {
        asked.add(rawValue(category));
        return theme_->sample(category);
    }

    mutable TimedLines asked;

private:
    std::shared_ptr<const SampleResolving> theme_;
};

// Another folder for temporary files, while it lasts.
class TemporaryFiles {
public:
    explicit TemporaryFiles(const std::filesystem::path& folder) {
        if (const char* usual = std::getenv("TMPDIR"))
            usual_ = usual;
        ::setenv("TMPDIR", folder.c_str(), 1);
    }
    ~TemporaryFiles() {
        if (usual_)
            ::setenv("TMPDIR", usual_->c_str(), 1);
        else
            ::unsetenv("TMPDIR");
    }
    TemporaryFiles(const TemporaryFiles&) = delete;
    TemporaryFiles& operator=(const TemporaryFiles&) = delete;

private:
    std::optional<std::string> usual_;
};

inline Environment environmentOf(std::map<std::string, std::string> variables) {
    return [variables = std::move(variables)](const std::string& name) {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
}

} // namespace morvel::test
