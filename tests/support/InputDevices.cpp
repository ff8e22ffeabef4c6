#include "tests/support/InputDevices.h"

#include <linux/input.h>
#include <sys/stat.h>
#include <termios.h>
#include <umockdev.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <cerrno>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <span>
#include <stdexcept>
#include <utility>

namespace morvel::test {

namespace {

constexpr std::size_t wordBits = sizeof(unsigned long) * 8;

void check(bool good, const char* what) {
    if (!good)
        throw std::runtime_error(what);
}

template <std::size_t bits>
std::array<unsigned long, (bits + wordBits - 1) / wordBits> words(const std::bitset<bits>& set) {
    std::array<unsigned long, (bits + wordBits - 1) / wordBits> result{};
    for (std::size_t i = 0; i < bits; ++i)
        if (set[i])
            result[i / wordBits] |= 1UL << (i % wordBits);
    return result;
}

// As the kernel writes it into sysfs.
std::string capabilities(const std::bitset<KEY_CNT>& keys) {
    const auto all = words(keys);
    std::string text;
    for (std::size_t i = all.size(); i-- > 0;) {
        char word[32];
        std::snprintf(word, sizeof word, "%lx", all[i]);
        if (!text.empty() || all[i] != 0 || i == 0)
            text += (text.empty() ? "" : " ") + std::string(word);
    }
    return text;
}

void store(UMockdevIoctlData& data, const void* value, std::size_t size) {
    const std::size_t count = std::min(size, static_cast<std::size_t>(data.data_len));
    std::vector<guint8> bytes(count);
    std::memcpy(bytes.data(), value, count);
    umockdev_ioctl_data_update(&data, 0, bytes.data(), static_cast<gint>(count));
}

} // namespace

struct InputDevice::Kernel {
    using Client = std::shared_ptr<UMockdevIoctlClient>;

    ~Kernel() { g_object_unref(requests); }

    void lose();
    void send(std::span<const input_event> events);
    input_event stamped(std::uint16_t type, std::uint16_t code, std::int32_t value,
                        std::uint64_t nanos = 0) const;
    gboolean answer(UMockdevIoctlClient* client);
    bool answer(unsigned request, UMockdevIoctlData& data);

    static gboolean handleIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer kernel) {
        return static_cast<Kernel*>(kernel)->answer(client);
    }
    static gboolean handleRead(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer kernel) {
        auto* const self = static_cast<Kernel*>(kernel);
        const std::lock_guard lock(self->mutex);
        if (std::none_of(self->lost.begin(), self->lost.end(),
                         [client](const Client& each) { return each.get() == client; }))
            return FALSE;
        umockdev_ioctl_client_complete(client, -1, ENODEV);
        return TRUE;
    }
    static void connected(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer kernel) {
        auto* const self = static_cast<Kernel*>(kernel);
        const std::lock_guard lock(self->mutex);
        self->reading.emplace_back(static_cast<UMockdevIoctlClient*>(g_object_ref(client)),
                                   g_object_unref);
        self->changed.notify_all();
    }
    // umockdev tells of those that come, not of those that go. Under the mutex.
    void forgetTheGone() {
        for (auto& clients : {&reading, &lost})
            std::erase_if(*clients, [](const Client& client) {
                return umockdev_ioctl_client_get_connected(client.get()) == FALSE;
            });
    }

    UMockdevTestbed* testbed = nullptr;
    UMockdevIoctlBase* requests = umockdev_ioctl_base_new();
    std::string node;
    std::string parent;
    std::string device;
    int file = -1; // the kernel's end
    bool plugged = true;

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::bitset<KEY_CNT> keys;
    std::bitset<KEY_CNT> down;
    bool hasLight = false;
    bool lightOn = false;
    std::vector<Client> reading;
    std::vector<Client> lost; // of those
    int clock = -1;
    unsigned long eventTypes = 0;
    bool grabbed = false;
    int stateReads = 0;
};

void InputDevice::Kernel::send(std::span<const input_event> events) {
    {
        const std::lock_guard lock(mutex);
        forgetTheGone();
        if (reading.empty())
            return;
    }
    check(::write(file, events.data(), events.size_bytes()) ==
              static_cast<ssize_t>(events.size_bytes()),
          "cannot write to an input device");
}

input_event InputDevice::Kernel::stamped(std::uint16_t type, std::uint16_t code, std::int32_t value,
                                         std::uint64_t nanos) const {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    input_event event{};
    constexpr std::uint64_t second = 1000000000;
    event.input_event_sec =
        nanos == 0 ? now.tv_sec : static_cast<decltype(event.input_event_sec)>(nanos / second);
    event.input_event_usec =
        nanos == 0 ? now.tv_nsec / 1000
                   : static_cast<decltype(event.input_event_usec)>(nanos % second / 1000);
    event.type = type;
    event.code = code;
    event.value = value;
    return event;
}

gboolean InputDevice::Kernel::answer(UMockdevIoctlClient* client) {
    const auto request = static_cast<unsigned>(umockdev_ioctl_client_get_request(client));
    if (_IOC_TYPE(request) != 'E')
        return FALSE;
    GError* error = nullptr;
    UMockdevIoctlData* const data = umockdev_ioctl_data_resolve(
        umockdev_ioctl_client_get_arg(client), 0, _IOC_SIZE(request), &error);
    const std::lock_guard lock(mutex);
    const bool known = data != nullptr && answer(request, *data);
    umockdev_ioctl_client_complete(client, known ? 0 : -1, known ? 0 : ENOENT);
    if (data != nullptr)
        umockdev_ioctl_data_unref(data);
    return TRUE;
}

bool InputDevice::Kernel::answer(unsigned request, UMockdevIoctlData& data) {
    const unsigned number = _IOC_NR(request);
    const std::bitset<LED_CNT> lights(hasLight ? 1UL << LED_CAPSL : 0);
    const std::bitset<LED_CNT> lit(lightOn ? 1UL << LED_CAPSL : 0);
    const auto storeBits = [&data](const auto& set) {
        const auto all = words(set);
        store(data, all.data(), sizeof all);
        return true;
    };
    switch (number) {
    case _IOC_NR(EVIOCGVERSION): {
        const int version = EV_VERSION;
        store(data, &version, sizeof version);
        return true;
    }
    case _IOC_NR(EVIOCGID): {
        const input_id id{BUS_USB, 1, 2, 3};
        store(data, &id, sizeof id);
        return true;
    }
    case _IOC_NR(EVIOCGNAME(0)): {
        const char name[] = "Test keyboard";
        store(data, name, sizeof name);
        return true;
    }
    case _IOC_NR(EVIOCGPROP(0)):
    case _IOC_NR(EVIOCGSW(0)):
    case _IOC_NR(EVIOCGREP):
        return true;
    case _IOC_NR(EVIOCGKEY(0)):
        ++stateReads;
        return storeBits(down);
    case _IOC_NR(EVIOCGLED(0)):
        return storeBits(lit);
    case _IOC_NR(EVIOCGBIT(0, 0)):
        return storeBits(
            std::bitset<EV_CNT>(1UL << EV_SYN | 1UL << EV_KEY | (hasLight ? 1UL << EV_LED : 0)));
    case _IOC_NR(EVIOCGBIT(EV_KEY, 0)):
        return storeBits(keys);
    case _IOC_NR(EVIOCGBIT(EV_LED, 0)):
        return storeBits(lights);
    case _IOC_NR(EVIOCSCLOCKID):
        std::memcpy(&clock, data.data, sizeof clock);
        changed.notify_all();
        return true;
    case _IOC_NR(EVIOCSMASK): {
        input_mask mask{};
        std::memcpy(&mask, data.data, sizeof mask);
        GError* error = nullptr;
        UMockdevIoctlData* const bits = umockdev_ioctl_data_resolve(
            &data, offsetof(input_mask, codes_ptr), mask.codes_size, &error);
        if (bits == nullptr)
            return false;
        if (mask.type == EV_SYN && mask.codes_size == sizeof eventTypes)
            std::memcpy(&eventTypes, bits->data, sizeof eventTypes);
        umockdev_ioctl_data_unref(bits);
        return true;
    }
    case _IOC_NR(EVIOCGRAB):
        grabbed = true;
        return true;
    default: // of other types of events it has none
        return number > _IOC_NR(EVIOCGBIT(0, 0)) && number < _IOC_NR(EVIOCGBIT(EV_CNT, 0));
    }
}

void InputDevice::Kernel::lose() {
    {
        const std::lock_guard lock(mutex);
        lost = reading;
    }
    send(std::array{stamped(EV_SYN, SYN_REPORT, 0)}); // wakes them
}

InputDevice::InputDevice(std::unique_ptr<Kernel> kernel)
    : kernel_(std::move(kernel)) {}

InputDevice::~InputDevice() = default;

void InputDevice::key(int code, int value, std::uint64_t timestampNanos) {
    {
        const std::lock_guard lock(kernel_->mutex);
        kernel_->down[static_cast<std::size_t>(code)] = value != 0;
    }
    kernel_->send(std::array{
        kernel_->stamped(EV_KEY, static_cast<std::uint16_t>(code), value, timestampNanos),
        kernel_->stamped(EV_SYN, SYN_REPORT, 0, timestampNanos)});
}

void InputDevice::type(int code) {
    key(code, 1);
    key(code, 0);
}

void InputDevice::light(bool on) {
    {
        const std::lock_guard lock(kernel_->mutex);
        if (std::exchange(kernel_->lightOn, on) == on)
            return;
    }
    kernel_->send(std::array{kernel_->stamped(EV_LED, LED_CAPSL, on ? 1 : 0),
                             kernel_->stamped(EV_SYN, SYN_REPORT, 0)});
}

void InputDevice::overflow(const std::vector<int>& down, const std::vector<int>& up, bool lightOn) {
    {
        const std::lock_guard lock(kernel_->mutex);
        for (const int code : down)
            kernel_->down[static_cast<std::size_t>(code)] = true;
        for (const int code : up)
            kernel_->down[static_cast<std::size_t>(code)] = false;
        kernel_->lightOn = lightOn;
    }
    kernel_->send(std::array{kernel_->stamped(EV_SYN, SYN_DROPPED, 0),
                             kernel_->stamped(EV_SYN, SYN_REPORT, 0)});
}

void InputDevice::revoke() {
    kernel_->lose();
}

void InputDevice::setMode(mode_t mode) {
    gchar* const root = umockdev_testbed_get_root_dir(kernel_->testbed);
    const std::string file = root + kernel_->node;
    g_free(root);
    check(::chmod(file.c_str(), mode) == 0, "cannot change the permissions of an input device");
}

void InputDevice::uevent(const char* action) {
    umockdev_testbed_uevent(kernel_->testbed, kernel_->device.c_str(), action);
}

void InputDevice::unplug() {
    kernel_->lose();
    uevent("remove");
    kernel_->plugged = false;
    umockdev_testbed_remove_device(kernel_->testbed, kernel_->parent.c_str());
}

int InputDevice::readers() const {
    const std::lock_guard lock(kernel_->mutex);
    kernel_->forgetTheGone();
    return static_cast<int>(kernel_->reading.size());
}

bool InputDevice::awaitReader(std::chrono::milliseconds limit) const {
    std::unique_lock lock(kernel_->mutex);
    return kernel_->changed.wait_for(
        lock, limit, [this] { return !kernel_->reading.empty() && kernel_->clock != -1; });
}

int InputDevice::stateReads() const {
    const std::lock_guard lock(kernel_->mutex);
    return kernel_->stateReads;
}

int InputDevice::clock() const {
    const std::lock_guard lock(kernel_->mutex);
    return kernel_->clock;
}

unsigned long InputDevice::eventTypes() const {
    const std::lock_guard lock(kernel_->mutex);
    return kernel_->eventTypes;
}

bool InputDevice::grabbed() const {
    const std::lock_guard lock(kernel_->mutex);
    return kernel_->grabbed;
}

const std::string& InputDevice::node() const {
    return kernel_->node;
}

struct InputDevices::Testbed {
    ~Testbed() { g_object_unref(bed); }
    UMockdevTestbed* bed = umockdev_testbed_new();
};

InputDevices::InputDevices()
    : testbed_(std::make_unique<Testbed>()) {}

InputDevices::~InputDevices() {
    for (const auto& device : devices_) {
        GError* error = nullptr;
        if (device->kernel_->plugged)
            umockdev_testbed_detach_ioctl(testbed_->bed, device->node().c_str(), &error);
        g_clear_error(&error);
    }
}

InputDevice& InputDevices::plug(const InputDevice::Setup& setup, mode_t mode) {
    auto kernel = std::make_unique<InputDevice::Kernel>();
    kernel->testbed = testbed_->bed;
    for (const int code : setup.keys)
        kernel->keys.set(static_cast<std::size_t>(code));
    kernel->hasLight = setup.capsLockLight;
    kernel->lightOn = setup.capsLockLightOn;
    const std::string number = std::to_string(++lastNumber_);
    const std::string path = "/devices/pci0/input/input" + number;
    kernel->node = "/dev/input/event" + number;
    kernel->parent = "/sys" + path;
    kernel->device = kernel->parent + "/event" + number;
    // Announced at once, as what udev does not know yet. A device above others is described after
    // them.
    const std::string description =
        "P: " + path + "/event" + number + "\nN: input/event" + number +
        "\nE: DEVNAME=" + kernel->node + "\nE: SUBSYSTEM=input\n\nP: " + path +
        "\nE: SUBSYSTEM=input\nA: capabilities/key=" + capabilities(kernel->keys) + "\n\n";
    GError* error = nullptr;
    check(umockdev_testbed_add_from_string(testbed_->bed, description.c_str(), &error) != FALSE,
          "cannot add an input device");
    check(umockdev_testbed_attach_ioctl(testbed_->bed, kernel->node.c_str(), kernel->requests,
                                        &error) != FALSE,
          "cannot answer for an input device");
    for (const auto& [name, handler] :
         {std::pair{"handle-ioctl", G_CALLBACK(&InputDevice::Kernel::handleIoctl)},
          std::pair{"handle-read", G_CALLBACK(&InputDevice::Kernel::handleRead)},
          std::pair{"client-connected", G_CALLBACK(&InputDevice::Kernel::connected)}})
        g_signal_connect(kernel->requests, name, handler, kernel.get());
    kernel->file = umockdev_testbed_get_dev_fd(testbed_->bed, kernel->node.c_str());
    // What stands in for the device is a terminal, which must take no byte for a command.
    termios settings{};
    ::tcgetattr(kernel->file, &settings);
    ::cfmakeraw(&settings);
    ::tcsetattr(kernel->file, TCSANOW, &settings);

    // Its constructor is private.
    devices_.push_back(std::unique_ptr<InputDevice>(new InputDevice(std::move(kernel))));
    InputDevice& device = *devices_.back();
    device.setMode(mode);
    for (const auto& [name, value] : setup.properties)
        umockdev_testbed_set_property(testbed_->bed, device.kernel_->device.c_str(), name.c_str(),
                                      value.c_str());
    device.uevent("add");
    return device;
}

InputDevice::Setup InputDevices::keyboard() {
    InputDevice::Setup setup;
    for (int code = KEY_ESC; code <= KEY_SCROLLLOCK; ++code)
        setup.keys.push_back(code);
    for (const int code : {KEY_RIGHTCTRL, KEY_RIGHTALT, KEY_LEFTMETA, KEY_RIGHTMETA, KEY_KPENTER,
                           KEY_DELETE, KEY_FN})
        setup.keys.push_back(code);
    setup.capsLockLight = true;
    return setup;
}

} // namespace morvel::test
