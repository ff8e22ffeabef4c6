// Linux's adapters, made for the composition. Main thread.
#pragma once

#include "app/SystemServices.h"
#include "platform/Environment.h"
#include "platform/Log.h"

#include <functional>
#include <memory>

namespace morvel {

class LinuxSystem {
public:
    // Needs a QApplication. `log` must outlive it. `exit` is called when the X server has gone
    // away, and does not return.
    LinuxSystem(const Environment& environment, Log& log, std::function<void()> exit);
    ~LinuxSystem();
    LinuxSystem(const LinuxSystem&) = delete;
    LinuxSystem& operator=(const LinuxSystem&) = delete;

    // What they refer to lives as long as this.
    SystemServices services();

    // `show` is called with what the user can do when access to the keyboards could not be given,
    // in a turn of the main run loop. Without it nothing is shown.
    void setHelpHandler(std::function<void(const HelpPage&)> show);

    // In a while, when the start is over, what the first window needs is read from the disk.
    void readWindowsAheadSoon();

    // Whether keys come from an X server, and not from the keyboards themselves.
    bool isX11() const;

private:
    struct Adapters;

    std::unique_ptr<Adapters> adapters_;
};

} // namespace morvel
