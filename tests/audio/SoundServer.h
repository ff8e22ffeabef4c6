// The sound servers that an output is tested with, each with its adapter and its recorder.
#pragma once

#include "platform/AudioOutput.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "tools/audition/MonitorRecorder.h"

#include <filesystem>
#include <memory>
#include <ostream>
#include <string>

namespace morvel::test {

// Records what a sink plays.
class SinkRecorder {
public:
    virtual ~SinkRecorder() = default;
    virtual float loudest() const = 0;
    virtual audition::MonitorRecording finish() = 0;
};

class SoundServer {
public:
    virtual ~SoundServer() = default;
    // As PulseServer and PipeWireServer have them.
    virtual void start() = 0;
    virtual void kill() = 0;
    virtual void stop() = 0;
    virtual void signal(int number) = 0;
    // An output of this process to the server.
    virtual std::unique_ptr<AudioOutput> makeOutput(Scheduler& scheduler, Log& log) = 0;
    // The output that the program has, for which the other kind of server is not there.
    virtual std::unique_ptr<AudioOutput> makeChoice(Scheduler& scheduler, Log& log) = 0;
    // Where the server listens; valid before start().
    virtual std::filesystem::path socket() const = 0;
    // There are two sinks; the first one is the default.
    static constexpr const char* speaker = "speaker";
    static constexpr const char* headphones = "headphones";
    virtual std::unique_ptr<SinkRecorder> record(const std::string& sink = speaker) = 0;
    // start() with sinks that the server suspends after a second without sound, and a recorder of
    // the first one that lets it.
    virtual void startSleepy() = 0;
    virtual std::unique_ptr<SinkRecorder> recordSleeper() = 0;
    // Waits until the first sink is suspended; answers whether it was within reasonable time.
    virtual bool awaitSuspended() = 0;
    virtual void setDefaultSink(const std::string& sink) = 0;
    // As if it had been unplugged.
    virtual void removeSink(const std::string& sink) = 0;
};

struct SoundServerKind {
    const char* name; // as the output calls it
    std::unique_ptr<SoundServer> (*make)(const std::filesystem::path& folder);
    int medianBudgetMs; // from a key to the monitor
    int policy;         // of an audio thread that may go before ordinary ones
};

inline void PrintTo(const SoundServerKind& kind, std::ostream* out) {
    *out << kind.name;
}

extern const SoundServerKind pulseAudioKind;
extern const SoundServerKind pipeWireKind;

} // namespace morvel::test
