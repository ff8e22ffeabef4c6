// Records what a PipeWire sink plays, from the sink's monitor.
#pragma once

#include "tools/audition/MonitorRecorder.h"

#include <chrono>
#include <memory>
#include <string>

namespace morvel::test {

class PipeWireRecorder {
public:
    // Starts recording the sink of this name of the server at this socket, at 44,100 Hz. Returns
    // once the first block is there; throws std::runtime_error where none comes. One that lets the
    // sink sleep returns without, and records when the sink wakes.
    PipeWireRecorder(const std::string& sink, const std::string& address,
                     bool letsSinkSleep = false);
    ~PipeWireRecorder();
    PipeWireRecorder(const PipeWireRecorder&) = delete;
    PipeWireRecorder& operator=(const PipeWireRecorder&) = delete;

    // Frames recorded so far, and the largest sample among them.
    std::size_t frameLength() const;
    float loudest() const;
    // Returns once there are `frames` of them, or the server has gone away.
    void await(std::size_t frames) const;

    // Waits for a sample above `level`; answers whether one came within `limit`.
    bool awaitSound(float level, std::chrono::milliseconds limit) const;

    // Ends the recording and hands it over.
    audition::MonitorRecording finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace morvel::test
