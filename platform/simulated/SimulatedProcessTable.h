// A family of processes that a test made up.
#pragma once

#include "platform/ProcessTable.h"

#include <map>
#include <utility>

namespace morvel {

class SimulatedProcessTable : public ProcessTable {
public:
    struct Process {
        std::optional<std::string> path;
        std::optional<std::int32_t> parent;
    };

    SimulatedProcessTable(std::int32_t own, std::map<std::int32_t, Process> family)
        : own_(own)
        , processes(std::move(family)) {}

    std::int32_t ownPid() const override { return own_; }
    std::optional<std::string> executablePath(std::int32_t pid) const override {
        const auto found = processes.find(pid);
        return found == processes.end() ? std::nullopt : found->second.path;
    }
    std::optional<std::int32_t> parentPid(std::int32_t pid) const override {
        const auto found = processes.find(pid);
        return found == processes.end() ? std::nullopt : found->second.parent;
    }

private:
    std::int32_t own_;

public:
    std::map<std::int32_t, Process> processes;
};

} // namespace morvel
