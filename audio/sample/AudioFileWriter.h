// Writing WAV files: recordings of the engine's output, generated sounds.
//
// The same samples always give the same bytes (no time stamp is stored). A writer belongs to one
// thread at a time and does blocking file output: never the audio thread.
#pragma once

#include "audio/sample/AudioFileError.h"
#include "audio/sample/PcmBuffer.h"
#include "platform/Result.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>

namespace morvel {

class AudioFileWriter {
public:
    enum class Encoding : std::uint8_t {
        float32, // samples kept exactly
        pcm24,   // rounded to 24 bits; what is beyond full scale is limited to it
    };

    // Creates `file` or empties it. Fails with the system's error, with "not a regular file" when
    // there is something else under that name (a pipe nobody reads would block), or when the
    // format cannot be stored (no channel, or a rate that is not a whole number).
    static Result<AudioFileWriter, AudioFileError> create(const std::filesystem::path& file,
                                                          Encoding encoding,
                                                          AudioFormat format = canonicalFormat);

    AudioFileWriter(AudioFileWriter&&) noexcept;
    AudioFileWriter& operator=(AudioFileWriter&&) noexcept;
    // Closes the file; call close() to learn whether that worked.
    ~AudioFileWriter();

    // Appends frames; the first sample of each frame is the left one. A remainder that makes no
    // whole frame is an error and nothing is written.
    std::optional<AudioFileError> writeInterleaved(std::span<const float> samples);

    // Appends stereo frames from two equally long runs. Only for a file of two channels.
    std::optional<AudioFileError> write(std::span<const float> left, std::span<const float> right);

    // Completes the header and closes the file. Nothing may be written after it; a second call
    // does nothing.
    std::optional<AudioFileError> close();

private:
    struct State;
    explicit AudioFileWriter(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

// Writes one whole buffer as a file.
std::optional<AudioFileError> writeAudioFile(const std::filesystem::path& file,
                                             const PcmBuffer& buffer,
                                             AudioFileWriter::Encoding encoding);

} // namespace morvel
