// Tells the machine's own pauses from a program's: where a hypervisor takes the processors away, or
// the kernel keeps one to itself, nothing that runs on them can be on time.
#pragma once

#include "bench/Pauses.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace morvel::bench {

// Watches from construction to destruction: on each processor that it may use a thread, which only
// real-time threads can hold up, wakes twice a millisecond and notes how late it is. One that held
// up sound's threads would make the drop-outs that it is to explain. Without the right to such
// threads it watches nothing and finds no pause.
class MachineWatch {
public:
    MachineWatch();

    // Those that have ended, of a quarter of a millisecond or more.
    std::vector<MachinePause> pauses() const;
    // How many processors are watched.
    int watched() const { return watched_; }

private:
    void watch(const std::stop_token& done, int processor);

    mutable std::mutex mutex_;
    std::vector<MachinePause> pauses_;
    std::atomic<int> watched_ = 0;
    std::vector<std::jthread> threads_;
};

} // namespace morvel::bench
