// Tells the machine's own pauses from a program's: where a hypervisor takes the processors away,
// or the kernel keeps one to itself, nothing that runs on them can be on time.
#pragma once

#include "bench/Pauses.h"

#include <mutex>
#include <thread>
#include <vector>

namespace morvel::bench {

// Watches from construction to destruction: on each processor a thread before which the scheduler
// puts only those of sound wakes up twice a millisecond, and sees how late it is. One that went
// before sound's, too, would make the drop-outs that it is to explain. Without the right to such
// threads it watches nothing and finds no pause.
class MachineWatch {
public:
    MachineWatch();

    // Those that have ended, of a quarter of a millisecond or more.
    std::vector<MachinePause> pauses() const;

private:
    void watch(const std::stop_token& done, unsigned processor);

    mutable std::mutex mutex_;
    std::vector<MachinePause> pauses_;
    std::vector<std::jthread> threads_;
};

} // namespace morvel::bench
