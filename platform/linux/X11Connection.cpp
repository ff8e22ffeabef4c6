#include "platform/linux/X11Connection.h"

#include <cstdlib>
#include <string>
#include <utility>

namespace morvel {

std::unique_ptr<X11Connection> X11Connection::open(const std::string& display) {
    int screen = 0;
    xcb_connection_t* connection =
        xcb_connect(display.empty() ? nullptr : display.c_str(), &screen);
    if (xcb_connection_has_error(connection) != 0) {
        xcb_disconnect(connection);
        return nullptr;
    }
    return std::unique_ptr<X11Connection>(new X11Connection(connection, screen));
}

X11Connection::X11Connection(xcb_connection_t* connection, int screen)
    : connection_(connection)
    , screen_(screen)
    , notifier_(xcb_get_file_descriptor(connection), QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [this] { dispatch(); });
}

xcb_window_t X11Connection::root() const {
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(handle()));
    for (int i = 0; i < screen_; ++i)
        xcb_screen_next(&screens);
    return screens.data->root;
}

bool X11Connection::alive() const {
    return xcb_connection_has_error(handle()) == 0;
}

class X11Connection::ActiveObservation : public Observation {
public:
    explicit ActiveObservation(std::shared_ptr<Observer> observer)
        : observer_(std::move(observer)) {}
    ~ActiveObservation() override { observer_->active = false; }
    ActiveObservation(const ActiveObservation&) = delete;
    ActiveObservation& operator=(const ActiveObservation&) = delete;

private:
    std::shared_ptr<Observer> observer_;
};

std::unique_ptr<X11Connection::Observation> X11Connection::observe(EventHandler handler) {
    auto observer = std::make_shared<Observer>(Observer{std::move(handler)});
    observers_.push_back(observer);
    return std::make_unique<ActiveObservation>(std::move(observer));
}

// By index: an observer may add others.
void X11Connection::deliver(const xcb_generic_event_t& event) {
    ++delivering_;
    for (std::size_t i = 0; i < observers_.size(); ++i)
        if (observers_[i]->active)
            observers_[i]->handler(event);
    if (--delivering_ == 0)
        std::erase_if(observers_, [](const auto& observer) { return !observer->active; });
}

void X11Connection::dispatch() {
    struct FreeEvent {
        void operator()(xcb_generic_event_t* event) const { std::free(event); }
    };
    while (
        const std::unique_ptr<xcb_generic_event_t, FreeEvent> event{xcb_poll_for_event(handle())})
        deliver(*event);
    if (!alive() && !reportedLoss_) {
        reportedLoss_ = true;
        notifier_.setEnabled(false);
        // In a turn of its own: the loss may be noticed before the main run loop runs.
        QMetaObject::invokeMethod(
            &notifier_,
            [this] {
                if (lost_)
                    lost_();
            },
            Qt::QueuedConnection);
    }
}

void X11Connection::dispatchLater() {
    QMetaObject::invokeMethod(
        &notifier_, [this] { dispatch(); }, Qt::QueuedConnection);
}

} // namespace morvel
