#include "audio/Recorder.h"

#include <chrono>
#include <utility>

namespace morvel {

namespace {

constexpr std::size_t chunkFrames = 4096;
// The audio thread cannot wake the writer, so the writer looks; only while recording.
constexpr std::chrono::milliseconds drainInterval(50);

} // namespace

Result<std::unique_ptr<Recorder>, AudioFileError>
Recorder::create(const std::filesystem::path& file) {
    auto writer = AudioFileWriter::create(file, AudioFileWriter::Encoding::float32);
    if (!writer)
        return writer.error();
    return std::unique_ptr<Recorder>(new Recorder(std::move(writer).value()));
}

Recorder::Recorder(AudioFileWriter writer)
    : writer_(std::move(writer))
    , ring_(static_cast<std::size_t>(ringSeconds * canonicalFormat.sampleRate))
    , chunk_(2 * chunkFrames)
    , thread_([this] { run(); }) {}

Recorder::~Recorder() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    wake_.notify_one();
    thread_.join();
    drain();
    writer_.close();
}

void Recorder::run() {
    std::unique_lock lock(mutex_);
    while (!wake_.wait_for(lock, drainInterval, [this] { return ending_; })) {
        lock.unlock();
        drain();
        lock.lock();
    }
}

// A recording is a help for checking the program; a full disk must not disturb the playing.
void Recorder::drain() {
    while (const std::size_t frames = ring_.read(chunk_.data(), chunkFrames))
        writer_.writeInterleaved(std::span(chunk_).first(2 * frames));
}

} // namespace morvel
