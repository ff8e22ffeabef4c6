#include "audio/sample/AudioFileWriter.h"

#include "audio/sample/SndfileHandle.h"
#include "platform/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <limits>
#include <system_error>
#include <utility>

namespace morvel {

namespace {

// Samples woven together at a time.
constexpr std::size_t blockFrames = 2048;

AudioFileError lastSystemError() {
    return {std::error_code(errno, std::generic_category()).message()};
}

AudioFileError notRegular() {
    return {"not a regular file"};
}

std::optional<SF_INFO> infoOf(AudioFileWriter::Encoding encoding, AudioFormat format) {
    const bool wholeRate = format.sampleRate >= 1 &&
                           format.sampleRate <= std::numeric_limits<int>::max() &&
                           std::floor(format.sampleRate) == format.sampleRate;
    if (!wholeRate)
        return std::nullopt;
    SF_INFO info = {};
    info.samplerate = static_cast<int>(format.sampleRate);
    info.channels = static_cast<int>(std::min<std::uint32_t>(format.channels, 65536));
    info.format = SF_FORMAT_WAV | (encoding == AudioFileWriter::Encoding::pcm24 ? SF_FORMAT_PCM_24
                                                                                : SF_FORMAT_FLOAT);
    if (sf_format_check(&info) == 0)
        return std::nullopt;
    return info;
}

Result<FileDescriptor, AudioFileError> openForWriting(const std::filesystem::path& file) {
    if (file.native().find('\0') != std::string::npos)
        return AudioFileError{"a zero byte in the file's name"};
    struct stat status = {};
    if (::stat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        return notRegular();
    // Emptied only once it is known to be a regular file.
    constexpr mode_t everybodyLessUmask = 0666;
    FileDescriptor opened(::open(file.c_str(), O_RDWR | O_CREAT | O_NONBLOCK | O_CLOEXEC | O_NOCTTY,
                                 everybodyLessUmask));
    if (opened.number() < 0)
        return lastSystemError();
    if (::fstat(opened.number(), &status) != 0)
        return lastSystemError();
    if (!S_ISREG(status.st_mode))
        return notRegular();
    if (::ftruncate(opened.number(), 0) != 0)
        return lastSystemError();
    return opened;
}

} // namespace

struct AudioFileWriter::State {
    SndfileHandle encoder;
    std::size_t channels;
};

AudioFileWriter::AudioFileWriter(std::unique_ptr<State> state)
    : state_(std::move(state)) {}

AudioFileWriter::AudioFileWriter(AudioFileWriter&&) noexcept = default;
AudioFileWriter& AudioFileWriter::operator=(AudioFileWriter&&) noexcept = default;
AudioFileWriter::~AudioFileWriter() = default;

Result<AudioFileWriter, AudioFileError>
AudioFileWriter::create(const std::filesystem::path& file, Encoding encoding, AudioFormat format) {
    auto info = infoOf(encoding, format);
    if (!info)
        return AudioFileError{"a format that WAV cannot store"};
    auto opened = openForWriting(file);
    if (!opened)
        return opened.error();
    // One of its own: the library closes the descriptor of a file that it cannot open.
    const int descriptor = ::fcntl(opened->number(), F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0)
        return lastSystemError();
    SndfileHandle encoder(sf_open_fd(descriptor, SFM_WRITE, &*info, SF_TRUE));
    if (!encoder)
        return AudioFileError{sf_error_number(sf_error(nullptr))};
    sf_command(encoder.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    if (encoding == Encoding::pcm24)
        sf_command(encoder.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
    return AudioFileWriter(std::make_unique<State>(State{std::move(encoder), format.channels}));
}

std::optional<AudioFileError> AudioFileWriter::writeInterleaved(std::span<const float> samples) {
    if (!state_->encoder)
        return AudioFileError{"the file is closed"};
    if (samples.size() % state_->channels != 0)
        return AudioFileError{"not a whole number of frames"};
    const auto count = static_cast<sf_count_t>(samples.size());
    if (sf_write_float(state_->encoder.get(), samples.data(), count) == count)
        return std::nullopt;
    return AudioFileError{sf_error_number(sf_error(state_->encoder.get()))};
}

std::optional<AudioFileError> AudioFileWriter::write(std::span<const float> left,
                                                     std::span<const float> right) {
    if (state_->channels != 2 || left.size() != right.size())
        return AudioFileError{"not two equally long channels"};
    std::array<float, 2 * blockFrames> block{};
    for (std::size_t start = 0; start < left.size(); start += blockFrames) {
        const std::size_t frames = std::min(blockFrames, left.size() - start);
        for (std::size_t i = 0; i < frames; ++i) {
            block[2 * i] = left[start + i];
            block[2 * i + 1] = right[start + i];
        }
        if (auto error = writeInterleaved({block.data(), 2 * frames}))
            return error;
    }
    return std::nullopt;
}

std::optional<AudioFileError> AudioFileWriter::close() {
    if (!state_->encoder)
        return std::nullopt;
    const int status = sf_close(state_->encoder.release());
    if (status == SF_ERR_NO_ERROR)
        return std::nullopt;
    return AudioFileError{sf_error_number(status)};
}

std::optional<AudioFileError> writeAudioFile(const std::filesystem::path& file,
                                             const PcmBuffer& buffer,
                                             AudioFileWriter::Encoding encoding) {
    auto writer = AudioFileWriter::create(file, encoding);
    if (!writer)
        return writer.error();
    if (auto error = writer->write(buffer.channels[0], buffer.channels[1]))
        return error;
    return writer->close();
}

} // namespace morvel
