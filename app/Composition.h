// Every long-lived object of the running program, built once, each with what it depends on, on any
// system. Main thread.
#pragma once

#include "app/SystemServices.h"
#include "app/instance/InstanceRequest.h"
#include "platform/Environment.h"
#include "platform/Log.h"

#include <functional>
#include <memory>

namespace morvel {

class Composition {
public:
    // Needs a QApplication. `log` and all that `system` refers to must outlive the composition.
    // `quit` ends the main loop.
    Composition(const SystemServices& system, const Environment& environment, Log& log,
                std::function<void()> quit);
    ~Composition();
    Composition(const Composition&) = delete;
    Composition& operator=(const Composition&) = delete;

    // The launch sequence.
    void launch();

    // What another start of the program asks for.
    void serve(InstanceRequest request);

    // In a window of its own, in front of all others.
    void showHelp(const HelpPage& page);

    // Returns once they are on the disk.
    void saveSettings();

    // Saves the settings and gives back what was taken from the system. Does nothing the second
    // time.
    void terminate();

    // For the end of the process once the display server has gone away, whoever has noticed: lets
    // go of the keyboard and saves the settings, and touches nothing that draws.
    void displayLost();

private:
    struct Objects;

    std::unique_ptr<Objects> objects_;
};

} // namespace morvel
