// Reading audio files that somebody else made.
//
// Accepted are WAV (RIFF, with any of its encodings), AIFF, CAF, FLAC, Ogg (Vorbis, Opus, FLAC) and
// MP3, told apart by their first bytes, whatever the file is called. Other formats that libsndfile
// knows, the headerless ones above all, are refused before it sees the file.
//
// A file's header is not believed: memory grows with what is really decoded, within ReadLimits.
// Samples are used as stored, with one exception: NaN and the infinities become silence and what is
// beyond loudestSample is brought down to it. One damaged sample in a float file should not cost
// the user the whole sound, but must not reach the mixer, where it would silence everything after.
//
// A reader belongs to one thread at a time; different readers may be used on different threads.
#pragma once

#include "audio/sample/AudioFileError.h"
#include "audio/sample/PcmBuffer.h"
#include "platform/RegularFile.h"
#include "platform/Result.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

namespace morvel {

// 24 dB above full scale: louder than any honest float file.
inline constexpr float loudestSample = 16.0F;

// Audio in whatever format a file has.
struct DecodedAudio {
    AudioFormat format;
    std::vector<std::vector<float>> channels; // as many as format says, equally long

    std::size_t frameLength() const { return channels.empty() ? 0 : channels.front().size(); }
};

// What one file may decode to. A key sound lasts a fraction of a second; these only keep a wrong
// or hostile file from eating the machine.
struct ReadLimits {
    double seconds = 60;
    std::size_t samples = std::size_t{1} << 25; // frames times channels: 128 MiB of floats
};

class AudioFileReader {
public:
    // The largest file that is looked at: 60 seconds in the most wasteful everyday format, with
    // room to spare.
    static constexpr std::size_t largestFile = std::size_t{128} << 20;

    // Fails for what is not a regular file (see openRegularFile), is larger than largestFile, has
    // no bytes at all, or is not audio of an accepted format with at least one channel.
    static Result<AudioFileReader, AudioFileError> open(const std::filesystem::path& file);
    static Result<AudioFileReader, AudioFileError> open(FileDescriptor file);

    // Whether open() would succeed.
    static bool canOpen(const std::filesystem::path& file);

    AudioFileReader(AudioFileReader&&) noexcept;
    AudioFileReader& operator=(AudioFileReader&&) noexcept;
    ~AudioFileReader();

    // The format of the decoded samples.
    AudioFormat processingFormat() const;

    // Frames, as the header tells it.
    std::uint64_t length() const;

    // Decodes the whole file; to be called once. The result may be shorter than length() when the
    // file is cut off, even empty. Fails when the decoder reports an error or a limit is passed.
    Result<DecodedAudio, AudioFileError> readAll(const ReadLimits& limits);

    // Samples (frames times channels) that readAll() decoded, also when it then failed: what the
    // file has cost.
    std::size_t samplesDecoded() const;

private:
    struct State;
    explicit AudioFileReader(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

} // namespace morvel
