// Writes what the renderer makes to a file, on a thread of its own, until it is destroyed.
#pragma once

#include "audio/RecordingRing.h"
#include "audio/sample/AudioFileWriter.h"

#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace morvel {

class Recorder {
public:
    // Holds this much sound while the disk is slow.
    static constexpr double ringSeconds = 4;

    // Main thread. Fails with the file's error.
    static Result<std::unique_ptr<Recorder>, AudioFileError>
    create(const std::filesystem::path& file);

    // Completes the file: writes all that is in the ring. The audio side must have let go of it.
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    RecordingRing& ring() { return ring_; }

private:
    explicit Recorder(AudioFileWriter writer);
    void run();
    void drain();

    AudioFileWriter writer_;
    RecordingRing ring_;
    std::vector<float> chunk_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool ending_ = false;
    std::thread thread_;
};

} // namespace morvel
