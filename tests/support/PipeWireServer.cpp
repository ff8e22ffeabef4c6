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

// The sinks stay awake as sound cards do whose owner listens to music.
std::string sink(const char* name, int priority) {
    return fmt::format(R"({{ factory = adapter args = {{
        factory.name = support.null-audio-sink
        node.name = {}
        media.class = Audio/Sink
        audio.position = [ FL FR ]
        monitor.channel-volumes = false
        priority.session = {}
        priority.driver = {}
        node.pause-on-idle = false }} }}
)",
                       name, priority, priority);
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
    writeText(folder_ / "pipewire/pipewire.conf",
              fmt::format(configuration, sink(speaker, 1100) + sink(headphones, 1000)));
    writeText(folder_ / "wireplumber/main.lua.d/60-test.lua", managerRules);
    writeText(folder_ / "wireplumber/bluetooth.lua.d/60-test.lua",
              "bluez_monitor.enabled = false\n");
}

std::unique_ptr<ChildProcess> PipeWireServer::run(const std::string& program) const {
    const std::string folder = folder_.string();
    return std::make_unique<ChildProcess>(ChildProcess::Setup{
        .command = {program},
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
    if (!client || !client->awaitDefaultSink(speaker, std::chrono::seconds(20)))
        throw std::runtime_error("PipeWire's session manager did not start");
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
