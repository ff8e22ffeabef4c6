// A test's own connection to an X server: properties, selections, and waiting for something to be
// so by the server's events.
#pragma once

#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace morvel::test {

// One thread. Every call throws std::runtime_error once the server has gone away.
class XClient {
public:
    static constexpr std::chrono::milliseconds usualLimit = std::chrono::seconds(20);

    explicit XClient(const std::string& display);

    xcb_connection_t* handle() const { return connection_.get(); }
    const xcb_screen_t& screen() const { return *screen_; }
    xcb_window_t root() const { return screen_->root; }

    xcb_atom_t atom(const std::string& name);
    // A property's 32-bit values, or its bytes; empty where the window has none such.
    std::vector<std::uint32_t> values(xcb_window_t window, const std::string& property);
    std::string text(xcb_window_t window, const std::string& property);
    // Who holds a selection; XCB_NONE: nobody.
    xcb_window_t owner(const std::string& selection);

    // From now on these events of `window` (XCB_EVENT_MASK_...) wake awaitUntil.
    void watch(xcb_window_t window, std::uint32_t events);
    // So does a new owner of the selection, and anything that is painted on the screen.
    void watchOwner(const std::string& selection);
    void watchPictures();

    // Asks `done` now and after every event that is watched, until it answers true or `limit` has
    // passed; answers whether it did.
    bool awaitUntil(const std::function<bool()>& done,
                    std::chrono::milliseconds limit = usualLimit);

    // Returns once the server has done all that this client asked for, as every call does that
    // answers something.
    void settle();

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };

    bool takeEvents();

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    const xcb_screen_t* screen_ = nullptr;
    std::map<std::string, xcb_atom_t> atoms_;
    std::uint32_t damage_ = 0;
    std::uint8_t damageEvent_ = 0;
};

// What a request answers, freed when done with; null where the server refused.
template <typename Reply>
struct FreeReply {
    void operator()(Reply* reply) const { std::free(reply); }
};
template <typename Reply>
using ReplyPointer = std::unique_ptr<Reply, FreeReply<Reply>>;
template <typename Reply>
ReplyPointer<Reply> held(Reply* reply) {
    return ReplyPointer<Reply>(reply);
}

} // namespace morvel::test
