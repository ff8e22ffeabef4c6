#include "audio/sample/AudioFileReader.h"

#include "audio/sample/SndfileHandle.h"
#include "audio/sample/SndfileInput.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace morvel {

namespace {

// Samples decoded at a time.
constexpr std::size_t blockSamples = 16384;

// Reserved up front on the header's word; what is more has to be there first.
constexpr std::size_t samplesReserved = std::size_t{1} << 18;

// Enough for every format's mark at its fixed place.
constexpr std::size_t signatureLength = 12;

bool isMpegFrame(std::string_view head) {
    return head.size() >= 2 && static_cast<unsigned char>(head[0]) == 0xff &&
           (static_cast<unsigned char>(head[1]) & 0xe0) == 0xe0;
}

bool hasAcceptedSignature(std::string_view head) {
    if (head.starts_with("fLaC") || head.starts_with("OggS") || head.starts_with("caff"))
        return true;
    if (head.starts_with("ID3") || isMpegFrame(head))
        return true;
    if (head.size() < signatureLength)
        return false;
    const std::string_view kind = head.substr(8, 4);
    if (head.starts_with("RIFF") || head.starts_with("RIFX"))
        return kind == "WAVE";
    return head.starts_with("FORM") && (kind == "AIFF" || kind == "AIFC");
}

// An ID3 tag may precede another format than MP3, so the decoder's verdict is checked as well.
bool isAcceptedFormat(int format) {
    constexpr std::array accepted = {SF_FORMAT_WAV,  SF_FORMAT_WAVEX, SF_FORMAT_AIFF, SF_FORMAT_CAF,
                                     SF_FORMAT_FLAC, SF_FORMAT_OGG,   SF_FORMAT_MPEG};
    return std::find(accepted.begin(), accepted.end(), format & SF_FORMAT_TYPEMASK) !=
           accepted.end();
}

AudioFileError errorOf(const std::error_code& code) {
    if (code == std::errc::not_supported)
        return {"not a regular file"};
    return {code.message()};
}

AudioFileError tooLong(double seconds) {
    return {fmt::format("longer than {:g} seconds", seconds)};
}

// Why a file of that size is not worth handing to the decoder.
std::optional<AudioFileError> refusalByContent(const FileDescriptor& file, std::size_t size) {
    if (size > AudioFileReader::largestFile)
        return AudioFileError{
            fmt::format("larger than {} MiB", AudioFileReader::largestFile >> 20)};
    std::array<char, signatureLength> head{};
    const ssize_t count = ::pread(file.number(), head.data(), head.size(), 0);
    if (count < 0)
        return errorOf(std::error_code(errno, std::generic_category()));
    if (count == 0)
        return AudioFileError{"no data"};
    if (!hasAcceptedSignature({head.data(), static_cast<std::size_t>(count)}))
        return AudioFileError{"not an audio file of a known format"};
    return std::nullopt;
}

// Why a file did not open the library keeps in one place for all threads.
Result<SndfileHandle, AudioFileError> openDecoder(SndfileInput& input, SF_INFO& info) {
    static std::mutex oneAtATime;
    SF_VIRTUAL_IO functions = SndfileInput::functions();
    const std::lock_guard lock(oneAtATime);
    SndfileHandle decoder(sf_open_virtual(&functions, SFM_READ, &info, &input));
    if (!decoder)
        return AudioFileError{sf_error_number(sf_error(nullptr))};
    return decoder;
}

// Only what is finite leaves nothing when it is taken from itself. Written for the compiler to work
// on many samples at once.
float usable(float sample) {
    const float notTooHigh = sample < loudestSample ? sample : loudestSample;
    const float limited = notTooHigh > -loudestSample ? notTooHigh : -loudestSample;
    return sample - sample == 0 ? limited : 0.0F;
}

void append(DecodedAudio& audio, const float* interleaved, std::size_t frames) {
    const std::size_t count = audio.channels.size();
    for (std::size_t c = 0; c < count; ++c) {
        std::vector<float>& channel = audio.channels[c];
        const std::size_t start = channel.size();
        // Doubling by hand: resize() alone may grow by just what it needs.
        if (channel.capacity() < start + frames)
            channel.reserve(std::max(2 * channel.capacity(), start + frames));
        channel.resize(start + frames);
        const float* const in = interleaved + c;
        float* const out = channel.data() + start;
        if (count == 2)
            for (std::size_t i = 0; i < frames; ++i)
                out[i] = usable(in[2 * i]);
        else
            for (std::size_t i = 0; i < frames; ++i)
                out[i] = usable(in[count * i]);
    }
}

} // namespace

struct AudioFileReader::State {
    std::unique_ptr<SndfileInput> input; // outlives the decoder that reads from it
    SndfileHandle decoder;
    SF_INFO info;
    std::size_t samplesDecoded = 0;
};

AudioFileReader::AudioFileReader(std::unique_ptr<State> state)
    : state_(std::move(state)) {}

AudioFileReader::AudioFileReader(AudioFileReader&&) noexcept = default;
AudioFileReader& AudioFileReader::operator=(AudioFileReader&&) noexcept = default;
AudioFileReader::~AudioFileReader() = default;

Result<AudioFileReader, AudioFileError> AudioFileReader::open(const std::filesystem::path& file) {
    auto opened = openRegularFile(file);
    if (!opened)
        return errorOf(opened.error());
    return open(std::move(opened).value());
}

Result<AudioFileReader, AudioFileError> AudioFileReader::open(FileDescriptor file) {
    const auto size = sizeOf(file);
    if (!size)
        return errorOf(size.error());
    if (auto refusal = refusalByContent(file, size.value()))
        return *std::move(refusal);
    auto input = std::make_unique<SndfileInput>(std::move(file), size.value());
    SF_INFO info = {};
    auto decoder = openDecoder(*input, info);
    if (const std::error_code& error = input->error())
        return errorOf(error);
    if (!decoder)
        return decoder.error();
    if (!isAcceptedFormat(info.format))
        return AudioFileError{"not an audio file of a known format"};
    if (info.channels <= 0 || info.samplerate <= 0)
        return AudioFileError{"a header without channels or sample rate"};
    return AudioFileReader(
        std::make_unique<State>(State{std::move(input), std::move(decoder).value(), info, 0}));
}

bool AudioFileReader::canOpen(const std::filesystem::path& file) {
    return static_cast<bool>(open(file));
}

AudioFormat AudioFileReader::processingFormat() const {
    return {static_cast<double>(state_->info.samplerate),
            static_cast<std::uint32_t>(state_->info.channels)};
}

std::uint64_t AudioFileReader::length() const {
    return static_cast<std::uint64_t>(std::max<sf_count_t>(state_->info.frames, 0));
}

std::size_t AudioFileReader::samplesDecoded() const {
    return state_->samplesDecoded;
}

Result<DecodedAudio, AudioFileError> AudioFileReader::readAll(const ReadLimits& limits) {
    const AudioFormat format = processingFormat();
    const double mostFrames = limits.seconds * format.sampleRate;
    if (static_cast<double>(length()) > mostFrames)
        return tooLong(limits.seconds);

    DecodedAudio audio{format, std::vector<std::vector<float>>(format.channels)};
    for (std::vector<float>& channel : audio.channels)
        channel.reserve(static_cast<std::size_t>(
            std::min<std::uint64_t>(length(), samplesReserved / format.channels)));

    const std::size_t blockFrames = std::max<std::size_t>(blockSamples / format.channels, 1);
    const auto block = std::make_unique_for_overwrite<float[]>(blockFrames * format.channels);
    for (;;) {
        const sf_count_t frames = sf_readf_float(state_->decoder.get(), block.get(),
                                                 static_cast<sf_count_t>(blockFrames));
        if (frames <= 0)
            break;
        append(audio, block.get(), static_cast<std::size_t>(frames));
        state_->samplesDecoded = audio.frameLength() * format.channels;
        if (static_cast<double>(audio.frameLength()) > mostFrames)
            return tooLong(limits.seconds);
        if (state_->samplesDecoded > limits.samples)
            return AudioFileError{
                fmt::format("more than {} MiB of audio", limits.samples * sizeof(float) >> 20)};
    }
    if (const std::error_code& error = state_->input->error())
        return errorOf(error);
    if (const int error = sf_error(state_->decoder.get()); error != SF_ERR_NO_ERROR)
        return AudioFileError{sf_error_number(error)};
    return audio;
}

} // namespace morvel
