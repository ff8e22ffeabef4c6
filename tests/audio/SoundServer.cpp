#include "tests/audio/SoundServer.h"

#include "platform/PreferredAudioOutput.h"
#include "platform/linux/PipeWireStream.h"
#include "platform/linux/PulseAudioServer.h"
#include "platform/output/ServerAudioOutput.h"
#include "tests/support/PipeWireClient.h"
#include "tests/support/PipeWireRecorder.h"
#include "tests/support/PipeWireServer.h"
#include "tests/support/PulseServer.h"

#include <sched.h>

#include <cstdlib>
#include <string_view>

namespace morvel::test {

namespace {

template <typename Recorder>
class SinkRecorderOf : public SinkRecorder {
public:
    SinkRecorderOf(const std::string& source, const std::string& address,
                   bool letsSinkSleep = false)
        : recorder_(source, address, letsSinkSleep) {}
    float loudest() const override { return recorder_.loudest(); }
    audition::MonitorRecording finish() override { return recorder_.finish(); }

private:
    Recorder recorder_;
};

template <typename Server, const OutputServer& reached>
class SoundServerOf : public SoundServer {
public:
    explicit SoundServerOf(const std::filesystem::path& folder)
        : server_(folder) {}
    void start() override { server_.start(); }
    void kill() override { server_.kill(); }
    void stop() override { server_.stop(); }
    void signal(int number) override { server_.signal(number); }
    std::unique_ptr<AudioOutput> makeOutput(Scheduler& scheduler, Log& log) override {
        return std::make_unique<ServerAudioOutput>(reached, scheduler, log);
    }
    std::unique_ptr<AudioOutput> makeChoice(Scheduler& scheduler, Log& log) override {
        return std::make_unique<PreferredAudioOutput>(
            std::make_unique<ServerAudioOutput>(pipeWireServer, scheduler, log),
            std::make_unique<ServerAudioOutput>(pulseAudioServer, scheduler, log), scheduler);
    }

protected:
    Server server_;
};

class PulseAudio : public SoundServerOf<PulseServer, pulseAudioServer> {
public:
    explicit PulseAudio(const std::filesystem::path& folder)
        : SoundServerOf(folder) {
        // NOLINTBEGIN(concurrency-mt-unsafe)
        setenv("PULSE_SERVER", server_.address().c_str(), 1);
        setenv("PIPEWIRE_RUNTIME_DIR", "/nonexistent", 1);
        // NOLINTEND(concurrency-mt-unsafe)
    }
    std::filesystem::path socket() const override {
        return server_.address().substr(std::string_view("unix:").size());
    }
    void start() override {
        server_.start();
        server_.addSink(headphones);
    }
    std::unique_ptr<SinkRecorder> record(const std::string& sink) override {
        return std::make_unique<SinkRecorderOf<audition::MonitorRecorder>>(sink + ".monitor",
                                                                           server_.address());
    }
    void startSleepy() override {
        start();
        server_.makeSinksSleepy();
    }
    std::unique_ptr<SinkRecorder> recordSleeper() override {
        return std::make_unique<SinkRecorderOf<audition::MonitorRecorder>>(PulseServer::monitor,
                                                                           server_.address(), true);
    }
    bool awaitSuspended() override { return server_.awaitSuspended(speaker); }
    void setDefaultSink(const std::string& sink) override { server_.setDefaultSink(sink); }
    void removeSink(const std::string& sink) override { server_.removeSink(sink); }
};

class PipeWire : public SoundServerOf<PipeWireServer, pipeWireServer> {
public:
    explicit PipeWire(const std::filesystem::path& folder)
        : SoundServerOf(folder) {
        // NOLINTBEGIN(concurrency-mt-unsafe)
        setenv("PIPEWIRE_RUNTIME_DIR", server_.runtimeFolder().c_str(), 1);
        setenv("PULSE_SERVER", "unix:/nonexistent/socket", 1);
        // NOLINTEND(concurrency-mt-unsafe)
    }
    std::filesystem::path socket() const override { return server_.address(); }
    std::unique_ptr<SinkRecorder> record(const std::string& sink) override {
        return std::make_unique<SinkRecorderOf<PipeWireRecorder>>(sink, server_.address());
    }
    void startSleepy() override {
        server_.use(PipeWireServer::Sinks::sleepy);
        server_.start();
    }
    std::unique_ptr<SinkRecorder> recordSleeper() override {
        return std::make_unique<SinkRecorderOf<PipeWireRecorder>>(speaker, server_.address(), true);
    }
    bool awaitSuspended() override { return client().awaitSuspended(speaker); }
    void setDefaultSink(const std::string& sink) override { client().setDefaultSink(sink); }
    void removeSink(const std::string& sink) override { client().removeSink(sink); }

private:
    PipeWireClient& client() {
        if (!client_)
            client_ = PipeWireClient::connect(server_.address());
        return *client_;
    }

    std::unique_ptr<PipeWireClient> client_;
};

template <typename Server>
std::unique_ptr<SoundServer> make(const std::filesystem::path& folder) {
    return std::make_unique<Server>(folder);
}

} // namespace

const SoundServerKind pulseAudioKind{"PulseAudio", make<PulseAudio>, 10, SCHED_RR};
const SoundServerKind pipeWireKind{"PipeWire", make<PipeWire>, 20, SCHED_FIFO};

} // namespace morvel::test
