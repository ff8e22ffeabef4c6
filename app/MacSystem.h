// macOS's adapters, made for the composition. Main thread.
#pragma once

#include "app/SystemServices.h"
#include "platform/Environment.h"
#include "platform/Log.h"

#include <memory>

namespace morvel {

class MacSystem {
public:
    // Needs a QApplication. `log` must outlive it.
    MacSystem(const Environment& environment, Log& log);
    ~MacSystem();
    MacSystem(const MacSystem&) = delete;
    MacSystem& operator=(const MacSystem&) = delete;

    // What they refer to lives as long as this.
    SystemServices services();

private:
    struct Adapters;

    std::unique_ptr<Adapters> adapters_;
};

} // namespace morvel
