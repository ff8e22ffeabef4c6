#include "tests/audio/SoundServer.h"

#include "platform/linux/CubebAudioOutput.h"
#include "platform/linux/PipeWireAudioOutput.h"
#include "tests/support/PipeWireRecorder.h"
#include "tests/support/PipeWireServer.h"
#include "tests/support/PulseServer.h"

#include <sched.h>

#include <cstdlib>

namespace morvel::test {

namespace {

template <typename Recorder>
class SinkRecorderOf : public SinkRecorder {
public:
    SinkRecorderOf(const char* source, const std::string& address)
        : recorder_(source, address) {}
    float loudest() const override { return recorder_.loudest(); }
    audition::MonitorRecording finish() override { return recorder_.finish(); }

private:
    Recorder recorder_;
};

template <typename Server, typename Output>
class SoundServerOf : public SoundServer {
public:
    explicit SoundServerOf(const std::filesystem::path& folder)
        : server_(folder) {}
    void start() override { server_.start(); }
    void kill() override { server_.kill(); }
    void stop() override { server_.stop(); }
    void signal(int number) override { server_.signal(number); }
    std::unique_ptr<AudioOutput> makeOutput(Scheduler& scheduler, Log& log) override {
        return std::make_unique<Output>(scheduler, log);
    }

protected:
    Server server_;
};

class PulseAudio : public SoundServerOf<PulseServer, CubebAudioOutput> {
public:
    explicit PulseAudio(const std::filesystem::path& folder)
        : SoundServerOf(folder) {
        setenv("PULSE_SERVER", server_.address().c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    }
    std::unique_ptr<SinkRecorder> record() override {
        return std::make_unique<SinkRecorderOf<audition::MonitorRecorder>>(PulseServer::monitor,
                                                                           server_.address());
    }
};

class PipeWire : public SoundServerOf<PipeWireServer, PipeWireAudioOutput> {
public:
    explicit PipeWire(const std::filesystem::path& folder)
        : SoundServerOf(folder) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe)
        setenv("PIPEWIRE_RUNTIME_DIR", server_.runtimeFolder().c_str(), 1);
    }
    std::unique_ptr<SinkRecorder> record() override {
        return std::make_unique<SinkRecorderOf<PipeWireRecorder>>(PipeWireServer::speaker,
                                                                  server_.address());
    }
};

template <typename Server>
std::unique_ptr<SoundServer> make(const std::filesystem::path& folder) {
    return std::make_unique<Server>(folder);
}

} // namespace

const SoundServerKind pulseAudioKind{"PulseAudio", make<PulseAudio>, 10, SCHED_RR};
const SoundServerKind pipeWireKind{"PipeWire", make<PipeWire>, 20, SCHED_FIFO};

} // namespace morvel::test
