#include "audio/sample/AudioFileReader.h"
#include "audio/sample/SampleConversion.h"
#include "tests/fuzz/FuzzEntryPoints.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace morvel {

namespace {

void require(bool promise) {
    if (!promise)
        std::abort();
}

// Small, so that the fuzzer's time goes into headers and not into long sounds.
constexpr ReadLimits limits{.seconds = 10, .samples = std::size_t{1} << 20};

FileDescriptor inMemory(std::span<const std::uint8_t> bytes) {
    FileDescriptor file(memfd_create("audio", MFD_CLOEXEC));
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            ::write(file.number(), bytes.data() + written, bytes.size() - written);
        require(count > 0);
        written += static_cast<std::size_t>(count);
    }
    require(::lseek(file.number(), 0, SEEK_SET) == 0);
    return file;
}

bool isUsable(const std::vector<float>& samples) {
    return std::all_of(samples.begin(), samples.end(),
                       [](float sample) { return std::abs(sample) <= loudestSample; });
}

} // namespace

void fuzzAudioFile(std::span<const std::uint8_t> bytes) {
    auto reader = AudioFileReader::open(inMemory(bytes));
    if (!reader)
        return;
    const AudioFormat format = reader->processingFormat();
    require(format.channels > 0 && format.sampleRate > 0);
    auto audio = reader->readAll(limits);
    if (!audio)
        return;
    require(audio->channels.size() == format.channels);
    for (const auto& channel : audio->channels)
        require(channel.size() == audio->frameLength() && isUsable(channel));
    const std::size_t capacity = conversionCapacity(audio->frameLength(), format.sampleRate);
    const auto converted = convertToCanonical(std::move(audio).value());
    if (!converted)
        return;
    require(converted->channels[0].size() == converted->channels[1].size());
    require(converted->frameLength() <= capacity);
    for (const auto& channel : converted->channels)
        require(std::all_of(channel.begin(), channel.end(),
                            [](float sample) { return std::isfinite(sample); }));
}

} // namespace morvel
