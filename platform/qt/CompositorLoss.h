// The end of a Wayland compositor, of which Qt tells nobody: whichever of its threads notices
// writes a message and ends the process there and then, with nothing of ours run. That message is
// the one moment left, and this listens for it.
#pragma once

#include <functional>

namespace morvel {

class CompositorLoss {
public:
    // `lost` is called on the main thread, at any place where Qt may look at the connection, and is
    // to end the process. A thread that has noticed is held meanwhile, for some seconds at most.
    // Takes Qt's message handler; messages are written as before. One instance at a time, main
    // thread.
    explicit CompositorLoss(std::function<void()> lost);
    ~CompositorLoss();
    // Call when the main loop has ended: no other thread is held any more, as that would only hold
    // up the end. What the main thread itself notices is still told.
    void loopEnded();
    CompositorLoss(const CompositorLoss&) = delete;
    CompositorLoss& operator=(const CompositorLoss&) = delete;
};

} // namespace morvel
