#include "tools/soundbook/FlacFile.h"

#include <fmt/format.h>
#include <sndfile.h>

#include <memory>

namespace morvel::soundbook {

std::optional<std::string> writeFlac(const std::filesystem::path& file,
                                     std::span<const float> interleaved) {
    SF_INFO info = {};
    info.samplerate = 44100;
    info.channels = 2;
    info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> encoder(sf_open(file.c_str(), SFM_WRITE, &info),
                                                        &sf_close);
    if (!encoder)
        return fmt::format("{}: {}", file.string(), sf_strerror(nullptr));
    double smallest = 1; // the most thorough search for the shortest form
    sf_command(encoder.get(), SFC_SET_COMPRESSION_LEVEL, &smallest, sizeof smallest);
    sf_command(encoder.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
    const auto count = static_cast<sf_count_t>(interleaved.size());
    if (sf_write_float(encoder.get(), interleaved.data(), count) != count)
        return fmt::format("{}: {}", file.string(), sf_strerror(encoder.get()));
    if (const int status = sf_close(encoder.release()); status != SF_ERR_NO_ERROR)
        return fmt::format("{}: {}", file.string(), sf_error_number(status));
    return std::nullopt;
}

} // namespace morvel::soundbook
