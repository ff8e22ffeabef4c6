#include "selftest/Recording.h"

#include <fmt/format.h>

#include <system_error>

namespace morvel {

bool startSelfTestRecording(AudioEngine& audio, Log& log, std::string_view prefix,
                            const std::filesystem::path& file) {
    std::error_code ignored;
    // An empty folder could be removed as well, but is nobody's recording.
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(file, ignored)))
        std::filesystem::remove(file, ignored);
    if (const auto error = audio.startRecording(file)) {
        log.line(fmt::format("{} could not start recording: {}", prefix, *error));
        return false;
    }
    log.line(fmt::format("{} recording to {}", prefix, file.string()));
    return true;
}

} // namespace morvel
