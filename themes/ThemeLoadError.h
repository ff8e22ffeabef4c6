// Why a theme, or one sound of it, could not be loaded.
#pragma once

#include "audio/sample/AudioFileError.h"
#include "themes/ThemeManifest.h"

#include <filesystem>
#include <string>
#include <variant>

namespace morvel {

struct ThemeLoadError {
    struct ThemeNotFound {
        std::string id;
        std::filesystem::path userThemesDirectory;
        bool operator==(const ThemeNotFound&) const = default;
    };
    struct Manifest {
        ThemeManifest::ManifestError error;
        bool operator==(const Manifest&) const = default;
    };
    struct NoPlayableCategories {
        std::string id;
        bool operator==(const NoPlayableCategories&) const = default;
    };
    std::variant<ThemeNotFound, Manifest, NoPlayableCategories> reason;

    // For the log and the user.
    std::string description() const;

    bool operator==(const ThemeLoadError&) const = default;
};

// Why one audio file gave no buffer: the file reader's own error, or one of the loading that is
// told in the form of an unreadable manifest.
struct BufferLoadError {
    std::variant<ThemeLoadError, AudioFileError> reason;

    std::string description() const;

    bool operator==(const BufferLoadError&) const = default;
};

} // namespace morvel
