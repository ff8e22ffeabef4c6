// Records what a PulseAudio sink plays, from the sink's monitor.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace morvel::audition {

struct MonitorRecording {
    std::vector<float> interleaved; // stereo at 44,100 Hz
    // When the block that ends at each frame had arrived: by then its last frame had sounded.
    struct Arrival {
        std::size_t endFrame;
        std::uint64_t hostNanos;
    };
    std::vector<Arrival> arrivals;

    std::size_t frameLength() const { return interleaved.size() / 2; }

    // The host clock (nanoseconds) by which `frame` had sounded: the frames of a block sound one
    // after the other, up to its arrival.
    std::uint64_t hostNanos(std::size_t frame) const;

    // Adds a later recording.
    void append(const MonitorRecording& later);
};

class MonitorRecorder {
public:
    // Starts recording `source` of the server of the environment (or `server`, where not empty).
    // Returns once the first block is there; throws std::runtime_error where none comes. While it
    // records, the sink is kept awake, unless it shall be let sleep: then that leaves no frames.
    explicit MonitorRecorder(const std::string& source = "@DEFAULT_MONITOR@",
                             const std::string& server = {}, bool letsSinkSleep = false);
    ~MonitorRecorder();
    MonitorRecorder(const MonitorRecorder&) = delete;
    MonitorRecorder& operator=(const MonitorRecorder&) = delete;

    // Frames recorded so far.
    std::size_t frameLength() const;
    // Returns once there are `frames` of them, or the server has gone away.
    void await(std::size_t frames) const;
    // The largest sample so far.
    float loudest() const;
    // Waits for a sample above `level`; answers whether one came within `limit`.
    bool awaitSound(float level, std::chrono::milliseconds limit) const;

    // Ends the recording and hands it over.
    MonitorRecording finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace morvel::audition
