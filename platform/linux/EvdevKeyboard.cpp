#include "platform/linux/EvdevKeyboard.h"

#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <ctime>
#include <utility>

namespace morvel {

namespace {

// Keyboards with a touchpad or a wheel would wake us with every movement. Kernels that cannot be
// told send everything.
void askForKeysAndLightsOnly(int file) {
    const unsigned long types = 1UL << EV_KEY | 1UL << EV_LED;
    input_mask mask{};
    mask.type = EV_SYN; // where the mask of the types themselves is
    mask.codes_size = sizeof types;
    mask.codes_ptr = reinterpret_cast<std::uintptr_t>(&types);
    ::ioctl(file, EVIOCSMASK, &mask);
}

std::uint64_t nanos(const input_event& event) {
    return static_cast<std::uint64_t>(event.input_event_sec) * 1000000000 +
           static_cast<std::uint64_t>(event.input_event_usec) * 1000;
}

} // namespace

std::unique_ptr<EvdevKeyboard> EvdevKeyboard::open(const std::string& path,
                                                   std::function<void()> readable) {
    Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file)
        return nullptr;
    askForKeysAndLightsOnly(file.get());
    libevdev* device = nullptr;
    if (libevdev_new_from_fd(file.get(), &device) < 0)
        return nullptr;
    // Its constructor is private.
    return std::unique_ptr<EvdevKeyboard>(
        new EvdevKeyboard(std::move(file), Device(device), std::move(readable)));
}

// The function lives with the notifier's connection, which outlasts the call it is in.
EvdevKeyboard::EvdevKeyboard(Descriptor file, Device device, std::function<void()> readable)
    : file_(std::move(file))
    , device_(std::move(device))
    , stamped_(libevdev_set_clock_id(device_.get(), CLOCK_MONOTONIC) == 0)
    , notifier_(file_.get(), QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, std::move(readable));
}

std::optional<EvdevKeyboard::Event> EvdevKeyboard::next() {
    while (!gone_) {
        input_event event{};
        const int status =
            libevdev_next_event(device_.get(),
                                catchingUp_ ? static_cast<unsigned>(LIBEVDEV_READ_FLAG_SYNC)
                                            : static_cast<unsigned>(LIBEVDEV_READ_FLAG_NORMAL),
                                &event);
        if (status == -EINTR)
            continue;
        if (status == -EAGAIN) {
            if (!std::exchange(catchingUp_, false))
                return std::nullopt;
            continue;
        }
        if (status < 0) {
            gone_ = true;
            notifier_.setEnabled(false);
            return std::nullopt;
        }
        if (status == LIBEVDEV_READ_STATUS_SYNC && !catchingUp_) {
            catchingUp_ = true;
            continue;
        }
        const std::uint64_t time = stamped_ ? nanos(event) : 0;
        if (event.type == EV_KEY)
            return Event{Event::Kind::key, event.code, event.value, catchingUp_, time};
        if (event.type == EV_LED && event.code == LED_CAPSL)
            return Event{Event::Kind::capsLockLight, event.code, event.value, catchingUp_, time};
    }
    return std::nullopt;
}

bool EvdevKeyboard::isDown(std::uint32_t code) const {
    return libevdev_get_event_value(device_.get(), EV_KEY, code) != 0;
}

std::optional<bool> EvdevKeyboard::capsLockLight() const {
    if (libevdev_has_event_code(device_.get(), EV_LED, LED_CAPSL) == 0)
        return std::nullopt;
    return libevdev_get_event_value(device_.get(), EV_LED, LED_CAPSL) != 0;
}

} // namespace morvel
