// A connection to the X server whose events arrive on the main run loop.
//
// Built on XCB, so that a server that goes away is a state to handle and not the end of the
// process. Needs a QCoreApplication; main thread only.
#pragma once

#include <xcb/xcb.h>

#include <QSocketNotifier>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace morvel {

class X11Connection {
public:
    using EventHandler = std::function<void(const xcb_generic_event_t& event)>;

    // Connects to `display` (empty: the one of the environment). Answers null when there is no
    // server to be had.
    static std::unique_ptr<X11Connection> open(const std::string& display = {});

    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    xcb_connection_t* handle() const { return connection_.get(); }
    int screen() const { return screen_; }
    xcb_window_t root() const;

    // True until the server has gone away; never true again after that.
    bool alive() const;

    // Destroying it ends the observation, also from within the handler and after the connection.
    class Observation {
    public:
        virtual ~Observation() = default;
    };

    // Calls `handler` with every event from now on; events without an observer are dropped.
    [[nodiscard]] std::unique_ptr<Observation> observe(EventHandler handler);

    // Called once, from the main run loop, when the server has gone away.
    void setLostHandler(std::function<void()> handler) { lost_ = std::move(handler); }

    // Delivers what has arrived. Called by the run loop; also to be called after waiting for a
    // reply, since events may have come in with it.
    void dispatch();
    // The same in a later turn of the main run loop, for where an event would come untimely.
    void dispatchLater();

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };

    struct Observer {
        EventHandler handler;
        bool active = true;
    };
    class ActiveObservation;

    X11Connection(xcb_connection_t* connection, int screen);
    void deliver(const xcb_generic_event_t& event);

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    int screen_;
    QSocketNotifier notifier_;
    std::vector<std::shared_ptr<Observer>> observers_;
    int delivering_ = 0; // an observer may run the main run loop
    std::function<void()> lost_;
    bool reportedLoss_ = false;
};

} // namespace morvel
