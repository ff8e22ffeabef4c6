// A connection to the X server whose events arrive on the main run loop.
//
// Built on XCB, so that a server that goes away is a state to handle and not the end of the
// process. Needs a QCoreApplication; main thread only.
#pragma once

#include <xcb/xcb.h>

#include <QSocketNotifier>
#include <functional>
#include <memory>

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
    xcb_window_t root() const;

    // True until the server has gone away; never true again after that.
    bool alive() const;

    // Who gets the events; an empty function drops them. The handler must not replace itself.
    void setEventHandler(EventHandler handler);

    // Called once, from the main run loop, when the server has gone away.
    void setLostHandler(std::function<void()> handler) { lost_ = std::move(handler); }

    // Delivers what has arrived. Called by the run loop; also to be called after waiting for a
    // reply, since events may have come in with it.
    void dispatch();

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };

    X11Connection(xcb_connection_t* connection, int screen);

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    int screen_;
    QSocketNotifier notifier_;
    EventHandler handler_;
    std::function<void()> lost_;
    bool reportedLoss_ = false;
};

} // namespace morvel
