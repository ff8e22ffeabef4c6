// Why an audio file could not be read or written.
#pragma once

#include <string>

namespace morvel {

struct AudioFileError {
    std::string text; // printable, one line, without the file's name

    const std::string& description() const { return text; }

    bool operator==(const AudioFileError&) const = default;
};

} // namespace morvel
