#include "tests/support/PulseServer.h"

#include <poll.h>
#include <pulse/pulseaudio.h>
#include <sched.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>

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

void PulseServer::kill() {
    process_->signal(SIGKILL);
    process_->wait(std::chrono::seconds(10));
    process_.reset();
}

void PulseServer::stop() {
    process_.reset();
}

} // namespace morvel::test
