#include "tests/support/PulseServer.h"

#include "tests/support/TemporaryFolder.h"

#include <poll.h>
#include <pulse/pulseaudio.h>
#include <sched.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace morvel::test {

namespace {

// Waits until something appears in `folder`, at most `limit`.
void awaitEntry(int watch, std::chrono::milliseconds limit) {
    pollfd readable{watch, POLLIN, 0};
    if (poll(&readable, 1, static_cast<int>(limit.count())) == 1) {
        char events[4096];
        [[maybe_unused]] const ssize_t bytes = read(watch, events, sizeof events);
    }
}

bool acceptsClients(const std::string& address) {
    pa_mainloop* loop = pa_mainloop_new();
    pa_context* context = pa_context_new(pa_mainloop_get_api(loop), "test");
    bool ready = false;
    if (pa_context_connect(context, address.c_str(), PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0)
        while (PA_CONTEXT_IS_GOOD(pa_context_get_state(context)) && !ready &&
               pa_mainloop_iterate(loop, 1, nullptr) >= 0)
            ready = pa_context_get_state(context) == PA_CONTEXT_READY;
    pa_context_disconnect(context);
    pa_context_unref(context);
    pa_mainloop_free(loop);
    return ready;
}

// Follows what a sink does.
class SuspensionWatch {
public:
    SuspensionWatch(const std::string& address, std::string sink)
        : sink_(std::move(sink))
        , context_(pa_context_new(pa_mainloop_get_api(loop_), "test")) {
        pa_context_set_state_callback(context_, stateChanged, this);
        pa_context_set_subscribe_callback(
            context_,
            [](pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self) {
                static_cast<SuspensionWatch*>(self)->ask();
            },
            this);
        pa_context_connect(context_, address.c_str(), PA_CONTEXT_NOAUTOSPAWN, nullptr);
    }
    ~SuspensionWatch() {
        pa_context_disconnect(context_);
        pa_context_unref(context_);
        pa_mainloop_free(loop_);
    }
    SuspensionWatch(const SuspensionWatch&) = delete;
    SuspensionWatch& operator=(const SuspensionWatch&) = delete;

    bool await(std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        constexpr int microseconds = 100'000;
        while (!suspended_ && std::chrono::steady_clock::now() < deadline &&
               pa_mainloop_prepare(loop_, microseconds) >= 0 && pa_mainloop_poll(loop_) >= 0 &&
               pa_mainloop_dispatch(loop_) >= 0) {
        }
        return suspended_;
    }

private:
    static void stateChanged(pa_context* context, void* self) {
        if (pa_context_get_state(context) != PA_CONTEXT_READY)
            return;
        pa_operation_unref(
            pa_context_subscribe(context, PA_SUBSCRIPTION_MASK_SINK, nullptr, nullptr));
        static_cast<SuspensionWatch*>(self)->ask();
    }
    void ask() {
        pa_operation_unref(pa_context_get_sink_info_by_name(
            context_, sink_.c_str(),
            [](pa_context*, const pa_sink_info* info, int, void* self) {
                if (info != nullptr)
                    static_cast<SuspensionWatch*>(self)->suspended_ =
                        info->state == PA_SINK_SUSPENDED;
            },
            this));
    }

    std::string sink_;
    pa_mainloop* loop_ = pa_mainloop_new();
    pa_context* context_;
    bool suspended_ = false;
};

} // namespace

PulseServer::PulseServer(std::filesystem::path folder)
    : folder_(std::move(folder)) {
    std::filesystem::create_directories(folder_);
}

// Without rewinds the sink works in short blocks. With them it plays two seconds of silence ahead
// while nothing is connected, and makes the first client wait for as long.
void PulseServer::start() {
    std::filesystem::remove(socket());
    const int watch = inotify_init1(IN_CLOEXEC);
    inotify_add_watch(watch, folder_.c_str(), IN_CREATE);
    const std::string folder = folder_.string();
    process_ = std::make_unique<ChildProcess>(ChildProcess::Setup{
        .command = {"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1",
                    "--log-level=error",
                    "--load=module-native-protocol-unix socket=" + socket().string() +
                        " auth-anonymous=1",
                    std::string("--load=module-null-sink sink_name=speaker format=float32le ") +
                        "rate=44100 norewinds=1"},
        .environment = {"HOME=" + folder, "XDG_RUNTIME_DIR=" + folder, "XDG_CONFIG_HOME=" + folder,
                        "PULSE_RUNTIME_PATH=" + folder, "PULSE_STATE_PATH=" + folder,
                        "DBUS_SESSION_BUS_ADDRESS=", "DISPLAY="},
        .standardErrorFile = folder + "/pulse.log",
        .inheritedDescriptors = {}});
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    bool ready = false;
    while (!ready && process_->running() && std::chrono::steady_clock::now() < deadline) {
        awaitEntry(watch, std::chrono::milliseconds(100));
        ready = std::filesystem::exists(socket()) && acceptsClients(address());
    }
    close(watch);
    if (!ready)
        throw std::runtime_error("PulseAudio did not start");
    // The server's main thread passes every block on; on a busy machine it must not queue. Where
    // this is refused a busy machine may spoil a recording.
    const sched_param low{.sched_priority = 4};
    sched_setscheduler(process_->pid(), SCHED_RR, &low);
}

// Gives the server an order as its control program does; answers what that says.
std::string PulseServer::order(std::vector<std::string> words) const {
    const std::filesystem::path answer = folder_ / "answer";
    words.insert(words.begin(), {"pactl", "--server=" + address()});
    ChildProcess control({.command = std::move(words),
                          .environment = {"LC_ALL=C"},
                          .standardErrorFile = folder_ / "control.log",
                          .inheritedDescriptors = {},
                          .standardOutputFile = answer});
    if (control.wait(std::chrono::seconds(10)) != 0)
        throw std::runtime_error("PulseAudio refused an order");
    return readText(answer);
}

void PulseServer::addSink(const std::string& name) const {
    order({"load-module", "module-null-sink", "sink_name=" + name, "format=float32le", "rate=44100",
           "norewinds=1"});
}

void PulseServer::setDefaultSink(const std::string& name) const {
    order({"set-default-sink", name});
}

void PulseServer::removeSink(const std::string& name) const {
    std::istringstream modules(order({"list", "short", "modules"}));
    for (std::string line; std::getline(modules, line);)
        if (line.find("sink_name=" + name + ' ') != std::string::npos)
            order({"unload-module", line.substr(0, line.find('\t'))});
}

void PulseServer::makeSinksSleepy() const {
    order({"load-module", "module-suspend-on-idle", "timeout=1"});
}

bool PulseServer::awaitSuspended(const std::string& sink, std::chrono::milliseconds limit) const {
    return SuspensionWatch(address(), sink).await(limit);
}

void PulseServer::kill() {
    process_->signal(SIGKILL);
    process_->wait(std::chrono::seconds(10));
    process_.reset();
}

void PulseServer::stop() {
    process_.reset();
}

} // namespace morvel::test
