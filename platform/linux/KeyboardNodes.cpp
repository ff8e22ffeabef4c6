#include "platform/linux/KeyboardNodes.h"

#include <linux/input-event-codes.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstddef>
#include <string_view>
#include <utility>

namespace morvel {

namespace {

constexpr std::array typingKeys = {
    KEY_Q,         KEY_W,   KEY_E,        KEY_R,         KEY_T,       KEY_Y,         KEY_U,
    KEY_I,         KEY_O,   KEY_P,        KEY_A,         KEY_S,       KEY_D,         KEY_F,
    KEY_G,         KEY_H,   KEY_J,        KEY_K,         KEY_L,       KEY_Z,         KEY_X,
    KEY_C,         KEY_V,   KEY_B,        KEY_N,         KEY_M,       KEY_SPACE,     KEY_KP0,
    KEY_KP1,       KEY_KP2, KEY_KP3,      KEY_KP4,       KEY_KP5,     KEY_KP6,       KEY_KP7,
    KEY_KP8,       KEY_KP9, KEY_LEFTCTRL, KEY_LEFTSHIFT, KEY_LEFTALT, KEY_RIGHTCTRL, KEY_RIGHTALT,
    KEY_RIGHTSHIFT};

std::string_view text(const char* value) {
    return value == nullptr ? std::string_view() : std::string_view(value);
}

// The kernel writes its bits as hexadecimal words, the most significant first.
bool hasTypingKey(std::string_view capabilities) {
    constexpr std::size_t wordBits = sizeof(unsigned long) * CHAR_BIT;
    std::vector<unsigned long> words;
    while (!capabilities.empty()) {
        const std::size_t end = std::min(capabilities.find_first_of(" \n"), capabilities.size());
        unsigned long word = 0;
        if (std::from_chars(capabilities.data(), capabilities.data() + end, word, 16).ec ==
            std::errc())
            words.insert(words.begin(), word);
        capabilities.remove_prefix(std::min(end + 1, capabilities.size()));
    }
    return std::any_of(typingKeys.begin(), typingKeys.end(), [&words](int key) {
        const auto code = static_cast<std::size_t>(key);
        return code / wordBits < words.size() &&
               (words[code / wordBits] >> (code % wordBits) & 1) != 0;
    });
}

// The event device stands below the device that has the keys.
bool isKeyboard(udev_device& device) {
    if (!text(udev_device_get_sysname(&device)).starts_with("event") ||
        udev_device_get_devnode(&device) == nullptr)
        return false;
    if (text(udev_device_get_property_value(&device, "ID_INPUT_KEYBOARD")) != "1" &&
        text(udev_device_get_property_value(&device, "ID_INPUT_KEY")) != "1")
        return false;
    udev_device* const keys = udev_device_get_parent(&device);
    return keys != nullptr &&
           hasTypingKey(text(udev_device_get_sysattr_value(keys, "capabilities/key")));
}

std::string_view seatOf(udev_device& device) {
    const std::string_view seat = text(udev_device_get_property_value(&device, "ID_SEAT"));
    return seat.empty() ? "seat0" : seat;
}

// Not by opening it: that can wake a sleeping device, and closing one waits for the kernel.
bool canRead(const std::string& path) {
    return ::access(path.c_str(), R_OK) == 0;
}

std::string seatAtPresent(const LoginSession& session) {
    return session.isActive() ? session.seat() : std::string();
}

} // namespace

KeyboardNodes::KeyboardNodes(LoginSession& session, Log& log)
    : session_(&session)
    , log_(&log)
    , seat_(seatAtPresent(session))
    , udev_(udev_new()) {
    session.setChangeHandler([this, &session] { follow(session); });
    if (seat_.empty())
        tellWhoseTheyAre();
    start();
}

KeyboardNodes::KeyboardNodes(std::string seat)
    : seat_(std::move(seat))
    , udev_(udev_new()) {
    start();
}

KeyboardNodes::~KeyboardNodes() {
    if (session_ != nullptr)
        session_->setChangeHandler(nullptr);
}

void KeyboardNodes::follow(const LoginSession& session) {
    std::string seat = seatAtPresent(session);
    if (seat == seat_)
        return;
    const bool heardBefore = !seat_.empty();
    seat_ = std::move(seat);
    if (heardBefore != !seat_.empty())
        tellWhoseTheyAre();
    nodes_.clear();
    announce();
    if (!udev_ || seat_.empty())
        return;
    findAll();
    announce();
}

void KeyboardNodes::tellWhoseTheyAre() const {
    log_->line(seat_.empty() ? "The keyboards are not this session's at present — no key is heard"
                             : "The keyboards are this session's again");
}

void KeyboardNodes::start() {
    if (!udev_)
        return;
    startMonitor(); // first, so that none is missed between the two
    findAll();
}

void KeyboardNodes::startMonitor() {
    Monitor monitor(udev_monitor_new_from_netlink(udev_.get(), "udev"));
    if (!monitor ||
        udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "input", nullptr) < 0 ||
        udev_monitor_enable_receiving(monitor.get()) < 0)
        return;
    monitor_ = std::move(monitor);
    notifier_ = std::make_unique<QSocketNotifier>(udev_monitor_get_fd(monitor_.get()),
                                                  QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this] { receive(); });
}

std::vector<KeyboardNodes::Device> KeyboardNodes::search() const {
    std::vector<Device> found;
    const Handle<udev_enumerate, udev_enumerate_unref> search(udev_enumerate_new(udev_.get()));
    if (!search || udev_enumerate_add_match_subsystem(search.get(), "input") < 0 ||
        udev_enumerate_add_match_sysname(search.get(), "event*") < 0 ||
        udev_enumerate_scan_devices(search.get()) < 0)
        return found;
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(search.get())) {
        Device device(udev_device_new_from_syspath(udev_.get(), udev_list_entry_get_name(entry)));
        if (device && isOurs(*device))
            found.push_back(std::move(device));
    }
    return found;
}

void KeyboardNodes::findAll() {
    for (const Device& device : search())
        take(*device);
}

void KeyboardNodes::receive() {
    for (;;) {
        errno = 0;
        if (const Device device{udev_monitor_receive_device(monitor_.get())})
            receive(*device);
        else if (errno == ENOBUFS)
            reconcile();
        else
            return;
    }
}

void KeyboardNodes::receive(udev_device& device) {
    const std::string_view action = text(udev_device_get_action(&device));
    const std::string_view name = text(udev_device_get_syspath(&device));
    const bool wanted = action != "remove" && isOurs(device);
    const auto known = std::find_if(nodes_.begin(), nodes_.end(),
                                    [name](const Node& node) { return node.device == name; });
    if (known == nodes_.end() && !wanted)
        return;
    if (known != nodes_.end() && wanted && action != "add") {
        known->readable = canRead(known->path);
    } else {
        if (known != nodes_.end())
            nodes_.erase(known);
        if (wanted)
            take(device);
    }
    announce();
}

// More has happened than udev's queue holds, and nobody knows what.
void KeyboardNodes::reconcile() {
    const std::vector<Device> present = search();
    std::erase_if(nodes_, [&present](const Node& node) {
        return std::none_of(present.begin(), present.end(), [&node](const Device& device) {
            return node.device == text(udev_device_get_syspath(device.get()));
        });
    });
    for (const Device& device : present) {
        const std::string_view name = text(udev_device_get_syspath(device.get()));
        const auto known = std::find_if(nodes_.begin(), nodes_.end(),
                                        [name](const Node& node) { return node.device == name; });
        if (known == nodes_.end())
            take(*device);
        else
            known->readable = canRead(known->path);
    }
    announce();
}

bool KeyboardNodes::isOurs(udev_device& device) const {
    return seatOf(device) == seat_ && isKeyboard(device);
}

void KeyboardNodes::take(udev_device& device) {
    std::string path = udev_device_get_devnode(&device);
    const bool readable = canRead(path);
    const bool joystick = text(udev_device_get_property_value(&device, "ID_INPUT_JOYSTICK")) == "1";
    nodes_.push_back(
        {++lastId_, udev_device_get_syspath(&device), std::move(path), readable, joystick});
}

void KeyboardNodes::refresh() {
    for (Node& node : nodes_)
        node.readable = canRead(node.path);
    announce();
}

void KeyboardNodes::announce() const {
    if (changed_)
        changed_();
}

} // namespace morvel
