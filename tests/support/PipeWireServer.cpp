#include "tests/support/PipeWireServer.h"

#include "tests/support/PipeWireClient.h"
#include "tests/support/TemporaryFolder.h"

#include <fmt/format.h>
#include <sched.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

namespace morvel::test {

namespace {

constexpr const char* configuration = R"(
context.properties = {{
    core.daemon = true
    core.name = pipewire-0
    log.level = 1
    link.max-buffers = 16
    default.clock.min-quantum = 32
}}
context.spa-libs = {{
    audio.convert.* = audioconvert/libspa-audioconvert
    support.* = support/libspa-support
}}
context.modules = [
    {{ name = libpipewire-module-rt  flags = [ ifexists nofail ] }}
    {{ name = libpipewire-module-protocol-native }}
    {{ name = libpipewire-module-metadata }}
    {{ name = libpipewire-module-spa-node-factory }}
    {{ name = libpipewire-module-client-node }}
    {{ name = libpipewire-module-client-device }}
    {{ name = libpipewire-module-access }}
    {{ name = libpipewire-module-adapter }}
    {{ name = libpipewire-module-link-factory }}
    {{ name = libpipewire-module-session-manager }}
]
context.objects = [
    {{ factory = spa-node-factory args = {{
        factory.name = support.node.driver
        node.name = Dummy-Driver
        node.group = pipewire.dummy
        priority.driver = 20000 }} }}
    {}
]
)";

std::string sink(const char* name, int priority, const char* sleep) {
    return fmt::format(R"({{ factory = adapter args = {{
        factory.name = support.null-audio-sink
        node.name = {}
        media.class = Audio/Sink
        audio.position = [ FL FR ]
        monitor.channel-volumes = false
        priority.session = {}
        priority.driver = {}
        {} }} }}
)",
                       name, priority, priority, sleep);
}

// No devices, nothing remembered, no services of a desktop.
constexpr const char* managerRules = R"(
alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
default_access.properties["enable-flatpak-portal"] = false
device_defaults.properties["use-persistent-storage"] = false
stream_defaults.properties["restore-props"] = false
stream_defaults.properties["restore-target"] = false
)";

} // namespace

PipeWireServer::PipeWireServer(std::filesystem::path folder)
    : folder_(std::move(folder)) {
    use(Sinks::awake);
    writeText(folder_ / "wireplumber/main.lua.d/60-test.lua", managerRules);
    writeText(folder_ / "wireplumber/bluetooth.lua.d/60-test.lua",
              "bluez_monitor.enabled = false\n");
}

void PipeWireServer::use(Sinks sinks) {
    sinks_ = sinks;
    const char* const sleep = sinks == Sinks::sleepy ? "session.suspend-timeout-seconds = 1"
                                                     : "node.pause-on-idle = false";
    const std::string both = sink(speaker, 1100, sleep) + sink(headphones, 1000, sleep);
    writeText(folder_ / "pipewire/pipewire.conf",
              fmt::format(configuration, sinks == Sinks::none ? std::string() : both));
}

std::unique_ptr<ChildProcess> PipeWireServer::run(const std::string& program,
                                                  const std::vector<std::string>& arguments) const {
    const std::string folder = folder_.string();
    std::vector<std::string> command{program};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return std::make_unique<ChildProcess>(ChildProcess::Setup{
        .command = std::move(command),
        .environment = {"HOME=" + folder, "XDG_RUNTIME_DIR=" + folder, "XDG_CONFIG_HOME=" + folder,
                        "XDG_STATE_HOME=" + folder, "PIPEWIRE_RUNTIME_DIR=" + folder,
                        "PIPEWIRE_REMOTE", "PIPEWIRE_CONFIG_DIR",
                        "DBUS_SESSION_BUS_ADDRESS=", "DISPLAY="},
        .standardErrorFile = folder + "/" + program + ".log",
        .inheritedDescriptors = {},
        .standardOutputFile = folder + "/" + program + ".log"});
}

void PipeWireServer::start() {
    std::filesystem::remove(address());
    std::filesystem::remove(address() + ".lock");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    server_ = run("pipewire");
    std::unique_ptr<PipeWireClient> client;
    while (!client && server_->running() && std::chrono::steady_clock::now() < deadline) {
        client = PipeWireClient::connect(address());
        if (!client)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (!client)
        throw std::runtime_error("PipeWire did not start");
    startManager();
}

void PipeWireServer::startManager() {
    manager_ = run("wireplumber");
    const auto client = PipeWireClient::connect(address());
    constexpr std::chrono::seconds limit(20);
    const bool ready = client && (sinks_ == Sinks::none ? client->awaitManager(limit)
                                                        : client->awaitDefaultSink(speaker, limit));
    if (!ready)
        throw std::runtime_error("PipeWire's session manager did not start");
}

void PipeWireServer::tie(const std::string& from, const std::string& to) const {
    if (run("pw-link", {from + ":monitor_FL", to + ":playback_FL"})
            ->wait(std::chrono::seconds(10)) != 0)
        throw std::runtime_error("PipeWire refused a link");
}

void PipeWireServer::kill() {
    for (auto* const process : {&server_, &manager_}) {
        (*process)->signal(SIGKILL);
        (*process)->wait(std::chrono::seconds(10));
        process->reset();
    }
}

void PipeWireServer::stop() {
    manager_.reset();
    server_.reset();
}

} // namespace morvel::test
